#include "KZCellTestSupport.h"
#include "format/KZDateUtilities.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "gui/cells/KZImageAndTextCell.h"
#include "gui/cells/KZItemsImageAndTextCell.h"
#include "gui/cells/KZTUDateCell.h"
#include "gui/cells/KZTUTextCellRightJust.h"
#include "gui/cells/KZTextGraficCenterJust.h"
#include "model/KZPath.h"

#include "KZGuiTestSupport.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QPixmap>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using Images = QList<KZPaintRecord::Image>;
const QRectF kRow(0, 0, 300, 44);
const QRectF kBadge(10, 0, 110, 44);
const QColor kDarkGray(85, 85, 85);

QColor paletteColor(QPalette::ColorRole role, QPalette::ColorGroup group = QPalette::Active)
{
    return QApplication::palette().color(group, role);
}
// Tuesday 14 May 2024, 09:30:00 UTC.
constexpr double kSeconds = 1715679000.0 - KZDateUtilities::kSeconds1970To2001;

QString sizeText(quint64 bytes)
{
    return KZNumberUtilities::sharedControl().sizeToFormatString(bytes, 4, true);
}

} // namespace

TEST(ImageAndTextCell, EmptyTrashIsDimmedAndTheSizeLineCountsItems)
{
    // One cell paints the rows in turn; each takes everything from the model and nothing from
    // an earlier row: {size, items, empty, directory, icon, the second line}.
    const std::tuple<quint64, unsigned, bool, bool, bool, QString> rows[] = {
        {0, 2, true, true, true, KZLocalizedString(QStringLiteral("Trash_empty"))},
        // A folder still being measured shows a dash; an empty Trash wins over everything.
        {0, 2, false, true, true, QStringLiteral("-")},
        {10, 2, false, true, true, QStringLiteral("2 items, ") + sizeText(10)},
        {734003, 1, false, false, true, QStringLiteral("1 item, ") + sizeText(734003)},
        {1284500000, 1520, false, false, true,
         QStringLiteral("1,520 items, ") + sizeText(1284500000)},
        {0, 0, false, false, false, QStringLiteral("0 items, ") + sizeText(0)},
    };
    KZImageAndTextCell cell;
    cell.setWriteSize(true);
    for (const auto &[size, items, empty, directory, icon, line] : rows) {
        SCOPED_TRACE(line.toStdString());
        QMap<int, QVariant> roles{{Qt::DisplayRole, QStringLiteral("Home Trash")},
                                  {KZSizeRole, QVariant::fromValue(size)},
                                  {KZItemsCountRole, items}};
        if (empty)
            roles.insert(KZIsInvisibleRole, true);
        if (directory)
            roles.insert(KZIsDirectoryRole, true);
        if (icon)
            roles.insert(Qt::DecorationRole, solidImage(42, Qt::red));
        const KZPaintRecord record = painted(cell, roles, kRow.toRect());
        EXPECT_EQ(record.lines(), QStringList({QStringLiteral("Home Trash"), line}));
        EXPECT_EQ(record.texts.value(0).color, paletteColor(QPalette::Text));
        EXPECT_EQ(record.texts.value(1).color, paletteColor(QPalette::PlaceholderText));
        // The same row set up by hand draws the same (and so does a copy of that cell).
        KZImageAndTextCell byHand;
        byHand.setWriteSize(true);
        byHand.setTitle(QStringLiteral("Home Trash"));
        byHand.setSize(size);
        byHand.setItemsCount(items);
        byHand.setIsInvisible(empty);
        byHand.setIsDirectory(directory);
        if (icon)
            byHand.setImage(QPixmap::fromImage(solidImage(42, Qt::red)));
        EXPECT_EQ(drawn(*byHand.copy(), kRow), record);
        // 36 points high, centred, 4 in and squeezed to 32 wide; half opacity when empty.
        EXPECT_EQ(record.images,
                  icon ? Images({{QRectF(4, 4, 32, 36), empty ? 0.5 : 1.0}}) : Images());
    }
    // Painting took nothing of the rows into the cell.
    EXPECT_TRUE(cell.title().isEmpty());
    EXPECT_TRUE(cell.image().isNull());
    EXPECT_EQ(cell.size(), 0u);
    EXPECT_EQ(cell.itemsCount(), 0u);
    EXPECT_FALSE(cell.isInvisible());
    EXPECT_TRUE(cell.attributedTitle().isEmpty());
    // Selected in the source list: highlighted text even though the window is not active.
    cell.setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    EXPECT_EQ(painted(cell, {{Qt::DisplayRole, QStringLiteral("USB")}}, kRow.toRect(), true, false)
                  .texts.value(0)
                  .color,
              paletteColor(QPalette::HighlightedText, QPalette::Inactive));
    cell.setImage(QPixmap::fromImage(solidImage(42, Qt::red)));
    cell.setTitle(QString());
    EXPECT_EQ(drawn(cell, kRow), KZPaintRecord()); // not even the icon
}

TEST(ItemsImageAndTextCell, SecondLineOnlyOnRowsExactly36High)
{
    // A location read from a .trashinfo file is bytes and need not be UTF-8.
    const QByteArray location("/home/ana/caf\xe9");
    KZItemsImageAndTextCell cell;
    const KZPaintRecord two = painted(cell,
                                      {{Qt::DisplayRole, QStringLiteral("menu.txt")},
                                       {Qt::DecorationRole, solidImage(16, Qt::green)},
                                       {KZPathRole, location},
                                       {KZIsInvisibleRole, true}},
                                      QRect(0, 36, 400, 36));
    EXPECT_EQ(two.images, Images({{QRectF(0, 36, 36, 36), 0.5}}));
    ASSERT_EQ(two.lines(),
              QStringList({QStringLiteral("menu.txt"), KZPath::displayString(location)}));
    EXPECT_EQ(two.texts[0].color, paletteColor(QPalette::Text));
    EXPECT_EQ(two.texts[1].color, paletteColor(QPalette::PlaceholderText));
    // Title in the upper half, the location in the lower, both right of the icon strip.
    EXPECT_LE(two.texts[0].origin.y() + QFontMetricsF(two.texts[0].font).descent(),
              two.texts[1].origin.y() - QFontMetricsF(two.texts[1].font).ascent());
    EXPECT_EQ(QPointF(two.texts[0].origin.x(), two.texts[1].origin.x()), QPointF(39, 39));
    cell.setTitle(QStringLiteral("menu.txt"));
    cell.setImage(QPixmap::fromImage(solidImage(16, Qt::green)));
    cell.setPath(KZPath::displayString(location));
    cell.setIsInvisible(true);
    for (qreal height : {35.0, 37.0}) {
        const KZPaintRecord one = drawn(cell, QRectF(0, 0, 400, height));
        ASSERT_EQ(one.texts.size(), 1) << height;
        EXPECT_EQ(one.texts[0].origin.x(), 27);
        EXPECT_EQ(one.images, Images({{QRectF(0, (height - 24) / 2, 24, 24), 0.5}}));
    }
}

TEST(TUDateCell, StyleFollowsTheColumnWidthAndNothingIsDrawnWithoutADate)
{
    // {column width, date style, with time}
    const std::tuple<qreal, unsigned, bool> cases[] = {
        {230, 4, true}, {229, 4, false}, {180, 4, false}, {179, 3, true},
        {150, 3, true}, {149, 3, false}, {110, 3, false}, {109, 1, false},
    };
    KZTUDateCell cell;
    cell.setSeconds(kSeconds);
    for (const auto &[width, style, withTime] : cases) {
        const KZPaintRecord record = drawn(cell, QRectF(20, 0, width, 24));
        ASSERT_EQ(record.texts.size(), 1) << width;
        const QString full
            = KZDateUtilities::sharedControl().stringWithSeconds(kSeconds, style, true, withTime);
        EXPECT_EQ(record.texts[0].text,
                  QFontMetricsF(record.texts[0].font).elidedText(full, Qt::ElideRight, width - 10))
            << width;
        EXPECT_EQ(record.texts[0].origin.x(), 20 + 10);
    }
    for (const double seconds : {0.0, -5.0}) {
        cell.setSeconds(seconds);
        EXPECT_EQ(drawn(cell, QRectF(0, 0, 200, 24)), KZPaintRecord()) << seconds;
    }
    // From the model by either role; selected in a focused list: highlighted text. The
    // cell's own date stays as it was; a copy keeps it.
    cell.setListIsActive(true);
    cell.setSeconds(0);
    for (const int role : {int(KZSecondsRole), int(Qt::DisplayRole)}) {
        const KZPaintRecord record = painted(cell, {{role, kSeconds}}, QRect(0, 0, 160, 24), true);
        EXPECT_EQ(record.texts.value(0).color, paletteColor(QPalette::HighlightedText)) << role;
        EXPECT_EQ(cell.seconds(), 0);
    }
    cell.setSeconds(kSeconds);
    EXPECT_EQ(drawn(*cell.copy(), kRow), drawn(cell, kRow));
}

TEST(TUTextCellRightJust, TextEndsTenPointsInAndNeverStartsLeftOfTheCell)
{
    KZTUTextCellRightJust cell;
    cell.setTitle(QStringLiteral("1.20 GB"));
    const KZPaintRecord::Text text = drawn(cell, QRectF(50, 0, 120, 24)).texts.value(0);
    EXPECT_NEAR(text.origin.x() + QFontMetricsF(text.font).horizontalAdvance(text.text),
                170 - 10 - 1, 0.01);

    cell.setTitle(QStringLiteral("1,234,567,890,123 bytes and then some more"));
    const KZPaintRecord::Text shortened = drawn(cell, QRectF(50, 0, 80, 24)).texts.value(0);
    EXPECT_EQ(shortened.origin.x(), 50);
    EXPECT_TRUE(shortened.text.endsWith(QChar(0x2026)));
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
    // The badge is the centred text's frame grown by 2 points, inside the cell.
    const QFontMetricsF metrics(text.font);
    EXPECT_DOUBLE_EQ(record.shapes[0].bounds.height(), metrics.height() + 4);
    EXPECT_NEAR(text.origin.x() + metrics.horizontalAdvance(text.text) / 2, kBadge.center().x(),
                0.01);
    EXPECT_TRUE(kBadge.contains(record.shapes[0].bounds));

    // A copy takes the last drawn text away from the original.
    const std::unique_ptr<KZTextFieldCell> copy = cell.copy();
    EXPECT_EQ(dynamic_cast<KZTextGraficCenterJust &>(*copy).attributedTitle().text(), text.text);
    EXPECT_TRUE(cell.attributedTitle().isEmpty());
    cell.setTitle(QString());
    EXPECT_EQ(drawn(cell, kBadge), KZPaintRecord());

    // The count comes from the model's role: none there, no badge.
    const QString title = QStringLiteral("4 - 2.00 kB");
    EXPECT_EQ(painted(cell, {{Qt::DisplayRole, title}}, kBadge.toRect()), KZPaintRecord());
    EXPECT_EQ(
        painted(cell, {{Qt::DisplayRole, title}, {KZCheckedCountRole, 4}}, kBadge.toRect()).lines(),
        QStringList(title));
}

TEST(Cells, OneCellDrawsEveryRowInTheViewsPaletteLightOrDark)
{
    // Rows of a light and of a dark list, painted in turn by one cell: the text takes each
    // view's colours and reads on its base; selected rows use the highlighted text.
    KZGuiTestSupport::applyPalette(false);
    const QPalette light = QApplication::palette();
    KZGuiTestSupport::applyPalette(true);
    const QPalette dark = QApplication::palette();
    KZGuiTestSupport::applyPalette(false);

    KZImageAndTextCell volume;
    volume.setWriteSize(true);
    KZItemsImageAndTextCell item;
    KZTUTextCellRightJust size;
    for (const QPalette &palette : {light, dark, light}) {
        const QColor base = palette.color(QPalette::Active, QPalette::Base);
        SCOPED_TRACE(base.name().toStdString());
        const QMap<int, QVariant> row{{Qt::DisplayRole, QStringLiteral("Backup")},
                                      {KZSizeRole, QVariant::fromValue(quint64(2048))},
                                      {KZItemsCountRole, 3},
                                      {KZPathRole, QStringLiteral("/media/backup")}};
        const KZPaintRecord plain = painted(volume, row, kRow.toRect(), false, true, palette);
        ASSERT_EQ(plain.texts.size(), 2);
        EXPECT_EQ(plain.texts[0].color, palette.color(QPalette::Active, QPalette::Text));
        EXPECT_EQ(plain.texts[1].color, palette.color(QPalette::Active, QPalette::PlaceholderText));
        EXPECT_GE(std::abs(plain.texts[0].color.lightness() - base.lightness()), 100);
        EXPECT_GE(std::abs(plain.texts[1].color.lightness() - base.lightness()), 50);

        const KZPaintRecord two = painted(item, row, QRect(0, 0, 300, 36), false, true, palette);
        ASSERT_EQ(two.texts.size(), 2);
        EXPECT_EQ(two.texts[0].color, plain.texts[0].color);
        EXPECT_EQ(two.texts[1].color, plain.texts[1].color);
        EXPECT_EQ(
            painted(size, row, QRect(0, 0, 100, 24), false, true, palette).texts.value(0).color,
            plain.texts[0].color);

        volume.setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
        const KZPaintRecord selected = painted(volume, row, kRow.toRect(), true, true, palette);
        volume.setSelectionHighlightStyle(0);
        ASSERT_EQ(selected.texts.size(), 2);
        EXPECT_EQ(selected.texts[0].color,
                  palette.color(QPalette::Active, QPalette::HighlightedText));
        EXPECT_EQ(selected.texts[1].color,
                  palette.color(QPalette::Active, QPalette::HighlightedText));
    }
}
