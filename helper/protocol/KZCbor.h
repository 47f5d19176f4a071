#pragma once

#include "KZCborValue.h"

#include <cstddef>
#include <string>
#include <string_view>

// How much one decoded message may hold. The defaults bound every frame of the helper channel.
struct KZCborLimits
{
    std::size_t maxDepth = 8;           // nested arrays and maps
    std::size_t maxElements = 1u << 20; // entries of one array or map
};

// Strict, canonical CBOR for the helper channel: definite lengths only, shortest integer
// heads, text that is valid UTF-8, map keys that are text in canonical order (shorter first,
// then bytewise) without duplicates, and no tags or floats. Whatever else arrives is refused
// with a reason, never trusted. Pure functions, any thread.
class KZCbor
{
public:
    // Appends the encoding of value to out. False (out unchanged) for text that is not UTF-8,
    // duplicate map keys or nesting deeper than limits.maxDepth.
    [[nodiscard]] static bool encode(const KZCborValue &value, std::string *out,
                                     const KZCborLimits &limits = {});
    // Decodes exactly one value spanning all of data. False with a reason in error otherwise.
    [[nodiscard]] static bool decode(std::string_view data, KZCborValue *value, std::string *error,
                                     const KZCborLimits &limits = {});

    [[nodiscard]] static bool isValidUtf8(std::string_view text);
    // Canonical key order: shorter first, then bytewise.
    [[nodiscard]] static bool keyLess(std::string_view a, std::string_view b);
};
