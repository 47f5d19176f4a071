#include "KZTrashedTableView.h"

#include "presentation/KZSmartWindowCntrl.h"
#include "presentation/KZTrashItemsModel.h"

#include "KZRowSelectionStyle.h"

#include <QHeaderView>
#include <QMouseEvent>

KZTrashedTableView::KZTrashedTableView(KZSmartWindowCntrl *controller, QWidget *parent)
    : QTableView(parent)
    , m_controller(controller)
{
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setShowGrid(false);
    auto *style = new KZRowSelectionStyle();
    style->setParent(this);
    setStyle(style);
    setWordWrap(false);
    setAlternatingRowColors(true);
    verticalHeader()->hide();
    // Rows are never measured one by one: a Trash may hold tens of thousands of items.
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(36);
}

bool KZTrashedTableView::isTickColumn(const QModelIndex &index) const
{
    return index.isValid() && index.column() == KZTrashItemsModel::CheckColumn;
}

void KZTrashedTableView::mousePressEvent(QMouseEvent *event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    m_tickPressed = QPersistentModelIndex();
    if (event->button() != Qt::LeftButton || !index.isValid()) {
        QTableView::mousePressEvent(event);
        return;
    }
    if (isTickColumn(index)) {
        // Ticked on release, like a button; the row's selection stays as it is.
        m_tickPressed = index;
        event->accept();
        return;
    }
    if (m_controller->itemsListShouldSelectRow(index.row(), index.column(), event->modifiers()))
        QTableView::mousePressEvent(event);
    else
        event->accept();
}

void KZTrashedTableView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_tickPressed.isValid()) {
        event->accept();
        return;
    }
    QTableView::mouseMoveEvent(event);
}

void KZTrashedTableView::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_tickPressed.isValid()) {
        QTableView::mouseReleaseEvent(event);
        return;
    }
    const QModelIndex index = indexAt(event->position().toPoint());
    const QPersistentModelIndex pressed = m_tickPressed;
    m_tickPressed = QPersistentModelIndex();
    event->accept();
    if (index != pressed)
        return;
    // Records the click; a tick box never selects its row.
    m_controller->itemsListShouldSelectRow(index.row(), index.column(), event->modifiers());
    m_controller->itemsModel()->setKeyboardModifiers(event->modifiers());
    const auto state = index.data(Qt::CheckStateRole).value<Qt::CheckState>();
    model()->setData(index, state == Qt::Checked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
    m_controller->itemsModel()->setKeyboardModifiers(Qt::NoModifier);
}

void KZTrashedTableView::mouseDoubleClickEvent(QMouseEvent *event)
{
    // The second click of a double click on a tick box is one more tick.
    if (isTickColumn(indexAt(event->position().toPoint()))) {
        mousePressEvent(event);
        return;
    }
    QTableView::mouseDoubleClickEvent(event);
}
