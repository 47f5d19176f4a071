#pragma once

#include <QColor>
#include <QFont>
#include <QList>
#include <QPaintDevice>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <memory>

class QPaintEngine;

// What was painted: each piece of text with its baseline origin, font and colour, each image
// with its target rectangle and opacity, each filled shape with its bounds and fill.
// Coordinates are the painter's device coordinates.
struct KZPaintRecord
{
    struct Text
    {
        QString text;
        QPointF origin;
        QFont font;
        QColor color;
    };
    struct Image
    {
        QRectF target;
        qreal opacity = 1;
    };
    struct Shape
    {
        QRectF bounds;
        QColor fill;
    };

    QList<Text> texts;
    QList<Image> images;
    QList<Shape> shapes;
};

// A paint device that keeps what is painted on it instead of pixels.
class KZPaintRecorder : public QPaintDevice, public KZPaintRecord
{
public:
    explicit KZPaintRecorder(const QSize &size = QSize(800, 200));
    ~KZPaintRecorder() override;

    QPaintEngine *paintEngine() const override;

protected:
    int metric(PaintDeviceMetric metric) const override;

private:
    QSize m_size;
    std::unique_ptr<QPaintEngine> m_engine;
};
