#include "KZTrashSizeQueue.h"

#include "model/KZTrashSizes.h"

#include <QCoreApplication>
#include <QPointer>

KZTrashSizeQueue &KZTrashSizeQueue::sharedControl()
{
    // Never destroyed: measurements may still report while the application object goes.
    static auto *queue = new KZTrashSizeQueue;
    return *queue;
}

KZTrashSizeQueue::KZTrashSizeQueue(QObject *parent)
    : QObject(parent)
{
    m_pool.setObjectName(QStringLiteral("binwise-trash-sizes"));
}

KZTrashSizeQueue::~KZTrashSizeQueue()
{
    m_stopping->store(true);
    waitForDone();
}

void KZTrashSizeQueue::measure(const KZTrashLocation &record, QObject *context, Result done)
{
    // The guard is read on the main thread only: a QPointer is not safe to read on the pool
    // while the main thread destroys its object.
    QPointer<QObject> receiver(context);
    const std::shared_ptr<std::atomic<bool>> stopping = m_stopping;
    m_pool.start([record, receiver, stopping, done = std::move(done)] {
        if (stopping->load())
            return;
        // A volume may hold two Trash folders (two desktops used it): the row is both.
        quint64 count = 0;
        quint64 size = 0;
        for (const QUrl &folder : record.trashURLs()) {
            const KZTrashSizes::Measurement measured
                = KZTrashSizes::measureTrash(folder, stopping.get());
            size += measured.size;
            count += measured.count;
        }
        if (stopping->load())
            return;
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [receiver, done, size, count] {
                if (receiver)
                    done(size, count);
            },
            Qt::QueuedConnection);
    });
}

void KZTrashSizeQueue::waitForDone()
{
    m_pool.clear();
    m_pool.waitForDone();
}
