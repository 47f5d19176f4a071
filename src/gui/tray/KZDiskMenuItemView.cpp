#include "KZDiskMenuItemView.h"

#include "KZTraySpinner.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "model/KZFilesUtilities.h"
#include "presentation/KZTrashSizeQueue.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPointer>
#include <QtMath>

namespace {
// Logical pixels, so that a row at 200 % looks like one at 100 %.
constexpr int kIconSide = 48;
constexpr int kLeftMargin = 8;
constexpr int kIconGap = 10;
constexpr int kRightMargin = 14;
constexpr int kVerticalMargin = 4;
constexpr int kLineGap = 2;
constexpr int kSpinnerGap = 6;
constexpr int kMinimumWidth = 240;
constexpr int kMaximumWidth = 460;
constexpr int kTextLeft = kLeftMargin + kIconSide + kIconGap;

QColor blend(const QColor &a, const QColor &b, qreal amountOfB)
{
    return QColor::fromRgbF(a.redF() * (1 - amountOfB) + b.redF() * amountOfB,
                            a.greenF() * (1 - amountOfB) + b.greenF() * amountOfB,
                            a.blueF() * (1 - amountOfB) + b.blueF() * amountOfB,
                            a.alphaF() * (1 - amountOfB) + b.alphaF() * amountOfB);
}
} // namespace

KZDiskMenuItemView::KZDiskMenuItemView(const KZTrashLocation &diskDict, bool enabled,
                                       QWidget *parent)
    : QWidget(parent)
    , m_diskDict(diskDict)
    , m_spinner(new KZTraySpinner(this))
    , m_enabled(enabled)
{
    // Only a row that can be chosen takes the keyboard; up and down skip the dimmed ones.
    setFocusPolicy(enabled ? Qt::StrongFocus : Qt::NoFocus);
    setAttribute(Qt::WA_Hover);
    m_spinner->hide();
    m_blinkTimer.setInterval(kBlinkIntervalMs);
    connect(&m_blinkTimer, &QTimer::timeout, this, &KZDiskMenuItemView::animateDismiss);
    setAccessibleName(firstLine());
    setAccessibleDescription(secondLine());
    updateColors();
}

KZDiskMenuItemView::~KZDiskMenuItemView() = default;

QString KZDiskMenuItemView::firstLine() const
{
    return m_diskDict.volumeName + QChar(0x2026);
}

QString KZDiskMenuItemView::secondLine() const
{
    // A dimmed row always reads as empty, also when it is dimmed because an erase runs.
    if (!m_enabled)
        return KZLocalizedString(QStringLiteral("Trash_empty"));
    if (!m_info.isNull())
        return m_info;
    return KZLocalizedString(QStringLiteral("Gathering_info"));
}

void KZDiskMenuItemView::setInfo(const QString &info)
{
    if (m_info == info && m_info.isNull() == info.isNull())
        return;
    m_info = info;
    if (showsSpinner() && isVisible())
        m_spinner->startAnimation();
    else if (!showsSpinner())
        m_spinner->stopAnimation();
    setAccessibleDescription(secondLine());
    layoutSpinner();
    updateGeometry();
    update();
    emit infoChanged(m_info);
}

void KZDiskMenuItemView::setIsSelected(bool selected)
{
    if (m_isSelected == selected)
        return;
    m_isSelected = selected;
    updateColors();
    update();
    emit isSelectedChanged(m_isSelected);
}

QColor KZDiskMenuItemView::diskNameTxtColor() const
{
    const QPalette &colors = palette();
    if (m_enabled)
        return colors.color(QPalette::Active, QPalette::WindowText);
    return colors.color(QPalette::Active, QPalette::PlaceholderText);
}

QColor KZDiskMenuItemView::subNameTxtColor() const
{
    const QPalette &colors = palette();
    const QColor secondary = colors.color(QPalette::Active, QPalette::PlaceholderText);
    if (m_enabled)
        return secondary;
    // The faintest text of the theme, but many themes make disabled text hardly readable on
    // the window: it stays at least half as far from the window as the second line is.
    const QColor window = colors.color(QPalette::Active, QPalette::Window);
    const QColor disabled = colors.color(QPalette::Disabled, QPalette::WindowText);
    const auto distance = [&window](const QColor &color) {
        return qAbs(color.lightnessF() - window.lightnessF()) * color.alphaF();
    };
    if (distance(disabled) >= 0.5 * distance(secondary))
        return disabled;
    return blend(secondary, window, 0.4);
}

QFont KZDiskMenuItemView::subNameFont() const
{
    QFont smaller = font();
    if (smaller.pointSizeF() > 0)
        smaller.setPointSizeF(smaller.pointSizeF() * 0.85);
    else
        smaller.setPixelSize(qMax(1, qRound(smaller.pixelSize() * 0.85)));
    return smaller;
}

void KZDiskMenuItemView::updateColors()
{
    m_spinner->setColor(m_isSelected ? palette().color(QPalette::Active, QPalette::HighlightedText)
                                     : subNameTxtColor());
}

QSize KZDiskMenuItemView::sizeHint() const
{
    const QFontMetrics nameMetrics(font());
    const QFontMetrics subMetrics(subNameFont());
    int subWidth = subMetrics.horizontalAdvance(secondLine());
    if (showsSpinner())
        subWidth += kSpinnerGap + m_spinner->sizeHint().width();
    const int textWidth = qMax(nameMetrics.horizontalAdvance(firstLine()), subWidth);
    const int width = qBound(kMinimumWidth, kTextLeft + textWidth + kRightMargin, kMaximumWidth);
    const int textHeight = nameMetrics.height() + kLineGap + subMetrics.height();
    return {width, qMax(kIconSide, textHeight) + 2 * kVerticalMargin};
}

QRect KZDiskMenuItemView::secondLineRect() const
{
    const QFontMetrics nameMetrics(font());
    const QFontMetrics subMetrics(subNameFont());
    const int block = nameMetrics.height() + kLineGap + subMetrics.height();
    const int top = (height() - block) / 2 + nameMetrics.height() + kLineGap;
    return {kTextLeft, top, qMax(0, width() - kTextLeft - kRightMargin), subMetrics.height()};
}

void KZDiskMenuItemView::layoutSpinner()
{
    const QRect line = secondLineRect();
    const QSize side = m_spinner->sizeHint();
    const int textWidth = QFontMetrics(subNameFont()).horizontalAdvance(secondLine());
    const int x = qMin(line.left() + textWidth + kSpinnerGap, line.right() - side.width() + 1);
    m_spinner->move(qMax(line.left(), x), line.center().y() - side.height() / 2 + 1);
}

void KZDiskMenuItemView::viewWillDraw()
{
    if (!showsSpinner())
        return;
    m_spinner->startAnimation();
    if (!m_sizeIsWorking)
        measure();
}

void KZDiskMenuItemView::measure()
{
    m_sizeIsWorking = true;
    // The row is the measurement's context: a row closed before its Trash is measured hears
    // nothing back.
    KZTrashSizeQueue::sharedControl().measure(
        m_diskDict, this, [this](quint64 itemsSize, quint64 itemsCount) {
            const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
            const QString format
                = itemsCount == 1 ? QStringLiteral("item_size") : QStringLiteral("items_size");
            m_diskDict.itemsSize = itemsSize;
            m_diskDict.itemsCount = itemsCount;
            setInfo(KZLocalizedFormat(format, {numbers.numberToFormatString(double(itemsCount)),
                                               numbers.sizeToFormatString(itemsSize, 4, true)}));
        });
}

void KZDiskMenuItemView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    layoutSpinner();
    viewWillDraw();
}

void KZDiskMenuItemView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutSpinner();
}

void KZDiskMenuItemView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        updateColors();
        layoutSpinner();
        updateGeometry();
        update();
    }
}

QImage KZDiskMenuItemView::volumeIcon(qreal ratio)
{
    // The icon comes at the screen's pixel ratio; a move to a screen of another ratio asks
    // again rather than stretch it.
    if (m_icon.isNull() || !qFuzzyCompare(m_iconRatio, ratio)) {
        // Asked for in device pixels: a theme that has the drive only at 512 px then gives a
        // sharp 96 px image at 200 % instead of a 48 px one stretched.
        const int side = qCeil(kIconSide * ratio);
        m_icon = KZFilesUtilities::iconOfItem({}, m_diskDict.volumeURL, QSize(side, side));
        m_iconRatio = ratio;
    }
    return m_icon;
}

void KZDiskMenuItemView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QPalette &colors = palette();
    if (m_isSelected)
        painter.fillRect(rect(), colors.color(QPalette::Active, QPalette::Highlight));

    const QImage icon = volumeIcon(devicePixelRatioF());
    if (!icon.isNull()) {
        painter.save();
        painter.setOpacity(m_enabled ? 1.0 : 0.5);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(QRectF(kLeftMargin, (height() - kIconSide) / 2.0, kIconSide, kIconSide),
                          icon);
        painter.restore();
    }

    const QColor selectedText = colors.color(QPalette::Active, QPalette::HighlightedText);
    const QRect subLine = secondLineRect();
    const QFontMetrics nameMetrics(font());
    const QRect nameLine(kTextLeft, subLine.top() - kLineGap - nameMetrics.height(),
                         subLine.width(), nameMetrics.height());
    painter.setFont(font());
    painter.setPen(m_isSelected ? selectedText : diskNameTxtColor());
    painter.drawText(nameLine, Qt::AlignLeft | Qt::AlignVCenter,
                     nameMetrics.elidedText(firstLine(), Qt::ElideRight, nameLine.width()));

    const QFont subFont = subNameFont();
    const QFontMetrics subMetrics(subFont);
    int subWidth = subLine.width();
    if (showsSpinner())
        subWidth -= kSpinnerGap + m_spinner->width();
    painter.setFont(subFont);
    painter.setPen(m_isSelected ? selectedText : subNameTxtColor());
    painter.drawText(QRect(subLine.topLeft(), QSize(qMax(0, subWidth), subLine.height())),
                     Qt::AlignLeft | Qt::AlignVCenter,
                     subMetrics.elidedText(secondLine(), Qt::ElideRight, qMax(0, subWidth)));
}

void KZDiskMenuItemView::enterEvent(QEnterEvent *event)
{
    QWidget::enterEvent(event);
    if (isBlinking())
        return;
    setIsSelected(m_enabled);
    // The keyboard carries on from the row under the mouse, as in a menu.
    if (m_enabled)
        setFocus(Qt::MouseFocusReason);
}

void KZDiskMenuItemView::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    if (!isBlinking())
        setIsSelected(false);
}

void KZDiskMenuItemView::mousePressEvent(QMouseEvent *event)
{
    m_pressed = true;
    event->accept();
}

void KZDiskMenuItemView::mouseReleaseEvent(QMouseEvent *event)
{
    const bool wasPressed = std::exchange(m_pressed, false);
    event->accept();
    if (wasPressed && rect().contains(event->position().toPoint()))
        choosenItemAction();
}

void KZDiskMenuItemView::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        if (event->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier)) {
            event->ignore();
            return;
        }
        choosenItemAction();
        event->accept();
        return;
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Escape:
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        // Moving between rows and closing are the panel's.
        event->ignore();
        return;
    default:
        // Typing does nothing on a row; it must not reach anything that would act on it.
        event->accept();
        return;
    }
}

void KZDiskMenuItemView::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    if (isBlinking())
        return;
    // One highlighted row at a time: the one the keyboard is on.
    if (parentWidget())
        for (KZDiskMenuItemView *row :
             parentWidget()->findChildren<KZDiskMenuItemView *>(Qt::FindDirectChildrenOnly))
            if (row != this && !row->isBlinking())
                row->setIsSelected(false);
    setIsSelected(m_enabled);
}

void KZDiskMenuItemView::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    if (!isBlinking() && !underMouse())
        setIsSelected(false);
}

void KZDiskMenuItemView::choosenItemAction()
{
    if (!m_enabled) {
        emit dismissed();
        return;
    }
    // A second click or key while the row blinks is the same choice, not another one.
    if (m_choosing)
        return;
    m_choosing = true;
    m_fireTimes = 0;
    setIsSelected(!m_isSelected);
    m_blinkTimer.start();
}

void KZDiskMenuItemView::animateDismiss()
{
    if (m_fireTimes <= 2) {
        setIsSelected(!m_isSelected);
        ++m_fireTimes;
        return;
    }
    m_blinkTimer.stop();
    ++m_fireTimes;
    // From the event loop rather than from inside the timer's signal: whoever hears the choice
    // may close the panel and delete the row with its timer.
    QTimer::singleShot(0, this, &KZDiskMenuItemView::sendAction);
}

void KZDiskMenuItemView::sendAction()
{
    m_choosing = false;
    // Whoever hears this may close the panel and drop the row; nothing of it is read after.
    emit chosen(m_diskDict);
}
