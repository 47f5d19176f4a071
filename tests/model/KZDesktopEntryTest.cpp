#include "model/KZDesktopEntry.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(DesktopEntry, ReadsOnlyTheDesktopEntryGroup)
{
    const auto entry = KZDesktopEntry::fromData(
        "# comment\n[Desktop Entry]\nName = Spaced Out \nName[de]=Lokal\n"
        "Comment=one\\stwo\\nthree\\\\four\\;\nMimeType=text/plain;a\\;b;;image/png;\n"
        "Empty=\nHidden=true\n[Desktop Action new]\nExec=other\n");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->value(u"Name"_s), u"Spaced Out"_s);
    EXPECT_EQ(entry->value(u"Comment"_s), u"one two\nthree\\four;"_s);
    EXPECT_EQ(entry->stringList(u"MimeType"_s),
              QStringList({u"text/plain"_s, u"a;b"_s, u"image/png"_s}));
    EXPECT_TRUE(entry->contains(u"Empty"_s));
    EXPECT_TRUE(entry->value(u"Missing"_s).isNull());
    EXPECT_TRUE(entry->boolValue(u"Hidden"_s));
    EXPECT_FALSE(entry->contains(u"Exec"_s)); // the action's, not the entry's

    EXPECT_FALSE(KZDesktopEntry::fromData("Name=x\n[Other]\nExec=y\n").has_value());
    EXPECT_FALSE(KZDesktopEntry::load(QFile::encodeName(QDir::tempPath())).has_value());
}

TEST(DesktopEntry, ExecLinesFollowTheQuotingRulesAndFillFieldCodes)
{
    EXPECT_EQ(KZDesktopEntry::splitExec(
                  QStringLiteral(R"(  "/opt/my app/run"  -x "a \"b\" \$c \\d \e" "" 'q r')")),
              QStringList({u"/opt/my app/run"_s, u"-x"_s, QStringLiteral(R"(a "b" $c \d \e)"),
                           QString(), u"'q"_s, u"r'"_s}));
    // The key file's own escapes come first: "\\\\" in the file is one backslash in a quote.
    const auto quoted = KZDesktopEntry::fromData(
        "[Desktop Entry]\nExec=\"/usr/bin/tool\" \"back\\\\\\\\slash\" --name=%c %i\n");
    ASSERT_TRUE(quoted.has_value());
    EXPECT_EQ(quoted->execArguments(),
              QStringList({u"/usr/bin/tool"_s, u"back\\slash"_s, u"--name="_s}));

    const auto entry
        = KZDesktopEntry::fromData("[Desktop Entry]\nExec=viewer %U --file=%f 100%% %k %F\n");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->execArguments("/tmp/a b#1"),
              QStringList({u"viewer"_s, u"file:///tmp/a%20b%231"_s, u"--file=/tmp/a b#1"_s,
                           u"100%"_s, u"/tmp/a b#1"_s}));
    EXPECT_EQ(entry->execArguments(), QStringList({u"viewer"_s, u"--file="_s, u"100%"_s}));
    // A name that is not UTF-8 travels as its URL, byte for byte; a relative one is made
    // absolute from the current folder.
    EXPECT_EQ(entry->execArguments("/tmp/caf\xe9").last(), u"file:///tmp/caf%E9"_s);
    EXPECT_EQ(entry->execArguments("doc.txt").last(), QDir::currentPath() + u"/doc.txt"_s);
}
