#include "smartwindow/KZTextGraficCenterJust.h"
#include "KZCellTestSupport.h"
#include "KZPaintRecorder.h"

#include <QFontMetricsF>
#include <QPainter>

#include <gtest/gtest.h>

namespace {

const QRectF kFrame(10, 0, 110, 44);

QImage render(const KZTextGraficCenterJust &cell)
{
    return renderOnWhite(QSize(140, 44),
                         [&](QPainter *painter) { cell.drawWithFrame(painter, kFrame); });
}

} // namespace

TEST(TextGraficCenterJust, BadgeOnlyWithTickedItems)
{
    KZTextGraficCenterJust cell;
    cell.setTitle(QStringLiteral("3 - 52.40 MB"));
    QImage blank(QSize(140, 44), QImage::Format_ARGB32_Premultiplied);
    blank.fill(Qt::white);
    EXPECT_EQ(render(cell), blank);
    cell.setCheckedCount(3);
    const QImage badge = render(cell);
    EXPECT_NE(badge, blank);
    // Dark gray right of the text's end, inside the rounded rectangle, white above it.
    EXPECT_TRUE(closeColours(badge.pixelColor(16, 22), KZTextFieldCell::darkGrayColor(), 2));
    EXPECT_EQ(badge.pixelColor(16, 2), QColor(Qt::white));
    EXPECT_EQ(badge.pixelColor(5, 22), QColor(Qt::white)); // nothing left of the cell
    // Green text somewhere in the middle.
    bool green = false;
    for (int x = 30; x < 100 && !green; ++x)
        for (int y = 10; y < 34 && !green; ++y)
            green = badge.pixelColor(x, y).green() > badge.pixelColor(x, y).red() + 60;
    EXPECT_TRUE(green);

    cell.setTitle(QString());
    EXPECT_EQ(render(cell), blank);
}

TEST(TextGraficCenterJust, RoundedRectangleFramesTheCentredText)
{
    KZTextGraficCenterJust cell;
    cell.setTitle(QStringLiteral("1 - 734.00 kB"));
    cell.setCheckedCount(1);
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.drawWithFrame(&painter, kFrame);
    painter.end();

    ASSERT_EQ(recorder.shapes.size(), 1);
    ASSERT_EQ(recorder.texts.size(), 1);
    const KZPaintRecord::Text &text = recorder.texts[0];
    const QFontMetricsF metrics(text.font);
    EXPECT_EQ(text.color, KZTextFieldCell::systemGreenColor());
    EXPECT_EQ(text.font.pixelSize(), 11);
    EXPECT_EQ(recorder.shapes[0].fill, KZTextFieldCell::darkGrayColor());
    const QRectF badge = recorder.shapes[0].bounds;
    const QRectF textFrame(badge.adjusted(2, 2, -2, -2));
    EXPECT_DOUBLE_EQ(textFrame.height(), metrics.height());
    EXPECT_NEAR(text.origin.y(), textFrame.top() + metrics.ascent(), 0.01);
    EXPECT_NEAR(text.origin.x() + metrics.horizontalAdvance(text.text) / 2, kFrame.center().x(),
                0.01);
    EXPECT_TRUE(kFrame.contains(badge));
    EXPECT_EQ(cell.attributedTitle().text(), QStringLiteral("1 - 734.00 kB"));
}

TEST(TextGraficCenterJust, CopyTakesTheLastDrawnTextFromTheOriginal)
{
    KZTextGraficCenterJust cell;
    cell.setTitle(QStringLiteral("2 - 1.00 kB"));
    cell.setCheckedCount(2);
    (void)render(cell);
    ASSERT_FALSE(cell.attributedTitle().isEmpty());

    const std::unique_ptr<KZTextFieldCell> copy = cell.copy();
    const auto &badge = dynamic_cast<KZTextGraficCenterJust &>(*copy);
    EXPECT_TRUE(cell.attributedTitle().isEmpty());
    EXPECT_EQ(badge.attributedTitle().text(), QStringLiteral("2 - 1.00 kB"));
    EXPECT_EQ(badge.checked(), 2u);
    EXPECT_EQ(cell.checked(), 2u);

    // The model's count comes through its role.
    auto row = makeCellRow(
        {{Qt::DisplayRole, QStringLiteral("4 - 2.00 kB")}, {KZTextFieldCell::CheckedCountRole, 4}});
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    cell.paint(&painter, cellOption(kFrame.toRect()), row.index);
    painter.end();
    EXPECT_EQ(cell.checked(), 4u);
    ASSERT_EQ(recorder.texts.size(), 1);
    EXPECT_EQ(recorder.texts[0].text, QStringLiteral("4 - 2.00 kB"));
}
