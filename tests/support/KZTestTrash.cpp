#include "KZTestTrash.h"

#include "model/KZPath.h"

#include <algorithm>

#include <dirent.h>

#include <QDir>

#include <fcntl.h>
#include <ftw.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

KZTestTrash::KZTestTrash(const QByteArray &root)
    : m_root(root)
{
    KZTestFiles::makeFolders(m_root + "/files");
    KZTestFiles::makeFolders(m_root + "/info");
    ::chmod(m_root.constData(), 0700);
}

KZTestTrash KZTestTrash::home()
{
    return KZTestTrash(qgetenv("XDG_DATA_HOME") + "/Trash");
}

KZTestTrash KZTestTrash::onVolume(const QByteArray &top, int uid)
{
    const int owner = uid < 0 ? int(::getuid()) : uid;
    return KZTestTrash(top + "/.Trash-" + QByteArray::number(owner));
}

QUrl KZTestTrash::filesURL() const
{
    return QUrl::fromEncoded("file://" + files().toPercentEncoding("/"));
}

QByteArray KZTestTrash::itemPath(const QByteArray &name) const
{
    return files() + '/' + name;
}

QUrl KZTestTrash::itemURL(const QByteArray &name) const
{
    return QUrl::fromEncoded("file://" + itemPath(name).toPercentEncoding("/"));
}

KZTrashLocation KZTestTrash::location(const QString &volumeName, bool trashIsEmpty) const
{
    KZTrashLocation record;
    record.trashURL = filesURL();
    record.volumeURL = KZPath::urlFromPath(KZPath::parentPath(m_root));
    record.volumeName = volumeName;
    record.trashIsEmpty = trashIsEmpty;
    return record;
}

QByteArray KZTestTrash::infoPath(const QByteArray &name) const
{
    return m_root + "/info/" + name + ".trashinfo";
}

QByteArray KZTestTrash::addFile(const QByteArray &name, const QByteArray &content,
                                const QByteArray &originalPath)
{
    KZTestFiles::writeFile(itemPath(name), content);
    writeInfo(name, originalPath.isEmpty() ? "/original/" + name : originalPath);
    return itemPath(name);
}

QByteArray KZTestTrash::addFolder(const QByteArray &name, const QList<QByteArray> &contents)
{
    const QByteArray folder = itemPath(name);
    KZTestFiles::makeFolders(folder);
    for (const QByteArray &relative : contents) {
        const QByteArray path = folder + '/' + relative;
        if (relative.endsWith('/')) {
            KZTestFiles::makeFolders(path);
        } else {
            KZTestFiles::makeFolders(path.left(path.lastIndexOf('/')));
            KZTestFiles::writeFile(path, "content of " + relative);
        }
    }
    writeInfo(name, "/original/" + name);
    return folder;
}

void KZTestTrash::writeInfo(const QByteArray &name, const QByteArray &originalPath,
                            const QByteArray &deletionDate)
{
    KZTestFiles::writeFile(infoPath(name),
                           "[Trash Info]\nPath=" + originalPath.toPercentEncoding("/")
                               + "\nDeletionDate=" + deletionDate + "\n");
}

void KZTestTrash::addDirectorySizesLine(const QByteArray &name, quint64 size)
{
    QFile file(QString::fromLocal8Bit(m_root + "/directorysizes"));
    file.open(QIODevice::Append);
    file.write(QByteArray::number(size) + " 1700000000000 " + name.toPercentEncoding() + "\n");
}

QByteArray KZTestTrash::directorySizes() const
{
    return KZTestFiles::readFile(m_root + "/directorysizes");
}

namespace KZTestFiles {

bool writeFile(const QByteArray &path, const QByteArray &content)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool ok = ::write(fd, content.constData(), size_t(content.size())) == content.size();
    ::close(fd);
    return ok;
}

QByteArray readFile(const QByteArray &path)
{
    QByteArray content;
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return content;
    char buffer[4096];
    ssize_t got;
    while ((got = ::read(fd, buffer, sizeof buffer)) > 0)
        content.append(buffer, got);
    ::close(fd);
    return content;
}

bool exists(const QByteArray &path)
{
    struct stat st = {};
    return ::lstat(path.constData(), &st) == 0;
}

bool makeFolders(const QByteArray &path)
{
    // Byte by byte, since a folder name need not be UTF-8.
    for (qsizetype at = 1; at <= path.size(); ++at) {
        if (at == path.size() || path[at] == '/') {
            const QByteArray part = path.left(at);
            if (::mkdir(part.constData(), 0755) != 0 && errno != EEXIST)
                return false;
        }
    }
    return true;
}

bool setImmutable(const QByteArray &path, bool on)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    int flags = 0;
    bool ok = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    if (ok) {
        flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
        ok = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    }
    ::close(fd);
    return ok;
}

QByteArrayList namesIn(const QByteArray &folder)
{
    QByteArrayList names;
    if (DIR *dir = ::opendir(folder.constData())) {
        while (const dirent *entry = ::readdir(dir)) {
            const QByteArray name(entry->d_name);
            if (name != "." && name != "..")
                names.append(name);
        }
        ::closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool chownTree(const QByteArray &path, uid_t uid)
{
    static uid_t owner;
    owner = uid;
    return ::nftw(
               path.constData(),
               [](const char *item, const struct stat *, int, struct FTW *) {
                   return ::lchown(item, owner, owner);
               },
               16, FTW_PHYS)
           == 0;
}

quint64 allocatedBelow(const QByteArray &path)
{
    static quint64 total;
    total = 0;
    ::nftw(
        path.constData(),
        [](const char *, const struct stat *st, int type, struct FTW *) {
            if (type == FTW_F || type == FTW_SL || type == FTW_SLN)
                total += quint64(st->st_blocks) * 512;
            return 0;
        },
        16, FTW_PHYS);
    return total;
}

} // namespace KZTestFiles
