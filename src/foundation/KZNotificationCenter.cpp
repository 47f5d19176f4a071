#include "KZNotificationCenter.h"

KZNotificationCenter &KZNotificationCenter::defaultCenter()
{
    static KZNotificationCenter center;
    return center;
}

void KZNotificationCenter::postNotificationName(const QString &name, const void *object,
                                                const QVariantMap &userInfo)
{
    Q_EMIT notificationPosted(KZNotification{name, KZNotification::identity(object), userInfo});
}
