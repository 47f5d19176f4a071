#include "KZAppGlobals.h"

#include <atomic>

namespace {
std::atomic<bool> s_helperAvailable{false};
std::atomic<quint32> s_systemVersion{0};
} // namespace

bool KZAppGlobals::isHelperAvailable()
{
    return s_helperAvailable.load();
}

void KZAppGlobals::setHelperAvailable(bool available)
{
    s_helperAvailable.store(available);
}

quint32 KZAppGlobals::systemVersion()
{
    return s_systemVersion.load();
}

void KZAppGlobals::setSystemVersion(quint32 version)
{
    s_systemVersion.store(version);
}
