#include "KZHelperEraser.h"

#include "KZDirectoryWalker.h"

#include "protocol/KZFileDescriptor.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace {

constexpr std::uint64_t kLockAttributes = STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND;
// Descriptors opened on items: no link is followed, no terminal taken, no FIFO waited on.
constexpr int kItemFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

bool statxAt(int dir, const char *name, struct statx *st)
{
    const int flags = AT_SYMLINK_NOFOLLOW | (name[0] == '\0' ? AT_EMPTY_PATH : 0);
    return statx(dir, name, flags, STATX_BASIC_STATS | STATX_MNT_ID, st) == 0;
}

bool sameFile(const struct statx &a, const struct statx &b)
{
    return a.stx_ino == b.stx_ino && a.stx_dev_major == b.stx_dev_major
           && a.stx_dev_minor == b.stx_dev_minor;
}

bool isLocked(const struct statx &st)
{
    return (st.stx_attributes_mask & kLockAttributes) && (st.stx_attributes & kLockAttributes);
}

void note(std::string *failure, const std::string &name, const std::string &why)
{
    if (failure && failure->empty())
        *failure = "\"" + name + "\": " + why;
}

void noteErrno(std::string *failure, const std::string &name)
{
    note(failure, name, std::strerror(errno));
}

// Clears the immutable and append-only flags of an open item.
bool clearFlags(int fd)
{
    int flags = 0;
    if (ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0)
        return errno == ENOTTY || errno == EOPNOTSUPP; // a file system without such flags
    if (!(flags & (FS_IMMUTABLE_FL | FS_APPEND_FL)))
        return true;
    flags &= ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
    return ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
}

// Clears the flags of a regular file after checking that the name still holds what was seen.
bool unlockFile(int dir, const std::string &name, const struct statx &seen, std::string *failure)
{
    if (!isLocked(seen))
        return true;
    if (!S_ISREG(seen.stx_mode)) {
        note(failure, name, "locked, and not a regular file");
        return false;
    }
    KZFileDescriptor fd(openat(dir, name.c_str(), O_RDONLY | kItemFlags));
    struct statx now
    {
    };
    if (!fd.isValid()) {
        noteErrno(failure, name);
        return false;
    }
    if (!statxAt(fd.get(), "", &now) || !sameFile(now, seen)) {
        note(failure, name, "replaced while erasing");
        return false;
    }
    if (!clearFlags(fd.get())) {
        noteErrno(failure, name);
        return false;
    }
    return true;
}

bool writeAll(int fd, const unsigned char *data, std::size_t size, off_t offset)
{
    while (size > 0) {
        const ssize_t written = pwrite(fd, data, size, offset);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= static_cast<std::size_t>(written);
        offset += written;
    }
    return true;
}

} // namespace

KZHelperEraser::KZHelperEraser(const std::atomic<bool> *stopped)
    : m_stopped(stopped)
{}

template<typename Leaf, typename Enter, typename Done>
bool KZHelperEraser::walk(int parentFd, const std::string &name, std::uint64_t mountId, Leaf leaf,
                          Enter enter, Done folderDone, std::string *failure, bool *stopped)
{
    using Action = KZDirectoryWalker::Action;
    // Opens a folder of the walk: on the walk's mount, the folder it was listed as, entered.
    // errno 0 when the refusal is noted already.
    auto open = [&](int parent, const char *child, const struct statx *seen) {
        KZFileDescriptor fd(openat(parent, child, O_RDONLY | O_DIRECTORY | kItemFlags));
        if (!fd.isValid())
            return -1;
        struct statx now
        {
        };
        if (!statxAt(fd.get(), "", &now) || (seen && !sameFile(now, *seen))) {
            note(failure, child, "replaced while erasing");
        } else if (now.stx_mnt_id != mountId) {
            note(failure, child, "on another file system");
        } else if (enter(fd.get(), child, now)) {
            return fd.release();
        }
        errno = 0;
        return -1;
    };

    struct statx top
    {
    };
    if (!statxAt(parentFd, name.c_str(), &top)) {
        noteErrno(failure, name);
        return false;
    }
    const int rootfd = open(parentFd, name.c_str(), &top);
    if (rootfd < 0) {
        if (errno != 0)
            noteErrno(failure, name);
        return false;
    }

    // The folders a walk holds open stay bounded, so a tree of any depth is walked.
    bool ok = true;
    std::vector<std::pair<std::string, struct statx>> leaves;
    KZDirectoryWalker walker(KZSystemCalls::real());
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        if (isStopped()) {
            *stopped = true;
            return Action::Stop;
        }
        struct statx st
        {
        };
        if (!statxAt(entry.dirfd, entry.name, &st)) {
            if (errno != ENOENT) { // gone meanwhile: nothing left to erase
                noteErrno(failure, entry.name);
                ok = false;
            }
            return Action::Continue;
        }
        if (S_ISDIR(st.stx_mode))
            return Action::Descend;
        leaves.emplace_back(entry.name, st);
        return Action::Continue;
    };
    // A folder's items go once it has been read through, not while it is read.
    walker.finishedReading = [&](int dirfd, std::size_t) {
        for (const auto &[child, st] : leaves) {
            if (isStopped()) {
                *stopped = true;
                return Action::Stop;
            }
            ok = leaf(dirfd, child, st) && ok;
        }
        leaves.clear();
        return Action::Continue;
    };
    walker.openDirectory = [&](int dirfd, const char *child) {
        return open(dirfd, child, nullptr);
    };
    walker.openFailed = [&](int, const char *child, int errnum) {
        if (errnum != 0 && errnum != ENOENT) {
            errno = errnum;
            noteErrno(failure, child);
        }
        ok = ok && errnum == ENOENT;
        return Action::Continue;
    };
    walker.readFailed = [&](int, int errnum) {
        errno = errnum;
        noteErrno(failure, name);
        ok = false;
    };
    walker.leftDirectory = [&](int dirfd, const char *child) {
        ok = folderDone(dirfd, child) && ok;
        return Action::Continue;
    };
    if (!walker.walk(rootfd)) {
        if (*stopped) {
            note(failure, name, "stopped by the user");
        } else {
            note(failure, name, "replaced while erasing"); // a folder moved under the walk
        }
        return false;
    }
    return folderDone(parentFd, name) && ok;
}

bool KZHelperEraser::removeLeaf(int parentFd, const std::string &name, const struct statx &st,
                                const Options &options, Result *result)
{
    if (options.unlock && !unlockFile(parentFd, name, st, &result->failure))
        return false;
    if (options.secure && S_ISREG(st.stx_mode) && !overwriteFile(parentFd, name, &result->failure))
        return false;
    if (unlinkat(parentFd, name.c_str(), 0) != 0) {
        noteErrno(&result->failure, name);
        return false;
    }
    ++result->count;
    const bool counted
        = st.stx_nlink > 1
          && !m_seenLinks
                  .emplace((std::uint64_t{st.stx_dev_major} << 32) | st.stx_dev_minor, st.stx_ino)
                  .second;
    if (!counted)
        result->bytes += st.stx_blocks * 512;
    return true;
}

KZHelperEraser::Result KZHelperEraser::removeItem(int parentFd, const std::string &name,
                                                  std::uint64_t mountId, const Options &options)
{
    Result result;
    struct statx st
    {
    };
    if (!statxAt(parentFd, name.c_str(), &st)) {
        result.vanished = errno == ENOENT;
        noteErrno(&result.failure, name);
        return result;
    }
    if (!S_ISDIR(st.stx_mode)) {
        result.erased = removeLeaf(parentFd, name, st, options, &result);
        return result;
    }

    auto leaf = [&](int dir, const std::string &child, const struct statx &childSt) {
        return removeLeaf(dir, child, childSt, options, &result);
    };
    auto enter = [&](int fd, const std::string &child, const struct statx &folder) {
        if (options.unlock && isLocked(folder) && !clearFlags(fd)) {
            noteErrno(&result.failure, child);
            return false;
        }
        return true;
    };
    bool topRemoved = false;
    auto done = [&](int parent, const std::string &folder) {
        if (unlinkat(parent, folder.c_str(), AT_REMOVEDIR) != 0) {
            noteErrno(&result.failure, folder);
            return false;
        }
        ++result.count;
        topRemoved = parent == parentFd && folder == name;
        return true;
    };
    // Whether the top folder went is what counts; the walk's first failure says why not.
    const bool walked
        = walk(parentFd, name, mountId, leaf, enter, done, &result.failure, &result.stopped);
    result.erased = topRemoved;
    if (result.erased)
        result.failure.clear();
    else if (!walked && result.failure.empty())
        note(&result.failure, name, "not erased");
    return result;
}

bool KZHelperEraser::unlockItem(int parentFd, const std::string &name, std::uint64_t mountId,
                                std::string *failure)
{
    struct statx st
    {
    };
    if (!statxAt(parentFd, name.c_str(), &st)) {
        noteErrno(failure, name);
        return false;
    }
    if (!S_ISDIR(st.stx_mode))
        return unlockFile(parentFd, name, st, failure);
    auto leaf = [&](int dir, const std::string &child, const struct statx &childSt) {
        return unlockFile(dir, child, childSt, failure);
    };
    auto enter = [&](int fd, const std::string &child, const struct statx &folder) {
        if (isLocked(folder) && !clearFlags(fd)) {
            noteErrno(failure, child);
            return false;
        }
        return true;
    };
    auto done = [](int, const std::string &) {
        return true;
    };
    bool stopped = false;
    return walk(parentFd, name, mountId, leaf, enter, done, failure, &stopped);
}

bool KZHelperEraser::removeEmptyFolder(int parentFd, const std::string &name, std::string *failure)
{
    struct statx st
    {
    };
    if (!statxAt(parentFd, name.c_str(), &st)) {
        noteErrno(failure, name);
        return false;
    }
    if (!S_ISDIR(st.stx_mode)) {
        note(failure, name, "not a folder");
        return false;
    }
    // rmdir takes only an empty folder, so nothing the user kept inside can be lost here.
    if (unlinkat(parentFd, name.c_str(), AT_REMOVEDIR) != 0) {
        noteErrno(failure, name);
        return false;
    }
    return true;
}

bool KZHelperEraser::overwriteFile(int parentFd, const std::string &name, std::string *failure)
{
    struct statx seen
    {
    };
    if (!statxAt(parentFd, name.c_str(), &seen)) {
        noteErrno(failure, name);
        return false;
    }
    KZFileDescriptor fd(openat(parentFd, name.c_str(), O_WRONLY | kItemFlags));
    struct statx st
    {
    };
    if (!fd.isValid()) {
        noteErrno(failure, name);
        return false;
    }
    if (!statxAt(fd.get(), "", &st) || !sameFile(st, seen) || !S_ISREG(st.stx_mode)) {
        note(failure, name, "replaced while erasing");
        return false;
    }
    if (st.stx_nlink > 1)
        return true;

    constexpr std::size_t kChunk = 1u << 20;
    std::vector<unsigned char> buffer(std::min<std::uint64_t>(kChunk, st.stx_size));
    for (int pass = 0; pass < 2; ++pass) {
        if (pass == 0)
            std::fill(buffer.begin(), buffer.end(), 0xff);
        for (std::uint64_t offset = 0; offset < st.stx_size; offset += buffer.size()) {
            const std::size_t length = std::min<std::uint64_t>(buffer.size(), st.stx_size - offset);
            if (pass == 1) {
                for (std::size_t filled = 0; filled < length;) {
                    const ssize_t got = getrandom(buffer.data() + filled, length - filled, 0);
                    if (got < 0 && errno != EINTR) {
                        noteErrno(failure, name);
                        return false;
                    }
                    filled += got > 0 ? static_cast<std::size_t>(got) : 0;
                }
            }
            if (!writeAll(fd.get(), buffer.data(), length, static_cast<off_t>(offset))) {
                noteErrno(failure, name);
                return false;
            }
        }
        if (fdatasync(fd.get()) != 0) {
            noteErrno(failure, name);
            return false;
        }
    }
    return true;
}
