#pragma once

#include <QString>

#include <memory>

// Sizes, counts and durations as the user reads them, in the locale current when the instance
// was made. All queries are const and safe to call from any thread at once.
class KZNumberUtilities
{
public:
    static KZNumberUtilities &sharedControl();

    // localeName: an ICU/Qt locale name such as "en_US"; empty means the user's locale.
    explicit KZNumberUtilities(const QString &localeName = {});
    ~KZNumberUtilities();
    KZNumberUtilities(const KZNumberUtilities &) = delete;
    KZNumberUtilities &operator=(const KZNumberUtilities &) = delete;

    // Grouped decimal with up to two fraction digits; whole numbers show none.
    [[nodiscard]] QString numberToFormatString(double number) const;
    // Exactly two fraction digits when doublePrecision, else exactly one.
    [[nodiscard]] QString numberToFormatString(double number, bool doublePrecision) const;
    // Decimal units (1 Kb = 1000 bytes). scale 1: bytes only; 2: up to Kb; 4: up to Tb; any
    // other scale stops at Mb. The unit word follows the number without a separator.
    [[nodiscard]] QString sizeToFormatString(quint64 bytes, qint16 scale,
                                             bool doublePrecision) const;
    // Clock-style "mm:ss" or "h:mm:ss"; keeps the old "1:00:3600" form for whole hours.
    [[nodiscard]] QString secondsToFormatString(qint64 seconds) const;
    // Degrees, minutes and seconds followed by the reference, e.g. 45° 30' 0.000" N.
    [[nodiscard]] QString mpsFromDegrees(double degrees, const QString &reference) const;

private:
    void initializeNumberFormat(const QString &localeName);

    struct Formatters;
    std::unique_ptr<Formatters>
        m_formatters; // numFormatter, singlePrecFormatter, doublePrecFormatter
    QString m_bytes;
    QString m_kBytes;
    QString m_mBytes;
    QString m_gBytes;
    QString m_tBytes;
};
