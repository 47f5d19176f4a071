#include "KZCellTestSupport.h"
#include "format/KZDateUtilities.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "model/KZPath.h"
#include "smartwindow/KZImageAndTextCell.h"
#include "smartwindow/KZItemsImageAndTextCell.h"
#include "smartwindow/KZTUDateCell.h"
#include "smartwindow/KZTUTextCellRightJust.h"
#include "smartwindow/KZTextGraficCenterJust.h"

#include <QFontMetricsF>
#include <QPixmap>

#include <gtest/gtest.h>

namespace {

using Images = QList<KZPaintRecord::Image>;
const QRectF kRow(0, 0, 300, 44);
const QRectF kBadge(10, 0, 110, 44);
const QColor kDarkGray(85, 85, 85);
// Tuesday 14 May 2024, 09:30:00 UTC.
constexpr double kSeconds = 1715679000.0 - KZDateUtilities::kSeconds1970To2001;

std::unique_ptr<KZImageAndTextCell> volumeCell(quint64 size, unsigned items, bool empty = false,
                                               bool directory = false)
{
    auto cell = std::make_unique<KZImageAndTextCell>();
    cell->setTitle(QStringLiteral("Home Trash"));
    cell->setImage(QPixmap::fromImage(solidImage(42, Qt::red)));
    cell->setSize(size);
    cell->setItemsCount(items);
    cell->setIsInvisible(empty);
    cell->setIsDirectory(directory);
    cell->setWriteSize(true);
    return cell;
}

std::unique_ptr<KZItemsImageAndTextCell> itemCell(const QString &path)
{
    auto cell = std::make_unique<KZItemsImageAndTextCell>();
    cell->setTitle(QStringLiteral("report.txt"));
    cell->setImage(QPixmap::fromImage(solidImage(16, Qt::blue)));
    cell->setPath(path);
    return cell;
}

QString sizeText(quint64 bytes)
{
    return KZNumberUtilities::sharedControl().sizeToFormatString(bytes, 4, true);
}

} // namespace

TEST(ImageAndTextCell, EmptyTrashIsDimmedAndTheSizeLineCountsItems)
{
    // {size, items, empty, directory, the second line}
    const std::tuple<quint64, unsigned, bool, bool, QString> cases[] = {
        {734003, 1, false, false, QStringLiteral("1 item, ") + sizeText(734003)},
        {1284500000, 1520, false, false, QStringLiteral("1,520 items, ") + sizeText(1284500000)},
        {0, 0, false, false, QStringLiteral("0 items, ") + sizeText(0)},
        // A folder still being measured shows a dash; an empty Trash wins over everything.
        {0, 2, false, true, QStringLiteral("-")},
        {10, 2, false, true, QStringLiteral("2 items, ") + sizeText(10)},
        {0, 0, true, false, KZLocalizedString(QStringLiteral("Trash_empty"))},
        {0, 2, true, true, KZLocalizedString(QStringLiteral("Trash_empty"))},
    };
    for (const auto &[size, items, empty, directory, line] : cases) {
        const KZPaintRecord record = drawn(*volumeCell(size, items, empty, directory), kRow);
        EXPECT_EQ(record.lines(), QStringList({QStringLiteral("Home Trash"), line}));
        EXPECT_EQ(record.texts.value(1).color, kDarkGray);
        EXPECT_EQ(drawn(*volumeCell(size, items, empty, directory)->copy(), kRow), record);
        // 36 points high, centred, 4 in and squeezed to 32 wide; half opacity when empty.
        EXPECT_EQ(record.images, Images({{QRectF(4, 4, 32, 36), empty ? 0.5 : 1.0}}));
        EXPECT_GT(record.texts.value(1).origin.y(), record.texts.value(0).origin.y());
    }

    auto cell = volumeCell(10, 1);
    cell->setWriteSize(false);
    EXPECT_EQ(drawn(*cell, kRow).lines(), QStringList(QStringLiteral("Home Trash")));
    EXPECT_EQ(cell->attributedTitle().text(), QStringLiteral("Home Trash"));
    cell->setTitle(QString());
    EXPECT_EQ(drawn(*cell, kRow), KZPaintRecord()); // not even the icon
}

TEST(ImageAndTextCell, PaintTakesEachRowFromTheModel)
{
    const QImage icon = solidImage(42, Qt::blue);
    KZImageAndTextCell cell;
    cell.setWriteSize(true);
    cell.setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    // Selected in the source list: light text even though the window is not active.
    const KZPaintRecord first
        = painted(cell,
                  {{Qt::DisplayRole, QStringLiteral("USB")},
                   {Qt::DecorationRole, icon},
                   {KZTextFieldCell::SizeRole, QVariant::fromValue<quint64>(2000)},
                   {KZTextFieldCell::ItemsCountRole, 3}},
                  kRow.toRect(), true, false);
    EXPECT_EQ(first.lines(),
              QStringList({QStringLiteral("USB"), QStringLiteral("3 items, ") + sizeText(2000)}));
    EXPECT_EQ(first.texts.value(0).color, QColor(Qt::white));
    const KZPaintRecord second = painted(cell,
                                         {{Qt::DisplayRole, QStringLiteral("Data")},
                                          {Qt::DecorationRole, icon},
                                          {KZTextFieldCell::IsInvisibleRole, true}},
                                         kRow.toRect());
    EXPECT_EQ(second.lines(), QStringList({QStringLiteral("Data"),
                                           KZLocalizedString(QStringLiteral("Trash_empty"))}));
    EXPECT_EQ(second.images.value(0, {{}, 1}).opacity, 0.5);
    // No row inherits what an earlier one had.
    const KZPaintRecord third = painted(
        cell,
        {{Qt::DisplayRole, QStringLiteral("Folder")}, {KZTextFieldCell::IsDirectoryRole, true}},
        kRow.toRect());
    EXPECT_EQ(third.lines(), QStringList({QStringLiteral("Folder"), QStringLiteral("-")}));
    EXPECT_TRUE(third.images.isEmpty());
}

TEST(ItemsImageAndTextCell, SecondLineOnlyOnRowsExactly36High)
{
    const auto cell = itemCell(QStringLiteral("/home/ana/Documents"));
    const KZPaintRecord two = drawn(*cell, QRectF(0, 36, 400, 36));
    EXPECT_EQ(two.images, Images({{QRectF(0, 36, 36, 36)}}));
    ASSERT_EQ(two.lines(),
              QStringList({QStringLiteral("report.txt"), QStringLiteral("/home/ana/Documents")}));
    const KZPaintRecord::Text &title = two.texts[0];
    const KZPaintRecord::Text &location = two.texts[1];
    EXPECT_EQ(location.color, kDarkGray);
    // Title in the upper half, the location in the lower, both right of the icon strip.
    EXPECT_LE(title.origin.y() + QFontMetricsF(title.font).descent(),
              location.origin.y() - QFontMetricsF(location.font).ascent());
    EXPECT_EQ(QPointF(title.origin.x(), location.origin.x()), QPointF(39, 39));

    for (qreal height : {24.0, 35.0, 37.0, 48.0}) {
        const KZPaintRecord one = drawn(*cell, QRectF(0, 0, 400, height));
        ASSERT_EQ(one.texts.size(), 1) << height;
        EXPECT_EQ(one.texts[0].origin.x(), 27);
        EXPECT_EQ(one.images, Images({{QRectF(0, (height - 24) / 2, 24, 24)}}));
    }
    // Without a location a 36 row has one line.
    EXPECT_EQ(drawn(*itemCell(QString()), QRectF(0, 0, 400, 36)).texts.size(), 1);
}

TEST(ItemsImageAndTextCell, PaintTakesIconDimmingAndLocationFromTheModel)
{
    // A location read from a .trashinfo file is bytes and need not be UTF-8.
    const QByteArray location("/home/ana/caf\xe9");
    KZItemsImageAndTextCell cell;
    // Selected in a focused list (the property stands in for the view's focus): white text.
    cell.setListIsActive(true);
    const KZPaintRecord record = painted(cell,
                                         {{Qt::DisplayRole, QStringLiteral("menu.txt")},
                                          {Qt::DecorationRole, solidImage(16, Qt::green)},
                                          {KZTextFieldCell::PathRole, location},
                                          {KZTextFieldCell::IsInvisibleRole, true}},
                                         QRect(0, 0, 400, 36), true);
    EXPECT_EQ(record.images.value(0, {{}, 1}).opacity, 0.5);
    EXPECT_EQ(record.lines(),
              QStringList({QStringLiteral("menu.txt"), KZPath::displayString(location)}));
    EXPECT_EQ(record.texts.value(1).color, QColor(Qt::white));
}

TEST(TUDateCell, StyleFollowsTheColumnWidth)
{
    // {column width, date style, with time}
    const std::tuple<qreal, unsigned, bool> cases[] = {
        {400, 4, true}, {230, 4, true},  {229, 4, false}, {180, 4, false}, {179, 3, true},
        {150, 3, true}, {149, 3, false}, {110, 3, false}, {109, 1, false}, {40, 1, false},
    };
    KZTUDateCell cell;
    cell.setSeconds(kSeconds);
    for (const auto &[width, style, withTime] : cases) {
        const KZPaintRecord record = drawn(cell, QRectF(20, 0, width, 24));
        ASSERT_EQ(record.texts.size(), 1) << width;
        const QString full
            = KZDateUtilities::sharedControl().stringWithSeconds(kSeconds, style, true, withTime);
        const QFontMetricsF metrics(record.texts[0].font);
        EXPECT_EQ(record.texts[0].text, metrics.elidedText(full, Qt::ElideRight, width - 10))
            << width;
        EXPECT_EQ(record.texts[0].origin.x(), 20 + 10);
    }
}

TEST(TUDateCell, DateFromTheModelAndNothingWithoutOne)
{
    KZTUDateCell cell;
    for (const double seconds : {0.0, -5.0}) {
        cell.setSeconds(seconds);
        EXPECT_EQ(drawn(cell, QRectF(0, 0, 200, 24)), KZPaintRecord()) << seconds;
    }
    // Selected in a focused list: white text, which a copy keeps with the date.
    cell.setListIsActive(true);
    for (const int role : {int(KZTextFieldCell::SecondsRole), int(Qt::DisplayRole)}) {
        const KZPaintRecord record = painted(cell, {{role, kSeconds}}, QRect(0, 0, 160, 24), true);
        EXPECT_EQ(record.texts.value(0).color, QColor(Qt::white)) << role;
        EXPECT_EQ(cell.seconds(), kSeconds);
        const std::unique_ptr<KZTextFieldCell> copy = cell.copy();
        EXPECT_EQ(drawn(*copy, kRow), drawn(cell, kRow));
        cell.setSeconds(0);
    }
}

TEST(TUTextCellRightJust, TextEndsTenPointsInAndNeverStartsLeftOfTheCell)
{
    KZTUTextCellRightJust cell;
    cell.setTitle(QStringLiteral("1.20 GB"));
    const KZPaintRecord record = drawn(cell, QRectF(50, 0, 120, 24));
    ASSERT_EQ(record.texts.size(), 1);
    const QFontMetricsF metrics(record.texts[0].font);
    EXPECT_NEAR(record.texts[0].origin.x() + metrics.horizontalAdvance(record.texts[0].text),
                170 - 10 - 1, 0.01);

    cell.setTitle(QStringLiteral("1,234,567,890,123 bytes and then some more"));
    const KZPaintRecord shortened = drawn(cell, QRectF(50, 0, 80, 24));
    ASSERT_EQ(shortened.texts.size(), 1);
    EXPECT_EQ(shortened.texts[0].origin.x(), 50);
    EXPECT_TRUE(shortened.texts[0].text.endsWith(QChar(0x2026)));
}

TEST(TextGraficCenterJust, GreenTextOnADarkGrayBadgeOnlyWithTickedItems)
{
    KZTextGraficCenterJust cell;
    cell.setTitle(QStringLiteral("3 - 52.40 MB"));
    EXPECT_EQ(drawn(cell, kBadge), KZPaintRecord());
    cell.setCheckedCount(3);
    const KZPaintRecord record = drawn(cell, kBadge);
    ASSERT_EQ(record.shapes.size(), 1);
    ASSERT_EQ(record.texts.size(), 1);
    const KZPaintRecord::Text &text = record.texts[0];
    EXPECT_EQ(text.color, KZTextFieldCell::systemGreenColor());
    EXPECT_EQ(record.shapes[0].fill, kDarkGray);
    EXPECT_TRUE(record.shapes[0].rounded);
    // The rounded rectangle is the centred text's frame grown by 2 points, inside the cell.
    const QFontMetricsF metrics(text.font);
    const QRectF textFrame = record.shapes[0].bounds.adjusted(2, 2, -2, -2);
    EXPECT_DOUBLE_EQ(textFrame.height(), metrics.height());
    EXPECT_NEAR(text.origin.y(), textFrame.top() + metrics.ascent(), 0.01);
    EXPECT_NEAR(text.origin.x() + metrics.horizontalAdvance(text.text) / 2, kBadge.center().x(),
                0.01);
    EXPECT_TRUE(kBadge.contains(record.shapes[0].bounds));

    cell.setTitle(QString());
    EXPECT_EQ(drawn(cell, kBadge), KZPaintRecord());
}

TEST(TextGraficCenterJust, CopyTakesTheLastDrawnTextAwayFromTheOriginal)
{
    KZTextGraficCenterJust cell;
    cell.setTitle(QStringLiteral("2 - 1.00 kB"));
    cell.setCheckedCount(2);
    (void)drawn(cell, kBadge);
    ASSERT_EQ(cell.attributedTitle().text(), QStringLiteral("2 - 1.00 kB"));
    const std::unique_ptr<KZTextFieldCell> copy = cell.copy();
    EXPECT_TRUE(cell.attributedTitle().isEmpty());
    EXPECT_EQ(dynamic_cast<KZTextGraficCenterJust &>(*copy).attributedTitle().text(),
              QStringLiteral("2 - 1.00 kB"));

    // The count comes from the model's role: none there, no badge.
    const QString text = QStringLiteral("4 - 2.00 kB");
    EXPECT_EQ(painted(cell, {{Qt::DisplayRole, text}}, kBadge.toRect()), KZPaintRecord());
    EXPECT_EQ(painted(cell, {{Qt::DisplayRole, text}, {KZTextFieldCell::CheckedCountRole, 4}},
                      kBadge.toRect())
                  .lines(),
              QStringList(text));
}
