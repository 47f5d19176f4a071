// Binwise beside the peers that put items into the Trash: what trash-cli's trash-put and GLib's
// gio trash leave in the home Trash and on a mounted volume is listed, measured and emptied by
// the real binwise executable, after which trash-list finds nothing left of it.
#include "KZCliRunner.h"
#include "model/KZDirectorySizes.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <ftw.h>

using KZTestFiles::exists;
using KZTestFiles::writeFile;

namespace {

struct Below
{
    quint64 allocated = 0; // what is not a folder, as du counts it
    qint64 entries = 0;    // every entry, every level down
};

Below measure(const QByteArray &folder)
{
    static Below below;
    below = {};
    ::nftw(
        folder.constData(),
        [](const char *, const struct stat *st, int type, struct FTW *at) {
            if (at->level == 0)
                return 0;
            ++below.entries;
            if (type != FTW_D && type != FTW_DNR)
                below.allocated += quint64(st->st_blocks) * 512;
            return 0;
        },
        16, FTW_PHYS);
    return below;
}

// Runs a peer with HOME and XDG_DATA_HOME of the test; its standard output.
QByteArray runPeer(const QString &program, const QStringList &arguments,
                   const QProcessEnvironment &environment, int *status)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    process.waitForFinished(60000);
    *status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return process.readAllStandardOutput() + process.readAllStandardError();
}

} // namespace

TEST(CliPeers, WhatTrashCliAndGioPutIsListedMeasuredAndEmptiedByBinwise)
{
    for (const char *tool : {"trash-put", "trash-list", "gio"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty())
            GTEST_SKIP() << "missing " << tool << " (Debian packages trash-cli, libglib2.0-bin)";
    }
    KZCliRunner cli;
    ASSERT_TRUE(cli.isValid());
    QString whyNot;
    // The home on a volume of its own; gio trashes on a journalled disk, not on tmpfs.
    const QByteArray homeVolume = cli.addVolume("Home", &whyNot);
    const QByteArray disk
        = homeVolume.isEmpty() ? QByteArray() : cli.addExt4Volume("Disk", &whyNot);
    if (disk.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    const QByteArray home = homeVolume + "/user";
    const QByteArray dataHome = home + "/.local/share";
    ASSERT_TRUE(KZTestFiles::makeFolders(dataHome));
    QProcessEnvironment peers = QProcessEnvironment::systemEnvironment();
    for (QProcessEnvironment *environment : {&peers, &cli.environment()}) {
        environment->insert(QStringLiteral("HOME"), QString::fromUtf8(home));
        environment->insert(QStringLiteral("XDG_DATA_HOME"), QString::fromUtf8(dataHome));
    }

    ASSERT_TRUE(writeFile(home + "/notes.txt", QByteArray(3000, 'n')));
    ASSERT_TRUE(KZTestFiles::makeFolders(home + "/project/src"));
    ASSERT_TRUE(writeFile(home + "/project/src/main.c", "int main() { return 0; }\n"));
    ASSERT_TRUE(writeFile(disk + "/report.txt", QByteArray(10000, 'r')));
    ASSERT_TRUE(KZTestFiles::makeFolders(disk + "/photos"));
    ASSERT_TRUE(writeFile(disk + "/photos/1.jpg", QByteArray(20000, '1')));
    ASSERT_TRUE(writeFile(disk + "/photos/2.jpg", QByteArray(5000, '2')));
    const QByteArray odd = disk + "/an odd name ü & 100%.txt";
    ASSERT_TRUE(writeFile(odd, "odd"));

    int status = 0;
    QByteArray said
        = runPeer(QStringLiteral("trash-put"),
                  {QString::fromUtf8(home + "/notes.txt"), QString::fromUtf8(disk + "/report.txt"),
                   QString::fromUtf8(disk + "/photos")},
                  peers, &status);
    ASSERT_EQ(status, 0) << str(said);
    said = runPeer(
        QStringLiteral("gio"),
        {QStringLiteral("trash"), QString::fromUtf8(home + "/project"), QString::fromUtf8(odd)},
        peers, &status);
    ASSERT_EQ(status, 0) << str(said);
    const QByteArray homeFiles = dataHome + "/Trash/files";
    const QByteArray diskFiles = disk + "/.Trash-" + QByteArray::number(::getuid()) + "/files";
    ASSERT_TRUE(exists(homeFiles + "/notes.txt") && exists(homeFiles + "/project"));
    ASSERT_TRUE(exists(diskFiles + "/report.txt") && exists(diskFiles + "/photos"));

    // Only what lies in this test's sandbox: trash-list also reads the machine's volumes.
    const QByteArray root = QFile::encodeName(cli.sandbox().root());
    const auto peerListing = [&] {
        QByteArrayList ours;
        for (const QByteArray &line :
             runPeer(QStringLiteral("trash-list"), {}, peers, &status).split('\n')) {
            if (line.contains(root))
                ours.append(line);
        }
        return ours;
    };
    ASSERT_EQ(peerListing().size(), 5) << str(peerListing().join('\n'));

    const KZCliResult listed = cli.run({"list", "--json"});
    ASSERT_EQ(listed.exitCode, 0) << str(listed.err);
    const QJsonArray records = QJsonDocument::fromJson(listed.out).array();
    ASSERT_EQ(records.size(), 2) << str(listed.out);
    for (const QJsonValue &value : records) {
        const QJsonObject record = value.toObject();
        const QByteArray files = KZPath::pathFromURL(
            QUrl(record.value(QStringLiteral("trashURL")).toString(), QUrl::StrictMode));
        EXPECT_TRUE(files == homeFiles || files == diskFiles) << str(files);
        const Below below = measure(files);
        EXPECT_FALSE(record.value(QStringLiteral("trashIsEmpty")).toBool()) << str(files);
        EXPECT_EQ(record.value(QStringLiteral("itemsCount")).toInteger(), below.entries)
            << str(files);
        EXPECT_EQ(quint64(record.value(QStringLiteral("itemsSize")).toInteger()), below.allocated)
            << str(files);
    }
    // The list recorded each folder in its Trash's directorysizes; trash-cli reads on as before
    // (gio's listing goes through gvfs, which does not read the file).
    EXPECT_TRUE(KZDirectorySizes::parse(KZTestFiles::readFile(dataHome + "/Trash/directorysizes"))
                    .contains("project"));
    EXPECT_TRUE(KZDirectorySizes::parse(
                    KZTestFiles::readFile(KZPath::parentPath(diskFiles) + "/directorysizes"))
                    .contains("photos"));
    EXPECT_EQ(peerListing().size(), 5) << str(peerListing().join('\n'));

    const KZCliResult items = cli.run({"items", "--json"});
    ASSERT_EQ(items.exitCode, 0) << str(items.err);
    QByteArrayList origins;
    for (const QJsonValue &value : QJsonDocument::fromJson(items.out).array()) {
        const QJsonObject item = value.toObject();
        origins.append(item.value(QStringLiteral("originalPath")).toString().toUtf8());
        EXPECT_FALSE(item.value(QStringLiteral("added")).isNull()) << str(origins.last());
    }
    std::sort(origins.begin(), origins.end());
    QByteArrayList expected{home + "/notes.txt", home + "/project", disk + "/report.txt",
                            disk + "/photos", odd};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(origins, expected);

    const KZCliResult emptied = cli.run({"empty", "--all", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.out) << str(emptied.err);
    EXPECT_TRUE(emptied.out.startsWith("Erased 9 items")) << str(emptied.out);
    for (const QByteArray &files : {homeFiles, diskFiles}) {
        EXPECT_EQ(measure(files).entries, 0) << str(files);
        EXPECT_EQ(measure(files + "/../info").entries, 0) << str(files);
    }
    EXPECT_TRUE(peerListing().isEmpty()) << str(peerListing().join('\n'));
}
