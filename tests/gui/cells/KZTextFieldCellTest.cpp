#include "gui/cells/KZTextFieldCell.h"

#include "KZGuiTestSupport.h"

#include <QApplication>

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
