#include "format/KZNumberUtilities.h"
#include "format/KZLocalizedStrings.h"

#include <gtest/gtest.h>

namespace {
QString unit(const char *key)
{
    return KZLocalizedString(QLatin1String(key));
}
} // namespace

TEST(NumberUtilities, SizesPickTheUnitByScaleBeforeRoundingAndNumbersRoundHalfEven)
{
    const KZNumberUtilities english(QStringLiteral("en_US"));
    // {bytes, scale, two fraction digits, number, unit}
    const std::tuple<quint64, qint16, bool, const char *, const char *> cases[] = {
        {999, 4, true, "999", "byte"},
        {1000, 4, true, "1.00", "Kb"},
        {1'500'000, 4, true, "1.50", "Mb"},
        {1'500'000, 4, false, "1.5", "Mb"},
        {2'000'000'000, 4, true, "2.00", "Gb"},
        {3'000'000'000'000, 4, true, "3.00", "Tb"},
        {5'000'000'000'000'000, 4, true, "5,000.00", "Tb"}, // nothing above Tb
        // The unit is chosen before rounding: 999,999 bytes are not yet a megabyte.
        {999'999, 4, true, "1,000.00", "Kb"},
        // Scale 1 stops at bytes, 2 at Kb, 4 at Tb; every other scale at Mb.
        {1'234'567, 1, true, "1,234,567", "byte"},
        {5'000'000, 2, true, "5,000.00", "Kb"},
        {5'000'000'000, 3, true, "5,000.00", "Mb"},
        {5'000'000'000, -7, true, "5,000.00", "Mb"},
    };
    for (const auto &[bytes, scale, precision, number, key] : cases)
        EXPECT_EQ(english.sizeToFormatString(bytes, scale, precision),
                  QLatin1String(number) + unit(key))
            << bytes << " at scale " << scale;

    const KZNumberUtilities german(QStringLiteral("de_DE"));
    EXPECT_EQ(german.sizeToFormatString(999'999, 4, true), QStringLiteral("1.000,00") + unit("Kb"));

    EXPECT_EQ(english.numberToFormatString(2, true), QStringLiteral("2.00"));
    EXPECT_EQ(english.numberToFormatString(2, false), QStringLiteral("2.0"));
    // 0.125 and 0.375 are exact in binary, so these show the rounding mode itself.
    const std::pair<double, const char *> numbers[]
        = {{3, "3"}, {1'234'567.5, "1,234,567.5"}, {0.125, "0.12"}, {0.375, "0.38"}};
    for (const auto &[number, text] : numbers)
        EXPECT_EQ(english.numberToFormatString(number), QLatin1String(text)) << number;
}

TEST(NumberUtilities, ClockStringsAndDegreesKeepTheirOldForms)
{
    const KZNumberUtilities english(QStringLiteral("en_US"));
    // A whole hour keeps the old "1:00:3600" form.
    const std::pair<qint64, const char *> clocks[]
        = {{-5, "00:00"},       {59, "00:59"},     {60, "01:00"},       {3599, "59:59"},
           {3600, "1:00:3600"}, {3661, "1:01:01"}, {36'610, "10:10:10"}};
    for (const auto &[seconds, text] : clocks)
        EXPECT_EQ(english.secondsToFormatString(seconds), QLatin1String(text)) << seconds;

    // Below three minutes the seconds are dropped: 0.04 degrees is 2.4 minutes, 0.0625 is
    // 3 minutes and 45 seconds.
    const std::pair<double, QString> degrees[] = {
        {0, QString()},
        {12.04, QStringLiteral("12\u00B0 2' 0.000\" N")},
        {12.0625, QStringLiteral("12\u00B0 3' 45.000\" N")},
    };
    for (const auto &[value, text] : degrees)
        EXPECT_EQ(english.mpsFromDegrees(value, QStringLiteral("N")), text) << value;
}
