#include "KZTrashSizes.h"

#include "KZDirectorySizes.h"
#include "KZDirectoryWalker.h"
#include "KZFileIdentity.h"
#include "KZFileManager.h"
#include "KZPath.h"
#include "KZTrashFolder.h"
#include "KZTrashInfo.h"
#include "KZTrashSizeCache.h"
#include "protocol/KZFileDescriptor.h"

#include <QThread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_set>
#include <vector>

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int kStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
constexpr unsigned kSizeMask = STATX_TYPE | STATX_SIZE | STATX_BLOCKS | STATX_NLINK | STATX_INO;

using LinkKey = KZFileIdentity;
using LinkKeyHash = KZFileIdentity::Hash;

// Files of several links seen so far by every thread of one measurement.
class SharedLinks
{
public:
    bool insert(const LinkKey &key)
    {
        const std::lock_guard lock(m_mutex);
        return m_seen.insert(key).second;
    }

private:
    std::mutex m_mutex;
    std::unordered_set<LinkKey, LinkKeyHash> m_seen;
};

struct FolderResult
{
    quint64 size = 0;   // allocated bytes of the files, as the whole measurement counts them
    quint64 duSize = 0; // du -B1 of the folder alone: its folders' blocks in, links once
    quint64 count = 1;  // the folder itself
    bool multiLinked = false;
    bool walked = false;
};

qint64 nanoseconds(const struct statx_timestamp &t)
{
    return qint64(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// Walks the top-level folder name of filesfd.
FolderResult walkFolder(int filesfd, const QByteArray &name, SharedLinks &links,
                        const std::atomic<bool> *stop)
{
    FolderResult result;
    const int rootfd = ::openat(filesfd, name.constData(), kDirectoryFlags);
    if (rootfd < 0)
        return result;
    std::unordered_set<LinkKey, LinkKeyHash> ownLinks;
    KZDirectoryWalker walker(KZFileManager::defaultManager());
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        using Action = KZDirectoryWalker::Action;
        if (stop && stop->load(std::memory_order_relaxed))
            return Action::Stop;
        ++result.count;
        // Folders add nothing of their own to the size, so d_type spares them a statx; their
        // blocks are read from the open descriptor once they are read.
        if (entry.type == DT_DIR)
            return Action::Descend;
        struct statx st = {};
        if (::statx(entry.dirfd, entry.name, kStatFlags, kSizeMask, &st) != 0)
            return Action::Continue;
        if (S_ISDIR(st.stx_mode))
            return Action::Descend;
        const quint64 blocks = quint64(st.stx_blocks) * 512;
        if (st.stx_nlink > 1) {
            result.multiLinked = true;
            const LinkKey key = KZFileIdentity::of(st);
            if (ownLinks.insert(key).second)
                result.duSize += blocks;
            if (links.insert(key))
                result.size += blocks;
        } else {
            result.size += blocks;
            result.duSize += blocks;
        }
        return Action::Continue;
    };
    walker.finishedReading = [&](int dirfd, size_t) {
        struct statx st = {};
        if (::statx(dirfd, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_BLOCKS, &st) == 0)
            result.duSize += quint64(st.stx_blocks) * 512;
        return KZDirectoryWalker::Action::Continue;
    };
    result.walked = walker.walk(rootfd) && !(stop && stop->load());
    return result;
}

struct TopItem
{
    QByteArray name;
    struct statx st = {};
    std::optional<struct statx_timestamp> infoMtime;
};

// The Trash around an open files/ folder, when it is one of the user's own.
struct TrashAround
{
    KZFileDescriptor rootfd;
    KZFileDescriptor infofd;
    KZTrashSizeCache::Identity identity;
};

std::optional<TrashAround> trashAround(int filesfd)
{
    const std::optional<QByteArray> root = KZTrashFolder::trashRootOfFilesFolder(
        KZTrashFolder::realPathOfDescriptor(filesfd, KZFileManager::defaultManager()),
        KZTrashFolder::dataHomeFromEnvironment());
    if (!root)
        return std::nullopt;
    TrashAround trash;
    trash.rootfd = KZFileDescriptor(::openat(filesfd, "..", kDirectoryFlags));
    struct statx st = {};
    if (!trash.rootfd.isValid()
        || ::statx(trash.rootfd.get(), "", AT_EMPTY_PATH, STATX_UID | STATX_INO, &st) != 0
        || st.stx_uid != ::geteuid())
        return std::nullopt;
    trash.infofd = KZFileDescriptor(::openat(trash.rootfd.get(), "info", kDirectoryFlags));
    trash.identity.rootPath = *root;
    trash.identity.device = (quint64(st.stx_dev_major) << 32) | st.stx_dev_minor;
    trash.identity.inode = st.stx_ino;
    return trash;
}

std::optional<struct statx_timestamp> infoMtimeOf(int infofd, const QByteArray &name)
{
    if (infofd < 0)
        return std::nullopt;
    const QByteArray infoName = name + KZTrashInfo::kFileSuffix;
    struct statx st = {};
    if (::statx(infofd, infoName.constData(), kStatFlags, STATX_TYPE | STATX_MTIME, &st) != 0
        || !S_ISREG(st.stx_mode))
        return std::nullopt;
    return st.stx_mtime;
}

// Whether the records of a folder still describe it.
bool holds(const TopItem &item, const KZDirectorySizes::Lines &lines,
           const KZTrashSizeCache::Entries &entries)
{
    if (!item.infoMtime)
        return false;
    const auto line = lines.constFind(item.name);
    const auto entry = entries.constFind(item.name);
    return line != lines.cend() && KZDirectorySizes::isValid(*line, *item.infoMtime)
           && entry != entries.cend() && entry->inode == item.st.stx_ino
           && entry->changeNs == nanoseconds(item.st.stx_ctime)
           && entry->infoMtimeNs == nanoseconds(*item.infoMtime);
}

int openFolder(const QUrl &url)
{
    const QByteArray path = KZPath::pathFromURL(url);
    // O_NOFOLLOW: a files/ that is a link would lead out of the Trash.
    return path.isEmpty() ? -1 : ::open(path.constData(), kDirectoryFlags);
}

} // namespace

std::optional<quint64> KZTrashSizes::diskUsageOfFolder(int parentfd, const QByteArray &name)
{
    SharedLinks links;
    const FolderResult result = walkFolder(parentfd, name, links, nullptr);
    return result.walked ? std::optional<quint64>(result.duSize) : std::nullopt;
}

int KZTrashSizes::poolSize()
{
    return std::clamp(QThread::idealThreadCount(), 1, 4);
}

KZTrashSizes::Measurement KZTrashSizes::measureTrash(const QUrl &filesURL,
                                                     const std::atomic<bool> *stop)
{
    Measurement measurement;
    const KZFileDescriptor filesfd(openFolder(filesURL));
    if (!filesfd.isValid())
        return measurement;
    std::optional<TrashAround> trash = trashAround(filesfd.get());
    const int infofd = trash ? trash->infofd.get() : -1;

    std::vector<TopItem> folders;
    SharedLinks links;
    {
        // A description of its own, so that nothing else reading filesfd moves its offset.
        DIR *dir = ::fdopendir(::openat(filesfd.get(), ".", kDirectoryFlags));
        if (!dir)
            return measurement;
        while (const dirent *entry = ::readdir(dir)) {
            if (stop && stop->load(std::memory_order_relaxed))
                break;
            const QByteArray name(entry->d_name);
            if (name == "." || name == "..")
                continue;
            TopItem item;
            item.name = name;
            if (::statx(filesfd.get(), entry->d_name, kStatFlags, kSizeMask | STATX_CTIME, &item.st)
                != 0)
                continue; // gone since it was listed
            ++measurement.count;
            if (S_ISDIR(item.st.stx_mode)) {
                item.infoMtime = infoMtimeOf(infofd, name);
                folders.push_back(std::move(item));
            } else if (item.st.stx_nlink <= 1 || links.insert(KZFileIdentity::of(item.st))) {
                measurement.size += quint64(item.st.stx_blocks) * 512;
            }
        }
        ::closedir(dir);
    }

    const QByteArray cacheFolder = trash ? KZTrashSizeCache::folderFromEnvironment() : QByteArray();
    const KZDirectorySizes::Lines lines
        = trash ? KZDirectorySizes::read(trash->rootfd.get()) : KZDirectorySizes::Lines();
    const KZTrashSizeCache::Entries cached
        = trash ? KZTrashSizeCache::read(cacheFolder, trash->identity)
                : KZTrashSizeCache::Entries();
    KZTrashSizeCache::Entries kept;
    std::vector<size_t> toWalk;
    for (size_t i = 0; i < folders.size(); ++i) {
        if (holds(folders[i], lines, cached)) {
            const KZTrashSizeCache::Entry &entry = cached[folders[i].name];
            measurement.size += entry.size;
            measurement.count += entry.count - 1; // the folder itself is counted already
            ++measurement.cachedFolders;
            kept.insert(folders[i].name, entry);
        } else {
            toWalk.push_back(i);
        }
    }

    // Top-level folders on a few threads: folder sizes are lopsided, so each thread takes the
    // next folder as it finishes one rather than a fixed share.
    std::vector<FolderResult> results(toWalk.size());
    std::atomic<size_t> next{0};
    const auto work = [&] {
        for (size_t at = next++; at < toWalk.size(); at = next++) {
            if (stop && stop->load(std::memory_order_relaxed))
                return;
            results[at] = walkFolder(filesfd.get(), folders[toWalk[at]].name, links, stop);
        }
    };
    {
        const size_t helpers
            = std::min<size_t>(size_t(poolSize() - 1), toWalk.size() > 1 ? toWalk.size() - 1 : 0);
        std::vector<std::jthread> threads;
        threads.reserve(helpers);
        for (size_t i = 0; i < helpers; ++i)
            threads.emplace_back(work);
        work();
    }
    for (const FolderResult &result : results) {
        measurement.size += result.size;
        measurement.count += result.count - 1;
    }
    measurement.walkedFolders = toWalk.size();
    if (stop && stop->load()) {
        measurement.stopped = true;
        return measurement;
    }
    if (!trash)
        return measurement;

    KZDirectorySizes::Lines newLines;
    for (size_t at = 0; at < toWalk.size(); ++at) {
        const TopItem &item = folders[toWalk[at]];
        const FolderResult &result = results[at];
        // An item without an info file is not the Trash's own; nothing is recorded about it.
        if (!result.walked || !item.infoMtime)
            continue;
        const auto line = lines.constFind(item.name);
        if (line == lines.cend() || !KZDirectorySizes::isValid(*line, *item.infoMtime))
            newLines.insert(item.name, {result.duSize, qint64(item.infoMtime->tv_sec)});
        if (!result.multiLinked) {
            kept.insert(item.name, {item.st.stx_ino, nanoseconds(item.st.stx_ctime),
                                    nanoseconds(*item.infoMtime), result.size, result.count});
        }
    }
    // Either write may fail (a read-only Trash or cache): the figures above stand regardless,
    // and the next measurement walks again.
    KZDirectorySizes::update(KZFileManager::defaultManager(), trash->rootfd.get(), newLines, {});
    if (kept != cached)
        KZTrashSizeCache::write(cacheFolder, trash->identity, kept);
    return measurement;
}

QHash<QByteArray, KZTrashSizes::Figures> KZTrashSizes::cachedFolderSizes(const QUrl &filesURL)
{
    QHash<QByteArray, Figures> figures;
    const KZFileDescriptor filesfd(openFolder(filesURL));
    if (!filesfd.isValid())
        return figures;
    const std::optional<TrashAround> trash = trashAround(filesfd.get());
    if (!trash)
        return figures;
    const KZTrashSizeCache::Entries cached
        = KZTrashSizeCache::read(KZTrashSizeCache::folderFromEnvironment(), trash->identity);
    if (cached.isEmpty())
        return figures;
    const KZDirectorySizes::Lines lines = KZDirectorySizes::read(trash->rootfd.get());
    for (auto it = cached.cbegin(); it != cached.cend(); ++it) {
        TopItem item;
        item.name = it.key();
        if (::statx(filesfd.get(), item.name.constData(), kStatFlags,
                    STATX_TYPE | STATX_INO | STATX_CTIME, &item.st)
                != 0
            || !S_ISDIR(item.st.stx_mode))
            continue;
        item.infoMtime = infoMtimeOf(trash->infofd.get(), item.name);
        if (holds(item, lines, cached))
            figures.insert(item.name, {it->size, it->count});
    }
    return figures;
}
