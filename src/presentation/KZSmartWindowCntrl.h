#pragma once

#include "erase/KZJobState.h"
#include "model/KZTrashLocation.h"
#include "presentation/KZTrashTree.h"

#include <QList>
#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class KZDeleteItems;
class KZSourceListModel;
class KZTrashItemsModel;

// The smart-delete window's controller, without the window: the Trash tree of every volume,
// built in the background and measured by gatherers on a bounded pool of its own; the tick
// states; the source list and item list models; sorting on a worker thread; and the erase of
// the ticked items. The window shows the two models, forwards clicks and ticks here, and
// calls windowWillClose() when it closes. Main thread, except where noted.
class KZSmartWindowCntrl : public QObject
{
    Q_OBJECT

public:
    struct Environment
    {
        // The erase engine; the shared one when null.
        KZDeleteItems *engine = nullptr;
        // Sounds the beep; when empty, the engine's presenter backend beeps.
        std::function<void()> beep;
        // Folder gatherers running at once; 0 means the machine's ideal thread count (at
        // least 2).
        int maxGatherers = 0;
    };

    // delegate: the application controller that opens the window (kept, not owned).
    explicit KZSmartWindowCntrl(QObject *delegate = nullptr, QObject *parent = nullptr);
    KZSmartWindowCntrl(QObject *delegate, Environment environment, QObject *parent = nullptr);
    // Stops and waits for every worker of the window.
    ~KZSmartWindowCntrl() override;

    [[nodiscard]] KZSourceListModel *sourceListModel() const { return m_sourceListModel; }
    [[nodiscard]] KZTrashItemsModel *itemsModel() const { return m_itemsModel; }
    [[nodiscard]] QObject *delegate() const { return m_delegate; }

    // ---- The window -----------------------------------------------------------------------

    // Opens the window on the Trashes of records: when it is not open, starts building the
    // tree in the background (isGatheringChanged(true), then the models fill, row 0 is shown
    // and isGatheringChanged(false)); in every case emits showWindowRequested() so the window
    // comes to the front. While open, nothing is rebuilt: ticks and sizes stay.
    void showWindowWithDict(const QList<KZTrashLocation> &records);
    // The window is closing: stops and waits for the builder, the gatherers and the sort,
    // empties both models, drops the tree and posts "stopWorking". Nothing of the tree is
    // touched after it returns; the next showWindowWithDict builds anew.
    void windowWillClose();
    // The Cancel button: asks the window to close (closeRequested()).
    void cancelAction();
    // The Erase button: hands one smart-erase record of every item ticked (check 1) to the
    // engine, volume after volume in enumeration order. Beeps and answers false when nothing
    // is ticked; answers what the engine answered, and asks the window to close
    // (closeRequested()) only when it accepted.
    bool eraseAction();
    // The Erase button is enabled: the engine's job state is idle.
    [[nodiscard]] bool isEraseEnabled() const;

    // Between showWindowWithDict and windowWillClose.
    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    // The tree is being built (the window may cover itself with the waiting view after 0.5 s).
    [[nodiscard]] bool isGathering() const { return m_isGathering; }
    // Folder gatherers of the shown tree still running.
    [[nodiscard]] quint64 gatherersRunning() const;
    [[nodiscard]] bool isSorting() const { return m_isSorting; }

    // ---- The source list ------------------------------------------------------------------

    [[nodiscard]] int volumesCount() const;
    // The volume node of a source-list row; null outside the rows.
    [[nodiscard]] const KZVolumeNode *volumeAt(int row) const;
    // The source list's selection changed to row (-1: none): shows that volume's items sorted
    // by the item list's descriptor, and forgets the range ticks.
    void updateSelection(int row);
    [[nodiscard]] int selectedVolume() const { return m_selectedVolume; }
    // A row is selectable: not a volume whose Trash is empty.
    [[nodiscard]] bool sourceListShouldSelectRow(int row) const;
    // The volume's tick box was clicked and hands its new state (0 off, 1 on, -1 mixed):
    // mixed and on tick every item of the volume, off clears them all.
    void setVolumeCheck(int row, int state);

    // ---- The item list --------------------------------------------------------------------

    [[nodiscard]] int itemsCount() const;
    // The item node of an item-list row, in the current sort order; null outside the rows.
    [[nodiscard]] const KZItemNode *itemAt(int row) const;
    // An item's tick box was clicked and hands its new state; modifiers are the keyboard
    // modifiers of the click (Shift: range tick from the anchor; Control or Meta: flip one
    // row of the range).
    void setItemCheck(int row, int state, Qt::KeyboardModifiers modifiers);
    // A row of the item list is about to be selected: clickedColumn is the column clicked, or
    // -1 for the keyboard. Records the click and, while a range exists, extends it with the
    // modifiers. False for a click on the tick column (a tick never selects its row); the
    // tick itself then comes through setItemCheck.
    bool itemsListShouldSelectRow(int row, int clickedColumn, Qt::KeyboardModifiers modifiers);
    // A header click asked for this order. Sorts on a worker thread and reloads the item list
    // when done; while a sort runs the request is refused with a beep (false). The tick column
    // has no order: false, and nothing happens.
    bool sortWithColumn(int column, Qt::SortOrder order);
    // The order the item list is (or is being) sorted in.
    [[nodiscard]] KZSortDescriptor sortDescriptor() const { return m_sortDescriptor; }

    // ---- Tick operations ------------------------------------------------------------------

    // Gives every child of the volume the state; the count and ticked size follow.
    void updateCheckOfItemsWithDict(KZVolumeNode *volume, int state);
    // Moves the parent volume's count, ticked size and state after one item's tick changed
    // (a delta: it does not look at the state the item had).
    void updateSourceListWithDict(KZItemNode *item);
    // Sets one item-list row to state, redraws it and updates its volume.
    void updateCheckBoxOfItemsListWithDict(KZItemNode *item, int state, int row);
    // The range-ticking step after a tick or a click at row.
    void multipleCheck(int row, int state, Qt::KeyboardModifiers modifiers);
    void clearMultiSelection();
    // Rows of the current range, the anchor first; nothing when there is none.
    [[nodiscard]] std::optional<QList<int>> multiSelection() const { return m_multiSelection; }
    [[nodiscard]] int firstClickState() const { return m_firstClickState; }
    [[nodiscard]] int lastclickedRow() const { return m_lastclickedRow; }

    // ---- The tree (worker threads) --------------------------------------------------------

    // Lists one Trash folder (its files/; a missing one lists nothing, makes nothing and sets
    // *folderMissing): the name, the size of files, the deletion date and original path from
    // info/. Any thread; gives up at the next entry once tree.stopped is set.
    [[nodiscard]] static std::vector<std::unique_ptr<KZItemNode>>
    itemsOfTrash(const QUrl &trashURL, KZVolumeNode *parentDict, const KZTrashTree &tree,
                 bool *folderMissing = nullptr);
    // Adds bytes to a volume's size. Any thread.
    static void addSize(quint64 size, KZVolumeNode *parentDict);
    // Gives the volume's folders their recorded sizes where those still hold. Builder thread.
    static void useCachedSizes(KZVolumeNode &volume);

Q_SIGNALS:
    // Make the window key and bring it to the front.
    void showWindowRequested();
    // Close the window (Cancel, or an erase the engine accepted).
    void closeRequested();
    void isGatheringChanged(bool gathering);
    // The last folder gatherer ended; both models have been reloaded. Once per opening at most.
    void sizesGathered();
    // The program chose the source list's row (after the build: row 0) for the view to select.
    void selectedVolumeChanged(int row);
    void isSortingChanged(bool sorting);
    void eraseEnabledChanged(bool enabled);

private:
    void setIsGathering(bool gathering);
    void installTree(const std::shared_ptr<KZTrashTree> &tree);
    void startGatherers(const std::shared_ptr<KZTrashTree> &tree);
    void doGatherSize(const std::shared_ptr<KZTrashTree> &tree, KZItemNode *node);
    void lastGathererEnded(const std::shared_ptr<KZTrashTree> &tree);
    void publishSizes();
    void sortWithDescriptors(const KZSortDescriptor &descriptor);
    void setIsSorting(bool sorting);
    [[nodiscard]] KZDeleteItems &engine() const;
    void beep() const;

    QObject *m_delegate;
    Environment m_environment;
    KZSourceListModel *m_sourceListModel;
    KZTrashItemsModel *m_itemsModel;
    // Builds and sorts, one at a time.
    QThreadPool m_workPool;
    QThreadPool m_gatherPool;
    std::shared_ptr<KZTrashTree> m_tree; // null while closed and while building
    std::shared_ptr<KZTrashTree> m_building;
    QList<KZItemNode *> m_trashItems;
    QList<quint64> m_publishedSizes;
    QTimer m_sizesTimer;
    bool m_isOpen = false;
    bool m_isGathering = false;
    bool m_isSorting = false;
    quint64 m_sortSerial = 0;
    int m_selectedVolume = -1;
    KZSortDescriptor m_sortDescriptor;
    std::optional<QList<int>> m_multiSelection;
    int m_firstClickState = KZCheckOff;
    int m_lastclickedRow = -1;

    friend class KZSourceListModel;
    friend class KZTrashItemsModel;
};
