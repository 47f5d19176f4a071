#include "KZSpinner.h"

#include <QPainter>
#include <QTimerEvent>

namespace {
constexpr int kSpokes = 12;
constexpr int kStepMs = 80;
} // namespace

KZSpinner::KZSpinner(QWidget *parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    QSizePolicy policy = sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    setSizePolicy(policy);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    updateVisibility();
}

void KZSpinner::setRunning(bool running)
{
    if (running == isRunning())
        return;
    if (running)
        m_timer.start(kStepMs, this);
    else
        m_timer.stop();
    updateVisibility();
    update();
}

void KZSpinner::setDisplayedWhenStopped(bool displayed)
{
    m_displayedWhenStopped = displayed;
    updateVisibility();
}

void KZSpinner::setDiameter(int diameter)
{
    m_diameter = qMax(8, diameter);
    updateGeometry();
    update();
}

QSize KZSpinner::sizeHint() const
{
    return {m_diameter, m_diameter};
}

void KZSpinner::updateVisibility()
{
    // Only a child is shown here: a spinner without a parent would become a window of its own.
    if (!isRunning() && !m_displayedWhenStopped)
        hide();
    else if (parentWidget())
        show();
}

void KZSpinner::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QWidget::timerEvent(event);
        return;
    }
    m_step = (m_step + 1) % kSpokes;
    update();
}

void KZSpinner::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(width(), height());
    const qreal outer = side / 2.0;
    const qreal inner = outer * 0.45;
    QPen pen(palette().color(QPalette::WindowText));
    pen.setWidthF(qMax(1.5, side / 9.0));
    pen.setCapStyle(Qt::RoundCap);
    painter.translate(width() / 2.0, height() / 2.0);
    QColor colour = pen.color();
    for (int i = 0; i < kSpokes; ++i) {
        // The spoke at the current step is the darkest; the ones behind it fade out.
        const int age = (m_step - i + kSpokes) % kSpokes;
        colour.setAlphaF(isRunning() ? 1.0 - 0.75 * age / (kSpokes - 1) : 0.35);
        pen.setColor(colour);
        painter.setPen(pen);
        painter.drawLine(QPointF(0, -inner), QPointF(0, -(outer - pen.widthF() / 2)));
        painter.rotate(360.0 / kSpokes);
    }
}
