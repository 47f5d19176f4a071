#pragma once

#include "KZSecureAccessDelegate.h"

#include <QVariantMap>

#include <functional>
#include <memory>

// The erase engine's view of the privileged helper's client (KZSecureAccess implements it).
// The engine creates one through the factory the application installs at start-up, so the
// engine needs no knowledge of how the helper is reached.
class KZHelperClient
{
public:
    using Factory = std::function<std::unique_ptr<KZHelperClient>(KZSecureAccessDelegate *)>;

    virtual ~KZHelperClient() = default;

    // Main thread. Sends the batch (keys in KZBatchKey); progress and the end come back
    // through the delegate given at creation.
    virtual void authorizedEraseWithDictionary(const QVariantMap &itemsDictionary) = 0;
    // Tells the helper that the user stopped the erase.
    virtual void stoppedByUser(bool stopped) = 0;

    static void setFactory(Factory factory);
    // A new client reporting to delegate, or null when no factory is installed.
    [[nodiscard]] static std::unique_ptr<KZHelperClient> create(KZSecureAccessDelegate *delegate);
};
