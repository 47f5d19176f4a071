#pragma once

#include "gui/platform/KZGlobalShortcuts.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QMap>
#include <QVariantMap>

// Hot keys of a Wayland session through the desktop portal's GlobalShortcuts: a session is
// created, every registered combination is bound in it as the preferred trigger, and the
// portal's Activated signal reports presses. The desktop may let the user confirm or change a
// trigger. A change of the set closes the session and binds the new set in a fresh one, since
// portals differ in whether they let a session bind twice. Main thread.
class KZPortalGlobalShortcuts : public KZGlobalShortcuts
{
    Q_OBJECT

public:
    static inline const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
    static inline const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
    static inline const QString kInterface
        = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

    // Whether the portal on bus offers global shortcuts (asks its version, waiting briefly).
    [[nodiscard]] static bool isOffered(const QDBusConnection &bus);
    // A shortcut trigger as the portal reads it ("CTRL+LOGO+BackSpace").
    [[nodiscard]] static QString triggerText(QKeyCombination combination);

    explicit KZPortalGlobalShortcuts(const QDBusConnection &bus, QObject *parent = nullptr);
    ~KZPortalGlobalShortcuts() override;

    [[nodiscard]] Availability availability() const override;
    bool registerShortcut(const QString &id, QKeyCombination combination) override;
    void unregisterShortcut(const QString &id) override;
    [[nodiscard]] bool isRegistered(const QString &id) const override;

Q_SIGNALS:
    // The portal answered a bind of the current set (tests and diagnostics wait for it).
    void shortcutsBound();

private Q_SLOTS:
    void createSessionResponse(uint response, const QVariantMap &results);
    void bindShortcutsResponse(uint response, const QVariantMap &results);
    void portalActivated(const QDBusMessage &message);

private:
    void rebind();
    void closeSession();
    [[nodiscard]] QString requestPath(const QString &token) const;
    bool call(const QString &method, const QVariantList &arguments, const QString &token,
              const char *responseSlot);

    QDBusConnection m_bus;
    bool m_offered = false;
    QMap<QString, QKeyCombination> m_shortcuts;
    QString m_session;
    QString m_pendingRequest;
    bool m_creating = false;
    bool m_dirty = false;
    int m_tokens = 0;
};
