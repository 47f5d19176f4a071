#include "KZTrashRestore.h"

#include "KZCommonFlleUtilties.h"
#include "KZDirectoryWalker.h"
#include "KZItemAttributes.h"
#include "KZPath.h"
#include "KZTrashFolder.h"
#include "KZTrashInfo.h"
#include "protocol/KZFileDescriptor.h"

#include <QRandomGenerator>

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr size_t kCopyBuffer = 256 * 1024;
constexpr int kMaximumNumber = 10000;
constexpr unsigned kStatMask
    = STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID | STATX_ATIME | STATX_MTIME | STATX_SIZE;

QString shown(const QByteArray &path)
{
    return KZPath::escapedDisplayString(path);
}

QString errnoText(int errnum)
{
    return QString::fromLocal8Bit(std::strerror(errnum));
}

void fail(KZTrashRestore::Result *result, KZTrashRestore::Outcome outcome, int errnum,
          const QByteArray &path, const QString &sentence)
{
    result->outcome = outcome;
    result->error = KZFileManager::errorForErrno(errnum, path);
    result->error.localizedDescription = sentence;
}

// Another program restored or erased the item first.
void failGone(KZTrashRestore::Result *result, const QByteArray &item)
{
    fail(result, KZTrashRestore::Outcome::Gone, ENOENT, item,
         QStringLiteral("“%1” is no longer in the Trash (another program restored or erased it); "
                        "nothing was changed")
             .arg(shown(item)));
}

struct timespec toTimespec(const struct statx_timestamp &time)
{
    return {time.tv_sec, long(time.tv_nsec)};
}

// Ownership, then the mode (a chown clears set-user-ID bits), then the times, as cp -a does.
// An owner the user may not give (someone else's file restored by an ordinary user) stays the
// user's: the copy still holds the bytes, the mode and the times.
void copyMetadata(int fd, const struct statx &st)
{
    if (::fchown(fd, st.stx_uid, st.stx_gid) != 0)
        (void)::fchown(fd, uid_t(-1), st.stx_gid);
    (void)::fchmod(fd, st.stx_mode & 07777);
    const struct timespec times[2] = {toTimespec(st.stx_atime), toTimespec(st.stx_mtime)};
    (void)::futimens(fd, times);
}

bool readFully(int fd, char *buffer, size_t size, off_t offset, ssize_t *got)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::pread(fd, buffer + done, size - done, offset + off_t(done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            break;
        done += size_t(n);
    }
    *got = ssize_t(done);
    return true;
}

} // namespace

KZTrashRestore::KZTrashRestore(QByteArray dataHome, KZFileManager &fileManager)
    : m_dataHome(std::move(dataHome))
    , m_fileManager(fileManager)
{}

QByteArray KZTrashRestore::numberedName(const QByteArray &name, int number)
{
    const qsizetype dot = name.lastIndexOf('.');
    const QByteArray tag = " (" + QByteArray::number(number) + ')';
    return dot > 0 ? name.left(dot) + tag + name.mid(dot) : name + tag;
}

int KZTrashRestore::openDestinationFolder(const QByteArray &path, Result *result)
{
    KZFileDescriptor fd(m_fileManager.openat(AT_FDCWD, "/", O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
    QByteArray reached = "/";
    for (const QByteArray &component : path.split('/')) {
        if (component.isEmpty())
            continue;
        reached = KZPath::join(reached, component);
        struct open_how how = {};
        how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
        // A link on the way could lead the item anywhere (another user's link in a shared
        // folder, a folder swapped for a link since the item was trashed): never followed.
        how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
        int next = -1;
        for (int tries = 0; tries < 2 && next < 0; ++tries) {
            next = m_fileManager.openat2(fd.get(), component.constData(), &how);
            if (next < 0 && errno == ENOSYS)
                next = m_fileManager.openat(fd.get(), component.constData(),
                                            O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0);
            if (next >= 0 || errno != ENOENT || tries > 0)
                break;
            if (m_fileManager.mkdirat(fd.get(), component.constData(), 0777) != 0
                && errno != EEXIST) {
                const int errnum = errno;
                fail(result, Outcome::Failed, errnum, reached,
                     QStringLiteral("the folder “%1” cannot be made: %2")
                         .arg(shown(reached), errnoText(errnum)));
                return -1;
            }
        }
        if (next < 0) {
            const int errnum = errno;
            struct statx st = {};
            const bool isLink = errnum == ELOOP
                                || (m_fileManager.statx(fd.get(), component.constData(),
                                                        AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st)
                                        == 0
                                    && S_ISLNK(st.stx_mode));
            if (isLink)
                fail(result, Outcome::Refused, ELOOP, reached,
                     QStringLiteral("“%1” on the way back is a symbolic link, which binwise does "
                                    "not follow; give --to with the folder it should go to")
                         .arg(shown(reached)));
            else if (errnum == ENOTDIR)
                fail(result, Outcome::Refused, errnum, reached,
                     QStringLiteral("“%1” on the way back is not a folder").arg(shown(reached)));
            else
                fail(result, Outcome::Failed, errnum, reached,
                     QStringLiteral("the folder “%1” cannot be opened: %2")
                         .arg(shown(reached), errnoText(errnum)));
            return -1;
        }
        fd.reset(next);
    }
    return fd.release();
}

KZTrashRestore::Result KZTrashRestore::restoreItemAtPath(const QByteArray &itemPath,
                                                         const Options &options)
{
    Result result;
    const QByteArray name = KZPath::fileName(itemPath);
    const QByteArray filesFolder = KZPath::realPath(KZPath::parentPath(itemPath));
    const std::optional<QByteArray> root
        = filesFolder.isEmpty() || name.isEmpty()
              ? std::nullopt
              : KZTrashFolder::trashRootOfFilesFolder(filesFolder, m_dataHome);
    if (!root) {
        fail(&result, Outcome::Refused, EINVAL, itemPath,
             QStringLiteral("“%1” is not an item in a Trash").arg(shown(itemPath)));
        return result;
    }
    const QByteArray item = KZPath::join(filesFolder, name);
    const KZFileDescriptor rootfd(
        m_fileManager.openat(AT_FDCWD, root->constData(), kDirectoryFlags, 0));
    const KZFileDescriptor filesfd(
        rootfd.isValid() ? m_fileManager.openat(rootfd.get(), "files", kDirectoryFlags, 0) : -1);
    struct statx st = {};
    if (!filesfd.isValid()
        || m_fileManager.statx(filesfd.get(), name.constData(), AT_SYMLINK_NOFOLLOW, kStatMask, &st)
               != 0) {
        const int errnum = errno;
        if (errnum == ENOENT)
            failGone(&result, item);
        else
            fail(&result, Outcome::Failed, errnum, item,
                 QStringLiteral("“%1” cannot be read: %2").arg(shown(item), errnoText(errnum)));
        return result;
    }

    QByteArray content;
    const QByteArray infoName = "info/" + name + KZTrashInfo::kFileSuffix;
    std::optional<KZTrashInfo> info;
    if (KZItemAttributes::readSmallFileAt(rootfd.get(), infoName.constData(),
                                          KZTrashInfo::kMaximumSize, &content, m_fileManager))
        info = KZTrashInfo::parse(content, KZTrashFolder::topDirectoryOfTrashRoot(*root));
    result.originalPath = info ? info->originalPath : QByteArray();

    KZFileDescriptor dstfd;
    QByteArray folder;
    QByteArray wanted;
    if (!options.toFolder.isEmpty()) {
        folder = KZPath::realPath(options.toFolder);
        wanted = result.originalPath.isEmpty() ? name : KZPath::fileName(result.originalPath);
        dstfd.reset(folder.isEmpty() ? -1
                                     : m_fileManager.openat(AT_FDCWD, folder.constData(),
                                                            O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
        if (!dstfd.isValid()) {
            const int errnum = errno;
            fail(&result, Outcome::Refused, errnum, options.toFolder,
                 QStringLiteral("“%1” is not a folder that can be used: %2")
                     .arg(shown(options.toFolder), errnoText(errnum)));
            return result;
        }
    } else {
        const QByteArray &original = result.originalPath;
        bool plain = original.startsWith('/') && original != "/";
        for (const QByteArray &component : original.split('/'))
            plain = plain && component != "." && component != "..";
        if (!plain) {
            fail(&result, Outcome::Refused, EINVAL, item,
                 original.isEmpty()
                     ? QStringLiteral("“%1” has no record of where it came from; give --to with "
                                      "the folder it should go to")
                           .arg(shown(item))
                     : QStringLiteral("“%1” came from “%2”, which is no place to put it back; "
                                      "give --to with the folder it should go to")
                           .arg(shown(item), shown(original)));
            return result;
        }
        folder = KZPath::parentPath(original);
        wanted = KZPath::fileName(original);
        dstfd.reset(openDestinationFolder(folder, &result));
        if (!dstfd.isValid()) {
            result.error.localizedDescription
                = QStringLiteral("“%1” was not put back: %2")
                      .arg(shown(item), result.error.localizedDescription);
            return result;
        }
    }

    // Items go back out of the Trash, never into one (where they would lie without an info
    // file, or overwrite the Trash's own layout), nor into a volume's shared .Trash, where no
    // program would ever list them and every user could read them.
    const QByteArray realFolder = KZTrashFolder::realPathOfDescriptor(dstfd.get(), m_fileManager);
    for (QByteArray prefix = realFolder; !prefix.isEmpty() && prefix != "/";
         prefix = KZPath::parentPath(prefix)) {
        if (KZTrashFolder::isVolumeTrashName(KZPath::fileName(prefix))
            || KZTrashFolder::trashRootOfFilesFolder(KZPath::join(prefix, "files"), m_dataHome)
                   == prefix) {
            fail(&result, Outcome::Refused, EINVAL, realFolder,
                 QStringLiteral("“%1” was not put back: “%2” is in a Trash")
                     .arg(shown(item), shown(folder)));
            return result;
        }
    }

    const auto nameFor = [&](int number) {
        return number == 1 ? wanted : numberedName(wanted, number);
    };
    const auto occupied = [&](const QByteArray &taken) {
        fail(&result, Outcome::Exists, EEXIST, KZPath::join(folder, taken),
             QStringLiteral("“%1” already exists; nothing was overwritten and “%2” stays in the "
                            "Trash (--rename puts it back under another name)")
                 .arg(shown(KZPath::join(folder, taken)), shown(item)));
    };

    // Within one file system: a rename that never replaces what is there.
    bool otherFileSystem = false;
    for (int number = 1; number <= kMaximumNumber; ++number) {
        const QByteArray candidate = nameFor(number);
        int moved = m_fileManager.renameat2(filesfd.get(), name.constData(), dstfd.get(),
                                            candidate.constData(), RENAME_NOREPLACE);
        if (moved != 0 && errno == EINVAL) {
            struct statx there = {};
            if (m_fileManager.statx(dstfd.get(), candidate.constData(), AT_SYMLINK_NOFOLLOW,
                                    STATX_TYPE, &there)
                == 0)
                errno = EEXIST;
            else
                moved = m_fileManager.renameat(filesfd.get(), name.constData(), dstfd.get(),
                                               candidate.constData());
        }
        if (moved == 0) {
            KZTrashFolder::forgetItems(rootfd.get(), {name}, m_fileManager);
            result.outcome = Outcome::Restored;
            result.restoredPath = KZPath::join(folder, candidate);
            return result;
        }
        const int errnum = errno;
        if (errnum == EEXIST) {
            if (options.rename)
                continue;
            occupied(candidate);
            return result;
        }
        if (errnum == EXDEV) {
            otherFileSystem = true;
            break;
        }
        struct statx again = {};
        if (errnum == ENOENT
            && m_fileManager.statx(filesfd.get(), name.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE,
                                   &again)
                   != 0)
            failGone(&result, item);
        else
            fail(&result, Outcome::Failed, errnum, item,
                 QStringLiteral("“%1” was not put back into “%2”: %3")
                     .arg(shown(item), shown(folder), errnoText(errnum)));
        return result;
    }
    if (!otherFileSystem) {
        occupied(nameFor(kMaximumNumber));
        return result;
    }

    struct statx taken = {};
    if (!options.rename
        && m_fileManager.statx(dstfd.get(), wanted.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE,
                               &taken)
               == 0) {
        occupied(wanted);
        return result;
    }
    // Across file systems: a full copy under a hidden name, compared with the original, then
    // given its name; the Trash's copy goes last, so a failure anywhere loses nothing.
    const QByteArray temporary
        = ".binwise-restore-" + QByteArray::number(QRandomGenerator::global()->generate64(), 36);
    QByteArray failedPath;
    const int copyError = copyItem(filesfd.get(), name, dstfd.get(), temporary, &failedPath);
    if (copyError != 0) {
        const QString why
            = copyError == ENOSPC || copyError == EDQUOT
                  ? QStringLiteral("there is not enough room in “%1”").arg(shown(folder))
                  : QStringLiteral("%1 (%2)").arg(errnoText(copyError),
                                                  shown(KZPath::join(folder, failedPath)));
        fail(&result, Outcome::Failed, copyError, item,
             QStringLiteral("“%1” was not put back: %2. It stays in the Trash as it was")
                 .arg(shown(item), why));
        return result;
    }
    {
        // The Trash's copy goes only once the new one is on the disk: a write-back error that
        // the copy's own writes did not see shows here.
        const KZFileDescriptor syncfd(
            m_fileManager.openat(dstfd.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
        if (!syncfd.isValid() || m_fileManager.syncfs(syncfd.get()) != 0) {
            const int errnum = errno;
            removeCopy(dstfd.get(), temporary);
            fail(&result, Outcome::Failed, errnum, item,
                 QStringLiteral("“%1” was not put back: its copy in “%2” could not be written to "
                                "the disk (%3). It stays in the Trash as it was")
                     .arg(shown(item), shown(folder), errnoText(errnum)));
            return result;
        }
    }
    for (int number = 1;; ++number) {
        const QByteArray candidate = nameFor(number);
        if (m_fileManager.renameat2(dstfd.get(), temporary.constData(), dstfd.get(),
                                    candidate.constData(), RENAME_NOREPLACE)
            == 0) {
            result.restoredPath = KZPath::join(folder, candidate);
            break;
        }
        const int errnum = errno;
        if (errnum == EEXIST && options.rename && number < kMaximumNumber)
            continue;
        removeCopy(dstfd.get(), temporary);
        if (errnum == EEXIST)
            occupied(candidate);
        else
            fail(&result, Outcome::Failed, errnum, item,
                 QStringLiteral("“%1” was not put back into “%2”: %3")
                     .arg(shown(item), shown(folder), errnoText(errnum)));
        return result;
    }
    const KZCommonFlleUtilties remover(KZCommonFlleUtilties::kSecureRemoveToolPath, m_dataHome);
    if (const std::optional<KZError> left
        = remover.deleteItemWithURL(KZPath::urlFromPath(item), m_fileManager)) {
        fail(&result, Outcome::Incomplete, int(left->code), item,
             QStringLiteral("“%1” is back at “%2”, but its copy in the Trash could not be "
                            "removed in full: %3")
                 .arg(shown(item), shown(result.restoredPath), left->localizedDescription));
        return result;
    }
    result.outcome = Outcome::Restored;
    return result;
}

void KZTrashRestore::removeCopy(int dstfd, const QByteArray &dstName)
{
    struct statx st = {};
    if (m_fileManager.statx(dstfd, dstName.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) != 0)
        return;
    if (!S_ISDIR(st.stx_mode)) {
        m_fileManager.unlinkat(dstfd, dstName.constData(), 0);
        return;
    }
    // The copy is ours: folders it made read-only are opened up again so it can go.
    m_fileManager.fchmodat(dstfd, dstName.constData(), 0700, 0);
    const int rootfd = m_fileManager.openat(dstfd, dstName.constData(), kDirectoryFlags, 0);
    if (rootfd < 0)
        return;
    KZDirectoryWalker walker(m_fileManager);
    walker.visit = [this](const KZDirectoryWalker::Entry &entry) {
        if (entry.type == DT_DIR) {
            m_fileManager.fchmodat(entry.dirfd, entry.name, 0700, 0);
            return KZDirectoryWalker::Action::Descend;
        }
        if (m_fileManager.unlinkat(entry.dirfd, entry.name, 0) != 0 && errno == EISDIR)
            return KZDirectoryWalker::Action::Descend;
        return KZDirectoryWalker::Action::Continue;
    };
    walker.leftDirectory = [this](int dirfd, const char *name) {
        m_fileManager.unlinkat(dirfd, name, AT_REMOVEDIR);
        return KZDirectoryWalker::Action::Continue;
    };
    walker.walk(rootfd);
    m_fileManager.unlinkat(dstfd, dstName.constData(), AT_REMOVEDIR);
}

namespace {

// Copies one entry that is not a folder and compares the copy with the original.
int copyLeaf(KZFileManager &fm, int srcfd, const char *name, const struct statx &st, int dstfd,
             const char *dstName)
{
    const mode_t type = st.stx_mode & S_IFMT;
    if (type == S_IFLNK) {
        QByteArray target(qsizetype(st.stx_size) + 2, '\0');
        const ssize_t length = ::readlinkat(srcfd, name, target.data(), size_t(target.size()));
        if (length < 0)
            return errno;
        target.truncate(length);
        if (::symlinkat(target.constData(), dstfd, dstName) != 0)
            return errno;
        QByteArray copied(target.size() + 2, '\0');
        const ssize_t back = ::readlinkat(dstfd, dstName, copied.data(), size_t(copied.size()));
        if (back < 0 || copied.left(back) != target)
            return EIO;
        if (::fchownat(dstfd, dstName, st.stx_uid, st.stx_gid, AT_SYMLINK_NOFOLLOW) != 0)
            (void)::fchownat(dstfd, dstName, uid_t(-1), st.stx_gid, AT_SYMLINK_NOFOLLOW);
        const struct timespec times[2] = {toTimespec(st.stx_atime), toTimespec(st.stx_mtime)};
        (void)::utimensat(dstfd, dstName, times, AT_SYMLINK_NOFOLLOW);
        return 0;
    }
    if (type != S_IFREG) {
        // FIFOs, sockets and device nodes are made anew (devices need root, as for cp -a).
        if (::mknodat(dstfd, dstName, type | 0600,
                      dev_t(makedev(st.stx_rdev_major, st.stx_rdev_minor)))
            != 0)
            return errno;
        const KZFileDescriptor made(fm.openat(dstfd, dstName, O_PATH | O_NOFOLLOW | O_CLOEXEC, 0));
        if (::fchownat(dstfd, dstName, st.stx_uid, st.stx_gid, AT_SYMLINK_NOFOLLOW) != 0)
            (void)::fchownat(dstfd, dstName, uid_t(-1), st.stx_gid, AT_SYMLINK_NOFOLLOW);
        (void)fm.fchmodat(dstfd, dstName, st.stx_mode & 07777, 0);
        const struct timespec times[2] = {toTimespec(st.stx_atime), toTimespec(st.stx_mtime)};
        (void)::utimensat(dstfd, dstName, times, AT_SYMLINK_NOFOLLOW);
        return 0;
    }

    const KZFileDescriptor in(fm.openat(srcfd, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC, 0));
    if (!in.isValid())
        return errno;
    const KZFileDescriptor out(
        fm.openat(dstfd, dstName, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!out.isValid())
        return errno;
    std::unique_ptr<char[]> buffer(new char[kCopyBuffer]);
    std::unique_ptr<char[]> check(new char[kCopyBuffer]);
    off_t offset = 0;
    for (;;) {
        ssize_t got = 0;
        if (!readFully(in.get(), buffer.get(), kCopyBuffer, offset, &got))
            return errno;
        if (got == 0)
            break;
        ssize_t written = 0;
        while (written < got) {
            if (::lseek(out.get(), offset + written, SEEK_SET) < 0)
                return errno;
            const ssize_t n = fm.write(out.get(), buffer.get() + written, size_t(got - written));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return n < 0 ? errno : ENOSPC;
            written += n;
        }
        offset += got;
    }
    // Read back and compared before the original may go: a short or damaged copy (a full or
    // failing disk) is caught here, not after the Trash's copy is erased.
    for (off_t at = 0;;) {
        ssize_t a = 0;
        ssize_t b = 0;
        if (!readFully(in.get(), buffer.get(), kCopyBuffer, at, &a)
            || !readFully(out.get(), check.get(), kCopyBuffer, at, &b))
            return errno;
        if (a != b || std::memcmp(buffer.get(), check.get(), size_t(a)) != 0)
            return EIO;
        if (a == 0)
            break;
        at += a;
    }
    copyMetadata(out.get(), st);
    return 0;
}

} // namespace

int KZTrashRestore::copyItem(int srcfd, const QByteArray &srcName, int dstfd,
                             const QByteArray &dstName, QByteArray *failedPath)
{
    KZFileManager &fm = m_fileManager;
    struct statx top = {};
    if (fm.statx(srcfd, srcName.constData(), AT_SYMLINK_NOFOLLOW, kStatMask, &top) != 0) {
        *failedPath = srcName;
        return errno;
    }
    if (!S_ISDIR(top.stx_mode)) {
        const int errnum
            = copyLeaf(fm, srcfd, srcName.constData(), top, dstfd, dstName.constData());
        if (errnum != 0) {
            *failedPath = KZPath::fileName(srcName);
            removeCopy(dstfd, dstName);
        }
        return errnum;
    }

    if (fm.mkdirat(dstfd, dstName.constData(), 0700) != 0) {
        *failedPath = srcName;
        return errno;
    }
    const int srcRoot = fm.openat(srcfd, srcName.constData(), kDirectoryFlags, 0);
    std::vector<KZFileDescriptor> destinations;
    destinations.emplace_back(fm.openat(dstfd, dstName.constData(), kDirectoryFlags, 0));
    if (srcRoot < 0 || !destinations.back().isValid()) {
        const int errnum = errno;
        if (srcRoot >= 0)
            fm.close(srcRoot);
        *failedPath = srcName;
        removeCopy(dstfd, dstName);
        return errnum;
    }

    // Folders get their mode and times once everything inside them is written (writing into
    // a folder changes its times, and a read-only mode would stop the copy), deepest first.
    struct Folder
    {
        QByteArray relative;
        struct statx st;
    };
    std::vector<Folder> folders{{QByteArray(), top}};
    QByteArrayList at; // the relative path of the folder being read
    int failure = 0;
    const auto relative = [&](const char *name) {
        return at.isEmpty() ? QByteArray(name) : at.join('/') + '/' + name;
    };

    KZDirectoryWalker walker(fm);
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        struct statx st = {};
        if (fm.statx(entry.dirfd, entry.name, AT_SYMLINK_NOFOLLOW, kStatMask, &st) != 0) {
            failure = errno;
        } else if (S_ISDIR(st.stx_mode)) {
            if (fm.mkdirat(destinations.back().get(), entry.name, 0700) != 0)
                failure = errno;
            else
                folders.push_back({relative(entry.name), st});
        } else {
            failure
                = copyLeaf(fm, entry.dirfd, entry.name, st, destinations.back().get(), entry.name);
        }
        if (failure != 0) {
            *failedPath = relative(entry.name);
            return KZDirectoryWalker::Action::Stop;
        }
        return S_ISDIR(st.stx_mode) ? KZDirectoryWalker::Action::Descend
                                    : KZDirectoryWalker::Action::Continue;
    };
    walker.openDirectory = [&](int parentfd, const char *name) {
        const int fd = fm.openat(parentfd, name, kDirectoryFlags, 0);
        if (fd < 0)
            return fd;
        const int copyfd = fm.openat(destinations.back().get(), name, kDirectoryFlags, 0);
        if (copyfd < 0) {
            const int errnum = errno;
            fm.close(fd);
            errno = errnum;
            return -1;
        }
        destinations.emplace_back(copyfd);
        at.append(name);
        return fd;
    };
    walker.openFailed = [&](int, const char *name, int errnum) {
        failure = errnum;
        *failedPath = relative(name);
        return KZDirectoryWalker::Action::Stop;
    };
    walker.readFailed = [&](int, int errnum) {
        failure = errnum;
        *failedPath = at.join('/');
    };
    walker.leftDirectory = [&](int, const char *) {
        destinations.pop_back();
        at.removeLast();
        return failure != 0 ? KZDirectoryWalker::Action::Stop : KZDirectoryWalker::Action::Continue;
    };
    const bool walked = walker.walk(srcRoot);
    const int copyRoot = destinations.front().get();
    if (failure == 0 && !walked)
        failure = EAGAIN; // the Trash item was moved while it was copied
    if (failure != 0) {
        destinations.clear();
        removeCopy(dstfd, dstName);
        return failure;
    }
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
        const KZFileDescriptor fd(
            folder->relative.isEmpty()
                ? fm.openat(copyRoot, ".", kDirectoryFlags, 0)
                : fm.openat(copyRoot, folder->relative.constData(), kDirectoryFlags, 0));
        if (fd.isValid())
            copyMetadata(fd.get(), folder->st);
    }
    return 0;
}
