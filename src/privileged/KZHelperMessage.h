#pragma once

#include "model/KZError.h"
#include "protocol/KZCborValue.h"

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// The application's face of the helper channel: messages as QVariantMaps, carried as frames of
// canonical CBOR. QByteArray travels as a byte string (paths), QString as text, bool, signed
// and unsigned integers as themselves, QVariantList and QStringList as arrays, QVariantMap as a
// map. Any other type cannot be carried. Pure, any thread.
class KZHelperMessage
{
public:
    // A whole frame; empty with error set when a value cannot be carried or the frame would be
    // too large.
    [[nodiscard]] static QByteArray encode(const QVariantMap &message, KZError *error = nullptr);
    [[nodiscard]] static std::optional<KZCborValue> fromVariant(const QVariant &value);
    [[nodiscard]] static QVariant toVariant(const KZCborValue &value);

    // Cuts a byte stream into messages.
    class Reader
    {
    public:
        enum class Status { Message, NeedMore, Broken };
        void append(const QByteArray &bytes) { m_buffer.append(bytes); }
        // The next whole message; Broken (with the reason) for a frame that is too large or
        // does not decode: the stream cannot be trusted after it.
        Status next(QVariantMap *message, QString *error);

    private:
        QByteArray m_buffer;
    };
};
