#include "KZHelperClient.h"

#include <QMutex>
#include <QMutexLocker>

namespace {
QMutex s_lock;
KZHelperClient::Factory s_factory;
} // namespace

void KZHelperClient::setFactory(Factory factory)
{
    QMutexLocker locker(&s_lock);
    s_factory = std::move(factory);
}

std::unique_ptr<KZHelperClient> KZHelperClient::create(KZSecureAccessDelegate *delegate)
{
    Factory factory;
    {
        QMutexLocker locker(&s_lock);
        factory = s_factory;
    }
    return factory ? factory(delegate) : nullptr;
}
