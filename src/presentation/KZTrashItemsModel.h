#pragma once

#include <QAbstractTableModel>

class KZSmartWindowCntrl;

// The smart-delete window's item list: the items of the selected volume's Trash in the
// current sort order. Columns: the tick box (Qt::CheckStateRole), the item cell (Qt::DisplayRole
// the name, KZPathRole the original location for the second line), the size (Qt::DisplayRole
// formatted, KZSizeRole bytes), and the deletion date (KZSecondsRole). KZSizeRole,
// KZIsDirectoryRole, KZPathRole, KZSecondsRole and KZURLRole (the item's URL, for its icon and
// its preview, loaded by the view for the rows it shows) are answered in every column.
// Main thread.
class KZTrashItemsModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { CheckColumn, NameColumn, SizeColumn, AddedColumn, ColumnCount };

    explicit KZTrashItemsModel(KZSmartWindowCntrl *controller);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;
    // The tick column's Qt::CheckStateRole: ticks the item with the modifiers last given to
    // setKeyboardModifiers (the range rules).
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    // A header click: sorts on the controller's worker (refused with a beep while a sort runs).
    void sort(int column, Qt::SortOrder order) override;

    // The keyboard modifiers of the click being handled; the view sets them before a tick
    // reaches setData. Kept until changed.
    void setKeyboardModifiers(Qt::KeyboardModifiers modifiers) { m_modifiers = modifiers; }
    [[nodiscard]] Qt::KeyboardModifiers keyboardModifiers() const { return m_modifiers; }

private:
    friend class KZSmartWindowCntrl;
    void rowChanged(int row);
    void allRowsChanged();

    KZSmartWindowCntrl *m_controller;
    Qt::KeyboardModifiers m_modifiers = Qt::NoModifier;
};
