#include "KZSourceTableView.h"

#include "KZRowSelectionStyle.h"

#include <QHeaderView>
#include <QKeyEvent>

KZSourceTableView::KZSourceTableView(QWidget *parent)
    : QTableView(parent)
{
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setShowGrid(false);
    auto *style = new KZRowSelectionStyle();
    style->setParent(this);
    setStyle(style);
    setWordWrap(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    horizontalHeader()->hide();
    verticalHeader()->hide();
    // Every row has the volume cell's height; rows are never measured one by one.
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(48);
}

int KZSourceTableView::selectedRow() const
{
    const QModelIndexList rows
        = selectionModel() ? selectionModel()->selectedRows() : QModelIndexList();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void KZSourceTableView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && event->modifiers() == Qt::NoModifier) {
        emit quickLookRequested();
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}
