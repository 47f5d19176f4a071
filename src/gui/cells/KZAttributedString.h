#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QSizeF>
#include <QString>

class QPainter;
class QRectF;

// One line of styled text as the cells draw it: the text with one font, one colour, a paragraph
// alignment and the way it is shortened when it does not fit. It may start with an inline
// image (the builders with an image). A plain value: copy it freely; draw it on the GUI thread.
class KZAttributedString
{
public:
    KZAttributedString() = default;
    KZAttributedString(const QString &text, const QFont &font, const QColor &color,
                       Qt::Alignment alignment = Qt::AlignLeft,
                       Qt::TextElideMode elideMode = Qt::ElideRight);

    [[nodiscard]] QString text() const { return m_text; }
    [[nodiscard]] QFont font() const { return m_font; }
    [[nodiscard]] QColor color() const { return m_color; }
    [[nodiscard]] Qt::Alignment alignment() const { return m_alignment; }
    [[nodiscard]] Qt::TextElideMode elideMode() const { return m_elideMode; }
    [[nodiscard]] QImage image() const { return m_image; }
    [[nodiscard]] QSizeF imageSize() const { return m_imageSize; }
    [[nodiscard]] qreal baselineOffset() const { return m_baselineOffset; }

    void setText(const QString &text) { m_text = text; }
    void setFont(const QFont &font) { m_font = font; }
    void setColor(const QColor &color) { m_color = color; }
    void setAlignment(Qt::Alignment alignment) { m_alignment = alignment; }
    void setElideMode(Qt::TextElideMode mode) { m_elideMode = mode; }
    // An image drawn before the text, imageSize points large, its bottom baselineOffset points
    // above the text's baseline (negative: below).
    void setImage(const QImage &image, const QSizeF &imageSize, qreal baselineOffset = 0);

    [[nodiscard]] bool isEmpty() const { return m_text.isEmpty() && m_image.isNull(); }
    // Size of the whole line without shortening: the inline image, then the text.
    [[nodiscard]] QSizeF size() const;

    // Draws the line at the top of rect, aligned horizontally inside it and shortened to its
    // width by the elide mode. GUI thread.
    void drawInRect(QPainter *painter, const QRectF &rect) const;

    friend bool operator==(const KZAttributedString &a, const KZAttributedString &b);

private:
    QString m_text;
    QFont m_font;
    QColor m_color; // none: the painter's pen, which a widget's painter takes from its palette
    Qt::Alignment m_alignment = Qt::AlignLeft;
    Qt::TextElideMode m_elideMode = Qt::ElideRight;
    QImage m_image;
    QSizeF m_imageSize;
    qreal m_baselineOffset = 0;
};
