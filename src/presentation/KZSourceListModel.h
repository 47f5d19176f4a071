#pragma once

#include <QAbstractTableModel>

class KZSmartWindowCntrl;

// The smart-delete window's source list: one row per volume, in the order of the Trash
// location records. Columns: the volume's tick box (Qt::CheckStateRole, the mixed state as
// Qt::PartiallyChecked), the volume cell (Qt::DisplayRole: the "%@ trash" title; KZSizeRole,
// KZItemsCountRole, KZIsInvisibleRole for an empty Trash, Qt::ToolTipRole: the title, for the
// view to show when it does not fit), and the count badge (Qt::DisplayRole "%@ - %@" with the
// ticked count and size, KZCheckedCountRole). The KZ roles are answered in every column. A
// volume whose Trash is empty can be neither selected nor ticked. Main thread.
class KZSourceListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { CheckColumn, NameColumn, CheckedCountColumn, ColumnCount };

    explicit KZSourceListModel(KZSmartWindowCntrl *controller);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;
    // The tick column's Qt::CheckStateRole: ticks or clears the whole volume.
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;

    // The volume cell's title: "%@ trash" with the volume's name.
    [[nodiscard]] static QString titleOfVolume(const QString &volumeName);

private:
    friend class KZSmartWindowCntrl;
    void beginReload() { beginResetModel(); }
    void endReload() { endResetModel(); }
    // The row's cells changed (all of them, or the roles given).
    void rowChanged(int row, const QList<int> &roles = {});
    void allRowsChanged();

    KZSmartWindowCntrl *m_controller;
};
