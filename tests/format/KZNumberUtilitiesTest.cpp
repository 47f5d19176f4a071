#include "format/KZNumberUtilities.h"
#include "format/KZLocalizedStrings.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <thread>
#include <vector>

namespace {

QString unit(const char *key)
{
    return KZLocalizedString(QLatin1String(key));
}

class NumberUtilities : public ::testing::Test
{
protected:
    KZNumberUtilities english{QStringLiteral("en_US")};
};

} // namespace

TEST_F(NumberUtilities, SizesStepThroughDecimalUnitsAtScaleFour)
{
    EXPECT_EQ(english.sizeToFormatString(0, 4, true), QStringLiteral("0") + unit("byte"));
    EXPECT_EQ(english.sizeToFormatString(999, 4, true), QStringLiteral("999") + unit("byte"));
    EXPECT_EQ(english.sizeToFormatString(1000, 4, true), QStringLiteral("1.00") + unit("Kb"));
    EXPECT_EQ(english.sizeToFormatString(1'500'000, 4, true), QStringLiteral("1.50") + unit("Mb"));
    EXPECT_EQ(english.sizeToFormatString(2'000'000'000, 4, true),
              QStringLiteral("2.00") + unit("Gb"));
    EXPECT_EQ(english.sizeToFormatString(3'000'000'000'000, 4, true),
              QStringLiteral("3.00") + unit("Tb"));
    // There is no unit above Tb.
    EXPECT_EQ(english.sizeToFormatString(5'000'000'000'000'000, 4, true),
              QStringLiteral("5,000.00") + unit("Tb"));
}

TEST_F(NumberUtilities, UnitIsChosenBeforeRounding)
{
    EXPECT_EQ(english.sizeToFormatString(999'999, 4, true),
              QStringLiteral("1,000.00") + unit("Kb"));
    EXPECT_EQ(english.sizeToFormatString(999'999, 4, false),
              QStringLiteral("1,000.0") + unit("Kb"));
}

TEST_F(NumberUtilities, ScaleCapsTheUnit)
{
    EXPECT_EQ(english.sizeToFormatString(1'234'567, 1, true),
              QStringLiteral("1,234,567") + unit("byte"));
    EXPECT_EQ(english.sizeToFormatString(5'000'000, 2, true),
              QStringLiteral("5,000.00") + unit("Kb"));
    EXPECT_EQ(english.sizeToFormatString(5'000'000, 3, true), QStringLiteral("5.00") + unit("Mb"));
    EXPECT_EQ(english.sizeToFormatString(5'000'000'000, 3, true),
              QStringLiteral("5,000.00") + unit("Mb"));
    EXPECT_EQ(english.sizeToFormatString(5'000'000'000, 0, true),
              QStringLiteral("5,000.00") + unit("Mb"));
    EXPECT_EQ(english.sizeToFormatString(5'000'000'000, -7, true),
              QStringLiteral("5,000.00") + unit("Mb"));
}

TEST_F(NumberUtilities, PrecisionPicksTheFractionFormatter)
{
    EXPECT_EQ(english.sizeToFormatString(1'500'000, 4, false), QStringLiteral("1.5") + unit("Mb"));
    EXPECT_EQ(english.numberToFormatString(2, true), QStringLiteral("2.00"));
    EXPECT_EQ(english.numberToFormatString(2, false), QStringLiteral("2.0"));
}

TEST_F(NumberUtilities, PlainNumbersDropZeroFractionsAndRoundHalfEven)
{
    EXPECT_EQ(english.numberToFormatString(3), QStringLiteral("3"));
    EXPECT_EQ(english.numberToFormatString(1234.5), QStringLiteral("1,234.5"));
    EXPECT_EQ(english.numberToFormatString(1'000'000), QStringLiteral("1,000,000"));
    // 0.125 and 0.375 are exact in binary, so these show the rounding mode itself.
    EXPECT_EQ(english.numberToFormatString(0.125), QStringLiteral("0.12"));
    EXPECT_EQ(english.numberToFormatString(0.375), QStringLiteral("0.38"));
}

TEST_F(NumberUtilities, FollowsTheLocaleItWasMadeFor)
{
    const KZNumberUtilities german(QStringLiteral("de_DE"));
    EXPECT_EQ(german.sizeToFormatString(1'500'000, 4, true), QStringLiteral("1,50") + unit("Mb"));
    EXPECT_EQ(german.sizeToFormatString(999'999, 4, true), QStringLiteral("1.000,00") + unit("Kb"));
    EXPECT_EQ(german.numberToFormatString(1234.5), QStringLiteral("1.234,5"));
}

TEST_F(NumberUtilities, ClockStringsKeepTheWholeHourQuirk)
{
    EXPECT_EQ(english.secondsToFormatString(0), QStringLiteral("00:00"));
    EXPECT_EQ(english.secondsToFormatString(-5), QStringLiteral("00:00"));
    EXPECT_EQ(english.secondsToFormatString(5), QStringLiteral("00:05"));
    EXPECT_EQ(english.secondsToFormatString(59), QStringLiteral("00:59"));
    EXPECT_EQ(english.secondsToFormatString(60), QStringLiteral("01:00"));
    EXPECT_EQ(english.secondsToFormatString(600), QStringLiteral("10:00"));
    EXPECT_EQ(english.secondsToFormatString(3599), QStringLiteral("59:59"));
    EXPECT_EQ(english.secondsToFormatString(3600), QStringLiteral("1:00:3600"));
    EXPECT_EQ(english.secondsToFormatString(3661), QStringLiteral("1:01:01"));
    EXPECT_EQ(english.secondsToFormatString(7325), QStringLiteral("2:02:05"));
    EXPECT_EQ(english.secondsToFormatString(36'000 + 610), QStringLiteral("10:10:10"));
}

TEST_F(NumberUtilities, DegreesDropSecondsBelowThreeMinutes)
{
    EXPECT_EQ(english.mpsFromDegrees(0, QStringLiteral("N")), QString());
    EXPECT_EQ(english.mpsFromDegrees(-12.5, QStringLiteral("S")), QString());
    EXPECT_EQ(english.mpsFromDegrees(45.5, QStringLiteral("N")),
              QStringLiteral("45\u00B0 30' 0.000\" N"));
    // 0.04 degrees is 2.4 minutes: under the threshold, so no seconds.
    EXPECT_EQ(english.mpsFromDegrees(12.04, QStringLiteral("E")),
              QStringLiteral("12\u00B0 2' 0.000\" E"));
    // 0.0625 degrees is 3.75 minutes: 3 minutes and 45 seconds.
    EXPECT_EQ(english.mpsFromDegrees(12.0625, QStringLiteral("E")),
              QStringLiteral("12\u00B0 3' 45.000\" E"));
}

TEST_F(NumberUtilities, SharedFormattersGiveTheSameTextOnEveryThread)
{
    const QString expected = english.sizeToFormatString(123'456'789, 4, true);
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 2000; ++i) {
                if (english.sizeToFormatString(123'456'789, 4, true) != expected)
                    ++mismatches[t];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, std::vector<int>(4, 0));
}
