#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <QVariantMap>

// One posted notification. The sender is carried as an identity only, never dereferenced, so
// the value may cross threads safely.
struct KZNotification
{
    QString name;
    quintptr object = 0;
    QVariantMap userInfo;

    [[nodiscard]] static quintptr identity(const void *object) { return quintptr(object); }
};
Q_DECLARE_METATYPE(KZNotification)

// Process-wide named notifications ("stopWorking", "updateOtherInfo", ...). Posting is allowed
// from any thread; an observer runs on its context object's thread, right away when that is
// the posting thread and queued otherwise.
class KZNotificationCenter : public QObject
{
    Q_OBJECT

public:
    static KZNotificationCenter &defaultCenter();

    void postNotificationName(const QString &name, const void *object = nullptr,
                              const QVariantMap &userInfo = {});

    // Calls functor(const KZNotification &) for each notification called name whose sender
    // is object (any sender when object is null). Disconnects when context is destroyed.
    template<typename Functor>
    QMetaObject::Connection addObserver(const QString &name, const void *object,
                                        const QObject *context, Functor functor,
                                        Qt::ConnectionType type = Qt::AutoConnection)
    {
        const quintptr sender = KZNotification::identity(object);
        return connect(
            this, &KZNotificationCenter::notificationPosted, context,
            [name, sender, functor](const KZNotification &notification) {
                if (notification.name == name && (sender == 0 || notification.object == sender))
                    functor(notification);
            },
            type);
    }

Q_SIGNALS:
    void notificationPosted(const KZNotification &notification);
};
