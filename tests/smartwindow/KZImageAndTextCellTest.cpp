#include "smartwindow/KZImageAndTextCell.h"
#include "KZCellTestSupport.h"
#include "KZPaintRecorder.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPixmap>

#include <gtest/gtest.h>

namespace {

const QRectF kFrame(0, 0, 300, 44);

KZPaintRecord record(const KZImageAndTextCell &cell, const QRectF &frame = kFrame)
{
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.drawWithFrame(&painter, frame);
    return recorder;
}

std::unique_ptr<KZImageAndTextCell> volumeCell(quint64 size, unsigned items, bool empty)
{
    auto cell = std::make_unique<KZImageAndTextCell>();
    cell->setTitle(QStringLiteral("Home Trash"));
    cell->setImage(QPixmap::fromImage(solidImage(42, Qt::red)));
    cell->setSize(size);
    cell->setItemsCount(items);
    cell->setIsInvisible(empty);
    cell->setWriteSize(true);
    return cell;
}

QString sizeLineOf(const KZImageAndTextCell &cell)
{
    const KZPaintRecord recorder = record(cell);
    return recorder.texts.size() == 2 ? recorder.texts[1].text : QStringLiteral("<none>");
}

} // namespace

TEST(ImageAndTextCell, EmptyTrashDrawsAHalfOpacityIconAndSaysSo)
{
    const auto empty = volumeCell(0, 0, true);
    const KZPaintRecord recorder = record(*empty);
    ASSERT_EQ(recorder.images.size(), 1);
    EXPECT_DOUBLE_EQ(recorder.images[0].opacity, 0.5);
    // 36 points high, centred, 4 in and squeezed to 32 wide.
    EXPECT_EQ(recorder.images[0].target, QRectF(4, (44 - 36) / 2.0, 32, 36));
    ASSERT_EQ(recorder.texts.size(), 2);
    EXPECT_EQ(recorder.texts[1].text, KZLocalizedString(QStringLiteral("Trash_empty")));
    EXPECT_EQ(recorder.texts[1].color, KZTextFieldCell::darkGrayColor());
    EXPECT_EQ(recorder.texts[1].font.pixelSize(), 11);

    EXPECT_DOUBLE_EQ(record(*volumeCell(100, 1, false)).images[0].opacity, 1.0);

    // The same by pixels: a red icon over white reads pink at half opacity.
    const auto pixelAt = [](const KZImageAndTextCell &cell) {
        return renderOnWhite(QSize(300, 44),
                             [&](QPainter *painter) { cell.drawWithFrame(painter, kFrame); })
            .pixelColor(20, 22);
    };
    EXPECT_TRUE(closeColours(pixelAt(*volumeCell(100, 1, false)), QColor(255, 0, 0)));
    EXPECT_TRUE(closeColours(pixelAt(*empty), QColor(255, 128, 128), 2));
}

TEST(ImageAndTextCell, SecondLineCountsItemsAndSize)
{
    KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    EXPECT_EQ(sizeLineOf(*volumeCell(734003, 1, false)),
              QStringLiteral("1 item, ") + numbers.sizeToFormatString(734003, 4, true));
    EXPECT_EQ(sizeLineOf(*volumeCell(1284500000, 1520, false)),
              QStringLiteral("1,520 items, ") + numbers.sizeToFormatString(1284500000, 4, true));
    EXPECT_EQ(sizeLineOf(*volumeCell(0, 2, false)),
              QStringLiteral("2 items, ") + numbers.sizeToFormatString(0, 4, true));

    // A folder still being measured shows a dash; an empty Trash wins over everything.
    auto measuring = volumeCell(0, 2, false);
    measuring->setIsDirectory(true);
    EXPECT_EQ(sizeLineOf(*measuring), QStringLiteral("-"));
    measuring->setIsInvisible(true);
    EXPECT_EQ(sizeLineOf(*measuring), KZLocalizedString(QStringLiteral("Trash_empty")));

    auto oneLine = volumeCell(10, 1, false);
    oneLine->setWriteSize(false);
    EXPECT_EQ(record(*oneLine).texts.size(), 1);
}

TEST(ImageAndTextCell, TitlePlacementAndTheTitleLastDrawn)
{
    auto cell = volumeCell(10, 1, false);
    EXPECT_TRUE(cell->attributedTitle().isEmpty());
    const KZPaintRecord recorder = record(*cell, QRectF(10, 100, 300, 44));
    ASSERT_EQ(recorder.texts.size(), 2);
    const KZPaintRecord::Text &title = recorder.texts[0];
    EXPECT_EQ(title.text, QStringLiteral("Home Trash"));
    EXPECT_EQ(title.font.pixelSize(), 13);
    // Past the icon strip (36 + 3) and 4 more; 4 below the row's top.
    EXPECT_DOUBLE_EQ(title.origin.x(), 10 + 39 + 4);
    EXPECT_DOUBLE_EQ(title.origin.y(), 100 + 4 + QFontMetricsF(title.font).ascent());
    EXPECT_EQ(cell->attributedTitle().text(), QStringLiteral("Home Trash"));
    EXPECT_GT(recorder.texts[1].origin.y(), title.origin.y());

    // A row without a title draws nothing at all, not even its icon.
    auto untitled = volumeCell(10, 1, false);
    untitled->setTitle(QString());
    const KZPaintRecord nothing = record(*untitled);
    EXPECT_TRUE(nothing.texts.isEmpty());
    EXPECT_TRUE(nothing.images.isEmpty());
}

TEST(ImageAndTextCell, PaintTakesTheRowFromTheModel)
{
    auto row = makeCellRow({
        {Qt::DisplayRole, QStringLiteral("USB Stick Trash")},
        {Qt::DecorationRole, solidImage(42, Qt::blue, 2)},
        {KZTextFieldCell::SizeRole, QVariant::fromValue<quint64>(0)},
        {KZTextFieldCell::ItemsCountRole, 0},
        {KZTextFieldCell::IsInvisibleRole, true},
    });
    KZImageAndTextCell cell;
    cell.setWriteSize(true);
    cell.setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.paint(&painter, cellOption(QRect(0, 0, 300, 44), true, false), row.index);
    painter.end();

    ASSERT_FALSE(recorder.images.isEmpty());
    EXPECT_DOUBLE_EQ(recorder.images.last().opacity, 0.5);
    QStringList texts;
    for (const auto &text : recorder.texts)
        texts << text.text;
    EXPECT_EQ(texts, QStringList({QStringLiteral("USB Stick Trash"),
                                  KZLocalizedString(QStringLiteral("Trash_empty"))}));
    // Selected in the source list: light text even though the window is not active.
    EXPECT_EQ(recorder.texts[0].color, QColor(Qt::white));

    // The next row without those roles does not inherit them.
    auto plain = makeCellRow({{Qt::DisplayRole, QStringLiteral("Data Trash")}});
    KZPaintRecorder second;
    QPainter secondPainter(&second);
    cell.paint(&secondPainter, cellOption(QRect(0, 0, 300, 44)), plain.index);
    secondPainter.end();
    EXPECT_TRUE(second.images.isEmpty());
    ASSERT_EQ(second.texts.size(), 2);
    EXPECT_EQ(second.texts[1].text,
              QStringLiteral("0 items, ")
                  + KZNumberUtilities::sharedControl().sizeToFormatString(0, 4, true));
}
