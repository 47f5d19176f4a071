// The status menu's volume rows as text and enabled states, measured on the shared pool.
#include "presentation/KZTrayMenuRows.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>

TEST(TrayMenuRows, RowsReadGatheringThenTheMeasureAndEmptyOnesAreDisabledAndNeverMeasured)
{
    KZTestSandbox sandbox;
    KZTestTrash one(sandbox.path(QStringLiteral("one/.Trash-0")).toLocal8Bit());
    one.addFile("only", QByteArray(5000, 'x'));
    KZTestTrash two(sandbox.path(QStringLiteral("two/.Trash-0")).toLocal8Bit());
    two.addFile("a");
    two.addFile("b");
    KZTestTrash none(sandbox.path(QStringLiteral("none/.Trash-0")).toLocal8Bit());
    none.addFile("not counted: the record says empty");

    KZTrayMenuRows rows;
    QSignalSpy reset(&rows, &KZTrayMenuRows::rowsReset);
    QSignalSpy changed(&rows, &KZTrayMenuRows::rowChanged);
    rows.rebuild({one.location(QStringLiteral("One"), false),
                  two.location(QStringLiteral("Two"), false),
                  none.location(QStringLiteral("None"), true)},
                 true);
    ASSERT_EQ(reset.count(), 1);
    ASSERT_EQ(rows.count(), 3);
    EXPECT_EQ(rows.text(0), QStringLiteral("One… — Gathering information…"));
    EXPECT_TRUE(rows.isEnabled(0));
    EXPECT_EQ(rows.text(2), QStringLiteral("None… — Trash is empty"));
    EXPECT_FALSE(rows.isEnabled(2));

    ASSERT_TRUE(QTest::qWaitFor([&] { return !rows.info(0).isNull() && !rows.info(1).isNull(); }));
    // "item_size" for exactly one item, "items_size" otherwise.
    EXPECT_TRUE(rows.text(0).startsWith(QStringLiteral("One… — 1 item, ")))
        << qPrintable(rows.text(0));
    EXPECT_TRUE(rows.text(1).startsWith(QStringLiteral("Two… — 2 items, ")))
        << qPrintable(rows.text(1));
    EXPECT_EQ(rows.record(0).itemsCount, 1u);
    EXPECT_GE(rows.record(0).itemsSize.value_or(0), 5000u);
    EXPECT_TRUE(rows.info(2).isNull());
    QList<int> changedRows;
    for (const QList<QVariant> &signal : changed)
        changedRows.append(signal.first().toInt());
    std::sort(changedRows.begin(), changedRows.end());
    EXPECT_EQ(changedRows, (QList<int>{0, 1}));
}

TEST(TrayMenuRows, AnEraseDisablesEveryRowAndRowsMadeDuringItMeasureOnceItEnds)
{
    KZTestSandbox sandbox;
    KZTestTrash one(sandbox.path(QStringLiteral("one/.Trash-0")).toLocal8Bit());
    one.addFile("a");
    one.addFile("b");
    one.addFile("c");

    KZTrayMenuRows rows;
    rows.rebuild({one.location(QStringLiteral("One"), false)}, false);
    EXPECT_FALSE(rows.isEnabled(0));
    EXPECT_EQ(rows.secondLine(0), QStringLiteral("Trash is empty"));
    QTest::qWait(200);
    EXPECT_TRUE(rows.info(0).isNull()) << "a disabled row was measured";

    QSignalSpy changed(&rows, &KZTrayMenuRows::rowChanged);
    rows.setCanErase(true);
    EXPECT_TRUE(rows.isEnabled(0));
    EXPECT_EQ(rows.secondLine(0), QStringLiteral("Gathering information…"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !rows.info(0).isNull(); }));
    EXPECT_TRUE(rows.secondLine(0).startsWith(QStringLiteral("3 items, ")));
    EXPECT_EQ(changed.count(), 2);

    // Rows made anew drop what the old ones were still waiting for.
    rows.setCanErase(false);
    EXPECT_EQ(rows.secondLine(0), QStringLiteral("Trash is empty"));
    rows.rebuild({one.location(QStringLiteral("Renamed"), false)}, true);
    rows.rebuild({}, true);
    QTest::qWait(200);
    EXPECT_EQ(rows.count(), 0);
}
