#include "KZSmartWindowTestSupport.h"

#include "KZGuiTestSupport.h"
#include "gui/smartwindow/KZLazyIconModel.h"
#include "gui/smartwindow/KZSmartWindow.h"
#include "gui/smartwindow/KZSourceTableView.h"
#include "gui/smartwindow/KZTrashedTableView.h"
#include "model/KZFilesUtilities.h"
#include "presentation/KZItemDataRoles.h"
#include "presentation/KZSmartWindowCntrl.h"
#include "presentation/KZTrashItemsModel.h"

#include <QAbstractItemView>
#include <QTest>

KZSmartWindowTest::KZSmartWindowTest()
{
    KZGuiTestSupport::applyPalette(false);
    KZSmartWindowCntrl::Environment environment;
    environment.engine = erase.engine.get();
    environment.maxGatherers = 2;
    cntrl = std::make_unique<KZSmartWindowCntrl>(nullptr, environment);
    window = std::make_unique<KZSmartWindow>(cntrl.get());
}

KZSmartWindowTest::~KZSmartWindowTest()
{
    window.reset();
    cntrl.reset();
}

KZTrashLocation KZSmartWindowTest::recordOf(const KZTestTrash &trash, const QString &volumeName)
{
    return trash.location(volumeName,
                          KZFilesUtilities::sharedControl().trashAtURLIsEmpty(trash.filesURL()));
}

void KZSmartWindowTest::open(const QList<KZTrashLocation> &records)
{
    cntrl->showWindowWithDict(records);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return !cntrl->isGathering() && !cntrl->isSorting() && cntrl->gatherersRunning() == 0;
        },
        30000));
    // Let the icons of the rows on show arrive, so pictures show them.
    QTest::qWait(50);
    window->itemIcons()->waitForLoads();
    QCoreApplication::processEvents();
}

int KZSmartWindowTest::rowNamed(const QByteArray &name) const
{
    for (int row = 0; row < cntrl->itemsCount(); ++row) {
        if (cntrl->itemAt(row)->name == QString::fromUtf8(name))
            return row;
    }
    return -1;
}

QList<QByteArray> KZSmartWindowTest::shownNames() const
{
    QList<QByteArray> names;
    const QAbstractItemModel *model = window->list()->model();
    for (int row = 0; row < model->rowCount(); ++row)
        names.append(model->index(row, KZTrashItemsModel::NameColumn).data().toString().toUtf8());
    return names;
}

QModelIndex KZSmartWindowTest::itemIndex(int row, int column) const
{
    return window->list()->model()->index(row, column);
}

void KZSmartWindowTest::click(QAbstractItemView *view, const QModelIndex &index,
                              Qt::KeyboardModifiers modifiers)
{
    view->scrollTo(index);
    const QPoint centre = view->visualRect(index).center();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, modifiers, centre);
}

void KZSmartWindowTest::clickItem(int row, int column, Qt::KeyboardModifiers modifiers)
{
    click(window->list(), itemIndex(row, column), modifiers);
}

void KZSmartWindowTest::clickVolume(int row, int column)
{
    QAbstractItemView *sources = window->sourceList();
    click(sources, sources->model()->index(row, column));
}

int KZSmartWindowTest::selectedItemRow() const
{
    const QModelIndexList rows = window->list()->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

bool KZSmartWindowTest::waitForSort() const
{
    return QTest::qWaitFor([&] { return !cntrl->isSorting(); }, 30000);
}
