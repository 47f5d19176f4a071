#include "KZLazyIconModel.h"

#include "model/KZFilesUtilities.h"
#include "presentation/KZItemDataRoles.h"

#include <QFile>

namespace {
// Enough for a few screens of rows at any scale; an evicted row loads again when drawn again.
constexpr int kKeptIcons = 512;
} // namespace

KZLazyIconModel::KZLazyIconModel(const QSize &iconSize, int iconColumn, QObject *parent)
    : QIdentityProxyModel(parent)
    , m_iconSize(iconSize)
    , m_iconColumn(iconColumn)
    , m_icons(kKeptIcons)
{
    // Icon themes are read from disk; two loads at once keep a scroll fed without taking the
    // machine.
    m_pool.setMaxThreadCount(2);
}

KZLazyIconModel::~KZLazyIconModel()
{
    m_generation->fetch_add(1);
    m_pool.clear();
    m_pool.waitForDone();
}

void KZLazyIconModel::setSourceModel(QAbstractItemModel *sourceModel)
{
    if (QAbstractItemModel *old = this->sourceModel())
        disconnect(old, nullptr, this, nullptr);
    forget();
    QIdentityProxyModel::setSourceModel(sourceModel);
    if (sourceModel)
        connect(sourceModel, &QAbstractItemModel::modelAboutToBeReset, this,
                &KZLazyIconModel::forget);
}

void KZLazyIconModel::forget()
{
    m_generation->fetch_add(1);
    m_pool.clear();
    m_pending.clear();
}

QVariant KZLazyIconModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    if (role != Qt::DecorationRole || index.column() != m_iconColumn)
        return QIdentityProxyModel::data(index, role);
    const QUrl url = QIdentityProxyModel::data(index, KZURLRole).toUrl();
    if (url.isEmpty())
        return {};
    if (const QImage *icon = m_icons.object(url))
        return icon->isNull() ? QVariant() : QVariant(*icon);
    if (m_pending.contains(url))
        return {};
    m_pending.insert(url, QPersistentModelIndex(index));
    ++m_loadsStarted;
    const quint64 generation = m_generation->load();
    auto *self = const_cast<KZLazyIconModel *>(this);
    m_pool.start([self, url, size = m_iconSize, generation, current = m_generation] {
        if (current->load() != generation)
            return;
        const QImage icon
            = KZFilesUtilities::iconOfItem(QFile::encodeName(url.toLocalFile()), url, size);
        // Queued to the model's thread; dropped there if the model is gone by then (its
        // destructor waits for this task, so the pointer is good until then).
        QMetaObject::invokeMethod(
            self, [self, url, icon, generation] { self->iconLoaded(url, icon, generation); },
            Qt::QueuedConnection);
    });
    return {};
}

void KZLazyIconModel::iconLoaded(const QUrl &url, const QImage &icon, quint64 generation)
{
    if (generation != m_generation->load())
        return;
    const QPersistentModelIndex index = m_pending.take(url);
    // A null image is kept too, so a row without an icon does not ask again at every paint.
    m_icons.insert(url, new QImage(icon));
    if (index.isValid())
        emit dataChanged(index, index, {Qt::DecorationRole});
}
