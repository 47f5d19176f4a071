#include "presentation/KZTrashMonitor.h"
#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZMountTable.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

#include <iostream>
#include <memory>

namespace {

constexpr int kWaitMs = 10000;

class TrashMonitorTest : public ::testing::Test
{
protected:
    [[nodiscard]] QByteArray path(const QByteArray &relative) const
    {
        return m_sandbox.root().toLocal8Bit() + "/" + relative;
    }
    [[nodiscard]] QByteArray homeFiles() const
    {
        return m_sandbox.dataHome().toLocal8Bit() + "/Trash/files";
    }

    // The mount table the monitor follows: the home's volume and the test's own mounts as they
    // are now, so that no Trash of the machine is looked at (or made).
    void writeMountTable()
    {
        QFile real(QStringLiteral("/proc/self/mountinfo"));
        ASSERT_TRUE(real.open(QIODevice::ReadOnly));
        const auto home = KZFilesUtilities().mountForPath(m_sandbox.home().toLocal8Bit());
        QByteArray table;
        for (const QByteArray &line : real.readAll().split('\n')) {
            const QList<KZMountEntry> parsed = KZMountTable::parse(line);
            const QByteArray point = parsed.isEmpty() ? QByteArray() : parsed.first().mountPoint;
            if ((home && point == home->mountPoint)
                || KZMountTable::isAtOrUnder(point, m_sandbox.root().toLocal8Bit()))
                table += line + '\n';
        }
        // Written whole and renamed, as the kernel's table changes at once.
        ASSERT_TRUE(KZTestFiles::writeFile(path("mountinfo.new"), table));
        ASSERT_EQ(::rename(path("mountinfo.new").constData(), path("mountinfo").constData()), 0);
    }
    [[nodiscard]] KZFilesUtilities::Roots roots() const
    {
        KZFilesUtilities::Roots roots;
        roots.mountInfoPath = QString::fromLocal8Bit(path("mountinfo"));
        return roots;
    }

    // Runs a trash-cli command in the sandboxed home (HOME and XDG_DATA_HOME point into it).
    static int run(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(program, arguments);
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
            return -1;
        return process.exitCode();
    }
    static bool haveTrashCli()
    {
        return !QStandardPaths::findExecutable(QStringLiteral("trash-put")).isEmpty()
               && !QStandardPaths::findExecutable(QStringLiteral("trash-empty")).isEmpty();
    }

    static std::optional<KZTrashLocation> trashOn(const KZTrashMonitor &monitor,
                                                  const QByteArray &files)
    {
        for (const KZTrashLocation &record : monitor.locations()) {
            if (KZPath::pathFromURL(record.trashURL) == files)
                return record;
        }
        return std::nullopt;
    }
    static bool waitForTotals(const KZTrashMonitor &monitor, quint64 count)
    {
        return QTest::qWaitFor(
            [&] { return monitor.isMeasured() && monitor.totalCount() == count; }, kWaitMs);
    }

    KZTestSandbox m_sandbox;
};

} // namespace

TEST_F(TrashMonitorTest, FollowsTrashCliPuttingAndEmptyingTheHomeTrash)
{
    if (!haveTrashCli())
        GTEST_SKIP() << "trash-cli is not installed";
    KZTestTrash::home(); // the home Trash exists, as after any first put
    writeMountTable();
    KZTrashMonitor monitor(roots());
    QSignalSpy totals(&monitor, &KZTrashMonitor::totalsChanged);
    EXPECT_FALSE(monitor.isMeasured());
    monitor.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor.isMeasured(); }, kWaitMs));
    if (!trashOn(monitor, homeFiles()))
        GTEST_SKIP() << "the sandbox's home is on a volume that is not listed";
    EXPECT_EQ(monitor.totalCount(), 0u);
    ASSERT_FALSE(totals.isEmpty());
    EXPECT_EQ(totals.last().at(0).toULongLong(), 0u);

    const QByteArray home = m_sandbox.home().toLocal8Bit();
    ASSERT_TRUE(KZTestFiles::writeFile(home + "/letter.txt", QByteArray(30000, 'l')));
    ASSERT_EQ(run(QStringLiteral("trash-put"), {QString::fromLocal8Bit(home + "/letter.txt")}), 0);
    ASSERT_TRUE(waitForTotals(monitor, 1));
    EXPECT_GE(monitor.totalSize(), 30000u);
    EXPECT_EQ(totals.last().at(0).toULongLong(), 1u);
    EXPECT_EQ(totals.last().at(1).toULongLong(), monitor.totalSize());
    const quint64 oneFile = monitor.totalSize();

    // A folder counts with everything in it.
    ASSERT_TRUE(KZTestFiles::makeFolders(home + "/project/src"));
    ASSERT_TRUE(KZTestFiles::writeFile(home + "/project/src/main.c", QByteArray(8000, 'c')));
    ASSERT_EQ(run(QStringLiteral("trash-put"), {QString::fromLocal8Bit(home + "/project")}), 0);
    ASSERT_TRUE(waitForTotals(monitor, 4));
    EXPECT_GT(monitor.totalSize(), oneFile);
    const std::optional<KZTrashLocation> record = trashOn(monitor, homeFiles());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->itemsCount.value_or(0), 4u);
    EXPECT_FALSE(record->trashIsEmpty);

    // Only this Trash: trash-empty would otherwise look at every volume of the machine.
    ASSERT_EQ(
        run(QStringLiteral("trash-empty"),
            {QStringLiteral("--trash-dir=") + m_sandbox.dataHome() + QStringLiteral("/Trash")}),
        0);
    ASSERT_TRUE(waitForTotals(monitor, 0));
    EXPECT_EQ(monitor.totalSize(), 0u);
    EXPECT_EQ(totals.last().at(0).toULongLong(), 0u);
    EXPECT_EQ(totals.last().at(1).toULongLong(), 0u);
}

TEST_F(TrashMonitorTest, ABurstCostsAWalkASecondAndAnotherTrashNone)
{
    KZTestTrash home = KZTestTrash::home();
    QString whyNot;
    std::unique_ptr<KZTestMount> volume = KZTestMount::tmpfs(path("vol"), &whyNot);
    const QByteArray volumeFiles = path("vol/.Trash-") + QByteArray::number(::getuid()) + "/files";
    if (volume)
        KZTestTrash::onVolume(path("vol")).addFile("kept", QByteArray(5000, 'k'));
    writeMountTable();

    KZTrashMonitor monitor(roots());
    monitor.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor.isMeasured(); }, kWaitMs));
    if (!trashOn(monitor, homeFiles()))
        GTEST_SKIP() << "the sandbox's home is on a volume that is not listed";
    const QUrl homeURL = KZPath::urlFromPath(homeFiles());
    const QUrl volumeURL = KZPath::urlFromPath(volumeFiles);
    const quint64 base = volume ? 1 : 0;
    ASSERT_EQ(monitor.totalCount(), base);
    ASSERT_EQ(monitor.measurementsStarted(homeURL), 1u);
    if (volume) {
        ASSERT_EQ(monitor.measurementsStarted(volumeURL), 1u);
    }

    // Five thousand items come and nearly all go again, with the event loop running now and
    // then as it would in the application.
    QElapsedTimer clock;
    clock.start();
    const QByteArray files = home.files();
    for (int i = 0; i < 5000; ++i) {
        const QByteArray name = files + "/burst-" + QByteArray::number(i);
        const int fd = ::open(name.constData(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_GE(fd, 0);
        ::close(fd);
        if (i % 250 == 0)
            QCoreApplication::processEvents();
    }
    for (int i = 10; i < 5000; ++i) {
        ASSERT_EQ(::unlink((files + "/burst-" + QByteArray::number(i)).constData()), 0);
        if (i % 250 == 0)
            QCoreApplication::processEvents();
    }
    ASSERT_TRUE(waitForTotals(monitor, base + 10));
    // Let a walk that might still be scheduled show itself before counting.
    QTest::qWait(2 * KZTrashMonitor::kMinimumIntervalMs);
    EXPECT_EQ(monitor.totalCount(), base + 10);

    // One walk when the burst began, then at most one a second while it lasted and settled.
    const quint64 walks = monitor.measurementsStarted(homeURL) - 1;
    EXPECT_GE(walks, 1u);
    EXPECT_LE(walks, quint64(2 + clock.elapsed() / KZTrashMonitor::kMinimumIntervalMs)) << walks;
    if (volume) {
        EXPECT_EQ(monitor.measurementsStarted(volumeURL), 1u) << "an unchanged Trash was walked";
    } else {
        std::cout << "[  NOTE    ] second Trash not checked: " << qPrintable(whyNot) << '\n';
    }
}

TEST_F(TrashMonitorTest, FollowsTrashesMadeLaterAndVolumesMountedAndUnmounted)
{
    if (!haveTrashCli())
        GTEST_SKIP() << "trash-cli is not installed";
    QString whyNot;
    std::unique_ptr<KZTestMount> first = KZTestMount::tmpfs(path("first"), &whyNot);
    if (!first)
        GTEST_SKIP() << qPrintable(whyNot);
    const QByteArray uid = QByteArray::number(::getuid());
    writeMountTable();

    KZTrashMonitor monitor(roots());
    QSignalSpy changed(&monitor, &KZTrashMonitor::locationsChanged);
    monitor.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor.isMeasured(); }, kWaitMs));
    const quint64 base = monitor.totalCount();

    // Whatever Trash folder the volume had goes; trash-put then makes one afresh.
    KZTestSandbox::removeTree(path("first/.Trash-" + uid));
    ASSERT_TRUE(KZTestFiles::writeFile(path("first/notes.txt"), QByteArray(12000, 'n')));
    ASSERT_EQ(run(QStringLiteral("trash-put"), {QString::fromLocal8Bit(path("first/notes.txt"))}),
              0);
    ASSERT_TRUE(KZTestFiles::exists(path("first/.Trash-" + uid + "/files/notes.txt")));
    ASSERT_TRUE(waitForTotals(monitor, base + 1));
    const QByteArray firstFiles = path("first/.Trash-" + uid + "/files");
    std::optional<KZTrashLocation> record = trashOn(monitor, firstFiles);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->itemsCount.value_or(0), 1u);
    EXPECT_GE(record->itemsSize.value_or(0), 12000u);

    // The whole Trash folder removed by hand: its watch goes with it and the totals follow.
    KZTestSandbox::removeTree(path("first/.Trash-" + uid));
    ASSERT_TRUE(waitForTotals(monitor, base));
    ASSERT_TRUE(KZTestFiles::writeFile(path("first/plan.txt"), QByteArray(3000, 'p')));
    ASSERT_EQ(run(QStringLiteral("trash-put"), {QString::fromLocal8Bit(path("first/plan.txt"))}),
              0);
    ASSERT_TRUE(waitForTotals(monitor, base + 1));
    record = trashOn(monitor, firstFiles);
    ASSERT_TRUE(record);
    EXPECT_GE(record->itemsSize.value_or(0), 3000u);
    EXPECT_LT(record->itemsSize.value_or(0), 12000u);
    const quint64 firstWalks = monitor.measurementsStarted(KZPath::urlFromPath(firstFiles));

    // A volume mounted later, its Trash already holding two items.
    std::unique_ptr<KZTestMount> second = KZTestMount::tmpfs(path("second"), &whyNot);
    ASSERT_TRUE(second) << qPrintable(whyNot);
    KZTestTrash later = KZTestTrash::onVolume(path("second"));
    later.addFile("a", QByteArray(4000, 'a'));
    later.addFile("b", QByteArray(4000, 'b'));
    changed.clear();
    writeMountTable();
    ASSERT_TRUE(waitForTotals(monitor, base + 3));
    EXPECT_FALSE(changed.isEmpty());
    EXPECT_TRUE(trashOn(monitor, later.files()));
    const quint64 withSecond = monitor.totalSize();

    // Unmounted: its Trash is no longer counted. The first volume's Trash was never walked
    // again meanwhile.
    second.reset();
    writeMountTable();
    ASSERT_TRUE(waitForTotals(monitor, base + 1));
    EXPECT_LT(monitor.totalSize(), withSecond);
    EXPECT_FALSE(trashOn(monitor, later.files()));
    EXPECT_EQ(monitor.measurementsStarted(KZPath::urlFromPath(firstFiles)), firstWalks);
}

TEST_F(TrashMonitorTest, EventsLostToAFullQueueMeasureEveryTrashAgain)
{
    QFile limitFile(QStringLiteral("/proc/sys/fs/inotify/max_queued_events"));
    const int limit
        = limitFile.open(QIODevice::ReadOnly) ? limitFile.readAll().trimmed().toInt() : 0;
    if (limit <= 0 || limit > 100000)
        GTEST_SKIP() << "the inotify queue holds " << limit << " events";
    QString whyNot;
    std::unique_ptr<KZTestMount> busy = KZTestMount::tmpfs(path("busy"), &whyNot, 64);
    std::unique_ptr<KZTestMount> quiet
        = busy ? KZTestMount::tmpfs(path("quiet"), &whyNot) : nullptr;
    if (!quiet)
        GTEST_SKIP() << qPrintable(whyNot);
    KZTestTrash busyTrash = KZTestTrash::onVolume(path("busy"));
    KZTestTrash quietTrash = KZTestTrash::onVolume(path("quiet"));
    quietTrash.addFile("kept", QByteArray(100, 'k'));
    writeMountTable();

    KZTrashMonitor monitor(roots());
    monitor.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return monitor.isMeasured(); }, kWaitMs));
    const quint64 base = monitor.totalCount();
    const QUrl quietURL = KZPath::urlFromPath(quietTrash.files());
    ASSERT_EQ(monitor.measurementsStarted(quietURL), 1u);

    // More changes than the kernel queues, made while the monitor reads none of them.
    const int items = limit + 100;
    for (int i = 0; i < items; ++i) {
        const QByteArray name = busyTrash.files() + "/item-" + QByteArray::number(i);
        const int fd = ::open(name.constData(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_GE(fd, 0) << i;
        ::close(fd);
    }
    ASSERT_TRUE(waitForTotals(monitor, base + quint64(items)));
    // What changed is unknown once events are lost: the quiet Trash is measured again too.
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return monitor.measurementsStarted(quietURL) == 2; }, kWaitMs));
}
