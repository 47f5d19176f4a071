#include "model/KZFilesUtilities.h"

#include "KZTestSandbox.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// Writes a desktop entry (or any text) at dir/relative, making the folders on the way.
QByteArray writeFile(const QString &dir, const QString &relative, const QByteArray &contents)
{
    const QString path = dir + QLatin1Char('/') + relative;
    QDir().mkpath(path.section(QLatin1Char('/'), 0, -2));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return {};
    file.write(contents);
    return QFile::encodeName(path);
}

QByteArray application(const QByteArray &mimeTypes, const QByteArray &extra = {})
{
    return "[Desktop Entry]\nType=Application\nName=Test\nExec=test %F\nMimeType=" + mimeTypes
           + "\n" + extra;
}

class FilesUtilitiesDocumentTypes : public ::testing::Test
{
protected:
    QString multiTypes(const QByteArray &mimeTypes, bool kindOfType)
    {
        const QByteArray path
            = writeFile(m_dir.path(), QStringLiteral("app.desktop"), application(mimeTypes));
        return m_utilities.multiTypesFromURL(KZPath::urlFromPath(path), kindOfType);
    }

    QTemporaryDir m_dir;
    KZFilesUtilities m_utilities;
};

} // namespace

TEST_F(FilesUtilitiesDocumentTypes, DeclaredTypesSkipFoldersAndWildcards)
{
    // inode/directory stands for 'fold' and application/octet-stream for '****': both skipped.
    EXPECT_EQ(multiTypes("text/plain;inode/directory;application/octet-stream;", true),
              QStringLiteral("'TEXT'"));
    EXPECT_EQ(multiTypes("text/plain;inode/directory;application/octet-stream;", false),
              QStringLiteral("\"txt\",\"asc\""));
    // Aliases find the canonical type's row.
    EXPECT_EQ(multiTypes("application/x-gzip;audio/x-mp3", true),
              QStringLiteral("'Gzip','MP3!','mp3!','MPG3','mpg3','Mp3 ','MP3 '"));
    // A MIME type without a type code or without suffixes adds nothing.
    EXPECT_EQ(multiTypes("text/x-csrc;application/x-binwise-unknown", true), QString());
    EXPECT_EQ(multiTypes("application/x-binwise-unknown", false), QString());
}

TEST_F(FilesUtilitiesDocumentTypes, OnlyARepeatAtTheStartIsDropped)
{
    // The second 'TEXT' repeats the start and goes; the second 'PNGf' does not and stays.
    EXPECT_EQ(multiTypes("text/plain;image/png;text/plain;image/png", true),
              QStringLiteral("'TEXT','PNGf','PNGf'"));
    EXPECT_EQ(multiTypes("image/jpeg;image/png;image/jpeg", false),
              QStringLiteral("\"jpg\",\"jpeg\",\"jpe\",\"png\",\"jpeg\",\"jpe\""));
}

TEST_F(FilesUtilitiesDocumentTypes, EntriesWithoutDeclaredTypesGiveNothing)
{
    const QByteArray noTypes = writeFile(m_dir.path(), QStringLiteral("none.desktop"),
                                         "[Desktop Entry]\nType=Application\nExec=x\n");
    EXPECT_EQ(m_utilities.multiTypesFromURL(KZPath::urlFromPath(noTypes), true), QString());
    // The types of another group are not the application's.
    const QByteArray otherGroup = writeFile(
        m_dir.path(), QStringLiteral("other.desktop"),
        "[Desktop Entry]\nType=Application\n[Desktop Action new]\nMimeType=text/plain\n");
    EXPECT_EQ(m_utilities.multiTypesFromURL(KZPath::urlFromPath(otherGroup), true), QString());
    const QByteArray notAnEntry
        = writeFile(m_dir.path(), QStringLiteral("plain.desktop"), "MimeType=text/plain\n");
    EXPECT_EQ(m_utilities.multiTypesFromURL(KZPath::urlFromPath(notAnEntry), false), QString());
    EXPECT_EQ(m_utilities.multiTypesFromURL(
                  KZPath::urlFromPath(QFile::encodeName(m_dir.path()) + "/missing.desktop"), true),
              QString());
    EXPECT_EQ(m_utilities.multiTypesFromURL(QUrl(), false), QString());
}

TEST_F(FilesUtilitiesDocumentTypes, GatheringWalksApplicationFoldersInOrder)
{
    const QString home = m_dir.path() + QStringLiteral("/home-apps");
    const QString system = m_dir.path() + QStringLiteral("/system-apps");
    // The user's editor hides the system one of the same desktop file ID.
    writeFile(home, QStringLiteral("editor.desktop"), application("text/plain"));
    writeFile(system, QStringLiteral("editor.desktop"), application("application/pdf"));
    // A sub-folder's entry has its own ID (kde-viewer.desktop).
    writeFile(system, QStringLiteral("kde/viewer.desktop"), application("image/png;image/jpeg"));
    // Deleted entries, links and other files declare nothing.
    writeFile(home, QStringLiteral("gone.desktop"), application("image/gif", "Hidden=true\n"));
    writeFile(system, QStringLiteral("gone.desktop"), application("image/tiff"));
    writeFile(system, QStringLiteral("link.desktop"),
              "[Desktop Entry]\nType=Link\nURL=https://example.org\nMimeType=image/bmp\n");
    writeFile(system, QStringLiteral("readme.txt"), application("font/otf"));

    QString types;
    QString extensions;
    m_utilities.iterateFolderDocuments(KZPath::urlFromPath(QFile::encodeName(system)), &types,
                                       &extensions);
    EXPECT_EQ(types, QStringLiteral(",'PDF ','TIFF','PNGf','JPEG'"));
    EXPECT_EQ(extensions,
              QStringLiteral(",\"pdf\",\"tif\",\"tiff\",\"png\",\"jpg\",\"jpeg\",\"jpe\""));

    m_utilities.setApplicationFolders({QFile::encodeName(home), QFile::encodeName(system)});
    const QVariantList kinds = m_utilities.allDocumentsNamesWithTypes();
    QStringList names;
    for (const QVariant &kind : kinds)
        names.append(kind.toMap().value(QStringLiteral("name")).toString());
    // Sorted for people, regardless of case; the hidden PDF viewer and the deleted entries are
    // not there.
    EXPECT_EQ(names,
              QStringList({QStringLiteral("JPEG image"), QStringLiteral("plain text document"),
                           QStringLiteral("PNG image")}));
    const QVariantMap png = kinds.at(2).toMap();
    EXPECT_EQ(png.value(QStringLiteral("types")).toStringList(),
              QStringList{QStringLiteral("PNGf")});
    EXPECT_EQ(png.value(QStringLiteral("extensions")).toStringList(),
              QStringList{QStringLiteral("png")});
    const QVariantMap text = kinds.at(1).toMap();
    EXPECT_EQ(text.value(QStringLiteral("extensions")).toStringList(),
              QStringList({QStringLiteral("txt"), QStringLiteral("asc")}));
}

TEST_F(FilesUtilitiesDocumentTypes, KindNamesGroupCodesAndExtensions)
{
    QStringList ordered;
    const QVariantMap kinds = m_utilities.kindNamesWithTypes(
        QStringLiteral(",'fold','TEXT','TEXT','ZZZZ'"),
        QStringLiteral(",\"txt\",\"jpeg\",\"jpg\",\"binwise-unknown\""), &ordered);
    EXPECT_EQ(ordered, QStringList({QStringLiteral("Folder"), QStringLiteral("JPEG image"),
                                    QStringLiteral("plain text document")}));
    EXPECT_EQ(kinds.value(QStringLiteral("Folder")).toMap().value(QStringLiteral("types")),
              QStringList{QStringLiteral("fold")});
    const QVariantMap text = kinds.value(QStringLiteral("plain text document")).toMap();
    EXPECT_EQ(text.value(QStringLiteral("types")).toStringList(),
              QStringList{QStringLiteral("TEXT")});
    EXPECT_EQ(text.value(QStringLiteral("extensions")).toStringList(),
              QStringList{QStringLiteral("txt")});
    EXPECT_EQ(kinds.value(QStringLiteral("JPEG image"))
                  .toMap()
                  .value(QStringLiteral("extensions"))
                  .toStringList(),
              QStringList({QStringLiteral("jpeg"), QStringLiteral("jpg")}));
}

TEST(FilesUtilitiesApplicationFolders, FollowTheXDGVariables)
{
    KZTestSandbox sandbox;
    ASSERT_TRUE(sandbox.isValid());
    const QByteArray savedDirs = qgetenv("XDG_DATA_DIRS");
    const bool hadDirs = qEnvironmentVariableIsSet("XDG_DATA_DIRS");

    KZFilesUtilities utilities;
    const QByteArray dataHome = QFile::encodeName(sandbox.dataHome());
    qputenv("XDG_DATA_DIRS", "/opt/share/:relative/share:/usr/share:/opt/share");
    EXPECT_EQ(utilities.applicationFolders(),
              QByteArrayList({dataHome + "/applications", "/opt/share/applications",
                              "/usr/share/applications"}));
    qunsetenv("XDG_DATA_DIRS");
    EXPECT_EQ(utilities.applicationFolders(),
              QByteArrayList({dataHome + "/applications", "/usr/local/share/applications",
                              "/usr/share/applications"}));
    utilities.setApplicationFolders({"/somewhere"});
    EXPECT_EQ(utilities.applicationFolders(), QByteArrayList{"/somewhere"});

    if (hadDirs)
        qputenv("XDG_DATA_DIRS", savedDirs);
}
