#include "KZCommandLine.h"

#include <gtest/gtest.h>

using Command = KZCommandLine::Command;
using Answer = KZCommandLine::Answer;

namespace {

KZCommandLine::Options parsed(const QByteArrayList &arguments)
{
    KZCommandLine::Options options;
    QString error;
    EXPECT_TRUE(KZCommandLine::parse(arguments, &options, &error)) << error.toStdString();
    return options;
}

} // namespace

TEST(CommandLine, OptionsMayFollowOperandsAndTakeTheirValueEitherWay)
{
    const KZCommandLine::Options erase = parsed(
        {"erase", "a", "--locked", "erase", "b", "--no-permission=skip", "-y", "--", "--yes"});
    EXPECT_EQ(erase.command, Command::Erase);
    EXPECT_EQ(erase.locked, Answer::Erase);
    EXPECT_EQ(erase.noPermission, Answer::Skip);
    EXPECT_TRUE(erase.yes);
    EXPECT_FALSE(erase.secure);
    // "erase" is the value of --locked, not an operand; after "--" an option is a name.
    EXPECT_EQ(erase.operands, (QByteArrayList{"a", "b", "--yes"}));

    // Bytes pass untouched: a path need not be text.
    EXPECT_EQ(parsed({"erase", "caf\xe9\n"}).operands, QByteArrayList{"caf\xe9\n"});
    EXPECT_EQ(parsed({"help", "items"}).command, Command::Items);
    EXPECT_TRUE(parsed({"help", "items"}).help);
    EXPECT_EQ(parsed({"-V"}).command, Command::Version);
}
