#include "model/KZDesktopEntry.h"

#include <QDir>

#include <gtest/gtest.h>

TEST(DesktopEntry, ReadsOnlyTheDesktopEntryGroup)
{
    const auto entry = KZDesktopEntry::fromData("# comment\n"
                                                "[Desktop Entry]\n"
                                                "Name = Spaced Out \n"
                                                "Name[de]=Lokal\n"
                                                "Comment=one\\stwo\\nthree\\\\four\\;\n"
                                                "Comment=second copy\n"
                                                "MimeType=text/plain;a\\;b;;image/png;\n"
                                                "Empty=\n"
                                                "Hidden=true\n"
                                                "[Desktop Action new]\n"
                                                "Exec=other\n");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->value(QStringLiteral("Name")), QStringLiteral("Spaced Out"));
    EXPECT_EQ(entry->value(QStringLiteral("Comment")), QStringLiteral("one two\nthree\\four;"));
    EXPECT_EQ(entry->stringList(QStringLiteral("MimeType")),
              QStringList({QStringLiteral("text/plain"), QStringLiteral("a;b"),
                           QStringLiteral("image/png")}));
    EXPECT_TRUE(entry->contains(QStringLiteral("Empty")));
    EXPECT_TRUE(entry->value(QStringLiteral("Empty")).isEmpty());
    EXPECT_TRUE(entry->value(QStringLiteral("Missing")).isNull());
    EXPECT_TRUE(entry->boolValue(QStringLiteral("Hidden")));
    EXPECT_FALSE(entry->contains(QStringLiteral("Exec"))); // the action's, not the entry's

    EXPECT_FALSE(KZDesktopEntry::fromData("Name=x\n[Other]\nExec=y\n").has_value());
    EXPECT_FALSE(KZDesktopEntry::fromData({}).has_value());
    EXPECT_FALSE(KZDesktopEntry::load(QFile::encodeName(QDir::tempPath())).has_value());
}

TEST(DesktopEntry, CommandLinesFollowTheQuotingRules)
{
    EXPECT_EQ(KZDesktopEntry::splitExec(
                  QStringLiteral(R"(  "/opt/my app/run"  -x "a \"b\" \$c \\d \e" "" 'q r')")),
              QStringList({QStringLiteral("/opt/my app/run"), QStringLiteral("-x"),
                           QStringLiteral(R"(a "b" $c \d \e)"), QString(), QStringLiteral("'q"),
                           QStringLiteral("r'")}));
    // The key file's own escapes come first: "\\\\" in the file is one backslash in a quote.
    const auto entry = KZDesktopEntry::fromData(
        "[Desktop Entry]\nExec=\"/usr/bin/tool\" \"back\\\\\\\\slash\" --name=%c %i %f\n");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->execArguments(),
              QStringList({QStringLiteral("/usr/bin/tool"), QStringLiteral("back\\slash"),
                           QStringLiteral("--name=")}));
}

TEST(DesktopEntry, FieldCodesTakeTheItem)
{
    const auto entry
        = KZDesktopEntry::fromData("[Desktop Entry]\nExec=viewer %U --file=%f 100%% %k %F\n");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->execArguments("/tmp/a b#1"),
              QStringList({QStringLiteral("viewer"), QStringLiteral("file:///tmp/a%20b%231"),
                           QStringLiteral("--file=/tmp/a b#1"), QStringLiteral("100%"),
                           QStringLiteral("/tmp/a b#1")}));
    EXPECT_EQ(
        entry->execArguments(),
        QStringList({QStringLiteral("viewer"), QStringLiteral("--file="), QStringLiteral("100%")}));
    // A name that is not UTF-8 travels as its URL, byte for byte.
    const QStringList bytes = entry->execArguments("/tmp/caf\xe9");
    EXPECT_EQ(bytes.last(), QStringLiteral("file:///tmp/caf%E9"));
    // A relative item is taken from the current folder.
    const QStringList relative = entry->execArguments("doc.txt");
    EXPECT_EQ(relative.last(), QDir::currentPath() + QStringLiteral("/doc.txt"));
}
