#include "KZTrashFolder.h"

#include "KZDirectorySizes.h"
#include "KZPath.h"
#include "KZTrashInfo.h"
#include "protocol/KZFileDescriptor.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

KZError trashError(int errnum, const QByteArray &path, const char *what)
{
    KZError error = KZFileManager::errorForErrno(errnum, path);
    error.localizedDescription = QStringLiteral("%1 (“%2”: %3)")
                                     .arg(QLatin1String(what), KZPath::displayString(path),
                                          QString::fromLocal8Bit(std::strerror(errnum)));
    return error;
}

// Opens dirfd/name as a folder of uid's own, making it (0700) when missing.
int openOwnFolder(int dirfd, const char *name, uid_t uid, bool create, KZFileManager &fm,
                  int *errnum)
{
    int fd = fm.openat(dirfd, name, kDirectoryFlags, 0);
    if (fd < 0 && errno == ENOENT && create) {
        if (fm.mkdirat(dirfd, name, 0700) != 0 && errno != EEXIST) {
            *errnum = errno;
            return -1;
        }
        fd = fm.openat(dirfd, name, kDirectoryFlags, 0);
    }
    if (fd < 0) {
        // ELOOP/ENOTDIR: a symbolic link or a file stands where the folder should be.
        *errnum = (errno == ELOOP) ? ENOTDIR : errno;
        return -1;
    }
    struct statx st = {};
    if (fm.statx(fd, "", AT_EMPTY_PATH, STATX_UID, &st) != 0 || st.stx_uid != uid) {
        fm.close(fd);
        *errnum = EPERM;
        return -1;
    }
    return fd;
}

// Makes ROOT/files and ROOT/info when missing; answers ROOT/files or empty.
QByteArray filesFolderOf(int rootfd, const QByteArray &rootPath, uid_t uid, KZError *error,
                         KZFileManager &fm)
{
    for (const char *name : {"info", "files"}) {
        int errnum = 0;
        const int fd = openOwnFolder(rootfd, name, uid, true, fm, &errnum);
        if (fd < 0) {
            if (error)
                *error = trashError(errnum, KZPath::join(rootPath, name),
                                    "Cannot use the Trash folder");
            return {};
        }
        fm.close(fd);
    }
    return KZPath::join(rootPath, "files");
}

bool isAllDigits(const QByteArray &text)
{
    if (text.isEmpty())
        return false;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return false;
    }
    return true;
}

} // namespace

QByteArray KZTrashFolder::dataHomeFromEnvironment()
{
    const QByteArray xdg = qgetenv("XDG_DATA_HOME");
    if (xdg.startsWith('/'))
        return xdg;
    return KZPath::join(qgetenv("HOME"), ".local/share");
}

QByteArray KZTrashFolder::homeTrashFilesFolder(const QByteArray &dataHome, uid_t uid,
                                               KZError *error, KZFileManager &fm)
{
    if (!dataHome.startsWith('/')) {
        if (error)
            *error = trashError(ENOENT, dataHome, "No data folder for the home Trash");
        return {};
    }
    // The data folder's own ancestors are the user's business (they may be links); from the
    // Trash down nothing is followed.
    for (qsizetype at = 1; at <= dataHome.size(); ++at) {
        if (at < dataHome.size() && dataHome[at] != '/')
            continue;
        const QByteArray part = dataHome.left(at);
        if (fm.mkdirat(AT_FDCWD, part.constData(), 0700) != 0 && errno != EEXIST) {
            if (error)
                *error = trashError(errno, part, "Cannot make the data folder");
            return {};
        }
    }
    const KZFileDescriptor datafd(
        fm.openat(AT_FDCWD, dataHome.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!datafd.isValid()) {
        if (error)
            *error = trashError(errno, dataHome, "Cannot open the data folder");
        return {};
    }
    int errnum = 0;
    const KZFileDescriptor rootfd(openOwnFolder(datafd.get(), "Trash", uid, true, fm, &errnum));
    const QByteArray root = KZPath::join(dataHome, "Trash");
    if (!rootfd.isValid()) {
        if (error)
            *error = trashError(errnum, root, "Cannot use the Trash folder");
        return {};
    }
    return filesFolderOf(rootfd.get(), root, uid, error, fm);
}

QByteArray KZTrashFolder::volumeTrashFilesFolder(const QByteArray &top, uid_t uid, KZError *error,
                                                 KZFileManager &fm)
{
    const KZFileDescriptor topfd(
        fm.openat(AT_FDCWD, top.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!topfd.isValid()) {
        if (error)
            *error = trashError(errno, top, "Cannot open the volume");
        return {};
    }
    const QByteArray uidName = QByteArray::number(uid);

    // The administrator's shared .Trash counts only when it is a real, sticky folder, so that
    // no other user can swap the per-user folders inside it.
    struct statx shared = {};
    if (fm.statx(topfd.get(), ".Trash", AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_MODE, &shared) == 0
        && S_ISDIR(shared.stx_mode) && (shared.stx_mode & S_ISVTX)) {
        const KZFileDescriptor sharedfd(fm.openat(topfd.get(), ".Trash", kDirectoryFlags, 0));
        int errnum = 0;
        const KZFileDescriptor rootfd(
            sharedfd.isValid()
                ? openOwnFolder(sharedfd.get(), uidName.constData(), uid, true, fm, &errnum)
                : -1);
        if (rootfd.isValid()) {
            const QByteArray root = KZPath::join(KZPath::join(top, ".Trash"), uidName);
            KZError ignored;
            const QByteArray files = filesFolderOf(rootfd.get(), root, uid, &ignored, fm);
            if (!files.isEmpty())
                return files;
        }
    }

    const QByteArray name = ".Trash-" + uidName;
    int errnum = 0;
    const KZFileDescriptor rootfd(
        openOwnFolder(topfd.get(), name.constData(), uid, true, fm, &errnum));
    const QByteArray root = KZPath::join(top, name);
    if (!rootfd.isValid()) {
        if (error)
            *error = trashError(errnum, root, "Cannot use the Trash folder");
        return {};
    }
    return filesFolderOf(rootfd.get(), root, uid, error, fm);
}

namespace {

enum class Found { Yes, Missing, Unsafe };

// Whether dirfd/rootName is a Trash of uid's with its files/ folder, without making anything.
Found findTrashRoot(int dirfd, const QByteArray &rootName, const QByteArray &rootPath, uid_t uid,
                    KZError *error, KZFileManager &fm)
{
    int errnum = 0;
    const KZFileDescriptor rootfd(
        openOwnFolder(dirfd, rootName.constData(), uid, false, fm, &errnum));
    QByteArray failed = rootPath;
    if (rootfd.isValid()) {
        const KZFileDescriptor filesfd(
            openOwnFolder(rootfd.get(), "files", uid, false, fm, &errnum));
        if (filesfd.isValid())
            return Found::Yes;
        failed = KZPath::join(rootPath, "files");
    }
    if (errnum == ENOENT)
        return Found::Missing;
    if (error) {
        const char *why = errnum == EPERM     ? "The Trash folder belongs to someone else"
                          : errnum == ENOTDIR ? "The Trash folder is a link or not a folder"
                                              : "Cannot use the Trash folder";
        *error = trashError(errnum, failed, why);
    }
    return Found::Unsafe;
}

} // namespace

QByteArrayList KZTrashFolder::existingHomeTrashFilesFolders(const QByteArray &dataHome, uid_t uid,
                                                            bool *exists, KZError *error,
                                                            KZFileManager &fm)
{
    *exists = false;
    const QByteArray root = KZPath::join(dataHome, "Trash");
    const QByteArray files = KZPath::join(root, "files");
    if (!dataHome.startsWith('/')) {
        if (error)
            *error = trashError(ENOENT, dataHome, "No data folder for the home Trash");
        return {};
    }
    const KZFileDescriptor datafd(
        fm.openat(AT_FDCWD, dataHome.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!datafd.isValid())
        return {files}; // no data folder yet: nothing was ever put into this Trash
    switch (findTrashRoot(datafd.get(), "Trash", root, uid, error, fm)) {
    case Found::Yes:
        *exists = true;
        return {files};
    case Found::Missing:
        return {files};
    case Found::Unsafe:
        break;
    }
    return {};
}

QByteArrayList KZTrashFolder::existingVolumeTrashFilesFolders(const QByteArray &top, uid_t uid,
                                                              bool *exists, KZError *error,
                                                              KZFileManager &fm)
{
    *exists = false;
    const KZFileDescriptor topfd(
        fm.openat(AT_FDCWD, top.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!topfd.isValid()) {
        if (error)
            *error = trashError(errno, top, "Cannot open the volume");
        return {};
    }
    const QByteArray uidName = QByteArray::number(uid);
    QByteArrayList found;
    QByteArray wouldBe;
    struct statx shared = {};
    if (fm.statx(topfd.get(), ".Trash", AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_MODE, &shared) == 0
        && S_ISDIR(shared.stx_mode) && (shared.stx_mode & S_ISVTX)) {
        const KZFileDescriptor sharedfd(fm.openat(topfd.get(), ".Trash", kDirectoryFlags, 0));
        const QByteArray root = KZPath::join(KZPath::join(top, ".Trash"), uidName);
        if (sharedfd.isValid()) {
            switch (findTrashRoot(sharedfd.get(), uidName, root, uid, error, fm)) {
            case Found::Yes:
                found.append(KZPath::join(root, "files"));
                break;
            case Found::Missing:
                wouldBe = KZPath::join(root, "files");
                break;
            case Found::Unsafe:
                break;
            }
        }
    }
    const QByteArray name = ".Trash-" + uidName;
    const QByteArray root = KZPath::join(top, name);
    switch (findTrashRoot(topfd.get(), name, root, uid, error, fm)) {
    case Found::Yes:
        found.append(KZPath::join(root, "files"));
        break;
    case Found::Missing:
        if (wouldBe.isEmpty())
            wouldBe = KZPath::join(root, "files");
        break;
    case Found::Unsafe:
        break;
    }
    *exists = !found.isEmpty();
    if (found.isEmpty() && !wouldBe.isEmpty())
        found.append(wouldBe);
    return found;
}

bool KZTrashFolder::isVolumeTrashName(const QByteArray &name)
{
    if (name == ".Trash")
        return true;
    if (!name.startsWith(".Trash-") || name.size() == 7)
        return false;
    for (qsizetype i = 7; i < name.size(); ++i) {
        if (name[i] < '0' || name[i] > '9')
            return false;
    }
    return true;
}

std::optional<QByteArray> KZTrashFolder::trashRootOfFilesFolder(const QByteArray &realFolder,
                                                                const QByteArray &dataHome)
{
    if (KZPath::fileName(realFolder) != "files")
        return std::nullopt;
    const QByteArray root = KZPath::parentPath(realFolder);
    const QByteArray rootName = KZPath::fileName(root);
    if (rootName.startsWith(".Trash-") && isAllDigits(rootName.mid(7)))
        return root;
    if (isAllDigits(rootName) && KZPath::fileName(KZPath::parentPath(root)) == ".Trash")
        return root;
    if (rootName == "Trash" && !dataHome.isEmpty()
        && (root == KZPath::join(dataHome, "Trash")
            || root == KZPath::join(KZPath::realPath(dataHome), "Trash")))
        return root;
    return std::nullopt;
}

QByteArray KZTrashFolder::topDirectoryOfTrashRoot(const QByteArray &trashRoot)
{
    const QByteArray rootName = KZPath::fileName(trashRoot);
    if (rootName.startsWith(".Trash-"))
        return KZPath::parentPath(trashRoot);
    const QByteArray parent = KZPath::parentPath(trashRoot);
    if (KZPath::fileName(parent) == ".Trash")
        return KZPath::parentPath(parent);
    return {};
}

QByteArray KZTrashFolder::realPathOfDescriptor(int fd, KZFileManager &fm)
{
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(fd);
    QByteArray buffer(4096, Qt::Uninitialized);
    for (;;) {
        const ssize_t length
            = fm.readlinkat(AT_FDCWD, link.constData(), buffer.data(), size_t(buffer.size()));
        if (length < 0)
            return {};
        if (length < buffer.size()) {
            buffer.truncate(length);
            return buffer;
        }
        buffer.resize(buffer.size() * 2);
    }
}

int KZTrashFolder::forgetItems(int rootfd, const QByteArrayList &names, KZFileManager &fm)
{
    int removed = 0;
    const KZFileDescriptor infofd(fm.openat(rootfd, "info", kDirectoryFlags, 0));
    if (infofd.isValid()) {
        for (const QByteArray &name : names) {
            const QByteArray infoName = name + KZTrashInfo::kFileSuffix;
            if (fm.unlinkat(infofd.get(), infoName.constData(), 0) == 0)
                ++removed;
        }
    }
    dropDirectorySizes(rootfd, names, fm);
    return removed;
}

bool KZTrashFolder::dropDirectorySizes(int rootfd, const QByteArrayList &names, KZFileManager &fm)
{
    const KZDirectorySizes::Lines lines = KZDirectorySizes::read(rootfd);
    const bool any = std::any_of(names.begin(), names.end(),
                                 [&](const QByteArray &name) { return lines.contains(name); });
    return any && KZDirectorySizes::update(fm, rootfd, {}, names);
}

int KZTrashFolder::removeOrphanedTrashInfo(const QUrl &filesURL, KZFileManager &fm)
{
    const QByteArray filesPath = KZPath::pathFromURL(filesURL);
    const KZFileDescriptor filesfd(
        fm.openat(AT_FDCWD, filesPath.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!filesfd.isValid())
        return -1;
    const QByteArray real = realPathOfDescriptor(filesfd.get(), fm);
    if (!trashRootOfFilesFolder(real, dataHomeFromEnvironment()))
        return -1;
    const KZFileDescriptor rootfd(fm.openat(filesfd.get(), "..", kDirectoryFlags, 0));
    if (!rootfd.isValid())
        return -1;
    const KZFileDescriptor infofd(fm.openat(rootfd.get(), "info", kDirectoryFlags, 0));
    if (!infofd.isValid())
        return 0;

    const auto itemExists = [&](const QByteArray &name) {
        struct statx st = {};
        return fm.statx(filesfd.get(), name.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) == 0
               || errno != ENOENT;
    };

    QByteArrayList orphans;
    QByteArray buffer(32768, Qt::Uninitialized);
    for (;;) {
        const ssize_t got = fm.getdents64(infofd.get(), buffer.data(), size_t(buffer.size()));
        if (got <= 0)
            break;
        for (ssize_t offset = 0; offset < got;) {
            const auto *entry
                = reinterpret_cast<const struct dirent64 *>(buffer.constData() + offset);
            offset += entry->d_reclen;
            const QByteArray name(entry->d_name);
            if (!name.endsWith(KZTrashInfo::kFileSuffix) || name == KZTrashInfo::kFileSuffix)
                continue;
            const QByteArray itemName = name.chopped(KZTrashInfo::kFileSuffix.size());
            if (!itemExists(itemName))
                orphans.append(itemName);
        }
    }
    int removed = 0;
    for (const QByteArray &itemName : std::as_const(orphans)) {
        const QByteArray infoName = itemName + KZTrashInfo::kFileSuffix;
        if (fm.unlinkat(infofd.get(), infoName.constData(), 0) == 0)
            ++removed;
    }

    // Size-cache lines of folders that are no longer there.
    QByteArrayList vanished;
    const KZDirectorySizes::Lines lines = KZDirectorySizes::read(rootfd.get());
    for (auto it = lines.cbegin(); it != lines.cend(); ++it) {
        if (!itemExists(it.key()))
            vanished.append(it.key());
    }
    if (!vanished.isEmpty())
        KZDirectorySizes::update(fm, rootfd.get(), {}, vanished);
    return removed;
}
