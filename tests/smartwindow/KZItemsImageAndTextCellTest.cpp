#include "smartwindow/KZItemsImageAndTextCell.h"
#include "KZCellTestSupport.h"
#include "KZPaintRecorder.h"
#include "model/KZPath.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPixmap>

#include <gtest/gtest.h>

namespace {

KZPaintRecord record(const KZItemsImageAndTextCell &cell, const QRectF &frame)
{
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.drawWithFrame(&painter, frame);
    return recorder;
}

std::unique_ptr<KZItemsImageAndTextCell> itemCell(const QString &path)
{
    auto cell = std::make_unique<KZItemsImageAndTextCell>();
    cell->setTitle(QStringLiteral("Quarterly report.txt"));
    cell->setImage(QPixmap::fromImage(solidImage(16, Qt::blue)));
    cell->setPath(path);
    return cell;
}

} // namespace

TEST(ItemsImageAndTextCell, SecondLineOnlyOnRowsExactly36High)
{
    const auto cell = itemCell(QStringLiteral("/home/ana/Documents"));
    const KZPaintRecord twoLines = record(*cell, QRectF(0, 36, 400, 36));
    ASSERT_EQ(twoLines.images.size(), 1);
    EXPECT_EQ(twoLines.images[0].target, QRectF(0, 36, 36, 36));
    ASSERT_EQ(twoLines.texts.size(), 2);
    EXPECT_EQ(twoLines.texts[1].text, QStringLiteral("/home/ana/Documents"));
    EXPECT_EQ(twoLines.texts[1].font.pixelSize(), 11);
    EXPECT_EQ(twoLines.texts[1].color, KZTextFieldCell::darkGrayColor());
    // Title in the upper half, the location in the lower, both right of the icon strip.
    const qreal titleBottom
        = twoLines.texts[0].origin.y() + QFontMetricsF(twoLines.texts[0].font).descent();
    const qreal lineTop
        = twoLines.texts[1].origin.y() - QFontMetricsF(twoLines.texts[1].font).ascent();
    EXPECT_LE(titleBottom, lineTop);
    EXPECT_GE(twoLines.texts[0].origin.y() - QFontMetricsF(twoLines.texts[0].font).ascent(), 36);
    EXPECT_LE(twoLines.texts[1].origin.y(), 72);
    EXPECT_DOUBLE_EQ(twoLines.texts[0].origin.x(), 39);
    EXPECT_DOUBLE_EQ(twoLines.texts[1].origin.x(), 39);

    for (qreal height : {24.0, 35.0, 37.0, 48.0}) {
        const KZPaintRecord oneLine = record(*cell, QRectF(0, 0, 400, height));
        ASSERT_EQ(oneLine.texts.size(), 1) << height;
        ASSERT_EQ(oneLine.images.size(), 1);
        EXPECT_EQ(oneLine.images[0].target.size(), QSizeF(24, 24)) << height;
        EXPECT_DOUBLE_EQ(oneLine.images[0].target.y(), (height - 24) / 2);
        EXPECT_DOUBLE_EQ(oneLine.texts[0].origin.x(), 27);
    }

    // Without a location a 36 row has one line.
    EXPECT_EQ(record(*itemCell(QString()), QRectF(0, 0, 400, 36)).texts.size(), 1);
}

TEST(ItemsImageAndTextCell, PaintTakesIconDimmingAndLocationFromTheModel)
{
    // A location read from a .trashinfo file is bytes and need not be UTF-8.
    const QByteArray location("/home/ana/caf\xe9");
    auto row = makeCellRow({
        {Qt::DisplayRole, QStringLiteral("menu.txt")},
        {Qt::DecorationRole, solidImage(16, Qt::green)},
        {KZTextFieldCell::PathRole, location},
        {KZTextFieldCell::IsInvisibleRole, true},
    });
    KZItemsImageAndTextCell cell;
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.paint(&painter, cellOption(QRect(0, 0, 400, 36)), row.index);
    painter.end();
    ASSERT_EQ(recorder.images.size(), 1);
    EXPECT_DOUBLE_EQ(recorder.images[0].opacity, 0.5);
    ASSERT_EQ(recorder.texts.size(), 2);
    EXPECT_EQ(recorder.texts[0].text, QStringLiteral("menu.txt"));
    EXPECT_EQ(recorder.texts[1].text, KZPath::displayString(location));

    // Selected in a focused list (the property stands in for the view's focus): white text.
    cell.setListIsActive(true);
    KZPaintRecorder selected;
    QPainter selectedPainter(&selected);
    cell.paint(&selectedPainter, cellOption(QRect(0, 0, 400, 36), true), row.index);
    selectedPainter.end();
    ASSERT_EQ(selected.texts.size(), 2);
    EXPECT_EQ(selected.texts[0].color, QColor(Qt::white));
    EXPECT_EQ(selected.texts[1].color, QColor(Qt::white));
}
