// The portal implementation against a small GlobalShortcuts portal that this test serves on a
// private session bus (its own dbus-daemon), from a thread of its own as a real portal is a
// process of its own: sessions, the bound set with its triggers, Activated, and a desktop
// without the portal.
#include "gui/platform/portal/KZPortalGlobalShortcuts.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

namespace {

// What the portal was asked, read by the test thread.
struct PortalRecord
{
    mutable QMutex lock;
    QStringList sessions;
    QStringList closed;
    // Per BindShortcuts: session, then "id=trigger" for each shortcut.
    QList<QStringList> binds;
};

// org.freedesktop.portal.GlobalShortcuts as xdg-desktop-portal serves it: requests answered
// through org.freedesktop.portal.Request's Response signal at the caller-derived path.
class FakePortal : public QDBusVirtualObject
{
public:
    FakePortal(QDBusConnection bus, PortalRecord *record)
        : m_bus(std::move(bus))
        , m_record(record)
    {}

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        const QString member = message.member();
        if (message.interface() == QLatin1String("org.freedesktop.DBus.Properties")
            && member == QLatin1String("Get")) {
            m_bus.send(message.createReply(QVariant::fromValue(QDBusVariant(1u))));
            return true;
        }
        if (message.interface() == QLatin1String("org.freedesktop.portal.Session")
            && member == QLatin1String("Close")) {
            QMutexLocker locker(&m_record->lock);
            m_record->closed << message.path();
            m_bus.send(message.createReply());
            return true;
        }
        if (member == QLatin1String("CreateSession")) {
            const QVariantMap options = qdbus_cast<QVariantMap>(message.arguments().at(0));
            const QString session
                = sessionRoot() + options.value(QStringLiteral("session_handle_token")).toString();
            {
                QMutexLocker locker(&m_record->lock);
                m_record->sessions << session;
            }
            respond(message, options, {{QStringLiteral("session_handle"), session}});
            return true;
        }
        if (member == QLatin1String("BindShortcuts")) {
            const QVariantList arguments = message.arguments();
            QStringList bind{qvariant_cast<QDBusObjectPath>(arguments.at(0)).path()};
            const QDBusArgument shortcuts = arguments.at(1).value<QDBusArgument>();
            shortcuts.beginArray();
            while (!shortcuts.atEnd()) {
                QString id;
                QVariantMap properties;
                shortcuts.beginStructure();
                shortcuts >> id >> properties;
                shortcuts.endStructure();
                bind << id + u'='
                            + properties.value(QStringLiteral("preferred_trigger")).toString();
            }
            shortcuts.endArray();
            {
                QMutexLocker locker(&m_record->lock);
                m_record->binds << bind;
            }
            respond(message, qdbus_cast<QVariantMap>(arguments.at(3)), {});
            return true;
        }
        return false;
    }

    // The user pressed the shortcut id of session.
    static void activate(QDBusConnection bus, const QString &session, const QString &id)
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.GlobalShortcuts"), QStringLiteral("Activated"));
        signal << QVariant::fromValue(QDBusObjectPath(session)) << id << qulonglong(1234)
               << QVariantMap();
        bus.send(signal);
    }

private:
    QString senderPart(const QDBusMessage &message) const
    {
        QString sender = message.service().mid(1);
        return sender.replace(u'.', u'_');
    }
    QString sessionRoot() const
    {
        return QStringLiteral("/org/freedesktop/portal/desktop/session/x/");
    }

    void respond(const QDBusMessage &message, const QVariantMap &options,
                 const QVariantMap &results)
    {
        const QString request = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                                    .arg(senderPart(message),
                                         options.value(QStringLiteral("handle_token")).toString());
        m_bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        QDBusMessage response = QDBusMessage::createSignal(
            request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
        response << 0u << results;
        m_bus.send(response);
    }

    QDBusConnection m_bus;
    PortalRecord *m_record;
};

// A private session bus, and the portal served on it from its own thread.
class PortalBus : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--session"), QStringLiteral("--nofork"),
                        QStringLiteral("--print-address")});
        if (!m_daemon.waitForStarted(5000) || !m_daemon.waitForReadyRead(5000))
            GTEST_SKIP() << "dbus-daemon does not start";
        m_address = QString::fromUtf8(m_daemon.readLine().trimmed());
        m_thread.start();
    }

    void TearDown() override
    {
        if (m_portalObject) {
            QMetaObject::invokeMethod(
                m_portalObject,
                [this] {
                    QDBusConnection::disconnectFromBus(QStringLiteral("portal"));
                    delete m_portal;
                    delete m_portalObject;
                },
                Qt::BlockingQueuedConnection);
        }
        m_thread.quit();
        m_thread.wait();
        QDBusConnection::disconnectFromBus(QStringLiteral("client"));
        m_daemon.kill();
        m_daemon.waitForFinished(5000);
    }

    // Serves the portal on the bus from the portal thread.
    void servePortal()
    {
        m_portalObject = new QObject;
        m_portalObject->moveToThread(&m_thread);
        bool served = false;
        QMetaObject::invokeMethod(
            m_portalObject,
            [this, &served] {
                QDBusConnection bus
                    = QDBusConnection::connectToBus(m_address, QStringLiteral("portal"));
                m_portal = new FakePortal(bus, &record);
                served
                    = bus.registerVirtualObject(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                m_portal, QDBusConnection::SubPath)
                      && bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
            },
            Qt::BlockingQueuedConnection);
        ASSERT_TRUE(served);
    }

    QDBusConnection client() const
    {
        return QDBusConnection::connectToBus(m_address, QStringLiteral("client"));
    }
    QDBusConnection portalBus() const { return QDBusConnection(QStringLiteral("portal")); }

    QStringList lastBind() const
    {
        QMutexLocker locker(&record.lock);
        return record.binds.isEmpty() ? QStringList() : record.binds.last();
    }
    qsizetype bindCount() const
    {
        QMutexLocker locker(&record.lock);
        return record.binds.size();
    }

    PortalRecord record;

private:
    QProcess m_daemon;
    QString m_address;
    QThread m_thread;
    QObject *m_portalObject = nullptr;
    FakePortal *m_portal = nullptr;
};

} // namespace

TEST_F(PortalBus, ShortcutsAreBoundWithTheirTriggersAndActivatedReachesOnlyTheCurrentSession)
{
    servePortal();
    ASSERT_TRUE(KZPortalGlobalShortcuts::isOffered(client()));
    KZPortalGlobalShortcuts shortcuts(client());
    ASSERT_TRUE(shortcuts.availability().available);
    QSignalSpy bound(&shortcuts, &KZPortalGlobalShortcuts::shortcutsBound);
    QSignalSpy fired(&shortcuts, &KZGlobalShortcuts::activated);

    ASSERT_TRUE(shortcuts.registerShortcut(
        QStringLiteral("values.emptyTrash"),
        QKeyCombination(Qt::MetaModifier | Qt::ControlModifier, Qt::Key_Backspace)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return bound.size() >= 1; }, 5000));
    QStringList bind = lastBind();
    ASSERT_EQ(bind.size(), 2);
    const QString firstSession = bind.at(0);
    EXPECT_EQ(bind.at(1), QStringLiteral("values.emptyTrash=CTRL+LOGO+BackSpace"));

    FakePortal::activate(portalBus(), firstSession, QStringLiteral("values.emptyTrash"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return fired.size() == 1; }, 5000));
    EXPECT_EQ(fired.at(0).at(0).toString(), QStringLiteral("values.emptyTrash"));

    // A second hot key: the set is bound again in a new session and the old one is closed.
    ASSERT_TRUE(shortcuts.registerShortcut(
        QStringLiteral("values.smartDelete"),
        QKeyCombination(Qt::MetaModifier | Qt::ShiftModifier, Qt::Key_S)));
    ASSERT_TRUE(QTest::qWaitFor([&] { return bound.size() >= 2; }, 5000));
    bind = lastBind();
    ASSERT_EQ(bind.size(), 3);
    EXPECT_NE(bind.at(0), firstSession);
    EXPECT_TRUE(bind.contains(QStringLiteral("values.smartDelete=SHIFT+LOGO+s")));
    {
        QMutexLocker locker(&record.lock);
        EXPECT_TRUE(record.closed.contains(firstSession));
    }
    // The old session's presses are not this set's.
    FakePortal::activate(portalBus(), firstSession, QStringLiteral("values.emptyTrash"));
    FakePortal::activate(portalBus(), bind.at(0), QStringLiteral("values.smartDelete"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return fired.size() == 2; }, 5000));
    QTest::qWait(200);
    EXPECT_EQ(fired.size(), 2);
    EXPECT_EQ(fired.at(1).at(0).toString(), QStringLiteral("values.smartDelete"));

    // Unregistered: bound without it; its presses are ignored.
    shortcuts.unregisterShortcut(QStringLiteral("values.smartDelete"));
    EXPECT_FALSE(shortcuts.isRegistered(QStringLiteral("values.smartDelete")));
    ASSERT_TRUE(QTest::qWaitFor([&] { return bound.size() >= 3; }, 5000));
    bind = lastBind();
    EXPECT_EQ(bind.mid(1), QStringList{QStringLiteral("values.emptyTrash=CTRL+LOGO+BackSpace")});
    FakePortal::activate(portalBus(), bind.at(0), QStringLiteral("values.smartDelete"));
    FakePortal::activate(portalBus(), bind.at(0), QStringLiteral("values.emptyTrash"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return fired.size() == 3; }, 5000));
    QTest::qWait(200);
    EXPECT_EQ(fired.size(), 3);
    EXPECT_EQ(fired.at(2).at(0).toString(), QStringLiteral("values.emptyTrash"));
}

TEST_F(PortalBus, ADesktopWithoutThePortalHasHotKeysOffWithAReason)
{
    // Nothing serves the portal on this bus.
    EXPECT_FALSE(KZPortalGlobalShortcuts::isOffered(client()));
    KZPortalGlobalShortcuts shortcuts(client());
    EXPECT_FALSE(shortcuts.availability().available);
    EXPECT_FALSE(shortcuts.availability().reason.isEmpty());
    EXPECT_FALSE(shortcuts.registerShortcut(
        QStringLiteral("values.emptyTrash"),
        QKeyCombination(Qt::MetaModifier | Qt::ControlModifier, Qt::Key_Backspace)));
    EXPECT_FALSE(shortcuts.isRegistered(QStringLiteral("values.emptyTrash")));
}
