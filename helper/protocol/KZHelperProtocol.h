#pragma once

#include "KZCborValue.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// What the application and binwise-helper say to each other over the helper's standard input
// and output. Each message is one frame: a 4-byte big-endian length, then that many bytes of
// one canonical CBOR map. The map's "message" entry names the message; every argument sits
// under its selector label. Replies repeat the request's message name. Paths are byte strings.
namespace KZHelperProtocol {

inline constexpr std::string_view kVersion = "1.0.1";
inline constexpr std::string_view kHelperLabel = "org.binwise.BinwiseHelper";

inline constexpr std::size_t kHeaderSize = 4;
// A batch of a hundred thousand long paths fits; anything larger is refused unread.
inline constexpr std::uint32_t kMaxFrameSize = 16u << 20;

// Application to helper.
inline constexpr std::string_view kGetVersionMessage = "getVersionWithReply:";
inline constexpr std::string_view kEraseMessage
    = "eraseWithAuthorization:itemsDictionary:withReply:";
inline constexpr std::string_view kUnlockItemsMessage = "unlockItemsWithArray:";
inline constexpr std::string_view kSetStoppedMessage = "setStoppedByUser:";
// Helper to application.
inline constexpr std::string_view kItemsErasedMessage = "itemsErased:totSize:itemSize:itemPath:";
inline constexpr std::string_view kFinishedMessage = "finishedWithNonErasedCount:";
// A frame the helper could not take; it carries "error".
inline constexpr std::string_view kProtocolErrorMessage = "protocolError";

// Map keys.
inline constexpr std::string_view kMessage = "message";
inline constexpr std::string_view kAuthorization = "eraseWithAuthorization"; // 32 bytes
inline constexpr std::string_view kItemsDictionary = "itemsDictionary";
inline constexpr std::string_view kUnlockArray = "unlockItemsWithArray";
inline constexpr std::string_view kStopped = "setStoppedByUser";
inline constexpr std::string_view kCount = "itemsErased";
inline constexpr std::string_view kTotSize = "totSize";
inline constexpr std::string_view kItemSize = "itemSize";
inline constexpr std::string_view kItemPath = "itemPath";
inline constexpr std::string_view kNonErasedCount = "finishedWithNonErasedCount";
inline constexpr std::string_view kReply = "reply"; // version text, or unlocked paths
inline constexpr std::string_view kError = "error"; // absent on success
inline constexpr std::string_view kErrorDomain = "domain";
inline constexpr std::string_view kErrorCode = "code";
inline constexpr std::string_view kErrorDescription = "description";

inline constexpr std::size_t kAuthorizationSize = 32;

// Batch dictionary keys, as the erase engine writes them.
inline constexpr std::string_view kUnlockItems = "unlockItems";
inline constexpr std::string_view kPermissionsItems = "permissionsItems";
inline constexpr std::string_view kErasedSize = "erasedSize";
inline constexpr std::string_view kErasedCount = "erasedCount";
inline constexpr std::string_view kEraseSecurely = "eraseSecurely";
inline constexpr std::string_view kNotTrashed = "notTrashedBecauseFolderNotEmpty";

// Errors the helper replies with. Authorization failures use the status domain and its codes;
// faults of the channel itself use the helper's own domain.
inline constexpr std::string_view kOSStatusDomain = "NSOSStatusErrorDomain";
inline constexpr std::int64_t kAuthorizationDenied = -60005;
inline constexpr std::int64_t kAuthorizationCanceled = -60006;
inline constexpr std::int64_t kAuthorizationInvalidRef = -60002;
inline constexpr std::string_view kHelperDomain = "org.binwise.BinwiseHelper";
enum class HelperError : std::int64_t {
    MalformedFrame = 1, // not canonical CBOR, or not a map with a message
    OversizedFrame = 2, // length above kMaxFrameSize (its bytes are skipped)
    TruncatedFrame = 3, // the input ended inside a frame
    UnknownMessage = 4, // not one of the four requests
    BadArguments = 5,   // an argument missing or of the wrong type
};

// The 4-byte big-endian length header of a payload.
[[nodiscard]] inline std::string frameHeader(std::uint32_t size)
{
    return {static_cast<char>((size >> 24) & 0xff), static_cast<char>((size >> 16) & 0xff),
            static_cast<char>((size >> 8) & 0xff), static_cast<char>(size & 0xff)};
}

[[nodiscard]] inline std::uint32_t frameSize(const unsigned char header[kHeaderSize])
{
    return (std::uint32_t{header[0]} << 24) | (std::uint32_t{header[1]} << 16)
           | (std::uint32_t{header[2]} << 8) | std::uint32_t{header[3]};
}

// The error map {"domain", "code", "description"}.
[[nodiscard]] KZCborValue errorValue(std::string_view domain, std::int64_t code,
                                     std::string_view description);
// A whole frame (header and payload) for message; empty when it cannot be encoded or is
// larger than kMaxFrameSize.
[[nodiscard]] std::string encodeFrame(const KZCborValue &message);

} // namespace KZHelperProtocol
