#include "KZFaultyFileManager.h"

#include <QMutexLocker>

#include <fcntl.h>
#include <unistd.h>

#include <climits>

namespace {

QByteArray lastComponent(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash < 0 ? path : path.mid(slash + 1);
}

// The path of an open descriptor, read past the seam so that a rule about readlinkat does not
// see its own look-ups.
QByteArray pathOfDescriptor(int fd)
{
    if (fd < 0)
        return {};
    char buffer[PATH_MAX];
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(fd);
    const ssize_t length = ::readlink(link.constData(), buffer, sizeof buffer);
    return length > 0 ? QByteArray(buffer, length) : QByteArray();
}

} // namespace

void KZFaultyFileManager::failCall(const QByteArray &call, int errnum, const QByteArray &entry,
                                   int nth)
{
    QMutexLocker locker(&m_lock);
    m_rules.append({call, entry, nth, errnum, 0});
}

void KZFaultyFileManager::clearFailures()
{
    QMutexLocker locker(&m_lock);
    m_rules.clear();
}

int KZFaultyFileManager::callCount(const QByteArray &call) const
{
    QMutexLocker locker(&m_lock);
    return m_calls.value(call);
}

int KZFaultyFileManager::failedCount() const
{
    QMutexLocker locker(&m_lock);
    return m_failed;
}

int KZFaultyFileManager::check(const char *call, int fd, const char *name)
{
    QMutexLocker locker(&m_lock);
    ++m_calls[call];
    QByteArray entry;
    bool entryKnown = false;
    for (Rule &rule : m_rules) {
        if (rule.call != call)
            continue;
        if (!rule.entry.isEmpty()) {
            if (!entryKnown) {
                entry = lastComponent(name && *name ? QByteArray(name) : pathOfDescriptor(fd));
                entryKnown = true;
            }
            if (entry != rule.entry)
                continue;
        }
        ++rule.matched;
        if (rule.nth == 0 || rule.nth == rule.matched) {
            ++m_failed;
            return rule.errnum;
        }
    }
    return 0;
}

#define KZ_FAIL_IF(call, fd, name)                                                                 \
    if (const int errnum = check(call, fd, name)) {                                                \
        errno = errnum;                                                                            \
        return -1;                                                                                 \
    }

int KZFaultyFileManager::openat(int dirfd, const char *name, int flags, mode_t mode)
{
    if (beforeOpen)
        beforeOpen(dirfd, name);
    KZ_FAIL_IF("openat", dirfd, name)
    return KZFileManager::openat(dirfd, name, flags, mode);
}

int KZFaultyFileManager::openat2(int dirfd, const char *name, struct open_how *how)
{
    KZ_FAIL_IF("openat2", dirfd, name)
    return KZFileManager::openat2(dirfd, name, how);
}

int KZFaultyFileManager::close(int fd)
{
    // The descriptor goes whatever the answer, as the kernel's close does.
    const int errnum = check("close", fd, nullptr);
    const int closed = KZFileManager::close(fd);
    if (errnum != 0) {
        errno = errnum;
        return -1;
    }
    return closed;
}

int KZFaultyFileManager::unlinkat(int dirfd, const char *name, int flags)
{
    if (const int errnum = onUnlink ? onUnlink(QByteArray(name)) : 0) {
        errno = errnum;
        return -1;
    }
    KZ_FAIL_IF("unlinkat", dirfd, name)
    return KZFileManager::unlinkat(dirfd, name, flags);
}

int KZFaultyFileManager::mkdirat(int dirfd, const char *name, mode_t mode)
{
    KZ_FAIL_IF("mkdirat", dirfd, name)
    return KZFileManager::mkdirat(dirfd, name, mode);
}

int KZFaultyFileManager::renameat(int olddirfd, const char *oldname, int newdirfd,
                                  const char *newname)
{
    KZ_FAIL_IF("renameat", olddirfd, oldname)
    return KZFileManager::renameat(olddirfd, oldname, newdirfd, newname);
}

int KZFaultyFileManager::fchmod(int fd, mode_t mode)
{
    KZ_FAIL_IF("fchmod", fd, nullptr)
    return KZFileManager::fchmod(fd, mode);
}

int KZFaultyFileManager::fchmodat(int dirfd, const char *name, mode_t mode, int flags)
{
    // Through /proc/self/fd/N: the entry is the folder the descriptor stands for.
    const QByteArray path(name);
    const bool magic = path.startsWith("/proc/self/fd/");
    const int fd = magic ? path.mid(14).toInt() : dirfd;
    KZ_FAIL_IF("fchmodat", fd, magic ? nullptr : name)
    return KZFileManager::fchmodat(dirfd, name, mode, flags);
}

int KZFaultyFileManager::faccessat(int dirfd, const char *name, int mode, int flags)
{
    KZ_FAIL_IF("faccessat", dirfd, name)
    return KZFileManager::faccessat(dirfd, name, mode, flags);
}

int KZFaultyFileManager::statx(int dirfd, const char *name, int flags, unsigned mask,
                               struct statx *out)
{
    KZ_FAIL_IF("statx", dirfd, name)
    return KZFileManager::statx(dirfd, name, flags, mask, out);
}

int KZFaultyFileManager::statvfs(const char *path, struct statvfs *out)
{
    KZ_FAIL_IF("statvfs", -1, path)
    return KZFileManager::statvfs(path, out);
}

ssize_t KZFaultyFileManager::getdents64(int fd, void *buffer, size_t size)
{
    KZ_FAIL_IF("getdents64", fd, nullptr)
    return KZFileManager::getdents64(fd, buffer, size);
}

ssize_t KZFaultyFileManager::read(int fd, void *buffer, size_t size)
{
    KZ_FAIL_IF("read", fd, nullptr)
    return KZFileManager::read(fd, buffer, size);
}

ssize_t KZFaultyFileManager::write(int fd, const void *data, size_t size)
{
    KZ_FAIL_IF("write", fd, nullptr)
    return KZFileManager::write(fd, data, size);
}

int KZFaultyFileManager::ioctl(int fd, unsigned long request, int *flags)
{
    KZ_FAIL_IF("ioctl", fd, nullptr)
    return KZFileManager::ioctl(fd, request, flags);
}

ssize_t KZFaultyFileManager::readlinkat(int dirfd, const char *name, char *buffer, size_t size)
{
    // The real-path look-up of a descriptor: the entry is the descriptor's.
    const QByteArray path(name);
    const bool magic = path.startsWith("/proc/self/fd/");
    KZ_FAIL_IF("readlinkat", magic ? path.mid(14).toInt() : dirfd, magic ? nullptr : name)
    return KZFileManager::readlinkat(dirfd, name, buffer, size);
}

int KZFaultyFileManager::pipe2(int fds[2], int flags)
{
    KZ_FAIL_IF("pipe2", -1, nullptr)
    return KZFileManager::pipe2(fds, flags);
}

int KZFaultyFileManager::spawn(pid_t *pid, const char *path,
                               const posix_spawn_file_actions_t *actions, char *const argv[],
                               char *const envp[])
{
    // posix_spawn answers its error rather than setting errno. The entry is the item (the
    // last argument).
    const char *item = argv[0] && argv[1] && argv[2] ? argv[2] : path;
    if (const int errnum = check("spawn", -1, item))
        return errnum;
    return KZFileManager::spawn(pid, path, actions, argv, envp);
}

pid_t KZFaultyFileManager::waitpid(pid_t pid, int *status, int options)
{
    KZ_FAIL_IF("waitpid", -1, nullptr)
    return KZFileManager::waitpid(pid, status, options);
}
