#include "KZDirectoryWalker.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

namespace {

constexpr int kOpenFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr size_t kBufferSize = 128 * 1024;

// The kernel's getdents64 record; glibc's struct dirent64 has the same layout.
struct LinuxDirent64
{
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[1];
};

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

} // namespace

KZDirectoryWalker::KZDirectoryWalker(KZSystemCalls &calls)
    : m_fileManager(calls)
{}

KZDirectoryWalker::Action KZDirectoryWalker::readFolder(Frame &frame, size_t depth)
{
    if (!m_buffer)
        m_buffer.reset(new char[kBufferSize]); // not cleared: getdents64 fills what is read
    for (;;) {
        const ssize_t read = m_fileManager.getdents64(frame.fd, m_buffer.get(), kBufferSize);
        if (read == 0)
            break;
        if (read < 0) {
            if (readFailed)
                readFailed(frame.fd, errno);
            break;
        }
        for (ssize_t offset = 0; offset < read;) {
            const auto *entry = reinterpret_cast<const LinuxDirent64 *>(m_buffer.get() + offset);
            offset += entry->d_reclen;
            const char *name = entry->d_name;
            if (isDotOrDotDot(name))
                continue;
            const Action action
                = visit ? visit({frame.fd, name, entry->d_type, depth}) : Action::Continue;
            if (action == Action::Stop)
                return Action::Stop;
            if (action == Action::Descend)
                frame.pending.emplace_back(name);
        }
    }
    if (finishedReading)
        return finishedReading(frame.fd, depth);
    return Action::Continue;
}

void KZDirectoryWalker::closeAll()
{
    for (Frame &frame : m_frames) {
        if (frame.fd >= 0)
            m_fileManager.close(frame.fd);
    }
    m_frames.clear();
    m_lowestOpen = 0;
}

bool KZDirectoryWalker::walk(int rootfd)
{
    closeAll();
    m_frames.push_back(Frame{rootfd, 0, 0, {}, {}, 0});
    if (readFolder(m_frames.back(), 0) == Action::Stop) {
        closeAll();
        return false;
    }
    while (!m_frames.empty()) {
        Frame &top = m_frames.back();
        if (top.next < top.pending.size()) {
            const std::string name = std::move(top.pending[top.next++]);
            if (top.next == top.pending.size()) {
                top.pending.clear();
                top.next = 0;
            }
            const int parentfd = top.fd;
            const int fd = openDirectory
                               ? openDirectory(parentfd, name.c_str())
                               : m_fileManager.openat(parentfd, name.c_str(), kOpenFlags, 0);
            if (fd < 0) {
                const int errnum = errno;
                if (openFailed && openFailed(parentfd, name.c_str(), errnum) == Action::Stop) {
                    closeAll();
                    return false;
                }
                continue;
            }
            if (m_frames.size() - m_lowestOpen >= kOpenWindow) {
                // Let the oldest open ancestor go; remember what it was so that the way back
                // up through ".." can prove it is the same folder.
                Frame &lowest = m_frames[m_lowestOpen];
                struct statx st = {};
                if (m_fileManager.statx(lowest.fd, "", AT_EMPTY_PATH, STATX_INO, &st) == 0) {
                    lowest.dev = makedev(st.stx_dev_major, st.stx_dev_minor);
                    lowest.ino = st.stx_ino;
                }
                m_fileManager.close(lowest.fd);
                lowest.fd = -1;
                ++m_lowestOpen;
            }
            m_frames.push_back(Frame{fd, 0, 0, name, {}, 0});
            if (readFolder(m_frames.back(), m_frames.size() - 1) == Action::Stop) {
                closeAll();
                return false;
            }
            continue;
        }

        if (m_frames.size() == 1) {
            m_fileManager.close(top.fd);
            m_frames.clear();
            break;
        }
        Frame &parent = m_frames[m_frames.size() - 2];
        if (parent.fd < 0) {
            const int fd = m_fileManager.openat(top.fd, "..", kOpenFlags, 0);
            struct statx st = {};
            if (fd < 0 || m_fileManager.statx(fd, "", AT_EMPTY_PATH, STATX_INO, &st) != 0
                || makedev(st.stx_dev_major, st.stx_dev_minor) != parent.dev
                || st.stx_ino != parent.ino) {
                if (fd >= 0)
                    m_fileManager.close(fd);
                closeAll();
                return false;
            }
            parent.fd = fd;
            m_lowestOpen = m_frames.size() - 2;
        }
        const std::string name = std::move(top.name);
        m_fileManager.close(top.fd);
        m_frames.pop_back();
        if (leftDirectory && leftDirectory(m_frames.back().fd, name.c_str()) == Action::Stop) {
            closeAll();
            return false;
        }
    }
    return true;
}
