#include "KZHelperMessage.h"

#include "protocol/KZCbor.h"
#include "protocol/KZHelperProtocol.h"

namespace {

// The serialization failure of the platform's property lists, kept for callers that test for it.
constexpr qint64 kPropertyListWriteInvalid = 3851;

} // namespace

std::optional<KZCborValue> KZHelperMessage::fromVariant(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return KZCborValue::bytes(std::string(bytes.constData(), bytes.size()));
    }
    case QMetaType::QString:
        return KZCborValue::text(value.toString().toStdString());
    case QMetaType::Bool:
        return KZCborValue::boolean(value.toBool());
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
        return KZCborValue::integer(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UShort:
        return KZCborValue::number(value.toULongLong());
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        KZCborValue array = KZCborValue::array();
        for (const QVariant &item : value.toList()) {
            std::optional<KZCborValue> converted = fromVariant(item);
            if (!converted)
                return std::nullopt;
            array.append(std::move(*converted));
        }
        return array;
    }
    case QMetaType::QVariantMap: {
        KZCborValue map = KZCborValue::map();
        const QVariantMap entries = value.toMap();
        for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
            std::optional<KZCborValue> converted = fromVariant(it.value());
            if (!converted)
                return std::nullopt;
            map.insert(it.key().toStdString(), std::move(*converted));
        }
        return map;
    }
    default:
        return std::nullopt;
    }
}

QVariant KZHelperMessage::toVariant(const KZCborValue &value)
{
    using Type = KZCborValue::Type;
    switch (value.type()) {
    case Type::Null:
        return {};
    case Type::Bool:
        return value.toBool();
    case Type::Unsigned:
        return QVariant::fromValue(quint64(value.toUnsigned()));
    case Type::Negative:
        return QVariant::fromValue(qint64(value.toInteger()));
    case Type::Bytes:
        return QByteArray(value.toString().data(), qsizetype(value.toString().size()));
    case Type::Text:
        return QString::fromStdString(value.toString());
    case Type::Array: {
        QVariantList list;
        for (const KZCborValue &item : value.toArray())
            list.append(toVariant(item));
        return list;
    }
    case Type::Map: {
        QVariantMap map;
        for (const auto &[key, item] : value.toMap())
            map.insert(QString::fromStdString(key), toVariant(item));
        return map;
    }
    }
    return {};
}

QByteArray KZHelperMessage::encode(const QVariantMap &message, KZError *error)
{
    const std::optional<KZCborValue> value = fromVariant(message);
    const std::string frame = value ? KZHelperProtocol::encodeFrame(*value) : std::string();
    if (frame.empty()) {
        if (error) {
            *error
                = {KZError::kCocoaDomain,
                   kPropertyListWriteInvalid,
                   QStringLiteral("The list of items could not be prepared for the helper tool."),
                   {}};
        }
        return {};
    }
    return QByteArray(frame.data(), qsizetype(frame.size()));
}

KZHelperMessage::Reader::Status KZHelperMessage::Reader::next(QVariantMap *message, QString *error)
{
    if (m_buffer.size() < qsizetype(KZHelperProtocol::kHeaderSize))
        return Status::NeedMore;
    const std::uint32_t size = KZHelperProtocol::frameSize(
        reinterpret_cast<const unsigned char *>(m_buffer.constData()));
    if (size > KZHelperProtocol::kMaxFrameSize) {
        *error = QStringLiteral("a message from the helper is too large");
        return Status::Broken;
    }
    const qsizetype whole = qsizetype(KZHelperProtocol::kHeaderSize) + qsizetype(size);
    if (m_buffer.size() < whole)
        return Status::NeedMore;
    KZCborValue value;
    std::string reason;
    const bool ok = KZCbor::decode(
        std::string_view(m_buffer.constData() + KZHelperProtocol::kHeaderSize, size), &value,
        &reason);
    m_buffer.remove(0, whole);
    if (!ok || !value.isMap()) {
        *error = QStringLiteral("a message from the helper does not decode: %1")
                     .arg(QString::fromStdString(reason));
        return Status::Broken;
    }
    *message = toVariant(value).toMap();
    return Status::Message;
}
