#include "smartwindow/KZTUDateCell.h"
#include "KZCellTestSupport.h"
#include "KZPaintRecorder.h"
#include "format/KZDateUtilities.h"

#include <QFontMetricsF>
#include <QPainter>

#include <gtest/gtest.h>

namespace {

// Tuesday 14 May 2024, 09:30:00 UTC.
constexpr double kSeconds = 1715679000.0 - KZDateUtilities::kSeconds1970To2001;

KZPaintRecord record(const KZTUDateCell &cell, const QRectF &frame)
{
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.drawWithFrame(&painter, frame);
    return recorder;
}

} // namespace

TEST(TUDateCell, StyleFollowsTheColumnWidthTable)
{
    struct Case
    {
        qreal columnWidth;
        unsigned style;
        bool withTime;
    };
    const Case cases[] = {
        {400, 4, true}, {230, 4, true},  {229, 4, false}, {180, 4, false}, {179, 3, true},
        {150, 3, true}, {149, 3, false}, {110, 3, false}, {109, 1, false}, {40, 1, false},
    };
    KZTUDateCell cell;
    cell.setSeconds(kSeconds);
    for (const Case &c : cases) {
        const KZPaintRecord recorder = record(cell, QRectF(20, 0, c.columnWidth, 24));
        ASSERT_EQ(recorder.texts.size(), 1) << c.columnWidth;
        const KZPaintRecord::Text &text = recorder.texts[0];
        const QString full = KZDateUtilities::sharedControl().stringWithSeconds(kSeconds, c.style,
                                                                                true, c.withTime);
        const QString shown
            = QFontMetricsF(text.font).elidedText(full, Qt::ElideRight, c.columnWidth - 10);
        EXPECT_EQ(text.text, shown) << c.columnWidth;
        EXPECT_DOUBLE_EQ(text.origin.x(), 20 + 10);
    }
    // The switches are visible: the same date reads differently on each side of a boundary.
    EXPECT_NE(record(cell, QRectF(0, 0, 150, 24)).texts[0].text,
              record(cell, QRectF(0, 0, 149, 24)).texts[0].text);
}

TEST(TUDateCell, NothingWithoutADateAndTheModelGivesIt)
{
    KZTUDateCell cell;
    EXPECT_TRUE(record(cell, QRectF(0, 0, 200, 24)).texts.isEmpty());
    cell.setSeconds(-5);
    EXPECT_TRUE(record(cell, QRectF(0, 0, 200, 24)).texts.isEmpty());

    for (const int role : {int(KZTextFieldCell::SecondsRole), int(Qt::DisplayRole)}) {
        auto row = makeCellRow({{role, kSeconds}});
        KZPaintRecorder recorder;
        QPainter painter(&recorder);
        cell.paint(&painter, cellOption(QRect(0, 0, 160, 24)), row.index);
        painter.end();
        ASSERT_EQ(recorder.texts.size(), 1) << role;
        EXPECT_DOUBLE_EQ(cell.seconds(), kSeconds);
    }
}

TEST(TUDateCell, CopyKeepsTheSeconds)
{
    KZTUDateCell cell;
    cell.setSeconds(kSeconds);
    const std::unique_ptr<KZTextFieldCell> copy = cell.copy();
    cell.setSeconds(0);
    EXPECT_DOUBLE_EQ(dynamic_cast<KZTUDateCell &>(*copy).seconds(), kSeconds);
    EXPECT_EQ(record(dynamic_cast<KZTUDateCell &>(*copy), QRectF(0, 0, 200, 24)).texts.size(), 1);
}
