#include "KZStatusItem.h"

#include "KZTrayIcons.h"
#include "KZTrayPanel.h"
#include "format/KZLocalizedStrings.h"
#include "foundation/KZUserDefaults.h"
#include "model/KZFilesUtilities.h"
#include "presentation/KZBinwise.h"
#include "presentation/KZTrayMenuRows.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QEvent>
#include <QHash>
#include <QKeySequence>
#include <QMenu>
#include <QMessageBox>

namespace {
// How often start-up looks again for a tray host while it waits for one.
constexpr int kTrayPollMs = 250;
// The main menu's items that the controller runs and validates.
constexpr int kMainMenuTags[] = {KZBinwise::EmptyAllTrashesTag, KZBinwise::SmartDeleteTag,
                                 KZBinwise::ShowPanelTag, KZBinwise::PreferencesTag};

// Whether a panel on the session bus now hosts StatusNotifierItems, as Qt asks it once.
bool statusNotifierHostOnBus()
{
    const QString watcher = QStringLiteral("org.kde.StatusNotifierWatcher");
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(watcher))
        return false;
    QDBusMessage get = QDBusMessage::createMethodCall(
        watcher, QStringLiteral("/StatusNotifierWatcher"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << watcher << QStringLiteral("IsStatusNotifierHostRegistered");
    const QDBusMessage reply = bus.call(get, QDBus::Block, kTrayPollMs);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()
           && reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

QIcon volumeIcon(const QUrl &volumeURL)
{
    // The icon lookup reads the theme once per volume kind; a menu opened again reuses it.
    static QHash<QString, QIcon> cache;
    const QString key = volumeURL.toString();
    auto found = cache.constFind(key);
    if (found != cache.constEnd())
        return *found;
    QIcon icon;
    for (const int side : {16, 32, 48})
        icon.addPixmap(
            QPixmap::fromImage(KZFilesUtilities::iconOfItem({}, volumeURL, QSize(side, side))));
    cache.insert(key, icon);
    return icon;
}

QKeySequence hotKeySequence(const QVariantMap &hotKey)
{
    const int key = hotKey.value(KZUserDefaults::kKeyCode).toInt();
    const int modifiers = hotKey.value(KZUserDefaults::kModifierFlags).toInt();
    if (key == 0)
        return {};
    return QKeySequence(QKeyCombination(Qt::KeyboardModifiers(modifiers), Qt::Key(key)));
}
} // namespace

KZStatusItem::KZStatusItem(int trayWaitMs, QObject *parent)
    : QObject(parent)
    , m_trayWaitMs(trayWaitMs)
    , m_rows(new KZTrayMenuRows(this))
{
    m_trayWait.setInterval(kTrayPollMs);
    connect(&m_trayWait, &QTimer::timeout, this, &KZStatusItem::waitForTray);
    connect(m_rows, &KZTrayMenuRows::rowsReset, this, &KZStatusItem::rebuildVolumeActions);
    connect(m_rows, &KZTrayMenuRows::rowChanged, this, &KZStatusItem::updateVolumeAction);
}

KZStatusItem::~KZStatusItem()
{
    if (qApp)
        qApp->removeEventFilter(this);
    delete m_panel;
}

void KZStatusItem::setController(KZBinwise *controller)
{
    m_controller = controller;
    connect(controller, &KZBinwise::menuStateChanged, this, [this] {
        // An open menu follows at once: a host showing it over DBusMenu is told of each change.
        validateMainMenu();
        m_rows->setCanErase(m_controller->validateMenuItem());
    });
}

QAction *KZStatusItem::actionWithTag(int tag) const
{
    for (QAction *action : m_menu->actions()) {
        if (action->data().toInt() == tag)
            return action;
    }
    return nullptr;
}

void KZStatusItem::buildMenus()
{
    m_menu = std::make_unique<QMenu>();
    m_menu->setObjectName(QStringLiteral("binwiseMenu"));

    QAction *emptyAll = m_menu->addAction(KZLocalizedString(QStringLiteral("menu_empty_all")));
    emptyAll->setData(int(KZBinwise::EmptyAllTrashesTag));
    // The hot key is shown, not bound here: the global registration answers it.
    emptyAll->setShortcutContext(Qt::WidgetShortcut);

    m_volumesMenu = m_menu->addMenu(KZLocalizedString(QStringLiteral("menu_trashes")));
    m_volumesMenu->setObjectName(QStringLiteral("subTrashMenu"));
    m_volumesMenu->menuAction()->setData(int(KZBinwise::VolumesSubmenuTag));
    m_volumesMenu->installEventFilter(this);

    QAction *smartDelete
        = m_menu->addAction(KZLocalizedString(QStringLiteral("menu_smart_delete")));
    smartDelete->setData(int(KZBinwise::SmartDeleteTag));
    smartDelete->setShortcutContext(Qt::WidgetShortcut);

    QAction *panel = m_menu->addAction(KZLocalizedString(QStringLiteral("menu_show_panel")));
    panel->setData(int(KZBinwise::ShowPanelTag));

    m_menu->addSeparator();
    QAction *preferences = m_menu->addAction(KZLocalizedString(QStringLiteral("menu_preferences")));
    preferences->setData(int(KZBinwise::PreferencesTag));

    m_serviceMenu = m_menu->addMenu(KZLocalizedString(QStringLiteral("menu_services")));
    m_serviceMenu->setObjectName(QStringLiteral("serviceMenu"));
    const std::pair<int, QString> services[] = {
        {KZBinwise::WelcomeServiceTag, QStringLiteral("menu_welcome")},
        {KZBinwise::SupportServiceTag, QStringLiteral("menu_support")},
        {KZBinwise::NewsletterServiceTag, QStringLiteral("menu_newsletter")},
    };
    for (const auto &[tag, title] : services) {
        QAction *action = m_serviceMenu->addAction(KZLocalizedString(title));
        action->setData(tag);
        connect(action, &QAction::triggered, m_controller,
                [this, tag] { m_controller->serviceMenuAction(tag); });
    }
    QAction *about = m_menu->addAction(KZLocalizedString(QStringLiteral("menu_about")));
    connect(about, &QAction::triggered, m_controller, &KZBinwise::showAboutPanel);
    QAction *quit = m_menu->addAction(KZLocalizedString(QStringLiteral("menu_quit")));
    connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);

    for (const int tag : kMainMenuTags) {
        QAction *action = actionWithTag(tag);
        connect(action, &QAction::triggered, m_controller,
                [this, tag] { m_controller->mainMenuAction(tag); });
    }

    connect(m_menu.get(), &QMenu::aboutToShow, this, [this] { menuNeedsUpdate(m_menu.get()); });
    connect(m_volumesMenu, &QMenu::aboutToShow, this, [this] { menuNeedsUpdate(m_volumesMenu); });
    // "menubar_selected" while the menu is open.
    connect(m_menu.get(), &QMenu::aboutToShow, this, [this] {
        m_selected = true;
        setStatusIcon();
    });
    connect(m_menu.get(), &QMenu::aboutToHide, this, [this] {
        m_selected = false;
        setStatusIcon();
    });

    updateShortcuts();
    KZUserDefaults &defaults = KZUserDefaults::sharedControl();
    defaults.observe(KZUserDefaults::kEmptyTrash, this,
                     [this](const QVariant &) { updateShortcuts(); });
    defaults.observe(KZUserDefaults::kSmartDelete, this,
                     [this](const QVariant &) { updateShortcuts(); });
}

void KZStatusItem::updateShortcuts()
{
    if (QAction *emptyAll = actionWithTag(KZBinwise::EmptyAllTrashesTag))
        emptyAll->setShortcut(hotKeySequence(
            KZUserDefaults::sharedControl().dictionaryForKey(KZUserDefaults::kEmptyTrash)));
    if (QAction *smartDelete = actionWithTag(KZBinwise::SmartDeleteTag))
        smartDelete->setShortcut(hotKeySequence(
            KZUserDefaults::sharedControl().dictionaryForKey(KZUserDefaults::kSmartDelete)));
}

void KZStatusItem::setupStatusMenu(std::function<void(bool shown)> done)
{
    Q_ASSERT(m_controller);
    m_done = std::move(done);
    buildMenus();
    m_trayIcon = std::make_unique<QSystemTrayIcon>();
    m_trayIcon->setContextMenu(m_menu.get());
    m_trayIcon->setToolTip(QStringLiteral("Binwise"));
    setStatusIcon();
    connect(m_trayIcon.get(), &QSystemTrayIcon::activated, this, &KZStatusItem::activated);
    qApp->installEventFilter(this);
    validateMainMenu();
    m_trayClock.start();
    waitForTray();
}

void KZStatusItem::waitForTray()
{
    // At login the panel often starts after the programs started with it.
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        m_trayWait.stop();
        m_trayIcon->show();
        if (m_done)
            std::exchange(m_done, {})(true);
        return;
    }
    // Qt looks for a StatusNotifierItem host once, when the first icon is made, and keeps
    // that answer; a panel started after binwise (both launched at login) would never get the
    // icon. Starting again is the only way to have Qt ask anew.
    if (m_mayRestart && statusNotifierHostOnBus()) {
        m_mayRestart = false;
        m_trayWait.stop();
        Q_EMIT restartForTrayHost();
        return;
    }
    // Measured, not counted in polls: a coarse timer may fire a little early.
    if (m_trayClock.elapsed() >= m_trayWaitMs) {
        m_trayWait.stop();
        if (m_done)
            std::exchange(m_done, {})(false);
        return;
    }
    if (!m_trayWait.isActive())
        m_trayWait.start();
}

void KZStatusItem::setStatusIcon()
{
    if (!m_trayIcon)
        return;
    m_trayIcon->setIcon(KZTrayIcons::statusIcon(m_full, m_selected, QApplication::palette()));
}

void KZStatusItem::setTrashTotals(quint64 itemsCount, quint64 itemsSize)
{
    m_totalsKnown = true;
    const bool full = itemsCount > 0;
    if (full != m_full) {
        m_full = full;
        setStatusIcon();
    }
    if (!m_trayIcon)
        return;
    m_trayIcon->setToolTip(
        full ? KZLocalizedFormat(QStringLiteral("tray_tooltip"),
                                 {KZTrayMenuRows::infoText(itemsSize, itemsCount)})
             : KZLocalizedString(QStringLiteral("tray_tooltip_empty")));
}

void KZStatusItem::menuNeedsUpdate(QMenu *menu)
{
    if (menu == m_volumesMenu) {
        m_volumesMenu->setMinimumWidth(0);
        m_rows->rebuild(m_controller->trashesAndVolumesLocations(),
                        m_controller->validateMenuItem());
        return;
    }
    validateMainMenu();
}

void KZStatusItem::validateMainMenu()
{
    if (!m_menu)
        return;
    for (const int tag : kMainMenuTags) {
        if (QAction *action = actionWithTag(tag))
            action->setEnabled(m_controller->isMainMenuItemEnabled(tag));
    }
    // The services follow the controller's rule: nothing opens over an erase.
    for (QAction *action : m_serviceMenu->actions())
        action->setEnabled(m_controller->validateMenuItem());
}

void KZStatusItem::rebuildVolumeActions()
{
    for (QAction *action : std::as_const(m_volumeActions)) {
        m_volumesMenu->removeAction(action);
        action->deleteLater();
    }
    m_volumeActions.clear();
    for (int row = 0; row < m_rows->count(); ++row) {
        auto *action = new QAction(m_volumesMenu);
        action->setData(1001 + row);
        action->setIcon(volumeIcon(m_rows->record(row).volumeURL));
        connect(action, &QAction::triggered, m_controller, [this, row] {
            if (row < m_rows->count())
                m_controller->emptyHardDriveTrashesAction(m_rows->record(row));
        });
        m_volumeActions.append(action);
        updateVolumeAction(row);
    }
    m_volumesMenu->addActions(m_volumeActions);
    if (m_volumeActions.isEmpty()) {
        auto *none = new QAction(KZLocalizedString(QStringLiteral("No_trash")), m_volumesMenu);
        none->setEnabled(false);
        m_volumeActions.append(none);
        m_volumesMenu->addAction(none);
    }
}

void KZStatusItem::updateVolumeAction(int row)
{
    if (row < 0 || row >= m_volumeActions.size() || row >= m_rows->count())
        return;
    QAction *action = m_volumeActions.at(row);
    action->setText(m_rows->text(row));
    action->setEnabled(m_rows->isEnabled(row));
}

void KZStatusItem::activated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::Trigger)
        showPanel();
}

void KZStatusItem::showPanel()
{
    if (!m_panel) {
        m_panel = new KZTrayPanel;
        connect(m_panel, &KZTrayPanel::rowChosen, m_controller,
                &KZBinwise::emptyHardDriveTrashesAction);
    }
    QRect anchor = m_trayIcon ? m_trayIcon->geometry() : QRect();
    if (anchor.isEmpty())
        anchor = QRect(QCursor::pos(), QSize(1, 1));
    m_panel->showRows(m_controller->trashesAndVolumesLocations(), !m_controller->validateMenuItem(),
                      anchor);
}

void KZStatusItem::showAboutPanel()
{
    auto *box = new QMessageBox;
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(KZLocalizedString(QStringLiteral("menu_about")));
    box->setIconPixmap(KZTrayIcons::applicationIcon(QApplication::palette()).pixmap(64, 64));
    box->setText(QStringLiteral("<b>Binwise %1</b>").arg(QCoreApplication::applicationVersion()));
    box->setInformativeText(KZLocalizedString(QStringLiteral("about_text")));
    box->setStandardButtons(QMessageBox::Ok);
    box->show();
    box->raise();
    box->activateWindow();
}

bool KZStatusItem::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
        setStatusIcon();
    // A measured line is often shorter than "Gathering information…": the open submenu keeps
    // its width, so that one opened to the left of the menu stays beside it.
    if (watched == m_volumesMenu && event->type() == QEvent::Show)
        m_volumesMenu->setMinimumWidth(m_volumesMenu->sizeHint().width());
    return QObject::eventFilter(watched, event);
}
