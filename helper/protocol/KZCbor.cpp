#include "KZCbor.h"

#include <algorithm>
#include <cstdint>

namespace {

enum Major : std::uint8_t {
    kUnsigned = 0,
    kNegative = 1,
    kBytes = 2,
    kText = 3,
    kArray = 4,
    kMap = 5,
    kTag = 6,
    kSimple = 7,
};

constexpr std::uint8_t kFalse = 20;
constexpr std::uint8_t kTrue = 21;
constexpr std::uint8_t kNull = 22;

void appendHead(std::string *out, std::uint8_t major, std::uint64_t value)
{
    const auto first = static_cast<std::uint8_t>(major << 5);
    int length = 0;
    if (value < 24) {
        out->push_back(static_cast<char>(first | value));
        return;
    }
    if (value <= 0xff) {
        out->push_back(static_cast<char>(first | 24));
        length = 1;
    } else if (value <= 0xffff) {
        out->push_back(static_cast<char>(first | 25));
        length = 2;
    } else if (value <= 0xffffffffu) {
        out->push_back(static_cast<char>(first | 26));
        length = 4;
    } else {
        out->push_back(static_cast<char>(first | 27));
        length = 8;
    }
    for (int i = length - 1; i >= 0; --i)
        out->push_back(static_cast<char>((value >> (8 * i)) & 0xff));
}

bool encodeValue(const KZCborValue &value, std::string *out, const KZCborLimits &limits,
                 std::size_t depth)
{
    using Type = KZCborValue::Type;
    switch (value.type()) {
    case Type::Null:
        out->push_back(static_cast<char>((kSimple << 5) | kNull));
        return true;
    case Type::Bool:
        out->push_back(static_cast<char>((kSimple << 5) | (value.toBool() ? kTrue : kFalse)));
        return true;
    case Type::Unsigned:
        appendHead(out, kUnsigned, value.toUnsigned());
        return true;
    case Type::Negative:
        appendHead(out, kNegative, static_cast<std::uint64_t>(-1 - value.toInteger()));
        return true;
    case Type::Bytes:
        appendHead(out, kBytes, value.toString().size());
        out->append(value.toString());
        return true;
    case Type::Text:
        if (!KZCbor::isValidUtf8(value.toString()))
            return false;
        appendHead(out, kText, value.toString().size());
        out->append(value.toString());
        return true;
    case Type::Array:
        if (depth >= limits.maxDepth)
            return false;
        appendHead(out, kArray, value.toArray().size());
        for (const KZCborValue &item : value.toArray()) {
            if (!encodeValue(item, out, limits, depth + 1))
                return false;
        }
        return true;
    case Type::Map: {
        if (depth >= limits.maxDepth)
            return false;
        const KZCborValue::Map &map = value.toMap();
        std::vector<std::size_t> order(map.size());
        for (std::size_t i = 0; i < order.size(); ++i)
            order[i] = i;
        std::sort(order.begin(), order.end(), [&map](std::size_t a, std::size_t b) {
            return KZCbor::keyLess(map[a].first, map[b].first);
        });
        appendHead(out, kMap, map.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            const auto &[key, item] = map[order[i]];
            if (i > 0 && key == map[order[i - 1]].first)
                return false;
            if (!KZCbor::isValidUtf8(key))
                return false;
            appendHead(out, kText, key.size());
            out->append(key);
            if (!encodeValue(item, out, limits, depth + 1))
                return false;
        }
        return true;
    }
    }
    return false;
}

class Decoder
{
public:
    Decoder(std::string_view data, const KZCborLimits &limits)
        : m_data(data)
        , m_limits(limits)
    {}

    bool value(KZCborValue *out, std::size_t depth)
    {
        std::uint8_t major = 0;
        std::uint64_t argument = 0;
        if (!head(&major, &argument))
            return false;
        switch (major) {
        case kUnsigned:
            *out = KZCborValue::number(argument);
            return true;
        case kNegative:
            if (argument > static_cast<std::uint64_t>(INT64_MAX))
                return fail("negative integer out of range");
            *out = KZCborValue::integer(-1 - static_cast<std::int64_t>(argument));
            return true;
        case kBytes:
        case kText: {
            if (argument > remaining())
                return fail("string longer than the frame");
            std::string bytes(m_data.substr(m_pos, argument));
            m_pos += argument;
            if (major == kText) {
                if (!KZCbor::isValidUtf8(bytes))
                    return fail("text is not UTF-8");
                *out = KZCborValue::text(std::move(bytes));
            } else {
                *out = KZCborValue::bytes(std::move(bytes));
            }
            return true;
        }
        case kArray: {
            if (depth >= m_limits.maxDepth)
                return fail("nested too deeply");
            // Every element takes at least one byte, so a count above what is left is a lie
            // that must not reserve memory.
            if (argument > m_limits.maxElements || argument > remaining())
                return fail("too many array elements");
            KZCborValue::Array items;
            items.reserve(argument);
            for (std::uint64_t i = 0; i < argument; ++i) {
                items.emplace_back();
                if (!value(&items.back(), depth + 1))
                    return false;
            }
            *out = KZCborValue::array(std::move(items));
            return true;
        }
        case kMap: {
            if (depth >= m_limits.maxDepth)
                return fail("nested too deeply");
            if (argument > m_limits.maxElements || argument > remaining() / 2)
                return fail("too many map entries");
            KZCborValue::Map entries;
            entries.reserve(argument);
            for (std::uint64_t i = 0; i < argument; ++i) {
                KZCborValue key;
                const std::size_t keyAt = m_pos;
                if (!value(&key, depth + 1))
                    return false;
                if (!key.isText()) {
                    m_pos = keyAt;
                    return fail("map key is not text");
                }
                if (!entries.empty() && !KZCbor::keyLess(entries.back().first, key.toString())) {
                    m_pos = keyAt;
                    return fail("map keys out of canonical order or repeated");
                }
                entries.emplace_back(key.toString(), KZCborValue());
                if (!value(&entries.back().second, depth + 1))
                    return false;
            }
            *out = KZCborValue::map(std::move(entries));
            return true;
        }
        case kTag:
            return fail("tags are not accepted");
        default: // kSimple
            if (argument == kFalse || argument == kTrue) {
                *out = KZCborValue::boolean(argument == kTrue);
                return true;
            }
            if (argument == kNull) {
                *out = KZCborValue();
                return true;
            }
            return fail("unsupported simple value or float");
        }
    }

    [[nodiscard]] std::size_t remaining() const { return m_data.size() - m_pos; }
    [[nodiscard]] const std::string &error() const { return m_error; }

private:
    bool head(std::uint8_t *major, std::uint64_t *argument)
    {
        if (remaining() < 1)
            return fail("unexpected end of data");
        const auto first = static_cast<std::uint8_t>(m_data[m_pos++]);
        *major = first >> 5;
        const std::uint8_t info = first & 0x1f;
        if (*major == kSimple) {
            // Only the one-byte simple values; 24..31 are floats, extended simples and breaks.
            if (info >= 24)
                return fail("unsupported simple value or float");
            *argument = info;
            return true;
        }
        if (info < 24) {
            *argument = info;
            return true;
        }
        if (info > 27)
            return fail(info == 31 ? "indefinite lengths are not accepted"
                                   : "reserved additional information");
        const std::size_t length = std::size_t{1} << (info - 24);
        if (remaining() < length)
            return fail("unexpected end of data");
        std::uint64_t v = 0;
        for (std::size_t i = 0; i < length; ++i)
            v = (v << 8) | static_cast<std::uint8_t>(m_data[m_pos++]);
        const std::uint64_t smallest = length == 1 ? 24 : (std::uint64_t{1} << (8 * length / 2));
        if (v < smallest)
            return fail("integer head is not in its shortest form");
        *argument = v;
        return true;
    }

    bool fail(const char *reason)
    {
        m_error = std::string(reason) + " at byte " + std::to_string(m_pos);
        return false;
    }

    std::string_view m_data;
    KZCborLimits m_limits;
    std::size_t m_pos = 0;
    std::string m_error;
};

} // namespace

bool KZCbor::encode(const KZCborValue &value, std::string *out, const KZCborLimits &limits)
{
    std::string encoded;
    if (!encodeValue(value, &encoded, limits, 0))
        return false;
    out->append(encoded);
    return true;
}

bool KZCbor::decode(std::string_view data, KZCborValue *value, std::string *error,
                    const KZCborLimits &limits)
{
    Decoder decoder(data, limits);
    KZCborValue result;
    if (!decoder.value(&result, 0)) {
        if (error)
            *error = decoder.error();
        return false;
    }
    if (decoder.remaining() != 0) {
        if (error)
            *error = "trailing bytes after the value";
        return false;
    }
    *value = std::move(result);
    return true;
}

bool KZCbor::isValidUtf8(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<std::uint8_t>(text[i]);
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        std::uint32_t codePoint = 0;
        std::uint32_t minimum = 0;
        if ((c & 0xe0) == 0xc0) {
            length = 2;
            codePoint = c & 0x1f;
            minimum = 0x80;
        } else if ((c & 0xf0) == 0xe0) {
            length = 3;
            codePoint = c & 0x0f;
            minimum = 0x800;
        } else if ((c & 0xf8) == 0xf0) {
            length = 4;
            codePoint = c & 0x07;
            minimum = 0x10000;
        } else {
            return false;
        }
        if (i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<std::uint8_t>(text[i + k]);
            if ((next & 0xc0) != 0x80)
                return false;
            codePoint = (codePoint << 6) | (next & 0x3f);
        }
        if (codePoint < minimum || codePoint > 0x10ffff
            || (codePoint >= 0xd800 && codePoint <= 0xdfff))
            return false;
        i += length;
    }
    return true;
}

bool KZCbor::keyLess(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return a.size() < b.size();
    return a < b;
}
