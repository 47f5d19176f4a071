#pragma once

#include "model/KZFilesUtilities.h"
#include "model/KZTrashLocation.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QThreadPool>
#include <QTimer>

#include <atomic>
#include <memory>

class QSocketNotifier;

// Keeps the item count and reclaimable size of all the user's Trashes up to date while other
// programs (and Binwise) trash, empty and restore, so that the tray can show them without
// measuring on demand. inotify watches each Trash's files/ folder (the top level is what a put,
// an empty or a restore changes) and the folders leading to it from the volume's top or the
// home's data folder, so that a Trash made later is found; the mount table is followed for
// volumes coming and going. A changed Trash is measured again on a worker, at most once a
// second however many changes arrive; an unchanged Trash is never walked again.
// Lives on the main thread.
class KZTrashMonitor : public QObject
{
    Q_OBJECT

public:
    // The volumes of the kernel's mount table, or of the file BINWISE_MOUNTINFO names.
    explicit KZTrashMonitor(QObject *parent = nullptr);
    // The volumes and home that roots describe (tests, sandboxes).
    explicit KZTrashMonitor(KZFilesUtilities::Roots roots, QObject *parent = nullptr);
    // Stops the running measurements and waits for them: none outlives the monitor.
    ~KZTrashMonitor() override;

    // Lists the Trashes, starts watching and measures each once. Later calls do nothing.
    void start();

    // All Trashes together: items at every level, and bytes allocated. 0 until measured.
    [[nodiscard]] quint64 totalCount() const { return m_totalCount; }
    [[nodiscard]] quint64 totalSize() const { return m_totalSize; }
    // True once every Trash known has been measured at least once.
    [[nodiscard]] bool isMeasured() const;

    // The Trash records being followed, with their last measured counters.
    [[nodiscard]] QList<KZTrashLocation> locations() const;
    // Walks started so far for the Trash whose files/ folder is trashURL (all Trashes when
    // empty), so that a test can see that a burst costs few and an unchanged Trash none.
    [[nodiscard]] quint64 measurementsStarted(const QUrl &trashURL = {}) const;

    // The shortest time between two walks of one Trash.
    static constexpr int kMinimumIntervalMs = 1000;

Q_SIGNALS:
    // The totals changed (or were measured for the first time). Main thread.
    void totalsChanged(quint64 count, quint64 size);
    // The Trashes followed changed: a volume or a Trash came or went.
    void locationsChanged();

private:
    struct Trash
    {
        KZTrashLocation record;
        QByteArray files;        // the files/ folder's path
        QByteArray anchor;       // the volume's top, or the home's data folder
        int filesWatch = -1;     // the inotify watch on files/, or -1
        bool measured = false;   // counters hold a measurement
        bool dirty = true;       // changed since the last walk started
        bool running = false;    // a walk is on the pool
        qint64 lastStartMs = -1; // m_clock time of the last walk's start
        quint64 generation = 0;  // new each time the Trash starts being followed
        quint64 started = 0;     // walks started
    };

    void readInotify();
    void checkMountTable();
    void relist();
    void scheduleRelist();
    void watchFolders();
    int addWatch(const QByteArray &path, quint32 mask);
    void markDirty(Trash &trash);
    void scheduleMeasurements();
    void startDueMeasurements();
    void measure(Trash &trash);
    void measured(const QByteArray &files, quint64 generation, quint64 size, quint64 count);
    void updateTotals();
    [[nodiscard]] QByteArray readMountTable() const;
    [[nodiscard]] QByteArray dataHome() const;

    KZFilesUtilities m_utilities;
    QString m_mountInfoPath;
    QByteArray m_dataHome; // empty: $XDG_DATA_HOME, else ~/.local/share, at each look
    uid_t m_uid;
    bool m_started = false;

    int m_inotify = -1;
    QSocketNotifier *m_inotifyNotifier = nullptr;
    // The mount table: POLLPRI on /proc/self/mountinfo where the kernel offers it, and a
    // comparison of its content on a timer (the only way for a plain file).
    int m_mountInfoFd = -1;
    QSocketNotifier *m_mountNotifier = nullptr;
    QTimer m_mountTimer;
    QByteArray m_mountTable;

    QHash<QByteArray, Trash> m_trashes; // by files/ path
    QList<QByteArray> m_order;          // the files/ paths in the order of the volumes
    quint64 m_generations = 0;
    // Folders watched for a Trash coming: watch descriptor -> path. The files/ watches are
    // found through m_filesByWatch.
    QHash<int, QByteArray> m_folderWatches;
    QHash<int, QByteArray> m_filesByWatch;
    QTimer m_relistTimer;
    QTimer m_measureTimer;
    QElapsedTimer m_clock;

    quint64 m_totalCount = 0;
    quint64 m_totalSize = 0;
    bool m_totalsReported = false;
    quint64 m_retiredStarted = 0; // walks of Trashes no longer followed

    QThreadPool m_pool;
    std::shared_ptr<std::atomic<bool>> m_stopping = std::make_shared<std::atomic<bool>>(false);
};
