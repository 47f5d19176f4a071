#include "KZWaitingView.h"

#include <QPainter>
#include <QtMath>

namespace {
constexpr int kSpokes = 12;
constexpr qreal kRadius = 16;
} // namespace

KZWaitingView::KZWaitingView(QWidget *parent)
    : QWidget(parent)
{
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Window);
    m_timer.setInterval(80);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_step = (m_step + 1) % kSpokes;
        update();
    });
}

void KZWaitingView::startSpinning()
{
    m_timer.start();
    update();
}

void KZWaitingView::stopSpinning()
{
    m_timer.stop();
}

void KZWaitingView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(QRectF(rect()).center());
    QColor spoke = palette().color(QPalette::WindowText);
    for (int i = 0; i < kSpokes; ++i) {
        // The newest spoke is the darkest; the others fade behind it.
        const int age = (m_step - i + kSpokes) % kSpokes;
        spoke.setAlphaF(1.0f - 0.8f * float(age) / kSpokes);
        painter.setPen(QPen(spoke, 3, Qt::SolidLine, Qt::RoundCap));
        const qreal angle = 2 * M_PI * i / kSpokes;
        const QPointF direction(qSin(angle), -qCos(angle));
        painter.drawLine(direction * kRadius * 0.5, direction * kRadius);
    }
}
