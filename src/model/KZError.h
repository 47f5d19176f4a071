#pragma once

#include <QString>
#include <QVariantMap>

#include <cerrno>
#include <cstring>

// The small error value that failing operations hand back: a domain, a code and a
// description, with an optional user-information map. Never thrown.
struct KZError
{
    static inline const QString kPOSIXDomain = QStringLiteral("NSPOSIXErrorDomain");
    static inline const QString kOSStatusDomain = QStringLiteral("NSOSStatusErrorDomain");
    static inline const QString kCocoaDomain = QStringLiteral("NSCocoaErrorDomain");
    // Key whose value the description may be stored under in userInfo.
    static inline const QString kLocalizedFailureReasonKey
        = QStringLiteral("NSLocalizedFailureReason");

    // Codes of the Cocoa domain this model hands back.
    static constexpr qint64 kFileReadUnsupportedSchemeError = 262; // a URL that is no file
    // What srm's output maps to when it names no reason of its own (the code the established
    // error table gives it).
    static constexpr qint64 kSecureEraseFailedCode = 45;

    QString domain;
    qint64 code = 0;
    QString localizedDescription;
    QVariantMap userInfo;

    // errnum in the POSIX domain, described by strerror unless a description is given.
    [[nodiscard]] static KZError posix(int errnum, const QString &description = {})
    {
        return {kPOSIXDomain,
                errnum,
                description.isEmpty() ? QString::fromLocal8Bit(std::strerror(errnum)) : description,
                {}};
    }

    [[nodiscard]] bool isPOSIX(int errnum) const
    {
        return domain == kPOSIXDomain && code == errnum;
    }
    friend bool operator==(const KZError &, const KZError &) = default;
};
