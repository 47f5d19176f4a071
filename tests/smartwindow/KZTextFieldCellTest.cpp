#include "smartwindow/KZTextFieldCell.h"
#include "KZCellTestSupport.h"
#include "smartwindow/KZAttributedStringUtilities.h"

#include <QApplication>
#include <QPalette>

#include <gtest/gtest.h>

namespace {

struct ColourCase
{
    int style;
    bool highlighted;
    bool windowActive;
    bool listActive;
    bool light; // white (green) rather than black (dark gray, calibrated green)
};

KZAttributedString line(const QString &text)
{
    return KZAttributedStringUtilities::sharedControl().attributedStringWithString(
        text, 12, Qt::black, false, Qt::AlignLeft, 0, Qt::ElideRight);
}

} // namespace

TEST(TextFieldCell, ColoursFollowHighlightWindowAndListState)
{
    const ColourCase cases[] = {
        // The source list keeps light text on any selection, focused or not.
        {1, true, false, false, true},
        {1, true, true, true, true},
        {1, false, true, true, false},
        // Other lists only while both the window and the list are active.
        {0, true, true, true, true},
        {0, true, true, false, false},
        {0, true, false, true, false},
        {0, false, true, true, false},
        {2, true, true, false, false},
    };
    const QColor calibratedGreen = QColor::fromRgbF(0.1f, 0.421f, 0.1f);
    for (const ColourCase &c : cases) {
        KZTextFieldCell cell;
        cell.setSelectionHighlightStyle(c.style);
        cell.setHighlighted(c.highlighted);
        cell.setWindowIsActive(c.windowActive);
        cell.setListIsActive(c.listActive);
        SCOPED_TRACE(testing::Message()
                     << c.style << c.highlighted << c.windowActive << c.listActive);
        EXPECT_EQ(cell.titleColor(), c.light ? QColor(Qt::white) : QColor(Qt::black));
        EXPECT_EQ(cell.subTitleColor(),
                  c.light ? QColor(Qt::white) : KZTextFieldCell::darkGrayColor());
        EXPECT_EQ(cell.subTitleGreenColor(),
                  c.light ? KZTextFieldCell::systemGreenColor() : calibratedGreen);
    }
    EXPECT_TRUE(closeColours(KZTextFieldCell::darkGrayColor(), QColor(85, 85, 85), 1));
}

TEST(TextFieldCell, TextFrameInFlippedViewsFollowsAlignment)
{
    KZTextFieldCell cell;
    const QRectF frame(10, 20, 200, 30);
    const KZAttributedString size = line(QStringLiteral("12.3 MB"));
    const QSizeF measured
        = KZAttributedStringUtilities::sharedControl().sizeOfString(size.text(), size.font());
    const qreal y = 20 + (30 - measured.height()) / 2 - 1;

    const QRectF left = cell.cellTextFrame(frame, size, KZTextFieldCell::LeftTextAlignment);
    EXPECT_EQ(left, QRectF(10, y, 200, measured.height()));
    const QRectF right = cell.cellTextFrame(frame, size, KZTextFieldCell::RightTextAlignment);
    EXPECT_DOUBLE_EQ(right.x(), 10 + 200 - (measured.width() + 1));
    EXPECT_DOUBLE_EQ(right.width(), 200); // the frame's width, not the text's
    const QRectF centre = cell.cellTextFrame(frame, size, KZTextFieldCell::CenterTextAlignment);
    EXPECT_DOUBLE_EQ(centre.x(), 10 + (200 - measured.width()) / 2);
    EXPECT_DOUBLE_EQ(centre.y(), y);
    // An alignment the cells do not know puts the text at x 0, not at the frame.
    EXPECT_DOUBLE_EQ(cell.cellTextFrame(frame, size, 7).x(), 0);

    // Right alignment never starts left of the frame, however long the text.
    const KZAttributedString wide = line(QString(80, u'W'));
    EXPECT_DOUBLE_EQ(cell.cellTextFrame(frame, wide, KZTextFieldCell::RightTextAlignment).x(), 10);
}

TEST(TextFieldCell, TextFrameInBottomUpViewsKeepsTheFrameX)
{
    KZTextFieldCell cell;
    cell.setFlipped(false);
    const QRectF frame(10, 20, 200, 30);
    const KZAttributedString size = line(QStringLiteral("12.3 MB"));
    const qreal height = KZAttributedStringUtilities::sharedControl()
                             .sizeOfString(size.text(), size.font())
                             .height();
    const qreal offset = (30 - height) / 2 - 1;
    for (int alignment : {0, 1, 2, 7}) {
        const QRectF rect = cell.cellTextFrame(frame, size, alignment);
        EXPECT_EQ(rect, QRectF(10, 20 - offset, 200, height)) << alignment;
    }
}

TEST(TextFieldCell, SelectionIsTonedDownWhereTheTextStaysBlack)
{
    // A list without the focus draws black text on its selection; the strong highlight
    // behind it would make it unreadable, so the cell lightens the selection there only.
    auto row = makeCellRow({{Qt::DisplayRole, QStringLiteral("name")}});
    const QColor highlight = QApplication::palette().color(QPalette::Active, QPalette::Highlight);
    const auto backgroundOf = [&](int style, bool listActive) {
        KZTextFieldCell cell;
        cell.setSelectionHighlightStyle(style);
        cell.setListIsActive(listActive);
        const QImage image = renderOnWhite(QSize(120, 24), [&](QPainter *painter) {
            cell.paint(painter, cellOption(QRect(0, 0, 120, 24), true), row.index);
        });
        return image.pixelColor(100, 12);
    };
    EXPECT_TRUE(closeColours(backgroundOf(0, true), highlight, 8));
    EXPECT_TRUE(closeColours(backgroundOf(1, false), highlight, 8));
    const QColor muted = backgroundOf(0, false);
    EXPECT_FALSE(closeColours(muted, highlight, 8));
    EXPECT_GT(qGray(muted.rgb()), qGray(highlight.rgb()) + 40);
}
