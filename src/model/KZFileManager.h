#pragma once

#include "KZError.h"
#include "KZSystemCalls.h"

#include <QByteArray>

#include <linux/openat2.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>

// The system calls that removal and volume queries make, behind one seam so that tests (and
// the erase engine's own tests) can make a chosen call fail with EACCES, EBUSY, EROFS or
// ENOSPC. Every method behaves like the call it is named after: -1 (or nullptr) and errno on
// failure. No argument has a default, so that no caller leaves one to chance. Stateless; one
// instance may serve many threads.
class KZFileManager : public KZSystemCalls
{
public:
    // How a removal failure is to be handled: the permission class (EACCES, EPERM) goes to the
    // question and the privileged helper, the busy class (EBUSY, ETXTBSY) is retried or
    // reported as in use, the gone class (ENOENT) means another program removed or restored
    // the item first, everything else (EROFS, ENOSPC, ...) is reported as is.
    enum class ErrorCategory { None, NoPermission, Busy, Gone, Other };

    KZFileManager() = default;
    ~KZFileManager() override = default;

    // The process-wide instance that makes the real calls.
    static KZFileManager &defaultManager();

    int openat(int dirfd, const char *name, int flags, mode_t mode) override;
    // openat2(2): how->resolve limits what the name may cross (ENOSYS on kernels before 5.6).
    virtual int openat2(int dirfd, const char *name, struct open_how *how);
    int close(int fd) override;
    virtual int unlinkat(int dirfd, const char *name, int flags);
    virtual int mkdirat(int dirfd, const char *name, mode_t mode);
    virtual int renameat(int olddirfd, const char *oldname, int newdirfd, const char *newname);
    // syncfs(2): everything written to fd's file system reaches the disk, or the error says why
    // not (EIO: a write-back that failed earlier).
    virtual int syncfs(int fd);
    // renameat2(2): with RENAME_NOREPLACE an existing newname is EEXIST, never replaced.
    virtual int renameat2(int olddirfd, const char *oldname, int newdirfd, const char *newname,
                          unsigned flags);
    virtual int fchmod(int fd, mode_t mode);
    virtual int fchmodat(int dirfd, const char *name, mode_t mode, int flags);
    // With AT_EACCESS: whether the effective user may, as the kernel would answer an open.
    virtual int faccessat(int dirfd, const char *name, int mode, int flags);
    int statx(int dirfd, const char *name, int flags, unsigned mask, struct statx *out) override;
    virtual int statvfs(const char *path, struct statvfs *out);
    // Reads directory entries into buffer (getdents64 records); 0 at the end.
    ssize_t getdents64(int fd, void *buffer, size_t size) override;
    virtual ssize_t read(int fd, void *buffer, size_t size);
    virtual ssize_t write(int fd, const void *data, size_t size);
    // FS_IOC_GETFLAGS / FS_IOC_SETFLAGS (the immutable and append-only flags) on an open item.
    virtual int ioctl(int fd, unsigned long request, int *flags);
    // readlinkat(2): no terminating NUL; the length read, or -1.
    virtual ssize_t readlinkat(int dirfd, const char *name, char *buffer, size_t size);
    virtual int pipe2(int fds[2], int flags);
    // posix_spawn(3): the error number itself on failure (errno is left alone), 0 on success.
    virtual int spawn(pid_t *pid, const char *path, const posix_spawn_file_actions_t *actions,
                      char *const argv[], char *const envp[]);
    virtual pid_t waitpid(pid_t pid, int *status, int options);

    // The category of an errno value, or of an error this model handed back.
    [[nodiscard]] static ErrorCategory categoryOfErrno(int errnum);
    [[nodiscard]] static ErrorCategory categoryOf(const KZError &error);
    // A POSIX-domain error for errnum about path; userInfo "NSFilePath" holds the path bytes.
    [[nodiscard]] static KZError errorForErrno(int errnum, const QByteArray &path);
};
