#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

struct statx;

// Removes items below an open folder without ever following a symbolic link or leaving the
// folder's mount: folders are walked through descriptors (openat with O_NOFOLLOW, an explicit
// stack, no recursion), every removal is unlinkat relative to its parent's descriptor, and a
// folder that is replaced while it is walked is noticed by its inode and left alone. A link is
// removed as a link. One per batch, one thread.
class KZHelperEraser
{
public:
    struct Options
    {
        bool unlock = false; // clear immutable and append-only flags first, inside folders too
        bool secure = false; // overwrite regular files twice before unlinking them
    };

    struct Result
    {
        bool erased = false;     // the item is gone
        bool vanished = false;   // it was not there to begin with
        bool stopped = false;    // the stop flag ended the walk
        std::uint64_t count = 0; // entries removed: the item and everything in it
        std::uint64_t bytes = 0; // allocated bytes removed; hard links counted once per batch
        std::string failure;     // why the item is not gone
    };

    // stopped is polled between entries; it may be null.
    explicit KZHelperEraser(const std::atomic<bool> *stopped);

    // Removes name in parentFd, and for a folder everything in it. mountId: the mount the walk
    // must stay on.
    [[nodiscard]] Result removeItem(int parentFd, const std::string &name, std::uint64_t mountId,
                                    const Options &options);
    // Clears immutable and append-only flags of name and, for a folder, of everything in it.
    // True when all were cleared (or none was set).
    [[nodiscard]] bool unlockItem(int parentFd, const std::string &name, std::uint64_t mountId,
                                  std::string *failure);
    // Removes name when it is an empty folder; false otherwise (it is left as it is).
    [[nodiscard]] bool removeEmptyFolder(int parentFd, const std::string &name,
                                         std::string *failure);

    // Overwrites the regular file name in parentFd in two passes (0xff, then random bytes) and
    // syncs it, through a descriptor opened without following links. A file with other hard
    // links is not overwritten: its data is not the Trash's alone. False on a failed write.
    [[nodiscard]] static bool overwriteFile(int parentFd, const std::string &name,
                                            std::string *failure);

private:
    [[nodiscard]] bool isStopped() const { return m_stopped && m_stopped->load(); }
    bool removeLeaf(int parentFd, const std::string &name, const struct statx &st,
                    const Options &options, Result *result);
    // Walks a folder (explicit stack); leaf is called for every non-folder, folderDone once a
    // folder's entries are all handled. Returns false when any step failed or it was stopped.
    template<typename Leaf, typename Enter, typename Done>
    bool walk(int parentFd, const std::string &name, std::uint64_t mountId, Leaf leaf, Enter enter,
              Done folderDone, std::string *failure, bool *stopped);

    const std::atomic<bool> *m_stopped;
    std::set<std::pair<std::uint64_t, std::uint64_t>> m_seenLinks; // (device, inode)
};
