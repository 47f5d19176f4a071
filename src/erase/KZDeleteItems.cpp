#include "KZDeleteItems.h"

#include "KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "foundation/KZAppGlobals.h"
#include "foundation/KZMainThread.h"
#include "foundation/KZNotificationCenter.h"
#include "foundation/KZUserDefaults.h"
#include "model/KZCommonFlleUtilties.h"
#include "model/KZDirectoryWalker.h"
#include "model/KZFileManager.h"
#include "model/KZFilesUtilities.h"
#include "model/KZPath.h"
#include "model/KZTrashFolder.h"
#include "protocol/KZFileDescriptor.h"
#include "protocol/KZHelperProtocol.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLoggingCategory>
#include <QMutexLocker>
#include <QThread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <vector>

// Diagnostics for developers (QT_LOGGING_RULES="binwise.erase.debug=true"): what a user reads
// goes through the summary, the log and the message presenter.
Q_LOGGING_CATEGORY(lcErase, "binwise.erase", QtWarningMsg)

namespace {

constexpr int kTickMs = 200;
constexpr double kShowProgressAfter = 0.5;
constexpr unsigned kItemMask
    = STATX_TYPE | STATX_MODE | STATX_UID | STATX_BLOCKS | STATX_NLINK | STATX_INO;
constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

double systemNow()
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

bool isLocked(const struct statx &st)
{
    const auto flags = quint64(STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND);
    return (st.stx_attributes_mask & st.stx_attributes & flags) != 0;
}

QVariantList pathList(const QByteArrayList &paths)
{
    QVariantList list;
    list.reserve(paths.size());
    for (const QByteArray &path : paths)
        list.append(path);
    return list;
}

// Why a removal failed, as a user reads it: srm's codes carry no text of their own.
QString reasonOf(const KZError &error)
{
    // srm's errors keep their failure text as the key of the failure-reason entry.
    const bool fromSecureErase
        = error.userInfo.size() == 1
          && error.userInfo.first().toString() == KZError::kLocalizedFailureReasonKey;
    if (error.domain == KZError::kPOSIXDomain && fromSecureErase) {
        switch (error.code) {
        case EPERM:
            return QStringLiteral("it is locked");
        case EACCES:
            return QStringLiteral("permission denied");
        default:
            return QStringLiteral("the secure erase tool could not overwrite and remove it");
        }
    }
    return error.localizedDescription;
}

qsizetype listSize(const QVariantMap &map, const QString &key)
{
    return map.value(key).toList().size();
}

std::optional<struct statx> statOf(KZFileManager &fm, int at, const char *where)
{
    struct statx st = {};
    if (fm.statx(at, where, AT_SYMLINK_NOFOLLOW, kItemMask, &st) != 0)
        return std::nullopt;
    return st;
}

} // namespace

// One item on its way through the checks: its path, and, on the walk, the checked folder it is
// in (open, inside a Trash) and its name there, so that nothing is looked up by path again.
struct KZDeleteItems::Item
{
    QByteArray path;
    int dirfd = -1; // -1: work by path
    QByteArray name;
    const KZCommonFlleUtilties::TrashFolder *folder = nullptr;
    std::optional<struct statx> st;
    bool statRead = false;
    bool hasNoEntries = false; // a folder known to hold nothing: nothing to measure

    static Item atPath(const QByteArray &path)
    {
        return {path, -1, {}, nullptr, std::nullopt, false, false};
    }

    [[nodiscard]] QUrl url() const { return KZPath::urlFromPath(path); }
    [[nodiscard]] int at() const { return dirfd >= 0 ? dirfd : AT_FDCWD; }
    [[nodiscard]] const char *where() const
    {
        return dirfd >= 0 ? name.constData() : path.constData();
    }
};

// Whether the folders of a walk lie inside a Trash, one check per open folder: the root from
// its descriptor's real path, each folder below from being the entry it was opened from. A
// restore racing the erase moves a top-level item out of files/: before each folder is entered
// and every kRecheckItem items, the top-level item being emptied must still be the same inode
// under the same name in files/, or the walk leaves it at once (it is no longer the Trash's).
// The folder in use is also checked by its real path every kRecheckPath items, for a folder
// moved out from deeper down.
class KZDeleteItems::FolderChecks
{
public:
    FolderChecks(const KZCommonFlleUtilties &common, int rootfd, KZFileManager &fm)
        : m_common(common)
        , m_fm(fm)
    {
        m_stack.push_back(m_common.checkTrashFolder(rootfd, m_fm));
        const auto &root = m_stack.back();
        m_rootIsFiles = root && root->isFilesFolder();
        if (root && !m_rootIsFiles) {
            // Emptying one top-level item (a smart erase): it is its own anchor.
            anchor(m_fm.openat(rootfd, "..", O_PATH | O_DIRECTORY | O_CLOEXEC, 0),
                   KZPath::fileName(root->realPath()), rootfd);
        } else if (root) {
            m_files.reset(m_fm.openat(rootfd, ".", O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
        }
    }

    // Opens the folder name of the current folder, open as parentfd, for the walk; -1 when it
    // is a link, another file system, not inside a Trash, or its item has left the Trash.
    int open(int parentfd, const char *name, KZFileManager &fm)
    {
        if (m_stack.size() > 1 || !m_rootIsFiles) {
            if (!stillInPlace()) {
                errno = ENOENT;
                return -1;
            }
        }
        const auto *parent = folder(parentfd, false);
        if (!parent) {
            errno = EPERM;
            return -1;
        }
        auto child = m_common.openSubfolder(*parent, name, fm);
        if (!child)
            return -1;
        const int fd = child->descriptor();
        if (m_stack.size() == 1 && m_rootIsFiles)
            anchor(m_fm.openat(m_files.get(), ".", O_PATH | O_DIRECTORY | O_CLOEXEC, 0), name, fd);
        m_stack.push_back(std::move(child));
        return fd;
    }
    void left()
    {
        m_stack.pop_back();
        if (m_stack.size() == 1 && m_rootIsFiles) {
            m_anchorParent.reset();
            m_moved = false;
        }
    }

    // The top-level item being emptied has left files/ (a restore took it).
    [[nodiscard]] bool moved() const { return m_moved; }

    // The check of the current folder, open as dirfd; null when it is not inside a Trash or
    // its top-level item has moved. count: one more item is to be removed from it.
    const KZCommonFlleUtilties::TrashFolder *folder(int dirfd, bool count = true)
    {
        if (m_moved)
            return nullptr;
        auto &current = m_stack.back();
        if (current && current->descriptor() != dirfd) {
            // The walk let the folder go and opened it again.
            current = m_common.reopened(*current, dirfd, m_fm);
        }
        if (count && ++m_items % kRecheckItem == 0 && !stillInPlace())
            return nullptr;
        if (!current) {
            current = m_common.checkTrashFolder(dirfd, m_fm);
        } else if (count && m_items % kRecheckPath == 0) {
            // A folder deeper than any path has no real path to read: the chain of checked
            // opens and the top-level item in place vouch for it.
            auto again = m_common.checkTrashFolder(dirfd, m_fm);
            if (again || errno != ENAMETOOLONG)
                current = std::move(again);
        }
        return current ? &*current : nullptr;
    }

private:
    static constexpr quint64 kRecheckItem = 32;
    static constexpr quint64 kRecheckPath = 256;

    void anchor(int parentfd, const QByteArray &name, int fd)
    {
        m_anchorParent.reset(parentfd);
        m_anchorName = name;
        struct statx st = {};
        m_fm.statx(fd, "", AT_EMPTY_PATH, STATX_INO, &st);
        m_anchorDevice = (quint64(st.stx_dev_major) << 32) | st.stx_dev_minor;
        m_anchorInode = st.stx_ino;
    }
    bool stillInPlace()
    {
        if (m_moved)
            return false;
        if (!m_anchorParent.isValid())
            return true;
        struct statx st = {};
        m_moved = m_fm.statx(m_anchorParent.get(), m_anchorName.constData(), AT_SYMLINK_NOFOLLOW,
                             STATX_INO, &st)
                      != 0
                  || ((quint64(st.stx_dev_major) << 32) | st.stx_dev_minor) != m_anchorDevice
                  || st.stx_ino != m_anchorInode;
        return !m_moved;
    }

    const KZCommonFlleUtilties &m_common;
    KZFileManager &m_fm;
    std::vector<std::optional<KZCommonFlleUtilties::TrashFolder>> m_stack;
    quint64 m_items = 0;
    bool m_rootIsFiles = false;
    KZFileDescriptor m_files; // the files/ folder, while the walk is over a whole Trash
    KZFileDescriptor m_anchorParent;
    QByteArray m_anchorName;
    quint64 m_anchorDevice = 0;
    quint64 m_anchorInode = 0;
    bool m_moved = false;
};

KZDeleteItems &KZDeleteItems::sharedControl()
{
    static KZDeleteItems shared;
    return shared;
}

KZDeleteItems::KZDeleteItems()
    : KZDeleteItems(Environment{})
{}

KZDeleteItems::KZDeleteItems(const Environment &environment, QObject *parent)
    : QObject(parent)
    , m_environment(environment)
{
    qRegisterMetaType<KZEraseSummary>();
    if (!m_environment.commonFileUtilities)
        m_ownCommonFileUtilities
            = std::make_unique<KZCommonFlleUtilties>(m_environment.secureRemoveTool);
    m_timer.setInterval(kTickMs);
    connect(&m_timer, &QTimer::timeout, this, &KZDeleteItems::updateProgressStatus);
}

KZDeleteItems::~KZDeleteItems()
{
    m_timer.stop();
    m_sizeThreadStop.store(true);
    if (m_progressCntrl)
        m_progressCntrl->setStopped(true);
    // The walker may be waiting for a question on this thread: keep answering while it ends.
    for (QThread *thread : {m_walker, m_sizeThread}) {
        if (!thread)
            continue;
        while (!thread->wait(10))
            QCoreApplication::processEvents();
        delete thread;
    }
    m_walker = nullptr;
    m_sizeThread = nullptr;
}

KZFileManager &KZDeleteItems::fileManager() const
{
    return m_environment.fileManager ? *m_environment.fileManager : KZFileManager::defaultManager();
}

KZFilesUtilities &KZDeleteItems::filesUtilities() const
{
    return m_environment.filesUtilities ? *m_environment.filesUtilities
                                        : KZFilesUtilities::sharedControl();
}

KZCommonFlleUtilties &KZDeleteItems::commonFileUtilities() const
{
    return m_environment.commonFileUtilities ? *m_environment.commonFileUtilities
                                             : *m_ownCommonFileUtilities;
}

KZUserDefaults &KZDeleteItems::userDefaults() const
{
    return m_environment.userDefaults ? *m_environment.userDefaults
                                      : KZUserDefaults::sharedControl();
}

KZTUErrorDelegate &KZDeleteItems::presenter() const
{
    return m_environment.presenter ? *m_environment.presenter : KZTUErrorDelegate::sharedControl();
}

KZBWAlert &KZDeleteItems::alert() const
{
    return m_environment.alert ? *m_environment.alert : KZBWAlert::sharedControl();
}

double KZDeleteItems::now() const
{
    return m_environment.clock ? m_environment.clock() : systemNow();
}

void KZDeleteItems::beep() const
{
    // The sound belongs to the main thread; the walker does not wait for it.
    const std::shared_ptr<KZAlertBackend> backend = presenter().backend();
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [backend] { backend->beep(); }, Qt::QueuedConnection);
}

void KZDeleteItems::postStopWorking()
{
    KZNotificationCenter::defaultCenter().postNotificationName(kStopWorkingNotification);
}

void KZDeleteItems::setJobState(KZJobState state)
{
    if (m_jobState == state)
        return;
    m_jobState = state;
    Q_EMIT jobStateChanged(state);
}

void KZDeleteItems::setProgressDisplayFactory(KZProgressUI::DisplayFactory factory)
{
    m_displayFactory = std::move(factory);
}

void KZDeleteItems::setAsksWithoutHelper(bool locked, bool noPermission)
{
    m_asksLockedWithoutHelper = locked;
    m_asksNoPermissionWithoutHelper = noPermission;
}

void KZDeleteItems::setItemOutcomeObserver(KZItemOutcome::Observer observer)
{
    m_outcomeObserver = std::move(observer);
}

void KZDeleteItems::report(const QByteArray &path, KZItemOutcome::Kind kind, quint64 size,
                           const QString &reason) const
{
    if (m_outcomeObserver)
        m_outcomeObserver(KZItemOutcome{path, kind, size, reason});
}

// ---- The job ------------------------------------------------------------------------------

bool KZDeleteItems::prepareToEraseWithArray(const KZEraseRequest &array)
{
    if (m_jobState != KZJobState::Idle || m_isWorking.load() || m_walker || m_inHandOver) {
        // A second request can arrive from inside the confirmation's own event loop (a tray
        // click, a hot key) or while the walk runs; refuse rather than pull the first job's
        // state from under it.
        qCWarning(lcErase, "prepareToEraseWithArray: a job is already running");
        beep();
        return false;
    }
    joinThreads();
    if (m_environment.activate)
        m_environment.activate();
    m_totSize.store(0);
    m_totItems.store(0);

    KZUserDefaults &defaults = userDefaults();
    if (!defaults.boolForKey(KZUserDefaults::kShowAlert)) {
        // Without a confirmation the request kind stays that of the previous request, the
        // erase is never secure and nothing is logged: kept as the application always did.
        emptyTrashWithArray(array, false);
        return true;
    }

    m_isSmartErase = array.size() == 1 && array.constFirst().isSmart();
    KZBWAlert::OtherInfo otherInfo;
    if (array.size() >= 2) {
        otherInfo.information = KZLocalizedString(QStringLiteral("eraseAll"));
        otherInfo.calculatedStr = QStringLiteral("all_disks");
    } else if (array.size() == 1 && m_isSmartErase) {
        otherInfo.information = KZLocalizedString(QStringLiteral("smartErase"));
        otherInfo.calculatedStr = QStringLiteral("smart_erase");
    } else if (array.size() == 1) {
        otherInfo.information = KZLocalizedFormat(
            QStringLiteral("eraseVol"), {array.constFirst().volumeName.value_or(QString())});
        otherInfo.calculatedStr = QStringLiteral("single_disk");
    } else {
        otherInfo.information = KZLocalizedString(QStringLiteral("eraseAll"));
        otherInfo.calculatedStr = QStringLiteral("all_disks");
    }
    otherInfo.message = QStringLiteral("deleteMess");
    otherInfo.isSmartErase = m_isSmartErase;

    std::optional<KZBWAlert::CalculationInfo> calculation;
    setJobState(KZJobState::Confirming);
    const int answer = alert().showAlertWithTrashInfo(array, otherInfo, &calculation);
    if (answer == KZAlertThirdButtonReturn) {
        setJobState(KZJobState::Idle);
        postStopWorking();
        return false;
    }
    const bool secure = answer == KZAlertSecondButtonReturn;
    if (calculation) {
        m_totSize.store(calculation->itemsSize);
        m_totItems.store(calculation->itemsCount);
    }

    if (defaults.boolForKey(KZUserDefaults::kWriteLog)) {
        if (!prepareLogFile(array, secure)) {
            const int goOn = presenter().askToTheUser(QStringLiteral("open_log_file_error"),
                                                      QString(), {}, QStringLiteral("yes_btn"),
                                                      QStringLiteral("no_btn"), QString());
            if (goOn != KZAlertFirstButtonReturn) {
                m_logCntrl.reset();
                setJobState(KZJobState::Idle);
                postStopWorking();
                return false;
            }
        }
        if (m_logCntrl)
            m_logCntrl->writeStartSession();
    }
    emptyTrashWithArray(array, secure);
    return true;
}

void KZDeleteItems::emptyTrashWithArray(const KZEraseRequest &array, bool secureDelete)
{
    joinThreads();
    m_progressCntrl = std::make_unique<KZProgressUI>(this);
    if (m_displayFactory)
        m_progressCntrl->setDisplay(m_displayFactory(m_progressCntrl.get()));

    m_isSecuredErasing.store(false);
    m_itemBusyCount.store(0);
    m_otherErrorCount.store(0);
    m_lockedWithoutHelperCount.store(0);
    m_noPermissionWithoutHelperCount.store(0);
    m_hardLinksRemovedPlainly.store(0);
    m_countedLinks.clear();
    m_isHelperAuthorized = KZAppGlobals::isHelperAvailable();
    m_euid = ::geteuid();
    m_eraseSecurely = secureDelete;
    {
        QMutexLocker locker(&m_lock);
        m_toAuthorizeInfo.reset();
        m_notAuthorizedItems.reset();
        m_volumeName.clear();
        m_helperError.reset();
        m_failures.clear();
        m_plainlyRemoved.clear();
    }
    m_deleteLNoPermissionsAlreadyAsked = false;
    m_deleteNoPermissions = false;
    m_deleteLockedAlreadyAsked = false;
    m_deleteLocked = userDefaults().boolForKey(KZUserDefaults::kDeleteLocked);
    m_isWorking.store(true);
    setJobState(KZJobState::Running);
    m_totItemsDeleted.store(0);
    m_totSizeDeleted.store(0);
    m_notErasedCount.store(0);
    m_panelAlreadyShown = false;
    m_startTime = now();
    m_progressCntrl->setTrashName(QString());

    if (m_totItems.load() != 0) {
        m_progressCntrl->setMaxValue(m_totItems.load());
    } else {
        m_sizeThreadStop.store(false);
        m_sizeThread = QThread::create([this, array] { doCalcSizeInfo(array); });
        m_sizeThread->setObjectName(QStringLiteral("binwise-erase-size"));
        m_sizeThread->start();
    }

    m_timer.start();
    m_walker = QThread::create([this, array] { doIterateTrashes(array); });
    m_walker->setObjectName(QStringLiteral("binwise-erase-walk"));
    m_walker->start();
}

void KZDeleteItems::doCalcSizeInfo(const KZEraseRequest &array)
{
    KZFilesUtilities &files = filesUtilities();
    KZProgressUI *progress = m_progressCntrl.get();
    if (m_isSmartErase) {
        for (const QUrl &url : array.value(0).itemsToErase) {
            if (m_sizeThreadStop.load())
                return;
            if (files.isDirectoryWithURL(url)) {
                quint64 found = 0;
                m_totSize += files.iterateFolderForSize(url, &found).totalFileSize;
                m_totItems += found;
            } else {
                m_totSize
                    += files.attributeWithURL(url, KZResourceKey::TotalFileSize).toULongLong();
                m_totItems += 1;
            }
            progress->setMaxValue(m_totItems.load());
        }
        return;
    }
    for (const KZEraseRecord &record : array) {
        if (m_sizeThreadStop.load())
            return;
        // A Trash marked empty is measured all the same.
        for (const QUrl &trashURL : record.trashURLs()) {
            quint64 found = 0;
            m_totSize += files.iterateFolderForSize(trashURL, &found).totalFileSize;
            m_totItems += found;
        }
        progress->setMaxValue(m_totItems.load());
    }
}

void KZDeleteItems::doIterateTrashes(const KZEraseRequest &array)
{
    if (m_isSmartErase) {
        iterateSmartArrayToDelete(array.value(0).itemsToErase);
    } else {
        for (const KZEraseRecord &record : array) {
            if (!record.trashIsEmpty.value_or(false)) {
                if (record.volumeName && !record.volumeName->isEmpty())
                    setVolumeName(*record.volumeName);
                // The volume's second Trash folder, if any, is emptied with the first.
                for (const QUrl &trashURL : record.trashURLs()) {
                    // A Trash that was never made has nothing to erase; one that cannot be
                    // opened or read through is a failure the summary names.
                    const std::optional<KZError> error = iterateFolderForDeleteContent(trashURL);
                    if (error && !error->isPOSIX(ENOENT)) {
                        const QByteArray path
                            = error->userInfo.value(QStringLiteral("NSFilePath")).toByteArray();
                        noteFailure(path.isEmpty() ? KZPath::pathFromURL(trashURL) : path, *error);
                    }
                    // Info files whose item is gone (this walk's, or left by other programs).
                    if (!trashURL.isEmpty())
                        KZTrashFolder::removeOrphanedTrashInfo(trashURL, fileManager());
                    if (isStoppedByUser())
                        break;
                }
            }
            if (isStoppedByUser())
                break;
        }
    }
    bool handOver = false;
    {
        QMutexLocker locker(&m_lock);
        handOver = m_toAuthorizeInfo.has_value();
    }
    if (handOver && !isStoppedByUser()) {
        // The helper client ends the job when it has finished.
        eraseWithAdminPrivileges();
        return;
    }
    m_isWorking.store(false);
}

void KZDeleteItems::iterateSmartArrayToDelete(const QList<QUrl> &array)
{
    KZFileManager &fm = fileManager();
    for (const QUrl &url : array) {
        const QByteArray path = KZPath::pathFromURL(url);
        const auto st = path.isEmpty() ? std::nullopt : statOf(fm, AT_FDCWD, path.constData());
        if (st && S_ISDIR(st->stx_mode)) {
            const std::optional<KZError> error = iterateFolderForDeleteContent(url);
            if (!error) {
                if (commonFileUtilities().isAnEmptyFolderAt(AT_FDCWD, path, fm, nullptr))
                    manageItemURL(url, true);
                else
                    addToNotTrashed(url);
            } else if (error->isPOSIX(ENOENT)) {
                report(KZPath::pathFromURL(url), KZItemOutcome::Kind::Gone);
            } else {
                // The folder is left, as always; why is said, not dropped.
                const QByteArray failed
                    = error->userInfo.value(QStringLiteral("NSFilePath")).toByteArray();
                noteFailure(failed.isEmpty() ? path : failed, *error);
            }
        } else {
            manageItemURL(url, false);
        }
        if (isStoppedByUser())
            break;
    }
}

// Opens the folder at path to empty it; a folder of the user's own that lacks u+rwx gets it.
static int openFolderToEmpty(KZFileManager &fm, const QByteArray &path)
{
    int fd = fm.openat(AT_FDCWD, path.constData(), kDirectoryFlags, 0);
    if (fd < 0 && errno == EACCES) {
        const KZFileDescriptor parentfd(fm.openat(AT_FDCWD, KZPath::parentPath(path).constData(),
                                                  O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
        if (parentfd.isValid()
            && KZCommonFlleUtilties::giveOwnFolderAccess(parentfd.get(),
                                                         KZPath::fileName(path).constData(), fm))
            fd = fm.openat(AT_FDCWD, path.constData(), kDirectoryFlags, 0);
        if (fd < 0)
            errno = EACCES;
    }
    if (fd >= 0)
        KZCommonFlleUtilties::completeOwnFolderAccess(fd, fm);
    return fd;
}

std::optional<KZError> KZDeleteItems::iterateFolderForDeleteContent(const QUrl &url)
{
    using Action = KZDirectoryWalker::Action;
    const QByteArray root = KZPath::pathFromURL(url);
    if (root.isEmpty())
        return std::nullopt;
    KZFileManager &fm = fileManager();
    KZCommonFlleUtilties &common = commonFileUtilities();
    const auto isFolderEntry = [&fm](const KZDirectoryWalker::Entry &entry) {
        if (entry.type != DT_UNKNOWN)
            return entry.type == DT_DIR;
        struct statx st = {};
        return fm.statx(entry.dirfd, entry.name, AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) == 0
               && S_ISDIR(st.stx_mode);
    };
    // The walks keep the path and the check of the folder they are in. Links are never
    // followed down, nor is a file system mounted inside the Trash entered: it is not the
    // Trash's to empty.
    QByteArrayList folders;
    std::optional<FolderChecks> checks;
    const auto openDirectory = [&fm, &folders, &checks](int dirfd, const char *name) {
        const int fd = checks->open(dirfd, name, fm);
        if (fd >= 0)
            folders.append(KZPath::joinForDisplay(folders.constLast(), name));
        return fd;
    };
    const auto leftDirectory = [&folders, &checks] {
        folders.removeLast();
        checks->left();
    };

    // First pass: every item that is not a folder; a folder's items once it has been read
    // through, never while reading it. Unreadable folders are passed over.
    {
        const int rootfd = openFolderToEmpty(fm, root);
        if (rootfd < 0)
            return KZFileManager::errorForErrno(errno, root);
        folders = {root};
        checks.emplace(common, rootfd, fm);
        std::vector<QByteArray> files;
        KZDirectoryWalker walker(fm);
        walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
            if (isFolderEntry(entry))
                return Action::Descend;
            files.emplace_back(entry.name);
            return Action::Continue;
        };
        walker.finishedReading = [&](int dirfd, size_t) {
            const QByteArray &folder = folders.constLast();
            for (const QByteArray &name : files) {
                const auto *checked = checks->folder(dirfd);
                if (checks->moved())
                    break; // restored meanwhile: no longer the Trash's to empty
                Item item{KZPath::joinForDisplay(folder, name),
                          dirfd,
                          name,
                          checked,
                          std::nullopt,
                          false,
                          false};
                manageItem(item, false);
                if (isStoppedByUser()) {
                    files.clear();
                    return Action::Stop;
                }
            }
            files.clear();
            return Action::Continue;
        };
        walker.openDirectory = openDirectory;
        walker.leftDirectory = [&leftDirectory](int, const char *) {
            leftDirectory();
            return Action::Continue;
        };
        walker.walk(rootfd);
    }
    if (isStoppedByUser())
        return std::nullopt;

    if (!permissionsCheckWithURL(url, true))
        return std::nullopt;

    // Second pass: the folders, each once everything in it has been seen (the deepest first),
    // removed when nothing a user would miss is left in it. A listing error ends the pass.
    const int rootfd = openFolderToEmpty(fm, root);
    if (rootfd < 0)
        return KZFileManager::errorForErrno(errno, root);
    folders = {root};
    checks.emplace(common, rootfd, fm);
    std::optional<KZError> listingError;
    KZDirectoryWalker walker(fm);
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        return isFolderEntry(entry) ? Action::Descend : Action::Continue;
    };
    walker.openDirectory = openDirectory;
    walker.openFailed = [&](int dirfd, const char *name, int errnum) {
        if (errnum == ENOENT || errnum == EXDEV || checks->moved())
            return Action::Continue; // gone since it was listed, or a mount left whole
        if (errnum == EACCES || errnum == EPERM) {
            // Someone else's folder the user may not enter: the user's rights cannot empty
            // it, so it is asked about and goes to the helper whole.
            const QByteArray path = KZPath::joinForDisplay(folders.constLast(), name);
            Item item{path, dirfd, name, checks->folder(dirfd, false), std::nullopt, false, false};
            // Its answer is always "not now": the item is asked about, queued or counted.
            permissionsCheck(item, false);
            return isStoppedByUser() ? Action::Stop : Action::Continue;
        }
        listingError = KZFileManager::errorForErrno(
            errnum, KZPath::join(KZTrashFolder::realPathOfDescriptor(dirfd, fm), name));
        return Action::Stop;
    };
    walker.readFailed = [&](int dirfd, int errnum) {
        if (!listingError)
            listingError = KZFileManager::errorForErrno(
                errnum, KZTrashFolder::realPathOfDescriptor(dirfd, fm));
    };
    walker.leftDirectory = [&](int dirfd, const char *name) {
        const bool moved = checks->moved();
        leftDirectory();
        if (listingError)
            return Action::Stop;
        if (moved)
            return Action::Continue; // restored meanwhile: left where it now is
        const QByteArray path = KZPath::joinForDisplay(folders.constLast(), name);
        bool hasNoEntries = false;
        if (common.isAnEmptyFolderAt(dirfd, name, fm, &hasNoEntries)) {
            Item item{path, dirfd, name, checks->folder(dirfd), std::nullopt, false, false};
            item.hasNoEntries = hasNoEntries;
            manageItem(item, true);
        } else {
            addToNotTrashedPath(path);
        }
        return isStoppedByUser() ? Action::Stop : Action::Continue;
    };
    walker.walk(rootfd);
    return listingError;
}

void KZDeleteItems::manageItemURL(const QUrl &url, bool isDirectory)
{
    Item item = Item::atPath(KZPath::pathFromURL(url));
    manageItem(item, isDirectory);
}

void KZDeleteItems::manageItem(Item &item, bool isDirectory)
{
    if (!item.statRead) {
        item.st = statOf(fileManager(), item.at(), item.where());
        item.statRead = true;
        // Another program emptied or restored it since it was listed: already gone.
        if (!item.st && errno == ENOENT) {
            report(item.path, KZItemOutcome::Kind::Gone);
            return;
        }
    }
    if (!checkForLockedFile(item))
        return;
    if (!permissionsCheck(item, true))
        return;

    quint64 count = 1;
    quint64 size = 0;
    if (isDirectory && item.hasNoEntries)
        size = 0; // what measuring it would find
    else if (isDirectory && item.dirfd >= 0)
        size = filesUtilities().iterateFolderForSizeAt(item.dirfd, item.name, &count).totalFileSize;
    else if (isDirectory)
        size = filesUtilities().iterateFolderForSize(item.url(), &count).totalFileSize;
    else if (item.st)
        size = quint64(item.st->stx_blocks) * 512;

    // A hard-linked file's blocks come back only with its last link: counted once per job.
    // Overwriting it would destroy the data under its other names (srm refuses it), so a
    // secure erase removes that link as it is and says so.
    const bool hardLinked
        = item.st && !isDirectory && !S_ISDIR(item.st->stx_mode) && item.st->stx_nlink > 1;
    if (hardLinked) {
        const QPair<quint64, quint64> key(
            (quint64(item.st->stx_dev_major) << 32) | item.st->stx_dev_minor, item.st->stx_ino);
        if (m_countedLinks.contains(key))
            size = 0;
        else
            m_countedLinks.insert(key);
    }
    const bool plainInstead = m_eraseSecurely && hardLinked && S_ISREG(item.st->stx_mode);

    KZCommonFlleUtilties &common = commonFileUtilities();
    std::optional<KZError> error;
    if (m_eraseSecurely && !plainInstead && item.path.size() >= PATH_MAX - 1) {
        // Deeper than any path: srm, which works by path, cannot reach it.
        error = KZFileManager::errorForErrno(ENAMETOOLONG, item.path);
    } else if (m_eraseSecurely && !plainInstead) {
        error = common.secureErase(item.url(), fileManager());
        if (!error && statOf(fileManager(), item.at(), item.where())) {
            // srm went missing since the confirmation, or ended without a word: the item is
            // still there, and must not be counted as erased.
            error = KZFileManager::errorForErrno(EEXIST, item.path);
            error->localizedDescription
                = QStringLiteral("it is still there after the secure erase (is srm installed?)");
        }
    } else if (item.dirfd >= 0) {
        // A folder that is no longer inside a Trash is refused as the path-based removal
        // would refuse it.
        error = item.folder ? common.deleteItemAt(*item.folder, item.name, fileManager(),
                                                  item.st ? mode_t(item.st->stx_mode & S_IFMT) : 0)
                            : common.deleteItemAt(item.dirfd, item.name, fileManager());
    } else {
        error = common.deleteItemWithURL(item.url(), fileManager());
    }

    if (!error) {
        m_totItemsDeleted += count;
        m_totSizeDeleted += size;
        writeLogEntryWithPath(item.path, size);
        if (plainInstead) {
            ++m_hardLinksRemovedPlainly;
            QMutexLocker locker(&m_lock);
            if (m_plainlyRemoved.size() < KZEraseSummary::kMaximumFailures)
                m_plainlyRemoved.append(item.path);
        }
        return;
    }
    KZFileManager::ErrorCategory category = KZFileManager::categoryOf(*error);
    if (category == KZFileManager::ErrorCategory::Other
        && !statOf(fileManager(), item.at(), item.where()) && errno == ENOENT) {
        // srm names no reason when the file went under it; what was asked for is gone.
        category = KZFileManager::ErrorCategory::Gone;
    }
    switch (category) {
    case KZFileManager::ErrorCategory::NoPermission:
        // Its answer is always "not now": the item is asked about, queued or counted.
        permissionsCheck(item, false);
        break;
    case KZFileManager::ErrorCategory::Busy:
        beep();
        ++m_itemBusyCount;
        ++m_notErasedCount;
        report(item.path, KZItemOutcome::Kind::Busy);
        break;
    case KZFileManager::ErrorCategory::Gone:
        // Removed or restored by another program meanwhile: what was asked for is gone.
        report(item.path, KZItemOutcome::Kind::Gone);
        break;
    default:
        noteFailure(item.path, *error);
        break;
    }
}

void KZDeleteItems::noteFailure(const QByteArray &path, const KZError &error)
{
    qCDebug(lcErase, "not erased: %s: %s", qPrintable(KZPath::escapedDisplayString(path)),
            qPrintable(error.localizedDescription));
    beep();
    ++m_otherErrorCount;
    const QString reason = reasonOf(error);
    report(path, KZItemOutcome::Kind::Failed, 0, reason);
    QMutexLocker locker(&m_lock);
    if (m_failures.size() < KZEraseSummary::kMaximumFailures)
        m_failures.append({path, reason});
}

bool KZDeleteItems::isStoppedByUser() const
{
    return m_progressCntrl && m_progressCntrl->stopped();
}

void KZDeleteItems::setIsStopped(bool stopped)
{
    if (m_isSecuredErasing.load() && m_secAccess)
        m_secAccess->stoppedByUser(stopped);
}

void KZDeleteItems::updateProgressStatus()
{
    if (m_isWorking.load() || m_inHandOver) {
        if (!m_panelAlreadyShown) {
            if (now() - m_startTime < kShowProgressAfter)
                return;
            m_progressCntrl->openWindowInModal(false);
            m_panelAlreadyShown = true;
        }
        const QString name = [this] {
            QMutexLocker locker(&m_lock);
            return std::exchange(m_volumeName, QString());
        }();
        if (!name.isEmpty())
            m_progressCntrl->setTrashName(KZLocalizedFormat(QStringLiteral("erasing"), {name}));
        const quint64 items = m_totItemsDeleted.load();
        KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
        m_progressCntrl->setProgressValue(items);
        m_progressCntrl->setErasedSize(
            numbers.sizeToFormatString(m_totSizeDeleted.load(), 4, true));
        m_progressCntrl->setErasedCount(numbers.numberToFormatString(double(items)));
        m_progressCntrl->refreshDisplay();
        if (m_logCntrl)
            m_logCntrl->flush();
        return;
    }
    endJob();
}

void KZDeleteItems::endJob()
{
    m_timer.stop();
    if (m_walker) {
        m_walker->wait();
        delete m_walker;
        m_walker = nullptr;
    }

    KZEraseSummary summary;
    summary.erasedCount = m_totItemsDeleted.load();
    summary.erasedSize = m_totSizeDeleted.load();
    summary.notErasedCount = m_notErasedCount.load();
    summary.itemBusyCount = m_itemBusyCount.load();
    summary.otherErrorCount = m_otherErrorCount.load();
    summary.lockedWithoutHelperCount = m_lockedWithoutHelperCount.load();
    summary.noPermissionWithoutHelperCount = m_noPermissionWithoutHelperCount.load();
    summary.hardLinksRemovedPlainly = m_hardLinksRemovedPlainly.load();
    summary.eraseSecurely = m_eraseSecurely;
    summary.isSmartErase = m_isSmartErase;
    summary.isHelperAuthorized = m_isHelperAuthorized;
    summary.handedToHelper = m_isSecuredErasing.load();
    summary.stoppedByUser = isStoppedByUser();
    {
        QMutexLocker locker(&m_lock);
        const QVariantMap skipped = m_notAuthorizedItems.value_or(QVariantMap());
        summary.skippedLockedCount = quint64(listSize(skipped, kUnlockItemsKey));
        summary.skippedNoPermissionsCount = quint64(listSize(skipped, kPermissionsItemsKey));
        const QVariantMap batch = m_toAuthorizeInfo.value_or(QVariantMap());
        summary.unlockItemsCount = quint64(listSize(batch, kUnlockItemsKey));
        summary.permissionsItemsCount = quint64(listSize(batch, kPermissionsItemsKey));
        // The helper removes the folders it could empty, so only those still there were left.
        for (const QByteArray &folder : m_notTrashed.value_or(QByteArrayList())) {
            struct statx info = {};
            if (fileManager().statx(AT_FDCWD, folder.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE,
                                    &info)
                == 0)
                summary.notTrashed.append(folder);
        }
        summary.helperError = m_helperError;
        summary.failures = m_failures;
    }

    if (m_logCntrl) {
        summary.logFile = KZPath::pathFromURL(m_logCntrl->currLogURL());
        // What the item lines cannot tell: a stop, the failures, links not overwritten.
        if (summary.stoppedByUser)
            m_logCntrl->writeNote(QStringLiteral("Stopped before the end; the rest was left."));
        for (const KZEraseSummary::Failure &failure : std::as_const(summary.failures))
            m_logCntrl->writeNote(
                QStringLiteral("Not erased: %1 (%2)")
                    .arg(KZPath::escapedDisplayString(failure.path), failure.reason));
        QByteArrayList plainly;
        {
            QMutexLocker locker(&m_lock);
            plainly = m_plainlyRemoved;
        }
        for (const QByteArray &path : std::as_const(plainly))
            m_logCntrl->writeNote(
                QStringLiteral("Removed, not overwritten (its data stays under its other hard "
                               "links): %1")
                    .arg(KZPath::escapedDisplayString(path)));
        if (summary.lockedWithoutHelperCount + summary.noPermissionWithoutHelperCount != 0)
            m_logCntrl->writeNote(
                QStringLiteral("Not erased: %1 locked, %2 without permission (no helper to "
                               "erase them).")
                    .arg(summary.lockedWithoutHelperCount)
                    .arg(summary.noPermissionWithoutHelperCount));
        m_logCntrl->writeEndSessionAndCloseFile();
        summary.logWriteError = m_logCntrl->writeError();
    }
    m_progressCntrl->stopAction();

    KZTUErrorDelegate &messages = presenter();
    if (!m_isHelperAuthorized && summary.notErasedCount != 0 && summary.itemBusyCount == 0)
        messages.showError(QStringLiteral("userNotAuthorized"), QString(), {});
    if (summary.itemBusyCount == 1) {
        messages.showError(QStringLiteral("Busy_Sing"), QString(), {});
    } else if (summary.itemBusyCount > 1) {
        messages.showError(QStringLiteral("Busy_Plur"), QString(),
                           {KZNumberUtilities::sharedControl().numberToFormatString(
                               double(summary.itemBusyCount))});
    }

    m_isSecuredErasing.store(false);
    m_secAccess.reset();
    {
        QMutexLocker locker(&m_lock);
        m_toAuthorizeInfo.reset();
        m_notAuthorizedItems.reset();
        m_notTrashed.reset();
        m_lastJobSummary = summary;
    }
    m_logCntrl.reset();
    setJobState(KZJobState::Idle);
    Q_EMIT jobEnded(summary);
    postStopWorking();
}

void KZDeleteItems::joinThreads()
{
    if (m_walker) {
        m_walker->wait();
        delete m_walker;
        m_walker = nullptr;
    }
    if (m_sizeThread) {
        m_sizeThreadStop.store(true);
        m_sizeThread->wait();
        delete m_sizeThread;
        m_sizeThread = nullptr;
    }
}

// ---- Locked and protected items -----------------------------------------------------------

bool KZDeleteItems::checkForLockedFileWithURL(const QUrl &url)
{
    Item item = Item::atPath(KZPath::pathFromURL(url));
    return checkForLockedFile(item);
}

bool KZDeleteItems::checkForLockedFile(Item &item)
{
    if (!item.statRead) {
        item.st = statOf(fileManager(), item.at(), item.where());
        item.statRead = true;
    }
    if (!item.st || !isLocked(*item.st))
        return true;
    if (!m_isHelperAuthorized && !m_asksLockedWithoutHelper) {
        ++m_notErasedCount;
        ++m_lockedWithoutHelperCount;
        report(item.path, KZItemOutcome::Kind::LockedWithoutHelper);
        return false;
    }
    const QUrl url = item.url();
    KZFilesUtilities &files = filesUtilities();
    const bool hidden = files.isHiddenWithURL(url);
    const bool skipped = urlItemIsAlreadySkipped(url, true);
    bool go = false;
    if (m_deleteLockedAlreadyAsked || hidden) {
        go = hidden ? true : m_deleteLocked;
    } else if (skipped) {
        go = false;
    } else {
        bool isForAll = false;
        m_deleteLocked = ask(QStringLiteral("undeletedLockedSingStr"),
                             QStringLiteral("undeletedLockedSingMsg"), kLockedQuestionIdentifier,
                             item, &isForAll);
        m_deleteLockedAlreadyAsked = isForAll;
        go = m_deleteLocked;
    }
    if (skipped)
        return go;
    if (!go) {
        addURLToSkippedArray(url, true);
        return false;
    }
    if (files.unlockWithURL(url))
        return true;
    if (m_isHelperAuthorized) {
        // The normal removal is still tried and sends the item through the permission check
        // once more; the helper skips what its first list already took.
        addURLFoAuthorizedErase(url, true);
        return true;
    }
    // Let go, but nothing can erase it: it stays, and is counted so.
    ++m_notErasedCount;
    ++m_lockedWithoutHelperCount;
    report(item.path, KZItemOutcome::Kind::LockedWithoutHelper);
    return false;
}

bool KZDeleteItems::permissionsCheckWithURL(const QUrl &url, bool checkForNoPermissions)
{
    Item item = Item::atPath(KZPath::pathFromURL(url));
    return permissionsCheck(item, checkForNoPermissions);
}

bool KZDeleteItems::permissionsCheck(Item &item, bool checkForNoPermissions)
{
    if (checkForNoPermissions && checkPermissionsAt(item, m_euid))
        return true;
    if (!m_isHelperAuthorized && !m_asksNoPermissionWithoutHelper) {
        ++m_notErasedCount;
        ++m_noPermissionWithoutHelperCount;
        report(item.path, KZItemOutcome::Kind::NoPermissionWithoutHelper);
        return false;
    }
    const QUrl url = item.url();
    const bool hidden = filesUtilities().isHiddenWithURL(url);
    const bool skipped = urlItemIsAlreadySkipped(url, false);
    bool go = false;
    if (m_deleteLNoPermissionsAlreadyAsked || hidden) {
        go = hidden ? true : m_deleteNoPermissions;
    } else if (skipped) {
        go = false;
    } else {
        bool isForAll = false;
        m_deleteNoPermissions = ask(QStringLiteral("undeletedNoPermissionsSingStr"),
                                    QStringLiteral("undeletedNoPermissionsSingMsg"),
                                    kNoPermissionsQuestionIdentifier, item, &isForAll);
        m_deleteLNoPermissionsAlreadyAsked = isForAll;
        go = m_deleteNoPermissions;
    }
    if (!skipped && go && m_isHelperAuthorized) {
        addURLFoAuthorizedErase(url, false);
    } else if (!skipped && go) {
        ++m_notErasedCount; // let go, but nothing can erase it
        ++m_noPermissionWithoutHelperCount;
        report(item.path, KZItemOutcome::Kind::NoPermissionWithoutHelper);
    } else if (!skipped) {
        addURLToSkippedArray(url, false);
    }
    return false;
}

bool KZDeleteItems::checkPermissions(const QByteArray &path)
{
    Item item = Item::atPath(path);
    return checkPermissionsAt(item, ::geteuid());
}

bool KZDeleteItems::checkPermissionsAt(Item &item, uid_t euid)
{
    if (item.path.isEmpty() || euid == 0)
        return true;
    KZFileManager &fm = fileManager();
    if (!item.statRead) {
        item.st = statOf(fm, item.at(), item.where());
        item.statRead = true;
    }
    // Gone, or unreadable: nothing to decide here, the removal will tell.
    if (!item.st)
        return true;
    // Removing an entry takes write and search permission on the folder that holds it, not on
    // the item itself: rm -f removes someone else's file from one's own folder. A folder of
    // one's own can be given those rights; in someone else's sticky folder only one's own
    // items may go.
    const QByteArray parentPath = item.dirfd >= 0 ? QByteArray() : KZPath::parentPath(item.path);
    const int parentfd = item.dirfd >= 0 ? item.dirfd : AT_FDCWD;
    const char *parentName = item.dirfd >= 0 ? "." : parentPath.constData();
    struct statx parent = {};
    if (fm.statx(parentfd, parentName, 0, STATX_MODE | STATX_UID, &parent) != 0)
        return true;
    if (parent.stx_uid == euid)
        return true;
    if ((parent.stx_mode & S_ISVTX) && item.st->stx_uid != euid)
        return false;
    return fm.faccessat(parentfd, parentName, W_OK | X_OK, AT_EACCESS) == 0;
}

bool KZDeleteItems::ask(const QString &format, const QString &message, const QString &identifier,
                        const Item &item, bool *isForAll)
{
    QByteArray name = KZPath::fileName(item.path);
    // Without the helper, asked only where the front end wants it (a terminal): skip is then
    // the only way on, and the question says why.
    const bool canErase = m_isHelperAuthorized;
    QString informative = message;
    if (!canErase)
        informative = identifier == kLockedQuestionIdentifier
                          ? QStringLiteral("undeletedLockedNoHelperMsg")
                          : QStringLiteral("undeletedNoPermissionsNoHelperMsg");
    QVariantMap record{
        {kQuestionStringKey, KZLocalizedFormat(format, {KZPath::escapedDisplayString(name)})},
        {kQuestionMessageKey, informative},
        {kQuestionViewStringKey, QStringLiteral("apply_to_all")},
        {kQuestionButtonOneKey, QStringLiteral("skip")},
        {kQuestionButtonTwoKey, canErase ? QStringLiteral("erase") : QString()},
        {kQuestionEraseFileKey, false},
        {kQuestionIsForAllKey, false},
        {kQuestionIdentifierKey, identifier},
    };
    KZMainThread::run([this, &record] { askToEraseInMainThread(&record); });
    *isForAll = record.value(kQuestionIsForAllKey).toBool();
    return record.value(kQuestionEraseFileKey).toBool();
}

bool KZDeleteItems::urlItemIsAlreadySkipped(const QUrl &url, bool isUnlock) const
{
    QMutexLocker locker(&m_lock);
    if (!m_notAuthorizedItems)
        return false;
    return m_notAuthorizedItems->value(isUnlock ? kUnlockItemsKey : kPermissionsItemsKey)
        .toList()
        .contains(QVariant(url));
}

void KZDeleteItems::addToList(QVariantMap *list, const QString &key, const QVariant &value)
{
    QVariantList entries = list->value(key).toList();
    entries.append(value);
    list->insert(key, entries);
}

void KZDeleteItems::addURLToSkippedArray(const QUrl &url, bool isUnlock)
{
    report(KZPath::pathFromURL(url), isUnlock ? KZItemOutcome::Kind::SkippedLocked
                                              : KZItemOutcome::Kind::SkippedNoPermission);
    QMutexLocker locker(&m_lock);
    if (!m_notAuthorizedItems)
        m_notAuthorizedItems.emplace();
    addToList(&*m_notAuthorizedItems, isUnlock ? kUnlockItemsKey : kPermissionsItemsKey, url);
}

void KZDeleteItems::addURLFoAuthorizedErase(const QUrl &url, bool shouldUnlocked)
{
    const QByteArray path = filesUtilities().pathWithURL(url);
    if (path.isEmpty())
        return;
    report(path, KZItemOutcome::Kind::ToHelper);
    QMutexLocker locker(&m_lock);
    if (!m_toAuthorizeInfo)
        m_toAuthorizeInfo.emplace();
    addToList(&*m_toAuthorizeInfo, shouldUnlocked ? kUnlockItemsKey : kPermissionsItemsKey, path);
}

void KZDeleteItems::addToNotTrashed(const QUrl &url)
{
    addToNotTrashedPath(filesUtilities().pathWithURL(url));
}

void KZDeleteItems::addToNotTrashedPath(const QByteArray &path)
{
    if (path.isEmpty() || m_alreadyAdded)
        return;
    QMutexLocker locker(&m_lock);
    if (!m_notTrashed)
        m_notTrashed.emplace();
    m_notTrashed->append(path);
}

QByteArrayList KZDeleteItems::convertURLsToPaths(const QList<QUrl> &urls) const
{
    QByteArrayList paths;
    for (const QUrl &url : urls) {
        const QByteArray path = filesUtilities().pathWithURL(url);
        if (!path.isEmpty())
            paths.append(path);
    }
    return paths;
}

void KZDeleteItems::eraseWithAdminPrivileges()
{
    QVariantMap batch;
    {
        QMutexLocker locker(&m_lock);
        if (!m_toAuthorizeInfo)
            m_toAuthorizeInfo.emplace();
        m_toAuthorizeInfo->insert(KZBatchKey::erasedSize, m_totSizeDeleted.load());
        m_toAuthorizeInfo->insert(KZBatchKey::erasedCount, m_totItemsDeleted.load());
        m_toAuthorizeInfo->insert(KZBatchKey::eraseSecurely, m_eraseSecurely);
        if (m_notTrashed)
            m_toAuthorizeInfo->insert(KZBatchKey::notTrashedBecauseFolderNotEmpty,
                                      pathList(*m_notTrashed));
        batch = *m_toAuthorizeInfo;
    }
    m_isSecuredErasing.store(true);
    m_inHandOver = true;
    QMetaObject::invokeMethod(
        this, [this, batch] { handOver(batch); }, Qt::QueuedConnection);
}

void KZDeleteItems::handOver(const QVariantMap &batch)
{
    setJobState(KZJobState::HelperHandOver);
    if (!m_secAccess)
        m_secAccess = KZHelperClient::create(this);
    if (!m_secAccess) {
        // No way to reach the helper: the batch is not erased, as when the connection fails.
        m_inHandOver = false;
        showErrorWithError(KZError{KZError::kOSStatusDomain,
                                   KZHelperProtocol::kAuthorizationDenied,
                                   KZLocalizedStringFromTable(QStringLiteral("userNotAuthorized"),
                                                              KZLocalizedStrings::kErrorsTable),
                                   {}});
        setNotErasedCount(
            quint64(listSize(batch, kUnlockItemsKey) + listSize(batch, kPermissionsItemsKey)));
        setIsWorking(false);
        return;
    }
    // While the client works on it the job cannot end under it, whatever runs meanwhile.
    m_secAccess->authorizedEraseWithDictionary(batch);
    m_inHandOver = false;
}

void KZDeleteItems::askToEraseInMainThread(QVariantMap *record)
{
    const int answer = askToTheUserWithView(
        record->value(kQuestionStringKey).toString(),
        KZLocalizedString(record->value(kQuestionMessageKey).toString()), {},
        KZLocalizedString(record->value(kQuestionButtonOneKey).toString()),
        KZLocalizedString(record->value(kQuestionButtonTwoKey).toString()), QString(),
        KZLocalizedString(record->value(kQuestionViewStringKey).toString()),
        record->value(kQuestionIdentifierKey).toString());
    record->insert(kQuestionEraseFileKey, answer == KZAlertSecondButtonReturn);
    record->insert(kQuestionIsForAllKey, m_accessoryViewCheckState);
}

int KZDeleteItems::askToTheUserWithView(const QString &messageText, const QString &informativeText,
                                        const QStringList &, const QString &defaultButton,
                                        const QString &alternateButton, const QString &otherButton,
                                        const QString &accesoryViewTitle, const QString &identifier)
{
    return KZMainThread::run([&] {
        KZAlertRequest request;
        request.identifier = identifier;
        request.style = KZAlertStyle::Warning;
        request.messageText = messageText;
        request.informativeText = informativeText;
        // The third button is there even without a title; choosing it skips.
        request.buttons = {defaultButton, alternateButton, otherButton};
        request.checkBoxTitle = accessoryViewWithTitle(accesoryViewTitle);
        request.cancelAnswer = KZAlertFirstButtonReturn;
        const KZAlertResponse response = presenter().backend()->runModal(request);
        accessoryViewAction(response.checkBoxState);
        return response.answer;
    });
}

QString KZDeleteItems::accessoryViewWithTitle(const QString &title)
{
    m_accessoryViewCheck = title;
    m_accessoryViewCheckState = false;
    return title;
}

void KZDeleteItems::accessoryViewAction(bool checked)
{
    m_accessoryViewCheckState = checked;
}

// ---- Log ----------------------------------------------------------------------------------

bool KZDeleteItems::prepareLogFile(const KZEraseRequest &array, bool secureDelete)
{
    QString start;
    QString end;
    QString name;
    if (array.size() == 1 && array.constFirst().isSmart()) {
        start = KZLocalizedString(QStringLiteral("start_delete_checked"));
        end = KZLocalizedString(QStringLiteral("end_delete_checked"));
        name = KZLocalizedString(QStringLiteral("selected_items_log_name"));
    } else if (array.size() == 1) {
        start = KZLocalizedString(QStringLiteral("start_delete_single"));
        end = KZLocalizedString(QStringLiteral("end_delete_single"));
        name = array.constFirst().volumeName.value_or(QString());
    } else {
        start = KZLocalizedString(QStringLiteral("start_delete_all"));
        end = KZLocalizedString(QStringLiteral("end_delete_all"));
        name = KZLocalizedString(QStringLiteral("all_vols_log_name"));
    }
    if (secureDelete) {
        const QString secure = KZLocalizedString(QStringLiteral("isSecure_erase"));
        start += secure;
        end += secure;
    }
    const QVariantMap settings{
        {KZLogController::kStartStr, start},
        {KZLogController::kEndStr, end},
        {KZLogController::kPartialLogName, name},
        {KZLogController::kGapTime,
         int(qint16(userDefaults().integerForKey(KZUserDefaults::kHowManyDaysForNewLogFile)))},
    };
    m_logCntrl
        = std::make_unique<KZLogController>(settings, m_environment.logsFolder, fileManager());
    return m_logCntrl->openLogFile();
}

void KZDeleteItems::writeLogEntryWithPath(const QByteArray &path, quint64 itemSize)
{
    // Every removal passes here, the helper's included, whether or not a log is kept.
    report(path, KZItemOutcome::Kind::Erased, itemSize);
    if (m_logCntrl)
        m_logCntrl->writeEntryWithPath(path, itemSize);
}

// ---- Helper client callbacks --------------------------------------------------------------

void KZDeleteItems::setTotItemsDeleted(quint64 count)
{
    m_totItemsDeleted.store(count);
}

void KZDeleteItems::setTotSizeDeleted(quint64 bytes)
{
    m_totSizeDeleted.store(bytes);
}

void KZDeleteItems::setNotErasedCount(quint64 count)
{
    m_notErasedCount.store(count);
}

void KZDeleteItems::setIsWorking(bool working)
{
    m_isWorking.store(working);
}

void KZDeleteItems::showErrorWithError(const KZError &error)
{
    {
        QMutexLocker locker(&m_lock);
        m_helperError = error;
    }
    presenter().showError(error.localizedDescription, QString(), {});
}

// ---- State --------------------------------------------------------------------------------

QVariantMap KZDeleteItems::toAuthorizeInfo() const
{
    QMutexLocker locker(&m_lock);
    return m_toAuthorizeInfo.value_or(QVariantMap());
}

QVariantMap KZDeleteItems::notAuthorizedItems() const
{
    QMutexLocker locker(&m_lock);
    return m_notAuthorizedItems.value_or(QVariantMap());
}

QByteArrayList KZDeleteItems::notTrashed() const
{
    QMutexLocker locker(&m_lock);
    return m_notTrashed.value_or(QByteArrayList());
}

void KZDeleteItems::setVolumeName(const QString &name)
{
    QMutexLocker locker(&m_lock);
    m_volumeName = name;
}

QString KZDeleteItems::volumeName() const
{
    QMutexLocker locker(&m_lock);
    return m_volumeName;
}

KZEraseSummary KZDeleteItems::lastJobSummary() const
{
    QMutexLocker locker(&m_lock);
    return m_lastJobSummary;
}
