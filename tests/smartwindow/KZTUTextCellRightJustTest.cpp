#include "smartwindow/KZTUTextCellRightJust.h"
#include "KZCellTestSupport.h"
#include "KZPaintRecorder.h"

#include <QFontMetricsF>
#include <QPainter>

#include <gtest/gtest.h>

namespace {
KZPaintRecord record(const KZTUTextCellRightJust &cell, const QRectF &frame)
{
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.drawWithFrame(&painter, frame);
    return recorder;
}
} // namespace

TEST(TUTextCellRightJust, TextEndsTenPointsInFromTheRight)
{
    KZTUTextCellRightJust cell;
    cell.setTitle(QStringLiteral("1.20 GB"));
    const QRectF frame(50, 0, 120, 24);
    const KZPaintRecord recorder = record(cell, frame);
    ASSERT_EQ(recorder.texts.size(), 1);
    const KZPaintRecord::Text &text = recorder.texts[0];
    EXPECT_EQ(text.font.pixelSize(), 12);
    const qreal width = QFontMetricsF(text.font).horizontalAdvance(text.text);
    EXPECT_NEAR(text.origin.x() + width, frame.right() - 10 - 1, 0.01);

    // In pixels: ink ends before the 10-point margin and never starts left of the cell.
    const QImage image = renderOnWhite(
        QSize(200, 24), [&](QPainter *painter) { cell.drawWithFrame(painter, frame); });
    const auto [first, last] = inkColumns(image);
    EXPECT_GE(first, 50);
    EXPECT_LE(last, 170 - 10);
    EXPECT_GE(last, 170 - 14);
}

TEST(TUTextCellRightJust, LongTextStartsAtTheCellAndIsShortened)
{
    KZTUTextCellRightJust cell;
    cell.setTitle(QStringLiteral("1,234,567,890,123 bytes and then some more"));
    const QRectF frame(50, 0, 80, 24);
    const KZPaintRecord recorder = record(cell, frame);
    ASSERT_EQ(recorder.texts.size(), 1);
    EXPECT_DOUBLE_EQ(recorder.texts[0].origin.x(), 50);
    EXPECT_TRUE(recorder.texts[0].text.endsWith(QChar(0x2026)));

    const QImage image = renderOnWhite(
        QSize(200, 24), [&](QPainter *painter) { cell.drawWithFrame(painter, frame); });
    EXPECT_GE(inkColumns(image).first, 50);
    EXPECT_LE(inkColumns(image).second, 130 - 10);

    cell.setTitle(QString());
    EXPECT_TRUE(record(cell, frame).texts.isEmpty());
}
