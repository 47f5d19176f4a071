#include "KZDBusMenuReader.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDateTime>

namespace {
const QString kMenuInterface = QStringLiteral("com.canonical.dbusmenu");
const QString kItemInterface = QStringLiteral("org.kde.StatusNotifierItem");

void readItem(const QDBusArgument &argument, KZDBusMenuItem *item)
{
    argument.beginStructure();
    argument >> item->id >> item->properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant variant;
        argument >> variant;
        KZDBusMenuItem child;
        readItem(variant.variant().value<QDBusArgument>(), &child);
        item->children.append(child);
    }
    argument.endArray();
    argument.endStructure();
}

// An icon's images, a(iiay), as "WxH:bytes" one after the other.
QByteArray readPixmaps(const QDBusArgument &argument)
{
    QByteArray pixmaps;
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray bytes;
        argument.beginStructure();
        argument >> width >> height >> bytes;
        argument.endStructure();
        pixmaps += QByteArray::number(width) + 'x' + QByteArray::number(height) + ':' + bytes;
    }
    argument.endArray();
    return pixmaps;
}
} // namespace

std::optional<KZDBusMenuItem> KZDBusMenuItem::child(const QString &prefix) const
{
    for (const KZDBusMenuItem &item : children) {
        if (item.label().remove(QLatin1Char('_')).startsWith(prefix))
            return item;
    }
    return std::nullopt;
}

QString KZDBusMenuItem::shortcut() const
{
    const QVariant value = properties.value(QStringLiteral("shortcut"));
    QStringList keys;
    if (value.canConvert<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        argument.beginArray();
        while (!argument.atEnd()) {
            QStringList combination;
            argument >> combination;
            keys << combination.join(u'+');
        }
        argument.endArray();
    }
    return keys.join(u',');
}

KZDBusMenuReader::KZDBusMenuReader(QDBusConnection bus, QString service, QString itemPath)
    : m_bus(std::move(bus))
    , m_service(std::move(service))
    , m_itemPath(std::move(itemPath))
{
    m_menuPath = itemProperty(QStringLiteral("Menu")).value<QDBusObjectPath>().path();
    m_bus.connect(m_service, m_menuPath, kMenuInterface, QStringLiteral("ItemsPropertiesUpdated"),
                  this, SLOT(itemsPropertiesUpdated(QDBusMessage)));
    m_bus.connect(m_service, m_menuPath, kMenuInterface, QStringLiteral("LayoutUpdated"), this,
                  SLOT(layoutUpdated(QDBusMessage)));
}

void KZDBusMenuReader::itemsPropertiesUpdated(const QDBusMessage &message)
{
    // a(ia{sv}) updated, a(ias) removed
    if (message.arguments().isEmpty())
        return;
    const QDBusArgument updated = message.arguments().first().value<QDBusArgument>();
    updated.beginArray();
    while (!updated.atEnd()) {
        int id = 0;
        QVariantMap properties;
        updated.beginStructure();
        updated >> id >> properties;
        updated.endStructure();
        m_updatedIds.append(id);
    }
    updated.endArray();
}

void KZDBusMenuReader::layoutUpdated(const QDBusMessage &message)
{
    // (u revision, i parent)
    if (message.arguments().size() == 2)
        m_layoutParents.append(message.arguments().at(1).toInt());
}

QVariant KZDBusMenuReader::itemProperty(const QString &name) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        m_service, m_itemPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    call << kItemInterface << name;
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().first().value<QDBusVariant>().variant();
}

QByteArray KZDBusMenuReader::iconState() const
{
    return itemProperty(QStringLiteral("IconName")).toString().toUtf8() + '\n'
           + readPixmaps(itemProperty(QStringLiteral("IconPixmap")).value<QDBusArgument>());
}

QString KZDBusMenuReader::toolTip() const
{
    // (s icon name, a(iiay) icon pixmaps, s title, s text)
    const QDBusArgument argument = itemProperty(QStringLiteral("ToolTip")).value<QDBusArgument>();
    QString iconName;
    QString title;
    QString text;
    argument.beginStructure();
    argument >> iconName;
    (void)readPixmaps(argument);
    argument >> title >> text;
    argument.endStructure();
    return text.isEmpty() ? title : title + QLatin1Char('\n') + text;
}

bool KZDBusMenuReader::aboutToShow(int id)
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_service, m_menuPath, kMenuInterface,
                                                       QStringLiteral("AboutToShow"));
    call << id;
    return m_bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

std::optional<KZDBusMenuItem> KZDBusMenuReader::layout(QString *error)
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_service, m_menuPath, kMenuInterface,
                                                       QStringLiteral("GetLayout"));
    call << 0 << -1 << QStringList();
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 2) {
        if (error)
            *error = reply.errorMessage();
        return std::nullopt;
    }
    KZDBusMenuItem root;
    readItem(reply.arguments().at(1).value<QDBusArgument>(), &root);
    return root;
}

bool KZDBusMenuReader::click(int id)
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_service, m_menuPath, kMenuInterface,
                                                       QStringLiteral("Event"));
    call << id << QStringLiteral("clicked") << QVariant::fromValue(QDBusVariant(0))
         << uint(QDateTime::currentSecsSinceEpoch());
    return m_bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}
