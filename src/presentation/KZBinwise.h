#pragma once

#include "erase/KZEraseSummary.h"
#include "erase/KZJobState.h"
#include "model/KZTrashLocation.h"

#include <QByteArray>
#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QSet>
#include <QUrl>

#include <functional>
#include <memory>

class KZDeleteItems;
class KZGlobalShortcuts;
class KZStatusMenuFace;
class KZTUErrorDelegate;
class KZUserDefaults;
class KZWebPromoFace;
class KZWelcomeFace;

// The application controller: starts the desktop application, keeps the flag that says an
// erase is under way, and turns the status menu's choices into erase requests for the engine.
// Reads the engine's job state too, so that nothing starts a second job while a confirmation is
// up (a nested event loop) or a walk runs. Main thread.
class KZBinwise : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isWorking READ isWorking WRITE setIsWorking NOTIFY isWorkingChanged)

public:
    // Tags of the main menu's items.
    enum MenuTag : int {
        EmptyAllTrashesTag = 1,
        VolumesSubmenuTag = 2,
        SmartDeleteTag = 3,
        PreferencesTag = 4,
        // Opens Binwise's panel with the rich rows; like the erase items, only while idle.
        ShowPanelTag = 5,
    };
    // Tags of the services menu's items.
    enum ServiceTag : int {
        WelcomeServiceTag = 1,
        SupportServiceTag = 4,
        NewsletterServiceTag = 5,
    };
    // Work started from a menu waits this long, so that the menu has closed first.
    static constexpr int kMenuActionDelayMs = 100;

    // Where the controller reaches the engine and the system. Null or empty members mean the
    // shared ones.
    struct Environment
    {
        KZDeleteItems *engine = nullptr;
        KZUserDefaults *userDefaults = nullptr;
        KZTUErrorDelegate *presenter = nullptr;
        // Every volume's Trash location record, with a plain sentence in *problems for each
        // Trash left out; the shared file model's when empty.
        std::function<QList<KZTrashLocation>(QList<KZError> *problems)> locations;
        // Whether the privileged helper can be used, asked once at start-up.
        std::function<bool()> installHelper;
        // The kernel release ("6.1.0-13-amd64"); uname's when empty.
        QByteArray kernelRelease;
        // Makes the welcome window's controller for this controller, once; null when its
        // window cannot be made. No welcome window when empty.
        std::function<std::unique_ptr<KZWelcomeFace>(KZBinwise *)> makeWelcome;
        // The web promotion's controller, one for the process; no promotion when empty.
        std::function<KZWebPromoFace *()> webPromo;
        // Opens a URL with the desktop's handler (browser, mail program); false when nothing
        // took it. Nothing is opened when empty.
        std::function<bool(const QUrl &)> openURL;
        // Looks for the earlier edition and answers the program that uninstalls it, or an
        // empty string when there is none. Linux has no menu-extra service for it to live in,
        // so the application leaves this empty and finds none.
        std::function<QString()> findOldBinwise;
        // The session's global hot keys; none are registered when null.
        KZGlobalShortcuts *globalShortcuts = nullptr;
        // Opens the preferences window (made once, kept).
        std::function<void()> openPreferences;
        // Opens the smart-delete window. Without one its hot key is not registered, so that the
        // combination is left to other programs rather than taken to do nothing.
        std::function<void()> smartDeletection;
    };

    // Where the newsletter subscription goes when the string table's address is unusable.
    static inline const QString kNewsletterFallbackURL
        = QStringLiteral("mailto:newsletter@binwise.org");

    // The hot keys' identifiers: the key paths of the settings they follow.
    static inline const QString kEmptyTrashKeyPath = QStringLiteral("values.emptyTrash");
    static inline const QString kSmartDeleteKeyPath = QStringLiteral("values.smartDelete");

    KZBinwise(KZStatusMenuFace *face, Environment environment, QObject *parent = nullptr);
    ~KZBinwise() override;

    // Start-up: system version, defaults, status menu (which may wait for a tray host), then
    // the "stopWorking" observation, on a first run the disclaimer and the welcome window, the
    // helper check, the earlier edition and the web promotion. Ends in launched(), or in
    // terminateRequested() when there is no tray to show the menu in or the disclaimer was
    // refused.
    void applicationDidFinishLaunching();
    void setupSystemVersion();
    // The system version code for a kernel release: its major, minor and patch numbers joined
    // after "10" and the major number plus 10, read as hexadecimal (6.1.0 gives 0x101610), so
    // that every kernel compares at or above 0x10100.
    [[nodiscard]] static quint32 systemVersionForKernelRelease(const QByteArray &release);

    [[nodiscard]] bool isWorking() const { return m_isWorking; }
    void setIsWorking(bool working);
    [[nodiscard]] KZJobState jobState() const;
    // True while nothing is being erased or confirmed: the menu items that start an erase and
    // the volume rows are enabled only then.
    [[nodiscard]] bool validateMenuItem() const;
    // The enabled state of the main menu's item with tag.
    [[nodiscard]] bool isMainMenuItemEnabled(int tag) const;

    // The main menu's items by tag: 1 empties all Trashes and sets isWorking, 5 opens the
    // panel; the others do nothing. Refused with a beep while not idle.
    void mainMenuAction(int tag);
    // Empties every Trash, 0.1 s later; leaves isWorking as it is (a hot key calls it).
    void emptyAllTrashesAction();
    // Empties one volume's Trash, 0.1 s later, and sets isWorking. Refused with a beep while
    // not idle.
    void emptyHardDriveTrashesAction(const KZTrashLocation &record);
    void showAboutPanel();
    // The preferences window, brought to the front.
    void openPrefercensPanel();
    // Opens the smart-delete window where this build has one.
    void smartDeletection();

    // Registers the hot key that follows keyPath again: the old combination is unregistered
    // first, a cleared one registers none. Other key paths are ignored.
    void observeValueForKeyPath(const QString &keyPath);
    // A hot key was pressed: its action, without setting isWorking. Nothing starts while the
    // engine confirms or erases.
    void hotKeyAction(const QString &keyPath);
    // Every volume's Trash location record, afresh. A Trash left out (unusable, or its volume's
    // state unreadable) is said through the presenter once per run, once the menu has closed.
    [[nodiscard]] QList<KZTrashLocation> trashesAndVolumesLocations() const;
    // "stopWorking" was posted: the erase is over.
    void stopWorking();

    // The services menu's items by tag: the welcome window (0.1 s later, once the menu has
    // closed), the support mail, the newsletter subscription (which sets "Newsletter
    // Subscribed" whether or not a mail program took it). Refused with a beep while not idle.
    void serviceMenuAction(int tag);
    // The newsletter subscription address from the string table, else the fallback.
    [[nodiscard]] static QUrl newsletterSubscriptionURL();

    // First run and earlier edition.
    // The disclaimer: 1000 when the user agrees, 1001 when not (also when nobody answers).
    [[nodiscard]] int isUserAgree();
    // Offers to remove an earlier edition while "askUnistallOldBinwise" is set; the finder is
    // not even asked otherwise.
    void checkIfOldBinwiseIsInstalled();
    // Shows the welcome window, made on first use, modally: returns once it has closed.
    void showWelcome();
    // The welcome window has closed.
    void setWelcomeIsClosed();
    [[nodiscard]] bool welcomeIsOpen() const { return m_welcomeIsOpen; }

    // The web promotion window, shown only if the web site has the page; "webPromoDidClose"
    // ends the observation.
    void showInfoWebWindow();
    void webPromoDidClose();
    // The web promotion's controller while its window may be up; null otherwise.
    [[nodiscard]] KZWebPromoFace *webPromo() const { return m_webPromo; }

Q_SIGNALS:
    void isWorkingChanged(bool isWorking);
    // isWorking or the engine's job state changed: whatever shows menu items validates again.
    void menuStateChanged();
    // Start-up is complete.
    void launched();
    // The application is to end with exitCode.
    void terminateRequested(int exitCode);

private:
    [[nodiscard]] KZDeleteItems &engine() const;
    [[nodiscard]] KZUserDefaults &userDefaults() const;
    [[nodiscard]] KZTUErrorDelegate &presenter() const;
    void statusMenuReady(bool shown);
    void scheduleErase(const QList<KZTrashLocation> &records);
    void refuse() const;
    bool openURL(const QUrl &url) const;
    void setupHotKeys();
    // What a job could not erase, and a log that lost lines: said through the presenter.
    void reportJobEnd(const KZEraseSummary &summary);

    KZStatusMenuFace *m_face;
    Environment m_environment;
    bool m_isWorking = false;
    bool m_welcomeIsOpen = false;
    std::unique_ptr<KZWelcomeFace> m_welcomeCntrl;
    KZWebPromoFace *m_webPromo = nullptr;
    QMetaObject::Connection m_webPromoObservation;
    mutable QSet<QString> m_reportedProblems;
};
