#include "KZPreviewWindow.h"

#include "format/KZDateUtilities.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "model/KZFilesUtilities.h"
#include "model/KZPath.h"
#include "model/KZTrashInfo.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGridLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeDatabase>
#include <QPlainTextEdit>
#include <QPropertyAnimation>
#include <QScreen>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>

#include <sys/stat.h>

namespace {
constexpr int kZoomMilliseconds = 150;
constexpr int kWatchdogMilliseconds = 200;
constexpr QSize kRestingSize(560, 440);
constexpr int kIconPoints = 128;

QString kindNameForPath(const QByteArray &path, const struct stat &info)
{
    QMimeDatabase mimes;
    QString name;
    if (S_ISDIR(info.st_mode))
        return KZLocalizedString(QStringLiteral("Folder"));
    if (S_ISLNK(info.st_mode))
        name = QStringLiteral("inode/symlink");
    else if (S_ISFIFO(info.st_mode))
        name = QStringLiteral("inode/fifo");
    else if (S_ISCHR(info.st_mode))
        name = QStringLiteral("inode/chardevice");
    else if (S_ISBLK(info.st_mode))
        name = QStringLiteral("inode/blockdevice");
    else if (S_ISSOCK(info.st_mode))
        name = QStringLiteral("inode/socket");
    if (!name.isEmpty())
        return mimes.mimeTypeForName(name).comment();
    // By name only: the content was looked at already where it could be read safely.
    return mimes
        .mimeTypeForFile(QFileInfo(QFile::decodeName(path)).fileName(),
                         QMimeDatabase::MatchExtension)
        .comment();
}

QLabel *factLabel(QWidget *parent, Qt::Alignment alignment = Qt::AlignLeft)
{
    auto *label = new QLabel(parent);
    label->setAlignment(alignment | Qt::AlignVCenter);
    label->setTextInteractionFlags(Qt::NoTextInteraction);
    label->setWordWrap(true);
    return label;
}
} // namespace

KZPreviewWindow::KZPreviewWindow(QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::WindowStaysOnTopHint)
{
    setAttribute(Qt::WA_DeleteOnClose, false);
    setFocusPolicy(Qt::StrongFocus);
    // No minimum size: the window grows out of a 32-point icon.

    m_pages = new QStackedWidget(this);
    m_picture = new QLabel(m_pages);
    m_picture->setObjectName(QStringLiteral("picture"));
    m_picture->setAlignment(Qt::AlignCenter);
    m_picture->setBackgroundRole(QPalette::Base);
    m_picture->setAutoFillBackground(true);
    m_pages->addWidget(m_picture);

    m_text = new QPlainTextEdit(m_pages);
    m_text->setReadOnly(true);
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    // The window keeps the keys: the arrows go to the item list, not into the text.
    m_text->setFocusPolicy(Qt::NoFocus);
    m_text->setTextInteractionFlags(Qt::NoTextInteraction);
    m_pages->addWidget(m_text);

    m_facts = new QWidget(m_pages);
    auto *facts = new QGridLayout(m_facts);
    facts->setContentsMargins(24, 24, 24, 24);
    facts->setHorizontalSpacing(12);
    m_factsIcon = new QLabel(m_facts);
    m_factsIcon->setFixedSize(kIconPoints, kIconPoints);
    m_factsIcon->setAlignment(Qt::AlignCenter);
    m_factsName = factLabel(m_facts);
    QFont bold = m_factsName->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.2);
    m_factsName->setFont(bold);
    // Row 0 and row 6 take the spare height, so the facts sit in the middle.
    facts->addWidget(m_factsIcon, 1, 0, 5, 1, Qt::AlignTop);
    facts->addWidget(m_factsName, 1, 1, 1, 2);
    const QStringList captions{KZLocalizedString(QStringLiteral("preview_kind")),
                               KZLocalizedString(QStringLiteral("preview_size")),
                               KZLocalizedString(QStringLiteral("preview_where")),
                               KZLocalizedString(QStringLiteral("preview_added"))};
    QLabel **values[] = {&m_factsKind, &m_factsSize, &m_factsWhere, &m_factsAdded};
    for (int row = 0; row < captions.size(); ++row) {
        QLabel *caption = factLabel(m_facts, Qt::AlignRight);
        caption->setText(captions.at(row));
        caption->setForegroundRole(QPalette::PlaceholderText);
        caption->setWordWrap(false);
        *values[row] = factLabel(m_facts);
        facts->addWidget(caption, row + 2, 1, Qt::AlignTop | Qt::AlignRight);
        facts->addWidget(*values[row], row + 2, 2, Qt::AlignTop);
    }
    facts->setColumnStretch(2, 1);
    facts->setRowStretch(0, 1);
    facts->setRowStretch(6, 1);
    m_pages->addWidget(m_facts);

    m_footer = new QLabel(this);
    m_footer->setContentsMargins(8, 4, 8, 6);
    m_footer->setForegroundRole(QPalette::PlaceholderText);
    m_footer->setTextInteractionFlags(Qt::NoTextInteraction);

    auto *layout = new QVBoxLayout(this);
    // The contents must not hold the window larger than the icon it grows out of.
    layout->setSizeConstraint(QLayout::SetNoConstraint);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_footer);

    m_zoom = new QPropertyAnimation(this, "geometry", this);
    m_zoom->setDuration(kZoomMilliseconds);
    m_zoom->setEasingCurve(QEasingCurve::OutCubic);

    m_watchdog.setInterval(kWatchdogMilliseconds);
    connect(&m_watchdog, &QTimer::timeout, this, &KZPreviewWindow::checkForUnselected);
}

KZPreviewWindow::~KZPreviewWindow() = default;

bool KZPreviewWindow::isZooming() const
{
    return m_zoom->state() == QAbstractAnimation::Running;
}

void KZPreviewWindow::setItemList(QAbstractItemView *list, ItemForIndex itemForIndex)
{
    if (m_list)
        m_list->removeEventFilter(this);
    m_list = list;
    m_itemForIndex = std::move(itemForIndex);
    if (!list)
        return;
    list->installEventFilter(this);
    if (QItemSelectionModel *selection = list->selectionModel())
        connect(selection, &QItemSelectionModel::selectionChanged, this,
                &KZPreviewWindow::showPreviewWithQuickLook);
}

void KZPreviewWindow::addSpaceBarSource(QWidget *widget)
{
    widget->installEventFilter(this);
}

std::optional<KZPreviewItem> KZPreviewWindow::selectedObjects() const
{
    if (!m_list || !m_list->selectionModel() || !m_itemForIndex)
        return std::nullopt;
    const QModelIndexList rows = m_list->selectionModel()->selectedRows();
    if (rows.isEmpty())
        return std::nullopt;
    // Only one item is ever previewed: the first selected row.
    return m_itemForIndex(rows.first());
}

void KZPreviewWindow::quickLookAction()
{
    if (m_open) {
        closeInto(rectOfItem());
        return;
    }
    const std::optional<KZPreviewItem> item = selectedObjects();
    if (!item) {
        QApplication::beep();
        return;
    }
    m_watchdog.start();
    showItem(*item);
    openFrom(rectOfItem());
}

void KZPreviewWindow::orderOut()
{
    if (m_open && m_zoom->state() != QAbstractAnimation::Running && isVisible())
        m_lastGeometry = geometry();
    m_open = false;
    m_zoom->stop();
    m_watchdog.stop();
    hide();
}

void KZPreviewWindow::showPreviewWithQuickLook()
{
    if (!m_open)
        return;
    // Without a selection the watchdog closes the window at its next tick.
    if (const std::optional<KZPreviewItem> item = selectedObjects())
        showItem(*item);
}

void KZPreviewWindow::checkForUnselected()
{
    if (!m_open) {
        m_watchdog.stop();
        return;
    }
    if (!selectedObjects()) {
        // Nothing to shrink into: the window goes at once.
        closeInto({});
        m_watchdog.stop();
    }
}

QRect KZPreviewWindow::rectOfItem() const
{
    if (!m_list || !m_list->selectionModel())
        return {};
    const QModelIndexList rows = m_list->selectionModel()->selectedRows();
    if (rows.isEmpty())
        return {};
    const QRect row = m_list->visualRect(rows.first().siblingAtColumn(0));
    if (!row.isValid())
        return {};
    // The icon begins after the tick column; the rectangle hangs from the row's top edge.
    int checkWidth = 0;
    if (const auto *table = qobject_cast<const QTableView *>(m_list.data()))
        checkWidth = table->columnWidth(0);
    const QPoint topLeft = m_list->viewport()->mapToGlobal(QPoint(checkWidth, row.top()));
    return {topLeft, QSize(32, 32)};
}

void KZPreviewWindow::showItem(const KZPreviewItem &item)
{
    m_shownURL = item.itemURL;
    const QByteArray path = QFile::encodeName(item.itemURL.toLocalFile());
    struct stat info
    {
    };
    const bool exists = ::lstat(path.constData(), &info) == 0;
    const QString name = QFileInfo(item.itemURL.toLocalFile()).fileName();
    setWindowTitle(name);

    const QSize room = (m_lastGeometry ? m_lastGeometry->size() : kRestingSize)
                       - QSize(0, m_footer->sizeHint().height());
    const KZPreviewContent content
        = exists && S_ISREG(info.st_mode)
              ? KZPreviewContent::load(item.itemURL, room, devicePixelRatio())
              : KZPreviewContent();
    const QString kindName = exists ? kindNameForPath(path, info) : QString();
    m_shownKind = content.kind();

    std::optional<quint64> size = item.size;
    if (!size && exists && !S_ISDIR(info.st_mode))
        size = quint64(info.st_size);
    const QString sizeText
        = size ? KZNumberUtilities::sharedControl().sizeToFormatString(*size, 4, true)
               : QStringLiteral("—");

    switch (content.kind()) {
    case KZPreviewContent::Kind::Image:
    case KZPreviewContent::Kind::Pdf: {
        // The image carries its pixel ratio; the pixmap keeps it.
        const QPixmap picture = QPixmap::fromImage(content.image());
        m_picture->setPixmap(picture);
        m_pages->setCurrentWidget(m_picture);
        m_footer->setText(QStringLiteral("%1 — %2, %3").arg(name, kindName, sizeText));
        m_footer->show();
        break;
    }
    case KZPreviewContent::Kind::Text:
        m_text->setPlainText(content.text());
        m_pages->setCurrentWidget(m_text);
        m_footer->setText(
            content.isTruncated()
                ? KZLocalizedFormat(QStringLiteral("preview_text_start"), {name, sizeText})
                : QStringLiteral("%1 — %2, %3").arg(name, kindName, sizeText));
        m_footer->show();
        break;
    case KZPreviewContent::Kind::Facts:
        m_factsSize->setText(sizeText);
        showFacts(item, kindName);
        m_footer->hide();
        break;
    }
}

void KZPreviewWindow::showFacts(const KZPreviewItem &item, const QString &kindName)
{
    const QByteArray path = QFile::encodeName(item.itemURL.toLocalFile());
    const QSize devicePixels = QSize(kIconPoints, kIconPoints) * devicePixelRatio();
    QImage icon = KZFilesUtilities::iconOfItem(path, item.itemURL, devicePixels);
    QPixmap pixmap = QPixmap::fromImage(icon);
    if (!pixmap.isNull()) {
        pixmap = pixmap.scaled(devicePixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        pixmap.setDevicePixelRatio(devicePixelRatio());
    }
    m_factsIcon->setPixmap(pixmap);
    m_factsName->setText(QFileInfo(item.itemURL.toLocalFile()).fileName());
    m_factsKind->setText(kindName.isEmpty() ? QStringLiteral("—") : kindName);

    const std::optional<KZTrashInfo> trashInfo = KZTrashInfo::readForItem(item.itemURL);
    m_factsWhere->setText(trashInfo && !trashInfo->originalPath.isEmpty()
                              ? KZPath::displayString(trashInfo->originalPath)
                              : QStringLiteral("—"));
    m_factsAdded->setText(trashInfo && trashInfo->deletionDate
                              ? KZDateUtilities::sharedControl().stringWithSeconds(
                                  *trashInfo->deletionDate, 4, true, true)
                              : QStringLiteral("—"));
    m_pages->setCurrentWidget(m_facts);
}

QRect KZPreviewWindow::restingGeometry() const
{
    if (m_lastGeometry)
        return *m_lastGeometry;
    QRect area;
    if (QWidget *owner = parentWidget())
        area = owner->window()->frameGeometry();
    else if (QScreen *screen = QApplication::primaryScreen())
        area = screen->availableGeometry();
    QRect resting(QPoint(), kRestingSize);
    resting.moveCenter(area.center());
    if (QScreen *screen = QApplication::screenAt(area.center())) {
        const QRect available = screen->availableGeometry();
        resting.moveLeft(qBound(available.left(), resting.left(),
                                qMax(available.left(), available.right() - resting.width())));
        resting.moveTop(qBound(available.top(), resting.top(),
                               qMax(available.top(), available.bottom() - resting.height())));
    }
    return resting;
}

void KZPreviewWindow::openFrom(const QRect &iconRect)
{
    m_open = true;
    m_zoom->stop();
    disconnect(m_zoom, &QPropertyAnimation::finished, this, nullptr);
    const QRect resting = restingGeometry();
    if (iconRect.isValid() && !isVisible()) {
        setGeometry(iconRect);
        m_zoom->setStartValue(iconRect);
        m_zoom->setEndValue(resting);
        show();
        m_zoom->start();
    } else {
        setGeometry(resting);
        show();
    }
    raise();
    activateWindow();
    setFocus(Qt::ActiveWindowFocusReason);
}

void KZPreviewWindow::closeInto(const QRect &iconRect)
{
    if (!m_open)
        return;
    m_open = false;
    if (m_zoom->state() != QAbstractAnimation::Running && isVisible())
        m_lastGeometry = geometry();
    m_zoom->stop();
    disconnect(m_zoom, &QPropertyAnimation::finished, this, nullptr);
    // Hand the keys back to the window the preview came from.
    QWidget *owner = m_list ? m_list->window() : parentWidget();
    if (!iconRect.isValid() || !isVisible()) {
        hide();
    } else {
        m_zoom->setStartValue(geometry());
        m_zoom->setEndValue(iconRect);
        connect(m_zoom, &QPropertyAnimation::finished, this, [this] {
            if (!m_open)
                hide();
        });
        m_zoom->start();
    }
    if (owner) {
        owner->activateWindow();
        if (m_list)
            m_list->setFocus(Qt::ActiveWindowFocusReason);
    }
}

void KZPreviewWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && event->modifiers() == Qt::NoModifier) {
        quickLookAction();
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        closeInto(rectOfItem());
        return;
    }
    if (m_list) {
        // The item list moves its selection as if it had the keys; the preview follows.
        QKeyEvent copy(event->type(), event->key(), event->modifiers(), event->text(),
                       event->isAutoRepeat(), ushort(event->count()));
        QCoreApplication::sendEvent(m_list, &copy);
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

bool KZPreviewWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Space && key->modifiers() == Qt::NoModifier) {
            quickLookAction();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void KZPreviewWindow::closeEvent(QCloseEvent *event)
{
    // Closed by the window manager: a plain close, remembered like any other.
    if (m_open) {
        m_open = false;
        m_lastGeometry = geometry();
    }
    m_watchdog.stop();
    QWidget::closeEvent(event);
}
