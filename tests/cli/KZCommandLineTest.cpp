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
