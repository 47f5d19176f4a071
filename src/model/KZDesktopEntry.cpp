#include "KZDesktopEntry.h"

#include "KZPath.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Desktop entries are a few kilobytes; anything far larger is not one.
constexpr qint64 kMaximumFileSize = 1 << 20;

QByteArray readSmallRegularFile(const QByteArray &path)
{
    // O_NONBLOCK: a FIFO that happens to carry the name must not hang the caller.
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return {};
    QByteArray data;
    struct stat info
    {
    };
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= kMaximumFileSize) {
        char buffer[8192];
        for (;;) {
            const ssize_t got = ::read(fd, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0 || data.size() + got > kMaximumFileSize)
                break;
            data.append(buffer, got);
        }
    }
    ::close(fd);
    return data;
}

// The escapes of a key file value; with inList, "\;" stays escaped for the list split.
QString unescape(QStringView raw, bool inList)
{
    QString out;
    out.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw[i];
        if (c != QLatin1Char('\\') || i + 1 == raw.size()) {
            out.append(c);
            continue;
        }
        const QChar next = raw[++i];
        switch (next.unicode()) {
        case 's':
            out.append(QLatin1Char(' '));
            break;
        case 'n':
            out.append(QLatin1Char('\n'));
            break;
        case 't':
            out.append(QLatin1Char('\t'));
            break;
        case 'r':
            out.append(QLatin1Char('\r'));
            break;
        case '\\':
            out.append(QLatin1Char('\\'));
            break;
        case ';':
            if (inList)
                out.append(QLatin1Char('\\'));
            out.append(next);
            break;
        default:
            out.append(QLatin1Char('\\'));
            out.append(next);
        }
    }
    return out;
}

// The form a path takes as an argument: the path itself when it is text, else its file URL.
QString pathArgument(const QByteArray &path)
{
    const QString text = QFile::decodeName(path);
    if (QFile::encodeName(text) == path)
        return text;
    return KZPath::urlFromPath(path).toString(QUrl::FullyEncoded);
}

QByteArray absolutePath(const QByteArray &path)
{
    if (path.startsWith('/'))
        return path;
    return KZPath::join(QFile::encodeName(QDir::currentPath()), path);
}

} // namespace

std::optional<KZDesktopEntry> KZDesktopEntry::load(const QByteArray &path)
{
    return fromData(readSmallRegularFile(path));
}

std::optional<KZDesktopEntry> KZDesktopEntry::fromData(const QByteArray &data)
{
    const QString text = QString::fromUtf8(data);
    KZDesktopEntry entry;
    bool inEntryGroup = false;
    bool sawEntryGroup = false;
    for (QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        line = line.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            // Only the first [Desktop Entry] group counts; actions and other groups follow it.
            if (sawEntryGroup)
                break;
            inEntryGroup = line == QLatin1String("[Desktop Entry]");
            sawEntryGroup = inEntryGroup;
            continue;
        }
        if (!inEntryGroup)
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0)
            continue;
        const QString key = line.first(equals).trimmed().toString();
        // A repeated key is malformed; the first one is kept, as other readers do.
        if (!entry.m_values.contains(key))
            entry.m_values.insert(key, line.sliced(equals + 1).trimmed().toString());
    }
    if (!sawEntryGroup)
        return std::nullopt;
    return entry;
}

QString KZDesktopEntry::value(const QString &key) const
{
    const auto found = m_values.constFind(key);
    if (found == m_values.cend())
        return {};
    QString resolved = unescape(*found, false);
    if (resolved.isNull())
        resolved = QLatin1String(""); // present but empty is not absent
    return resolved;
}

QStringList KZDesktopEntry::stringList(const QString &key) const
{
    const auto found = m_values.constFind(key);
    if (found == m_values.cend())
        return {};
    const QString escaped = unescape(*found, true);
    QStringList items;
    QString item;
    for (qsizetype i = 0; i < escaped.size(); ++i) {
        const QChar c = escaped[i];
        if (c == QLatin1Char('\\') && i + 1 < escaped.size()
            && escaped[i + 1] == QLatin1Char(';')) {
            item.append(QLatin1Char(';'));
            ++i;
        } else if (c == QLatin1Char(';')) {
            if (!item.isEmpty())
                items.append(item);
            item.clear();
        } else {
            item.append(c);
        }
    }
    if (!item.isEmpty())
        items.append(item);
    return items;
}

bool KZDesktopEntry::boolValue(const QString &key) const
{
    return value(key) == QLatin1String("true");
}

QStringList KZDesktopEntry::splitExec(const QString &exec)
{
    QStringList arguments;
    QString current;
    bool inArgument = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (quoted) {
            if (c == QLatin1Char('"')) {
                quoted = false;
            } else if (c == QLatin1Char('\\') && i + 1 < exec.size()
                       && QStringView(u"\"`$\\").contains(exec[i + 1])) {
                current.append(exec[++i]);
            } else {
                current.append(c);
            }
        } else if (c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n')) {
            if (inArgument)
                arguments.append(current);
            current.clear();
            inArgument = false;
        } else if (c == QLatin1Char('"')) {
            quoted = true;
            inArgument = true; // "" is an empty argument of its own
        } else if (c == QLatin1Char('\\') && i + 1 < exec.size()) {
            current.append(exec[++i]);
            inArgument = true;
        } else {
            current.append(c);
            inArgument = true;
        }
    }
    if (inArgument)
        arguments.append(current);
    return arguments;
}

QStringList KZDesktopEntry::execArguments(const QByteArray &itemPath) const
{
    const QStringList words = splitExec(value(QStringLiteral("Exec")));
    const bool hasItem = !itemPath.isEmpty();
    const QByteArray item = hasItem ? absolutePath(itemPath) : QByteArray();
    const QString path = hasItem ? pathArgument(item) : QString();
    const QString url
        = hasItem ? KZPath::urlFromPath(item).toString(QUrl::FullyEncoded) : QString();

    QStringList arguments;
    for (const QString &word : words) {
        // A code standing alone is a whole argument, absent without an item.
        if (word.size() == 2 && word[0] == QLatin1Char('%')
            && QStringView(u"fFuU").contains(word[1])) {
            if (hasItem)
                arguments.append(word[1].toLower() == QLatin1Char('f') ? path : url);
            continue;
        }
        QString expanded;
        bool hadCode = false;
        for (qsizetype i = 0; i < word.size(); ++i) {
            if (word[i] != QLatin1Char('%') || i + 1 == word.size()) {
                expanded.append(word[i]);
                continue;
            }
            const QChar code = word[++i];
            if (code == QLatin1Char('%')) {
                expanded.append(code);
                continue;
            }
            hadCode = true;
            if (code == QLatin1Char('f') || code == QLatin1Char('F'))
                expanded.append(path);
            else if (code == QLatin1Char('u') || code == QLatin1Char('U'))
                expanded.append(url);
        }
        // "%i" or "%c" alone leave nothing behind, and no empty argument either.
        if (expanded.isEmpty() && hadCode)
            continue;
        arguments.append(expanded);
    }
    return arguments;
}
