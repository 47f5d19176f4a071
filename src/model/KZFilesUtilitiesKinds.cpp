#include "KZFilesUtilities.h"

#include <QLatin1String>

#include <algorithm>
#include <span>

namespace {

constexpr quint32 fourCC(const char (&code)[5])
{
    return quint32(quint8(code[0])) << 24 | quint32(quint8(code[1])) << 16
           | quint32(quint8(code[2])) << 8 | quint32(quint8(code[3]));
}

// isHtml: the type counts only with one of the two creators.
constexpr quint32 kHtmlType = fourCC("TEXT");
constexpr quint32 kHtmlCreators[] = {fourCC("MOSS"), fourCC("MSIE")};
constexpr const char *kHtmlExtensions[] = {"html", "htm", "webarchive", "shtml"};

// isFont
constexpr quint32 kFontTypes[] = {fourCC("FFIL"), fourCC("LWFN"), fourCC("tfil")};
constexpr const char *kFontExtensions[] = {"ttf", "dfont", "otf", "TTF", "ttc"};

// isText
constexpr quint32 kTextTypes[] = {fourCC("RTF "), fourCC("TEXT"), fourCC("W6BN"),
                                  fourCC("W8BN"), fourCC("sEXT"), fourCC("ttro")};
constexpr const char *kTextExtensions[]
    = {"c",     "cpp",   "cp",   "m",        "mm",      "h",    "java",   "pl",          "py",
       "lisp",  "tcl",   "f",    "for",      "f77",     "f90",  "fpp",    "x",           "v",
       "tex",   "txt",   "text", "log",      "strings", "csv",  "readme", "rtf",         "rtfd",
       "doc",   "htm",   "html", "xhtml",    "shtml",   "cfm",  "css",    "js",          "php",
       "sh",    "rc",    "xml",  "wml",      "sgm",     "sgml", "dtd",    "applescript", "TXT",
       "pch++", "cat",   "a",    "ooutline", "emlx",    "eml",  "pch",    "sdef",        "rb",
       "yaml",  "crash", "docx"};

// isAACFile
constexpr quint32 kAACFileTypes[] = {fourCC("M4A "), fourCC("M4B "), fourCC("M4P ")};
constexpr const char *kAACFileExtensions[]
    = {"m4a", "m4p", "m4b", "adts", "aac", "aa", "mp4", "m4v"};

// isMP3File
constexpr quint32 kMP3FileTypes[]
    = {fourCC("MP3!"), fourCC("MPG3"), fourCC("Mp3 "), fourCC("mp3!"), fourCC("mpg3")};
constexpr const char *kMP3FileExtensions[] = {"mp3", "MP3"};

// isMediaSound
constexpr quint32 kMediaSoundTypes[] = {
    fourCC(".WAV"), fourCC("AIFC"), fourCC("AIFF"), fourCC("AUDB"), fourCC("M4B "), fourCC("M4P "),
    fourCC("PLS "), fourCC("RMP "), fourCC("Sd2f"), fourCC("mpg4"), fourCC("sfil")};
constexpr const char *kMediaSoundExtensions[]
    = {"aif", "aiff", "pls", "rmp", "aifc", "wav", "wave", "nvf", "cdda",
       "aa",  "m4p",  "m4b", "au",  "mid",  "snd", "mov",  "AIF", "AIFF"};

// isMediaItem
constexpr quint32 kMediaItemTypes[] = {
    fourCC("Mp3 "), fourCC("MP3 "), fourCC("MooV"), fourCC("PLAY"), fourCC("PLS "), fourCC("RMP "),
    fourCC("Sd2f"), fourCC("SwaT"), fourCC("ULAW"), fourCC("mpg3"), fourCC("mpg4"), fourCC("sfil"),
    fourCC("WAVE"), fourCC("amr "), fourCC("mp3!"), fourCC(".WAV"), fourCC("AIFC"), fourCC("AIFF"),
    fourCC("AUDB"), fourCC("M4A "), fourCC("M4B "), fourCC("M4P "), fourCC("MPG "), fourCC("MPG2"),
    fourCC("MPG3"), fourCC("Midi"), fourCC("MP3!"), fourCC("MP3U"), fourCC("MPEG")};
constexpr const char *kMediaItemExtensions[]
    = {"aif",  "aiff", "m3u",   "pls", "rmp", "mp3", "mp2",  "aifc", "wav", "wave", "mpg", "nvf",
       "cdda", "aa",   "m4a",   "m4p", "m4b", "au",  "mid",  "snd",  "AIF", "AIFF", "amr", "ulw",
       "mpa",  "mpm",  "m3url", "swa", "kar", "smf", "midi", "MP3",  "wmv", "swf",  "flv"};

// isMovieItem
constexpr quint32 kMovieItemTypes[]
    = {fourCC("3gp2"), fourCC("MPEG"), fourCC("MPG "), fourCC("MooV"), fourCC("VfW "),
       fourCC("dvc!"), fourCC("m2v "), fourCC("moov"), fourCC("mpg4"), fourCC("qtlk")};
constexpr const char *kMovieItemExtensions[]
    = {"m1s", "m1a", "m75", "m15", "m2p", "m2s", "mpg", "mpeg", "qtl",  "avi",
       "vfw", "m2v", "mov", "qt",  "3g2", "m1v", "mp4", "MP4",  "mpg4", "dv"};

// isCompressed
constexpr quint32 kCompressedTypes[]
    = {fourCC("SIT!"), fourCC("SIT2"), fourCC("SIT5"), fourCC("SITD"), fourCC("SITX"),
       fourCC("SITx"), fourCC("PCFA"), fourCC("Bzp2"), fourCC("Gzip"), fourCC("PACT"),
       fourCC("Seg1"), fourCC("Seg2"), fourCC("Seg3"), fourCC("SegM"), fourCC("SegN"),
       fourCC("SPSV"), fourCC("TARF"), fourCC("ZIP "), fourCC("ZIVU"), fourCC("aust")};
constexpr const char *kCompressedExtensions[]
    = {"hqx",   "sea", "uu",  "bin",  "lzh", "sitx", "sit",    "zip", "tar", "gtar", "gnutar",
       "ustar", "bz2", "tbz", "tbz2", "gz",  "tgz",  "tar-gz", "Z",   "z",   "taz",  "tar-z"};

// One kind: its codes, its extensions and the shortest extension worth comparing.
struct KindTable
{
    std::span<const quint32> types;
    std::span<const char *const> extensions;
    qsizetype minimumLength = 0;
};

constexpr KindTable kFont{kFontTypes, kFontExtensions};
// An empty extension is never text.
constexpr KindTable kText{kTextTypes, kTextExtensions, 1};
// Three characters at least, so "aa" (an Audible book) is never taken for AAC.
constexpr KindTable kAACFile{kAACFileTypes, kAACFileExtensions, 3};
constexpr KindTable kMP3File{kMP3FileTypes, kMP3FileExtensions, 3};
constexpr KindTable kMediaSound{kMediaSoundTypes, kMediaSoundExtensions, 2};
constexpr KindTable kMediaItem{kMediaItemTypes, kMediaItemExtensions};
constexpr KindTable kMovieItem{kMovieItemTypes, kMovieItemExtensions};
constexpr KindTable kCompressed{kCompressedTypes, kCompressedExtensions};

bool extensionIsListed(std::span<const char *const> extensions, const QString &extension)
{
    return std::any_of(extensions.begin(), extensions.end(),
                       [&](const char *listed) { return extension == QLatin1String(listed); });
}

bool matches(const KindTable &kind, quint32 type, const QString &extension)
{
    if (std::find(kind.types.begin(), kind.types.end(), type) != kind.types.end())
        return true;
    if (extension.isNull() || extension.size() < kind.minimumLength)
        return false;
    return extensionIsListed(kind.extensions, extension);
}

} // namespace

QString KZFilesUtilities::allImagesForContentCheckTypes() const
{
    return QStringLiteral(
        R"('GIF ','GIFf','PNTG','qtif','JPEG','jp2 ','GIF ','TIFF','GIFf','CRW ',)"
        R"('CR2 ','NEF ')");
}

QString KZFilesUtilities::allImagesContentCheckExtensions() const
{
    return QStringLiteral(
        R"("gif","jpg","JPG","jpeg","jpe","jp2","tif","tiff","gif","CRW","crw","CR2",)"
        R"("cr2","NEF","nef","png")");
}

QString KZFilesUtilities::allImagesTypes() const
{
    return QStringLiteral(
        R"('GIF ','GIFf','8BIM','PNTG','qtif','JPEG','.SGI','TPIC','jp2 ','PNG ',)"
        R"('SCRN','RSRC','GIF ','PCX ','BMP ','BMPf','8BPS','mjp2','PICT','TIFF',)"
        R"('PXR ','PNGf','GIFf','EPSF','JPX ','CRW ','CR2 ','NEF ','DNG ','XBM ')");
}

QString KZFilesUtilities::allImagesExtensions() const
{
    return QStringLiteral(
        R"("gif","pntg","qtif","qti","jpg","JPG","jpeg","jpe","sgi","tga","jp2","fpix",)"
        R"("targa","rgb","pnt","mac","ico","pcx","bmp","psd","mj2","pct","pict","pic",)"
        R"("tif","tiff","pxr","png","gif","jpx","fpx","FPX","EXR","exr","XBM","xbm",)"
        R"("CRW","crw","CR2","cr2","NEF","nef","RAF","raf","ORF","orf","MRW","mrw",)"
        R"("SRF","srf","DCR","dcr","DNG","dng","epsf")");
}

QString KZFilesUtilities::allMoviesTypes() const
{
    return QStringLiteral(
        R"('MPEG','MPG ','qtlk','VfW ','m2v ','MooV','moov','3gp2','mpg4','dvc!')");
}

QString KZFilesUtilities::allMoviesExtensions() const
{
    return QStringLiteral(
        R"("m1s","m1a","m75","m15","m2p","m2s","mpg","mpeg","qtl","avi","vfw","m2v",)"
        R"("mov","qt","3g2","m1v","mp4","mpg4","dv","3gp2","wmv","swf","flv")");
}

QString KZFilesUtilities::allMusicTypes() const
{
    return QStringLiteral(
        R"('AIFC','AIFF','amr ','.WAV','WAVE','ULAW','M4A ','M4P ','M4B ','MPG3',)"
        R"('Mp3 ','SwaT','Midi')");
}

QString KZFilesUtilities::allMusicExtensions() const
{
    return QStringLiteral(
        R"("aifc","aiff","aif","mp2","amr","wav","au","ulw","snd","m4a","mpa","mpm",)"
        R"("m4p","m4b","m3url","mp3","swa","kar","mid","smf","midi","cdda","MP3")");
}

QString KZFilesUtilities::allTextTypes() const
{
    return QStringLiteral(
        R"('osas','TEXT','sEXT','ttro','W8BN','W6BN','CWWP','HTML','W8BN','RTF ',)"
        R"('ilht','LINK')");
}

QString KZFilesUtilities::allTextExtensions() const
{
    return QStringLiteral(
        R"("webarchive","rtf","rtfd","xhtml","xhtm","xml","scpt","mbox","html","htm",)"
        R"("shtml","jhtml","xbl","xsl","xslt","emlx","eml","url","js","txt","text",)"
        R"("webloc","h","pch","c","hh","hp","hpp","hxx","h++","pch++","cc","cp","cpp",)"
        R"("cxx","c++","f","for","f77","f95","java","jav","l","lm","lmm","lpp","lxx",)"
        R"("m","mm","pas","y","ym","ymm","ypp","yxx","strings","doc","cwk","docx",)"
        R"("dot","dotx","pages")");
}

quint32 KZFilesUtilities::typeCodeFromQuotedString(QStringView quoted)
{
    if (quoted.size() != 6 || quoted.front() != QLatin1Char('\'')
        || quoted.back() != QLatin1Char('\''))
        return 0;
    quint32 code = 0;
    for (QChar c : quoted.sliced(1, 4)) {
        if (c.unicode() > 0xff)
            return 0;
        code = code << 8 | c.unicode();
    }
    return code;
}

std::vector<quint32> KZFilesUtilities::typesFormattedToCheckWithSelector(KindList list,
                                                                         quint32 *typesCount) const
{
    const QString types = (this->*list)();
    std::vector<quint32> codes;
    for (QStringView entry : QStringView(types).split(QLatin1Char(',')))
        codes.push_back(typeCodeFromQuotedString(entry));
    if (typesCount)
        *typesCount = quint32(codes.size());
    return codes;
}

QStringList KZFilesUtilities::extensionsFormattedToCheckWithSelector(KindList list) const
{
    const QString extensions = (this->*list)();
    return extensions.mid(1, extensions.size() - 2).split(QStringLiteral("\",\""));
}

bool KZFilesUtilities::isImage(quint32 type, const QString &extension) const
{
    const std::vector<quint32> types
        = typesFormattedToCheckWithSelector(&KZFilesUtilities::allImagesTypes);
    if (std::find(types.begin(), types.end(), type) != types.end())
        return true;
    if (extension.isNull())
        return false;
    return extensionsFormattedToCheckWithSelector(&KZFilesUtilities::allImagesExtensions)
        .contains(extension);
}

bool KZFilesUtilities::isMovieItem(quint32 type, const QString &extension) const
{
    return matches(kMovieItem, type, extension);
}

bool KZFilesUtilities::isMediaSound(quint32 type, const QString &extension) const
{
    return matches(kMediaSound, type, extension);
}

bool KZFilesUtilities::isMediaItem(quint32 type, const QString &extension) const
{
    return matches(kMediaItem, type, extension);
}

bool KZFilesUtilities::isMP3File(quint32 type, const QString &extension) const
{
    return matches(kMP3File, type, extension);
}

bool KZFilesUtilities::isAACFile(quint32 type, const QString &extension) const
{
    return matches(kAACFile, type, extension);
}

bool KZFilesUtilities::isText(quint32 type, const QString &extension) const
{
    return matches(kText, type, extension);
}

bool KZFilesUtilities::isHtml(quint32 type, quint32 creator, const QString &extension) const
{
    if (type == kHtmlType
        && std::find(std::begin(kHtmlCreators), std::end(kHtmlCreators), creator)
               != std::end(kHtmlCreators))
        return true;
    return !extension.isNull() && extensionIsListed(kHtmlExtensions, extension);
}

bool KZFilesUtilities::isFont(quint32 type, const QString &extension) const
{
    return matches(kFont, type, extension);
}

bool KZFilesUtilities::isCompressed(quint32 type, const QString &extension) const
{
    return matches(kCompressed, type, extension);
}
