#include "model/KZFilesUtilities.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

constexpr quint32 code(const char (&c)[5])
{
    return quint32(quint8(c[0])) << 24 | quint32(quint8(c[1])) << 16 | quint32(quint8(c[2])) << 8
           | quint32(quint8(c[3]));
}

const QString kNone; // a null extension

} // namespace

TEST(FilesUtilitiesKinds, TypeListsConvertEveryQuotedEntry)
{
    const KZFilesUtilities utilities;
    const KZFilesUtilities::KindList typeLists[]
        = {&KZFilesUtilities::allImagesForContentCheckTypes, &KZFilesUtilities::allImagesTypes,
           &KZFilesUtilities::allMoviesTypes, &KZFilesUtilities::allMusicTypes,
           &KZFilesUtilities::allTextTypes};
    for (const auto list : typeLists) {
        quint32 count = 0;
        const std::vector<quint32> codes
            = utilities.typesFormattedToCheckWithSelector(list, &count);
        EXPECT_EQ(count, codes.size());
        EXPECT_EQ(qsizetype(count), (utilities.*list)().count(QLatin1Char(',')) + 1);
        // A zero would mean an entry that is not a quoted four-character code, and would make
        // "no type" (0) match the kind.
        EXPECT_EQ(std::count(codes.begin(), codes.end(), 0u), 0)
            << (utilities.*list)().toStdString();
    }

    quint32 count = 0;
    const std::vector<quint32> images
        = utilities.typesFormattedToCheckWithSelector(&KZFilesUtilities::allImagesTypes, &count);
    ASSERT_EQ(count, 30u);
    EXPECT_EQ(images.front(), 0x47494620u); // 'GIF ', big-endian, trailing space kept
    EXPECT_EQ(images[12], code("GIF "));    // the duplicate stays
    EXPECT_EQ(images.back(), code("XBM "));
    const std::vector<quint32> text
        = utilities.typesFormattedToCheckWithSelector(&KZFilesUtilities::allTextTypes);
    EXPECT_EQ(std::count(text.begin(), text.end(), code("W8BN")), 2);
}

TEST(FilesUtilitiesKinds, ExtensionListsSplitBetweenQuotes)
{
    const KZFilesUtilities utilities;
    const QStringList images
        = utilities.extensionsFormattedToCheckWithSelector(&KZFilesUtilities::allImagesExtensions);
    ASSERT_EQ(images.size(), 55);
    EXPECT_EQ(images.front(), QStringLiteral("gif"));
    EXPECT_EQ(images.back(), QStringLiteral("epsf"));
    EXPECT_EQ(images.count(QStringLiteral("gif")), 2);

    const KZFilesUtilities::KindList extensionLists[]
        = {&KZFilesUtilities::allImagesContentCheckExtensions,
           &KZFilesUtilities::allImagesExtensions, &KZFilesUtilities::allMoviesExtensions,
           &KZFilesUtilities::allMusicExtensions, &KZFilesUtilities::allTextExtensions};
    for (const auto list : extensionLists) {
        for (const QString &extension : utilities.extensionsFormattedToCheckWithSelector(list)) {
            EXPECT_FALSE(extension.isEmpty());
            EXPECT_FALSE(extension.contains(QLatin1Char('"'))
                         || extension.contains(QLatin1Char(',')))
                << extension.toStdString();
        }
    }
    const QStringList text
        = utilities.extensionsFormattedToCheckWithSelector(&KZFilesUtilities::allTextExtensions);
    EXPECT_TRUE(text.contains(QStringLiteral("h++")));
    EXPECT_EQ(text.back(), QStringLiteral("pages"));
}

TEST(FilesUtilitiesKinds, QuotedTypeStringsPackBigEndian)
{
    EXPECT_EQ(KZFilesUtilities::typeCodeFromQuotedString(u"'TEXT'"), 0x54455854u);
    EXPECT_EQ(KZFilesUtilities::typeCodeFromQuotedString(u"'\u00e9t\u00e9 '"), 0xe974e920u);
    EXPECT_EQ(KZFilesUtilities::typeCodeFromQuotedString(u"'GIF'"), 0u);
    EXPECT_EQ(KZFilesUtilities::typeCodeFromQuotedString(u"TEXT"), 0u);
    EXPECT_EQ(KZFilesUtilities::typeCodeFromQuotedString(u"\"TEXT\""), 0u);
    EXPECT_EQ(KZFilesUtilities::typeCodeFromQuotedString(u"'\u20acUR '"), 0u);
    EXPECT_EQ(KZFilesUtilities::typeCodeFromQuotedString(u""), 0u);
}

TEST(FilesUtilitiesKinds, MinimumLengthsGuardShortExtensions)
{
    const KZFilesUtilities utilities;
    // "aa" is listed for AAC but shorter than its minimum: never AAC.
    EXPECT_FALSE(utilities.isAACFile(0, QStringLiteral("aa")));
    EXPECT_TRUE(utilities.isAACFile(code("M4A "), kNone));
    EXPECT_TRUE(utilities.isAACFile(0, QStringLiteral("aac")));
    EXPECT_FALSE(utilities.isAACFile(0, QStringLiteral("AAC")));
    // The sound test's minimum is two, so the same "aa" is a sound.
    EXPECT_TRUE(utilities.isMediaSound(0, QStringLiteral("aa")));
    EXPECT_FALSE(utilities.isMediaSound(0, QStringLiteral("a")));
    EXPECT_FALSE(utilities.isMP3File(0, QStringLiteral("mp")));
    EXPECT_TRUE(utilities.isMP3File(0, QStringLiteral("MP3")));

    EXPECT_FALSE(utilities.isText(0, QStringLiteral("")));
    EXPECT_FALSE(utilities.isText(0, kNone));
    EXPECT_TRUE(utilities.isText(0, QStringLiteral("docx")));
    EXPECT_TRUE(utilities.isText(0, QStringLiteral("a"))); // one character is enough
    EXPECT_TRUE(utilities.isText(code("TEXT"), kNone));
    EXPECT_FALSE(utilities.isText(0, QStringLiteral("Txt")));
}

TEST(FilesUtilitiesKinds, TypeCodesDecideBeforeExtensions)
{
    const KZFilesUtilities utilities;
    EXPECT_TRUE(utilities.isMediaItem(code("MP3 "), kNone));
    EXPECT_TRUE(utilities.isMovieItem(0, QStringLiteral("MP4")));
    EXPECT_FALSE(utilities.isAACFile(0, QStringLiteral("MP4")));
    EXPECT_TRUE(utilities.isCompressed(0, QStringLiteral("tar-gz")));
    EXPECT_TRUE(utilities.isCompressed(code("Gzip"), QStringLiteral("txt")));

    // The HTML type counts only with a browser's creator.
    EXPECT_TRUE(utilities.isHtml(code("TEXT"), code("MOSS"), kNone));
    EXPECT_TRUE(utilities.isHtml(code("TEXT"), code("MSIE"), kNone));
    EXPECT_FALSE(utilities.isHtml(code("TEXT"), code("ttxt"), QStringLiteral("txt")));
    EXPECT_FALSE(utilities.isHtml(code("MSIE"), code("MSIE"), kNone));
    EXPECT_TRUE(utilities.isHtml(0, 0, QStringLiteral("webarchive")));
}

TEST(FilesUtilitiesKinds, ImagesFollowTheImageLists)
{
    const KZFilesUtilities utilities;
    EXPECT_TRUE(utilities.isImage(code("PNGf"), kNone));
    EXPECT_TRUE(utilities.isImage(0, QStringLiteral("jpg")));
    EXPECT_TRUE(utilities.isImage(0, QStringLiteral("epsf"))); // the list's last entry
    EXPECT_TRUE(utilities.isImage(0, QStringLiteral("gif")));  // its first
    EXPECT_FALSE(utilities.isImage(0, QStringLiteral("JPEG")));
    EXPECT_FALSE(utilities.isImage(0, QStringLiteral("")));
    EXPECT_FALSE(utilities.isImage(0, kNone));
    EXPECT_FALSE(utilities.isImage(code("TEXT"), QStringLiteral("txt")));
}

TEST(FilesUtilitiesKinds, IdentifierTablesAnswerFirstRowOrNothing)
{
    const KZFilesUtilities utilities;
    const auto extensions = [&](const QString &identifier) {
        return utilities.extensionFromUTIIdentifier(identifier);
    };
    EXPECT_EQ(extensions(QStringLiteral("public.c-plus-plus-source")),
              QStringList({QStringLiteral("cxx"), QStringLiteral("cp"), QStringLiteral("cpp"),
                           QStringLiteral("c++"), QStringLiteral("cc")}));
    EXPECT_EQ(extensions(QStringLiteral("php-script")),
              QStringList({QStringLiteral("phtml"), QStringLiteral("ph4"), QStringLiteral("php"),
                           QStringLiteral("php3"), QStringLiteral("php4"), QStringLiteral("ph3")}));
    EXPECT_EQ(extensions(QStringLiteral("com.apple.colorsync-profile")),
              QStringList({QStringLiteral("icc"), QStringLiteral("icm"), QStringLiteral("pf")}));
    EXPECT_EQ(extensions(QStringLiteral("public.unknown")), std::nullopt);
    EXPECT_EQ(extensions(QStringLiteral("")), std::nullopt);
    EXPECT_EQ(extensions(QStringLiteral("PUBLIC.HTML")), std::nullopt);
    // Rows whose key hides a zero-width space are unreachable by the real identifier.
    EXPECT_EQ(extensions(QStringLiteral("com.netscape.javascript-source")), std::nullopt);
    EXPECT_EQ(extensions(QStringLiteral("com.microsoft.windows-executable")), std::nullopt);

    const auto types = [&](const QString &identifier) {
        return utilities.typeFromUTIIdentifier(identifier);
    };
    EXPECT_EQ(types(QStringLiteral("public.rtf")), QStringList{QStringLiteral("RTF ")});
    EXPECT_EQ(types(QStringLiteral("public.url")), QStringList{QStringLiteral("url ")});
    const std::optional<QStringList> mp3 = types(QStringLiteral("public.mp3"));
    ASSERT_TRUE(mp3.has_value());
    EXPECT_EQ(mp3->size(), 6);
    EXPECT_EQ(mp3->back(), QStringLiteral("MP3 "));
    EXPECT_EQ(types(QStringLiteral("opentype-font")), QStringList{QStringLiteral("OTTO")});
    EXPECT_EQ(types(QStringLiteral("public.opentype-font")), std::nullopt);
}
