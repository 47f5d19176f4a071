#include "model/KZFilesUtilities.h"

#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray application(const QByteArray &mimeTypes, const QByteArray &extra = {})
{
    return "[Desktop Entry]\nType=Application\nName=Test\nExec=test %F\nMimeType=" + mimeTypes
           + "\n" + extra;
}

class FilesUtilitiesDocumentTypes : public ::testing::Test
{
protected:
    // Writes base/relative, making the folders on the way; answers the path.
    QByteArray write(const QByteArray &relative, const QByteArray &contents)
    {
        const QByteArray path = QFile::encodeName(m_sandbox.root()) + "/" + relative;
        KZTestFiles::makeFolders(path.left(path.lastIndexOf('/')));
        KZTestFiles::writeFile(path, contents);
        return path;
    }
    QString multiTypes(const QByteArray &mimeTypes, bool kindOfType)
    {
        const QUrl url = KZPath::urlFromPath(write("app.desktop", application(mimeTypes)));
        return m_utilities.multiTypesFromURL(url, kindOfType);
    }

    KZTestSandbox m_sandbox;
    KZFilesUtilities m_utilities;
};

} // namespace

TEST_F(FilesUtilitiesDocumentTypes, DeclaredTypesSkipFoldersWildcardsAndRepeatsOfTheFirst)
{
    // inode/directory stands for 'fold' and application/octet-stream for '****': both skipped.
    const QByteArray declared = "text/plain;inode/directory;application/octet-stream;";
    EXPECT_EQ(multiTypes(declared, true), u"'TEXT'"_s);
    EXPECT_EQ(multiTypes(declared, false), u"\"txt\",\"asc\""_s);
    // An alias finds its canonical type's row; an unknown type adds nothing.
    EXPECT_EQ(multiTypes("application/x-gzip;application/x-binwise-unknown", true), u"'Gzip'"_s);
    // Only a repeat of the first value goes: the second 'TEXT' does, the second 'PNGf' stays.
    EXPECT_EQ(multiTypes("text/plain;image/png;text/plain;image/png", true),
              u"'TEXT','PNGf','PNGf'"_s);
    EXPECT_EQ(multiTypes("image/jpeg;image/png;image/jpeg", false),
              u"\"jpg\",\"jpeg\",\"jpe\",\"png\",\"jpeg\",\"jpe\""_s);

    // No MimeType key, no file, no URL: nothing.
    const QByteArray none = write("none.desktop", "[Desktop Entry]\nType=Application\n");
    EXPECT_EQ(m_utilities.multiTypesFromURL(KZPath::urlFromPath(none), true), QString());
    EXPECT_EQ(m_utilities.multiTypesFromURL(KZPath::urlFromPath(none + ".gone"), true), QString());
    EXPECT_EQ(m_utilities.multiTypesFromURL(QUrl(), false), QString());

    // Kind names group codes and extensions; unknown ones name no kind.
    QStringList ordered;
    const QVariantMap kinds = m_utilities.kindNamesWithTypes(
        u",'fold','TEXT','TEXT','ZZZZ'"_s, u",\"txt\",\"jpeg\",\"jpg\",\"binwise-unknown\""_s,
        &ordered);
    EXPECT_EQ(ordered, QStringList({u"Folder"_s, u"JPEG image"_s, u"plain text document"_s}));
    const QVariantMap text = kinds.value(u"plain text document"_s).toMap();
    EXPECT_EQ(text.value(u"types"_s).toStringList(), QStringList{u"TEXT"_s});
    EXPECT_EQ(text.value(u"extensions"_s).toStringList(), QStringList{u"txt"_s});
}

TEST_F(FilesUtilitiesDocumentTypes, GatheringWalksApplicationFoldersInOrder)
{
    // The user's editor hides the system one of the same desktop file ID; a sub-folder's entry
    // has its own ID (kde-viewer.desktop); deleted entries, links and other files declare
    // nothing.
    write("home/editor.desktop", application("text/plain"));
    write("system/editor.desktop", application("application/pdf"));
    write("system/kde/viewer.desktop", application("image/png;image/jpeg"));
    write("home/gone.desktop", application("image/gif", "Hidden=true\n"));
    write("system/gone.desktop", application("image/tiff"));
    write("system/link.desktop",
          "[Desktop Entry]\nType=Link\nURL=https://x.org\nMimeType=image/bmp\n");
    write("system/readme.txt", application("font/otf"));

    const QByteArray root = QFile::encodeName(m_sandbox.root());
    QString types;
    QString extensions;
    m_utilities.iterateFolderDocuments(KZPath::urlFromPath(root + "/system"), &types, &extensions);
    EXPECT_EQ(types, u",'PDF ','TIFF','PNGf','JPEG'"_s);
    EXPECT_EQ(extensions, u",\"pdf\",\"tif\",\"tiff\",\"png\",\"jpg\",\"jpeg\",\"jpe\""_s);

    // By default the user's folder, then those of XDG_DATA_DIRS (absolute, once each).
    const QByteArray savedDirs = qgetenv("XDG_DATA_DIRS");
    qputenv("XDG_DATA_DIRS", "/opt/share/:relative/share:/usr/share:/opt/share");
    EXPECT_EQ(m_utilities.applicationFolders(),
              QByteArrayList({QFile::encodeName(m_sandbox.dataHome()) + "/applications",
                              "/opt/share/applications", "/usr/share/applications"}));
    qunsetenv("XDG_DATA_DIRS");
    EXPECT_EQ(m_utilities.applicationFolders().mid(1),
              QByteArrayList({"/usr/local/share/applications", "/usr/share/applications"}));
    if (!savedDirs.isNull())
        qputenv("XDG_DATA_DIRS", savedDirs);

    m_utilities.setApplicationFolders({root + "/home", root + "/system"});
    const QVariantList kinds = m_utilities.allDocumentsNamesWithTypes();
    QStringList names;
    for (const QVariant &kind : kinds)
        names.append(kind.toMap().value(u"name"_s).toString());
    // Sorted for people regardless of case; the hidden PDF viewer and deleted entries are gone.
    EXPECT_EQ(names, QStringList({u"JPEG image"_s, u"plain text document"_s, u"PNG image"_s}));
    EXPECT_EQ(kinds.at(1).toMap().value(u"extensions"_s).toStringList(),
              QStringList({u"txt"_s, u"asc"_s}));
}
