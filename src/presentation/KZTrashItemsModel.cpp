#include "KZTrashItemsModel.h"

#include "KZItemDataRoles.h"
#include "KZSmartWindowCntrl.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "model/KZPath.h"

KZTrashItemsModel::KZTrashItemsModel(KZSmartWindowCntrl *controller)
    : QAbstractTableModel(controller)
    , m_controller(controller)
{}

int KZTrashItemsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_controller->itemsCount();
}

int KZTrashItemsModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant KZTrashItemsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return {};
    const KZItemNode *item = m_controller->itemAt(index.row());
    if (!item)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case NameColumn:
            return item->name ? QVariant(*item->name) : QVariant();
        case SizeColumn:
            return KZNumberUtilities::sharedControl().sizeToFormatString(item->size.load(), 4,
                                                                         true);
        default:
            return {};
        }
    case Qt::CheckStateRole:
        if (index.column() != CheckColumn)
            return {};
        return item->check == KZCheckOn    ? Qt::Checked
               : item->check == KZCheckOff ? Qt::Unchecked
                                           : Qt::PartiallyChecked;
    case Qt::TextAlignmentRole:
        return index.column() == SizeColumn
                   ? QVariant(Qt::Alignment(Qt::AlignRight | Qt::AlignVCenter))
                   : QVariant();
    case KZSizeRole:
        return QVariant::fromValue<quint64>(item->size.load());
    case KZIsDirectoryRole:
        return item->isDirectory;
    case KZPathRole:
        return item->originalPath.isEmpty() ? QVariant()
                                            : QVariant(KZPath::displayString(item->originalPath));
    case KZSecondsRole:
        return item->added ? QVariant(*item->added) : QVariant();
    case KZURLRole:
        return item->itemURL;
    default:
        return {};
    }
}

QVariant KZTrashItemsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    const KZLocalizedStrings &strings = KZLocalizedStrings::sharedControl();
    switch (section) {
    case NameColumn:
        return strings.stringForKey(QStringLiteral("Name"));
    case SizeColumn:
        return strings.stringForKey(QStringLiteral("Size"));
    case AddedColumn:
        return strings.stringForKey(QStringLiteral("Date Deleted"));
    default:
        return QString();
    }
}

Qt::ItemFlags KZTrashItemsModel::flags(const QModelIndex &index) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    if (index.column() == CheckColumn)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

bool KZTrashItemsModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::CheckStateRole || index.column() != CheckColumn || !index.isValid()
        || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return false;
    const auto state = value.value<Qt::CheckState>();
    m_controller->setItemCheck(index.row(),
                               state == Qt::Checked            ? KZCheckOn
                               : state == Qt::PartiallyChecked ? KZCheckMixed
                                                               : KZCheckOff,
                               m_modifiers);
    return true;
}

void KZTrashItemsModel::sort(int column, Qt::SortOrder order)
{
    m_controller->sortWithColumn(column, order);
}

void KZTrashItemsModel::rowChanged(int row)
{
    if (row >= 0 && row < rowCount())
        emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
}

void KZTrashItemsModel::allRowsChanged()
{
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}
