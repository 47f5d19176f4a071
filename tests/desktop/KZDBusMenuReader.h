#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <optional>

// One entry of a menu as com.canonical.dbusmenu describes it.
struct KZDBusMenuItem
{
    int id = 0;
    QVariantMap properties;
    QList<KZDBusMenuItem> children;

    [[nodiscard]] QString label() const
    {
        return properties.value(QStringLiteral("label")).toString();
    }
    // Absent means enabled.
    [[nodiscard]] bool enabled() const
    {
        return properties.value(QStringLiteral("enabled"), true).toBool();
    }
    [[nodiscard]] bool isSeparator() const
    {
        return properties.value(QStringLiteral("type")).toString() == QLatin1String("separator");
    }
    // The keys of its "shortcut" property (aas), joined by "+": "Super+Control+Backspace".
    [[nodiscard]] QString shortcut() const;
    // The first child whose label (mnemonics removed) starts with prefix.
    [[nodiscard]] std::optional<KZDBusMenuItem> child(const QString &prefix) const;
};

// Reads a tray icon's menu over the bus the way a panel does: the item's Menu property, then
// AboutToShow, GetLayout and Event on the menu object; and hears the menu's change signals, on
// which a panel redraws an open menu.
class KZDBusMenuReader : public QObject
{
    Q_OBJECT

public:
    KZDBusMenuReader(QDBusConnection bus, QString service, QString itemPath);

    // Ids named by ItemsPropertiesUpdated (updated properties) since the reader was made, and
    // the parents named by LayoutUpdated (that item's children are to be read again).
    [[nodiscard]] QList<int> updatedIds() const { return m_updatedIds; }
    [[nodiscard]] QList<int> layoutParents() const { return m_layoutParents; }

    // The item's property of org.kde.StatusNotifierItem.
    [[nodiscard]] QVariant itemProperty(const QString &name) const;
    // What the item shows as its icon: its IconName and the bytes of its IconPixmap images.
    [[nodiscard]] QByteArray iconState() const;
    // The ToolTip property's title and text, joined by a line break.
    [[nodiscard]] QString toolTip() const;
    // Tells the menu (0: the root) that it is about to be shown.
    bool aboutToShow(int id);
    [[nodiscard]] std::optional<KZDBusMenuItem> layout(QString *error = nullptr);
    // An Event "clicked" on the item.
    bool click(int id);

private Q_SLOTS:
    void itemsPropertiesUpdated(const QDBusMessage &message);
    void layoutUpdated(const QDBusMessage &message);

private:
    QList<int> m_updatedIds;
    QList<int> m_layoutParents;
    QDBusConnection m_bus;
    QString m_service;
    QString m_itemPath;
    QString m_menuPath;
};
