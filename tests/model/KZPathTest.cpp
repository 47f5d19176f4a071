#include "model/KZPath.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(Path, UrlsCarryEveryByteOfAName)
{
    const QByteArray names[] = {
        "/tmp/plain",
        "/tmp/with space/and#hash?and%25percent",
        "/tmp/new\nline",
        "/tmp/latin1-\xe9t\xe9",           // not UTF-8
        "/tmp/\xff\xfe/\xc3\xa9t\xc3\xa9", // invalid bytes, then real UTF-8
        "/",
    };
    for (const QByteArray &path : names) {
        const QUrl url = KZPath::urlFromPath(path);
        ASSERT_TRUE(url.isValid()) << path.toStdString();
        EXPECT_TRUE(url.isLocalFile());
        EXPECT_EQ(KZPath::pathFromURL(url), path);
        // The encoded URL is plain ASCII, fit for JSON and logs.
        const QByteArray encoded = url.toEncoded();
        EXPECT_TRUE(std::all_of(encoded.begin(), encoded.end(), [](char c) {
            return c > 0x20 && c < 0x7f;
        })) << encoded.toStdString();
    }
}

TEST(Path, OnlyAbsoluteLocalPathsMakeUrlsAndComponentsSplitOnBytes)
{
    EXPECT_TRUE(KZPath::urlFromPath("relative/name").isEmpty());
    EXPECT_TRUE(KZPath::pathFromURL(QUrl(u"https://example.org/a"_s)).isEmpty());
    EXPECT_TRUE(KZPath::pathFromURL(QUrl(u"file://host/share/a"_s)).isEmpty());
    EXPECT_EQ(KZPath::fileName("/a/b\xff/"), QByteArray("b\xff"));
    EXPECT_EQ(KZPath::parentPath("/a"), QByteArray("/"));
    EXPECT_EQ(KZPath::parentPath("name"), QByteArray());
}

TEST(Path, EscapedTextKeepsOneLineAndShowsBadBytes)
{
    EXPECT_EQ(KZPath::escapedDisplayString("/t/a\nb\tc\r"), u"/t/a\\nb\\tc\\r"_s);
    EXPECT_EQ(KZPath::escapedDisplayString("back\\slash\x07"), u"back\\\\slash\\x07"_s);
    EXPECT_EQ(KZPath::escapedDisplayString("caf\xc3\xa9 caf\xe9!"), u"caf\u00e9 caf\\xe9!"_s);
    EXPECT_EQ(KZPath::escapedDisplayString("\xe2\x82\xac\xff\xc3"), u"\u20ac\\xff\\xc3"_s);
    // Distinct byte strings stay distinct once escaped.
    EXPECT_NE(KZPath::escapedDisplayString("a\\nb"), KZPath::escapedDisplayString("a\nb"));
}
