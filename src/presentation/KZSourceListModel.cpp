#include "KZSourceListModel.h"

#include "KZItemDataRoles.h"
#include "KZSmartWindowCntrl.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"

namespace {

Qt::CheckState toCheckState(int state)
{
    switch (state) {
    case KZCheckOn:
        return Qt::Checked;
    case KZCheckOff:
        return Qt::Unchecked;
    default:
        return Qt::PartiallyChecked;
    }
}

} // namespace

KZSourceListModel::KZSourceListModel(KZSmartWindowCntrl *controller)
    : QAbstractTableModel(controller)
    , m_controller(controller)
{}

int KZSourceListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_controller->volumesCount();
}

int KZSourceListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString KZSourceListModel::titleOfVolume(const QString &volumeName)
{
    return KZLocalizedStrings::replaceContentOfString(
        KZLocalizedStrings::sharedControl().stringForKey(QStringLiteral("%@ trash")), {volumeName});
}

QVariant KZSourceListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return {};
    const KZVolumeNode *volume = m_controller->volumeAt(index.row());
    if (!volume)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        if (index.column() == NameColumn)
            return titleOfVolume(volume->volumeName);
        if (index.column() == CheckedCountColumn) {
            const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
            return KZLocalizedStrings::replaceContentOfString(
                QStringLiteral("%@ - %@"),
                {numbers.numberToFormatString(double(volume->checked_count)),
                 numbers.sizeToFormatString(volume->checked_size, 4, true)});
        }
        return {};
    case Qt::ToolTipRole:
        return index.column() == NameColumn ? QVariant(titleOfVolume(volume->volumeName))
                                            : QVariant();
    case Qt::CheckStateRole:
        return index.column() == CheckColumn ? QVariant(toCheckState(volume->check)) : QVariant();
    case KZSizeRole:
        return QVariant::fromValue<quint64>(volume->size.load());
    case KZItemsCountRole:
        return QVariant::fromValue<quint64>(quint64(volume->children.size()));
    case KZIsInvisibleRole:
        return volume->trashIsEmpty;
    case KZCheckedCountRole:
        return QVariant::fromValue<quint64>(volume->checked_count);
    case KZURLRole:
        return volume->volumeURL;
    default:
        return {};
    }
}

Qt::ItemFlags KZSourceListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid() || !checkIndex(index, CheckIndexOption::ParentIsInvalid))
        return Qt::NoItemFlags;
    // An empty Trash is shown dimmed, and can be neither selected nor ticked.
    if (!m_controller->sourceListShouldSelectRow(index.row()))
        return Qt::ItemNeverHasChildren;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    if (index.column() == CheckColumn)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

bool KZSourceListModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::CheckStateRole || index.column() != CheckColumn || !index.isValid()
        || !checkIndex(index, CheckIndexOption::ParentIsInvalid)
        || !m_controller->sourceListShouldSelectRow(index.row()))
        return false;
    const auto state = value.value<Qt::CheckState>();
    m_controller->setVolumeCheck(index.row(), state == Qt::Checked            ? KZCheckOn
                                              : state == Qt::PartiallyChecked ? KZCheckMixed
                                                                              : KZCheckOff);
    return true;
}

void KZSourceListModel::rowChanged(int row, const QList<int> &roles)
{
    if (row < 0 || row >= rowCount())
        return;
    emit dataChanged(index(row, 0), index(row, ColumnCount - 1), roles);
}

void KZSourceListModel::allRowsChanged()
{
    if (rowCount() > 0)
        emit dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}
