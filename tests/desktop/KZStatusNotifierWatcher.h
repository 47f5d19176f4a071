#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

// A private session bus with a small StatusNotifierWatcher on it: what a panel of KDE Plasma,
// XFCE or GNOME's AppIndicator extension offers to tray icons. A program started with
// address() as its DBUS_SESSION_BUS_ADDRESS shows its icon here, and the test reads it as a
// panel does.
class KZStatusNotifierWatcher : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHostRegistered)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ registeredItems)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    KZStatusNotifierWatcher();
    ~KZStatusNotifierWatcher() override;

    // Starts the bus; with withWatcher, also claims the watcher's name. False with *error.
    bool start(bool withWatcher, QString *error);
    // Claims the watcher's name on a bus started without it: a panel that comes up late.
    bool claim(QString *error);
    [[nodiscard]] QString address() const { return m_address; }
    [[nodiscard]] QDBusConnection connection() const;

    [[nodiscard]] bool isHostRegistered() const { return true; }
    [[nodiscard]] QStringList registeredItems() const { return m_items; }
    [[nodiscard]] int protocolVersion() const { return 0; }

public Q_SLOTS:
    Q_SCRIPTABLE void RegisterStatusNotifierItem(const QString &service);
    Q_SCRIPTABLE void RegisterStatusNotifierHost(const QString &service);

Q_SIGNALS:
    Q_SCRIPTABLE void StatusNotifierItemRegistered(const QString &service);
    Q_SCRIPTABLE void StatusNotifierHostRegistered();

private:
    std::unique_ptr<QProcess> m_daemon;
    QString m_address;
    QString m_connectionName;
    QStringList m_items;
};
