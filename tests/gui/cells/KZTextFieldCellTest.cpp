#include "gui/cells/KZTextFieldCell.h"
#include "gui/cells/KZAttributedStringUtilities.h"

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
    const KZAttributedString size(QStringLiteral("12.3 MB"),
                                  KZAttributedStringUtilities::systemFontOfSize(12), Qt::black);
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
}
