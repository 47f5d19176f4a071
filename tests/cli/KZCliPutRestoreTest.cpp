// binwise put and binwise restore through the real executable: what binwise puts in the Trash,
// trash-cli and gio read and put back, and what they trash, binwise puts back unchanged; the
// refusals (a link on the way back, a taken name, a full volume, a vanished item, a mount
// point, a Trash, /) lose nothing; and an ordinary user's rights are what they are.
#include "KZCliRunner.h"
#include "KZTestUser.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using KZTestFiles::chownTree;
using KZTestFiles::exists;
using KZTestFiles::makeFolders;
using KZTestFiles::namesIn;
using KZTestFiles::readFile;
using KZTestFiles::writeFile;

namespace {

QByteArray runPeer(const QString &program, const QStringList &arguments,
                   const QProcessEnvironment &environment, int *status,
                   const QByteArray &input = {})
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(60000);
    *status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return process.readAllStandardOutput() + process.readAllStandardError();
}

struct Facts
{
    mode_t mode = 0;
    qint64 mtime = 0;
    friend bool operator==(const Facts &, const Facts &) = default;
};

void PrintTo(const Facts &facts, std::ostream *out)
{
    *out << "mode " << std::oct << facts.mode << std::dec << ", mtime " << facts.mtime << " ns";
}

Facts factsOf(const QByteArray &path)
{
    struct stat st = {};
    if (::lstat(path.constData(), &st) != 0)
        return {};
    return {st.st_mode, qint64(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
}

void setTimes(const QByteArray &path, qint64 seconds)
{
    const struct timespec times[2] = {{seconds, 0}, {seconds, 123456789}};
    ::utimensat(AT_FDCWD, path.constData(), times, AT_SYMLINK_NOFOLLOW);
}

QJsonArray jsonOf(const KZCliResult &result)
{
    return QJsonDocument::fromJson(result.out).array();
}

// The original paths binwise items --json lists, sorted.
QByteArrayList binwiseOrigins(KZCliRunner &cli)
{
    QByteArrayList origins;
    for (const QJsonValue &value : jsonOf(cli.run({"items", "--json"})))
        origins.append(value.toObject().value(QStringLiteral("originalPath")).toString().toUtf8());
    std::sort(origins.begin(), origins.end());
    return origins;
}

// A sandbox whose home lies on a tmpfs of its own, for binwise and the peers alike.
struct HomeOnVolume
{
    KZCliRunner cli;
    QByteArray home;
    QByteArray dataHome;
    QProcessEnvironment peers = QProcessEnvironment::systemEnvironment();

    bool start(QString *whyNot)
    {
        const QByteArray volume = cli.addVolume("Home", whyNot);
        if (volume.isEmpty())
            return false;
        home = volume + "/user";
        dataHome = home + "/.local/share";
        makeFolders(dataHome);
        for (QProcessEnvironment *environment : {&peers, &cli.environment()}) {
            environment->insert(QStringLiteral("HOME"), QString::fromUtf8(home));
            environment->insert(QStringLiteral("XDG_DATA_HOME"), QString::fromUtf8(dataHome));
        }
        return true;
    }
    [[nodiscard]] QByteArray homeFiles() const { return dataHome + "/Trash/files"; }
};

} // namespace

TEST(CliPutRestore, PeersReadWhatBinwisePutsAndBinwisePutsBackWhatPeersTrash)
{
    for (const char *tool : {"trash-put", "trash-list", "trash-restore"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty())
            GTEST_SKIP() << "missing " << tool << " (Debian package trash-cli)";
    }
    HomeOnVolume setup;
    QString whyNot;
    const QByteArray disk = setup.start(&whyNot) ? setup.cli.addExt4Volume("Disk", &whyNot) : "";
    const QByteArray other = disk.isEmpty() ? "" : setup.cli.addVolume("Other", &whyNot);
    if (other.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    KZCliRunner &cli = setup.cli;
    const QByteArray home = setup.home;
    const QByteArray diskFiles = disk + "/.Trash-" + QByteArray::number(::getuid()) + "/files";

    ASSERT_TRUE(writeFile(home + "/notes.txt", QByteArray(3000, 'n')));
    ASSERT_TRUE(writeFile(disk + "/report.txt", QByteArray(10000, 'r')));
    const QByteArray odd = disk + "/odd ü & 100%.txt";
    ASSERT_TRUE(writeFile(odd, "odd"));
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    KZCliResult put = cli.run({"put", home + "/notes.txt", disk + "/report.txt", odd, "--json"});
    ASSERT_EQ(put.exitCode, 0) << str(put.err);
    ASSERT_EQ(jsonOf(put).size(), 3) << str(put.out);
    EXPECT_FALSE(exists(home + "/notes.txt") || exists(disk + "/report.txt") || exists(odd));
    EXPECT_EQ(readFile(setup.homeFiles() + "/notes.txt"), QByteArray(3000, 'n'));
    // Relative to the volume's top on the volume, absolute in the home Trash.
    EXPECT_TRUE(
        readFile(diskFiles + "/../info/report.txt.trashinfo").contains("\nPath=report.txt\n"));
    EXPECT_TRUE(readFile(setup.dataHome + "/Trash/info/notes.txt.trashinfo")
                    .contains("\nPath=" + (home + "/notes.txt").toPercentEncoding("/") + '\n'));

    // trash-list: every original path, with a date from this run.
    const QByteArray root = QFile::encodeName(cli.sandbox().root());
    int status = 0;
    const auto peerListing = [&] {
        QByteArrayList ours;
        for (const QByteArray &line :
             runPeer(QStringLiteral("trash-list"), {}, setup.peers, &status).split('\n')) {
            if (line.contains(root))
                ours.append(line);
        }
        return ours;
    };
    QByteArrayList listed = peerListing();
    ASSERT_EQ(listed.size(), 3) << str(listed.join('\n'));
    QByteArrayList peerOrigins;
    for (const QByteArray &line : listed) {
        const QDateTime when = QDateTime::fromString(QString::fromUtf8(line.left(19)),
                                                     QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        EXPECT_GE(when.toSecsSinceEpoch(), before - 1) << str(line);
        EXPECT_LE(when.toSecsSinceEpoch(), QDateTime::currentSecsSinceEpoch()) << str(line);
        peerOrigins.append(line.mid(20));
    }
    std::sort(peerOrigins.begin(), peerOrigins.end());
    EXPECT_EQ(peerOrigins, binwiseOrigins(cli));

    // trash-restore puts back what binwise put, on the volume too.
    for (const QByteArray &path : {home + "/notes.txt", disk + "/report.txt"}) {
        const QByteArray said = runPeer(QStringLiteral("trash-restore"), {QString::fromUtf8(path)},
                                        setup.peers, &status, "0\n");
        EXPECT_EQ(status, 0) << str(said);
    }
    EXPECT_EQ(readFile(home + "/notes.txt"), QByteArray(3000, 'n'));
    EXPECT_EQ(readFile(disk + "/report.txt"), QByteArray(10000, 'r'));
    EXPECT_EQ(binwiseOrigins(cli), QByteArrayList{odd});

    // What trash-put trashes, binwise puts back byte for byte, with its mode and times: by
    // itemURL, by original path, and into another volume (a copy).
    ASSERT_TRUE(makeFolders(home + "/project/src/deep"));
    ASSERT_TRUE(writeFile(home + "/project/src/main.c", QByteArray(70000, 'c')));
    ASSERT_TRUE(writeFile(home + "/project/src/deep/x", "x"));
    ASSERT_EQ(::symlink("src/main.c", (home + "/project/link").constData()), 0);
    ::chmod((home + "/project/src/main.c").constData(), 0640);
    ::chmod((home + "/project/src/deep").constData(), 0555);
    ASSERT_TRUE(writeFile(disk + "/script.sh", "#!/bin/sh\n"));
    ::chmod((disk + "/script.sh").constData(), 0751);
    for (const QByteArray &path : {home + "/project/src/main.c", home + "/project/src/deep/x",
                                   home + "/project/link", home + "/project/src/deep",
                                   home + "/project/src", home + "/project", disk + "/script.sh"})
        setTimes(path, 1500000000);
    const QByteArrayList tree{"/src/main.c", "/src/deep/x", "/link", "/src/deep", "/src", ""};
    std::map<QByteArray, Facts> facts;
    for (const QByteArray &relative : tree)
        facts[relative] = factsOf(home + "/project" + relative);
    const Facts script = factsOf(disk + "/script.sh");
    QByteArray said
        = runPeer(QStringLiteral("trash-put"),
                  {QString::fromUtf8(home + "/project"), QString::fromUtf8(disk + "/script.sh")},
                  setup.peers, &status);
    ASSERT_EQ(status, 0) << str(said);

    KZCliResult restored = cli.run({"restore", diskFiles + "/script.sh", "--json"});
    ASSERT_EQ(restored.exitCode, 0) << str(restored.err);
    const QJsonObject outcome = jsonOf(restored).first().toObject();
    EXPECT_EQ(outcome.value(QStringLiteral("outcome")).toString(), QStringLiteral("restored"));
    EXPECT_EQ(outcome.value(QStringLiteral("restoredPath")).toString().toUtf8(),
              disk + "/script.sh");
    EXPECT_EQ(readFile(disk + "/script.sh"), "#!/bin/sh\n");
    EXPECT_EQ(factsOf(disk + "/script.sh"), script);
    EXPECT_FALSE(exists(diskFiles + "/../info/script.sh.trashinfo"));

    restored = cli.run({"restore", home + "/project", "--to", other});
    ASSERT_EQ(restored.exitCode, 0) << str(restored.err);
    EXPECT_EQ(restored.out, other + "/project\n");
    EXPECT_EQ(readFile(other + "/project/src/main.c"), QByteArray(70000, 'c'));
    EXPECT_EQ(readFile(other + "/project/src/deep/x"), "x");
    for (const QByteArray &relative : tree)
        EXPECT_EQ(factsOf(other + "/project" + relative), facts[relative]) << str(relative);
    EXPECT_FALSE(exists(setup.homeFiles() + "/project"));
    EXPECT_FALSE(exists(setup.dataHome + "/Trash/info/project.trashinfo"));

    // Afterwards trash-list and binwise agree.
    peerOrigins.clear();
    for (const QByteArray &line : peerListing())
        peerOrigins.append(line.mid(20));
    std::sort(peerOrigins.begin(), peerOrigins.end());
    EXPECT_EQ(peerOrigins, binwiseOrigins(cli));
    EXPECT_EQ(peerOrigins, QByteArrayList{odd});
}

TEST(CliPutRestore, GioListsAndRestoresWhatBinwisePutsAndBinwiseRestoresWhatGioTrashes)
{
    if (QStandardPaths::findExecutable(QStringLiteral("gio")).isEmpty()
        || QStandardPaths::findExecutable(QStringLiteral("dbus-run-session")).isEmpty()
        || !QFile::exists(QStringLiteral("/usr/libexec/gvfsd-trash")))
        GTEST_SKIP() << "missing gio, dbus-run-session or gvfsd-trash (Debian packages "
                        "libglib2.0-bin, dbus-bin, gvfs)";
    HomeOnVolume setup;
    QString whyNot;
    // gio trashes on a journalled disk, not on tmpfs.
    const QByteArray disk = setup.start(&whyNot) ? setup.cli.addExt4Volume("Disk", &whyNot) : "";
    if (disk.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    KZCliRunner &cli = setup.cli;
    const auto gio = [&](const QStringList &arguments, int *status) {
        return runPeer(
            QStringLiteral("dbus-run-session"),
            QStringList{QStringLiteral("--"), QStringLiteral("gio"), QStringLiteral("trash")}
                + arguments,
            setup.peers, status);
    };

    ASSERT_TRUE(writeFile(setup.home + "/a.txt", "home a"));
    ASSERT_TRUE(writeFile(disk + "/b.txt", "disk b"));
    KZCliResult put = cli.run({"put", setup.home + "/a.txt", disk + "/b.txt"});
    ASSERT_EQ(put.exitCode, 0) << str(put.err);
    int status = 0;
    QByteArray listed = gio({QStringLiteral("--list")}, &status);
    ASSERT_EQ(status, 0) << str(listed);
    QStringList uris;
    for (const QByteArray &line : listed.split('\n')) {
        const QByteArrayList fields = line.split('\t');
        if (fields.size() == 2
            && (fields.at(1) == setup.home + "/a.txt" || fields.at(1) == disk + "/b.txt"))
            uris.append(QString::fromUtf8(fields.at(0)));
    }
    ASSERT_EQ(uris.size(), 2) << str(listed);
    for (const QString &uri : uris) {
        const QByteArray said = gio({QStringLiteral("--restore"), uri}, &status);
        EXPECT_EQ(status, 0) << str(said);
    }
    EXPECT_EQ(readFile(setup.home + "/a.txt"), "home a");
    EXPECT_EQ(readFile(disk + "/b.txt"), "disk b");
    EXPECT_TRUE(binwiseOrigins(cli).isEmpty());

    ::chmod((disk + "/b.txt").constData(), 0604);
    setTimes(disk + "/b.txt", 1400000000);
    const Facts facts = factsOf(disk + "/b.txt");
    QByteArray said = gio({QString::fromUtf8(disk + "/b.txt")}, &status);
    ASSERT_EQ(status, 0) << str(said);
    const KZCliResult restored = cli.run({"restore", disk + "/b.txt"});
    ASSERT_EQ(restored.exitCode, 0) << str(restored.err);
    EXPECT_EQ(readFile(disk + "/b.txt"), "disk b");
    EXPECT_EQ(factsOf(disk + "/b.txt"), facts);
    listed = gio({QStringLiteral("--list")}, &status);
    EXPECT_FALSE(listed.contains(disk + "/b.txt")) << str(listed);
    EXPECT_TRUE(binwiseOrigins(cli).isEmpty());

    // What gio trashed and binwise emptied, gio no longer lists either.
    said = gio({QString::fromUtf8(disk + "/b.txt"), QString::fromUtf8(setup.home + "/a.txt")},
               &status);
    ASSERT_EQ(status, 0) << str(said);
    EXPECT_EQ(binwiseOrigins(cli).size(), 2);
    const KZCliResult emptied = cli.run({"empty", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.err);
    EXPECT_TRUE(binwiseOrigins(cli).isEmpty());
    listed = gio({QStringLiteral("--list")}, &status);
    EXPECT_EQ(status, 0) << str(listed);
    EXPECT_FALSE(listed.contains(disk + "/b.txt") || listed.contains(setup.home + "/a.txt"))
        << str(listed);
}

TEST(CliPutRestore, RefusalsAndFailuresLoseNothing)
{
    HomeOnVolume setup;
    QString whyNot;
    // A 1 MiB volume is the full destination; the home's volume holds what is put back there.
    const QByteArray small = setup.start(&whyNot) ? setup.cli.addVolume("Small", &whyNot, 1) : "";
    if (small.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    KZCliRunner &cli = setup.cli;
    const QByteArray home = setup.home;
    const QByteArray files = setup.homeFiles();
    const QByteArray info = setup.dataHome + "/Trash/info";

    // put: each refusal names why, exits 2 and moves nothing, the valid operand included.
    ASSERT_TRUE(writeFile(home + "/keep.txt", "keep"));
    ASSERT_TRUE(writeFile(home + "/in-trash.txt", "t"));
    ASSERT_EQ(cli.run({"put", home + "/in-trash.txt"}).exitCode, 0);
    ASSERT_TRUE(makeFolders(home + "/.Trash-99/files/x"));
    const struct
    {
        QByteArray path;
        const char *why;
    } refusals[] = {
        {"/", "root folder"},
        {small, "mount point"},
        {setup.dataHome + "/Trash", "Trash itself"},
        {files + "/in-trash.txt", "in a Trash"},
        {setup.dataHome, "holds the home Trash"},
        {home + "/.Trash-99/files/x", "in a Trash"},
        {home + "/.Trash-99", "Trash folder itself"},
        {home + "/missing", "does not exist"},
    };
    for (const auto &refusal : refusals) {
        const KZCliResult result = cli.run({"put", home + "/keep.txt", refusal.path});
        EXPECT_EQ(result.exitCode, 2) << str(refusal.path);
        EXPECT_TRUE(result.err.contains(refusal.why)) << str(result.err);
        EXPECT_EQ(readFile(home + "/keep.txt"), "keep");
    }
    EXPECT_EQ(namesIn(files), QByteArrayList{"in-trash.txt"});
    EXPECT_EQ(namesIn(info), QByteArrayList{"in-trash.txt.trashinfo"});

    // Names with a line break and bytes that are not UTF-8 go and come back exactly.
    const QByteArray lineBreak = home + "/two\nlines";
    const QByteArray latin1 = home + "/caf\xe9";
    ASSERT_TRUE(writeFile(lineBreak, "nl") && writeFile(latin1, "latin1"));
    KZCliResult result = cli.run({"put", lineBreak, KZPath::urlFromPath(latin1).toEncoded()});
    ASSERT_EQ(result.exitCode, 0) << str(result.err);
    EXPECT_FALSE(exists(lineBreak) || exists(latin1));
    EXPECT_TRUE(
        readFile(info + "/caf\xe9.trashinfo").contains("\nPath=" + latin1.toPercentEncoding("/")));
    result = cli.run({"restore", KZPath::urlFromPath(files + "/caf\xe9").toEncoded(),
                      KZPath::urlFromPath(files + "/two\nlines").toEncoded()});
    EXPECT_EQ(result.exitCode, 0) << str(result.err);
    EXPECT_EQ(readFile(lineBreak), "nl");
    EXPECT_EQ(readFile(latin1), "latin1");

    // A link where a folder was: refused, nothing written where the link points.
    ASSERT_TRUE(makeFolders(home + "/docs") && makeFolders(home + "/elsewhere"));
    ASSERT_TRUE(writeFile(home + "/docs/plan.txt", "plan"));
    ASSERT_EQ(cli.run({"put", home + "/docs/plan.txt"}).exitCode, 0);
    ASSERT_EQ(::rmdir((home + "/docs").constData()), 0);
    ASSERT_EQ(::symlink((home + "/elsewhere").constData(), (home + "/docs").constData()), 0);
    result = cli.run({"restore", home + "/docs/plan.txt"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("symbolic link")) << str(result.err);
    EXPECT_TRUE(namesIn(home + "/elsewhere").isEmpty());
    EXPECT_EQ(readFile(files + "/plan.txt"), "plan");
    EXPECT_TRUE(exists(info + "/plan.txt.trashinfo"));
    // Never into a Trash, nor into a volume's shared .Trash where nothing would list it.
    ASSERT_TRUE(makeFolders(home + "/.Trash"));
    for (const QByteArray &into :
         {files, info, setup.dataHome + "/Trash", home + "/.Trash", home + "/.Trash-99"}) {
        result = cli.run({"restore", files + "/plan.txt", "--to", into});
        EXPECT_EQ(result.exitCode, 1) << str(into);
        EXPECT_TRUE(result.err.contains("is in a Trash")) << str(result.err);
    }
    EXPECT_EQ(namesIn(files + "/../info").size(), namesIn(files).size());
    // A folder that is not there refuses the whole request.
    result = cli.run({"restore", files + "/plan.txt", "--to", home + "/nowhere"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.contains("is not a folder")) << str(result.err);
    EXPECT_EQ(readFile(files + "/plan.txt"), "plan");
    // --to names the folder meant; links in it are the user's own choice.
    result = cli.run({"restore", files + "/plan.txt", "--to", home + "/docs"});
    EXPECT_EQ(result.exitCode, 0) << str(result.err);
    EXPECT_EQ(readFile(home + "/elsewhere/plan.txt"), "plan");

    // A taken name: refused as it is, "name (2)" with --rename.
    ASSERT_TRUE(writeFile(home + "/letter.txt", "first"));
    ASSERT_EQ(cli.run({"put", home + "/letter.txt"}).exitCode, 0);
    ASSERT_TRUE(writeFile(home + "/letter.txt", "second"));
    result = cli.run({"restore", files + "/letter.txt"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("already exists")) << str(result.err);
    EXPECT_EQ(readFile(home + "/letter.txt"), "second");
    EXPECT_EQ(readFile(files + "/letter.txt"), "first");
    result = cli.run({"restore", files + "/letter.txt", "--rename"});
    EXPECT_EQ(result.exitCode, 0) << str(result.err);
    EXPECT_EQ(result.out, home + "/letter (2).txt\n");
    EXPECT_EQ(readFile(home + "/letter (2).txt"), "first");
    EXPECT_EQ(readFile(home + "/letter.txt"), "second");
    EXPECT_FALSE(exists(info + "/letter.txt.trashinfo"));

    // A full volume: the partial copy goes, the Trash item and its info file stay.
    QByteArray big(3 * 1024 * 1024, Qt::Uninitialized);
    for (qsizetype i = 0; i < big.size(); ++i)
        big[i] = char(i * 7 + i / 4096);
    ASSERT_TRUE(makeFolders(files + "/album"));
    ASSERT_TRUE(writeFile(files + "/album/small.txt", "small"));
    ASSERT_TRUE(writeFile(files + "/album/big.bin", big));
    ASSERT_TRUE(
        writeFile(info + "/album.trashinfo",
                  "[Trash Info]\nPath=" + small + "/album\nDeletionDate=2024-01-02T03:04:05\n"));
    result = cli.run({"restore", files + "/album", "--json"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("not enough room")) << str(result.err);
    EXPECT_EQ(jsonOf(result).first().toObject().value(QStringLiteral("outcome")).toString(),
              QStringLiteral("failed"));
    EXPECT_TRUE(namesIn(small).isEmpty()) << str(namesIn(small).join(' '));
    EXPECT_EQ(readFile(files + "/album/big.bin"), big);
    EXPECT_EQ(readFile(files + "/album/small.txt"), "small");
    EXPECT_TRUE(exists(info + "/album.trashinfo"));

    // A vanished item: a clear error, nothing else touched.
    const QJsonArray items = jsonOf(cli.run({"items", "--json"}));
    ASSERT_EQ(items.size(), 2);
    QByteArray inTrashURL;
    for (const QJsonValue &value : items) {
        const QString url = value.toObject().value(QStringLiteral("itemURL")).toString();
        if (url.endsWith(QStringLiteral("in-trash.txt")))
            inTrashURL = url.toUtf8();
    }
    ASSERT_EQ(::unlink((files + "/in-trash.txt").constData()), 0);
    result = cli.run({"restore", inTrashURL});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.contains("restored or erased meanwhile")) << str(result.err);
    EXPECT_FALSE(exists(home + "/in-trash.txt"));
    EXPECT_TRUE(exists(files + "/album/big.bin"));
}

TEST(CliPutRestore, AnOrdinaryUserPutsAndRestoresWithTheirOwnRights)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "needs root to run binwise as another user";
    KZCliRunner cli;
    QString whyNot;
    const QByteArray volume = cli.addVolume("Shared", &whyNot);
    if (volume.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    ASSERT_EQ(::chmod(volume.constData(), 01777), 0);
    const uid_t user = KZTestUser::kNobody;
    ASSERT_TRUE(cli.runAsUser(user));
    KZTestUser::makeTraversable(volume.constData());

    const QByteArray mine = volume + "/mine.txt";
    ASSERT_TRUE(writeFile(mine, "mine"));
    ASSERT_EQ(::chown(mine.constData(), user, user), 0);
    const QByteArray roots = volume + "/root-only";
    ASSERT_TRUE(makeFolders(roots));
    ASSERT_TRUE(writeFile(roots + "/theirs.txt", "theirs"));
    // The user's own folder, read-only (an unpacked archive): moving it would change its "..".
    const QByteArray readOnly = volume + "/read-only";
    ASSERT_TRUE(makeFolders(readOnly));
    ASSERT_TRUE(chownTree(readOnly, user));
    ASSERT_EQ(::chmod(readOnly.constData(), 0555), 0);

    // The volume's Trash is made as the user's own, 0700. Each refusal says whose rights fail.
    KZCliResult result = cli.run({"put", mine, roots + "/theirs.txt", readOnly});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("may not change the folder “" + roots + "”"))
        << str(result.err);
    EXPECT_TRUE(result.err.contains("a folder you may not change")) << str(result.err);
    EXPECT_TRUE(exists(readOnly));
    const QByteArray trash = volume + "/.Trash-" + QByteArray::number(user);
    struct stat st = {};
    ASSERT_EQ(::lstat(trash.constData(), &st), 0);
    EXPECT_EQ(st.st_uid, user);
    EXPECT_EQ(st.st_mode & 07777, 0700u);
    EXPECT_EQ(readFile(trash + "/files/mine.txt"), "mine");
    EXPECT_EQ(readFile(roots + "/theirs.txt"), "theirs");
    EXPECT_EQ(namesIn(trash + "/info"), QByteArrayList{"mine.txt.trashinfo"});

    // Back into a folder the user may not write: refused, the item stays in the Trash.
    result = cli.run({"restore", trash + "/files/mine.txt", "--to", roots});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(exists(trash + "/files/mine.txt"));
    EXPECT_TRUE(exists(trash + "/info/mine.txt.trashinfo"));
    EXPECT_FALSE(exists(roots + "/mine.txt"));
    result = cli.run({"restore", mine});
    EXPECT_EQ(result.exitCode, 0) << str(result.err);
    EXPECT_EQ(readFile(mine), "mine");
    EXPECT_TRUE(namesIn(trash + "/files").isEmpty());
    EXPECT_TRUE(namesIn(trash + "/info").isEmpty());
}
