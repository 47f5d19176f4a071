#include "gui/cells/KZTextFieldCell.h"
#include "gui/cells/KZAttributedStringUtilities.h"

#include "KZGuiTestSupport.h"

#include <QApplication>
#include <QFontMetricsF>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// How far apart two colours are in lightness: text must stand off its background.
int contrast(const QColor &text, const QColor &background)
{
    return std::abs(text.lightness() - background.lightness());
}

} // namespace

TEST(TextFieldCell, ColoursComeFromThePaletteAndReadOnLightAndDarkLists)
{
    // {style, highlighted, window active, list active, strong selection}. The source list keeps
    // the highlighted text on any selection, focused or not; other lists only while both the
    // window and the list are active.
    const std::tuple<int, bool, bool, bool, bool> cases[] = {
        {1, true, false, false, true}, {1, true, true, true, true},   {1, false, true, true, false},
        {0, true, true, true, true},   {0, true, true, false, false}, {0, true, false, true, false},
        {0, false, true, true, false}, {2, true, true, false, false}};
    const QColor calibratedGreen = QColor::fromRgbF(0.1f, 0.421f, 0.1f);
    for (const bool dark : {false, true}) {
        KZGuiTestSupport::applyPalette(dark);
        const QPalette palette = QApplication::palette();
        for (const auto &[style, highlighted, windowActive, listActive, strong] : cases) {
            SCOPED_TRACE(testing::Message() << "dark " << dark << ": " << style << highlighted
                                            << windowActive << listActive);
            KZTextFieldCell cell;
            cell.setSelectionHighlightStyle(style);
            cell.setHighlighted(highlighted);
            cell.setWindowIsActive(windowActive);
            cell.setListIsActive(listActive);
            const QPalette::ColorGroup group = windowActive ? QPalette::Active : QPalette::Inactive;
            const QColor title = cell.titleColor();
            const QColor subTitle = cell.subTitleColor();
            EXPECT_EQ(title,
                      palette.color(group, strong ? QPalette::HighlightedText : QPalette::Text));
            EXPECT_EQ(subTitle, palette.color(group, strong ? QPalette::HighlightedText
                                                            : QPalette::PlaceholderText));
            // Whatever the palette, the text reads on what is under it: the strong selection,
            // else the list's base (a weak selection is a light tint of it).
            const QColor under
                = palette.color(group, strong ? QPalette::Highlight : QPalette::Base);
            EXPECT_GE(contrast(title, under), 100)
                << title.name().toStdString() << " on " << under.name().toStdString();
            EXPECT_GE(contrast(subTitle, under), 50)
                << subTitle.name().toStdString() << " on " << under.name().toStdString();
            const QColor green = cell.subTitleGreenColor();
            EXPECT_EQ(green,
                      strong || dark ? KZTextFieldCell::systemGreenColor() : calibratedGreen);
            if (!strong) {
                EXPECT_GE(contrast(green, under), 40)
                    << green.name().toStdString() << " on " << under.name().toStdString();
            }
        }
    }
    KZGuiTestSupport::applyPalette(false);
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
