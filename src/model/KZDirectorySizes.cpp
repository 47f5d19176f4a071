#include "KZDirectorySizes.h"

#include "KZItemAttributes.h"
#include "protocol/KZFileDescriptor.h"

#include <QSet>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <limits>

namespace {

// The name field of a line (decoded), or empty when the line has no third field.
QByteArray nameOfLine(const QByteArray &line)
{
    const qsizetype first = line.indexOf(' ');
    const qsizetype second = first < 0 ? -1 : line.indexOf(' ', first + 1);
    return second < 0 ? QByteArray() : QByteArray::fromPercentEncoding(line.mid(second + 1));
}

bool parseNumber(QByteArrayView text, quint64 *value)
{
    // At most 19 digits: anything longer is junk, not a size or a time.
    if (text.isEmpty() || text.size() > 19)
        return false;
    quint64 number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return false;
        number = number * 10 + quint64(c - '0');
    }
    *value = number;
    return true;
}

bool isUsableName(const QByteArray &name)
{
    return !name.isEmpty() && name != "." && name != ".." && !name.contains('/')
           && !name.contains('\0');
}

bool writeAll(KZFileManager &fm, int fd, const QByteArray &data)
{
    qsizetype written = 0;
    while (written < data.size()) {
        const ssize_t n = fm.write(fd, data.constData() + written, size_t(data.size() - written));
        if (n <= 0)
            return false;
        written += n;
    }
    return true;
}

} // namespace

KZDirectorySizes::Lines KZDirectorySizes::parse(const QByteArray &content)
{
    Lines lines;
    for (const QByteArray &raw : content.split('\n')) {
        const QByteArrayView line = QByteArrayView(raw).trimmed();
        const qsizetype first = line.indexOf(' ');
        const qsizetype second = first < 0 ? -1 : line.indexOf(' ', first + 1);
        if (second < 0)
            continue;
        quint64 size = 0;
        quint64 mtime = 0;
        if (!parseNumber(line.first(first), &size)
            || !parseNumber(line.sliced(first + 1, second - first - 1), &mtime)
            || mtime > quint64(std::numeric_limits<qint64>::max()))
            continue;
        const QByteArray name
            = QByteArray::fromPercentEncoding(line.sliced(second + 1).toByteArray());
        if (!isUsableName(name))
            continue;
        lines.insert(name, Line{size, qint64(mtime)});
    }
    return lines;
}

KZDirectorySizes::Lines KZDirectorySizes::read(int trashRootFd)
{
    QByteArray content;
    if (!KZItemAttributes::readSmallFileAt(trashRootFd, kFileName, kMaxFileSize, &content,
                                           KZFileManager::defaultManager()))
        return {};
    return parse(content);
}

bool KZDirectorySizes::isValid(const Line &line, const struct statx_timestamp &infoMtime)
{
    const qint64 seconds = infoMtime.tv_sec;
    const qint64 milliseconds = seconds * 1000 + infoMtime.tv_nsec / 1000000;
    return line.mtime == seconds || line.mtime == milliseconds;
}

QByteArray KZDirectorySizes::format(const QByteArray &name, const Line &line)
{
    return QByteArray::number(line.size) + ' ' + QByteArray::number(line.mtime) + ' '
           + name.toPercentEncoding();
}

bool KZDirectorySizes::update(KZFileManager &fm, int trashRootFd, const Lines &set,
                              const QByteArrayList &drop)
{
    if (set.isEmpty() && drop.isEmpty())
        return true;
    QByteArray content;
    const bool existed
        = KZItemAttributes::readSmallFileAt(trashRootFd, kFileName, kMaxFileSize, &content, fm);
    if (!existed && set.isEmpty())
        return true;
    const QSet<QByteArray> dropped(drop.begin(), drop.end());
    const Lines current = parse(content);
    bool changed = false;
    for (auto it = set.cbegin(); it != set.cend(); ++it) {
        if (current.value(it.key(), Line{0, -1}) != it.value())
            changed = true;
    }
    for (const QByteArray &name : drop) {
        if (current.contains(name))
            changed = true;
    }
    if (!changed)
        return true;

    QByteArray out;
    out.reserve(content.size() + set.size() * 48);
    for (const QByteArray &line : content.split('\n')) {
        if (line.trimmed().isEmpty())
            continue;
        const QByteArray name = nameOfLine(line.trimmed());
        if (dropped.contains(name) || set.contains(name))
            continue;
        out += line + '\n';
    }
    for (auto it = set.cbegin(); it != set.cend(); ++it) {
        if (isUsableName(it.key()) && !dropped.contains(it.key()))
            out += format(it.key(), it.value()) + '\n';
    }

    // Unique per process and call: two writers in one process never share a temporary, and a
    // writer in another process has its own pid. O_EXCL: never write through something another
    // program left under that name.
    static std::atomic<quint64> s_serial{0};
    const QByteArray temporary = QByteArray(kFileName) + ".binwise-"
                                 + QByteArray::number(::getpid()) + "-"
                                 + QByteArray::number(++s_serial);
    const KZFileDescriptor fd(fm.openat(trashRootFd, temporary.constData(),
                                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                        0600));
    if (!fd.isValid())
        return false;
    if (!writeAll(fm, fd.get(), out)
        || fm.renameat(trashRootFd, temporary.constData(), trashRootFd, kFileName) != 0) {
        fm.unlinkat(trashRootFd, temporary.constData(), 0);
        return false;
    }
    return true;
}

bool KZDirectorySizes::recordFolder(KZFileManager &fm, int trashRootFd, const QByteArray &name,
                                    quint64 size, qint64 infoMtime)
{
    return update(fm, trashRootFd, {{name, Line{size, infoMtime}}}, {});
}
