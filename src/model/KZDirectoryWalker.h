#pragma once

#include "KZSystemCalls.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

// Walks a folder tree through directory descriptors: getdents64 on each folder, openat with
// O_NOFOLLOW|O_DIRECTORY to go down, so a symbolic link is never followed and a renamed
// ancestor cannot redirect the walk. The stack is explicit and at most kOpenWindow folders are
// held open at once; a folder whose descriptor was let go is reopened through its child's ".."
// and checked against the device and inode it had, so a tree of any depth can be walked.
// One walker serves one walk on one thread. Plain C++ on libc: the privileged helper walks
// with it too, so both reach the same depths.
class KZDirectoryWalker
{
public:
    enum class Action { Continue, Descend, Stop };

    // One directory entry; dirfd is the folder holding it, valid during the call.
    struct Entry
    {
        int dirfd;
        const char *name;
        unsigned char type; // d_type: DT_DIR, DT_REG, DT_LNK, ... or DT_UNKNOWN
        size_t depth;       // 0 for the root folder's own entries
    };

    static constexpr size_t kOpenWindow = 64;

    // Every call of the walk goes through calls (the file manager, in the application).
    explicit KZDirectoryWalker(KZSystemCalls &calls);
    ~KZDirectoryWalker() { closeAll(); }
    KZDirectoryWalker(const KZDirectoryWalker &) = delete;
    KZDirectoryWalker &operator=(const KZDirectoryWalker &) = delete;

    // Called for every entry but "." and "..". Answer Descend to walk into it (only for
    // folders), Stop to end the walk.
    std::function<Action(const Entry &)> visit;
    // Called once a folder has been read to its end, before its subfolders are walked.
    std::function<Action(int dirfd, size_t depth)> finishedReading;
    // Opens the subfolder name of dirfd; by default openat(O_RDONLY|O_DIRECTORY|O_NOFOLLOW).
    std::function<int(int dirfd, const char *name)> openDirectory;
    // A subfolder that could not be opened (errnum as openDirectory left it).
    std::function<Action(int dirfd, const char *name, int errnum)> openFailed;
    // After a descended subfolder and everything in it has been walked.
    std::function<Action(int dirfd, const char *name)> leftDirectory;
    // Reading a folder failed part way (errnum from getdents64).
    std::function<void(int dirfd, int errnum)> readFailed;

    // Walks the folder open as rootfd (the walker takes it over). False when stopped, or when
    // a folder could not be found again on the way up (the tree was moved under the walk).
    bool walk(int rootfd);

private:
    struct Frame
    {
        int fd = -1;
        dev_t dev = 0;
        ino_t ino = 0;
        std::string name;
        std::vector<std::string> pending;
        size_t next = 0;
    };

    Action readFolder(Frame &frame, size_t depth);
    void closeAll();

    KZSystemCalls &m_fileManager;
    std::vector<Frame> m_frames;
    std::unique_ptr<char[]> m_buffer; // a folder's entries as read, made on first use
    size_t m_lowestOpen = 0;
};
