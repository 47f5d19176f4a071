#include "format/KZDateUtilities.h"
#include "app/KZUserDefaults.h"

#include <gtest/gtest.h>

#include <unicode/timezone.h>

#include <QLocale>

namespace {

// The test main fixes TZ=UTC and an English locale; these tests name the locale they need.
KZDateUtilities datesIn(const char *locale)
{
    const QString name = QLatin1String(locale);
    return KZDateUtilities([name] { return name; });
}

// ICU puts a narrow no-break space before the AM/PM marker.
const QString nnbsp = QStringLiteral("\u202F");

// Seconds since the reference date of a UTC date-time.
double at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    const QDateTime time(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC);
    return double(time.toSecsSinceEpoch() - KZDateUtilities::kSeconds1970To2001);
}

// Swaps ICU's default time zone for one test.
class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const char *id)
        : m_saved(icu::TimeZone::createDefault())
    {
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(id));
    }
    ~ScopedTimeZone() { icu::TimeZone::adoptDefault(m_saved); }

private:
    icu::TimeZone *m_saved;
};

} // namespace

TEST(DateUtilities, FourStylesWithAndWithoutTime)
{
    KZDateUtilities dates = datesIn("en_US");
    const double seconds = at(2026, 11, 21, 14, 5, 9);
    EXPECT_EQ(dates.stringWithSeconds(seconds, 4, true, true),
              QStringLiteral("Saturday, November 21, 2026 at 2:05:09") + nnbsp
                  + QStringLiteral("PM"));
    EXPECT_EQ(dates.stringWithSeconds(seconds, 4, true, false),
              QStringLiteral("Saturday, November 21, 2026"));
    EXPECT_EQ(dates.stringWithSeconds(seconds, 3, true, true),
              QStringLiteral("November 21, 2026 at 2:05:09") + nnbsp + QStringLiteral("PM"));
    EXPECT_EQ(dates.stringWithSeconds(seconds, 3, true, false),
              QStringLiteral("November 21, 2026"));
    EXPECT_EQ(dates.stringWithSeconds(seconds, 2, true, false), QStringLiteral("Nov 21, 2026"));
    EXPECT_EQ(dates.stringWithSeconds(seconds, 1, true, false), QStringLiteral("11/21/26"));
    // Not a date: the time alone; neither: nothing.
    EXPECT_EQ(dates.stringWithSeconds(seconds, 4, false, true),
              QStringLiteral("2:05:09") + nnbsp + QStringLiteral("PM"));
    EXPECT_EQ(dates.stringWithSeconds(seconds, 4, false, false), QString());
    EXPECT_EQ(dates.stringWithSeconds(0, 1, true, false), QStringLiteral("1/1/01"));
}

TEST(DateUtilities, SameOptionsShareOneFormatterUntilTheLocaleChanges)
{
    QString locale = QStringLiteral("en_US");
    KZDateUtilities dates([&locale] { return locale; });
    EXPECT_EQ(KZDateUtilities::formatterKey(4, true, true), QStringLiteral("4-1-1"));
    EXPECT_EQ(KZDateUtilities::formatterKey(3, false, true), QStringLiteral("3-0-1"));

    EXPECT_EQ(dates.cachedFormatterId(QStringLiteral("3-1-0")), 0u);
    const QString english = dates.stringWithSeconds(0, 3, true, false);
    const quintptr first = dates.cachedFormatterId(QStringLiteral("3-1-0"));
    ASSERT_NE(first, 0u);
    (void)dates.stringWithSeconds(1e6, 3, true, false);
    EXPECT_EQ(dates.cachedFormatterId(QStringLiteral("3-1-0")), first);

    // A new locale is only picked up through localeChanged(), and then for every key.
    locale = QStringLiteral("de_DE");
    EXPECT_EQ(dates.stringWithSeconds(0, 3, true, false), english);
    dates.localeChanged();
    EXPECT_NE(dates.cachedFormatterId(QStringLiteral("3-1-0")), first);
    EXPECT_EQ(dates.stringWithSeconds(0, 3, true, false), QStringLiteral("1. Januar 2001"));
}

TEST(DateUtilities, SharedInstanceFollowsQtsDefaultLocale)
{
    KZDateUtilities &shared = KZDateUtilities::sharedControl();
    const QLocale saved;
    QLocale::setDefault(QLocale(QStringLiteral("fr_FR")));
    shared.localeChanged();
    EXPECT_EQ(shared.stringWithSeconds(0, 3, true, false), QStringLiteral("1 janvier 2001"));
    QLocale::setDefault(saved);
    shared.localeChanged();
    EXPECT_EQ(shared.stringWithSeconds(0, 3, true, false), QStringLiteral("January 1, 2001"));
}

TEST(DateUtilities, DaysOfMonthKeepTheFourYearRuleAndTheOutOfRangeMonths)
{
    EXPECT_EQ(KZDateUtilities::daysOfMonth(2, 2000), 29u);
    EXPECT_EQ(KZDateUtilities::daysOfMonth(2, 2100), 29u); // no century rule
    EXPECT_EQ(KZDateUtilities::daysOfMonth(2, 2001), 28u);
    EXPECT_EQ(KZDateUtilities::daysOfMonth(9, 2001), 30u);
    EXPECT_EQ(KZDateUtilities::daysOfMonth(11, 2001), 30u);
    EXPECT_EQ(KZDateUtilities::daysOfMonth(12, 2001), 31u);
    EXPECT_EQ(KZDateUtilities::daysOfMonth(13, 2001), 31u);
    EXPECT_EQ(KZDateUtilities::daysOfMonth(0, 2001), 31u);
    EXPECT_EQ(KZDateUtilities::daysOfMonth(1, 2001), 31u);
}

TEST(DateUtilities, MinutesAndSecondsAreCheckedAndPadded)
{
    const KZDateUtilities dates = datesIn("en_US");
    const QString colon = QStringLiteral(":");
    QString minutes = QStringLiteral("60");
    EXPECT_FALSE(dates.isValidStringWithMinutes(&minutes, QStringLiteral("0"), colon));
    EXPECT_EQ(minutes, QStringLiteral("60"));
    minutes = QStringLiteral("10");
    EXPECT_FALSE(dates.isValidStringWithMinutes(&minutes, QStringLiteral("60"), colon));
    minutes = QStringLiteral("-1"); // 16 unsigned bits: 65535
    EXPECT_FALSE(dates.isValidStringWithMinutes(&minutes, QStringLiteral("0"), colon));

    const std::pair<const char *, const char *> cases[][2] = {
        {{"3", "45"}, {"03:45", nullptr}},  {{"5", "7"}, {"05:07", nullptr}},
        {{"0", "0"}, {"00:00", nullptr}},   {{"12", "5"}, {"12:05", nullptr}},
        {{"00", "00"}, {"00:00", nullptr}}, {{"07", "30"}, {"7:30", nullptr}},
    };
    for (const auto &c : cases) {
        minutes = QLatin1String(c[0].first);
        ASSERT_TRUE(dates.isValidStringWithMinutes(&minutes, QLatin1String(c[0].second), colon));
        EXPECT_EQ(minutes, QLatin1String(c[1].first));
    }
    minutes = QStringLiteral("4");
    ASSERT_TRUE(dates.isValidStringWithMinutes(&minutes, QStringLiteral("9"), QStringLiteral("'")));
    EXPECT_EQ(minutes, QStringLiteral("04'09"));
}

TEST(DateUtilities, ClassicSecondsCountLocalTimeAndHideTheNoDateMarker)
{
    {
        const KZDateUtilities dates = datesIn("en_US");
        const QDateTime reference(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
        EXPECT_EQ(dates.secondsFromDate(reference), 3061152000u);
        EXPECT_EQ(dates.secondsFromDate(reference.addSecs(3600)), 0u); // 3061155600
        EXPECT_EQ(dates.secondsFromDate(reference.addSecs(3601)), 3061155601u);
        // Outside the 32 unsigned bits since 1904.
        EXPECT_EQ(dates.secondsFromDate(QDateTime(QDate(1903, 12, 31), QTime(), Qt::UTC)), 0u);
        EXPECT_EQ(dates.secondsFromDate(QDateTime(QDate(2050, 1, 1), QTime(), Qt::UTC)), 0u);
        EXPECT_EQ(dates.secondsFromDate(QDateTime()), 0u);
    }
    {
        // One hour east of Greenwich the reference date itself is the marker.
        ScopedTimeZone rome("Europe/Rome");
        const KZDateUtilities dates = datesIn("it_IT");
        EXPECT_EQ(dates.secondsFromDate(QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC)), 0u);
        EXPECT_EQ(dates.secondsFromDate(QDateTime(QDate(2001, 7, 1), QTime(0, 0), Qt::UTC)),
                  3061152000u + 181u * 86400u + 7200u); // summer time
    }
}

TEST(DateUtilities, ClassicRecordsConvertToAbsoluteSeconds)
{
    const KZDateUtilities dates = datesIn("en_US");
    EXPECT_EQ(dates.utcDateTimeToAbsoluteTime({0, 3061152000u + 100u, 0}), 100u);
    // The high 16 bits of the record are not read.
    EXPECT_EQ(dates.utcDateTimeToAbsoluteTime({1, 3061152000u + 100u, 0}), 100u);
    EXPECT_EQ(dates.utcDateTimeToAbsoluteTime({0, 5, 0}), 0u);
    EXPECT_EQ(dates.convertDateOfCurrFile({0, 3061152000u, 0}),
              QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC));
}

TEST(DateUtilities, LocaleDateDictionaryOrdersFieldsAndStopsAtTheFirstMissingArray)
{
    KZUserDefaults &defaults = KZUserDefaults::sharedControl();
    defaults.setValue(QStringLiteral("NSEarlierTimeDesignations"),
                      QStringList{QStringLiteral("prior")});
    defaults.setValue(QStringLiteral("NSHourNameDesignations"),
                      QStringList{QStringLiteral("noon")});
    // NSLaterTimeDesignations missing: everything after it is dropped too.
    defaults.setValue(QStringLiteral("NSPriorDayDesignations"),
                      QStringList{QStringLiteral("ieri")});

    KZDateUtilities english = datesIn("en_US");
    const QVariantMap dict = english.localeDateDict();
    EXPECT_EQ(dict.value(QStringLiteral("NSDateTimeOrdering")).toString(), QStringLiteral("MDYH"));
    EXPECT_EQ(dict.keys(), (QStringList{QStringLiteral("NSDateTimeOrdering"),
                                        QStringLiteral("NSEarlierTimeDesignations"),
                                        QStringLiteral("NSHourNameDesignations")}));
    KZDateUtilities german = datesIn("de_DE");
    EXPECT_EQ(german.localeDateDict().value(QStringLiteral("NSDateTimeOrdering")).toString(),
              QStringLiteral("DMYH"));

    for (const char *key :
         {"NSEarlierTimeDesignations", "NSHourNameDesignations", "NSPriorDayDesignations"})
        defaults.removeValue(QLatin1String(key));
}

TEST(DateUtilities, LooseDatesAreRewrittenInTheChosenStyle)
{
    KZDateUtilities english = datesIn("en_US");
    QString text = QStringLiteral("1/2/2020");
    ASSERT_TRUE(english.isValidStringDate(&text, 3));
    EXPECT_EQ(text, QStringLiteral("January 2, 2020"));
    text = QStringLiteral("March 5, 2019");
    ASSERT_TRUE(english.isValidStringDate(&text, 1));
    EXPECT_EQ(text, QStringLiteral("3/5/19"));
    text = QStringLiteral("yesterday");
    EXPECT_TRUE(english.isValidStringDate(&text, 3));
    text = QStringLiteral("not a date");
    EXPECT_FALSE(english.isValidStringDate(&text, 3));
    EXPECT_EQ(text, QStringLiteral("not a date"));
    text = QStringLiteral("2/30/2020");
    EXPECT_FALSE(english.isValidStringDate(&text, 3));

    KZDateUtilities german = datesIn("de_DE");
    text = QStringLiteral("1.2.2020");
    ASSERT_TRUE(german.isValidStringDate(&text, 3));
    EXPECT_EQ(text, QStringLiteral("1. Februar 2020"));

    EXPECT_TRUE(
        english.dateStringIsSmaller(QStringLiteral("1/2/2020"), QStringLiteral("1/3/2020")));
    EXPECT_FALSE(
        english.dateStringIsSmaller(QStringLiteral("1/3/2020"), QStringLiteral("1/2/2020")));
    EXPECT_FALSE(
        english.dateStringIsSmaller(QStringLiteral("1/2/2020"), QStringLiteral("1/2/2020")));
    EXPECT_FALSE(english.dateStringIsSmaller(QStringLiteral("junk"), QStringLiteral("1/2/2020")));
    EXPECT_TRUE(english.dateStringIsSmaller(QStringLiteral("yesterday"), QStringLiteral("today")));

    EXPECT_EQ(english.yearFromDateString(QStringLiteral("2019-04-01")), 2019);
    EXPECT_EQ(english.yearFromDateString(QStringLiteral("March 5, 2019")), 2019);
    EXPECT_EQ(english.yearFromDateString(QStringLiteral("junk")), 0);
}
