#include "presentation/KZTrashSizeQueue.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QTest>

#include <memory>
#include <optional>

namespace {

KZTrashLocation record(const KZTestTrash &trash)
{
    KZTrashLocation location;
    location.trashURL = KZPath::urlFromPath(trash.files());
    location.volumeName = QStringLiteral("Home");
    location.trashIsEmpty = false;
    return location;
}

} // namespace

TEST(TrashSizeQueue, ReportsOnTheMainThreadAndNeverToAContextThatWent)
{
    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
    trash.addFile("one", QByteArray(10000, 'x'));
    trash.addFolder("folder", {"a", "b/c"});

    KZTrashSizeQueue queue;
    QObject context;
    quint64 size = 0;
    quint64 count = 0;
    Qt::HANDLE thread = nullptr;
    bool reported = false;
    queue.measure(record(trash), &context, [&](quint64 itemsSize, quint64 itemsCount) {
        size = itemsSize;
        count = itemsCount;
        thread = QThread::currentThreadId();
        reported = true;
    });
    ASSERT_TRUE(QTest::qWaitFor([&] { return reported; }));
    EXPECT_EQ(thread, QThread::currentThreadId());
    // one, folder, a, b, c
    EXPECT_EQ(count, 5u);
    EXPECT_GE(size, 10000u);

    // A row that is gone before its measurement comes back must not be called.
    auto gone = std::make_unique<QObject>();
    bool calledAfterDestruction = false;
    queue.measure(record(trash), gone.get(),
                  [&](quint64, quint64) { calledAfterDestruction = true; });
    gone.reset();
    queue.waitForDone();
    QCoreApplication::processEvents();
    EXPECT_FALSE(calledAfterDestruction);
}

TEST(TrashSizeQueue, ATrashMeasuredBeforeReportsItsRecordedSizes)
{
    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
    trash.addFolder("folder", {"a", "b/c"});
    KZTestFiles::writeFile(trash.itemPath("folder") + "/a", QByteArray(20000, 'a'));
    KZTrashSizeQueue queue;
    QObject context;
    std::optional<std::pair<quint64, quint64>> reported;
    const auto measure = [&] {
        reported.reset();
        queue.measure(record(trash), &context,
                      [&](quint64 size, quint64 count) { reported = std::make_pair(size, count); });
        return QTest::qWaitFor([&] { return reported.has_value(); });
    };
    ASSERT_TRUE(measure());
    const auto first = *reported;
    EXPECT_EQ(first.first, KZTestFiles::allocatedBelow(trash.files()));
    // Grown below its top level: a walk would see it, the record does not.
    KZTestFiles::writeFile(trash.itemPath("folder") + "/b/grown", QByteArray(40000, 'g'));
    ASSERT_TRUE(measure());
    EXPECT_EQ(*reported, first);
}
