#include "KZStatusNotifierWatcher.h"

#include <QDBusMessage>

KZStatusNotifierWatcher::KZStatusNotifierWatcher()
    : m_connectionName(QStringLiteral("watcher-%1").arg(quintptr(this)))
{}

KZStatusNotifierWatcher::~KZStatusNotifierWatcher()
{
    QDBusConnection::disconnectFromBus(m_connectionName);
    if (m_daemon) {
        m_daemon->kill();
        m_daemon->waitForFinished(3000);
    }
}

bool KZStatusNotifierWatcher::start(bool withWatcher, QString *error)
{
    m_daemon = std::make_unique<QProcess>();
    m_daemon->setProgram(QStringLiteral("dbus-daemon"));
    m_daemon->setArguments({QStringLiteral("--session"), QStringLiteral("--nofork"),
                            QStringLiteral("--print-address")});
    m_daemon->start();
    if (!m_daemon->waitForStarted(5000)) {
        *error = QStringLiteral("dbus-daemon does not start: ") + m_daemon->errorString();
        return false;
    }
    while (!m_daemon->canReadLine() && m_daemon->waitForReadyRead(5000)) {
    }
    m_address = QString::fromUtf8(m_daemon->readLine()).trimmed();
    if (m_address.isEmpty()) {
        *error = QStringLiteral("dbus-daemon told no address");
        return false;
    }
    QDBusConnection bus = QDBusConnection::connectToBus(m_address, m_connectionName);
    if (!bus.isConnected()) {
        *error = QStringLiteral("cannot connect to the private bus: ") + bus.lastError().message();
        return false;
    }
    return !withWatcher || claim(error);
}

bool KZStatusNotifierWatcher::claim(QString *error)
{
    QDBusConnection bus = connection();
    if (!bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), this,
                            QDBusConnection::ExportScriptableContents
                                | QDBusConnection::ExportAllProperties)
        || !bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"))) {
        *error = QStringLiteral("cannot register the watcher: ") + bus.lastError().message();
        return false;
    }
    return true;
}

QDBusConnection KZStatusNotifierWatcher::connection() const
{
    return QDBusConnection(m_connectionName);
}

void KZStatusNotifierWatcher::RegisterStatusNotifierItem(const QString &service)
{
    // An item may register by its path alone; the caller's bus name says whose it is.
    QString name = service;
    if (service.startsWith(QLatin1Char('/')) && calledFromDBus())
        name = message().service() + service;
    if (!m_items.contains(name))
        m_items.append(name);
    Q_EMIT StatusNotifierItemRegistered(name);
}

void KZStatusNotifierWatcher::RegisterStatusNotifierHost(const QString &)
{
    Q_EMIT StatusNotifierHostRegistered();
}
