#pragma once

#include "protocol/KZHelperProtocol.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One request of the application, decoded from a frame and checked against the whitelist:
// only the four requests, each with its arguments of the right types. Pure, any thread; the
// fuzz target drives it with arbitrary bytes.
struct KZHelperRequest
{
    enum class Kind { GetVersion, Erase, UnlockItems, SetStopped };
    Kind kind = Kind::GetVersion;

    // eraseWithAuthorization:itemsDictionary:withReply:
    std::string authorization;
    std::vector<std::string> unlockItems;
    std::vector<std::string> permissionsItems;
    std::vector<std::string> notTrashed;
    std::uint64_t erasedSize = 0;
    std::uint64_t erasedCount = 0;
    bool eraseSecurely = false;
    // unlockItemsWithArray:
    std::vector<std::string> unlockArray;
    // setStoppedByUser:
    bool stopped = false;

    struct Failure
    {
        KZHelperProtocol::HelperError code = KZHelperProtocol::HelperError::MalformedFrame;
        std::string description;
        std::string message; // the request's name when it could be read, to address the reply
        std::uint64_t itemCount = 0; // batch items that could be counted, all of them unerased
    };

    // Decodes payload into request; false with what went wrong in failure.
    [[nodiscard]] static bool parse(std::string_view payload, KZHelperRequest *request,
                                    Failure *failure);
};
