// libFuzzer target: arbitrary bytes through the helper's frame decoder and request checks.
// Besides "never crash", a decoded value must encode back to exactly the bytes it came from,
// since the channel accepts canonical CBOR only.
#include "KZHelperRequest.h"
#include "protocol/KZCbor.h"

#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const std::string_view payload(reinterpret_cast<const char *>(data), size);
    KZCborValue value;
    std::string error;
    if (KZCbor::decode(payload, &value, &error)) {
        std::string again;
        if (!KZCbor::encode(value, &again) || again != payload)
            std::abort();
    }
    KZHelperRequest request;
    KZHelperRequest::Failure failure;
    (void)KZHelperRequest::parse(payload, &request, &failure);
    return 0;
}
