#include "smartwindow/KZTextFieldCell.h"
#include "KZCellTestSupport.h"
#include "smartwindow/KZAttributedStringUtilities.h"

#include <QApplication>
#include <QFontMetricsF>

#include <gtest/gtest.h>

TEST(TextFieldCell, ColoursFollowHighlightWindowAndListState)
{
    // {style, highlighted, window active, list active, light: white text, system green}. The
    // source list keeps light text on any selection, focused or not; other lists only while
    // both the window and the list are active.
    const std::tuple<int, bool, bool, bool, bool> cases[] = {
        {1, true, false, false, true}, {1, true, true, true, true},   {1, false, true, true, false},
        {0, true, true, true, true},   {0, true, true, false, false}, {0, true, false, true, false},
        {0, false, true, true, false}, {2, true, true, false, false}};
    const QColor calibratedGreen = QColor::fromRgbF(0.1f, 0.421f, 0.1f);
    for (const auto &[style, highlighted, windowActive, listActive, light] : cases) {
        KZTextFieldCell cell;
        cell.setSelectionHighlightStyle(style);
        cell.setHighlighted(highlighted);
        cell.setWindowIsActive(windowActive);
        cell.setListIsActive(listActive);
        SCOPED_TRACE(testing::Message() << style << highlighted << windowActive << listActive);
        EXPECT_EQ(cell.titleColor(), light ? QColor(Qt::white) : QColor(Qt::black));
        EXPECT_EQ(cell.subTitleColor(), light ? QColor(Qt::white) : QColor(85, 85, 85));
        EXPECT_EQ(cell.subTitleGreenColor(),
                  light ? KZTextFieldCell::systemGreenColor() : calibratedGreen);
    }
}

TEST(TextFieldCell, TextFrameAlignsOnlyInFlippedViewsAndKeepsTheFrameWidth)
{
    KZTextFieldCell cell;
    const QRectF frame(10, 20, 200, 30);
    const QFont font = KZAttributedStringUtilities::systemFontOfSize(12);
    const KZAttributedString size(QStringLiteral("12.3 MB"), font, Qt::black);
    const QFontMetricsF metrics(size.font());
    const qreal width = metrics.horizontalAdvance(size.text());
    const qreal offset = (30 - metrics.height()) / 2 - 1;
    // An alignment the cells do not know puts the text at x 0, not at the frame.
    const std::pair<int, qreal> cases[] = {{KZTextFieldCell::LeftTextAlignment, 10},
                                           {KZTextFieldCell::RightTextAlignment, 209 - width},
                                           {KZTextFieldCell::CenterTextAlignment, 110 - width / 2},
                                           {7, 0}};
    for (const auto &[alignment, x] : cases) {
        cell.setFlipped(true);
        EXPECT_EQ(cell.cellTextFrame(frame, size, alignment),
                  QRectF(x, 20 + offset, 200, metrics.height()))
            << alignment;
        // Bottom-up views keep the frame's x whatever the alignment.
        cell.setFlipped(false);
        EXPECT_EQ(cell.cellTextFrame(frame, size, alignment),
                  QRectF(10, 20 - offset, 200, metrics.height()))
            << alignment;
    }
    // Right alignment never starts left of the frame, however long the text.
    cell.setFlipped(true);
    EXPECT_EQ(
        cell.cellTextFrame(frame, KZAttributedString(QString(80, u'W'), font, Qt::black), 1).x(),
        10);
}

TEST(TextFieldCell, SelectionIsTonedDownWhereTheTextStaysBlack)
{
    // A list without the focus draws black text on its selection; the strong highlight
    // behind it would make it unreadable, so the cell lightens the selection there only.
    const QColor highlight = QApplication::palette().color(QPalette::Active, QPalette::Highlight);
    const auto selectionOf = [&](int style, bool listActive) {
        KZTextFieldCell cell;
        cell.setSelectionHighlightStyle(style);
        cell.setListIsActive(listActive);
        return painted(cell, {{Qt::DisplayRole, QStringLiteral("name")}}, QRect(0, 0, 120, 24),
                       true)
            .shapes.value(0)
            .fill;
    };
    EXPECT_EQ(selectionOf(0, true), highlight);
    EXPECT_EQ(selectionOf(1, false), highlight);
    EXPECT_GT(qGray(selectionOf(0, false).rgb()), qGray(highlight.rgb()) + 40);
}
