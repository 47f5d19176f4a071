#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QList>
#include <QMap>
#include <QRectF>
#include <QStringList>
#include <QVariant>

#include <functional>

class KZTextFieldCell;
class QPainter;

// What was painted: each piece of text with its baseline origin, font and colour, each image
// with its target rectangle and opacity, each filled shape with its bounds and fill, all in
// device coordinates.
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
        bool rounded = false; // the outline holds curves
        bool operator==(const Shape &) const = default;
    };
    QList<Text> texts;
    QList<Image> images;
    QList<Shape> shapes;
    // The painted texts in order.
    [[nodiscard]] QStringList lines() const;
    bool operator==(const KZPaintRecord &) const = default;
};

// What draw paints through a painter on a device that records instead of drawing pixels.
KZPaintRecord recorded(const std::function<void(QPainter *)> &draw);
// What cell.drawWithFrame(frame) paints.
KZPaintRecord drawn(const KZTextFieldCell &cell, const QRectF &frame);
// What cell.paint() paints for a row holding roles, asked for as a view without a widget would.
KZPaintRecord painted(const KZTextFieldCell &cell, const QMap<int, QVariant> &roles,
                      const QRect &rect, bool selected = false, bool windowActive = true);

// A side x side image filled with colour.
QImage solidImage(int side, const QColor &colour);
