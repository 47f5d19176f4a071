#include "KZCommonFlleUtilties.h"

#include "KZDirectoryWalker.h"
#include "KZModelLog.h"
#include "KZPath.h"
#include "KZTrashFolder.h"
#include "KZTrashInfo.h"
#include "protocol/KZFileDescriptor.h"

#include <QSet>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <vector>

extern char **environ;

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// A name a folder can hold: not empty, not "." or "..", no "/".
bool isEntryName(const QByteArray &name)
{
    const qsizetype size = name.size();
    if (size == 0 || (name[0] == '.' && (size == 1 || (size == 2 && name[1] == '.'))))
        return false;
    return std::memchr(name.constData(), '/', size_t(size)) == nullptr;
}

quint64 makeDevice(const struct statx &st)
{
    return (quint64(st.stx_dev_major) << 32) | st.stx_dev_minor;
}

KZError notURLError(const QUrl &url)
{
    return KZError{KZError::kCocoaDomain,
                   KZError::kFileReadUnsupportedSchemeError,
                   QStringLiteral("The URL “%1” is not a local file.").arg(url.toDisplayString()),
                   {}};
}

KZError outsideTrashError(const QByteArray &path)
{
    KZError error = KZFileManager::errorForErrno(EINVAL, path);
    error.localizedDescription = QStringLiteral("“%1” is not inside a Trash; nothing was removed.")
                                     .arg(KZPath::displayString(path));
    return error;
}

// Opens a subfolder for removal. A folder of the user's own that the user cannot read, enter
// or write is given u+rwx first: the user could do that anyway, and it is what lets its
// contents go.
int openForRemoval(KZFileManager &fm, int dirfd, const char *name)
{
    int fd = fm.openat(dirfd, name, kDirectoryFlags, 0);
    if (fd < 0 && errno == EACCES) {
        if (KZCommonFlleUtilties::giveOwnFolderAccess(dirfd, name, fm))
            fd = fm.openat(dirfd, name, kDirectoryFlags, 0);
        if (fd < 0)
            errno = EACCES;
    }
    if (fd < 0)
        return -1;
    struct statx st = {};
    if (fm.statx(fd, "", AT_EMPTY_PATH, STATX_TYPE | STATX_MODE | STATX_UID, &st) != 0) {
        const int errnum = errno;
        fm.close(fd);
        errno = errnum;
        return -1;
    }
    // Something mounted inside a Trash is another file system, not the Trash's content (and
    // cannot be removed from under its mount anyway): leave it whole.
    if (st.stx_attributes_mask & st.stx_attributes & STATX_ATTR_MOUNT_ROOT) {
        fm.close(fd);
        errno = EBUSY;
        return -1;
    }
    KZCommonFlleUtilties::completeOwnFolderAccess(fd, fm);
    return fd;
}

// unlinkat, and once more after giving the folder u+wx when it is the user's own and lacked
// them (a folder made read-only, as chmod -R a-w leaves an unpacked archive).
int unlinkInOwnFolder(KZFileManager &fm, int dirfd, const char *name, int flags)
{
    if (fm.unlinkat(dirfd, name, flags) == 0)
        return 0;
    const int errnum = errno;
    if ((errnum == EACCES || errnum == EPERM)
        && KZCommonFlleUtilties::completeOwnFolderAccess(dirfd, fm))
        return fm.unlinkat(dirfd, name, flags);
    errno = errnum;
    return -1;
}

struct RemovalState
{
    KZFileManager &fm;
    std::optional<KZError> firstError;
    std::vector<QByteArray> files;

    void fail(int errnum, int dirfd, const char *name)
    {
        if (!firstError)
            firstError = KZFileManager::errorForErrno(
                errnum, KZPath::join(KZTrashFolder::realPathOfDescriptor(dirfd, fm), name));
    }
    void unlinkFile(int dirfd, const char *name)
    {
        if (unlinkInOwnFolder(fm, dirfd, name, 0) != 0 && errno != ENOENT)
            fail(errno, dirfd, name);
    }
};

// Removes the folder dirfd/name and everything in it; the first failure lands in state.
void removeTree(RemovalState &state, int parentfd, const char *topName)
{
    using Action = KZDirectoryWalker::Action;
    KZFileManager &fm = state.fm;
    const int rootfd = openForRemoval(fm, parentfd, topName);
    if (rootfd < 0) {
        if (errno == ENOTDIR || errno == ELOOP)
            state.unlinkFile(parentfd, topName); // no longer a folder: remove what is there
        else if (errno != ENOENT)
            state.fail(errno, parentfd, topName);
        return;
    }
    KZDirectoryWalker walker(fm);
    walker.openDirectory = [&fm](int dirfd, const char *name) {
        return openForRemoval(fm, dirfd, name);
    };
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        bool isFolder = entry.type == DT_DIR;
        if (entry.type == DT_UNKNOWN) {
            struct statx st = {};
            isFolder = fm.statx(entry.dirfd, entry.name, AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) == 0
                       && S_ISDIR(st.stx_mode);
        }
        if (isFolder)
            return Action::Descend;
        state.files.emplace_back(entry.name);
        return Action::Continue;
    };
    // Entries are unlinked once the folder has been read through, not while reading it.
    walker.finishedReading = [&](int dirfd, size_t) {
        for (const QByteArray &name : state.files)
            state.unlinkFile(dirfd, name.constData());
        state.files.clear();
        return Action::Continue;
    };
    walker.openFailed = [&](int dirfd, const char *name, int errnum) {
        if (errnum == ENOTDIR || errnum == ELOOP)
            state.unlinkFile(dirfd, name); // swapped for a file or a link since it was read
        else if (errnum != ENOENT)
            state.fail(errnum, dirfd, name);
        return Action::Continue;
    };
    walker.leftDirectory = [&](int dirfd, const char *name) {
        if (unlinkInOwnFolder(fm, dirfd, name, AT_REMOVEDIR) != 0 && errno != ENOENT
            && !(errno == ENOTEMPTY && state.firstError))
            state.fail(errno, dirfd, name);
        return Action::Continue;
    };
    walker.readFailed = [&](int dirfd, int errnum) {
        state.fail(errnum, dirfd, "");
    };
    if (!walker.walk(rootfd)) {
        // A folder could not be found again on the way up: the tree was moved during the
        // removal. Stop rather than remove anything at a place not checked.
        state.fail(EBUSY, parentfd, topName);
        return;
    }
    if (unlinkInOwnFolder(fm, parentfd, topName, AT_REMOVEDIR) != 0 && errno != ENOENT
        && !(errno == ENOTEMPTY && state.firstError))
        state.fail(errno, parentfd, topName);
}

struct Failure
{
    const char *marker;
    const char *separator; // what stands before the reason; nullptr when there is none
};

// What srm prints when it leaves something behind.
const std::array kFailureMarkers = {
    Failure{"Error: File ", " - "},
    Failure{"Warning: Unable to unlink file ", " - "},
    Failure{"Warning: Unable to remove directory ", " - "},
    Failure{"Couldn't delete ", ". "},
    Failure{"Error: Can't chdir to ", " - "},
    Failure{"Can't chdir() to ", nullptr},
    Failure{"Race found!", nullptr},
    Failure{"was raced, hence", nullptr},
    Failure{"unable to remove", nullptr},
};

// The text of piece to map to an error, when piece reports a failure.
std::optional<QString> failureInPiece(const QString &piece)
{
    qsizetype best = -1;
    const Failure *found = nullptr;
    for (const Failure &failure : kFailureMarkers) {
        const qsizetype at = piece.indexOf(QLatin1String(failure.marker));
        if (at >= 0 && (best < 0 || at < best)) {
            best = at;
            found = &failure;
        }
    }
    if (!found)
        return std::nullopt;
    if (!found->separator)
        return piece.mid(best);
    // A name may hold a newline: take lines until the one with the separator before the
    // reason; the reason itself (a strerror text) never holds the separator.
    const QString rest = piece.mid(best);
    const QLatin1String separator(found->separator);
    qsizetype lineEnd = -1;
    for (;;) {
        const qsizetype next = rest.indexOf(QLatin1Char('\n'), lineEnd + 1);
        const QString line = rest.left(next < 0 ? rest.size() : next);
        const qsizetype at = line.lastIndexOf(separator);
        if (at >= 0 && at > qsizetype(std::strlen(found->marker)) - 1)
            return line.mid(at + separator.size()).trimmed();
        if (next < 0)
            return rest;
        lineEnd = next;
    }
}

} // namespace

KZCommonFlleUtilties &KZCommonFlleUtilties::sharedControl()
{
    static KZCommonFlleUtilties shared;
    return shared;
}

KZCommonFlleUtilties::KZCommonFlleUtilties(const QString &secureRemoveTool,
                                           const QByteArray &dataHome)
    : m_secureRemoveTool(secureRemoveTool)
    , m_dataHome(dataHome)
{}

bool KZCommonFlleUtilties::realFolderIsInTrash(const QByteArray &realFolder,
                                               bool *isFilesFolder) const
{
    const QByteArray dataHome
        = m_dataHome.isEmpty() ? KZTrashFolder::dataHomeFromEnvironment() : m_dataHome;
    *isFilesFolder = KZTrashFolder::trashRootOfFilesFolder(realFolder, dataHome).has_value();
    if (*isFilesFolder)
        return true;
    // Only an ancestor named "files" can be a Trash's files/ folder; a deep folder is not
    // taken apart level by level.
    for (qsizetype at = realFolder.indexOf("/files/"); at >= 0;
         at = realFolder.indexOf("/files/", at + 1)) {
        if (KZTrashFolder::trashRootOfFilesFolder(realFolder.left(at + 6), dataHome))
            return true;
    }
    return false;
}

bool KZCommonFlleUtilties::isInsideTrash(const QByteArray &path, KZFileManager &fm,
                                         bool *topLevel) const
{
    const QByteArray name = KZPath::fileName(path);
    if (!path.startsWith('/') || name.isEmpty() || name == "." || name == "..")
        return false;
    const KZFileDescriptor parentfd(fm.openat(AT_FDCWD, KZPath::parentPath(path).constData(),
                                              O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!parentfd.isValid())
        return false;
    bool isFilesFolder = false;
    const bool inside = realFolderIsInTrash(KZTrashFolder::realPathOfDescriptor(parentfd.get(), fm),
                                            &isFilesFolder);
    if (topLevel)
        *topLevel = inside && isFilesFolder;
    return inside;
}

std::optional<KZError> KZCommonFlleUtilties::deleteItemWithURL(const QUrl &url,
                                                               KZFileManager &fm) const
{
    const QByteArray path = KZPath::pathFromURL(url);
    if (path.isEmpty())
        return notURLError(url);
    const QByteArray name = KZPath::fileName(path);
    if (name.isEmpty() || name == "." || name == "..")
        return outsideTrashError(path);
    // The folders above the item may be reached through links (a data folder moved
    // elsewhere); from the parent's descriptor on, nothing is followed.
    const KZFileDescriptor parentfd(fm.openat(AT_FDCWD, KZPath::parentPath(path).constData(),
                                              O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (!parentfd.isValid())
        return KZFileManager::errorForErrno(errno, path);
    bool topLevel = false;
    if (!realFolderIsInTrash(KZTrashFolder::realPathOfDescriptor(parentfd.get(), fm), &topLevel))
        return outsideTrashError(path);
    return removeInFolder(parentfd.get(), name, KZPath::parentPath(path), topLevel, fm);
}

std::optional<KZCommonFlleUtilties::TrashFolder>
KZCommonFlleUtilties::checkTrashFolder(int dirfd, KZFileManager &fm) const
{
    TrashFolder folder;
    folder.m_realPath = KZTrashFolder::realPathOfDescriptor(dirfd, fm);
    if (folder.m_realPath.isEmpty()
        || !realFolderIsInTrash(folder.m_realPath, &folder.m_isFilesFolder))
        return std::nullopt;
    struct statx st = {};
    if (fm.statx(dirfd, "", AT_EMPTY_PATH, STATX_INO, &st) != 0)
        return std::nullopt;
    folder.m_dirfd = dirfd;
    folder.m_device = makeDevice(st);
    folder.m_inode = st.stx_ino;
    if (folder.m_isFilesFolder)
        folder.m_infoFolder.reset(fm.openat(dirfd, "../info", kDirectoryFlags, 0));
    return folder;
}

std::optional<KZCommonFlleUtilties::TrashFolder>
KZCommonFlleUtilties::openSubfolder(const TrashFolder &parent, const QByteArray &name,
                                    KZFileManager &fm) const
{
    if (!isEntryName(name)) {
        errno = EINVAL;
        return std::nullopt;
    }
    struct open_how how = {};
    how.flags = quint64(kDirectoryFlags);
    how.resolve = RESOLVE_NO_XDEV | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    int fd = fm.openat2(parent.m_dirfd, name.constData(), &how);
    if (fd < 0 && errno == EACCES && giveOwnFolderAccess(parent.m_dirfd, name.constData(), fm))
        fd = fm.openat2(parent.m_dirfd, name.constData(), &how);
    if (fd < 0 && errno == ENOSYS) {
        // Older kernels: open, then refuse a mount point.
        fd = fm.openat(parent.m_dirfd, name.constData(), kDirectoryFlags, 0);
        struct statx st = {};
        if (fd >= 0
            && (fm.statx(fd, "", AT_EMPTY_PATH, STATX_TYPE, &st) != 0
                || (st.stx_attributes_mask & st.stx_attributes & STATX_ATTR_MOUNT_ROOT))) {
            fm.close(fd);
            fd = -1;
            errno = EXDEV;
        }
    }
    if (fd < 0)
        return std::nullopt;
    completeOwnFolderAccess(fd, fm);
    TrashFolder folder;
    folder.m_dirfd = fd;
    folder.m_realPath = KZPath::joinForDisplay(parent.m_realPath, name);
    struct statx st = {};
    if (fm.statx(fd, "", AT_EMPTY_PATH, STATX_INO, &st) == 0) {
        folder.m_device = makeDevice(st);
        folder.m_inode = st.stx_ino;
    }
    return folder;
}

std::optional<KZCommonFlleUtilties::TrashFolder>
KZCommonFlleUtilties::reopened(const TrashFolder &folder, int dirfd, KZFileManager &fm) const
{
    struct statx st = {};
    if (fm.statx(dirfd, "", AT_EMPTY_PATH, STATX_INO, &st) != 0 || makeDevice(st) != folder.m_device
        || st.stx_ino != folder.m_inode)
        return std::nullopt;
    TrashFolder again;
    again.m_dirfd = dirfd;
    again.m_realPath = folder.m_realPath;
    again.m_isFilesFolder = folder.m_isFilesFolder;
    again.m_device = folder.m_device;
    again.m_inode = folder.m_inode;
    if (again.m_isFilesFolder)
        again.m_infoFolder.reset(fm.openat(dirfd, "../info", kDirectoryFlags, 0));
    return again;
}

std::optional<KZError> KZCommonFlleUtilties::deleteItemAt(const TrashFolder &folder,
                                                          const QByteArray &name, KZFileManager &fm,
                                                          mode_t type) const
{
    if (!isEntryName(name))
        return outsideTrashError(KZPath::join(folder.realPath(), name));
    return removeInFolder(folder.descriptor(), name, folder.realPath(), folder.isFilesFolder(), fm,
                          type, &folder);
}

std::optional<KZError> KZCommonFlleUtilties::deleteItemAt(int dirfd, const QByteArray &name,
                                                          KZFileManager &fm) const
{
    const auto folder = checkTrashFolder(dirfd, fm);
    if (!folder)
        return outsideTrashError(
            KZPath::join(KZTrashFolder::realPathOfDescriptor(dirfd, fm), name));
    return deleteItemAt(*folder, name, fm, 0);
}

std::optional<KZError> KZCommonFlleUtilties::removeInFolder(int parentfd, const QByteArray &name,
                                                            const QByteArray &folderPath,
                                                            bool topLevel, KZFileManager &fm,
                                                            mode_t type,
                                                            const TrashFolder *folder) const
{
    struct statx st = {};
    if (type != 0) {
        // Known to the caller; should it have changed since, a file removed as a file fails
        // on a folder (EISDIR), and a folder that became something else is unlinked as such.
        st.stx_mode = type;
    } else if (fm.statx(parentfd, name.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) != 0) {
        return KZFileManager::errorForErrno(errno, KZPath::join(folderPath, name));
    }
    RemovalState state{fm, std::nullopt, {}};
    if (S_ISDIR(st.stx_mode)) {
        // An empty folder goes at once; anything else (contents, a mount point, missing
        // rights) is left to the walk, which knows what to do with each.
        if (unlinkInOwnFolder(fm, parentfd, name.constData(), AT_REMOVEDIR) != 0)
            removeTree(state, parentfd, name.constData());
    } else if (unlinkInOwnFolder(fm, parentfd, name.constData(), 0) != 0) {
        state.firstError = KZFileManager::errorForErrno(errno, KZPath::join(folderPath, name));
    }

    if (topLevel && !state.firstError
        && fm.statx(parentfd, name.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) != 0
        && errno == ENOENT) {
        if (folder && folder->m_infoFolder.isValid()) {
            const QByteArray infoName = name + KZTrashInfo::kFileSuffix;
            fm.unlinkat(folder->m_infoFolder.get(), infoName.constData(), 0);
            return state.firstError;
        }
        const KZFileDescriptor rootfd(fm.openat(parentfd, "..", kDirectoryFlags, 0));
        if (rootfd.isValid())
            KZTrashFolder::forgetItems(rootfd.get(), {name}, fm);
    }
    return state.firstError;
}

bool KZCommonFlleUtilties::giveOwnFolderAccess(int dirfd, const char *name, KZFileManager &fm)
{
    // Through an O_PATH descriptor, so that a link swapped in at the last moment cannot
    // redirect the change.
    const KZFileDescriptor pathfd(
        fm.openat(dirfd, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
    struct statx st = {};
    if (!pathfd.isValid()
        || fm.statx(pathfd.get(), "", AT_EMPTY_PATH, STATX_MODE | STATX_UID, &st) != 0
        || st.stx_uid != ::geteuid()) {
        errno = EACCES;
        return false;
    }
    const QByteArray magic = "/proc/self/fd/" + QByteArray::number(pathfd.get());
    return fm.fchmodat(AT_FDCWD, magic.constData(), (st.stx_mode & 07777) | S_IRWXU, 0) == 0;
}

bool KZCommonFlleUtilties::completeOwnFolderAccess(int fd, KZFileManager &fm)
{
    struct statx st = {};
    if (fm.statx(fd, "", AT_EMPTY_PATH, STATX_MODE | STATX_UID, &st) != 0 || !S_ISDIR(st.stx_mode)
        || st.stx_uid != ::geteuid() || (st.stx_mode & S_IRWXU) == S_IRWXU)
        return false;
    return fm.fchmod(fd, (st.stx_mode & 07777) | S_IRWXU) == 0;
}

std::optional<KZError> KZCommonFlleUtilties::secureErase(const QUrl &url, KZFileManager &fm) const
{
    const QByteArray tool = m_secureRemoveTool.toLocal8Bit();
    if (fm.faccessat(AT_FDCWD, tool.constData(), F_OK, 0) != 0)
        return std::nullopt;
    const QByteArray path = KZPath::pathFromURL(url);
    if (path.isEmpty())
        return notURLError(url);
    bool topLevel = false;
    if (!isInsideTrash(path, fm, &topLevel))
        return outsideTrashError(path);

    int pipefd[2];
    if (fm.pipe2(pipefd, O_CLOEXEC) != 0)
        return KZFileManager::errorForErrno(errno, path);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipefd[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipefd[1], STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);

    // srm's reasons are strerror texts; the C locale keeps them in the English the error
    // table looks for.
    std::vector<QByteArray> environment;
    for (char **each = environ; *each; ++each) {
        const QByteArray variable(*each);
        if (!variable.startsWith("LC_") && !variable.startsWith("LANG=")
            && !variable.startsWith("LANGUAGE="))
            environment.push_back(variable);
    }
    environment.push_back("LC_ALL=C");
    std::vector<char *> envp;
    for (QByteArray &variable : environment)
        envp.push_back(variable.data());
    envp.push_back(nullptr);
    QByteArray option("-lrv");
    QByteArray toolArgument = tool;
    QByteArray pathArgument = path;
    char *argv[] = {toolArgument.data(), option.data(), pathArgument.data(), nullptr};

    pid_t pid = 0;
    const int spawned = fm.spawn(&pid, tool.constData(), &actions, argv, envp.data());
    posix_spawn_file_actions_destroy(&actions);
    fm.close(pipefd[1]);
    KZFileDescriptor output(pipefd[0]);
    if (spawned != 0)
        return KZFileManager::errorForErrno(spawned, path);

    // Read what is there each time (read blocks until some output or the end); every chunk
    // that reports a failure replaces the error of the chunks before it.
    std::optional<KZError> current;
    int readError = 0;
    const auto readChunk = [&output, &fm, &readError]() {
        QByteArray chunk(65536, Qt::Uninitialized);
        ssize_t got;
        do {
            got = fm.read(output.get(), chunk.data(), size_t(chunk.size()));
        } while (got < 0 && errno == EINTR);
        if (got < 0)
            readError = errno;
        chunk.truncate(got > 0 ? got : 0);
        return chunk;
    };
    for (QByteArray chunk = readChunk(); !chunk.isEmpty(); chunk = readChunk()) {
        if (auto error = errorInSecureRemoveChunk(chunk))
            current = std::move(error);
    }
    // Unread output would hold the tool at a full pipe for ever: let it see the pipe closed.
    output.reset();
    // The end of the output: the tool has ended or is ending. Its status is not consulted.
    int status = 0;
    while (fm.waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }

    struct statx st = {};
    const bool gone
        = fm.statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) != 0
          && errno == ENOENT;
    // What the tool said could not be read: only the item's absence tells it was erased.
    if (readError != 0 && !current && !gone)
        current = KZFileManager::errorForErrno(readError, path);
    if (topLevel && gone) {
        const KZFileDescriptor rootfd(fm.openat(
            AT_FDCWD, (KZPath::parentPath(path) + "/..").constData(), kDirectoryFlags, 0));
        if (rootfd.isValid())
            KZTrashFolder::forgetItems(rootfd.get(), {KZPath::fileName(path)}, fm);
    }
    return current;
}

std::optional<KZError> KZCommonFlleUtilties::errorInSecureRemoveChunk(const QByteArray &chunk)
{
    const QString text = QString::fromLatin1(chunk).trimmed();
    for (const QString &piece : text.split(QLatin1Char('%'))) {
        if (const auto reason = failureInPiece(piece))
            return errorFromErrorString(*reason);
    }
    return std::nullopt;
}

KZError KZCommonFlleUtilties::errorFromErrorString(const QString &line)
{
    struct Row
    {
        const char *text;
        int code;
        const char *failure;
    };
    static const std::array rows = {
        Row{"Operation not permitted", EPERM, "Operation not permitted (The file is locked.)"},
        Row{"Permission denied", EACCES, "Permission denied (You don't have enough privilegies.)"},
        Row{"No such file or directory", ENOENT, "No such file or directory."},
    };
    qint64 code = KZError::kSecureEraseFailedCode;
    QString failure = QStringLiteral("The file can't be erased because an error is occured.");
    for (const Row &row : rows) {
        if (line.contains(QLatin1String(row.text))) {
            code = row.code;
            failure = QLatin1String(row.failure);
            break;
        }
    }
    // The failure text is the key and the failure-reason key its value: the reverse of the
    // usual layout. Readers of these errors depend on it.
    return KZError{KZError::kPOSIXDomain,
                   code,
                   QStringLiteral("The operation couldn’t be completed. (%1 error %2.)")
                       .arg(KZError::kPOSIXDomain)
                       .arg(code),
                   {{failure, KZError::kLocalizedFailureReasonKey}}};
}

QString KZCommonFlleUtilties::failureTextOfError(const KZError &error)
{
    return error.userInfo.size() == 1 ? error.userInfo.firstKey() : QString();
}

bool KZCommonFlleUtilties::isAnEmptyFolder(const QUrl &url) const
{
    const QByteArray path = KZPath::pathFromURL(url);
    KZFileManager &fm = KZFileManager::defaultManager();
    return isOpenFolderEmpty(
        path.isEmpty() ? -1 : fm.openat(AT_FDCWD, path.constData(), kDirectoryFlags, 0), fm,
        nullptr);
}

bool KZCommonFlleUtilties::isAnEmptyFolderAt(int dirfd, const QByteArray &name, KZFileManager &fm,
                                             bool *hasNoEntries) const
{
    return isOpenFolderEmpty(fm.openat(dirfd, name.constData(), kDirectoryFlags, 0), fm,
                             hasNoEntries);
}

bool KZCommonFlleUtilties::isOpenFolderEmpty(int rootfd, KZFileManager &fm,
                                             bool *hasNoEntries) const
{
    if (hasNoEntries)
        *hasNoEntries = false;
    using Action = KZDirectoryWalker::Action;
    struct State
    {
        bool hasEntries = false;
        bool flag = false;
        std::optional<QSet<QByteArray>> hiddenNames;
    };
    // A folder that cannot be listed has no entries to show, so it counts as empty.
    if (rootfd < 0)
        return true;

    std::vector<State> states(1);
    bool answeredNo = false;
    KZDirectoryWalker walker(fm);
    walker.openDirectory = [&states, &fm](int dirfd, const char *name) {
        const int fd = fm.openat(dirfd, name, kDirectoryFlags, 0);
        if (fd >= 0)
            states.emplace_back();
        return fd;
    };
    walker.openFailed = [&states](int, const char *, int) {
        states.back().flag = true; // an unlistable subfolder reads as an empty one
        return Action::Continue;
    };
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        State &state = states.back();
        state.hasEntries = true;
        bool isFolder = entry.type == DT_DIR;
        if (entry.type == DT_UNKNOWN) {
            struct statx st = {};
            isFolder = fm.statx(entry.dirfd, entry.name, AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) == 0
                       && S_ISDIR(st.stx_mode);
        }
        if (isFolder)
            return Action::Descend;
        const QByteArray name(entry.name);
        if (name.startsWith('.'))
            return Action::Continue; // leaves the flag as it is: dot-files alone are not empty
        if (!state.hiddenNames) {
            state.hiddenNames.emplace();
            QByteArray content;
            KZItemAttributes::readSmallFileAt(entry.dirfd, ".hidden", 256 * 1024, &content, fm);
            for (const QByteArray &line : content.split('\n'))
                state.hiddenNames->insert(line);
        }
        // A hidden custom-icon file ("Icon\r") is the folder's decoration, not content.
        if (state.hiddenNames->contains(name) && name.toLower().contains("icon")) {
            state.flag = true;
            return Action::Continue;
        }
        answeredNo = true;
        return Action::Stop;
    };
    walker.leftDirectory = [&](int, const char *) {
        const State child = std::move(states.back());
        states.pop_back();
        if (child.hasEntries && !child.flag) {
            answeredNo = true;
            return Action::Stop;
        }
        states.back().flag = true;
        return Action::Continue;
    };
    walker.walk(rootfd);
    if (answeredNo)
        return false;
    if (hasNoEntries)
        *hasNoEntries = !states.front().hasEntries;
    return !states.front().hasEntries || states.front().flag;
}

bool KZCommonFlleUtilties::isDirectoryWithURL(const QUrl &url) const
{
    return KZItemAttributes::isDirectory(url);
}

QVariant KZCommonFlleUtilties::attributeWithURL(const QUrl &url, KZResourceKey type) const
{
    return KZItemAttributes::attribute(url, type);
}

QByteArray KZCommonFlleUtilties::itemNameWithURL(const QUrl &url) const
{
    return KZItemAttributes::name(url);
}

bool KZCommonFlleUtilties::isHiddenWithURL(const QUrl &url) const
{
    return KZItemAttributes::isHidden(url);
}
