// Document types: the type-identifier tables, the bridge from MIME types to them, the types an
// application declares in its .desktop file, and the gathering of every application's kinds.
#include "KZFilesUtilities.h"

#include "KZDesktopEntry.h"
#include "format/KZLocalizedStrings.h"

#include <QCollator>
#include <QFile>
#include <QMimeDatabase>
#include <QSet>

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <span>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The platform's named type identifiers.
constexpr const char16_t *kUTTypePlainText = u"public.plain-text";
constexpr const char16_t *kUTTypeUTF8PlainText = u"public.utf8-plain-text";
constexpr const char16_t *kUTTypeUTF16PlainText = u"public.utf16-plain-text";
constexpr const char16_t *kUTTypeRTF = u"public.rtf";
constexpr const char16_t *kUTTypeHTML = u"public.html";
constexpr const char16_t *kUTTypeXML = u"public.xml";
constexpr const char16_t *kUTTypeURL = u"public.url";
constexpr const char16_t *kUTTypeFileURL = u"public.file-url";
constexpr const char16_t *kUTTypeCSource = u"public.c-source";
constexpr const char16_t *kUTTypeObjectiveCSource = u"public.objective-c-source";
constexpr const char16_t *kUTTypeCPlusPlusSource = u"public.c-plus-plus-source";
constexpr const char16_t *kUTTypeObjectiveCPlusPlusSource = u"public.objective-c-plus-plus-source";
constexpr const char16_t *kUTTypeCHeader = u"public.c-header";
constexpr const char16_t *kUTTypeCPlusPlusHeader = u"public.c-plus-plus-header";
constexpr const char16_t *kUTTypeJavaSource = u"com.sun.java-source";
constexpr const char16_t *kUTTypeVCard = u"public.vcard";
constexpr const char16_t *kUTTypeJPEG = u"public.jpeg";
constexpr const char16_t *kUTTypeJPEG2000 = u"public.jpeg-2000";
constexpr const char16_t *kUTTypeTIFF = u"public.tiff";
constexpr const char16_t *kUTTypePICT = u"com.apple.pict";
constexpr const char16_t *kUTTypePNG = u"public.png";
constexpr const char16_t *kUTTypeQuickTimeImage = u"com.apple.quicktime-image";
constexpr const char16_t *kUTTypeAppleICNS = u"com.apple.icns";
constexpr const char16_t *kUTTypeGIF = u"com.compuserve.gif";
constexpr const char16_t *kUTTypeBMP = u"com.microsoft.bmp";
constexpr const char16_t *kUTTypeICO = u"com.microsoft.ico";
constexpr const char16_t *kUTTypePDF = u"com.adobe.pdf";
constexpr const char16_t *kUTTypeQuickTimeMovie = u"com.apple.quicktime-movie";
constexpr const char16_t *kUTTypeMPEG = u"public.mpeg";
constexpr const char16_t *kUTTypeMPEG4 = u"public.mpeg-4";
constexpr const char16_t *kUTTypeMP3 = u"public.mp3";
constexpr const char16_t *kUTTypeMPEG4Audio = u"public.mpeg-4-audio";
constexpr const char16_t *kUTTypeAppleProtectedMPEG4Audio = u"com.apple.protected-mpeg-4-audio";
constexpr const char16_t *kUTTypeBundle = u"com.apple.bundle";
constexpr const char16_t *kUTTypeApplicationBundle = u"com.apple.application-bundle";
constexpr const char16_t *kUTTypeApplicationFile = u"com.apple.application-file";
constexpr const char16_t *kUTTypeFramework = u"com.apple.framework";
constexpr const char16_t *kUTTypeRTFD = u"com.apple.rtfd";
constexpr const char16_t *kUTTypeFolder = u"public.folder";
constexpr const char16_t *kUTTypeData = u"public.data";

// One row: a key and its values, separated by "," (no extension or code holds one).
struct IdentifierRow
{
    const char16_t *key;
    const char *values;
};

// Looked up in order, first equal key first. The keys with a zero-width space (U+200B) inside
// the word can never equal a real identifier; they are kept unreachable on purpose, so these
// rows never answer. The short keys without a domain answer only callers that pass them bare.
constexpr IdentifierRow kExtensionRows[] = {
    {kUTTypePlainText, "txt"},
    {kUTTypeRTF, "rtf"},
    {kUTTypeHTML, "html,htm"},
    {kUTTypeXML, "xml"},
    {kUTTypeCSource, "c"},
    {kUTTypeObjectiveCSource, "m"},
    {kUTTypeCPlusPlusSource, "cxx,cp,cpp,c++,cc"},
    {kUTTypeObjectiveCPlusPlusSource, "mm"},
    {kUTTypeCHeader, "h"},
    {kUTTypeCPlusPlusHeader, "hpp,h++,hxx"},
    {kUTTypeJavaSource, "java,jav"},
    {u"com.apple.rez-source", "r"},
    {u"com.apple.symbol-export", "exp"},
    {u"com.sun.java-web-start", "jnlp"},
    {u"com.apple.applescript.text", "applescript"},
    {u"com.apple.applescript.script", "scpt"},
    {u"com.sun.java-class", "class"},
    {u"com.sun.java-archive", "jar"},
    {u"com.netscape.javascript-\u200Bsource", "js,jscript,javascript"},
    {u"org.gnu.gnu-tar-archive", "gtar"},
    {u"org.gnu.gnu-zip-archive", "gz,gzip"},
    {u"com.apple.binhex-archive", "hqx"},
    {u"com.apple.macbinary-archive", "bin"},
    {u"com.pkware.zip-archive", "zip"},
    {u"com.apple.macpaint-image", "pntg,pnt,mac"},
    {u"com.apple.plugin", "plugin"},
    {kUTTypeVCard, "vcf,vcard"},
    {kUTTypeJPEG, "jpg,jpeg"},
    {kUTTypeJPEG2000, "jp2"},
    {kUTTypeTIFF, "tif,tiff"},
    {kUTTypePICT, "pic,pct,pict"},
    {kUTTypePNG, "png"},
    {kUTTypeQuickTimeImage, "qtif,qti"},
    {kUTTypeAppleICNS, "icns"},
    {kUTTypeGIF, "gif"},
    {kUTTypeBMP, "bmp,dib"},
    {kUTTypeICO, "ico"},
    {kUTTypePDF, "pdf"},
    {kUTTypeQuickTimeMovie, "mov,qt"},
    {kUTTypeMPEG, "mpg,mpeg,m75,m15"},
    {kUTTypeMPEG4, "mp4,mpg4"},
    {kUTTypeMP3, "mp3"},
    {kUTTypeMPEG4Audio, "m4a"},
    {kUTTypeAppleProtectedMPEG4Audio, "m4p,m4b"},
    {kUTTypeBundle, "bundle"},
    {kUTTypeApplicationBundle, "app"},
    {kUTTypeFramework, "framework"},
    {kUTTypeRTFD, "rtfd"},
    {u"com.apple.font-suitcase", "suit"},
    {u"com.apple.colorsync-profile", "icc,icm,pf"},
    {u"com.adobe.postscript", "ps"},
    {u"com.adobe.encapsulated-postscript", "eps,epsf"},
    {u"com.adobe.photoshop-image", "psd"},
    {u"com.adobe.postscript-font", "pfa,pfb"},
    {u"com.microsoft.word.doc", "doc"},
    {u"com.microsoft.excel.xls", "xls"},
    {u"com.microsoft.powerpoint.ppt", "ppt,pps"},
    {u"com.microsoft.windows-\u200Bexecutable", "exe"},
    {u"com.microsoft.windows-dynamic-link-library", "dll"},
    {u"org.openxmlformats.wordprocessingml.document", "docx"},
    {u"org.openxmlformats.spreadsheetml.sheet", "xlsx"},
    {u"org.openxmlformats.presentationml.presentation", "pptx"},
    {u"org.oasis-open.opendocument.text", "odt"},
    {u"com.apple.keynote.key", "key"},
    {u"com.apple.iwork.pages.pages", "pages"},
    {u"com.apple.iwork.numbers.numbers", "numbers"},
    {u"com.apple.webarchive", "webarchive"},
    {u"com.apple.mail.emlx", "emlx"},
    {u"com.apple.web-internet-location", "webloc"},
    {u"com.apple.property-list", "plist"},
    {u"com.apple.disk-image-udif", "dmg"},
    {u"com.apple.installer-package-archive", "pkg"},
    {u"com.apple.coreaudio-format", "caf"},
    {u"com.apple.m4v-video", "m4v"},
    {u"com.truevision.tga-image", "tga,targa"},
    {u"com.sgi.sgi-image", "sgi,rgb"},
    {u"com.ilm.openexr-image", "exr"},
    {u"com.kodak.flashpix-image", "fpx,fpix"},
    {u"com.real.realmedia", "rm"},
    {u"com.real.realaudio", "ram,ra"},
    {u"com.microsoft.waveform-\u200Baudio", "wav,wave"},
    {u"com.microsoft.windows-media-wmv", "wmv"},
    {u"com.adobe.flash.video", "flv"},
    {u"com.adobe.shockwave-flash", "swf"},
    {u"public.3gpp", "3gp,3gpp"},
    {u"public.3gpp2", "3g2,3gp2"},
    {u"public.avi", "avi,vfw"},
    {u"public.dv-movie", "dv,dif"},
    {u"assembly-source", "s"},
    {u"shell-script", "sh,command"},
    {u"perl-script", "pl,pm"},
    {u"python-script", "py"},
    {u"ruby-script", "rb,rbw"},
    {u"php-script", "phtml,ph4,php,php3,php4,ph3"},
    {u"tar-archive", "tar"},
    {u"bzip2-archive", "bz2,bzip2"},
    {u"cpio-archive", "cpio"},
    {u"ulaw-audio", "au,ulw,snd"},
    {u"aifc-audio", "aifc"},
    {u"aiff-audio", "aiff,aif"},
    {u"midi-audio", "mid,midi,smf,kar"},
    {u"opentype-font", "otf"},
    {u"truetype-ttf-font", "ttf"},
    {u"truetype-collection-font", "ttc"},
    {u"xbitmap-image", "xbm"},
    {u"camera-raw-image", "crw,cr2,nef,raf,orf,mrw,srf,dcr,dng"},
};

// Four-character codes, unquoted, trailing spaces included.
constexpr IdentifierRow kTypeRows[] = {
    {kUTTypePlainText, "TEXT"},
    {kUTTypeUTF8PlainText, "utf8"},
    {kUTTypeUTF16PlainText, "utxt"},
    {kUTTypeRTF, "RTF "},
    {kUTTypeHTML, "HTML"},
    {kUTTypeURL, "url "},
    {kUTTypeFileURL, "furl"},
    {kUTTypeVCard, "vCrd"},
    {kUTTypeJPEG, "JPEG"},
    {kUTTypeJPEG2000, "jp2 "},
    {kUTTypeTIFF, "TIFF"},
    {kUTTypePICT, "PICT"},
    {kUTTypePNG, "PNGf"},
    {kUTTypeQuickTimeImage, "qtif"},
    {kUTTypeAppleICNS, "icns"},
    {kUTTypeGIF, "GIFf"},
    {kUTTypeBMP, "BMPf,BMP "},
    {kUTTypeICO, "ICO "},
    {kUTTypePDF, "PDF "},
    {kUTTypeQuickTimeMovie, "MooV"},
    {kUTTypeMPEG, "MPG ,MPEG"},
    {kUTTypeMPEG4, "mpg4"},
    {kUTTypeMP3, "MP3!,mp3!,MPG3,mpg3,Mp3 ,MP3 "},
    {kUTTypeMPEG4Audio, "M4A "},
    {kUTTypeAppleProtectedMPEG4Audio, "M4P ,M4B "},
    {kUTTypeBundle, "BNDL"},
    {kUTTypeApplicationBundle, "APPL"},
    {kUTTypeApplicationFile, "APPL"},
    {kUTTypeFolder, "fold"},
    {kUTTypeData, "****"},
    {u"com.apple.applescript.script", "osas"},
    {u"com.netscape.javascript-\u200Bsource", "TEXT"},
    {u"org.gnu.gnu-tar-archive", "TARF"},
    {u"org.gnu.gnu-zip-archive", "Gzip"},
    {u"com.pkware.zip-archive", "ZIP "},
    {u"com.apple.macpaint-image", "PNTG"},
    {u"com.apple.font-suitcase", "FFIL"},
    {u"com.apple.colorsync-profile", "prof"},
    {u"com.adobe.encapsulated-postscript", "EPSF"},
    {u"com.adobe.photoshop-image", "8BPS"},
    {u"com.adobe.postscript-font", "LWFN"},
    {u"com.microsoft.word.doc", "W8BN"},
    {u"com.microsoft.excel.xls", "XLS8"},
    {u"com.microsoft.powerpoint.ppt", "SLD8"},
    {u"com.truevision.tga-image", "TPIC"},
    {u"com.sgi.sgi-image", ".SGI"},
    {u"com.microsoft.waveform-\u200Baudio", "WAVE,.WAV"},
    {u"public.3gpp2", "3gp2"},
    {u"public.avi", "VfW "},
    {u"public.dv-movie", "dvc!"},
    {u"tar-archive", "TARF"},
    {u"bzip2-archive", "Bzp2"},
    {u"ulaw-audio", "ULAW"},
    {u"aifc-audio", "AIFC"},
    {u"aiff-audio", "AIFF"},
    {u"midi-audio", "Midi"},
    {u"opentype-font", "OTTO"},
    {u"truetype-ttf-font", "tfil"},
    {u"xbitmap-image", "XBM "},
};

// What a MIME type of a .desktop file's MimeType list stands for among the type identifiers.
// Names are compared after alias resolution, so either spelling of a MIME type finds its row.
struct MIMERow
{
    const char *mimeType;
    const char16_t *identifier;
};

constexpr MIMERow kMIMERows[] = {
    {"text/plain", kUTTypePlainText},
    {"application/rtf", kUTTypeRTF},
    {"text/html", kUTTypeHTML},
    {"text/vcard", kUTTypeVCard},
    {"image/jpeg", kUTTypeJPEG},
    {"image/jp2", kUTTypeJPEG2000},
    {"image/tiff", kUTTypeTIFF},
    {"image/x-pict", kUTTypePICT},
    {"image/png", kUTTypePNG},
    {"image/x-quicktime", kUTTypeQuickTimeImage},
    {"image/x-icns", kUTTypeAppleICNS},
    {"image/gif", kUTTypeGIF},
    {"image/bmp", kUTTypeBMP},
    {"image/vnd.microsoft.icon", kUTTypeICO},
    {"application/pdf", kUTTypePDF},
    {"video/quicktime", kUTTypeQuickTimeMovie},
    {"video/mpeg", kUTTypeMPEG},
    {"video/mp4", kUTTypeMPEG4},
    {"audio/mpeg", kUTTypeMP3},
    {"audio/mp4", kUTTypeMPEG4Audio},
    {"audio/x-m4b", kUTTypeAppleProtectedMPEG4Audio},
    {"inode/directory", kUTTypeFolder},
    {"application/octet-stream", kUTTypeData},
    {"application/x-tar", u"tar-archive"},
    {"application/gzip", u"org.gnu.gnu-zip-archive"},
    {"application/zip", u"com.pkware.zip-archive"},
    {"application/x-bzip", u"bzip2-archive"},
    {"image/x-macpaint", u"com.apple.macpaint-image"},
    {"application/vnd.iccprofile", u"com.apple.colorsync-profile"},
    {"image/x-eps", u"com.adobe.encapsulated-postscript"},
    {"image/vnd.adobe.photoshop", u"com.adobe.photoshop-image"},
    {"application/x-font-type1", u"com.adobe.postscript-font"},
    {"application/msword", u"com.microsoft.word.doc"},
    {"application/vnd.ms-excel", u"com.microsoft.excel.xls"},
    {"application/vnd.ms-powerpoint", u"com.microsoft.powerpoint.ppt"},
    {"image/x-tga", u"com.truevision.tga-image"},
    {"image/x-sgi", u"com.sgi.sgi-image"},
    {"video/3gpp2", u"public.3gpp2"},
    {"video/x-msvideo", u"public.avi"},
    {"video/dv", u"public.dv-movie"},
    {"audio/basic", u"ulaw-audio"},
    {"audio/x-aifc", u"aifc-audio"},
    {"audio/x-aiff", u"aiff-audio"},
    {"audio/midi", u"midi-audio"},
    {"font/otf", u"opentype-font"},
    {"font/ttf", u"truetype-ttf-font"},
    {"image/x-xbitmap", u"xbitmap-image"},
};

std::optional<QStringList> lookUp(std::span<const IdentifierRow> rows, const QString &identifier)
{
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const IdentifierRow &candidate) {
        return identifier == QStringView(candidate.key);
    });
    if (row == rows.end())
        return std::nullopt;
    return QString::fromLatin1(row->values).split(QLatin1Char(','));
}

// The canonical name of a MIME type, or the name itself when the database does not know it.
QString canonicalMIMEName(const QMimeDatabase &database, const QString &name)
{
    const QMimeType type = database.mimeTypeForName(name);
    return type.isValid() ? type.name() : name;
}

const MIMERow *rowForMIMEType(const QMimeDatabase &database, const QString &name)
{
    const QString canonical = canonicalMIMEName(database, name);
    for (const MIMERow &row : kMIMERows) {
        if (canonicalMIMEName(database, QString::fromLatin1(row.mimeType)) == canonical)
            return &row;
    }
    return nullptr;
}

// What one declared MIME type stands for: its type codes, or its extensions.
QStringList valuesOfMIMEType(const KZFilesUtilities &utilities, const QMimeDatabase &database,
                             const QString &name, bool kindOfType)
{
    if (!kindOfType) {
        const QMimeType type = database.mimeTypeForName(name);
        return type.isValid() ? type.suffixes() : QStringList();
    }
    const MIMERow *row = rowForMIMEType(database, name);
    if (!row)
        return {};
    return utilities.typeFromUTIIdentifier(QString::fromUtf16(row->identifier))
        .value_or(QStringList());
}

const QStringList &skippedValues()
{
    static const QStringList skipped{QStringLiteral("'    '"), QStringLiteral("'****'"),
                                     QStringLiteral("'\?\?\?\?'"), QStringLiteral("''"),
                                     QStringLiteral("'fold'")};
    return skipped;
}

// The application entries under a folder, sub-folders included, each with its desktop file ID
// (the path below the folder with "/" turned into "-"), in name order. Entries that are links
// to files count; links to folders are not followed.
QList<std::pair<QByteArray, QByteArray>> desktopFilesUnder(const QByteArray &folder)
{
    QList<std::pair<QByteArray, QByteArray>> found;
    // (folder path, desktop file ID prefix); an explicit stack keeps deep trees off the call
    // stack.
    QList<std::pair<QByteArray, QByteArray>> pending{{folder, QByteArray()}};
    while (!pending.isEmpty()) {
        const auto [path, prefix] = pending.takeLast();
        // The configured folder itself may be a link (profile-based systems make it one); the
        // folders below it are entered only when they are real folders.
        const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (prefix.isEmpty() ? 0 : O_NOFOLLOW);
        const int fd = ::open(path.constData(), flags);
        if (fd < 0)
            continue;
        DIR *dir = ::fdopendir(fd);
        if (!dir) {
            ::close(fd);
            continue;
        }
        QByteArrayList names;
        while (const dirent *entry = ::readdir(dir)) {
            const QByteArray name(entry->d_name);
            if (name != "." && name != "..")
                names.append(name);
        }
        std::sort(names.begin(), names.end());
        QList<std::pair<QByteArray, QByteArray>> subfolders;
        for (const QByteArray &name : names) {
            struct stat info
            {
            };
            if (::fstatat(fd, name.constData(), &info, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            if (S_ISDIR(info.st_mode)) {
                subfolders.append({KZPath::join(path, name), prefix + name + '-'});
            } else if (name.endsWith(".desktop")) {
                found.append({prefix + name, KZPath::join(path, name)});
            }
        }
        ::closedir(dir);
        // Reversed so that the first sub-folder in name order is walked next.
        std::reverse(subfolders.begin(), subfolders.end());
        pending.append(subfolders);
    }
    return found;
}

// Adds the declared types and extensions of each application entry under folder whose desktop
// file ID is not yet in seen (an entry in an earlier folder hides later ones of the same ID).
void collectDocuments(const KZFilesUtilities &utilities, const QByteArray &folder,
                      QSet<QByteArray> *seen, QString *types, QString *extensions)
{
    for (const auto &[id, path] : desktopFilesUnder(folder)) {
        if (seen->contains(id))
            continue;
        seen->insert(id);
        const std::optional<KZDesktopEntry> entry = KZDesktopEntry::load(path);
        if (!entry || entry->boolValue(QStringLiteral("Hidden")))
            continue;
        if (entry->value(QStringLiteral("Type")) != QLatin1String("Application"))
            continue;
        const QUrl url = KZPath::urlFromPath(path);
        const QString declaredTypes = utilities.multiTypesFromURL(url, true);
        const QString declaredExtensions = utilities.multiTypesFromURL(url, false);
        if (types && !declaredTypes.isEmpty())
            *types += QLatin1Char(',') + declaredTypes;
        if (extensions && !declaredExtensions.isEmpty())
            *extensions += QLatin1Char(',') + declaredExtensions;
    }
}

// The entries of a list in the kind lists' form, quotes removed, empty ones and repeats left
// out.
QStringList unquotedEntries(const QString &list, QChar quote)
{
    QStringList entries;
    for (QStringView entry : QStringView(list).split(QLatin1Char(','))) {
        if (entry.startsWith(quote))
            entry = entry.sliced(1);
        if (entry.endsWith(quote))
            entry.chop(1);
        if (!entry.isEmpty() && !entries.contains(entry))
            entries.append(entry.toString());
    }
    return entries;
}

QString kindNameOfType(const QMimeDatabase &database, const QString &code)
{
    if (code == QLatin1String("fold"))
        return KZLocalizedString(QStringLiteral("Folder"));
    for (const IdentifierRow &typeRow : kTypeRows) {
        if (!QString::fromLatin1(typeRow.values).split(QLatin1Char(',')).contains(code))
            continue;
        for (const MIMERow &mimeRow : kMIMERows) {
            if (QStringView(mimeRow.identifier) != QStringView(typeRow.key))
                continue;
            const QMimeType type = database.mimeTypeForName(QString::fromLatin1(mimeRow.mimeType));
            if (type.isValid())
                return type.comment();
        }
    }
    return {};
}

QString kindNameOfExtension(const QMimeDatabase &database, const QString &extension)
{
    const QList<QMimeType> types
        = database.mimeTypesForFileName(QStringLiteral("file.") + extension);
    if (types.isEmpty())
        return {};
    if (types.first().name() == QLatin1String("inode/directory"))
        return KZLocalizedString(QStringLiteral("Folder"));
    return types.first().comment();
}

const QString kTypesKey = QStringLiteral("types");
const QString kExtensionsKey = QStringLiteral("extensions");
const QString kNameKey = QStringLiteral("name");

} // namespace

std::optional<QStringList>
KZFilesUtilities::extensionFromUTIIdentifier(const QString &identifier) const
{
    return lookUp(kExtensionRows, identifier);
}

std::optional<QStringList> KZFilesUtilities::typeFromUTIIdentifier(const QString &identifier) const
{
    return lookUp(kTypeRows, identifier);
}

QString KZFilesUtilities::multiTypesFromURL(const QUrl &url, bool kindOfType) const
{
    const std::optional<KZDesktopEntry> entry = KZDesktopEntry::load(KZPath::pathFromURL(url));
    if (!entry || !entry->contains(QStringLiteral("MimeType")))
        return {};
    const QChar quote = kindOfType ? QLatin1Char('\'') : QLatin1Char('"');
    const QMimeDatabase database;

    QString result;
    // Each declared MIME type plays the part of one document type.
    for (const QString &mimeType : entry->stringList(QStringLiteral("MimeType"))) {
        const QStringList values = valuesOfMIMEType(*this, database, mimeType, kindOfType);
        for (const QString &value : values) {
            if (kindOfType && value.size() < 4)
                continue;
            const QString quoted = quote + value + quote;
            // Only the start of the result is looked at for a repeat: a later duplicate stays.
            if (skippedValues().contains(quoted) || result.startsWith(quoted))
                continue;
            result += quoted + QLatin1Char(',');
        }
    }
    if (!result.isEmpty()) {
        if (result.endsWith(QLatin1Char(',')))
            result.chop(1);
        if (!result.endsWith(quote))
            result += quote;
    }
    return result;
}

QByteArrayList KZFilesUtilities::applicationFolders() const
{
    if (!m_applicationFolders.isEmpty())
        return m_applicationFolders;
    // Relative entries are invalid in the XDG variables and are ignored.
    QByteArrayList bases;
    QByteArray dataHome = qgetenv("XDG_DATA_HOME");
    if (!dataHome.startsWith('/'))
        dataHome = qgetenv("HOME") + "/.local/share";
    bases.append(dataHome);
    QByteArray dataDirs = qgetenv("XDG_DATA_DIRS");
    if (dataDirs.isEmpty())
        dataDirs = "/usr/local/share/:/usr/share/";
    for (const QByteArray &dir : dataDirs.split(':')) {
        if (dir.startsWith('/'))
            bases.append(dir);
    }
    QByteArrayList folders;
    for (QByteArray base : std::as_const(bases)) {
        while (base.size() > 1 && base.endsWith('/'))
            base.chop(1);
        const QByteArray folder = KZPath::join(base, "applications");
        if (!folders.contains(folder))
            folders.append(folder);
    }
    return folders;
}

void KZFilesUtilities::setApplicationFolders(const QByteArrayList &folders)
{
    m_applicationFolders = folders;
}

void KZFilesUtilities::iterateFolderDocuments(const QUrl &folderURL, QString *types,
                                              QString *extensions) const
{
    QSet<QByteArray> seen;
    collectDocuments(*this, KZPath::pathFromURL(folderURL), &seen, types, extensions);
}

QVariantList KZFilesUtilities::allDocumentsNamesWithTypes() const
{
    QSet<QByteArray> seen;
    QString types;
    QString extensions;
    for (const QByteArray &folder : applicationFolders())
        collectDocuments(*this, folder, &seen, &types, &extensions);

    QStringList names;
    const QVariantMap kinds = kindNamesWithTypes(types, extensions, &names);
    QVariantList records;
    for (const QString &name : std::as_const(names)) {
        QVariantMap record = kinds.value(name).toMap();
        record.insert(kNameKey, name);
        records.append(record);
    }
    return records;
}

QVariantMap KZFilesUtilities::kindNamesWithTypes(const QString &types, const QString &andExtensions,
                                                 QStringList *orderedResult) const
{
    const QMimeDatabase database;
    QMap<QString, std::pair<QStringList, QStringList>> kinds;
    for (const QString &code : unquotedEntries(types, QLatin1Char('\''))) {
        const QString name = kindNameOfType(database, code);
        if (!name.isEmpty())
            kinds[name].first.append(code);
    }
    for (const QString &extension : unquotedEntries(andExtensions, QLatin1Char('"'))) {
        const QString name = kindNameOfExtension(database, extension);
        if (!name.isEmpty())
            kinds[name].second.append(extension);
    }

    QVariantMap result;
    for (auto it = kinds.cbegin(); it != kinds.cend(); ++it) {
        result.insert(it.key(), QVariantMap{{kTypesKey, it->first}, {kExtensionsKey, it->second}});
    }
    if (orderedResult) {
        QStringList names = kinds.keys();
        QCollator collator;
        collator.setCaseSensitivity(Qt::CaseInsensitive);
        std::sort(names.begin(), names.end(), collator);
        *orderedResult = names;
    }
    return result;
}
