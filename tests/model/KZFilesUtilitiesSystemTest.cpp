#include "model/KZFilesUtilities.h"

#include "KZTestMessages.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

// Paths as strings, or as records with the path under "path".
QVariantList list(std::initializer_list<const char *> paths, bool asRecords = false)
{
    QVariantList list;
    for (const char *path : paths) {
        const QString text = QString::fromUtf8(path);
        list.append(asRecords ? QVariant(QVariantMap{{u"path"_s, text}}) : QVariant(text));
    }
    return list;
}

} // namespace

TEST(FilesUtilitiesSystem, ContainmentComparesWholeComponents)
{
    const std::tuple<QByteArray, QVariantList, bool> rows[] = {
        {"/Users/a", list({"/Users/a/b"}), true},   // encloses
        {"/Users/a", list({"/Users"}, true), true}, // lies inside
        {"/Users/a", list({"/Users/ab"}), false},
        {"/Users/ab", list({"/Users/a"}, true), false},
        {"/Users/a", list({"/Volumes", "/Users/ab", "/Users"}), true}, // any element answers
        {"/a", list({"/b/a/c"}), false},                               // not at the start
        {"/Users/a", list({"/"}), false}, // "/" is never followed by another "/"
        {"/Users/a/", list({"/Users/a"}), true},
        {"/Users/a", list({"/Users/"}), false},
        {"/mnt/caf\xe9/x", QVariantList{QByteArray("/mnt/caf\xe9")}, true}, // bytes
        // The first element decides the list's kind.
        {"/Users/a", list({"/nowhere"}) + list({"/Users"}, true), false},
    };
    const KZFilesUtilities utilities;
    for (const auto &[path, paths, contained] : rows)
        EXPECT_EQ(utilities.location(path, paths), contained) << path.constData();

    // A malformed list logs, beeps and answers true, which protects the item.
    KZFilesUtilities beeping;
    int beeps = 0;
    beeping.setBeepHook([&] { ++beeps; });
    KZTestMessages messages;
    EXPECT_TRUE(beeping.location("/elsewhere", QVariantList{QVariantMap{{u"name"_s, u"x"_s}}}
                                                   + list({"/"}, true)));
    EXPECT_TRUE(beeping.location("/elsewhere", QVariantList{42}));
    EXPECT_FALSE(beeping.location("/elsewhere", list({"/Users"}, true)));
    EXPECT_EQ(beeps, 2);
    ASSERT_EQ(messages.lines().size(), 2);
    EXPECT_EQ(messages.lines().first(),
              QStringLiteral("In the [KZFilesUtilities location:(NSString *) "
                             "isContainedInArray(NSArray *)] function the supplied array doesn't "
                             "contain a path string nor a dictionary with \"path\" as a key."));
}

TEST(FilesUtilitiesSystem, StandardFoldersAndLaunches)
{
    KZTestSandbox sandbox;
    KZFilesUtilities utilities;
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

    // Launches go through xdg-open or the application's Exec line.
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
