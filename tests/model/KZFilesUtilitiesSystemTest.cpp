#include "model/KZFilesUtilities.h"

#include "KZTestSandbox.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <tuple>

namespace {

QVariantList strings(std::initializer_list<const char *> paths)
{
    QVariantList list;
    for (const char *path : paths)
        list.append(QString::fromUtf8(path));
    return list;
}

QVariantList records(std::initializer_list<const char *> paths)
{
    QVariantList list;
    for (const char *path : paths)
        list.append(QVariantMap{{QStringLiteral("path"), QString::fromUtf8(path)},
                                {QStringLiteral("name"), QStringLiteral("volume")}});
    return list;
}

// Collects warnings while alive.
class WarningCollector
{
public:
    WarningCollector()
    {
        s_messages.clear();
        m_previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &context,
                                               const QString &message) {
            if (type == QtWarningMsg)
                s_messages.append(QString::fromUtf8(context.category) + QLatin1Char(' ') + message);
        });
    }
    ~WarningCollector() { qInstallMessageHandler(m_previous); }
    static inline QStringList s_messages;

private:
    QtMessageHandler m_previous = nullptr;
};

using Launch = std::tuple<QString, QStringList, QString>;

} // namespace

TEST(FilesUtilitiesSystem, SystemItemNamesKeepTheirOddEndings)
{
    const KZFilesUtilities utilities;
    const QStringList invisible = utilities.invisibleSystemItems();
    ASSERT_EQ(invisible.size(), 32);
    EXPECT_EQ(invisible.first(), QStringLiteral("home"));
    EXPECT_EQ(invisible.at(13), QStringLiteral(".Archived_Directories\n"));
    EXPECT_EQ(invisible.at(15), QStringLiteral(".HFS+ Private Directory Data\n"));
    EXPECT_EQ(invisible.last(), QStringLiteral(".Archived_Directories?"));
    EXPECT_EQ(invisible.count(QStringLiteral("Volumes")), 1);
    EXPECT_EQ(utilities.visibleSystemItems(),
              QStringList({QStringLiteral("Library"), QStringLiteral("System"),
                           QStringLiteral("System Folder")}));
}

TEST(FilesUtilitiesSystem, ContainmentComparesWholeComponents)
{
    const KZFilesUtilities utilities;
    for (const auto &list : {strings({"/Users/a"}), strings({"/Users/a/b"}), strings({"/Users"}),
                             records({"/Users/a/b"}), records({"/Users"})})
        EXPECT_TRUE(utilities.location("/Users/a", list));
    EXPECT_FALSE(utilities.location("/Users/a", strings({"/Users/ab"})));
    EXPECT_FALSE(utilities.location("/Users/ab", strings({"/Users/a"})));
    EXPECT_FALSE(utilities.location("/Users/a", records({"/Users/ab"})));
    EXPECT_FALSE(utilities.location("/Users/a", {}));
    // Any element may answer, not only the first.
    EXPECT_TRUE(utilities.location("/Users/a", strings({"/Volumes", "/Users/ab", "/Users"})));
    // A plain string search: "/a" occurs in "/b/a/c" but not at its start.
    EXPECT_FALSE(utilities.location("/a", strings({"/b/a/c"})));
    // The root's "/" is never followed by another "/", so the root encloses nothing.
    EXPECT_FALSE(utilities.location("/Users/a", strings({"/"})));
    EXPECT_TRUE(utilities.location("/", strings({"/"})));
    // A trailing slash is one more component.
    EXPECT_TRUE(utilities.location("/Users/a/", strings({"/Users/a"})));
    EXPECT_TRUE(utilities.location("/Users/a", strings({"/Users/a/"})));
    EXPECT_FALSE(utilities.location("/Users/a", strings({"/Users/"})));
    // Names are bytes; comparison is case-sensitive.
    EXPECT_TRUE(utilities.location("/mnt/caf\xe9/x", QVariantList{QByteArray("/mnt/caf\xe9")}));
    EXPECT_FALSE(utilities.location("/users/a", strings({"/Users"})));
    EXPECT_FALSE(utilities.location("", strings({"/Users"})));
    EXPECT_FALSE(utilities.location("/Users/a", strings({""})));
}

TEST(FilesUtilitiesSystem, FirstElementDecidesTheListKind)
{
    const KZFilesUtilities utilities;
    QVariantList stringsThenRecord = strings({"/nowhere"});
    stringsThenRecord.append(records({"/Users"}));
    EXPECT_FALSE(utilities.location("/Users/a", stringsThenRecord));
    QVariantList recordThenString = records({"/nowhere"});
    recordThenString.append(QStringLiteral("/Users"));
    EXPECT_FALSE(utilities.location("/Users/a", recordThenString));
}

TEST(FilesUtilitiesSystem, MalformedListLogsBeepsAndProtects)
{
    KZFilesUtilities utilities;
    int beeps = 0;
    utilities.setBeepHook([&] { ++beeps; });
    const QString expected = QStringLiteral(
        "binwise.model.system In the [KZFilesUtilities location:(NSString *) "
        "isContainedInArray(NSArray *)] function the supplied array doesn't contain a path "
        "string nor a dictionary with \"path\" as a key.");
    {
        WarningCollector warnings;
        QVariantList list{QVariantMap{{QStringLiteral("name"), QStringLiteral("x")}}};
        list.append(records({"/Users"}));
        EXPECT_TRUE(utilities.location("/elsewhere", list));
        EXPECT_EQ(WarningCollector::s_messages, QStringList{expected});
        EXPECT_EQ(beeps, 1);

        EXPECT_TRUE(utilities.location("/elsewhere", QVariantList{42}));
        EXPECT_EQ(beeps, 2);
        EXPECT_EQ(WarningCollector::s_messages.size(), 2);
    }
    // A well-formed list neither logs nor beeps.
    WarningCollector warnings;
    EXPECT_FALSE(utilities.location("/elsewhere", records({"/Users"})));
    EXPECT_TRUE(WarningCollector::s_messages.isEmpty());
    EXPECT_EQ(beeps, 2);
}

TEST(FilesUtilitiesSystem, StandardFoldersExistingMissingOrNone)
{
    KZTestSandbox sandbox;
    ASSERT_TRUE(sandbox.isValid());
    const KZFilesUtilities utilities;
    const QByteArray home = QFile::encodeName(sandbox.home());
    const auto invalidKind = static_cast<QStandardPaths::StandardLocation>(9999);

    EXPECT_EQ(utilities.defaultSystemFolder(QStandardPaths::HomeLocation, "/fallback"), home);
    // The user has a music folder, it just does not exist yet: no fallback then.
    EXPECT_TRUE(utilities.defaultSystemFolder(QStandardPaths::MusicLocation, "/fallback").isNull());
    EXPECT_EQ(utilities.defaultSystemFolder(invalidKind, "/fallback"), QByteArray("/fallback"));
    EXPECT_TRUE(utilities.defaultSystemFolder(invalidKind, QByteArray()).isNull());

    const QByteArray music = utilities.folderPathOfKInd(QStandardPaths::MusicLocation);
    EXPECT_EQ(music, home + "/Music");
    EXPECT_TRUE(QFileInfo(QFile::decodeName(music)).isDir());
    EXPECT_EQ(utilities.defaultSystemFolder(QStandardPaths::MusicLocation, {}), music);
    EXPECT_TRUE(utilities.folderPathOfKInd(invalidKind).isNull());
}

TEST(FilesUtilitiesSystem, FolderThatCannotBeMadeIsNull)
{
    KZTestSandbox sandbox;
    ASSERT_TRUE(sandbox.isValid());
    // A home below a regular file: not even root can make folders there.
    QFile blocker(sandbox.path(QStringLiteral("file")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const QByteArray savedHome = qgetenv("HOME");
    qputenv("HOME", QFile::encodeName(sandbox.path(QStringLiteral("file/home"))));
    const KZFilesUtilities utilities;
    EXPECT_TRUE(utilities.folderPathOfKInd(QStandardPaths::MusicLocation).isNull());
    qputenv("HOME", savedHome);
}

TEST(FilesUtilitiesSystem, ItemsOpenThroughXdgOpenInOrder)
{
    KZFilesUtilities utilities;
    QList<Launch> launched;
    utilities.setLauncher(
        [&](const QString &program, const QStringList &arguments, const QString &folder) {
            launched.append({program, arguments, folder});
            return false; // a failure changes nothing for the next item
        });
    utilities.launchItems({"/tmp/a b.txt", "", "-rf", "/tmp/caf\xe9"});
    const QString xdgOpen = QStringLiteral("xdg-open");
    EXPECT_EQ(launched,
              QList<Launch>({{xdgOpen, {QStringLiteral("/tmp/a b.txt")}, QString()},
                             {xdgOpen, {QStringLiteral("./-rf")}, QString()},
                             {xdgOpen, {QStringLiteral("file:///tmp/caf%E9")}, QString()}}));
}

TEST(FilesUtilitiesSystem, ApplicationsStartFromTheirExecLine)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    KZFilesUtilities utilities;
    QList<Launch> launched;
    utilities.setLauncher(
        [&](const QString &program, const QStringList &arguments, const QString &folder) {
            launched.append({program, arguments, folder});
            return true;
        });
    const QString desktop = dir.filePath(QStringLiteral("editor.desktop"));
    QFile file(desktop);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[Desktop Entry]\nType=Application\nExec=\"/opt/my editor/bin\" --new %F\n"
               "Path=/srv/work\n");
    file.close();

    utilities.launchAppWithPath(QFile::encodeName(desktop), "/tmp/notes.txt");
    utilities.launchAppWithPath(QFile::encodeName(desktop));
    utilities.launchAppWithPath(QFile::encodeName(dir.filePath(QStringLiteral("none.desktop"))),
                                "/tmp/notes.txt");
    utilities.launchAppWithPath("/nonexistent/program", "/tmp/notes.txt");
    const QString program = QStringLiteral("/opt/my editor/bin");
    const QString folder = QStringLiteral("/srv/work");
    EXPECT_EQ(launched,
              QList<Launch>(
                  {{program, {QStringLiteral("--new"), QStringLiteral("/tmp/notes.txt")}, folder},
                   {program, {QStringLiteral("--new")}, folder}}));

    launched.clear();
    const QString terminal = dir.filePath(QStringLiteral("top.desktop"));
    QFile terminalFile(terminal);
    ASSERT_TRUE(terminalFile.open(QIODevice::WriteOnly));
    terminalFile.write("[Desktop Entry]\nType=Application\nExec=top -d %f\nTerminal=true\n");
    terminalFile.close();
    utilities.launchAppWithPath(QFile::encodeName(terminal), "/tmp/x");
    EXPECT_EQ(launched, QList<Launch>({{QStringLiteral("x-terminal-emulator"),
                                        {QStringLiteral("-e"), QStringLiteral("top"),
                                         QStringLiteral("-d"), QStringLiteral("/tmp/x")},
                                        QString()}}));
    EXPECT_EQ(utilities.applicationNameWithCreator(QStringLiteral("ttxt")), QString());
}

TEST(FilesUtilitiesSystem, DefaultLauncherReallyStartsTheProgram)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString script = dir.filePath(QStringLiteral("record.sh"));
    const QString marker = dir.filePath(QStringLiteral("marker"));
    QFile file(script);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\nprintf '%s' \"$1\" > \"$0.tmp\" && mv \"$0.tmp\" \"" + marker.toUtf8()
               + "\"\n");
    file.close();
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    const KZFilesUtilities utilities;
    utilities.launchAppWithPath(QFile::encodeName(script), "/tmp/some item");
    // The program runs detached; wait for its marker, with a generous limit for loaded machines.
    QDeadlineTimer deadline(30000);
    while (!QFile::exists(marker) && !deadline.hasExpired())
        QThread::msleep(20);
    QFile result(marker);
    ASSERT_TRUE(result.open(QIODevice::ReadOnly));
    EXPECT_EQ(result.readAll(), QByteArray("/tmp/some item"));
}
