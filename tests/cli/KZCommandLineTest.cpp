#include "KZCommandLine.h"
#include "KZCliRunner.h"

#include <gtest/gtest.h>

#include <tuple>

TEST(CommandLine, NamesPassAsBytesAndAfterTheEndOfOptions)
{
    KZCommandLine::Options options;
    QString error;
    ASSERT_TRUE(KZCommandLine::parse({"erase", "caf\xe9\n", "--", "--yes"}, &options, &error))
        << error.toStdString();
    EXPECT_EQ(options.operands, (QByteArrayList{"caf\xe9\n", "--yes"}));
    EXPECT_FALSE(options.yes);
}

TEST(CommandLine, NoCommandOrTrayStartsTheDesktopAndEveryOtherFormDoesNot)
{
    const auto desktop = [](const QByteArrayList &arguments, QString *error) {
        KZCommandLine::Options options;
        return KZCommandLine::parse(arguments, &options, error)
               && KZCommandLine::startsDesktop(options);
    };
    QString error;
    EXPECT_TRUE(desktop({}, &error)) << error.toStdString();
    EXPECT_TRUE(desktop({"tray"}, &error)) << error.toStdString();
    EXPECT_FALSE(desktop({"tray", "--help"}, &error));
    EXPECT_FALSE(desktop({"--help"}, &error));
    EXPECT_FALSE(desktop({"list"}, &error));
    EXPECT_FALSE(desktop({"--version"}, &error));
    EXPECT_FALSE(desktop({"tray", "Work"}, &error));
    EXPECT_FALSE(error.isEmpty());

    // The help tells of the desktop application.
    EXPECT_TRUE(KZCommandLine::helpText().contains(QStringLiteral("binwise [tray]")));
    KZCommandLine::Options options;
    ASSERT_TRUE(KZCommandLine::parse({"help", "tray"}, &options, &error));
    EXPECT_TRUE(KZCommandLine::helpText(options.command).contains(QStringLiteral("system tray")));
}

TEST(CommandLine, RestoreTakesAFolderAndRenameAndPutTakesOnlyJson)
{
    KZCommandLine::Options options;
    QString error;
    ASSERT_TRUE(KZCommandLine::parse({"restore", "a", "--to", "/x y", "--rename", "--json", "b"},
                                     &options, &error))
        << error.toStdString();
    EXPECT_EQ(options.command, KZCommandLine::Command::Restore);
    EXPECT_EQ(options.operands, (QByteArrayList{"a", "b"}));
    EXPECT_EQ(options.toFolder, "/x y");
    EXPECT_TRUE(options.rename && options.json);
    ASSERT_TRUE(KZCommandLine::parse({"restore", "--to=-odd", "a"}, &options, &error));
    EXPECT_EQ(options.toFolder, "-odd");

    // An option after --to is not a folder; help still answers.
    EXPECT_FALSE(KZCommandLine::parse({"restore", "a", "--to", "--rename"}, &options, &error));
    EXPECT_FALSE(KZCommandLine::parse({"restore", "a", "--to"}, &options, &error));
    EXPECT_FALSE(KZCommandLine::parse({"restore", "--rename"}, &options, &error));
    ASSERT_TRUE(KZCommandLine::parse({"restore", "--to", "--help"}, &options, &error));
    EXPECT_TRUE(options.help);

    EXPECT_FALSE(KZCommandLine::parse({"put"}, &options, &error));
    EXPECT_FALSE(KZCommandLine::parse({"put", "a", "--to", "/x"}, &options, &error));
    EXPECT_FALSE(KZCommandLine::parse({"put", "a", "--yes"}, &options, &error));
    ASSERT_TRUE(KZCommandLine::parse({"put", "a", "--json"}, &options, &error));
    EXPECT_EQ(options.command, KZCommandLine::Command::Put);
}

TEST(CommandLine, DurationsAndSizesReadAsTheHelpSays)
{
    using F = KZItemFilter;
    EXPECT_EQ(F::parseDuration("30d"), 30 * 86400);
    EXPECT_EQ(F::parseDuration("30"), 30 * 86400);
    EXPECT_EQ(F::parseDuration("12h"), 12 * 3600);
    EXPECT_EQ(F::parseDuration("45m"), 45 * 60);
    EXPECT_EQ(F::parseDuration("2w"), 14 * 86400);
    EXPECT_EQ(F::parseDuration("90s"), 90);
    for (const char *wrong : {"", "d", "3x", "-1", "1.5d", "3dd", "99999999999999999999"})
        EXPECT_FALSE(F::parseDuration(wrong)) << str(wrong);
    EXPECT_EQ(F::parseSize("4096"), 4096u);
    EXPECT_EQ(F::parseSize("10k"), 10000u);
    EXPECT_EQ(F::parseSize("10kB"), 10000u);
    EXPECT_EQ(F::parseSize("500M"), 500000000u);
    EXPECT_EQ(F::parseSize("1G"), 1000000000u);
    EXPECT_EQ(F::parseSize("1Gi"), 1073741824u);
    EXPECT_EQ(F::parseSize("2GiB"), 2147483648u);
    for (const char *wrong : {"", "k", "1.5G", "9Q", "1i", "-1", "99999999T"})
        EXPECT_FALSE(F::parseSize(wrong)) << str(wrong);
}

// The cases where a hand-written glob most easily parts from Python's fnmatchcase, which is
// what trash-rm matches with (its translate() is the reference for each answer).
TEST(CommandLine, PatternsMatchAsPythonsFnmatchcaseAndTrashRmChooseTheSubject)
{
    const QList<std::tuple<QByteArray, QByteArray, bool>> cases{
        {"[a-]", "-", true},        {"[a-c-e]", "-", true},    {"[a-c-e]", "d", false},
        {"[!]a]", "b", true},       {"[!]a]", "]", false},     {"[]a]", "]", true},
        {"[z-a]", "z", false},      {"[!z-a]", "q", true},     {"[a", "[a", true},
        {"[^a]", "^", true},        {"[^a]", "b", false},      {"*", "a/b", true},
        {"?", "\xc3\xbc", true},    {"??", "\xc3\xbc", false}, {"?", "\xff", true},
        {"a*b*c", "aXbYbZc", true}, {"a*b", "a", false},       {"*.TXT", "x.txt", false},
        {"\\*", "\\x", true},       {".*", ".hidden", true},   {"*", "", true},
    };
    for (const auto &[pattern, subject, expected] : cases)
        EXPECT_EQ(KZItemFilter::globMatches(pattern, subject), expected)
            << str(pattern) << " against " << str(subject);
    EXPECT_TRUE(KZItemFilter::matchesPattern("y.txt", "/x/y.txt"));
    EXPECT_FALSE(KZItemFilter::matchesPattern("x/y.txt", "/x/y.txt"));
    EXPECT_TRUE(KZItemFilter::matchesPattern("/x/y.txt", "/x/y.txt"));
    EXPECT_TRUE(KZItemFilter::matchesPattern("/x/[y].txt", "/x/[y].txt"));
    EXPECT_TRUE(KZItemFilter::matchesPattern("/x/*", "/x/y.txt"));
    EXPECT_FALSE(KZItemFilter::matchesPattern("", "/x/y.txt"));
}
