#include "KZTraySpinner.h"

#include <QPainter>

namespace {
constexpr int kSpokes = 12;
} // namespace

KZTraySpinner::KZTraySpinner(QWidget *parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFixedSize(sizeHint());
    m_timer.setInterval(1000 / kSpokes);
    connect(&m_timer, &QTimer::timeout, this, &KZTraySpinner::advance);
}

void KZTraySpinner::startAnimation()
{
    m_animating = true;
    show();
    if (isVisible())
        m_timer.start();
}

void KZTraySpinner::stopAnimation()
{
    m_animating = false;
    m_timer.stop();
    hide();
}

void KZTraySpinner::setColor(const QColor &color)
{
    if (m_color == color)
        return;
    m_color = color;
    update();
}

void KZTraySpinner::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_animating)
        m_timer.start();
}

void KZTraySpinner::hideEvent(QHideEvent *event)
{
    // A closed panel keeps its rows for a moment; their wheels need not turn unseen.
    m_timer.stop();
    QWidget::hideEvent(event);
}

void KZTraySpinner::advance()
{
    m_step = (m_step + 1) % kSpokes;
    update();
}

void KZTraySpinner::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor base = m_color.isValid() ? m_color : palette().color(QPalette::WindowText);
    const qreal side = qMin(width(), height());
    const qreal outer = side / 2 - 1;
    const qreal inner = outer * 0.45;
    const qreal thickness = qMax<qreal>(1.5, side / 9);
    painter.translate(width() / 2.0, height() / 2.0);
    for (int i = 0; i < kSpokes; ++i) {
        // The spoke at the current step is the darkest; the ones behind it fade.
        const int age = (m_step - i + kSpokes) % kSpokes;
        QColor color = base;
        color.setAlphaF(base.alphaF() * (1.0 - 0.8 * age / (kSpokes - 1)));
        QPen pen(color, thickness, Qt::SolidLine, Qt::RoundCap);
        painter.setPen(pen);
        painter.save();
        painter.rotate(360.0 * i / kSpokes);
        painter.drawLine(QPointF(0, -inner), QPointF(0, -outer));
        painter.restore();
    }
}
