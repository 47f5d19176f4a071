#pragma once

#include <QIcon>
#include <QPalette>

// The tray images "menubar" and "menubar_selected", each empty or full, drawn from their SVG in
// the palette's text colour, so that they read on a light and on a dark panel; and the
// application icon, from the icon theme where it has one. Main thread.
class KZTrayIcons
{
public:
    [[nodiscard]] static QIcon statusIcon(bool full, bool selected, const QPalette &palette);
    // The theme's "org.binwise.Binwise", else the same icon built in (the tray image should
    // that not load).
    [[nodiscard]] static QIcon applicationIcon(const QPalette &palette);
};
