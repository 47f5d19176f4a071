#include "KZTrashPut.h"

#include "KZDirectorySizes.h"
#include "KZPath.h"
#include "KZTrashFolder.h"
#include "KZTrashInfo.h"
#include "KZTrashSizes.h"
#include "protocol/KZFileDescriptor.h"

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Enough for any sensible number of items of one name; a Trash that holds them all is broken.
constexpr int kMaximumAttempts = 100000;

QString shown(const QByteArray &path)
{
    return KZPath::escapedDisplayString(path);
}

KZError putError(int errnum, const QByteArray &path, const QString &why)
{
    KZError error = KZFileManager::errorForErrno(errnum, path);
    error.localizedDescription = QStringLiteral("“%1” %2").arg(shown(path), why);
    return error;
}

QByteArray withoutTrailingSlashes(QByteArray path)
{
    while (path.size() > 1 && path.endsWith('/'))
        path.chop(1);
    return path;
}

QByteArray nearestExisting(QByteArray path)
{
    while (!path.isEmpty()) {
        struct stat st = {};
        if (::lstat(path.constData(), &st) == 0)
            return path;
        if (path == "/")
            break;
        path = KZPath::parentPath(path);
    }
    return {};
}

QString errnoText(int errnum)
{
    return QString::fromLocal8Bit(std::strerror(errnum));
}

} // namespace

KZTrashPut::KZTrashPut(const KZFilesUtilities &utilities, QByteArray dataHome, uid_t uid,
                       KZFileManager &fileManager)
    : m_utilities(utilities)
    , m_dataHome(std::move(dataHome))
    , m_uid(uid)
    , m_fileManager(fileManager)
{}

QByteArray KZTrashPut::candidateName(const QByteArray &name, int attempt)
{
    if (attempt <= 1)
        return name;
    // The number goes before the extension so that the item keeps its kind in the Trash; a
    // leading dot (".bashrc") is part of the name, not an extension.
    const qsizetype dot = name.indexOf('.', 1);
    const QByteArray number = '.' + QByteArray::number(attempt);
    return dot > 0 ? name.left(dot) + number + name.mid(dot) : name + number;
}

QByteArray KZTrashPut::infoFileText(const QByteArray &pathInInfo, const QDateTime &deletionDate)
{
    return "[Trash Info]\nPath=" + pathInInfo.toPercentEncoding("/") + "\nDeletionDate="
           + deletionDate.toString(QStringLiteral("yyyy-MM-ddThh:mm:ss")).toLatin1() + '\n';
}

void KZTrashPut::noteFolderSize(int rootfd, const QByteArray &trashedName)
{
    const KZFileDescriptor filesfd(
        m_fileManager.openat(rootfd, "files", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
    const QByteArray infoName = "info/" + trashedName + KZTrashInfo::kFileSuffix;
    struct statx info = {};
    if (!filesfd.isValid()
        || m_fileManager.statx(rootfd, infoName.constData(), AT_SYMLINK_NOFOLLOW, STATX_MTIME,
                               &info)
               != 0)
        return;
    if (const std::optional<quint64> size
        = KZTrashSizes::diskUsageOfFolder(filesfd.get(), trashedName))
        KZDirectorySizes::recordFolder(m_fileManager, rootfd, trashedName, *size,
                                       qint64(info.stx_mtime.tv_sec));
}

QString KZTrashPut::whyNotMovable(int parentfd, const Checked &checked) const
{
    if (m_fileManager.faccessat(parentfd, ".", W_OK | X_OK, AT_EACCESS) != 0)
        return QStringLiteral("you may not change the folder “%1” it is in")
            .arg(shown(checked.realParent));
    // Moving a folder to another parent rewrites its ".." entry.
    if (checked.isFolder
        && m_fileManager.faccessat(parentfd, checked.name.constData(), W_OK,
                                   AT_EACCESS | AT_SYMLINK_NOFOLLOW)
               != 0)
        return QStringLiteral("it is a folder you may not change, and moving a folder changes it "
                              "(make it writable first)");
    struct statx folder = {};
    if (m_fileManager.statx(parentfd, "", AT_EMPTY_PATH, STATX_MODE, &folder) == 0
        && (folder.stx_mode & S_ISVTX))
        return QStringLiteral("in “%1” only an item's owner may move it")
            .arg(shown(checked.realParent));
    return QStringLiteral("you may not move it");
}

bool KZTrashPut::checkItem(const QByteArray &path, KZError *error) const
{
    Checked checked;
    return check(path, &checked, error);
}

bool KZTrashPut::check(const QByteArray &given, Checked *checked, KZError *error) const
{
    const QByteArray path = withoutTrailingSlashes(given);
    const QByteArray name = KZPath::fileName(path);
    if (!path.startsWith('/')) {
        *error = putError(EINVAL, given, QStringLiteral("is not an absolute path"));
        return false;
    }
    if (path == "/") {
        *error = putError(EINVAL, path,
                          QStringLiteral("is the root folder; it cannot go into a Trash"));
        return false;
    }
    if (name == "." || name == "..") {
        *error = putError(EINVAL, given,
                          QStringLiteral("does not name an item (give the folder's own name)"));
        return false;
    }
    // The folders above are resolved; the item itself is not, so that a link goes into the
    // Trash as a link and whatever it points to stays.
    const QByteArray parent = KZPath::realPath(KZPath::parentPath(path));
    const KZFileDescriptor parentfd(
        parent.isEmpty() ? -1 : ::open(parent.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct statx folder = {};
    struct statx item = {};
    if (!parentfd.isValid()
        || m_fileManager.statx(parentfd.get(), "", AT_EMPTY_PATH, STATX_TYPE | STATX_MNT_ID,
                               &folder)
               != 0
        || m_fileManager.statx(parentfd.get(), name.constData(), AT_SYMLINK_NOFOLLOW,
                               STATX_TYPE | STATX_MNT_ID, &item)
               != 0) {
        const int errnum = errno == 0 ? ENOENT : errno;
        *error = putError(errnum, given,
                          errnum == ENOENT
                              ? QStringLiteral("does not exist")
                              : QStringLiteral("cannot be read: %1").arg(errnoText(errnum)));
        return false;
    }
    const QByteArray full = KZPath::join(parent, name);
    if ((item.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT
         && item.stx_attributes & STATX_ATTR_MOUNT_ROOT)
        || ((item.stx_mask & folder.stx_mask & STATX_MNT_ID)
            && item.stx_mnt_id != folder.stx_mnt_id)) {
        *error = putError(EBUSY, given,
                          QStringLiteral("is a mount point; a volume cannot go into a Trash "
                                         "(unmount it instead)"));
        return false;
    }

    // A Trash is never put into a Trash, nor anything in one: erase or restore it instead.
    QByteArrayList homeRoots{KZPath::join(m_dataHome, "Trash")};
    const QByteArray realDataHome = KZPath::realPath(m_dataHome);
    if (!realDataHome.isEmpty())
        homeRoots.append(KZPath::join(realDataHome, "Trash"));
    const QString inside = QStringLiteral("is in a Trash; use binwise restore or binwise erase "
                                          "for items that are already in the Trash");
    for (const QByteArray &root : homeRoots) {
        if (full == root) {
            *error = putError(EINVAL, given, QStringLiteral("is the Trash itself"));
            return false;
        }
        if (KZMountTable::isAtOrUnder(full, root)) {
            *error = putError(EINVAL, given, inside);
            return false;
        }
        if (KZMountTable::isAtOrUnder(root, full)) {
            *error = putError(EINVAL, given, QStringLiteral("holds the home Trash"));
            return false;
        }
    }
    const QByteArrayList components = full.mid(1).split('/');
    for (qsizetype i = 0; i < components.size(); ++i) {
        if (!KZTrashFolder::isVolumeTrashName(components.at(i)))
            continue;
        const bool last = i + 1 == components.size();
        *error
            = putError(EINVAL, given, last ? QStringLiteral("is a Trash folder itself") : inside);
        return false;
    }

    checked->realParent = parent;
    checked->name = name;
    checked->isFolder = S_ISDIR(item.stx_mode);
    return true;
}

QByteArray KZTrashPut::trashItemAtPath(const QByteArray &path, KZError *error)
{
    Checked checked;
    if (!check(path, &checked, error))
        return {};
    const QByteArray full = KZPath::join(checked.realParent, checked.name);

    const std::optional<KZMountEntry> mount = m_utilities.mountForPath(checked.realParent);
    if (!mount) {
        *error = putError(ENOENT, path,
                          QStringLiteral("lies on no volume binwise knows; it stays where it is"));
        return {};
    }
    const std::optional<KZMountEntry> homeMount
        = m_utilities.mountForPath(nearestExisting(m_dataHome));
    const bool inHomeTrash = homeMount && homeMount->mountID == mount->mountID;
    if (!inHomeTrash) {
        // A Trash on a system mount (/dev/shm, /run, a bind mount) would hold items that no
        // Trash listing shows, so nothing goes there; gio refuses those mounts too.
        bool listed = false;
        for (const KZVolumeRecord &volume : m_utilities.volumesLocationArray())
            listed = listed || KZPath::pathFromURL(volume.url) == mount->mountPoint;
        if (!listed) {
            *error = putError(EXDEV, path,
                              QStringLiteral("is on a system volume (“%1”) that has no Trash; it "
                                             "stays where it is")
                                  .arg(shown(mount->mountPoint)));
            return {};
        }
    }
    KZError trashError;
    const QByteArray files
        = inHomeTrash
              ? KZTrashFolder::homeTrashFilesFolder(m_dataHome, m_uid, &trashError, m_fileManager)
              : KZTrashFolder::volumeTrashFilesFolder(mount->mountPoint, m_uid, &trashError,
                                                      m_fileManager);
    if (files.isEmpty()) {
        *error = trashError;
        error->localizedDescription
            = QStringLiteral("“%1” cannot go into a Trash, so it stays where it is: %2")
                  .arg(shown(path), trashError.localizedDescription);
        return {};
    }

    // Original paths are absolute in the home Trash and relative to the volume's top in a
    // volume's own, so that the volume can be mounted elsewhere and still restore.
    QByteArray pathInInfo = full;
    if (!inHomeTrash) {
        const QByteArray top = mount->mountPoint;
        if (top == "/")
            pathInInfo = full.mid(1);
        else if (full.startsWith(top + '/'))
            pathInInfo = full.mid(top.size() + 1);
    }

    const QByteArray root = KZPath::parentPath(files);
    const KZFileDescriptor rootfd(
        m_fileManager.openat(AT_FDCWD, root.constData(), kDirectoryFlags, 0));
    const KZFileDescriptor infofd(
        rootfd.isValid() ? m_fileManager.openat(rootfd.get(), "info", kDirectoryFlags, 0) : -1);
    const KZFileDescriptor filesfd(
        rootfd.isValid() ? m_fileManager.openat(rootfd.get(), "files", kDirectoryFlags, 0) : -1);
    const KZFileDescriptor parentfd(m_fileManager.openat(AT_FDCWD, checked.realParent.constData(),
                                                         O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
    if (!infofd.isValid() || !filesfd.isValid() || !parentfd.isValid()) {
        const int errnum = errno;
        *error = putError(errnum, path,
                          QStringLiteral("cannot go into the Trash “%1”, so it stays where it "
                                         "is: %2")
                              .arg(shown(root), errnoText(errnum)));
        return {};
    }

    const QByteArray text = infoFileText(pathInInfo, QDateTime::currentDateTime());
    QByteArray stem = checked.name;
    for (int attempt = 1; attempt <= kMaximumAttempts; ++attempt) {
        QByteArray candidate = candidateName(stem, attempt);
        // The info file's name is the item's plus ".trashinfo" and must fit NAME_MAX too.
        const qsizetype excess
            = candidate.size() + KZTrashInfo::kFileSuffix.size() - qsizetype(NAME_MAX);
        if (excess > 0) {
            stem.chop(excess);
            candidate = candidateName(stem, attempt);
        }
        const QByteArray infoName = candidate + KZTrashInfo::kFileSuffix;
        const int fd
            = m_fileManager.openat(infofd.get(), infoName.constData(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            const int errnum = errno;
            *error = putError(errnum, path,
                              QStringLiteral("cannot go into the Trash, so it stays where it "
                                             "is: its record cannot be written (%1)")
                                  .arg(errnoText(errnum)));
            return {};
        }
        const KZFileDescriptor info(fd);
        const auto forgetInfo = [&] {
            m_fileManager.unlinkat(infofd.get(), infoName.constData(), 0);
        };
        // A name in files/ without an info file (left by a crash) is not taken over.
        struct statx there = {};
        if (m_fileManager.statx(filesfd.get(), candidate.constData(), AT_SYMLINK_NOFOLLOW,
                                STATX_TYPE, &there)
            == 0) {
            forgetInfo();
            continue;
        }
        qsizetype written = 0;
        while (written < text.size()) {
            const ssize_t n = m_fileManager.write(info.get(), text.constData() + written,
                                                  size_t(text.size() - written));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                const int errnum = n < 0 ? errno : ENOSPC;
                forgetInfo();
                *error = putError(errnum, path,
                                  QStringLiteral("cannot go into the Trash, so it stays where it "
                                                 "is: its record cannot be written (%1)")
                                      .arg(errnoText(errnum)));
                return {};
            }
            written += n;
        }

        int moved = m_fileManager.renameat2(parentfd.get(), checked.name.constData(), filesfd.get(),
                                            candidate.constData(), RENAME_NOREPLACE);
        if (moved != 0 && errno == EINVAL) {
            // A file system without RENAME_NOREPLACE: the name was free a moment ago.
            moved = m_fileManager.renameat(parentfd.get(), checked.name.constData(), filesfd.get(),
                                           candidate.constData());
        }
        if (moved != 0) {
            const int errnum = errno;
            forgetInfo();
            if (errnum == EEXIST)
                continue;
            QString why;
            switch (errnum) {
            case EXDEV:
                why = QStringLiteral("it is on another file system than its Trash");
                break;
            case EACCES:
            case EPERM:
                why = whyNotMovable(parentfd.get(), checked);
                break;
            case EBUSY:
                why = QStringLiteral("it is in use");
                break;
            default:
                why = errnoText(errnum);
            }
            *error = putError(
                errnum, path,
                QStringLiteral("was not put in the Trash and stays where it is: %1").arg(why));
            return {};
        }
        if (checked.isFolder)
            noteFolderSize(rootfd.get(), candidate);
        return KZPath::join(files, candidate);
    }
    *error = putError(EEXIST, path,
                      QStringLiteral("cannot go into the Trash: no free name is left for it"));
    return {};
}
