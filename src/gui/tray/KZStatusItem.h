#pragma once

#include "KZTrayPanel.h"
#include "presentation/KZStatusMenuFace.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QTimer>

#include <functional>
#include <memory>

class KZBinwise;
class KZTrayMenuRows;
class QAction;
class QMenu;

// The status item: the tray icon, its main menu (empty all Trashes with its hot key shown, the
// per-volume submenu rebuilt at each opening, the panel, the services, about, quit) and Binwise's
// own panel on a left click. Tray hosts that speak StatusNotifierItem get the menu over DBusMenu,
// so the menu holds plain actions only and every change is made on the actions themselves, which
// the host sees while the menu is open. Main thread.
class KZStatusItem : public QObject, public KZStatusMenuFace
{
    Q_OBJECT

public:
    // trayWaitMs: how long start-up waits for a tray host to appear before giving up.
    explicit KZStatusItem(int trayWaitMs, QObject *parent = nullptr);
    ~KZStatusItem() override;

    // The controller whose actions the menu calls; set once, before setupStatusMenu.
    void setController(KZBinwise *controller);

    void setupStatusMenu(std::function<void(bool shown)> done) override;
    void showAboutPanel() override;
    void showPanel() override;

    // Whether a tray host that comes late may restart the process (restartForTrayHost); off
    // until the application says it can restart.
    void setMayRestartForTrayHost(bool may) { m_mayRestart = may; }

    // The total of every Trash: a full or an empty icon, and the tooltip.
    void setTrashTotals(quint64 itemsCount, quint64 itemsSize);
    // The tray images in the current palette.
    void setStatusIcon();

    [[nodiscard]] QSystemTrayIcon *trayIcon() const { return m_trayIcon.get(); }
    [[nodiscard]] QMenu *menu() const { return m_menu.get(); }
    [[nodiscard]] QMenu *volumesMenu() const { return m_volumesMenu; }
    [[nodiscard]] QMenu *serviceMenu() const { return m_serviceMenu; }
    [[nodiscard]] KZTrayMenuRows *rows() const { return m_rows; }
    [[nodiscard]] KZTrayPanel *panel() const { return m_panel; }

Q_SIGNALS:
    // A StatusNotifierItem host came up after Qt had settled on having none: this process can
    // no longer show its icon there and has to start again. Emitted at most once, during the
    // wait for a tray host.
    void restartForTrayHost();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildMenus();
    void waitForTray();
    void menuNeedsUpdate(QMenu *menu);
    void validateMainMenu();
    void rebuildVolumeActions();
    void updateVolumeAction(int row);
    void updateShortcuts();
    void activated(QSystemTrayIcon::ActivationReason reason);
    [[nodiscard]] QAction *actionWithTag(int tag) const;

    KZBinwise *m_controller = nullptr;
    int m_trayWaitMs;
    QTimer m_trayWait;
    QElapsedTimer m_trayClock;
    bool m_mayRestart = false;
    std::function<void(bool)> m_done;
    std::unique_ptr<QMenu> m_menu;
    QMenu *m_volumesMenu = nullptr;
    QMenu *m_serviceMenu = nullptr;
    std::unique_ptr<QSystemTrayIcon> m_trayIcon;
    KZTrayMenuRows *m_rows = nullptr;
    QList<QAction *> m_volumeActions;
    QPointer<KZTrayPanel> m_panel;
    bool m_full = false;
    bool m_selected = false;
    bool m_totalsKnown = false;
};
