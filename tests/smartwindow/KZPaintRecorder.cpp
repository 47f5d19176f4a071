#include "KZPaintRecorder.h"

#include <QPaintEngine>
#include <QPainterPath>
#include <QPixmap>
#include <QTransform>

namespace {

class RecordingEngine : public QPaintEngine
{
public:
    explicit RecordingEngine(KZPaintRecorder *recorder)
        : QPaintEngine(QPaintEngine::AllFeatures)
        , m_recorder(recorder)
    {}

    bool begin(QPaintDevice *) override { return true; }
    bool end() override { return true; }
    Type type() const override { return QPaintEngine::User; }

    void updateState(const QPaintEngineState &changes) override
    {
        if (changes.state() & QPaintEngine::DirtyPen)
            m_pen = changes.pen();
        if (changes.state() & QPaintEngine::DirtyBrush)
            m_brush = changes.brush();
        if (changes.state() & QPaintEngine::DirtyOpacity)
            m_opacity = changes.opacity();
        if (changes.state() & QPaintEngine::DirtyTransform)
            m_transform = changes.transform();
    }

    void drawTextItem(const QPointF &origin, const QTextItem &item) override
    {
        m_recorder->texts.append(
            {item.text(), m_transform.map(origin), item.font(), m_pen.color()});
    }
    void drawPixmap(const QRectF &target, const QPixmap &, const QRectF &) override
    {
        m_recorder->images.append({m_transform.mapRect(target), m_opacity});
    }
    void drawImage(const QRectF &target, const QImage &, const QRectF &,
                   Qt::ImageConversionFlags) override
    {
        m_recorder->images.append({m_transform.mapRect(target), m_opacity});
    }
    void drawPath(const QPainterPath &path) override
    {
        if (m_brush.style() != Qt::NoBrush)
            m_recorder->shapes.append({m_transform.map(path).boundingRect(), m_brush.color()});
    }

private:
    KZPaintRecorder *m_recorder;
    QPen m_pen;
    QBrush m_brush;
    qreal m_opacity = 1;
    QTransform m_transform;
};

} // namespace

KZPaintRecorder::KZPaintRecorder(const QSize &size)
    : m_size(size)
    , m_engine(std::make_unique<RecordingEngine>(this))
{}

KZPaintRecorder::~KZPaintRecorder() = default;

QPaintEngine *KZPaintRecorder::paintEngine() const
{
    return m_engine.get();
}

int KZPaintRecorder::metric(PaintDeviceMetric metric) const
{
    switch (metric) {
    case PdmWidth:
        return m_size.width();
    case PdmHeight:
        return m_size.height();
    case PdmDepth:
        return 32;
    case PdmDpiX:
    case PdmDpiY:
    case PdmPhysicalDpiX:
    case PdmPhysicalDpiY:
        return 96;
    case PdmDevicePixelRatioScaled:
        return int(devicePixelRatioFScale());
    default:
        return 1;
    }
}
