#include "KZPortalGlobalShortcuts.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QKeySequence>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcPortalShortcuts, "binwise.hotkeys.portal")

namespace {

// One entry of BindShortcuts' a(sa{sv}).
struct PortalShortcut
{
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

// The portal asks for a short answer; a desktop without it must not hold up start-up.
constexpr int kVersionTimeoutMs = 2000;
const QString kRequestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString kSessionInterface = QStringLiteral("org.freedesktop.portal.Session");

} // namespace

Q_DECLARE_METATYPE(PortalShortcut)

bool KZPortalGlobalShortcuts::isOffered(const QDBusConnection &bus)
{
    if (!bus.isConnected())
        return false;
    QDBusMessage get = QDBusMessage::createMethodCall(
        kService, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << kInterface << QStringLiteral("version");
    const QDBusMessage reply = bus.call(get, QDBus::Block, kVersionTimeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()
           && qvariant_cast<QDBusVariant>(reply.arguments().constFirst()).variant().toUInt() >= 1;
}

QString KZPortalGlobalShortcuts::triggerText(QKeyCombination combination)
{
    // The shortcuts specification's form: modifiers in capitals, then the key's XKB name.
    QStringList parts;
    const Qt::KeyboardModifiers modifiers = combination.keyboardModifiers();
    if (modifiers & Qt::ControlModifier)
        parts << QStringLiteral("CTRL");
    if (modifiers & Qt::AltModifier)
        parts << QStringLiteral("ALT");
    if (modifiers & Qt::ShiftModifier)
        parts << QStringLiteral("SHIFT");
    if (modifiers & Qt::MetaModifier)
        parts << QStringLiteral("LOGO");
    const Qt::Key key = combination.key();
    QString name;
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        name = QChar(u'a' + (key - Qt::Key_A));
    else if (key == Qt::Key_Backspace)
        name = QStringLiteral("BackSpace");
    else if (key == Qt::Key_PageUp)
        name = QStringLiteral("Prior");
    else if (key == Qt::Key_PageDown)
        name = QStringLiteral("Next");
    else
        name = QKeySequence(key).toString(QKeySequence::PortableText);
    parts << name;
    return parts.join(u'+');
}

KZPortalGlobalShortcuts::KZPortalGlobalShortcuts(const QDBusConnection &bus, QObject *parent)
    : KZGlobalShortcuts(parent)
    , m_bus(bus)
    , m_offered(isOffered(bus))
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    m_bus.connect(kService, kPath, kInterface, QStringLiteral("Activated"), this,
                  SLOT(portalActivated(QDBusMessage)));
}

KZPortalGlobalShortcuts::~KZPortalGlobalShortcuts()
{
    closeSession();
}

KZGlobalShortcuts::Availability KZPortalGlobalShortcuts::availability() const
{
    if (m_offered)
        return {true, {}};
    return {false, QStringLiteral("this desktop does not offer global shortcuts to applications.")};
}

QString KZPortalGlobalShortcuts::requestPath(const QString &token) const
{
    // The portal makes the request object at a path it derives from the caller's name, so
    // that the answer can be listened for before the call is made.
    QString sender = m_bus.baseService().mid(1);
    sender.replace(u'.', u'_');
    return QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
}

bool KZPortalGlobalShortcuts::call(const QString &method, const QVariantList &arguments,
                                   const QString &token, const char *responseSlot)
{
    const QString request = requestPath(token);
    if (!m_pendingRequest.isEmpty())
        m_bus.disconnect(kService, m_pendingRequest, kRequestInterface, QStringLiteral("Response"),
                         this, nullptr);
    m_pendingRequest = request;
    m_bus.connect(kService, request, kRequestInterface, QStringLiteral("Response"), this,
                  responseSlot);
    QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
    message.setArguments(arguments);
    // The reply only names the request; the answer comes as its Response signal.
    return m_bus.send(message);
}

bool KZPortalGlobalShortcuts::registerShortcut(const QString &id, QKeyCombination combination)
{
    Q_ASSERT(!m_shortcuts.contains(id));
    if (!m_offered || m_shortcuts.contains(id))
        return false;
    m_shortcuts.insert(id, combination);
    rebind();
    return true;
}

void KZPortalGlobalShortcuts::unregisterShortcut(const QString &id)
{
    if (m_shortcuts.remove(id))
        rebind();
}

bool KZPortalGlobalShortcuts::isRegistered(const QString &id) const
{
    return m_shortcuts.contains(id);
}

void KZPortalGlobalShortcuts::closeSession()
{
    if (m_session.isEmpty())
        return;
    m_bus.send(QDBusMessage::createMethodCall(kService, m_session, kSessionInterface,
                                              QStringLiteral("Close")));
    m_session.clear();
}

void KZPortalGlobalShortcuts::rebind()
{
    // Changes that come while a session is being made are bound once it exists.
    if (m_creating) {
        m_dirty = true;
        return;
    }
    closeSession();
    m_dirty = false;
    if (m_shortcuts.isEmpty())
        return;
    m_creating = true;
    const QString token = QStringLiteral("binwise%1").arg(++m_tokens);
    const QVariantMap options{{QStringLiteral("handle_token"), token},
                              {QStringLiteral("session_handle_token"), token}};
    if (!call(QStringLiteral("CreateSession"), {options}, token,
              SLOT(createSessionResponse(uint, QVariantMap))))
        m_creating = false;
}

void KZPortalGlobalShortcuts::createSessionResponse(uint response, const QVariantMap &results)
{
    m_creating = false;
    if (response != 0) {
        qCInfo(lcPortalShortcuts) << "the portal refused a session:" << response;
        return;
    }
    m_session = results.value(QStringLiteral("session_handle")).toString();
    if (m_dirty) {
        rebind();
        return;
    }
    QList<PortalShortcut> shortcuts;
    for (auto it = m_shortcuts.cbegin(); it != m_shortcuts.cend(); ++it) {
        const QString description = it.key() == QLatin1String("values.emptyTrash")
                                        ? QStringLiteral("Empty all Trashes")
                                        : QStringLiteral("Smart Delete");
        shortcuts.append({it.key(),
                          {{QStringLiteral("description"), description},
                           {QStringLiteral("preferred_trigger"), triggerText(it.value())}}});
    }
    const QString token = QStringLiteral("binwise%1").arg(++m_tokens);
    call(QStringLiteral("BindShortcuts"),
         {QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(shortcuts),
          QString(), QVariantMap{{QStringLiteral("handle_token"), token}}},
         token, SLOT(bindShortcutsResponse(uint, QVariantMap)));
}

void KZPortalGlobalShortcuts::bindShortcutsResponse(uint response, const QVariantMap &)
{
    if (response != 0)
        qCInfo(lcPortalShortcuts) << "the portal did not bind the hot keys:" << response;
    Q_EMIT shortcutsBound();
}

void KZPortalGlobalShortcuts::portalActivated(const QDBusMessage &message)
{
    // (o session_handle, s shortcut_id, t timestamp, a{sv} options)
    const QVariantList arguments = message.arguments();
    if (arguments.size() < 2)
        return;
    const QString session = qvariant_cast<QDBusObjectPath>(arguments.at(0)).path();
    const QString shortcutId = arguments.at(1).toString();
    if (session != m_session || !m_shortcuts.contains(shortcutId))
        return;
    Q_EMIT activated(shortcutId);
}
