#include "KZPath.h"

#include <climits>
#include <cstdlib>

#include <QStringDecoder>

QUrl KZPath::urlFromPath(const QByteArray &path)
{
    if (!path.startsWith('/'))
        return QUrl();
    return QUrl::fromEncoded("file://" + path.toPercentEncoding("/"), QUrl::StrictMode);
}

QByteArray KZPath::pathFromURL(const QUrl &url)
{
    if (!url.isValid() || url.scheme() != QLatin1String("file") || !url.host().isEmpty())
        return QByteArray();
    // FullyEncoded keeps %FF as it is where a decoded QString would hold U+FFFD.
    return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
}

QByteArray KZPath::fileName(const QByteArray &path)
{
    QByteArray trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith('/'))
        trimmed.chop(1);
    if (trimmed == "/")
        return QByteArray();
    return trimmed.mid(trimmed.lastIndexOf('/') + 1);
}

QByteArray KZPath::parentPath(const QByteArray &path)
{
    QByteArray trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith('/'))
        trimmed.chop(1);
    const qsizetype slash = trimmed.lastIndexOf('/');
    if (slash < 0)
        return QByteArray();
    return slash == 0 ? QByteArray("/") : trimmed.left(slash);
}

QByteArray KZPath::join(const QByteArray &parent, const QByteArray &name)
{
    QByteArray path;
    path.reserve(parent.size() + 1 + name.size());
    path.append(parent);
    if (!parent.endsWith('/'))
        path.append('/');
    path.append(name);
    return path;
}

QByteArray KZPath::joinForDisplay(const QByteArray &parent, const QByteArray &name)
{
    constexpr qsizetype kLongest = PATH_MAX - 1;
    constexpr qsizetype kHead = 1024;
    static const QByteArray ellipsis = QByteArrayLiteral("\xe2\x80\xa6");
    QByteArray path = join(parent, name);
    if (path.size() <= kLongest)
        return path;
    // The head stays the same at every level below, the tail follows the walk.
    return path.left(kHead) + ellipsis + path.right(kLongest - kHead - ellipsis.size());
}

QString KZPath::displayString(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes);
}

QString KZPath::escapedDisplayString(const QByteArray &bytes)
{
    QString out;
    out.reserve(bytes.size());
    const char *p = bytes.constData();
    const char *const end = p + bytes.size();
    while (p < end) {
        const auto c = static_cast<unsigned char>(*p);
        if (c == '\\') {
            out += QLatin1String("\\\\");
            ++p;
        } else if (c == '\n') {
            out += QLatin1String("\\n");
            ++p;
        } else if (c == '\r') {
            out += QLatin1String("\\r");
            ++p;
        } else if (c == '\t') {
            out += QLatin1String("\\t");
            ++p;
        } else if (c < 0x20 || c == 0x7f) {
            out += QStringLiteral("\\x%1").arg(c, 2, 16, QLatin1Char('0'));
            ++p;
        } else if (c < 0x80) {
            out += QLatin1Char(char(c));
            ++p;
        } else {
            // Decode one UTF-8 sequence; anything invalid is written byte by byte.
            const int length = c >= 0xf0 ? 4 : c >= 0xe0 ? 3 : c >= 0xc2 ? 2 : 0;
            QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
            QString decoded;
            if (length > 0 && end - p >= length)
                decoded = decoder.decode(QByteArrayView(p, length));
            if (length > 0 && !decoder.hasError() && !decoded.isEmpty()
                && !decoded.contains(QChar::ReplacementCharacter)) {
                out += decoded;
                p += length;
            } else {
                out += QStringLiteral("\\x%1").arg(c, 2, 16, QLatin1Char('0'));
                ++p;
            }
        }
    }
    return out;
}

QByteArray KZPath::realPath(const QByteArray &path)
{
    char *resolved = ::realpath(path.constData(), nullptr);
    if (!resolved)
        return {};
    QByteArray out(resolved);
    ::free(resolved);
    return out;
}
