#include "KZCellTestSupport.h"

#include "gui/cells/KZTextFieldCell.h"

#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>
#include <QStandardItemModel>
#include <QStyleOptionViewItem>

namespace {

// Records into record, reading pen, brush, opacity and transform from the painter's state.
class RecordingEngine : public QPaintEngine
{
public:
    explicit RecordingEngine(KZPaintRecord *record)
        : QPaintEngine(QPaintEngine::AllFeatures)
        , m_record(record)
    {}

    bool begin(QPaintDevice *) override { return true; }
    bool end() override { return true; }
    Type type() const override { return QPaintEngine::User; }
    void updateState(const QPaintEngineState &) override {}

    void drawTextItem(const QPointF &origin, const QTextItem &item) override
    {
        m_record->texts.append(
            {item.text(), state->transform().map(origin), item.font(), state->pen().color()});
    }
    void drawPixmap(const QRectF &target, const QPixmap &, const QRectF &) override
    {
        m_record->images.append({state->transform().mapRect(target), state->opacity()});
    }
    void drawPath(const QPainterPath &path) override
    {
        if (state->brush().style() != Qt::NoBrush)
            m_record->shapes.append(
                {state->transform().map(path).boundingRect(), state->brush().color()});
    }

private:
    KZPaintRecord *m_record;
};

// An image that keeps what is painted on it instead of pixels; the image gives the painter its
// size and resolution.
class Recorder : public QImage
{
public:
    Recorder()
        : QImage(800, 200, QImage::Format_ARGB32_Premultiplied)
    {}
    QPaintEngine *paintEngine() const override { return &m_engine; }
    KZPaintRecord record;

private:
    mutable RecordingEngine m_engine{&record};
};

} // namespace

KZPaintRecord drawn(const KZTextFieldCell &cell, const QRectF &frame)
{
    Recorder device;
    QPainter painter(&device);
    cell.drawWithFrame(&painter, frame);
    return device.record;
}

KZPaintRecord painted(const KZTextFieldCell &cell, const QMap<int, QVariant> &roles,
                      const QRect &rect, bool selected, bool windowActive, const QPalette &palette)
{
    QStandardItemModel model(1, 1);
    model.setItemData(model.index(0, 0), roles);
    QStyleOptionViewItem option;
    option.rect = rect;
    option.palette = palette;
    option.state = QStyle::State_Enabled;
    option.state.setFlag(QStyle::State_Selected, selected);
    option.state.setFlag(QStyle::State_Active, windowActive);
    Recorder device;
    QPainter painter(&device);
    cell.paint(&painter, option, model.index(0, 0));
    return device.record;
}

QImage solidImage(int side, const QColor &colour)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}
