#include "KZFileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

KZFileManager &KZFileManager::defaultManager()
{
    static KZFileManager manager;
    return manager;
}

int KZFileManager::openat(int dirfd, const char *name, int flags, mode_t mode)
{
    return ::openat(dirfd, name, flags, mode);
}

int KZFileManager::openat2(int dirfd, const char *name, struct open_how *how)
{
    return int(::syscall(SYS_openat2, dirfd, name, how, sizeof *how));
}

int KZFileManager::close(int fd)
{
    return ::close(fd);
}

int KZFileManager::unlinkat(int dirfd, const char *name, int flags)
{
    return ::unlinkat(dirfd, name, flags);
}

int KZFileManager::mkdirat(int dirfd, const char *name, mode_t mode)
{
    return ::mkdirat(dirfd, name, mode);
}

int KZFileManager::renameat(int olddirfd, const char *oldname, int newdirfd, const char *newname)
{
    return ::renameat(olddirfd, oldname, newdirfd, newname);
}

int KZFileManager::syncfs(int fd)
{
    return ::syncfs(fd);
}

int KZFileManager::renameat2(int olddirfd, const char *oldname, int newdirfd, const char *newname,
                             unsigned flags)
{
    return ::renameat2(olddirfd, oldname, newdirfd, newname, flags);
}

int KZFileManager::fchmod(int fd, mode_t mode)
{
    return ::fchmod(fd, mode);
}

int KZFileManager::fchmodat(int dirfd, const char *name, mode_t mode, int flags)
{
    return ::fchmodat(dirfd, name, mode, flags);
}

int KZFileManager::faccessat(int dirfd, const char *name, int mode, int flags)
{
    return ::faccessat(dirfd, name, mode, flags);
}

int KZFileManager::statx(int dirfd, const char *name, int flags, unsigned mask, struct statx *out)
{
    return ::statx(dirfd, name, flags, mask, out);
}

int KZFileManager::statvfs(const char *path, struct statvfs *out)
{
    return ::statvfs(path, out);
}

ssize_t KZFileManager::getdents64(int fd, void *buffer, size_t size)
{
    return ::getdents64(fd, buffer, size);
}

ssize_t KZFileManager::read(int fd, void *buffer, size_t size)
{
    return ::read(fd, buffer, size);
}

ssize_t KZFileManager::write(int fd, const void *data, size_t size)
{
    return ::write(fd, data, size);
}

int KZFileManager::ioctl(int fd, unsigned long request, int *flags)
{
    return ::ioctl(fd, request, flags);
}

ssize_t KZFileManager::readlinkat(int dirfd, const char *name, char *buffer, size_t size)
{
    return ::readlinkat(dirfd, name, buffer, size);
}

int KZFileManager::pipe2(int fds[2], int flags)
{
    return ::pipe2(fds, flags);
}

int KZFileManager::spawn(pid_t *pid, const char *path, const posix_spawn_file_actions_t *actions,
                         char *const argv[], char *const envp[])
{
    return ::posix_spawn(pid, path, actions, nullptr, argv, envp);
}

pid_t KZFileManager::waitpid(pid_t pid, int *status, int options)
{
    return ::waitpid(pid, status, options);
}

KZFileManager::ErrorCategory KZFileManager::categoryOfErrno(int errnum)
{
    switch (errnum) {
    case 0:
        return ErrorCategory::None;
    case EACCES:
    case EPERM:
        return ErrorCategory::NoPermission;
    case EBUSY:
    case ETXTBSY:
        return ErrorCategory::Busy;
    case ENOENT:
        return ErrorCategory::Gone;
    default:
        return ErrorCategory::Other;
    }
}

KZFileManager::ErrorCategory KZFileManager::categoryOf(const KZError &error)
{
    if (error.domain != KZError::kPOSIXDomain)
        return ErrorCategory::Other;
    return categoryOfErrno(int(error.code));
}

KZError KZFileManager::errorForErrno(int errnum, const QByteArray &path)
{
    KZError error = KZError::posix(errnum);
    if (!path.isEmpty())
        error.userInfo.insert(QStringLiteral("NSFilePath"), path);
    return error;
}
