#include "model/KZFilesUtilities.h"

#include "KZTestMessages.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace Qt::StringLiterals;

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
        list.append(QVariantMap{{u"path"_s, QString::fromUtf8(path)}});
    return list;
}

} // namespace

TEST(FilesUtilitiesSystem, ContainmentComparesWholeComponents)
{
    QVariantList stringsThenRecord = strings({"/nowhere"});
    stringsThenRecord.append(records({"/Users"}));
    const std::tuple<QByteArray, QVariantList, bool> rows[] = {
        {"/Users/a", strings({"/Users/a"}), true},
        {"/Users/a", strings({"/Users/a/b"}), true}, // encloses
        {"/Users/a", strings({"/Users"}), true},     // lies inside
        {"/Users/a", records({"/Users"}), true},
        {"/Users/a", strings({"/Users/ab"}), false},
        {"/Users/ab", strings({"/Users/a"}), false},
        {"/Users/a", records({"/Users/ab"}), false},
        {"/Users/a", {}, false},
        {"/Users/a", strings({"/Volumes", "/Users/ab", "/Users"}), true}, // any element answers
        {"/a", strings({"/b/a/c"}), false},                               // not at the start
        {"/Users/a", strings({"/"}), false}, // "/" is never followed by another "/"
        {"/Users/a/", strings({"/Users/a"}), true},
        {"/Users/a", strings({"/Users/"}), false},
        {"/mnt/caf\xe9/x", QVariantList{QByteArray("/mnt/caf\xe9")}, true}, // bytes
        {"/users/a", strings({"/Users"}), false},
        {"", strings({"/Users"}), false},
        {"/Users/a", stringsThenRecord, false}, // the first element decides the list's kind
    };
    const KZFilesUtilities utilities;
    for (const auto &[path, list, contained] : rows)
        EXPECT_EQ(utilities.location(path, list), contained) << path.constData();
}

TEST(FilesUtilitiesSystem, MalformedListLogsBeepsAndProtects)
{
    KZFilesUtilities utilities;
    int beeps = 0;
    utilities.setBeepHook([&] { ++beeps; });
    KZTestMessages messages;
    QVariantList list{QVariantMap{{u"name"_s, u"x"_s}}};
    list.append(records({"/Users"}));
    EXPECT_TRUE(utilities.location("/elsewhere", list));
    EXPECT_TRUE(utilities.location("/elsewhere", QVariantList{42}));
    EXPECT_EQ(beeps, 2);
    ASSERT_EQ(messages.lines().size(), 2);
    EXPECT_EQ(messages.lines().first(),
              QStringLiteral("In the [KZFilesUtilities location:(NSString *) "
                             "isContainedInArray(NSArray *)] function the supplied array doesn't "
                             "contain a path string nor a dictionary with \"path\" as a key."));
    // A well-formed list neither logs nor beeps.
    EXPECT_FALSE(utilities.location("/elsewhere", records({"/Users"})));
    EXPECT_EQ(messages.lines().size(), 2);
    EXPECT_EQ(beeps, 2);
}

TEST(FilesUtilitiesSystem, StandardFoldersExistingMissingOrNone)
{
    KZTestSandbox sandbox;
    const KZFilesUtilities utilities;
    const QByteArray music = sandbox.home().toLocal8Bit() + "/Music";
    // The user has a music folder, it just does not exist yet: no fallback then.
    EXPECT_TRUE(utilities.defaultSystemFolder(QStandardPaths::MusicLocation, "/fallback").isNull());
    EXPECT_EQ(utilities.defaultSystemFolder(QStandardPaths::StandardLocation(9999), "/fallback"),
              QByteArray("/fallback"));
    EXPECT_EQ(utilities.folderPathOfKInd(QStandardPaths::MusicLocation), music);
    EXPECT_EQ(utilities.defaultSystemFolder(QStandardPaths::MusicLocation, "/fallback"), music);
    // A home below a regular file: not even root can make folders there.
    qputenv("HOME", music + "/file/home");
    KZTestFiles::writeFile(music + "/file", "x");
    EXPECT_TRUE(utilities.folderPathOfKInd(QStandardPaths::MusicLocation).isNull());
}

TEST(FilesUtilitiesSystem, LaunchesGoThroughXdgOpenOrTheExecLine)
{
    KZTestSandbox sandbox;
    KZFilesUtilities utilities;
    QStringList launched; // program|arguments... in folder
    utilities.setLauncher(
        [&](const QString &program, const QStringList &arguments, const QString &folder) {
            launched.append((QStringList{program} + arguments).join(u'|') + u" in "_s + folder);
            return false; // a failure changes nothing for the next item
        });
    utilities.launchItems({"/tmp/a b.txt", "", "-rf", "/tmp/caf\xe9"});
    const QByteArray editor = sandbox.root().toLocal8Bit() + "/editor.desktop";
    KZTestFiles::writeFile(editor, "[Desktop Entry]\nType=Application\n"
                                   "Exec=\"/opt/my editor/bin\" --new %F\nPath=/srv/work\n");
    const QByteArray terminal = sandbox.root().toLocal8Bit() + "/top.desktop";
    KZTestFiles::writeFile(terminal, "[Desktop Entry]\nExec=top -d %f\nTerminal=true\n");
    utilities.launchAppWithPath(editor, "/tmp/notes.txt");
    utilities.launchAppWithPath(editor);
    utilities.launchAppWithPath(editor + ".missing", "/tmp/notes.txt");
    utilities.launchAppWithPath("/nonexistent/program", "/tmp/notes.txt");
    utilities.launchAppWithPath(terminal, "/tmp/x");
    utilities.launchAppWithPath("/bin/true", "-item"); // a bare executable takes the item
    EXPECT_EQ(launched, QStringList({u"xdg-open|/tmp/a b.txt in "_s, u"xdg-open|./-rf in "_s,
                                     u"xdg-open|file:///tmp/caf%E9 in "_s,
                                     u"/opt/my editor/bin|--new|/tmp/notes.txt in /srv/work"_s,
                                     u"/opt/my editor/bin|--new in /srv/work"_s,
                                     u"x-terminal-emulator|-e|top|-d|/tmp/x in "_s,
                                     u"/bin/true|./-item in "_s}));
}
