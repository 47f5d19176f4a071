#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// One value of the helper channel's CBOR subset: null, booleans, integers, byte strings (paths),
// text strings, arrays and maps with text keys. Qt-free, so the root helper links nothing else.
class KZCborValue
{
public:
    enum class Type { Null, Bool, Unsigned, Negative, Bytes, Text, Array, Map };
    using Array = std::vector<KZCborValue>;
    using Map = std::vector<std::pair<std::string, KZCborValue>>;

    KZCborValue() = default;
    [[nodiscard]] static KZCborValue boolean(bool value);
    [[nodiscard]] static KZCborValue number(std::uint64_t value);
    // Negative values become the negative-integer type, others the unsigned one.
    [[nodiscard]] static KZCborValue integer(std::int64_t value);
    [[nodiscard]] static KZCborValue bytes(std::string value);
    [[nodiscard]] static KZCborValue text(std::string value);
    [[nodiscard]] static KZCborValue array(Array items = {});
    [[nodiscard]] static KZCborValue map(Map entries = {});

    [[nodiscard]] Type type() const { return m_type; }
    [[nodiscard]] bool isNull() const { return m_type == Type::Null; }
    [[nodiscard]] bool isBool() const { return m_type == Type::Bool; }
    [[nodiscard]] bool isUnsigned() const { return m_type == Type::Unsigned; }
    [[nodiscard]] bool isInteger() const
    {
        return m_type == Type::Unsigned || m_type == Type::Negative;
    }
    [[nodiscard]] bool isBytes() const { return m_type == Type::Bytes; }
    [[nodiscard]] bool isText() const { return m_type == Type::Text; }
    [[nodiscard]] bool isArray() const { return m_type == Type::Array; }
    [[nodiscard]] bool isMap() const { return m_type == Type::Map; }

    // Each accessor answers a neutral value (false, 0, empty) for a value of another type.
    [[nodiscard]] bool toBool() const { return m_type == Type::Bool && m_unsigned != 0; }
    [[nodiscard]] std::uint64_t toUnsigned() const
    {
        return m_type == Type::Unsigned ? m_unsigned : 0;
    }
    // Unsigned values above INT64_MAX answer 0.
    [[nodiscard]] std::int64_t toInteger() const;
    // The bytes of a byte string or the UTF-8 of a text string.
    [[nodiscard]] const std::string &toString() const { return m_string; }
    [[nodiscard]] const Array &toArray() const { return m_array; }
    [[nodiscard]] const Map &toMap() const { return m_map; }

    // Map lookup; null when absent or when this is not a map.
    [[nodiscard]] const KZCborValue *find(std::string_view key) const;
    // Map insertion, replacing an entry of the same key.
    void insert(std::string key, KZCborValue value);
    // Array append.
    void append(KZCborValue value);

    friend bool operator==(const KZCborValue &, const KZCborValue &) = default;

private:
    Type m_type = Type::Null;
    std::uint64_t m_unsigned = 0; // bool, unsigned, or the magnitude minus one of a negative
    std::string m_string;
    Array m_array;
    Map m_map;
};
