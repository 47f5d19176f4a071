#include "KZTrashSizeCache.h"

#include "KZItemAttributes.h"
#include "KZPath.h"
#include "protocol/KZFileDescriptor.h"

#include <QCryptographicHash>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace {

constexpr QByteArrayView kMagic = "binwise-trash-sizes 1";
constexpr qsizetype kMaxFileSize = 128 * 1024 * 1024;

QByteArray header(const KZTrashSizeCache::Identity &trash)
{
    return kMagic.toByteArray() + ' ' + QByteArray::number(trash.device) + ' '
           + QByteArray::number(trash.inode) + ' ' + trash.rootPath.toPercentEncoding("/");
}

bool makeFolders(const QByteArray &path)
{
    for (qsizetype at = 1; at <= path.size(); ++at) {
        if (at < path.size() && path[at] != '/')
            continue;
        if (::mkdir(path.left(at).constData(), 0700) != 0 && errno != EEXIST)
            return false;
    }
    return true;
}

} // namespace

QByteArray KZTrashSizeCache::folderFromEnvironment()
{
    QByteArray base = qgetenv("XDG_CACHE_HOME");
    if (!base.startsWith('/'))
        base = KZPath::join(qgetenv("HOME"), ".cache");
    return KZPath::join(base, "Binwise/trash-sizes");
}

QByteArray KZTrashSizeCache::filePath(const QByteArray &folder, const Identity &trash)
{
    return KZPath::join(folder,
                        QCryptographicHash::hash(trash.rootPath, QCryptographicHash::Sha1).toHex());
}

KZTrashSizeCache::Entries KZTrashSizeCache::read(const QByteArray &folder, const Identity &trash)
{
    QByteArray content;
    if (folder.isEmpty()
        || !KZItemAttributes::readSmallFileAt(AT_FDCWD, filePath(folder, trash).constData(),
                                              kMaxFileSize, &content,
                                              KZFileManager::defaultManager()))
        return {};
    const QList<QByteArray> lines = content.split('\n');
    if (lines.isEmpty() || lines.first() != header(trash))
        return {};
    Entries entries;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QList<QByteArray> fields = lines[i].split(' ');
        if (fields.size() != 6)
            continue;
        bool ok[5] = {};
        Entry entry;
        entry.inode = fields[0].toULongLong(&ok[0]);
        entry.changeNs = fields[1].toLongLong(&ok[1]);
        entry.infoMtimeNs = fields[2].toLongLong(&ok[2]);
        entry.size = fields[3].toULongLong(&ok[3]);
        entry.count = fields[4].toULongLong(&ok[4]);
        const QByteArray name = QByteArray::fromPercentEncoding(fields[5]);
        if (ok[0] && ok[1] && ok[2] && ok[3] && ok[4] && !name.isEmpty())
            entries.insert(name, entry);
    }
    return entries;
}

bool KZTrashSizeCache::write(const QByteArray &folder, const Identity &trash,
                             const Entries &entries)
{
    if (folder.isEmpty() || !makeFolders(folder))
        return false;
    QByteArray out = header(trash) + '\n';
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        const Entry &e = it.value();
        out += QByteArray::number(e.inode) + ' ' + QByteArray::number(e.changeNs) + ' '
               + QByteArray::number(e.infoMtimeNs) + ' ' + QByteArray::number(e.size) + ' '
               + QByteArray::number(e.count) + ' ' + it.key().toPercentEncoding() + '\n';
    }
    static std::atomic<quint64> s_serial{0};
    const QByteArray path = filePath(folder, trash);
    const QByteArray temporary
        = path + ".tmp-" + QByteArray::number(::getpid()) + '-' + QByteArray::number(++s_serial);
    const KZFileDescriptor fd(
        ::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd.isValid())
        return false;
    qsizetype written = 0;
    while (written < out.size()) {
        const ssize_t n
            = ::write(fd.get(), out.constData() + written, size_t(out.size() - written));
        if (n <= 0)
            break;
        written += n;
    }
    if (written != out.size() || ::rename(temporary.constData(), path.constData()) != 0) {
        ::unlink(temporary.constData());
        return false;
    }
    return true;
}
