#pragma once

#include <QCache>
#include <QHash>
#include <QIdentityProxyModel>
#include <QImage>
#include <QPersistentModelIndex>
#include <QSize>
#include <QThreadPool>
#include <QUrl>

#include <atomic>
#include <memory>

// A list's model with icons added: the icon column answers Qt::DecorationRole with the icon of
// the row's KZURLRole, loaded off the GUI thread the first time a row is drawn and kept for
// the rows drawn most recently. A Trash can hold tens of thousands of items; only the rows a
// view shows ever ask. GUI thread only; the loads run on a small pool of the model's own that
// its destructor waits for.
class KZLazyIconModel : public QIdentityProxyModel
{
    Q_OBJECT

public:
    // iconSize: logical points, as the cells draw it; iconColumn: the column that shows it.
    KZLazyIconModel(const QSize &iconSize, int iconColumn, QObject *parent = nullptr);
    ~KZLazyIconModel() override;

    void setSourceModel(QAbstractItemModel *sourceModel) override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;

    // Icons asked for since the model was made: what the laziness is measured by.
    [[nodiscard]] int loadsStarted() const { return m_loadsStarted; }
    // Waits until no load is running (tests, and the window before it looks at its rows).
    void waitForLoads() { m_pool.waitForDone(); }

private:
    void iconLoaded(const QUrl &url, const QImage &icon, quint64 generation);
    void forget();

    QSize m_iconSize;
    int m_iconColumn;
    mutable QThreadPool m_pool;
    mutable QCache<QUrl, QImage> m_icons;
    mutable QHash<QUrl, QPersistentModelIndex> m_pending;
    mutable int m_loadsStarted = 0;
    // Loads started before the rows were replaced are dropped when they end.
    std::shared_ptr<std::atomic<quint64>> m_generation = std::make_shared<std::atomic<quint64>>(0);
};
