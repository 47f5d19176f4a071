// Folder sizes and item counts of KZFilesUtilities.
#include "KZFilesUtilities.h"

#include "KZDirectoryWalker.h"
#include "KZFileIdentity.h"
#include "format/KZLocalizedStrings.h"
#include "foundation/KZNotificationCenter.h"

#include <QElapsedTimer>
#include <QMetaMethod>

#include <dirent.h>
#include <fcntl.h>

#include <cstring>
#include <unordered_set>

namespace {

constexpr unsigned kSizeMask = STATX_TYPE | STATX_SIZE | STATX_BLOCKS | STATX_NLINK | STATX_INO;
constexpr int kStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
constexpr qint64 kLongWalkMilliseconds = 1500;

// Sums sizes of one walk; a file with several links adds its blocks once.
class SizeSum
{
public:
    explicit SizeSum(KZFileManager &fm)
        : m_fm(fm)
    {}

    // Adds the entry; answers whether it turned out to be a folder (DT_UNKNOWN entries).
    bool add(const KZDirectoryWalker::Entry &entry)
    {
        struct statx st = {};
        if (m_fm.statx(entry.dirfd, entry.name, kStatFlags, kSizeMask, &st) != 0)
            return false; // vanished or unreadable: adds nothing
        if (S_ISDIR(st.stx_mode))
            return true;
        m_size.fileSize += st.stx_size;
        if (st.stx_nlink > 1) {
            if (!m_seenLinks.insert(KZFileIdentity::of(st)).second)
                return false;
        }
        m_size.totalFileSize += quint64(st.stx_blocks) * 512;
        return false;
    }
    [[nodiscard]] KZItemSizeInfo result() const { return m_size; }

private:
    KZFileManager &m_fm;
    KZItemSizeInfo m_size;
    std::unordered_set<KZFileIdentity, KZFileIdentity::Hash> m_seenLinks;
};

int openWalkRoot(KZFileManager &fm, const QUrl &url)
{
    const QByteArray path = KZPath::pathFromURL(url);
    if (path.isEmpty())
        return -1;
    // O_NOFOLLOW: a link in a Trash that points at a folder elsewhere is measured as a link.
    return fm.openat(AT_FDCWD, path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC,
                     0);
}

} // namespace

KZItemSizeInfo KZFilesUtilities::iterateFolderForSize(const QUrl &url, quint64 *itemsFound) const
{
    if (url.isEmpty())
        return {};
    return sizeOfOpenFolder(openWalkRoot(fileManager(), url), itemsFound, nullptr);
}

KZItemSizeInfo KZFilesUtilities::iterateFolderForSize(const QUrl &url, quint64 *itemsFound,
                                                      const std::atomic<bool> *stop) const
{
    if (url.isEmpty() || (stop && stop->load()))
        return {};
    return sizeOfOpenFolder(openWalkRoot(fileManager(), url), itemsFound, stop);
}

KZItemSizeInfo KZFilesUtilities::iterateFolderForSizeAt(int dirfd, const QByteArray &name,
                                                        quint64 *itemsFound) const
{
    return sizeOfOpenFolder(fileManager().openat(dirfd, name.constData(),
                                                 O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC,
                                                 0),
                            itemsFound, nullptr);
}

KZItemSizeInfo KZFilesUtilities::sizeOfOpenFolder(int rootfd, quint64 *itemsFound,
                                                  const std::atomic<bool> *stop) const
{
    if (rootfd < 0)
        return {};
    SizeSum sum(fileManager());
    quint64 count = 0;
    KZDirectoryWalker walker(fileManager());
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        if (stop && stop->load(std::memory_order_relaxed))
            return KZDirectoryWalker::Action::Stop;
        ++count;
        // Folders add nothing of their own, so d_type spares them a statx.
        if (entry.type == DT_DIR)
            return KZDirectoryWalker::Action::Descend;
        const bool isFolder = sum.add(entry);
        return isFolder ? KZDirectoryWalker::Action::Descend : KZDirectoryWalker::Action::Continue;
    };
    walker.walk(rootfd);
    if (itemsFound)
        *itemsFound += count;
    return sum.result();
}

bool KZFilesUtilities::shouldStop(QObject *delegate, int wasStoppedIndex) const
{
    if (delegate && wasStoppedIndex >= 0) {
        bool stopped = false;
        const QMetaMethod method = delegate->metaObject()->method(wasStoppedIndex);
        method.invoke(delegate, Qt::DirectConnection, Q_RETURN_ARG(bool, stopped));
        return stopped;
    }
    return !m_gatheringSizeIsWorking.load();
}

KZItemSizeInfo KZFilesUtilities::iterateFolderForSize(const QUrl &url, QObject *delegate,
                                                      KZItemCountInfo *itemsFound,
                                                      bool incrementCount)
{
    QElapsedTimer clock;
    clock.start();
    const QString folderName = KZPath::displayString(itemNameWithURL(url));
    int wasStoppedIndex = -1;
    if (delegate) {
        const int index = delegate->metaObject()->indexOfMethod("wasStopped()");
        if (index >= 0 && delegate->metaObject()->method(index).returnType() == QMetaType::Bool)
            wasStoppedIndex = index;
    }
    if (shouldStop(delegate, wasStoppedIndex))
        return {};
    // Where the walk used to prepare its keys it tests once more, so a stop asked for while
    // the walk was being set up still yields nothing.
    if (shouldStop(delegate, wasStoppedIndex))
        return {};

    SizeSum sum(fileManager());
    KZItemCountInfo counts;
    bool posted = false;
    const int rootfd = url.isEmpty() ? -1 : openWalkRoot(fileManager(), url);
    if (rootfd >= 0) {
        KZDirectoryWalker walker(fileManager());
        walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
            using Action = KZDirectoryWalker::Action;
            bool isFolder = entry.type == DT_DIR;
            if (entry.type == DT_UNKNOWN) {
                struct statx st = {};
                isFolder
                    = fileManager().statx(entry.dirfd, entry.name, kStatFlags, STATX_TYPE, &st) == 0
                      && S_ISDIR(st.stx_mode);
            }
            if (shouldStop(delegate, wasStoppedIndex))
                return Action::Stop;
            const QByteArray name
                = QByteArray::fromRawData(entry.name, qsizetype(std::strlen(entry.name)));
            if (cantBeCalculated(name)) {
                if (isFolder) {
                    if (incrementCount) {
                        if (KZItemAttributes::hasPackageName(name))
                            ++counts.filesCount;
                        else
                            ++counts.foldersCount;
                    }
                } else {
                    if (incrementCount)
                        ++counts.filesCount;
                    sum.add(entry);
                }
            }
            if (shouldStop(delegate, wasStoppedIndex))
                return Action::Stop;
            if (!posted && clock.elapsed() >= kLongWalkMilliseconds)
                posted = showInfoIfNeeded(folderName, delegate);
            // Left-out names are still walked into, as the enumeration always did.
            return isFolder ? Action::Descend : Action::Continue;
        };
        walker.walk(rootfd);
    }
    if (m_infoAlreadyShown)
        removeInfo(folderName, delegate);
    if (itemsFound && incrementCount) {
        itemsFound->foldersCount += counts.foldersCount;
        itemsFound->filesCount += counts.filesCount;
    }
    return sum.result();
}

void KZFilesUtilities::setGatheringSizeIsWorking(bool working)
{
    m_gatheringSizeIsWorking = working;
}

bool KZFilesUtilities::cantBeCalculated(const QByteArray &name) const
{
    if (name == "." || name == "..")
        return false;
    return !(name.size() >= 9 && name.startsWith(".DS_Store"));
}

bool KZFilesUtilities::showInfoIfNeeded(const QString &folderName, QObject *delegate)
{
    if (!m_infoAlreadyShown) {
        m_infoAlreadyShown = true;
        KZNotificationCenter::defaultCenter().postNotificationName(
            kUpdateOtherInfoNotification, delegate,
            {{kShowKey, true},
             {kWhichInfoKey, KZLocalizedFormat(QStringLiteral("gettingSize_info"), {folderName})}});
        return true;
    }
    const QMutexLocker locker(&m_infoLock);
    if (!m_infoQueque)
        m_infoQueque = std::make_unique<QStringList>();
    if (!m_infoQueque->contains(folderName))
        m_infoQueque->append(folderName);
    return false;
}

void KZFilesUtilities::removeInfo(const QString &folderName, QObject *delegate)
{
    KZNotificationCenter::defaultCenter().postNotificationName(kUpdateOtherInfoNotification,
                                                               delegate, {{kShowKey, false}});
    const QMutexLocker locker(&m_infoLock);
    if (!m_infoQueque || m_infoQueque->isEmpty()) {
        m_infoAlreadyShown = false;
        return;
    }
    m_infoQueque->removeAll(folderName);
    if (!m_infoQueque->isEmpty()) {
        // The message is still marked as shown, so this only keeps the name queued; the next
        // folder gets no message of its own. Long-standing behaviour, kept on purpose.
        const QString first = m_infoQueque->first();
        showInfoIfNeeded(first, delegate);
        m_infoQueque->removeAll(first);
    } else {
        m_infoAlreadyShown = false;
    }
    if (m_infoQueque->isEmpty())
        m_infoQueque.reset();
}

QStringList KZFilesUtilities::infoQueue() const
{
    const QMutexLocker locker(&m_infoLock);
    return m_infoQueque ? *m_infoQueque : QStringList();
}
