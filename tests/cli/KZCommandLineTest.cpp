#include "KZCommandLine.h"

#include <gtest/gtest.h>

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
