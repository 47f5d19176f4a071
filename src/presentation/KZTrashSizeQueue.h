#pragma once

#include "model/KZTrashLocation.h"

#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>

// The one pool on which the desktop application measures Trashes for its rows (the tray menu,
// the panel), kept for the life of the process. A measurement reports on the main thread while
// its context object lives; a context destroyed meanwhile (a menu rebuilt) gets nothing.
class KZTrashSizeQueue : public QObject
{
    Q_OBJECT

public:
    using Result = std::function<void(quint64 itemsSize, quint64 itemsCount)>;

    static KZTrashSizeQueue &sharedControl();
    explicit KZTrashSizeQueue(QObject *parent = nullptr);
    // Cancels what has not started and waits for what runs.
    ~KZTrashSizeQueue() override;

    // Measures the record's Trash (allocated bytes, every entry at every level) on the pool and
    // calls done on the main thread while context (an object of the main thread) still exists.
    void measure(const KZTrashLocation &record, QObject *context, Result done);
    // Drops the measurements not started yet and waits for the running ones. Main thread.
    void waitForDone();
    [[nodiscard]] QThreadPool &pool() { return m_pool; }

private:
    QThreadPool m_pool;
    // Read by running measurements, so that a queue being destroyed stops them early.
    std::shared_ptr<std::atomic<bool>> m_stopping = std::make_shared<std::atomic<bool>>(false);
};
