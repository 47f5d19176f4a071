#include "KZTrashMonitor.h"

#include "model/KZPath.h"
#include "model/KZTrashSizes.h"

#include <QFile>
#include <QLoggingCategory>
#include <QSet>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcTrashMonitor, "binwise.presentation.trashmonitor")

namespace {

// What a put, an empty or a restore does to files/: entries come, go or are renamed, and a
// file copied in from another volume is written in place. The folder itself may go too.
constexpr quint32 kFilesMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE
                               | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
// The folders on the way to a Trash: only entries coming or going matter.
constexpr quint32 kFolderMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF
                                | IN_MOVE_SELF | IN_ONLYDIR;

// Lets a put finish its rename before the walk, and gathers the first events of a burst.
constexpr int kGatherMs = 50;
// Changes on the way to a Trash come in small groups (a folder, then its files/ and info/).
constexpr int kRelistDelayMs = 100;
// /proc/self/mountinfo says when it changes; a plain file standing for it must be read again.
constexpr int kMountPollMs = 1000;
constexpr int kMountBackstopMs = 5000;

QByteArray withoutTrailingSlash(QByteArray path)
{
    while (path.size() > 1 && path.endsWith('/'))
        path.chop(1);
    return path;
}

KZFilesUtilities::Roots rootsFromEnvironment()
{
    KZFilesUtilities::Roots roots;
    const QString table = qEnvironmentVariable("BINWISE_MOUNTINFO");
    if (!table.isEmpty())
        roots.mountInfoPath = table;
    return roots;
}

} // namespace

KZTrashMonitor::KZTrashMonitor(QObject *parent)
    : KZTrashMonitor(rootsFromEnvironment(), parent)
{}

KZTrashMonitor::KZTrashMonitor(KZFilesUtilities::Roots roots, QObject *parent)
    : QObject(parent)
    , m_utilities(roots)
    , m_mountInfoPath(roots.mountInfoPath)
    , m_dataHome(roots.dataHome)
    , m_uid(roots.uid ? *roots.uid : ::getuid())
{
    m_pool.setObjectName(QStringLiteral("binwise-trash-monitor"));
    // One walk at a time is enough for totals, and leaves the cores to the windows' pools.
    m_pool.setMaxThreadCount(1);
    m_relistTimer.setSingleShot(true);
    m_relistTimer.setInterval(kRelistDelayMs);
    connect(&m_relistTimer, &QTimer::timeout, this, &KZTrashMonitor::relist);
    m_measureTimer.setSingleShot(true);
    // A coarse timer may fire a little early, before a Trash's second is up.
    m_measureTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_measureTimer, &QTimer::timeout, this, &KZTrashMonitor::startDueMeasurements);
    connect(&m_mountTimer, &QTimer::timeout, this, &KZTrashMonitor::checkMountTable);
}

KZTrashMonitor::~KZTrashMonitor()
{
    m_stopping->store(true);
    m_pool.clear();
    m_pool.waitForDone();
    delete m_inotifyNotifier;
    delete m_mountNotifier;
    if (m_inotify >= 0)
        ::close(m_inotify);
    if (m_mountInfoFd >= 0)
        ::close(m_mountInfoFd);
}

void KZTrashMonitor::start()
{
    if (m_started)
        return;
    m_started = true;
    m_clock.start();

    m_inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify >= 0) {
        m_inotifyNotifier = new QSocketNotifier(m_inotify, QSocketNotifier::Read, this);
        connect(m_inotifyNotifier, &QSocketNotifier::activated, this, &KZTrashMonitor::readInotify);
    } else {
        qCWarning(lcTrashMonitor) << "inotify unavailable, totals are measured once:"
                                  << qt_error_string(errno);
    }

    m_mountTable = readMountTable();
    if (m_mountInfoPath.startsWith(QLatin1String("/proc/"))) {
        // The kernel raises POLLPRI on an open mountinfo whenever a mount comes or goes.
        m_mountInfoFd
            = ::open(QFile::encodeName(m_mountInfoPath).constData(), O_RDONLY | O_CLOEXEC);
        if (m_mountInfoFd >= 0) {
            m_mountNotifier = new QSocketNotifier(m_mountInfoFd, QSocketNotifier::Exception, this);
            connect(m_mountNotifier, &QSocketNotifier::activated, this,
                    &KZTrashMonitor::checkMountTable);
        }
    }
    m_mountTimer.start(m_mountNotifier ? kMountBackstopMs : kMountPollMs);
    relist();
}

bool KZTrashMonitor::isMeasured() const
{
    if (!m_started)
        return false;
    for (const Trash &trash : m_trashes) {
        if (!trash.measured)
            return false;
    }
    return true;
}

QList<KZTrashLocation> KZTrashMonitor::locations() const
{
    QList<KZTrashLocation> records;
    for (const QByteArray &files : m_order)
        records.append(m_trashes.value(files).record);
    return records;
}

quint64 KZTrashMonitor::measurementsStarted(const QUrl &trashURL) const
{
    if (!trashURL.isEmpty()) {
        const auto found = m_trashes.constFind(withoutTrailingSlash(KZPath::pathFromURL(trashURL)));
        return found == m_trashes.cend() ? 0 : found->started;
    }
    quint64 all = m_retiredStarted;
    for (const Trash &trash : m_trashes)
        all += trash.started;
    return all;
}

QByteArray KZTrashMonitor::dataHome() const
{
    if (!m_dataHome.isEmpty())
        return m_dataHome;
    const QByteArray xdg = qgetenv("XDG_DATA_HOME");
    if (xdg.startsWith('/'))
        return withoutTrailingSlash(xdg);
    return withoutTrailingSlash(qgetenv("HOME")) + "/.local/share";
}

QByteArray KZTrashMonitor::readMountTable() const
{
    QFile file(m_mountInfoPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // Files in /proc report no size: read to the end.
    return file.readAll();
}

void KZTrashMonitor::checkMountTable()
{
    QByteArray table = readMountTable();
    if (table == m_mountTable)
        return;
    m_mountTable = std::move(table);
    relist();
}

void KZTrashMonitor::scheduleRelist()
{
    if (!m_relistTimer.isActive())
        m_relistTimer.start();
}

void KZTrashMonitor::relist()
{
    m_relistTimer.stop();
    const QList<KZTrashLocation> records = m_utilities.trashesAndVolumesLocations();
    const QByteArray home = dataHome();

    QHash<QByteArray, Trash> kept;
    QList<QByteArray> order;
    // A volume's second Trash folder (two desktops used it) is followed as a Trash of its own,
    // so that the totals hold both.
    QList<KZTrashLocation> folders;
    for (const KZTrashLocation &listed : records) {
        for (const QUrl &url : listed.trashURLs()) {
            KZTrashLocation folder = listed;
            folder.trashURL = url;
            folder.otherTrashURL.clear();
            folders.append(folder);
        }
    }
    for (const KZTrashLocation &record : std::as_const(folders)) {
        const QByteArray files = withoutTrailingSlash(KZPath::pathFromURL(record.trashURL));
        if (files.isEmpty() || kept.contains(files))
            continue;
        Trash trash;
        const auto old = m_trashes.find(files);
        if (old != m_trashes.end()) {
            trash = std::move(*old);
            m_trashes.erase(old);
        } else {
            trash.generation = ++m_generations;
        }
        // The counters are the monitor's own: a fresh record knows none.
        const std::optional<quint64> size = trash.record.itemsSize;
        const std::optional<quint64> count = trash.record.itemsCount;
        const bool empty = trash.record.trashIsEmpty;
        trash.record = record;
        if (trash.measured) {
            trash.record.itemsSize = size;
            trash.record.itemsCount = count;
            trash.record.trashIsEmpty = empty;
        }
        trash.files = files;
        trash.anchor = files.startsWith(home + '/')
                           ? home
                           : withoutTrailingSlash(KZPath::pathFromURL(record.volumeURL));
        kept.insert(files, std::move(trash));
        order.append(files);
    }

    // Trashes no longer listed (a volume unmounted, made read-only): forget them and their
    // watches; a walk of theirs still running reports to nobody.
    const bool dropped = !m_trashes.isEmpty();
    for (const Trash &gone : std::as_const(m_trashes)) {
        m_retiredStarted += gone.started;
        if (gone.filesWatch >= 0) {
            m_filesByWatch.remove(gone.filesWatch);
            if (m_inotify >= 0)
                ::inotify_rm_watch(m_inotify, gone.filesWatch);
        }
    }
    const bool added = std::any_of(kept.cbegin(), kept.cend(),
                                   [](const Trash &trash) { return trash.started == 0; });
    m_trashes = std::move(kept);
    m_order = std::move(order);

    watchFolders();
    if (dropped || added)
        Q_EMIT locationsChanged();
    updateTotals();
    scheduleMeasurements();
}

int KZTrashMonitor::addWatch(const QByteArray &path, quint32 mask)
{
    if (m_inotify < 0)
        return -1;
    // IN_DONT_FOLLOW: a link standing where a folder should be is not watched through.
    return ::inotify_add_watch(m_inotify, path.constData(), mask | IN_DONT_FOLLOW);
}

void KZTrashMonitor::watchFolders()
{
    // files/ of each Trash. Adding a watch again answers the watch the folder already has, so a
    // new descriptor means a new folder at that path (made, or moved in): its content is new.
    for (Trash &trash : m_trashes) {
        const int watch = addWatch(trash.files, kFilesMask);
        if (watch == trash.filesWatch)
            continue;
        if (trash.filesWatch >= 0) {
            m_filesByWatch.remove(trash.filesWatch);
            if (m_inotify >= 0)
                ::inotify_rm_watch(m_inotify, trash.filesWatch);
        }
        trash.filesWatch = watch;
        if (watch >= 0)
            m_filesByWatch.insert(watch, trash.files);
        markDirty(trash);
    }

    // The folders from each volume's top (or the home's data folder) down to the Trash, so
    // that a Trash made, removed or replaced later is noticed.
    QSet<QByteArray> wanted;
    for (const Trash &trash : std::as_const(m_trashes)) {
        wanted.insert(trash.anchor);
        if (!trash.files.startsWith(trash.anchor + '/'))
            continue;
        qsizetype at = trash.anchor.size() + 1;
        for (;;) {
            const qsizetype slash = trash.files.indexOf('/', at);
            if (slash < 0)
                break;
            wanted.insert(trash.files.left(slash));
            at = slash + 1;
        }
    }
    QHash<int, QByteArray> watches;
    for (const QByteArray &folder : std::as_const(wanted)) {
        const int watch = addWatch(folder, kFolderMask);
        if (watch >= 0 && !m_filesByWatch.contains(watch))
            watches.insert(watch, folder);
    }
    for (auto it = m_folderWatches.cbegin(); it != m_folderWatches.cend(); ++it) {
        if (!watches.contains(it.key()) && !m_filesByWatch.contains(it.key()) && m_inotify >= 0)
            ::inotify_rm_watch(m_inotify, it.key());
    }
    m_folderWatches = std::move(watches);
}

void KZTrashMonitor::readInotify()
{
    // Names that, coming or going on the way to a Trash, may make or unmake one.
    const QByteArray uid = QByteArray::number(m_uid);
    const QSet<QByteArray> trashNames{".Trash", ".Trash-" + uid, uid, "Trash", "files"};

    alignas(inotify_event) char buffer[64 * 1024];
    bool relistNeeded = false;
    for (;;) {
        const ssize_t got = ::read(m_inotify, buffer, sizeof buffer);
        if (got <= 0) {
            if (got < 0 && errno == EINTR)
                continue;
            break;
        }
        for (ssize_t at = 0; at < got;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event) + event->len);

            if (event->mask & IN_Q_OVERFLOW) {
                // Events were lost: any Trash may have changed.
                for (Trash &trash : m_trashes)
                    markDirty(trash);
                relistNeeded = true;
                continue;
            }
            if (const auto files = m_filesByWatch.constFind(event->wd);
                files != m_filesByWatch.cend()) {
                const auto trash = m_trashes.find(*files);
                if (event->mask & IN_IGNORED) {
                    // The folder went (or its volume): the watch is gone with it.
                    if (trash != m_trashes.end())
                        trash->filesWatch = -1;
                    m_filesByWatch.erase(files);
                    relistNeeded = true;
                } else if (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF)) {
                    relistNeeded = true;
                }
                if (trash != m_trashes.end())
                    markDirty(*trash);
                continue;
            }
            if (const auto folder = m_folderWatches.constFind(event->wd);
                folder != m_folderWatches.cend()) {
                if (event->mask & IN_IGNORED) {
                    m_folderWatches.erase(folder);
                    relistNeeded = true;
                } else if (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF)) {
                    relistNeeded = true;
                } else if (event->len > 0 && trashNames.contains(QByteArray(event->name))) {
                    relistNeeded = true;
                }
            }
            // Anything else is a watch this monitor already let go.
        }
    }
    if (relistNeeded)
        scheduleRelist();
}

void KZTrashMonitor::markDirty(Trash &trash)
{
    trash.dirty = true;
    scheduleMeasurements();
}

void KZTrashMonitor::scheduleMeasurements()
{
    if (!m_started)
        return;
    const qint64 now = m_clock.elapsed();
    qint64 next = -1;
    for (const Trash &trash : std::as_const(m_trashes)) {
        if (!trash.dirty || trash.running)
            continue;
        qint64 due = now + kGatherMs;
        if (trash.lastStartMs >= 0)
            due = std::max(due, trash.lastStartMs + kMinimumIntervalMs);
        if (!trash.measured)
            due = now; // the first measurement waits for nothing
        if (next < 0 || due < next)
            next = due;
    }
    if (next < 0)
        return;
    const int delay = int(std::max<qint64>(0, next - now));
    // A timer that fires sooner stays: restarting it at each event of a burst would put the
    // walk off for as long as the burst lasts.
    if (!m_measureTimer.isActive() || m_measureTimer.remainingTime() > delay)
        m_measureTimer.start(delay);
}

void KZTrashMonitor::startDueMeasurements()
{
    const qint64 now = m_clock.elapsed();
    for (Trash &trash : m_trashes) {
        if (!trash.dirty || trash.running)
            continue;
        const bool due = !trash.measured || trash.lastStartMs < 0
                         || now >= trash.lastStartMs + kMinimumIntervalMs;
        if (due)
            measure(trash);
    }
    scheduleMeasurements();
}

void KZTrashMonitor::measure(Trash &trash)
{
    trash.dirty = false;
    trash.running = true;
    trash.lastStartMs = m_clock.elapsed();
    ++trash.started;

    const QUrl url = KZPath::urlFromPath(trash.files);
    const QByteArray files = trash.files;
    const quint64 generation = trash.generation;
    const std::shared_ptr<std::atomic<bool>> stopping = m_stopping;
    m_pool.start([this, url, files, generation, stopping] {
        if (stopping->load())
            return;
        const KZTrashSizes::Measurement measurement
            = KZTrashSizes::measureTrash(url, stopping.get());
        const quint64 count = measurement.count;
        const quint64 size = measurement.size;
        if (stopping->load())
            return;
        // Queued to this object: once the monitor is gone (it waits for this walk first), the
        // report is dropped with it.
        QMetaObject::invokeMethod(
            this,
            [this, files, generation, size, count] { measured(files, generation, size, count); },
            Qt::QueuedConnection);
    });
}

void KZTrashMonitor::measured(const QByteArray &files, quint64 generation, quint64 size,
                              quint64 count)
{
    const auto trash = m_trashes.find(files);
    if (trash == m_trashes.end() || trash->generation != generation)
        return;
    trash->running = false;
    trash->measured = true;
    trash->record.itemsSize = size;
    trash->record.itemsCount = count;
    trash->record.trashIsEmpty = count == 0;
    updateTotals();
    if (trash->dirty)
        scheduleMeasurements();
}

void KZTrashMonitor::updateTotals()
{
    // Partial sums would show a Trash as empty until its walk ends: totals move only when
    // every Trash followed has a measurement.
    if (!isMeasured())
        return;
    quint64 count = 0;
    quint64 size = 0;
    for (const Trash &trash : std::as_const(m_trashes)) {
        count += trash.record.itemsCount.value_or(0);
        size += trash.record.itemsSize.value_or(0);
    }
    if (m_totalsReported && count == m_totalCount && size == m_totalSize)
        return;
    m_totalCount = count;
    m_totalSize = size;
    m_totalsReported = true;
    Q_EMIT totalsChanged(count, size);
}
