#pragma once

#include "../../erase/KZEraseTestSupport.h"
#include "model/KZTrashLocation.h"

#include <gtest/gtest.h>

#include <QModelIndex>
#include <QPoint>

#include <memory>

class KZSmartWindow;
class KZSmartWindowCntrl;
class QAbstractItemView;

// A sandboxed home with its Trash, a real engine that asks a scripted user, the controller
// over it, and the window on the private X server.
class KZSmartWindowTest : public ::testing::Test
{
protected:
    KZSmartWindowTest();
    ~KZSmartWindowTest() override;

    // The location record of a Trash named as its volume.
    static KZTrashLocation recordOf(const KZTestTrash &trash, const QString &volumeName);
    // Opens the window on records and waits until it is on screen with the first volume's
    // items listed, sorted and measured.
    void open(const QList<KZTrashLocation> &records);
    // The item list's row showing the item of that name; -1 when none does.
    [[nodiscard]] int rowNamed(const QByteArray &name) const;
    [[nodiscard]] QList<QByteArray> shownNames() const;
    [[nodiscard]] QModelIndex itemIndex(int row, int column) const;
    // A click with the left button in the middle of a cell of view.
    static void click(QAbstractItemView *view, const QModelIndex &index,
                      Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // A click in the item list's cell.
    void clickItem(int row, int column, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void clickVolume(int row, int column);
    [[nodiscard]] int selectedItemRow() const;
    // Waits until no sort runs.
    [[nodiscard]] bool waitForSort() const;

    KZEraseFixture erase;
    KZTestTrash &trash = erase.trash;
    std::unique_ptr<KZSmartWindowCntrl> cntrl;
    std::unique_ptr<KZSmartWindow> window;
};
