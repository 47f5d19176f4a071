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
