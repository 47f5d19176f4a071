#include "KZHelperProtocol.h"

#include "KZCbor.h"

namespace KZHelperProtocol {

KZCborValue errorValue(std::string_view domain, std::int64_t code, std::string_view description)
{
    KZCborValue error = KZCborValue::map();
    error.insert(std::string(kErrorDomain), KZCborValue::text(std::string(domain)));
    error.insert(std::string(kErrorCode), KZCborValue::integer(code));
    error.insert(std::string(kErrorDescription), KZCborValue::text(std::string(description)));
    return error;
}

std::string encodeFrame(const KZCborValue &message)
{
    std::string payload;
    if (!KZCbor::encode(message, &payload) || payload.size() > kMaxFrameSize)
        return {};
    return frameHeader(static_cast<std::uint32_t>(payload.size())) + payload;
}

} // namespace KZHelperProtocol
