#include "KZSystemCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

KZSystemCalls &KZSystemCalls::real()
{
    static KZSystemCalls calls;
    return calls;
}

int KZSystemCalls::openat(int dirfd, const char *name, int flags, mode_t mode)
{
    return ::openat(dirfd, name, flags, mode);
}

int KZSystemCalls::close(int fd)
{
    return ::close(fd);
}

int KZSystemCalls::statx(int dirfd, const char *name, int flags, unsigned mask, struct statx *out)
{
    return ::statx(dirfd, name, flags, mask, out);
}

ssize_t KZSystemCalls::getdents64(int fd, void *buffer, size_t size)
{
    return ::getdents64(fd, buffer, size);
}
