#pragma once

#include <QColor>
#include <QImage>
#include <QMap>
#include <QModelIndex>
#include <QStandardItemModel>
#include <QStyleOptionViewItem>
#include <QVariant>

#include <functional>
#include <memory>

class QPainter;

// One model row for a cell to draw, with the given roles in its only column.
struct KZCellRow
{
    std::unique_ptr<QStandardItemModel> model;
    QModelIndex index;
};
KZCellRow makeCellRow(const QMap<int, QVariant> &roles);

// What a view hands its delegate for a row at rect, without a widget.
QStyleOptionViewItem cellOption(const QRect &rect, bool selected = false, bool windowActive = true);

// A white image of size on which draw paints.
QImage renderOnWhite(const QSize &size, const std::function<void(QPainter *)> &draw);

// An image filled with colour, logical size side x side at ratio.
QImage solidImage(int side, const QColor &colour, qreal ratio = 1);

// Whether two colours differ by at most tolerance in each channel.
bool closeColours(const QColor &a, const QColor &b, int tolerance = 3);

// Columns of image that hold a pixel darker than threshold (text on white), as [first, last];
// {-1, -1} when none.
std::pair<int, int> inkColumns(const QImage &image, int threshold = 160);
