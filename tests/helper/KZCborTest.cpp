#include "protocol/KZCbor.h"
#include "protocol/KZHelperProtocol.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

std::string bytes(std::initializer_list<int> list)
{
    std::string out;
    for (int b : list)
        out.push_back(static_cast<char>(b));
    return out;
}

std::string encoded(const KZCborValue &value)
{
    std::string out;
    EXPECT_TRUE(KZCbor::encode(value, &out));
    return out;
}

bool decodes(const std::string &data, KZCborLimits limits = {})
{
    KZCborValue value;
    std::string error;
    const bool ok = KZCbor::decode(data, &value, &error, limits);
    EXPECT_EQ(ok, error.empty()) << error;
    return ok;
}

} // namespace

TEST(Cbor, EveryTypeRoundTripsAndMapsComeOutInCanonicalOrder)
{
    KZCborValue map = KZCborValue::map();
    map.insert("zz", KZCborValue::number(std::numeric_limits<std::uint64_t>::max()));
    map.insert("a", KZCborValue::integer(-60005));
    map.insert("path", KZCborValue::bytes(std::string("/t/\xff\n\0x", 7)));
    map.insert("b", KZCborValue::array({KZCborValue(), KZCborValue::boolean(true),
                                        KZCborValue::text("\xc3\xa9t\xc3\xa9")}));
    map.insert("min", KZCborValue::integer(std::numeric_limits<std::int64_t>::min()));
    const std::string data = encoded(map);

    KZCborValue back;
    ASSERT_TRUE(KZCbor::decode(data, &back, nullptr));
    EXPECT_EQ(back.find("zz")->toUnsigned(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(back.find("a")->toInteger(), -60005);
    EXPECT_EQ(back.find("min")->toInteger(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(back.find("path")->toString(), std::string("/t/\xff\n\0x", 7));
    EXPECT_TRUE(back.find("b")->toArray()[0].isNull());
    // Keys sorted shorter first, then bytewise, whatever the insertion order.
    std::vector<std::string> keys;
    for (const auto &[key, value] : back.toMap())
        keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"a", "b", "zz", "min", "path"}));
    EXPECT_EQ(encoded(back), data);

    // The exact bytes of a small message, as another implementation would write them.
    KZCborValue small = KZCborValue::map();
    small.insert("b", KZCborValue::number(500));
    small.insert("a", KZCborValue::bytes("\x01"));
    EXPECT_EQ(encoded(small), bytes({0xa2, 0x61, 'a', 0x41, 0x01, 0x61, 'b', 0x19, 0x01, 0xf4}));
}

TEST(Cbor, AnythingOutsideTheStrictSubsetIsRefused)
{
    EXPECT_TRUE(decodes(bytes({0x18, 0x18})));
    EXPECT_FALSE(decodes(bytes({0x18, 0x17})));             // 23 in a two-byte head
    EXPECT_FALSE(decodes(bytes({0x19, 0x00, 0xff})));       // 255 in a three-byte head
    EXPECT_FALSE(decodes(bytes({0x5f, 0x41, 0x00, 0xff}))); // indefinite byte string
    EXPECT_FALSE(decodes(bytes({0x9f, 0xff})));             // indefinite array
    EXPECT_FALSE(decodes(bytes({0x1c})));                   // reserved information
    EXPECT_FALSE(decodes(bytes({0xc1, 0x00})));             // a tag
    EXPECT_FALSE(decodes(bytes({0xf9, 0x3c, 0x00})));       // a half float
    EXPECT_FALSE(decodes(bytes({0xf7})));                   // undefined
    EXPECT_FALSE(decodes(bytes({0x62, 0xc0, 0x80})));       // overlong UTF-8
    EXPECT_FALSE(decodes(bytes({0x63, 0xed, 0xa0, 0x80}))); // a surrogate
    EXPECT_FALSE(decodes(bytes({0xa1, 0x01, 0x01})));       // a key that is not text
    EXPECT_FALSE(decodes(bytes({0xa2, 0x61, 'b', 0x00, 0x61, 'a', 0x00}))); // out of order
    EXPECT_FALSE(decodes(bytes({0xa2, 0x61, 'a', 0x00, 0x61, 'a', 0x00}))); // repeated
    EXPECT_FALSE(decodes(bytes({0x00, 0x00})));                             // trailing bytes
    EXPECT_FALSE(decodes(bytes({0x3b, 0x80, 0, 0, 0, 0, 0, 0, 0})));        // below INT64_MIN
    EXPECT_FALSE(decodes(""));
    // Truncations of a valid value at every length.
    const std::string whole = encoded(KZCborValue::array(
        {KZCborValue::bytes("abc"), KZCborValue::number(70000), KZCborValue::text("x")}));
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(decodes(whole.substr(0, length))) << length;
}

TEST(Cbor, LimitsBoundDepthCountsAndAllocations)
{
    std::string deep(9, static_cast<char>(0x81));
    deep.push_back(0x00);
    EXPECT_FALSE(decodes(deep));
    EXPECT_TRUE(decodes(deep.substr(1)));
    // Counts that promise more elements than there are bytes reserve nothing and fail.
    EXPECT_FALSE(decodes(bytes({0x9b, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})));
    EXPECT_FALSE(decodes(bytes({0xbb, 0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff})));
    EXPECT_FALSE(decodes(bytes({0x5a, 0x7f, 0xff, 0xff, 0xff})));
    KZCborLimits few;
    few.maxElements = 2;
    EXPECT_FALSE(decodes(bytes({0x83, 0x00, 0x00, 0x00}), few));
    EXPECT_TRUE(decodes(bytes({0x82, 0x00, 0x00}), few));

    // The encoder holds to the same rules.
    std::string out;
    EXPECT_FALSE(KZCbor::encode(KZCborValue::text("\xff"), &out));
    KZCborValue twice = KZCborValue::map({{"k", KZCborValue()}, {"k", KZCborValue()}});
    EXPECT_FALSE(KZCbor::encode(twice, &out));
    EXPECT_TRUE(out.empty());
    // A frame larger than the channel takes is not produced.
    KZCborValue huge = KZCborValue::bytes(std::string(KZHelperProtocol::kMaxFrameSize, 'x'));
    EXPECT_TRUE(KZHelperProtocol::encodeFrame(huge).empty());
}
