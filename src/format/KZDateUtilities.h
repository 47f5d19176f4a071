#pragma once

#include <QDateTime>
#include <QHash>
#include <QRecursiveMutex>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class DateFormat;
class TimeZone;
U_NAMESPACE_END

// The classic file-system date-time record: 48 bits of seconds since 1 January 1904 (local
// time) and a 1/65536-second fraction.
struct KZUTCDateTime
{
    quint16 highSeconds = 0;
    quint32 lowSeconds = 0;
    quint16 fraction = 0;
};

// Dates as the user reads them, from seconds since 1 January 2001 UTC (the reference date).
// Formatting may run on any thread; the formatter cache is guarded by a recursive lock.
class KZDateUtilities
{
public:
    // The platform's date styles.
    enum DateStyle : unsigned {
        NoStyle = 0,
        ShortStyle = 1,
        MediumStyle = 2,
        LongStyle = 3,
        FullStyle = 4
    };

    // Seconds between 1 January 1904 and 1 January 2001.
    static constexpr qint64 kSeconds1904To2001 = 3061152000;
    // Seconds between 1 January 1970 and 1 January 2001.
    static constexpr qint64 kSeconds1970To2001 = 978307200;

    static KZDateUtilities &sharedControl();

    // localeName answers the locale formatters are made for; by default QLocale()'s name, so
    // QLocale::setDefault() followed by localeChanged() switches every cached formatter.
    explicit KZDateUtilities(std::function<QString()> localeName = {});
    ~KZDateUtilities();
    KZDateUtilities(const KZDateUtilities &) = delete;
    KZDateUtilities &operator=(const KZDateUtilities &) = delete;

    // The one the rest of the program uses. Any thread.
    [[nodiscard]] QString stringWithSeconds(double seconds, unsigned formatted, bool isDate,
                                            bool withTime);
    // Rebuilds every cached formatter for the current locale. The application calls it when
    // it sees QEvent::LocaleChange.
    void localeChanged();
    // Key "<style>-<isDate>-<withTime>", e.g. "4-1-1".
    [[nodiscard]] static QString formatterKey(unsigned formatted, bool isDate, bool withTime);
    // Identity of the formatter cached under key, or 0; lets callers see reuse and rebuilds.
    [[nodiscard]] quintptr cachedFormatterId(const QString &key) const;

    // Rewrites *minutes as "mm<separator>ss" and answers true when both are at most 59.
    bool isValidStringWithMinutes(QString *minutes, const QString &seconds,
                                  const QString &separator) const;
    // Parses *date loosely; on success rewrites it in the given date style and answers true.
    bool isValidStringDate(QString *date, unsigned dateType);
    [[nodiscard]] bool dateStringIsSmaller(const QString &first, const QString &second);

    [[nodiscard]] QVariantMap localeDateDict();
    [[nodiscard]] static QString localeYesterdayString() { return QStringLiteral("yesterday"); }
    [[nodiscard]] static QString localeTodayString() { return QStringLiteral("today"); }

    // December, and every month above 11, has 31 days; February follows the four-year rule
    // alone (no century exception).
    [[nodiscard]] static unsigned daysOfMonth(quint16 month, qint64 year);
    // Local seconds since 1904; 0 when out of range and for 3061155600, the marker of an
    // unset date in older records.
    [[nodiscard]] quint32 secondsFromDate(const QDateTime &date) const;
    [[nodiscard]] quint64 utcDateTimeToAbsoluteTime(const KZUTCDateTime &dateTime) const;

    // Seldom used helpers around the same formatters and conversions.
    [[nodiscard]] QString localeFormattedDateStringWithDate(const QDateTime &date,
                                                            unsigned formatted);
    [[nodiscard]] QDateTime convertDateOfCurrFile(const KZUTCDateTime &dateTime) const;
    [[nodiscard]] int yearFromDateString(const QString &dateString);

    // Loose date parsing behind the validity helpers: today/yesterday/tomorrow words, the
    // locale's own date formats, then digits in the locale's day-month-year order.
    [[nodiscard]] std::optional<double> secondsFromNaturalLanguageString(const QString &text);

private:
    void inititializeVariables();
    std::shared_ptr<icu::DateFormat> updateFormatterWithKey(const QString &key) const;
    [[nodiscard]] int gmtOffsetSeconds(double secondsSince2001) const;

    std::function<QString()> m_localeName;
    std::optional<QVariantMap> m_uDateDict;
    std::optional<double> m_wrongDate;
    std::unique_ptr<icu::TimeZone> m_timeZone;
    QHash<QString, std::shared_ptr<icu::DateFormat>> m_formatters;
    mutable QRecursiveMutex m_updateLock;
};
