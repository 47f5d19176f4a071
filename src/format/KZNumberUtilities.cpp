#include "KZNumberUtilities.h"

#include "KZIcu.h"
#include "KZLocalizedStrings.h"

#include <unicode/numberformatter.h>

#include <QLocale>

using icu::number::LocalizedNumberFormatter;
using icu::number::NumberFormatter;
using icu::number::Precision;

struct KZNumberUtilities::Formatters
{
    LocalizedNumberFormatter numFormatter;
    LocalizedNumberFormatter singlePrecFormatter;
    LocalizedNumberFormatter doublePrecFormatter;
};

namespace {

// LocalizedNumberFormatter is immutable once built, so one instance serves every thread.
QString format(const LocalizedNumberFormatter &formatter, double number)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString text = formatter.formatDouble(number, status).toString(status);
    if (U_FAILURE(status))
        return QString::number(number, 'f', 2);
    return KZIcu::toQString(text);
}

} // namespace

KZNumberUtilities &KZNumberUtilities::sharedControl()
{
    static KZNumberUtilities shared;
    return shared;
}

KZNumberUtilities::KZNumberUtilities(const QString &localeName)
{
    initializeNumberFormat(localeName.isEmpty() ? QLocale().name() : localeName);
}

KZNumberUtilities::~KZNumberUtilities() = default;

void KZNumberUtilities::initializeNumberFormat(const QString &localeName)
{
    const icu::Locale locale = KZIcu::locale(localeName);
    // Half-even rounding and locale grouping are ICU's defaults, as for the platform's own
    // decimal formatter.
    m_formatters.reset(new Formatters{
        NumberFormatter::withLocale(locale).precision(Precision::minMaxFraction(0, 2)),
        NumberFormatter::withLocale(locale).precision(Precision::fixedFraction(1)),
        NumberFormatter::withLocale(locale).precision(Precision::fixedFraction(2)),
    });

    m_bytes = KZLocalizedString(QStringLiteral("byte"));
    m_kBytes = KZLocalizedString(QStringLiteral("Kb"));
    m_mBytes = KZLocalizedString(QStringLiteral("Mb"));
    m_gBytes = KZLocalizedString(QStringLiteral("Gb"));
    m_tBytes = KZLocalizedString(QStringLiteral("Tb"));
}

QString KZNumberUtilities::numberToFormatString(double number) const
{
    return format(m_formatters->numFormatter, number);
}

QString KZNumberUtilities::numberToFormatString(double number, bool doublePrecision) const
{
    return format(doublePrecision ? m_formatters->doublePrecFormatter
                                  : m_formatters->singlePrecFormatter,
                  number);
}

QString KZNumberUtilities::sizeToFormatString(quint64 bytes, qint16 scale,
                                              bool doublePrecision) const
{
    const LocalizedNumberFormatter &fraction
        = doublePrecision ? m_formatters->doublePrecFormatter : m_formatters->singlePrecFormatter;
    if (bytes < 1000 || scale == 1)
        return format(m_formatters->numFormatter, double(bytes)) + m_bytes;

    // The unit is chosen from the quotient before rounding, so 999,999 bytes read as
    // "1,000.00 Kb" rather than "1.00 Mb".
    double quotient = double(bytes) / 1000.0;
    const QString *unit = &m_kBytes;
    if (scale != 2 && quotient >= 1000.0) {
        quotient /= 1000.0;
        unit = &m_mBytes;
        if (scale == 4 && quotient >= 1000.0) {
            quotient /= 1000.0;
            unit = &m_gBytes;
            if (quotient >= 1000.0) {
                quotient /= 1000.0;
                unit = &m_tBytes;
            }
        }
    }
    return format(fraction, quotient) + *unit;
}

QString KZNumberUtilities::secondsToFormatString(qint64 seconds) const
{
    if (seconds <= 0)
        return QStringLiteral("00:00");

    QString result;
    qint64 minutes = seconds / 60;
    if (seconds >= 3600) {
        result += QString::number(seconds / 3600) + QLatin1Char(':');
        minutes %= 60;
    }
    result += (minutes <= 9 ? QStringLiteral("0") : QString()) + QString::number(minutes)
              + QLatin1Char(':');
    // With no whole minute left the full count stands in for the seconds ("1:00:3600"); older
    // logs carry that form, so it stays.
    const qint64 rest = minutes == 0 ? seconds : seconds % 60;
    result += (rest <= 9 ? QStringLiteral("0") : QString()) + QString::number(rest);
    return result;
}

QString KZNumberUtilities::mpsFromDegrees(double degrees, const QString &reference) const
{
    if (degrees <= 0)
        return QString();

    const auto whole = static_cast<unsigned>(degrees);
    const double fractional = degrees - whole;
    const auto minutes = static_cast<unsigned>(fractional * 60.0);
    // Below three minutes the seconds are dropped; readers of old records rely on it.
    const double seconds = minutes >= 3 ? (fractional - minutes / 60.0) * 3600.0 : 0.0;
    return QStringLiteral("%1\u00B0 %2' %3\" %4")
        .arg(whole)
        .arg(minutes)
        .arg(seconds, 0, 'f', 3)
        .arg(reference);
}
