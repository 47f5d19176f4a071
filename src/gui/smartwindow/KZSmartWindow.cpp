#include "KZSmartWindow.h"

#include "KZLazyIconModel.h"
#include "KZPreviewWindow.h"
#include "KZSourceTableView.h"
#include "KZTrashedTableView.h"
#include "KZWaitingView.h"
#include "format/KZLocalizedStrings.h"
#include "gui/cells/KZImageAndTextCell.h"
#include "gui/cells/KZItemsImageAndTextCell.h"
#include "gui/cells/KZTUDateCell.h"
#include "gui/cells/KZTUTextCellRightJust.h"
#include "gui/cells/KZTextGraficCenterJust.h"
#include "presentation/KZItemDataRoles.h"
#include "presentation/KZSmartWindowCntrl.h"
#include "presentation/KZSourceListModel.h"
#include "presentation/KZTrashItemsModel.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeySequence>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

namespace {
// The buttons' strip along the bottom; the waiting view never covers it.
constexpr int kButtonStrip = 36;
constexpr int kWaitingDelayMilliseconds = 500;
} // namespace

KZSmartWindow::KZSmartWindow(KZSmartWindowCntrl *controller, QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::WindowStaysOnTopHint)
    , m_controller(controller)
{
    setWindowTitle(KZLocalizedString(QStringLiteral("selected")));
    resize(820, 480);
    setMinimumSize(560, 300);

    // ---- Source list -----------------------------------------------------------------------
    m_volumeIcons = new KZLazyIconModel(QSize(42, 42), KZSourceListModel::NameColumn, this);
    m_volumeIcons->setSourceModel(controller->sourceListModel());
    m_sourceList = new KZSourceTableView(this);
    m_sourceList->setModel(m_volumeIcons);
    auto *volumeCell = new KZImageAndTextCell(m_sourceList);
    volumeCell->setWriteSize(true);
    volumeCell->setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    m_sourceList->setItemDelegateForColumn(KZSourceListModel::NameColumn, volumeCell);
    auto *badge = new KZTextGraficCenterJust(m_sourceList);
    badge->setSelectionHighlightStyle(KZTextFieldCell::kSourceListHighlightStyle);
    m_sourceList->setItemDelegateForColumn(KZSourceListModel::CheckedCountColumn, badge);
    QHeaderView *sourceColumns = m_sourceList->horizontalHeader();
    sourceColumns->setSectionResizeMode(KZSourceListModel::CheckColumn, QHeaderView::Fixed);
    sourceColumns->setSectionResizeMode(KZSourceListModel::NameColumn, QHeaderView::Stretch);
    sourceColumns->setSectionResizeMode(KZSourceListModel::CheckedCountColumn, QHeaderView::Fixed);
    sourceColumns->resizeSection(KZSourceListModel::CheckColumn, 26);
    sourceColumns->resizeSection(KZSourceListModel::CheckedCountColumn, 112);
    sourceColumns->setMinimumSectionSize(20);

    // ---- Item list -------------------------------------------------------------------------
    m_itemIcons = new KZLazyIconModel(QSize(36, 36), KZTrashItemsModel::NameColumn, this);
    m_itemIcons->setSourceModel(controller->itemsModel());
    m_list = new KZTrashedTableView(controller, this);
    m_list->setModel(m_itemIcons);
    m_list->setItemDelegateForColumn(KZTrashItemsModel::NameColumn,
                                     new KZItemsImageAndTextCell(m_list));
    m_list->setItemDelegateForColumn(KZTrashItemsModel::SizeColumn,
                                     new KZTUTextCellRightJust(m_list));
    m_list->setItemDelegateForColumn(KZTrashItemsModel::AddedColumn, new KZTUDateCell(m_list));
    QHeaderView *columns = m_list->horizontalHeader();
    columns->setSectionResizeMode(KZTrashItemsModel::CheckColumn, QHeaderView::Fixed);
    columns->setSectionResizeMode(KZTrashItemsModel::NameColumn, QHeaderView::Stretch);
    columns->setMinimumSectionSize(20);
    columns->resizeSection(KZTrashItemsModel::CheckColumn, 26);
    columns->resizeSection(KZTrashItemsModel::SizeColumn, 90);
    columns->resizeSection(KZTrashItemsModel::AddedColumn, 180);
    columns->setSectionsClickable(true);
    columns->setSortIndicatorShown(true);
    columns->setHighlightSections(false);
    connect(columns, &QHeaderView::sectionClicked, this, &KZSmartWindow::headerClicked);
    showSortIndicator();

    m_splitter = new QSplitter(Qt::Horizontal, this);
    m_splitter->addWidget(m_sourceList);
    m_splitter->addWidget(m_list);
    m_splitter->setStretchFactor(0, 0);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({300, 520});
    m_splitter->setChildrenCollapsible(false);

    // ---- Buttons ---------------------------------------------------------------------------
    auto *buttons = new QWidget(this);
    buttons->setFixedHeight(kButtonStrip);
    auto *buttonRow = new QHBoxLayout(buttons);
    buttonRow->setContentsMargins(12, 0, 12, 0);
    m_cancelBtn = new QPushButton(KZLocalizedString(QStringLiteral("cancel")), buttons);
    m_eraseBtn = new QPushButton(KZLocalizedString(QStringLiteral("erase_checked")), buttons);
    m_eraseBtn->setDefault(true);
    m_eraseBtn->setEnabled(controller->isEraseEnabled());
    buttonRow->addStretch(1);
    buttonRow->addWidget(m_cancelBtn);
    buttonRow->addWidget(m_eraseBtn);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_splitter, 1);
    layout->addWidget(buttons);

    m_waitingView = new KZWaitingView(this);
    m_waitingView->hide();
    m_waitingTimer.setSingleShot(true);
    m_waitingTimer.setInterval(kWaitingDelayMilliseconds);
    connect(&m_waitingTimer, &QTimer::timeout, this, &KZSmartWindow::showWaitingView);

    // ---- Preview ---------------------------------------------------------------------------
    m_preview = new KZPreviewWindow(this);
    m_preview->setItemList(m_list, [](const QModelIndex &index) -> std::optional<KZPreviewItem> {
        const QUrl url = index.data(KZURLRole).toUrl();
        if (url.isEmpty())
            return std::nullopt;
        KZPreviewItem item{url, std::nullopt};
        const quint64 size = index.data(KZSizeRole).toULongLong();
        // A folder's 0 means "not measured yet".
        if (!index.data(KZIsDirectoryRole).toBool() || size > 0)
            item.size = size;
        return item;
    });
    connect(m_sourceList, &KZSourceTableView::quickLookRequested, m_preview,
            &KZPreviewWindow::quickLookAction);

    // ---- The controller --------------------------------------------------------------------
    connect(m_sourceList->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &KZSmartWindow::sourceSelectionChanged);
    connect(controller, &KZSmartWindowCntrl::selectedVolumeChanged, this,
            &KZSmartWindow::selectVolumeRow);
    connect(controller, &KZSmartWindowCntrl::showWindowRequested, this, &KZSmartWindow::showWindow);
    connect(controller, &KZSmartWindowCntrl::closeRequested, this, &QWidget::close);
    connect(controller, &KZSmartWindowCntrl::isGatheringChanged, this,
            &KZSmartWindow::setGathering);
    connect(controller, &KZSmartWindowCntrl::eraseEnabledChanged, m_eraseBtn,
            &QPushButton::setEnabled);
    connect(controller, &KZSmartWindowCntrl::isSortingChanged, this,
            &KZSmartWindow::showSortIndicator);
    // Escape is Cancel, as in any dialog: the window is closed without erasing.
    m_cancelBtn->setShortcut(QKeySequence(Qt::Key_Escape));
    connect(m_cancelBtn, &QPushButton::clicked, controller, &KZSmartWindowCntrl::cancelAction);
    connect(m_eraseBtn, &QPushButton::clicked, controller, &KZSmartWindowCntrl::eraseAction);
}

KZSmartWindow::~KZSmartWindow() = default;

void KZSmartWindow::showWindow()
{
    if (m_controller->isGathering())
        setGathering(true);
    show();
    raise();
    activateWindow();
}

void KZSmartWindow::setGathering(bool gathering)
{
    if (gathering) {
        if (!m_waitingTimer.isActive() && !m_waitingView->isVisible())
            m_waitingTimer.start();
        return;
    }
    m_waitingTimer.stop();
    m_waitingView->stopSpinning();
    m_waitingView->hide();
}

void KZSmartWindow::showWaitingView()
{
    if (!m_controller->isGathering())
        return;
    placeWaitingView();
    m_waitingView->show();
    m_waitingView->raise();
    m_waitingView->startSpinning();
}

void KZSmartWindow::placeWaitingView()
{
    m_waitingView->setGeometry(0, 0, width(), qMax(0, height() - kButtonStrip));
}

void KZSmartWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    placeWaitingView();
}

void KZSmartWindow::sourceSelectionChanged()
{
    if (m_selectingByProgram)
        return;
    const int row = m_sourceList->selectedRow();
    if (row != m_controller->selectedVolume() || row < 0)
        m_controller->updateSelection(row);
}

void KZSmartWindow::selectVolumeRow(int row)
{
    // The controller shows the volume already; the view only follows.
    m_selectingByProgram = true;
    QItemSelectionModel *selection = m_sourceList->selectionModel();
    const QModelIndex index = m_volumeIcons->index(row, KZSourceListModel::NameColumn);
    // An empty Trash's row cannot be selected by a click, but the first row is shown even so.
    selection->setCurrentIndex(index,
                               QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_selectingByProgram = false;
}

void KZSmartWindow::headerClicked(int column)
{
    if (column == KZTrashItemsModel::CheckColumn) {
        showSortIndicator();
        return;
    }
    const KZSortDescriptor current = m_controller->sortDescriptor();
    const int currentColumn
        = current.key == KZSortDescriptor::kSizeKey    ? KZTrashItemsModel::SizeColumn
          : current.key == KZSortDescriptor::kAddedKey ? KZTrashItemsModel::AddedColumn
                                                       : KZTrashItemsModel::NameColumn;
    // A second click on the sorted column turns the order round; another column starts
    // ascending.
    const Qt::SortOrder order
        = column == currentColumn && current.ascending ? Qt::DescendingOrder : Qt::AscendingOrder;
    m_controller->sortWithColumn(column, order);
    // Refused while a sort runs (the controller beeps): the indicator stays as it was.
    showSortIndicator();
}

void KZSmartWindow::showSortIndicator()
{
    const KZSortDescriptor current = m_controller->sortDescriptor();
    const int column = current.key == KZSortDescriptor::kSizeKey    ? KZTrashItemsModel::SizeColumn
                       : current.key == KZSortDescriptor::kAddedKey ? KZTrashItemsModel::AddedColumn
                                                                    : KZTrashItemsModel::NameColumn;
    m_list->horizontalHeader()->setSortIndicator(column, current.ascending ? Qt::AscendingOrder
                                                                           : Qt::DescendingOrder);
}

void KZSmartWindow::closeEvent(QCloseEvent *event)
{
    m_preview->orderOut();
    setGathering(false);
    m_controller->windowWillClose();
    QWidget::closeEvent(event);
}
