#include "KZCellTestSupport.h"

#include <QPainter>

#include <cstdlib>

KZCellRow makeCellRow(const QMap<int, QVariant> &roles)
{
    KZCellRow row;
    row.model = std::make_unique<QStandardItemModel>(1, 1);
    auto *item = new QStandardItem;
    for (auto it = roles.constBegin(); it != roles.constEnd(); ++it)
        item->setData(it.value(), it.key());
    row.model->setItem(0, 0, item);
    row.index = row.model->index(0, 0);
    return row;
}

QStyleOptionViewItem cellOption(const QRect &rect, bool selected, bool windowActive)
{
    QStyleOptionViewItem option;
    option.rect = rect;
    option.state = QStyle::State_Enabled;
    if (selected)
        option.state |= QStyle::State_Selected;
    if (windowActive)
        option.state |= QStyle::State_Active;
    return option;
}

QImage renderOnWhite(const QSize &size, const std::function<void(QPainter *)> &draw)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    draw(&painter);
    painter.end();
    return image;
}

QImage solidImage(int side, const QColor &colour, qreal ratio)
{
    QImage image(qRound(side * ratio), qRound(side * ratio), QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    image.setDevicePixelRatio(ratio);
    return image;
}

bool closeColours(const QColor &a, const QColor &b, int tolerance)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
           && std::abs(a.blue() - b.blue()) <= tolerance
           && std::abs(a.alpha() - b.alpha()) <= tolerance;
}

std::pair<int, int> inkColumns(const QImage &image, int threshold)
{
    int first = -1;
    int last = -1;
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (qGray(image.pixel(x, y)) < threshold) {
                if (first < 0)
                    first = x;
                last = x;
                break;
            }
        }
    }
    return {first, last};
}
