#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QMap>
#include <QPalette>
#include <QRectF>
#include <QStringList>
#include <QVariant>

class KZTextFieldCell;

// What was painted, in device coordinates: texts with their baseline origin, font and colour,
// images with their target and opacity, filled shapes with their bounds and fill.
struct KZPaintRecord
{
    struct Text
    {
        QString text;
        QPointF origin;
        QFont font;
        QColor color;
        bool operator==(const Text &) const = default;
    };
    struct Image
    {
        QRectF target;
        qreal opacity = 1;
        bool operator==(const Image &) const = default;
    };
    struct Shape
    {
        QRectF bounds;
        QColor fill;
        bool operator==(const Shape &) const = default;
    };
    QList<Text> texts;
    QList<Image> images;
    QList<Shape> shapes;
    [[nodiscard]] QStringList lines() const // the texts in order
    {
        QStringList lines;
        for (const Text &text : texts)
            lines << text.text;
        return lines;
    }
    bool operator==(const KZPaintRecord &) const = default;
};

// What cell.drawWithFrame(frame) paints.
KZPaintRecord drawn(const KZTextFieldCell &cell, const QRectF &frame);
// What cell.paint() paints for a row holding roles, asked for as a view without a widget would,
// in palette (the application's when none is given).
KZPaintRecord painted(const KZTextFieldCell &cell, const QMap<int, QVariant> &roles,
                      const QRect &rect, bool selected = false, bool windowActive = true,
                      const QPalette &palette = QPalette());

// A side x side image filled with colour.
QImage solidImage(int side, const QColor &colour);
