#include "KZSmartWindowCntrl.h"

#include "KZItemDataRoles.h"
#include "KZSourceListModel.h"
#include "KZTrashItemsModel.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZEraseRecord.h"
#include "erase/KZTUErrorDelegate.h"
#include "foundation/KZNotificationCenter.h"
#include "model/KZFilesUtilities.h"
#include "model/KZPath.h"
#include "model/KZTrashFolder.h"
#include "model/KZTrashInfo.h"
#include "model/KZTrashSizes.h"
#include "protocol/KZFileDescriptor.h"

#include <QHash>
#include <QThread>

#include <algorithm>
#include <cerrno>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kSizesRefreshMilliseconds = 250;
constexpr unsigned kItemStatMask = STATX_TYPE | STATX_BLOCKS;
constexpr int kItemStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

// A volume's second Trash folder (a volume used by two desktops has TOP/.Trash/$uid and
// TOP/.Trash-$uid), when the record names one.
QUrl otherTrashURLOf(const KZTrashLocation &record)
{
    return record.otherTrashURL;
}

std::optional<KZTrashInfo> readInfo(int infofd, const char *name, const QByteArray &topDirectory)
{
    if (infofd < 0)
        return std::nullopt;
    const QByteArray infoName = QByteArray(name) + KZTrashInfo::kFileSuffix;
    // O_NONBLOCK: a FIFO put there by someone must not hang the listing.
    const KZFileDescriptor fd(
        ::openat(infofd, infoName.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd.isValid())
        return std::nullopt;
    struct stat st = {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > 64 * 1024)
        return std::nullopt;
    QByteArray content(qsizetype(st.st_size), Qt::Uninitialized);
    qsizetype got = 0;
    while (got < content.size()) {
        const ssize_t n = ::read(fd.get(), content.data() + got, size_t(content.size() - got));
        if (n <= 0)
            break;
        got += n;
    }
    content.truncate(got);
    return KZTrashInfo::parse(content, topDirectory);
}

// The items in the order of descriptor: a node lacking the key comes first when ascending.
// Keys are read once before sorting, since folder sizes may still grow meanwhile.
QList<KZItemNode *> sortedItems(const QList<KZItemNode *> &items,
                                const KZSortDescriptor &descriptor)
{
    struct Keyed
    {
        KZItemNode *node;
        std::optional<QString> name;
        std::optional<double> number;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(size_t(items.size()));
    for (KZItemNode *node : items) {
        Keyed entry{node, {}, {}};
        if (descriptor.key == KZSortDescriptor::kSizeKey) {
            if (node->hasSize)
                entry.number = double(node->size.load());
        } else if (descriptor.key == KZSortDescriptor::kAddedKey) {
            entry.number = node->added;
        } else {
            entry.name = node->name;
        }
        keyed.push_back(std::move(entry));
    }
    const Qt::CaseSensitivity sensitivity
        = descriptor.caseInsensitive ? Qt::CaseInsensitive : Qt::CaseSensitive;
    const auto less = [&](const Keyed &a, const Keyed &b) {
        if (descriptor.key == KZSortDescriptor::kNameKey) {
            if (!a.name || !b.name)
                return !a.name && b.name;
            return QString::compare(*a.name, *b.name, sensitivity) < 0;
        }
        if (!a.number || !b.number)
            return !a.number && b.number;
        return *a.number < *b.number;
    };
    if (descriptor.ascending)
        std::stable_sort(keyed.begin(), keyed.end(), less);
    else
        std::stable_sort(keyed.begin(), keyed.end(),
                         [&](const Keyed &a, const Keyed &b) { return less(b, a); });
    QList<KZItemNode *> sorted;
    sorted.reserve(items.size());
    for (const Keyed &entry : keyed)
        sorted.append(entry.node);
    return sorted;
}

} // namespace

KZSmartWindowCntrl::KZSmartWindowCntrl(QObject *delegate, QObject *parent)
    : KZSmartWindowCntrl(delegate, Environment{}, parent)
{}

KZSmartWindowCntrl::KZSmartWindowCntrl(QObject *delegate, Environment environment, QObject *parent)
    : QObject(parent)
    , m_delegate(delegate)
    , m_environment(std::move(environment))
    , m_sourceListModel(new KZSourceListModel(this))
    , m_itemsModel(new KZTrashItemsModel(this))
{
    m_workPool.setObjectName(QStringLiteral("binwise-smart-window"));
    m_workPool.setMaxThreadCount(1);
    m_gatherPool.setObjectName(QStringLiteral("binwise-smart-sizes"));
    m_gatherPool.setMaxThreadCount(m_environment.maxGatherers > 0
                                       ? m_environment.maxGatherers
                                       : std::max(2, QThread::idealThreadCount()));
    m_sizesTimer.setInterval(kSizesRefreshMilliseconds);
    connect(&m_sizesTimer, &QTimer::timeout, this, &KZSmartWindowCntrl::publishSizes);
    connect(&engine(), &KZDeleteItems::jobStateChanged, this,
            [this](KZJobState state) { emit eraseEnabledChanged(state == KZJobState::Idle); });
}

KZSmartWindowCntrl::~KZSmartWindowCntrl()
{
    for (const std::shared_ptr<KZTrashTree> &tree : {m_tree, m_building}) {
        if (tree)
            tree->stopped = true;
    }
    m_gatherPool.clear();
    m_workPool.clear();
    m_gatherPool.waitForDone();
    m_workPool.waitForDone();
}

// ---- The window ---------------------------------------------------------------------------

void KZSmartWindowCntrl::showWindowWithDict(const QList<KZTrashLocation> &records)
{
    if (!m_isOpen) {
        m_isOpen = true;
        auto tree = std::make_shared<KZTrashTree>();
        m_building = tree;
        setIsGathering(true);
        m_workPool.start([this, tree, records] {
            tree->trashes.reserve(size_t(records.size()));
            for (const KZTrashLocation &record : records) {
                if (tree->stopped.load())
                    return;
                auto volume = std::make_unique<KZVolumeNode>(record);
                bool missing = false;
                volume->children = itemsOfTrash(record.trashURL, volume.get(), *tree, &missing);
                // A Trash folder that is not there (yet, or any more) is an empty Trash.
                if (missing && otherTrashURLOf(record).isEmpty())
                    volume->trashIsEmpty = true;
                const QUrl other = otherTrashURLOf(record);
                if (!other.isEmpty()) {
                    for (auto &item : itemsOfTrash(other, volume.get(), *tree))
                        volume->children.push_back(std::move(item));
                }
                useCachedSizes(*volume);
                tree->trashes.push_back(std::move(volume));
            }
            QMetaObject::invokeMethod(
                this, [this, tree] { installTree(tree); }, Qt::QueuedConnection);
        });
    }
    emit showWindowRequested();
}

void KZSmartWindowCntrl::installTree(const std::shared_ptr<KZTrashTree> &tree)
{
    // A tree built for a window that has closed (and maybe opened again) since is dropped.
    if (tree != m_building)
        return;
    m_building.reset();
    m_sourceListModel->beginReload();
    m_tree = tree;
    m_publishedSizes.clear();
    for (const auto &volume : tree->trashes)
        m_publishedSizes.append(volume->size.load());
    m_sourceListModel->endReload();
    if (!tree->trashes.empty()) {
        updateSelection(0);
        emit selectedVolumeChanged(0);
    }
    setIsGathering(false);
    startGatherers(tree);
}

void KZSmartWindowCntrl::windowWillClose()
{
    if (!m_isOpen)
        return;
    for (const std::shared_ptr<KZTrashTree> &tree : {m_tree, m_building}) {
        if (tree)
            tree->stopped = true;
    }
    // The workers read and write the nodes: they must be gone before the nodes go.
    m_gatherPool.clear();
    m_workPool.clear();
    m_gatherPool.waitForDone();
    m_workPool.waitForDone();
    m_sizesTimer.stop();

    m_itemsModel->beginResetModel();
    m_trashItems.clear();
    m_selectedVolume = -1;
    m_itemsModel->endResetModel();
    m_sourceListModel->beginReload();
    m_tree.reset();
    m_building.reset();
    m_publishedSizes.clear();
    m_sourceListModel->endReload();

    m_isOpen = false;
    ++m_sortSerial; // a sort result still queued finds itself outdated
    clearMultiSelection();
    m_lastclickedRow = -1;
    setIsSorting(false);
    setIsGathering(false);
    KZNotificationCenter::defaultCenter().postNotificationName(
        KZDeleteItems::kStopWorkingNotification);
}

void KZSmartWindowCntrl::cancelAction()
{
    emit closeRequested();
}

bool KZSmartWindowCntrl::eraseAction()
{
    quint64 total = 0;
    QList<QUrl> itemsToErase;
    if (m_tree) {
        for (const auto &volume : m_tree->trashes) {
            total += volume->checked_count;
            for (const auto &item : volume->children) {
                if (item->check == KZCheckOn)
                    itemsToErase.append(item->itemURL);
            }
        }
    }
    if (total == 0) {
        beep();
        return false;
    }
    // The engine may run a confirmation in a nested event loop, in which the window can even
    // close: nothing of the tree is read after this call.
    const bool accepted
        = engine().prepareToEraseWithArray({KZEraseRecord::smartErase(itemsToErase)});
    if (accepted)
        emit closeRequested();
    return accepted;
}

bool KZSmartWindowCntrl::isEraseEnabled() const
{
    return engine().jobState() == KZJobState::Idle;
}

quint64 KZSmartWindowCntrl::gatherersRunning() const
{
    return m_tree ? m_tree->threadsCount.load() : 0;
}

void KZSmartWindowCntrl::setIsGathering(bool gathering)
{
    if (m_isGathering == gathering)
        return;
    m_isGathering = gathering;
    emit isGatheringChanged(gathering);
}

// ---- The tree -----------------------------------------------------------------------------

std::vector<std::unique_ptr<KZItemNode>> KZSmartWindowCntrl::itemsOfTrash(const QUrl &trashURL,
                                                                          KZVolumeNode *parentDict,
                                                                          const KZTrashTree &tree,
                                                                          bool *folderMissing)
{
    std::vector<std::unique_ptr<KZItemNode>> items;
    const QByteArray path = KZPath::pathFromURL(trashURL);
    if (folderMissing)
        *folderMissing = path.isEmpty();
    if (path.isEmpty())
        return items;
    // O_NOFOLLOW: a files/ that is a link leads out of the Trash, so it is not listed.
    KZFileDescriptor filesfd(
        ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!filesfd.isValid()) {
        if (folderMissing)
            *folderMissing = errno == ENOENT;
        return items;
    }
    QByteArray topDirectory;
    KZFileDescriptor infofd;
    if (const std::optional<QByteArray> root = KZTrashFolder::trashRootOfFilesFolder(
            KZTrashFolder::realPathOfDescriptor(filesfd.get(), KZFileManager::defaultManager()),
            KZTrashFolder::dataHomeFromEnvironment())) {
        topDirectory = KZTrashFolder::topDirectoryOfTrashRoot(*root);
        infofd.reset(
            ::openat(filesfd.get(), "../info", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    DIR *dir = ::fdopendir(filesfd.release());
    if (!dir)
        return items;
    const int dirfd = ::dirfd(dir);
    const QByteArray base = path.endsWith('/') ? path : path + '/';
    while (const dirent *entry = ::readdir(dir)) {
        if (tree.stopped.load(std::memory_order_relaxed))
            break;
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        auto item = std::make_unique<KZItemNode>();
        const QByteArray nameBytes(name);
        item->itemURL = KZPath::urlFromPath(base + nameBytes);
        item->parentDict = parentDict;
        item->name = KZPath::displayString(nameBytes);
        struct statx st = {};
        if (::statx(dirfd, name, kItemStatFlags, kItemStatMask, &st) == 0) {
            item->isDirectory = S_ISDIR(st.stx_mode);
            if (item->isDirectory) {
                item->hasSize = true; // 0 until its gatherer ends
            } else if (st.stx_mask & STATX_BLOCKS) {
                item->hasSize = true;
                item->size = quint64(st.stx_blocks) * 512;
                addSize(item->size.load(), parentDict);
            }
        }
        if (const std::optional<KZTrashInfo> info = readInfo(infofd.get(), name, topDirectory)) {
            item->originalPath = info->originalPath;
            item->added = info->deletionDate;
        }
        items.push_back(std::move(item));
    }
    ::closedir(dir);
    return items;
}

void KZSmartWindowCntrl::addSize(quint64 size, KZVolumeNode *parentDict)
{
    parentDict->size.fetch_add(size);
}

void KZSmartWindowCntrl::useCachedSizes(KZVolumeNode &volume)
{
    // One look at each Trash's records; a folder found there has its size before the window
    // shows, and no gatherer walks it again.
    QHash<QByteArray, QHash<QByteArray, KZTrashSizes::Figures>> byFolder;
    for (const auto &item : volume.children) {
        if (!item->isDirectory)
            continue;
        const QByteArray path = KZPath::pathFromURL(item->itemURL);
        const QByteArray folder = KZPath::parentPath(path);
        auto figures = byFolder.find(folder);
        if (figures == byFolder.end())
            figures = byFolder.insert(folder,
                                      KZTrashSizes::cachedFolderSizes(KZPath::urlFromPath(folder)));
        const auto found = figures->constFind(KZPath::fileName(path));
        if (found == figures->cend())
            continue;
        item->size.store(found->size);
        item->sizeFromCache = true;
        addSize(found->size, &volume);
    }
}

void KZSmartWindowCntrl::startGatherers(const std::shared_ptr<KZTrashTree> &tree)
{
    QList<KZItemNode *> folders;
    for (const auto &volume : tree->trashes) {
        for (const auto &item : volume->children) {
            if (item->isDirectory && !item->sizeFromCache)
                folders.append(item.get());
        }
    }
    if (folders.isEmpty())
        return;
    tree->threadsCount = quint64(folders.size());
    for (KZItemNode *node : folders)
        m_gatherPool.start([this, tree, node] { doGatherSize(tree, node); });
    m_sizesTimer.start();
}

void KZSmartWindowCntrl::doGatherSize(const std::shared_ptr<KZTrashTree> &tree, KZItemNode *node)
{
    if (tree->stopped.load())
        return;
    quint64 found = 0;
    const quint64 size = KZFilesUtilities::sharedControl()
                             .iterateFolderForSize(node->itemURL, &found, &tree->stopped)
                             .totalFileSize;
    if (tree->stopped.load())
        return;
    node->size.store(size);
    addSize(size, node->parentDict);
    if (tree->threadsCount.fetch_sub(1) == 1) {
        QMetaObject::invokeMethod(
            this, [this, tree] { lastGathererEnded(tree); }, Qt::QueuedConnection);
    }
}

void KZSmartWindowCntrl::lastGathererEnded(const std::shared_ptr<KZTrashTree> &tree)
{
    if (tree != m_tree)
        return;
    m_sizesTimer.stop();
    for (qsizetype row = 0; row < m_publishedSizes.size(); ++row)
        m_publishedSizes[row] = m_tree->trashes[size_t(row)]->size.load();
    m_sourceListModel->allRowsChanged();
    m_itemsModel->allRowsChanged();
    emit sizesGathered();
}

void KZSmartWindowCntrl::publishSizes()
{
    if (!m_tree)
        return;
    for (qsizetype row = 0; row < m_publishedSizes.size(); ++row) {
        const quint64 size = m_tree->trashes[size_t(row)]->size.load();
        if (size != m_publishedSizes.at(row)) {
            m_publishedSizes[row] = size;
            m_sourceListModel->rowChanged(int(row), {KZSizeRole});
        }
    }
}

// ---- The source list ----------------------------------------------------------------------

int KZSmartWindowCntrl::volumesCount() const
{
    return m_tree ? int(m_tree->trashes.size()) : 0;
}

const KZVolumeNode *KZSmartWindowCntrl::volumeAt(int row) const
{
    if (!m_tree || row < 0 || size_t(row) >= m_tree->trashes.size())
        return nullptr;
    return m_tree->trashes[size_t(row)].get();
}

bool KZSmartWindowCntrl::sourceListShouldSelectRow(int row) const
{
    const KZVolumeNode *volume = volumeAt(row);
    return volume && !volume->trashIsEmpty;
}

void KZSmartWindowCntrl::updateSelection(int row)
{
    const KZVolumeNode *volume = volumeAt(row);
    m_itemsModel->beginResetModel();
    m_trashItems.clear();
    m_selectedVolume = volume ? row : -1;
    if (volume) {
        m_trashItems.reserve(qsizetype(volume->children.size()));
        for (const auto &item : volume->children)
            m_trashItems.append(item.get());
    }
    m_itemsModel->endResetModel();
    if (!volume)
        return;
    sortWithDescriptors(m_sortDescriptor);
    clearMultiSelection();
}

void KZSmartWindowCntrl::setVolumeCheck(int row, int state)
{
    KZVolumeNode *volume = m_tree && volumeAt(row) ? m_tree->trashes[size_t(row)].get() : nullptr;
    if (!volume || volume->trashIsEmpty)
        return;
    // The tick box steps off, mixed, on: a click on an unticked or mixed volume ticks it all,
    // a click on a ticked one clears it.
    const int mapped = (state == KZCheckMixed || state == KZCheckOn) ? KZCheckOn : KZCheckOff;
    volume->check = mapped;
    updateCheckOfItemsWithDict(volume, mapped);
    m_sourceListModel->rowChanged(row);
    m_itemsModel->allRowsChanged();
}

// ---- The item list ------------------------------------------------------------------------

int KZSmartWindowCntrl::itemsCount() const
{
    return int(m_trashItems.size());
}

const KZItemNode *KZSmartWindowCntrl::itemAt(int row) const
{
    return row >= 0 && row < m_trashItems.size() ? m_trashItems.at(row) : nullptr;
}

void KZSmartWindowCntrl::setItemCheck(int row, int state, Qt::KeyboardModifiers modifiers)
{
    if (row < 0 || row >= m_trashItems.size())
        return;
    KZItemNode *item = m_trashItems.at(row);
    item->check = state;
    updateSourceListWithDict(item);
    m_itemsModel->rowChanged(row);
    multipleCheck(row, state, modifiers);
}

bool KZSmartWindowCntrl::itemsListShouldSelectRow(int row, int clickedColumn,
                                                  Qt::KeyboardModifiers modifiers)
{
    if (clickedColumn < 0)
        return true;
    m_lastclickedRow = row;
    if (clickedColumn == KZTrashItemsModel::CheckColumn)
        return false;
    if (m_multiSelection && itemAt(row))
        multipleCheck(row, itemAt(row)->check, modifiers);
    return true;
}

bool KZSmartWindowCntrl::sortWithColumn(int column, Qt::SortOrder order)
{
    if (m_isSorting) {
        beep();
        return false;
    }
    KZSortDescriptor descriptor;
    descriptor.ascending = order == Qt::AscendingOrder;
    switch (column) {
    case KZTrashItemsModel::CheckColumn:
        return false; // the tick column has no order of its own
    case KZTrashItemsModel::SizeColumn:
        descriptor.key = KZSortDescriptor::kSizeKey;
        break;
    case KZTrashItemsModel::AddedColumn:
        descriptor.key = KZSortDescriptor::kAddedKey;
        break;
    default:
        descriptor.key = KZSortDescriptor::kNameKey;
        descriptor.caseInsensitive = true;
        break;
    }
    if (!m_tree) {
        m_sortDescriptor = descriptor;
        return true;
    }
    sortWithDescriptors(descriptor);
    return true;
}

void KZSmartWindowCntrl::sortWithDescriptors(const KZSortDescriptor &descriptor)
{
    m_sortDescriptor = descriptor;
    const quint64 serial = ++m_sortSerial;
    setIsSorting(true);
    m_workPool.start([this, tree = m_tree, items = m_trashItems, descriptor, serial] {
        if (!tree || tree->stopped.load())
            return;
        QList<KZItemNode *> sorted = sortedItems(items, descriptor);
        QMetaObject::invokeMethod(
            this,
            [this, sorted = std::move(sorted), serial] {
                if (serial != m_sortSerial)
                    return;
                // Selections and the view's other persistent indexes follow their items.
                emit m_itemsModel->layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
                const QModelIndexList from = m_itemsModel->persistentIndexList();
                if (!from.isEmpty()) {
                    QHash<const KZItemNode *, int> rows;
                    rows.reserve(sorted.size());
                    for (int row = 0; row < sorted.size(); ++row)
                        rows.insert(sorted.at(row), row);
                    QModelIndexList to;
                    to.reserve(from.size());
                    for (const QModelIndex &index : from)
                        to.append(m_itemsModel->index(rows.value(m_trashItems.at(index.row())),
                                                      index.column()));
                    m_trashItems = sorted;
                    m_itemsModel->changePersistentIndexList(from, to);
                } else {
                    m_trashItems = sorted;
                }
                emit m_itemsModel->layoutChanged({}, QAbstractItemModel::VerticalSortHint);
                setIsSorting(false);
            },
            Qt::QueuedConnection);
    });
}

void KZSmartWindowCntrl::setIsSorting(bool sorting)
{
    if (m_isSorting == sorting)
        return;
    m_isSorting = sorting;
    emit isSortingChanged(sorting);
}

// ---- Tick operations ----------------------------------------------------------------------

void KZSmartWindowCntrl::updateCheckOfItemsWithDict(KZVolumeNode *volume, int state)
{
    quint64 sum = 0;
    for (const auto &item : volume->children) {
        sum += item->size.load();
        item->check = state;
    }
    volume->checked_count = state == KZCheckOn ? quint64(volume->children.size()) : 0;
    volume->checked_size = state == KZCheckOn ? sum : 0;
}

void KZSmartWindowCntrl::updateSourceListWithDict(KZItemNode *item)
{
    KZVolumeNode *volume = item->parentDict;
    const quint64 n = quint64(volume->children.size());
    const quint64 c = volume->checked_count;
    const quint64 s = volume->checked_size;
    const int t = item->check;
    const quint64 z = item->size.load();
    // Unsigned on purpose: the counts move by delta, whatever state the item had before.
    const quint64 count = t != KZCheckOff ? c + 1 : c - 1;
    volume->check = count == n ? KZCheckOn : (count != 0 ? KZCheckMixed : KZCheckOff);
    volume->checked_count = count;
    volume->checked_size = count == 0 ? 0 : (t != KZCheckOff ? s + z : s - z);
    if (m_tree) {
        for (size_t row = 0; row < m_tree->trashes.size(); ++row) {
            if (m_tree->trashes[row].get() == volume)
                m_sourceListModel->rowChanged(int(row));
        }
    }
}

void KZSmartWindowCntrl::updateCheckBoxOfItemsListWithDict(KZItemNode *item, int state, int row)
{
    item->check = state;
    m_itemsModel->rowChanged(row);
    updateSourceListWithDict(item);
}

void KZSmartWindowCntrl::multipleCheck(int row, int state, Qt::KeyboardModifiers modifiers)
{
    Q_UNUSED(state); // the rules read the rows' own states
    if (!itemAt(row))
        return;
    const auto checkOf = [this](int r) {
        return itemAt(r) ? itemAt(r)->check : KZCheckOff;
    };
    const auto setRow = [this](int r, int newState) {
        if (r >= 0 && r < m_trashItems.size())
            updateCheckBoxOfItemsListWithDict(m_trashItems.at(r), newState, r);
    };

    if (!m_multiSelection) {
        m_multiSelection = QList<int>{row};
        m_firstClickState = checkOf(row);
        return;
    }
    QList<int> &range = *m_multiSelection;
    if (modifiers & (Qt::ControlModifier | Qt::MetaModifier)) {
        range.removeAll(row);
        setRow(row, checkOf(row) == KZCheckOff ? KZCheckOn : KZCheckOff);
    } else if (modifiers & Qt::ShiftModifier) {
        const int anchor = range.first();
        const int last = range.last();
        const int before = checkOf(row);
        setRow(row, m_firstClickState);
        if (last <= row) {
            bool any = false;
            for (int i = anchor + 1; i < row; ++i) {
                setRow(i, m_firstClickState);
                range.append(i);
                any = true;
            }
            if (any) {
                range.append(row);
            } else {
                range.removeAll(row);
                if (range.size() == 1)
                    range.removeAll(anchor);
            }
        } else {
            while (!range.isEmpty()) {
                const int k = range.last();
                if (anchor > row && k == anchor) {
                    for (int i = row + 1; i < anchor; ++i) {
                        setRow(i, m_firstClickState);
                        range.append(i);
                    }
                    break;
                }
                setRow(k, before == KZCheckOff ? KZCheckOn : KZCheckOff);
                range.removeLast();
                if (k == row)
                    break;
            }
        }
    } else {
        range = QList<int>{row};
        m_firstClickState = checkOf(row);
    }
    if (m_multiSelection && m_multiSelection->isEmpty())
        clearMultiSelection();
}

void KZSmartWindowCntrl::clearMultiSelection()
{
    m_multiSelection.reset();
}

// ---- Collaborators ------------------------------------------------------------------------

KZDeleteItems &KZSmartWindowCntrl::engine() const
{
    return m_environment.engine ? *m_environment.engine : KZDeleteItems::sharedControl();
}

void KZSmartWindowCntrl::beep() const
{
    if (m_environment.beep) {
        m_environment.beep();
        return;
    }
    KZTUErrorDelegate *presenter = engine().environment().presenter;
    const std::shared_ptr<KZAlertBackend> backend
        = (presenter ? *presenter : KZTUErrorDelegate::sharedControl()).backend();
    if (backend)
        backend->beep();
}
