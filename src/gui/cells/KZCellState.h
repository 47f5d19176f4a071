#pragma once

#include <QPalette>
#include <QPixmap>
#include <QString>

// One row as a cell draws it. paint() builds it afresh from the view's option and the model's
// roles, so nothing of one row is kept in the cell for the next; a cell drawn by hand builds it
// from its properties. Each cell reads the fields it draws and leaves the others alone.
struct KZCellState
{
    QString title;
    bool highlighted = false;
    bool windowIsActive = false;
    bool listIsActive = false;
    bool enabled = true;
    int selectionHighlightStyle = 0;
    bool flipped = true;
    QPalette palette; // the view's; the application's for a cell drawn by hand

    QPixmap image;
    quint64 size = 0;
    unsigned itemsCount = 0;
    bool writeSize = false;
    bool isDirectory = false;
    bool isInvisible = false;
    QString path;
    double seconds = 0;
    unsigned checked = 0;

    // The palette's colours for this row: disabled, or as the window's activity says.
    [[nodiscard]] QPalette::ColorGroup colorGroup() const
    {
        if (!enabled)
            return QPalette::Disabled;
        return windowIsActive ? QPalette::Active : QPalette::Inactive;
    }
    // Whether the row shows the strong selection, with text in the highlighted-text colour: any
    // selection in the source list, elsewhere only while both the window and the list are active.
    [[nodiscard]] bool showsStrongHighlight() const
    {
        if (selectionHighlightStyle == 1)
            return highlighted;
        return highlighted && windowIsActive && listIsActive;
    }
};
