#pragma once

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <QString>

// Conversions between Qt and ICU types, shared by the formatting classes.
namespace KZIcu {

inline QString toQString(const icu::UnicodeString &text)
{
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}

inline icu::UnicodeString toUnicodeString(const QString &text)
{
    return icu::UnicodeString(reinterpret_cast<const UChar *>(text.utf16()), int32_t(text.size()));
}

// "en_US", "de-DE" or "C": ICU understands the first two and maps "C" to en_US_POSIX.
inline icu::Locale locale(const QString &name)
{
    return icu::Locale(name.toLatin1().constData());
}

} // namespace KZIcu
