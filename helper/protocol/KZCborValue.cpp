#include "KZCborValue.h"

#include <limits>

KZCborValue KZCborValue::boolean(bool value)
{
    KZCborValue v;
    v.m_type = Type::Bool;
    v.m_unsigned = value ? 1 : 0;
    return v;
}

KZCborValue KZCborValue::number(std::uint64_t value)
{
    KZCborValue v;
    v.m_type = Type::Unsigned;
    v.m_unsigned = value;
    return v;
}

KZCborValue KZCborValue::integer(std::int64_t value)
{
    if (value >= 0)
        return number(static_cast<std::uint64_t>(value));
    KZCborValue v;
    v.m_type = Type::Negative;
    // -1 - n = value, so n = -1 - value, which cannot overflow for any negative int64.
    v.m_unsigned = static_cast<std::uint64_t>(-1 - value);
    return v;
}

KZCborValue KZCborValue::bytes(std::string value)
{
    KZCborValue v;
    v.m_type = Type::Bytes;
    v.m_string = std::move(value);
    return v;
}

KZCborValue KZCborValue::text(std::string value)
{
    KZCborValue v;
    v.m_type = Type::Text;
    v.m_string = std::move(value);
    return v;
}

KZCborValue KZCborValue::array(Array items)
{
    KZCborValue v;
    v.m_type = Type::Array;
    v.m_array = std::move(items);
    return v;
}

KZCborValue KZCborValue::map(Map entries)
{
    KZCborValue v;
    v.m_type = Type::Map;
    v.m_map = std::move(entries);
    return v;
}

std::int64_t KZCborValue::toInteger() const
{
    constexpr auto kMax = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (m_type == Type::Unsigned)
        return m_unsigned <= kMax ? static_cast<std::int64_t>(m_unsigned) : 0;
    if (m_type == Type::Negative)
        return m_unsigned <= kMax ? -1 - static_cast<std::int64_t>(m_unsigned) : 0;
    return 0;
}

const KZCborValue *KZCborValue::find(std::string_view key) const
{
    if (m_type != Type::Map)
        return nullptr;
    for (const auto &[name, value] : m_map) {
        if (name == key)
            return &value;
    }
    return nullptr;
}

void KZCborValue::insert(std::string key, KZCborValue value)
{
    for (auto &[name, existing] : m_map) {
        if (name == key) {
            existing = std::move(value);
            return;
        }
    }
    m_map.emplace_back(std::move(key), std::move(value));
}

void KZCborValue::append(KZCborValue value)
{
    m_array.push_back(std::move(value));
}
