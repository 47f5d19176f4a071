#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

using U = KZFilesUtilities;

constexpr quint32 code(const char (&c)[5])
{
    return quint32(quint8(c[0])) << 24 | quint32(quint8(c[1])) << 16 | quint32(quint8(c[2])) << 8
           | quint32(quint8(c[3]));
}

// nullptr stands for a null extension, "" for an empty one.
QString extension(const char *text)
{
    return text ? QString::fromLatin1(text) : QString();
}

} // namespace

TEST(FilesUtilitiesKinds, KindListsParseIntoCodesAndExtensions)
{
    const KZFilesUtilities utilities;
    for (const U::KindList list : {&U::allImagesForContentCheckTypes, &U::allImagesTypes,
                                   &U::allMoviesTypes, &U::allMusicTypes, &U::allTextTypes}) {
        quint32 count = 0;
        const std::vector<quint32> codes
            = utilities.typesFormattedToCheckWithSelector(list, &count);
        EXPECT_EQ(count, codes.size());
        // A zero would be an entry that is not a quoted code, and would make "no type" match.
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 0u), 0)
            << (utilities.*list)().toStdString();
    }
    for (const QString &each :
         utilities.extensionsFormattedToCheckWithSelector(&U::allTextExtensions))
        EXPECT_TRUE(!each.isEmpty() && !each.contains(u'"') && !each.contains(u','))
            << each.toStdString();

    EXPECT_EQ(U::typeCodeFromQuotedString(u"'\u00e9t\u00e9 '"), 0xe974e920u); // big-endian, Latin-1
    for (const char16_t *malformed : {u"'GIF'", u"TEXT", u"'\u20acUR '"})
        EXPECT_EQ(U::typeCodeFromQuotedString(malformed), 0u);
}

TEST(FilesUtilitiesKinds, ClassifiersMatchCodeThenExtensionWithMinimumLengths)
{
    const KZFilesUtilities utilities;
    using Classifier = bool (U::*)(quint32, const QString &) const;
    const std::tuple<Classifier, quint32, const char *, bool> rows[] = {
        {&U::isAACFile, 0, "aa", false}, // listed, but shorter than AAC's minimum
        {&U::isAACFile, code("M4A "), nullptr, true},
        {&U::isAACFile, 0, "AAC", false},  // case-sensitive
        {&U::isMediaSound, 0, "aa", true}, // the sound minimum is two
        {&U::isText, 0, "", false},
        {&U::isText, 0, "a", true},
        {&U::isCompressed, code("Gzip"), "txt", true},
        {&U::isImage, 0, "gif", true},  // the image list's first extension
        {&U::isImage, 0, "epsf", true}, // and its last
        {&U::isImage, code("TEXT"), "txt", false},
    };
    for (const auto &[test, type, text, expected] : rows) {
        EXPECT_EQ((utilities.*test)(type, extension(text)), expected)
            << std::hex << type << " " << (text ? text : "(null)");
    }

    // The HTML type counts only with a browser's creator.
    EXPECT_TRUE(utilities.isHtml(code("TEXT"), code("MOSS"), {}));
    EXPECT_FALSE(utilities.isHtml(code("TEXT"), code("ttxt"), u"txt"_s));
    EXPECT_TRUE(utilities.isHtml(0, 0, u"webarchive"_s));

    EXPECT_EQ(utilities.typeFromUTIIdentifier(u"public.rtf"_s), QStringList{u"RTF "_s});
    // Rows whose key hides a zero-width space are unreachable by the real identifier.
    const QString javascript = u"com.netscape.javascript-source"_s;
    EXPECT_EQ(utilities.extensionFromUTIIdentifier(javascript), std::nullopt);
    EXPECT_EQ(utilities.typeFromUTIIdentifier(javascript), std::nullopt);
}
