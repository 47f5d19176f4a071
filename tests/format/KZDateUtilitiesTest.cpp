#include "format/KZDateUtilities.h"
#include "foundation/KZUserDefaults.h"

#include <gtest/gtest.h>

#include <unicode/timezone.h>

#include <QScopeGuard>

namespace {

// The test main fixes TZ=UTC and an English locale; these tests name the locale they need.
KZDateUtilities datesIn(const char *locale)
{
    const QString name = QLatin1String(locale);
    return KZDateUtilities([name] { return name; });
}

const QDateTime kReference(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);

} // namespace

TEST(DateUtilities, FourStylesAndOneFormatterPerOptionsUntilTheLocaleChanges)
{
    QString locale = QStringLiteral("en_US");
    KZDateUtilities dates([&locale] { return locale; });
    // Saturday 21 November 2026, 14:05:09 UTC. ICU puts a narrow no-break space before PM.
    const double seconds
        = kReference.secsTo(QDateTime(QDate(2026, 11, 21), QTime(14, 5, 9), Qt::UTC));
    const QString time = QStringLiteral("2:05:09\u202FPM");
    const std::tuple<unsigned, bool, bool, QString> cases[] = {
        {4, true, true, QStringLiteral("Saturday, November 21, 2026 at ") + time},
        {3, true, false, QStringLiteral("November 21, 2026")},
        {2, true, false, QStringLiteral("Nov 21, 2026")},
        {1, true, false, QStringLiteral("11/21/26")},
        {4, false, true, time}, // not a date: the time alone
    };
    for (const auto &[style, isDate, withTime, text] : cases)
        EXPECT_EQ(dates.stringWithSeconds(seconds, style, isDate, withTime), text)
            << style << isDate << withTime;

    // Same options share one formatter; a new locale is only picked up through localeChanged().
    const QString key = QStringLiteral("3-1-0");
    const quintptr first = dates.cachedFormatterId(key);
    ASSERT_NE(first, 0u);
    locale = QStringLiteral("de_DE");
    EXPECT_EQ(dates.stringWithSeconds(0, 3, true, false), QStringLiteral("January 1, 2001"));
    EXPECT_EQ(dates.cachedFormatterId(key), first);
    dates.localeChanged();
    EXPECT_NE(dates.cachedFormatterId(key), first);
    EXPECT_EQ(dates.stringWithSeconds(0, 3, true, false), QStringLiteral("1. Januar 2001"));
}

TEST(DateUtilities, DaysOfMonthMinutesAndClassicSecondsKeepTheirOldRules)
{
    // Only the four-year rule, and every month above 11 has 31 days.
    const std::tuple<quint16, qint64, unsigned> months[]
        = {{2, 2100, 29},  {2, 2001, 28},  {11, 2001, 30},
           {12, 2001, 31}, {13, 2001, 31}, {0, 2001, 31}};
    for (const auto &[month, year, days] : months)
        EXPECT_EQ(KZDateUtilities::daysOfMonth(month, year), days) << month << "/" << year;

    const KZDateUtilities dates = datesIn("en_US");
    // {minutes, seconds, separator, rewritten minutes or nullptr when refused}; "-1" minutes
    // are 65535 in 16 unsigned bits.
    const std::tuple<const char *, const char *, const char *, const char *> cases[]
        = {{"60", "0", ":", nullptr}, {"10", "60", ":", nullptr}, {"-1", "0", ":", nullptr},
           {"3", "45", ":", "03:45"}, {"12", "5", ":", "12:05"},  {"07", "30", ":", "7:30"},
           {"4", "9", "'", "04'09"}};
    for (const auto &[minutes, seconds, separator, rewritten] : cases) {
        QString text = QLatin1String(minutes);
        EXPECT_EQ(
            dates.isValidStringWithMinutes(&text, QLatin1String(seconds), QLatin1String(separator)),
            rewritten != nullptr)
            << minutes << separator << seconds;
        EXPECT_EQ(text, QLatin1String(rewritten ? rewritten : minutes));
    }

    // Classic seconds since 1904 count local time and hide the no-date marker.
    EXPECT_EQ(dates.secondsFromDate(kReference), 3061152000u);
    EXPECT_EQ(dates.secondsFromDate(kReference.addSecs(3600)), 0u); // 3061155600
    EXPECT_EQ(dates.secondsFromDate(kReference.addSecs(3601)), 3061155601u);
    // The high 16 bits of the record are not read.
    EXPECT_EQ(dates.utcDateTimeToAbsoluteTime({1, 3061152000u + 100u, 0}), 100u);
    EXPECT_EQ(dates.convertDateOfCurrFile({0, 3061152000u, 0}), kReference);

    // One hour east of Greenwich the reference date itself is the marker.
    icu::TimeZone *utc = icu::TimeZone::createDefault();
    icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("Europe/Rome"));
    const auto restore = qScopeGuard([utc] { icu::TimeZone::adoptDefault(utc); });
    const KZDateUtilities rome = datesIn("it_IT");
    EXPECT_EQ(rome.secondsFromDate(kReference), 0u);
}

TEST(DateUtilities, LocaleDictionaryStopsAtTheFirstMissingArrayAndLooseDatesAreRewritten)
{
    KZUserDefaults &defaults = KZUserDefaults::sharedControl();
    // NSLaterTimeDesignations is missing: NSPriorDayDesignations after it is dropped too.
    const QStringList keys
        = {QStringLiteral("NSEarlierTimeDesignations"), QStringLiteral("NSHourNameDesignations"),
           QStringLiteral("NSPriorDayDesignations")};
    for (const QString &key : keys)
        defaults.setValue(key, QStringList{QStringLiteral("word")});
    const auto restore = qScopeGuard([&] {
        for (const QString &key : keys)
            defaults.removeValue(key);
    });
    const QString ordering = QStringLiteral("NSDateTimeOrdering");
    EXPECT_EQ(datesIn("en_US").localeDateDict().keys(), QStringList({ordering, keys[0], keys[1]}));
    EXPECT_EQ(datesIn("de_DE").localeDateDict().value(ordering), QStringLiteral("DMYH"));

    KZDateUtilities english = datesIn("en_US");
    // {text, style, rewritten or nullptr when it is no date}
    const std::tuple<const char *, unsigned, const char *> cases[]
        = {{"1/2/2020", 3, "January 2, 2020"},
           {"March 5, 2019", 1, "3/5/19"},
           {"2/30/2020", 3, nullptr}};
    for (const auto &[input, style, rewritten] : cases) {
        QString text = QLatin1String(input);
        EXPECT_EQ(english.isValidStringDate(&text, style), rewritten != nullptr) << input;
        EXPECT_EQ(text, QLatin1String(rewritten ? rewritten : input));
    }
    const auto smaller = [&](const char *first, const char *second) {
        return english.dateStringIsSmaller(QLatin1String(first), QLatin1String(second));
    };
    EXPECT_TRUE(smaller("1/2/2020", "1/3/2020"));
    EXPECT_FALSE(smaller("1/2/2020", "1/2/2020"));
    EXPECT_TRUE(smaller("yesterday", "today"));
}
