#pragma once

#include <sys/stat.h>
#include <sys/types.h>

// The system calls a directory walk makes, behind virtual functions so that the file manager
// (and through it a test) can fail any of them. Plain C++ on libc, no Qt: the privileged
// helper walks with the same walker. Each behaves like the call it is named after: -1 and errno
// on failure. Stateless; one instance may serve many threads.
class KZSystemCalls
{
public:
    KZSystemCalls() = default;
    virtual ~KZSystemCalls() = default;
    KZSystemCalls(const KZSystemCalls &) = delete;
    KZSystemCalls &operator=(const KZSystemCalls &) = delete;

    // The process-wide instance that makes the real calls.
    static KZSystemCalls &real();

    virtual int openat(int dirfd, const char *name, int flags, mode_t mode);
    virtual int close(int fd);
    virtual int statx(int dirfd, const char *name, int flags, unsigned mask, struct statx *out);
    // Reads directory entries into buffer (getdents64 records); 0 at the end.
    virtual ssize_t getdents64(int fd, void *buffer, size_t size);
};
