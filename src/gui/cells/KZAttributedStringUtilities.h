#pragma once

#include "KZAttributedString.h"

#include <QColor>
#include <QFont>
#include <QFontDatabase>
#include <QSizeF>
#include <QString>

class QImage;

// Builds the styled lines that cells, alerts and panels draw, and measures text. Font sizes are
// logical pixels (the unit of every frame the cells compute), so text keeps its proportions to
// the rows at any scale factor. The builders and sizeOfString may run on any thread;
// truncateString works on the GUI thread only.
class KZAttributedStringUtilities
{
public:
    static KZAttributedStringUtilities &sharedControl();

    // The system font at size pixels, bold when asked.
    [[nodiscard]] static QFont systemFontOfSize(qreal size, bool bold = false);

    // The workhorse of the cells. toFitInSpace is accepted and not used: shortening happens
    // when the line is drawn into its rectangle, by truncWhere.
    [[nodiscard]] KZAttributedString attributedStringWithString(const QString &string, qreal ofSize,
                                                                const QColor &textColor, bool bold,
                                                                Qt::Alignment alignment,
                                                                qreal toFitInSpace,
                                                                Qt::TextElideMode truncWhere) const;
    // The palette's highlighted text when highlighted, else color; left aligned, shortened at
    // the end. GUI thread.
    [[nodiscard]] KZAttributedString attributedStringWithString(const QString &string,
                                                                bool isHighlighted, qreal size,
                                                                const QColor &color) const;
    [[nodiscard]] KZAttributedString attributedStringWithString(const QString &string, qreal size,
                                                                Qt::Alignment align,
                                                                const QColor &color, bool bold,
                                                                Qt::TextElideMode truncWhere) const;
    // Shortened at the end.
    [[nodiscard]] KZAttributedString attributedStringWithString(const QString &string, qreal size,
                                                                Qt::Alignment align,
                                                                const QColor &color,
                                                                bool bold) const;
    // string follows image at image's own logical size, in the system font.
    [[nodiscard]] KZAttributedString attributedStringWithString(const QString &string,
                                                                const QImage &andImage) const;
    // A line that holds only an image, imageSize points large, raised by baselineOffset.
    [[nodiscard]] KZAttributedString attributedImageWithImage(const QImage &image,
                                                              const QSizeF &imageSize,
                                                              qreal baselineOffset) const;

    // Size of string drawn in font alone, on one line.
    [[nodiscard]] QSizeF sizeOfString(const QString &string, const QFont &font) const;

    // string shortened to "prefix…" until it fits width in the font the desktop uses for
    // fontID; the prefix loses one character per try, from the whole string down to one
    // character. Off the GUI thread the string comes back unchanged.
    [[nodiscard]] QString truncateString(const QString &string, QFontDatabase::SystemFont ofFontID,
                                         qreal toFitInSpace) const;
};
