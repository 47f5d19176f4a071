#include "KZTrayPanel.h"

#include "KZDiskMenuItemView.h"
#include "format/KZLocalizedStrings.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

namespace {
constexpr int kFrameMargin = 4;

// Wayland gives a popup only to a window of the application's own, and the tray icon is none:
// there the panel is a frameless tool window that closes when it loses the focus.
bool popupsNeedAParent()
{
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

Qt::WindowFlags panelFlags()
{
    if (popupsNeedAParent())
        return Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
    return Qt::Popup | Qt::FramelessWindowHint;
}
} // namespace

KZTrayPanel::KZTrayPanel(QWidget *parent)
    : QWidget(parent, panelFlags())
    , m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("KZTrayPanel"));
    setAttribute(Qt::WA_DeleteOnClose, false);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Window);
    setFocusPolicy(Qt::StrongFocus);
    m_layout->setContentsMargins(kFrameMargin, kFrameMargin, kFrameMargin, kFrameMargin);
    m_layout->setSpacing(0);
    m_layout->setSizeConstraint(QLayout::SetFixedSize);
}

KZTrayPanel::~KZTrayPanel() = default;

QList<KZDiskMenuItemView *> KZTrayPanel::rows() const
{
    QList<KZDiskMenuItemView *> rows;
    for (const QPointer<KZDiskMenuItemView> &row : m_rows)
        if (row)
            rows.append(row);
    return rows;
}

void KZTrayPanel::clearRows()
{
    // The rows may be the sender of the choice that led here: they go once it has returned.
    for (const QPointer<KZDiskMenuItemView> &row : std::as_const(m_rows))
        if (row) {
            m_layout->removeWidget(row);
            row->hide();
            row->disconnect(this);
            row->deleteLater();
        }
    m_rows.clear();
    if (m_noTrashLabel) {
        m_layout->removeWidget(m_noTrashLabel);
        m_noTrashLabel->deleteLater();
    }
}

void KZTrayPanel::showRows(const QList<KZTrashLocation> &records, bool isWorking,
                           const QRect &trayIconGeometry)
{
    clearRows();
    for (const KZTrashLocation &record : records) {
        auto *row = new KZDiskMenuItemView(record, !record.trashIsEmpty && !isWorking, this);
        // A copy: a listener may drop the rows, and the row's record with them.
        connect(row, &KZDiskMenuItemView::chosen, this, [this](KZTrashLocation chosen) {
            hide();
            emit rowChosen(chosen);
        });
        connect(row, &KZDiskMenuItemView::dismissed, this, &QWidget::hide);
        // A measured line may be wider than "Gathering information…".
        connect(row, &KZDiskMenuItemView::infoChanged, this, &KZTrayPanel::fitToRows);
        m_layout->addWidget(row);
        m_rows.append(row);
    }
    if (records.isEmpty()) {
        m_noTrashLabel = new QLabel(KZLocalizedString(QStringLiteral("No_trash")), this);
        // Dimmed as a row that cannot be chosen; the theme's disabled text is often too faint.
        m_noTrashLabel->setForegroundRole(QPalette::PlaceholderText);
        m_noTrashLabel->setContentsMargins(12, 8, 12, 8);
        m_noTrashLabel->setMinimumWidth(200);
        m_layout->addWidget(m_noTrashLabel);
    }
    for (KZDiskMenuItemView *row : rows())
        row->show();
    if (m_noTrashLabel)
        m_noTrashLabel->show();

    m_anchor = trayIconGeometry.isEmpty() ? QRect(QCursor::pos(), QSize(1, 1)) : trayIconGeometry;
    fitToRows();
    show();
    raise();
    activateWindow();
    // No row is highlighted until the mouse or the arrow keys go to one.
    setFocus(Qt::PopupFocusReason);
}

void KZTrayPanel::fitToRows()
{
    m_layout->activate();
    const QSize size = m_layout->totalSizeHint().expandedTo(minimumSizeHint());
    QScreen *screen = QGuiApplication::screenAt(m_anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect frame = placement(size, m_anchor, screen ? screen->availableGeometry() : QRect());
    setGeometry(frame);
}

QRect KZTrayPanel::placement(const QSize &size, const QRect &anchor, const QRect &available)
{
    if (available.isEmpty())
        return {anchor.bottomLeft() + QPoint(0, 1), size};
    QPoint origin;
    if (anchor.bottom() < available.top()) {
        // A panel along the top: the window hangs under the icon.
        origin = {anchor.left(), anchor.bottom() + 1};
    } else if (anchor.top() > available.bottom()) {
        origin = {anchor.left(), anchor.top() - size.height()};
    } else if (anchor.right() < available.left()) {
        origin = {anchor.right() + 1, anchor.top()};
    } else if (anchor.left() > available.right()) {
        origin = {anchor.left() - size.width(), anchor.top()};
    } else if (anchor.bottom() + size.height() <= available.bottom()) {
        // The icon (or the pointer) is on the free screen: below it when there is room.
        origin = {anchor.left(), anchor.bottom() + 1};
    } else {
        origin = {anchor.left(), anchor.top() - size.height()};
    }
    // A window larger than the screen keeps its top-left corner on it.
    origin.setX(qMax(available.left(), qMin(origin.x(), available.right() - size.width() + 1)));
    origin.setY(qMax(available.top(), qMin(origin.y(), available.bottom() - size.height() + 1)));
    return {origin, size};
}

void KZTrayPanel::moveSelection(int step)
{
    QList<KZDiskMenuItemView *> enabled;
    for (KZDiskMenuItemView *row : rows())
        if (row->isMenuItemEnabled())
            enabled.append(row);
    if (enabled.isEmpty())
        return;
    qsizetype current = -1;
    for (qsizetype i = 0; i < enabled.size(); ++i)
        if (enabled[i]->hasFocus() || (current < 0 && enabled[i]->isSelected()))
            current = i;
    qsizetype next = 0;
    if (current < 0)
        next = step > 0 ? 0 : enabled.size() - 1;
    else
        next = (current + step + enabled.size()) % enabled.size();
    enabled[next]->setFocus(step > 0 ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    enabled[next]->setIsSelected(true);
}

void KZTrayPanel::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Escape:
        hide();
        return;
    case Qt::Key_Down:
    case Qt::Key_Tab:
        moveSelection(1);
        return;
    case Qt::Key_Up:
    case Qt::Key_Backtab:
        moveSelection(-1);
        return;
    default:
        event->accept();
    }
}

void KZTrayPanel::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // A popup closes itself on a click elsewhere; the tool window does on losing the focus.
    if (event->type() == QEvent::ActivationChange && !(windowFlags() & Qt::Popup)
        && !isActiveWindow())
        hide();
}

void KZTrayPanel::paintEvent(QPaintEvent *event)
{
    QWidget::paintEvent(event);
    // A hairline edge so that the window stands apart from a document of the same colour.
    QPainter painter(this);
    const QPalette &colors = palette();
    const QColor window = colors.color(QPalette::Window);
    const QColor text = colors.color(QPalette::WindowText);
    QColor edge = QColor::fromRgbF(window.redF() * 0.7 + text.redF() * 0.3,
                                   window.greenF() * 0.7 + text.greenF() * 0.3,
                                   window.blueF() * 0.7 + text.blueF() * 0.3);
    painter.setPen(edge);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}
