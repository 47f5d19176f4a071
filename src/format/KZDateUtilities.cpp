#include "KZDateUtilities.h"

#include "KZIcu.h"
#include "foundation/KZUserDefaults.h"

#include <unicode/datefmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <QLocale>
#include <QMutexLocker>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

constexpr double kMillis = 1000.0;

UDate udateFromSeconds(double secondsSince2001)
{
    return (secondsSince2001 + double(KZDateUtilities::kSeconds1970To2001)) * kMillis;
}

double secondsFromUDate(UDate date)
{
    return date / kMillis - double(KZDateUtilities::kSeconds1970To2001);
}

icu::DateFormat::EStyle icuStyle(unsigned style)
{
    switch (style) {
    case KZDateUtilities::ShortStyle:
        return icu::DateFormat::kShort;
    case KZDateUtilities::MediumStyle:
        return icu::DateFormat::kMedium;
    case KZDateUtilities::LongStyle:
        return icu::DateFormat::kLong;
    case KZDateUtilities::FullStyle:
        return icu::DateFormat::kFull;
    default:
        return icu::DateFormat::kNone;
    }
}

// Ordering of day, month, year and hour in a date pattern, e.g. "DMYH"; empty when any of
// the four is missing.
QString orderingFromPattern(const QString &pattern)
{
    struct Letter
    {
        QChar letter;
        qsizetype position;
    };
    std::array<Letter, 4> letters{
        {{QLatin1Char('D'), pattern.indexOf(QLatin1Char('d'), 0, Qt::CaseInsensitive)},
         {QLatin1Char('M'), pattern.indexOf(QLatin1Char('m'), 0, Qt::CaseInsensitive)},
         {QLatin1Char('Y'), pattern.indexOf(QLatin1Char('y'), 0, Qt::CaseInsensitive)},
         {QLatin1Char('H'), pattern.indexOf(QLatin1Char('h'), 0, Qt::CaseInsensitive)}}};
    if (std::any_of(letters.begin(), letters.end(), [](const Letter &l) { return l.position < 0; }))
        return {};
    std::sort(letters.begin(), letters.end(),
              [](const Letter &a, const Letter &b) { return a.position < b.position; });
    QString ordering;
    for (const Letter &l : letters)
        ordering += l.letter;
    return ordering;
}

QStringList stringsOf(const QVariant &value)
{
    QStringList result;
    const QStringList list = value.toStringList();
    for (const QString &entry : list)
        result.append(entry.trimmed().toLower());
    return result;
}

// The platform reads a plain C integer: leading blanks, an optional sign, digits; anything
// else ends the number, and no digits at all read as 0.
qint64 intValue(const QString &text)
{
    static const QRegularExpression leadingInteger(QStringLiteral("^\\s*([+-]?\\d+)"));
    const QRegularExpressionMatch match = leadingInteger.match(text);
    if (!match.hasMatch())
        return 0;
    bool ok = false;
    const qint64 value = match.captured(1).toLongLong(&ok);
    return ok ? value : 0;
}

} // namespace

KZDateUtilities &KZDateUtilities::sharedControl()
{
    static KZDateUtilities shared;
    return shared;
}

KZDateUtilities::KZDateUtilities(std::function<QString()> localeName)
    : m_localeName(localeName ? std::move(localeName) : [] { return QLocale().name(); })
{
    inititializeVariables();
}

KZDateUtilities::~KZDateUtilities() = default;

void KZDateUtilities::inititializeVariables()
{
    m_timeZone.reset(icu::TimeZone::createDefault());

    // The marker of an invalid date: what the locale makes of the reference date written the
    // European way. Many locales cannot read it, and then there is no marker at all.
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::DateFormat> parser(icu::DateFormat::createDateTimeInstance(
        icu::DateFormat::kShort, icu::DateFormat::kMedium, KZIcu::locale(m_localeName())));
    if (parser) {
        const UDate parsed
            = parser->parse(KZIcu::toUnicodeString(QStringLiteral("01/01/2001 00:00:00")), status);
        if (U_SUCCESS(status))
            m_wrongDate = secondsFromUDate(parsed);
    }
}

QString KZDateUtilities::formatterKey(unsigned formatted, bool isDate, bool withTime)
{
    return QStringLiteral("%1-%2-%3").arg(formatted).arg(isDate ? 1 : 0).arg(withTime ? 1 : 0);
}

std::shared_ptr<icu::DateFormat> KZDateUtilities::updateFormatterWithKey(const QString &key) const
{
    const QStringList parts = key.split(QLatin1Char('-'));
    const unsigned style = parts.value(0).toUInt();
    const bool isDate = parts.value(1).toInt() != 0;
    const bool withTime = parts.value(2).toInt() != 0;

    const icu::DateFormat::EStyle dateStyle = isDate ? icuStyle(style) : icu::DateFormat::kNone;
    const icu::DateFormat::EStyle timeStyle
        = withTime ? icu::DateFormat::kMedium : icu::DateFormat::kNone;
    // Neither a date nor a time: the platform's formatter prints nothing, so no formatter.
    if (dateStyle == icu::DateFormat::kNone && timeStyle == icu::DateFormat::kNone)
        return nullptr;
    return std::shared_ptr<icu::DateFormat>(icu::DateFormat::createDateTimeInstance(
        dateStyle, timeStyle, KZIcu::locale(m_localeName())));
}

QString KZDateUtilities::stringWithSeconds(double seconds, unsigned formatted, bool isDate,
                                           bool withTime)
{
    const QString key = formatterKey(formatted, isDate, withTime);
    QMutexLocker locker(&m_updateLock);
    auto it = m_formatters.find(key);
    if (it == m_formatters.end())
        it = m_formatters.insert(key, updateFormatterWithKey(key));
    if (!*it)
        return QString();
    icu::UnicodeString text;
    (*it)->format(udateFromSeconds(seconds), text);
    return KZIcu::toQString(text);
}

void KZDateUtilities::localeChanged()
{
    QMutexLocker locker(&m_updateLock);
    QHash<QString, std::shared_ptr<icu::DateFormat>> fresh;
    for (auto it = m_formatters.cbegin(); it != m_formatters.cend(); ++it)
        fresh.insert(it.key(), updateFormatterWithKey(it.key()));
    m_formatters = std::move(fresh);
}

quintptr KZDateUtilities::cachedFormatterId(const QString &key) const
{
    QMutexLocker locker(&m_updateLock);
    return quintptr(m_formatters.value(key).get());
}

bool KZDateUtilities::isValidStringWithMinutes(QString *minutes, const QString &seconds,
                                               const QString &separator) const
{
    if (!minutes)
        return false;
    // The minutes are kept in 16 unsigned bits, so "-1" reads as 65535 and is refused.
    const auto mins = static_cast<quint16>(intValue(*minutes));
    const auto secs = static_cast<int>(intValue(seconds));
    if (mins > 59 || secs > 59)
        return false;
    const QString minutesPrefix
        = (mins == 0 || minutes->size() == 1) ? QStringLiteral("0") : QString();
    const QString secondsPrefix
        = (secs == 0 || seconds.size() == 1) ? QStringLiteral("0") : QString();
    *minutes = minutesPrefix + QString::number(mins) + separator + secondsPrefix
               + QString::number(static_cast<quint16>(secs));
    return true;
}

QVariantMap KZDateUtilities::localeDateDict()
{
    QMutexLocker locker(&m_updateLock);
    if (m_uDateDict)
        return *m_uDateDict;

    KZUserDefaults &defaults = KZUserDefaults::sharedControl();
    QString ordering;
    std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createDateTimeInstance(
        icu::DateFormat::kShort, icu::DateFormat::kMedium, KZIcu::locale(m_localeName())));
    if (auto *simple = dynamic_cast<icu::SimpleDateFormat *>(format.get())) {
        icu::UnicodeString pattern;
        simple->toPattern(pattern);
        ordering = orderingFromPattern(KZIcu::toQString(pattern));
    }
    if (ordering.isEmpty())
        ordering = defaults.value(QStringLiteral("NSDateTimeOrdering")).toString();

    QVariantMap dict;
    dict.insert(QStringLiteral("NSDateTimeOrdering"), ordering);
    // Built like a list that ends at its first missing value: a missing array drops its key
    // and every key after it.
    static const char *const arrayKeys[]
        = {"NSEarlierTimeDesignations", "NSHourNameDesignations",     "NSLaterTimeDesignations",
           "NSNextDayDesignations",     "NSNextNextDayDesignations",  "NSPriorDayDesignations",
           "NSThisDayDesignations",     "NSYearMonthWeekDesignations"};
    for (const char *key : arrayKeys) {
        const QVariant value = defaults.value(QLatin1String(key));
        if (!value.isValid() || value.isNull())
            break;
        dict.insert(QLatin1String(key), value);
    }
    m_uDateDict = dict;
    return dict;
}

std::optional<double> KZDateUtilities::secondsFromNaturalLanguageString(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    const QVariantMap dict = localeDateDict();
    const QString lower = trimmed.toLower();
    const double now = double(QDateTime::currentSecsSinceEpoch() - kSeconds1970To2001);
    constexpr double day = 86400.0;

    const QStringList today = stringsOf(dict.value(QStringLiteral("NSThisDayDesignations")))
                              << localeTodayString();
    const QStringList yesterday = stringsOf(dict.value(QStringLiteral("NSPriorDayDesignations")))
                                  << localeYesterdayString();
    const QStringList tomorrow = stringsOf(dict.value(QStringLiteral("NSNextDayDesignations")))
                                 << QStringLiteral("tomorrow");
    const QStringList dayAfter = stringsOf(dict.value(QStringLiteral("NSNextNextDayDesignations")));
    if (today.contains(lower))
        return now;
    if (yesterday.contains(lower))
        return now - day;
    if (tomorrow.contains(lower))
        return now + day;
    if (dayAfter.contains(lower))
        return now + 2 * day;

    // The locale's own formats, longest first, each needing to read the whole text.
    const icu::Locale locale = KZIcu::locale(m_localeName());
    const icu::UnicodeString source = KZIcu::toUnicodeString(trimmed);
    for (const auto dateStyle : {icu::DateFormat::kFull, icu::DateFormat::kLong,
                                 icu::DateFormat::kMedium, icu::DateFormat::kShort}) {
        for (const auto timeStyle :
             {icu::DateFormat::kNone, icu::DateFormat::kShort, icu::DateFormat::kMedium}) {
            std::unique_ptr<icu::DateFormat> format(
                icu::DateFormat::createDateTimeInstance(dateStyle, timeStyle, locale));
            if (!format)
                continue;
            // Lenient parsing would roll 30 February over into March.
            format->setLenient(false);
            icu::ParsePosition position(0);
            const UDate parsed = format->parse(source, position);
            if (position.getErrorIndex() < 0 && position.getIndex() == source.length())
                return secondsFromUDate(parsed);
        }
    }

    // Digits in the locale's order of day, month and year, then hours, minutes, seconds.
    static const QRegularExpression digits(QStringLiteral("\\d+"));
    QList<int> numbers;
    for (auto it = digits.globalMatch(trimmed); it.hasNext();)
        numbers.append(it.next().captured().toInt());
    if (numbers.size() < 3)
        return std::nullopt;
    QString ordering = dict.value(QStringLiteral("NSDateTimeOrdering")).toString();
    ordering.remove(QLatin1Char('H'));
    if (ordering.size() != 3)
        ordering = QStringLiteral("MDY");
    int dayOfMonth = 0, month = 0, year = 0;
    for (int i = 0; i < 3; ++i) {
        switch (ordering.at(i).unicode()) {
        case 'D':
            dayOfMonth = numbers.at(i);
            break;
        case 'M':
            month = numbers.at(i);
            break;
        default:
            year = numbers.at(i);
            break;
        }
    }
    if (year < 100)
        year += year < 50 ? 2000 : 1900;
    const QDate date(year, month, dayOfMonth);
    const QTime time(numbers.value(3, 0), numbers.value(4, 0), numbers.value(5, 0));
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    return double(QDateTime(date, time).toSecsSinceEpoch() - kSeconds1970To2001);
}

bool KZDateUtilities::isValidStringDate(QString *date, unsigned dateType)
{
    if (!date)
        return false;
    const std::optional<double> seconds = secondsFromNaturalLanguageString(*date);
    if (!seconds)
        return false;
    *date = stringWithSeconds(*seconds, dateType, true, false);
    return true;
}

bool KZDateUtilities::dateStringIsSmaller(const QString &first, const QString &second)
{
    const std::optional<double> a = secondsFromNaturalLanguageString(first);
    const std::optional<double> b = secondsFromNaturalLanguageString(second);
    return a && b && *a < *b;
}

unsigned KZDateUtilities::daysOfMonth(quint16 month, qint64 year)
{
    if (month > 11)
        return 31;
    switch (month) {
    case 4:
    case 6:
    case 9:
    case 11:
        return 30;
    case 2:
        return year % 4 == 0 ? 29 : 28;
    default:
        return 31;
    }
}

int KZDateUtilities::gmtOffsetSeconds(double secondsSince2001) const
{
    int32_t rawOffset = 0;
    int32_t dstOffset = 0;
    UErrorCode status = U_ZERO_ERROR;
    m_timeZone->getOffset(udateFromSeconds(secondsSince2001), false, rawOffset, dstOffset, status);
    return U_SUCCESS(status) ? int((rawOffset + dstOffset) / 1000) : 0;
}

quint32 KZDateUtilities::secondsFromDate(const QDateTime &date) const
{
    if (!date.isValid())
        return 0;
    // Classic seconds count local time from 1904.
    const double absolute = double(date.toSecsSinceEpoch() - kSeconds1970To2001);
    const double classic = absolute + double(kSeconds1904To2001) + gmtOffsetSeconds(absolute);
    if (classic < 0 || classic > double(std::numeric_limits<quint32>::max()))
        return 0;
    const auto result = static_cast<quint32>(classic);
    // 3061155600 is the reference date read in a one-hour-east zone: older records use it
    // for "no date".
    return result == 3061155600u ? 0 : result;
}

quint64 KZDateUtilities::utcDateTimeToAbsoluteTime(const KZUTCDateTime &dateTime) const
{
    const double local = double(dateTime.lowSeconds) - double(kSeconds1904To2001);
    const double absolute = local - gmtOffsetSeconds(local);
    const double result = absolute + gmtOffsetSeconds(absolute);
    // Dates before the reference date have no unsigned count.
    return result < 0 ? 0 : static_cast<quint64>(result);
}

QString KZDateUtilities::localeFormattedDateStringWithDate(const QDateTime &date,
                                                           unsigned formatted)
{
    if (!date.isValid())
        return QString();
    return stringWithSeconds(double(date.toSecsSinceEpoch() - kSeconds1970To2001), formatted, true,
                             false);
}

QDateTime KZDateUtilities::convertDateOfCurrFile(const KZUTCDateTime &dateTime) const
{
    const qint64 classic = (qint64(dateTime.highSeconds) << 32) | dateTime.lowSeconds;
    const double local = double(classic - kSeconds1904To2001);
    const double absolute = local - gmtOffsetSeconds(local);
    return QDateTime::fromSecsSinceEpoch(qint64(absolute) + kSeconds1970To2001);
}

int KZDateUtilities::yearFromDateString(const QString &dateString)
{
    const QString first = dateString.section(QLatin1Char('-'), 0, 0).trimmed();
    bool ok = false;
    const int year = first.toInt(&ok);
    if (ok && first.size() == 4)
        return year;
    const std::optional<double> seconds = secondsFromNaturalLanguageString(dateString);
    if (!seconds)
        return 0;
    return QDateTime::fromSecsSinceEpoch(qint64(*seconds) + kSeconds1970To2001).date().year();
}
