#pragma once

#include "model/KZFileManager.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>

#include <functional>

// The file manager of the tests: fails chosen calls with a chosen errno and lets a test act
// just before a call to stage a race. A rule names the call as the seam names it ("openat",
// "unlinkat", "statx", "getdents64", "spawn", ...), optionally the entry it is about (the last
// component of the name passed, or, for a call on a descriptor alone, of the descriptor's
// path), and optionally which matching call fails (1 for the first; 0 for every one).
// Thread-safe: the erase engine walks on a thread of its own. Set the hooks while no job runs.
class KZFaultyFileManager : public KZFileManager
{
public:
    void failCall(const QByteArray &call, int errnum, const QByteArray &entry = {}, int nth = 0);
    void clearFailures();
    // How many times call was made since the manager was made.
    [[nodiscard]] int callCount(const QByteArray &call) const;
    // How many calls the rules failed.
    [[nodiscard]] int failedCount() const;

    // Before every unlinkat, with the entry's name: the errno to fail it with, or 0.
    std::function<int(const QByteArray &name)> onUnlink;
    // Before every openat, with its arguments.
    std::function<void(int dirfd, const char *name)> beforeOpen;

    int openat(int dirfd, const char *name, int flags, mode_t mode) override;
    int openat2(int dirfd, const char *name, struct open_how *how) override;
    int close(int fd) override;
    int unlinkat(int dirfd, const char *name, int flags) override;
    int mkdirat(int dirfd, const char *name, mode_t mode) override;
    int renameat(int olddirfd, const char *oldname, int newdirfd, const char *newname) override;
    int fchmod(int fd, mode_t mode) override;
    int fchmodat(int dirfd, const char *name, mode_t mode, int flags) override;
    int faccessat(int dirfd, const char *name, int mode, int flags) override;
    int statx(int dirfd, const char *name, int flags, unsigned mask, struct statx *out) override;
    int statvfs(const char *path, struct statvfs *out) override;
    ssize_t getdents64(int fd, void *buffer, size_t size) override;
    ssize_t read(int fd, void *buffer, size_t size) override;
    ssize_t write(int fd, const void *data, size_t size) override;
    int ioctl(int fd, unsigned long request, int *flags) override;
    ssize_t readlinkat(int dirfd, const char *name, char *buffer, size_t size) override;
    int pipe2(int fds[2], int flags) override;
    int spawn(pid_t *pid, const char *path, const posix_spawn_file_actions_t *actions,
              char *const argv[], char *const envp[]) override;
    pid_t waitpid(pid_t pid, int *status, int options) override;

private:
    struct Rule
    {
        QByteArray call;
        QByteArray entry;
        int nth = 0;
        int errnum = 0;
        int matched = 0;
    };
    // The errno a rule fails this call with, or 0; counts the call. fd: the descriptor the
    // call is about when name is empty (its path names the entry), else -1.
    int check(const char *call, int fd, const char *name);

    mutable QMutex m_lock;
    QList<Rule> m_rules;
    QHash<QByteArray, int> m_calls;
    int m_failed = 0;
};
