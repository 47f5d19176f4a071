#pragma once

#include "KZBWAlert.h"
#include "KZEraseRecord.h"
#include "KZEraseSummary.h"
#include "KZItemOutcome.h"
#include "KZJobState.h"
#include "KZLogController.h"
#include "KZProgressUI.h"
#include "model/KZError.h"
#include "privileged/KZHelperClient.h"
#include "privileged/KZSecureAccessDelegate.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include <sys/types.h>
#include <unistd.h>

class KZCommonFlleUtilties;
class KZFileManager;
class KZFilesUtilities;
class KZTUErrorDelegate;
class KZUserDefaults;
class QThread;

// The erase engine. Every erase (all Trashes, one volume's Trash, the checked items) enters
// through prepareToEraseWithArray: confirmation, log, then a walk on a thread of its own that
// removes every item, asks about locked and protected ones on the main thread while it waits,
// and collects what needs administrator rights for the privileged helper. A 0.2 s timer on the
// main thread polls the counters, opens the progress display once the job has run 0.5 s, and
// ends the job. Nothing outside a Trash's files/ folder is removed and no link is followed.
//
// Threads: the entries marked "main thread" run there; the walk runs on the walker thread; the
// counters are atomic and may be read anywhere. The helper client's callbacks may come on any
// thread.
class KZDeleteItems : public QObject, public KZSecureAccessDelegate
{
    Q_OBJECT

public:
    // Posted (no object, no user information) when a job ends or is cancelled.
    static inline const QString kStopWorkingNotification = QStringLiteral("stopWorking");
    // KZAlertRequest::identifier of the two questions (their message keys), so that a front end
    // can answer them by rule.
    static inline const QString kLockedQuestionIdentifier
        = QStringLiteral("undeletedLockedSingStr");
    static inline const QString kNoPermissionsQuestionIdentifier
        = QStringLiteral("undeletedNoPermissionsSingStr");
    // The skip list's and the administrator batch's two lists.
    static inline const QString kUnlockItemsKey = KZBatchKey::unlockItems;
    static inline const QString kPermissionsItemsKey = KZBatchKey::permissionsItems;
    // Question record keys.
    static inline const QString kQuestionStringKey = QStringLiteral("string");
    static inline const QString kQuestionMessageKey = QStringLiteral("message");
    static inline const QString kQuestionViewStringKey = QStringLiteral("viewString");
    static inline const QString kQuestionButtonOneKey = QStringLiteral("buttonOne");
    static inline const QString kQuestionButtonTwoKey = QStringLiteral("buttonTwo");
    static inline const QString kQuestionEraseFileKey = QStringLiteral("eraseFile");
    static inline const QString kQuestionIsForAllKey = QStringLiteral("isForAll");
    // Carries the question's identifier along with the record.
    static inline const QString kQuestionIdentifierKey = QStringLiteral("identifier");

    // Where the engine reaches the file system, the settings and the user. Null collaborators
    // mean the shared ones.
    struct Environment
    {
        KZFileManager *fileManager = nullptr;
        KZFilesUtilities *filesUtilities = nullptr;
        // When null, the engine uses one of its own that runs secureRemoveTool.
        KZCommonFlleUtilties *commonFileUtilities = nullptr;
        KZUserDefaults *userDefaults = nullptr;
        KZTUErrorDelegate *presenter = nullptr;
        KZBWAlert *alert = nullptr;
        QString secureRemoveTool = QStringLiteral("/usr/bin/srm");
        // Where the job-kind log folders go; empty means KZLogController::defaultLogsFolder().
        QByteArray logsFolder;
        // Seconds since 1970, for the progress display's half-second rule; the system clock
        // when empty.
        std::function<double()> clock;
        // Brings the application to the front before a confirmation; nothing headless.
        std::function<void()> activate;
    };

    // The process-wide engine over the shared collaborators, made on first use.
    static KZDeleteItems &sharedControl();
    KZDeleteItems();
    explicit KZDeleteItems(const Environment &environment, QObject *parent = nullptr);
    // Stops a running job and waits for its threads.
    ~KZDeleteItems() override;

    // The progress display of later jobs (the command line draws a bar, the GUI a window);
    // none by default. Main thread.
    void setProgressDisplayFactory(KZProgressUI::DisplayFactory factory);

    // Whether locked items (locked) and items without permission (noPermission) are asked
    // about when no helper is available (a terminal asks, and a standing answer of the command
    // line is given as one; the desktop counts them without a question). The question then
    // offers skip alone and says why, and a skip counts as the user's. Main thread, between
    // jobs.
    void setAsksWithoutHelper(bool locked, bool noPermission);

    // Told what became of every entry of later jobs, as it is decided (see KZItemOutcome);
    // nothing by default. Main thread, between jobs.
    void setItemOutcomeObserver(KZItemOutcome::Observer observer);

    // ---- The job --------------------------------------------------------------------------

    // The single entry of every erase. Asks for confirmation when "showAlert" is on (and opens
    // the log when "writeLog" is), then starts the job. True when the job started; false when
    // the user cancelled ("stopWorking" has then been posted), or, with nothing posted and a
    // beep, when the job state is not idle (a confirmation is up, or a job runs). Main thread.
    bool prepareToEraseWithArray(const KZEraseRequest &array);
    // Starts the job: counters, timer, walker thread. Main thread.
    void emptyTrashWithArray(const KZEraseRequest &array, bool secureDelete);
    // Measures the job when the confirmation did not: totSize, totItems and the bar's maximum.
    // Its own thread.
    void doCalcSizeInfo(const KZEraseRequest &array);
    // Body of the walker thread.
    void doIterateTrashes(const KZEraseRequest &array);
    // Walker thread: the checked items, folders emptied first and removed when empty.
    void iterateSmartArrayToDelete(const QList<QUrl> &array);
    // Walker thread: erases everything inside the folder (files first, then the folders, the
    // deepest first), never the folder itself. The second listing's error, if any.
    std::optional<KZError> iterateFolderForDeleteContent(const QUrl &url);
    // Walker thread: checks and removes one item, counting and logging it.
    void manageItemURL(const QUrl &url, bool isDirectory);
    // The job's stop flag. Any thread.
    [[nodiscard]] bool isStoppedByUser() const;
    // Called by the progress controller's Stop; forwards to the helper while it erases.
    void setIsStopped(bool stopped);
    // The timer's tick. Main thread.
    void updateProgressStatus();

    // ---- Locked and protected items (walker thread unless noted) -----------------------

    // True to go on with the item; false when it was skipped, counted as not erased, or
    // could not be unlocked.
    bool checkForLockedFileWithURL(const QUrl &url);
    // True when the user's own rights suffice (only with checkForNoPermissions); otherwise the
    // item is queued for the helper, skipped, or counted as not erased, and false is answered.
    bool permissionsCheckWithURL(const QUrl &url, bool checkForNoPermissions);
    // The removal test: whether the user's own rights can remove the item, which takes write
    // and search permission on the folder holding it (a folder of the user's own counts: its
    // owner may give them), and in someone else's sticky folder owning the item. The item
    // itself is neither opened nor changed, and a link is not followed. Any thread.
    [[nodiscard]] bool checkPermissions(const QByteArray &path);
    [[nodiscard]] bool urlItemIsAlreadySkipped(const QUrl &url, bool isUnlock) const;
    void addURLToSkippedArray(const QUrl &url, bool isUnlock);
    // Queues the item's path (nothing when it has none) for the helper.
    void addURLFoAuthorizedErase(const QUrl &url, bool shouldUnlocked);
    void addToNotTrashed(const QUrl &url);
    [[nodiscard]] QByteArrayList convertURLsToPaths(const QList<QUrl> &urls) const;
    // Completes the batch and hands it to the helper client on the main thread.
    void eraseWithAdminPrivileges();
    // Main thread: asks the question of record and writes "eraseFile" and "isForAll" back.
    void askToEraseInMainThread(QVariantMap *record);
    // Main thread: the question with the apply-to-all box; 1000, 1001 or 1002. The names are
    // accepted and not used.
    int askToTheUserWithView(const QString &messageText, const QString &informativeText,
                             const QStringList &additionalNames, const QString &defaultButton,
                             const QString &alternateButton, const QString &otherButton,
                             const QString &accesoryViewTitle, const QString &identifier = {});
    // The apply-to-all box: answers its title, unticked, and clears accessoryViewCheckState.
    QString accessoryViewWithTitle(const QString &title);
    void accessoryViewAction(bool checked);

    // ---- Log -----------------------------------------------------------------------------

    // Makes and opens the job's log controller; false when it cannot be opened. Main thread.
    bool prepareLogFile(const KZEraseRequest &array, bool secureDelete);
    // Logs one erased item when a log is open. Any thread.
    void writeLogEntryWithPath(const QByteArray &path, quint64 itemSize) override;

    // ---- Helper client callbacks (any thread) ---------------------------------------------

    void setTotItemsDeleted(quint64 count) override;
    void setTotSizeDeleted(quint64 bytes) override;
    void setNotErasedCount(quint64 count) override;
    void setIsWorking(bool working) override;
    // Shows the error's description through the message presenter.
    void showErrorWithError(const KZError &error) override;

    // ---- State ---------------------------------------------------------------------------

    [[nodiscard]] quint64 totSize() const { return m_totSize.load(); }
    [[nodiscard]] quint64 totItems() const { return m_totItems.load(); }
    [[nodiscard]] quint64 totSizeDeleted() const { return m_totSizeDeleted.load(); }
    [[nodiscard]] quint64 totItemsDeleted() const { return m_totItemsDeleted.load(); }
    [[nodiscard]] quint64 notErasedCount() const { return m_notErasedCount.load(); }
    [[nodiscard]] quint64 itemBusyCount() const { return m_itemBusyCount.load(); }
    // Removals that failed for a reason other than permission or use (the engine beeps).
    [[nodiscard]] quint64 otherErrorCount() const { return m_otherErrorCount.load(); }
    [[nodiscard]] bool isWorking() const { return m_isWorking.load(); }
    // The one job state every entry point checks. Main thread.
    [[nodiscard]] KZJobState jobState() const { return m_jobState; }
    [[nodiscard]] bool isSmartErase() const { return m_isSmartErase; }
    [[nodiscard]] bool eraseSecurely() const { return m_eraseSecurely; }
    [[nodiscard]] bool isHelperAuthorized() const { return m_isHelperAuthorized; }
    [[nodiscard]] bool isSecuredErasing() const { return m_isSecuredErasing.load(); }
    [[nodiscard]] bool panelAlreadyShown() const { return m_panelAlreadyShown; }
    [[nodiscard]] double startTime() const { return m_startTime; }
    [[nodiscard]] bool deleteLocked() const { return m_deleteLocked; }
    [[nodiscard]] bool deleteLockedAlreadyAsked() const { return m_deleteLockedAlreadyAsked; }
    [[nodiscard]] bool deleteNoPermissions() const { return m_deleteNoPermissions; }
    [[nodiscard]] bool deleteLNoPermissionsAlreadyAsked() const
    {
        return m_deleteLNoPermissionsAlreadyAsked;
    }
    [[nodiscard]] bool accessoryViewCheckState() const { return m_accessoryViewCheckState; }
    // Nothing ever sets it, so the guard before notTrashed always passes.
    [[nodiscard]] bool alreadyAdded() const { return m_alreadyAdded; }
    // The lists of the running job (empty outside one); read them on the walker thread, or on
    // the main thread once the walk has finished.
    [[nodiscard]] QVariantMap toAuthorizeInfo() const;
    [[nodiscard]] QVariantMap notAuthorizedItems() const;
    [[nodiscard]] QByteArrayList notTrashed() const;
    // Shown once by the next tick, then cleared. Any thread.
    void setVolumeName(const QString &name);
    [[nodiscard]] QString volumeName() const;
    // The current job's progress controller (kept until the next job starts), or null.
    [[nodiscard]] KZProgressUI *progressCntrl() const { return m_progressCntrl.get(); }
    [[nodiscard]] KZLogController *logCntrl() const { return m_logCntrl.get(); }
    // What the last job that ended did.
    [[nodiscard]] KZEraseSummary lastJobSummary() const;
    [[nodiscard]] const Environment &environment() const { return m_environment; }

Q_SIGNALS:
    // A job ended (emitted on the main thread just before "stopWorking" is posted).
    void jobEnded(const KZEraseSummary &summary);
    // The job state changed (main thread; emitted before "stopWorking" when a job ends).
    void jobStateChanged(KZJobState state);

private:
    struct Item;
    class FolderChecks;

    [[nodiscard]] KZFileManager &fileManager() const;
    [[nodiscard]] KZFilesUtilities &filesUtilities() const;
    [[nodiscard]] KZCommonFlleUtilties &commonFileUtilities() const;
    [[nodiscard]] KZUserDefaults &userDefaults() const;
    [[nodiscard]] KZTUErrorDelegate &presenter() const;
    [[nodiscard]] KZBWAlert &alert() const;
    [[nodiscard]] double now() const;
    void beep() const;
    void postStopWorking();
    void setJobState(KZJobState state);
    void endJob();
    void joinThreads();
    // Main thread: gives the batch to the helper client (made on first need).
    void handOver(const QVariantMap &batch);

    bool checkForLockedFile(Item &item);
    bool permissionsCheck(Item &item, bool checkForNoPermissions);
    bool checkPermissionsAt(Item &item, uid_t euid);
    bool ask(const QString &format, const QString &message, const QString &identifier,
             const Item &item, bool *isForAll);
    void manageItem(Item &item, bool isDirectory);
    void addToList(QVariantMap *list, const QString &key, const QVariant &value);
    // A removal that failed for a reason of its own: counted, beeped, kept for the summary
    // and the log. Any thread.
    void noteFailure(const QByteArray &path, const KZError &error);
    // Tells the outcome observer, if any. Any thread.
    void report(const QByteArray &path, KZItemOutcome::Kind kind, quint64 size = 0,
                const QString &reason = {}) const;
    // addToNotTrashed for a path just listed (no need to look it up again).
    void addToNotTrashedPath(const QByteArray &path);

    Environment m_environment;
    std::unique_ptr<KZCommonFlleUtilties> m_ownCommonFileUtilities;
    KZProgressUI::DisplayFactory m_displayFactory;

    std::atomic<quint64> m_totSize{0};
    std::atomic<quint64> m_totItems{0};
    std::unique_ptr<KZProgressUI> m_progressCntrl;
    double m_startTime = 0;
    bool m_panelAlreadyShown = false;
    bool m_deleteLocked = false;
    bool m_deleteLockedAlreadyAsked = false;
    QString m_volumeName;
    bool m_accessoryViewCheckState = false;
    bool m_isHelperAuthorized = false;
    bool m_eraseSecurely = false;
    bool m_deleteNoPermissions = false;
    bool m_deleteLNoPermissionsAlreadyAsked = false;
    std::atomic<quint64> m_itemBusyCount{0};
    std::atomic<bool> m_isSecuredErasing{false};
    bool m_isSmartErase = false;
    std::unique_ptr<KZHelperClient> m_secAccess;
    bool m_alreadyAdded = false;
    std::unique_ptr<KZLogController> m_logCntrl;
    std::atomic<bool> m_isWorking{false};
    QString m_accessoryViewCheck;
    std::optional<QVariantMap> m_toAuthorizeInfo;
    std::atomic<quint64> m_totSizeDeleted{0};
    std::atomic<quint64> m_totItemsDeleted{0};
    std::atomic<quint64> m_notErasedCount{0};
    std::optional<QVariantMap> m_notAuthorizedItems;
    std::optional<QByteArrayList> m_notTrashed;

    std::atomic<quint64> m_otherErrorCount{0};
    bool m_asksLockedWithoutHelper = false;
    bool m_asksNoPermissionWithoutHelper = false;
    KZItemOutcome::Observer m_outcomeObserver;
    std::atomic<quint64> m_lockedWithoutHelperCount{0};
    std::atomic<quint64> m_noPermissionWithoutHelperCount{0};
    std::atomic<quint64> m_hardLinksRemovedPlainly{0};
    QList<KZEraseSummary::Failure> m_failures; // under m_lock
    QByteArrayList m_plainlyRemoved;           // under m_lock: hard links of a secure erase
    // Hard-linked files already counted by this job (device, inode): their blocks count once.
    // Walker thread only.
    QSet<QPair<quint64, quint64>> m_countedLinks;
    uid_t m_euid = ::geteuid(); // the job's user, read once: whose items need no write test
    mutable QMutex m_lock;      // the lists and the volume name, read across threads
    QTimer m_timer;
    QThread *m_walker = nullptr;
    QThread *m_sizeThread = nullptr;
    std::atomic<bool> m_sizeThreadStop{false};
    std::optional<KZError> m_helperError;
    // The batch is on its way to (or inside) the helper client: the job must not end yet.
    std::atomic<bool> m_inHandOver{false};
    KZEraseSummary m_lastJobSummary;
    KZJobState m_jobState = KZJobState::Idle;
};
