#include "KZPlatformShortcuts.h"

#include "KZUnavailableShortcuts.h"
#include "portal/KZPortalGlobalShortcuts.h"
#include "x11/KZX11GlobalShortcuts.h"

#include <QDBusConnection>
#include <QGuiApplication>

std::unique_ptr<KZGlobalShortcuts> KZPlatformShortcuts::create()
{
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("xcb"))
        return std::make_unique<KZX11GlobalShortcuts>();
    if (platform.startsWith(QLatin1String("wayland"))) {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        if (KZPortalGlobalShortcuts::isOffered(bus))
            return std::make_unique<KZPortalGlobalShortcuts>(bus);
        return std::make_unique<KZUnavailableShortcuts>(
            QStringLiteral("this Wayland desktop does not offer global shortcuts to "
                           "applications (the desktop portal has no GlobalShortcuts)."));
    }
    return std::make_unique<KZUnavailableShortcuts>(
        QStringLiteral("they need an X11 session or a Wayland desktop that offers global "
                       "shortcuts."));
}
