#include "KZDesktopApplication.h"

#include "KZCliApplication.h"
#include "KZCliTrashes.h"
#include "KZSingleInstance.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZTUErrorDelegate.h"
#include "foundation/KZLaunchAtLogin.h"
#include "foundation/KZUserDefaults.h"
#include "gui/dialogs/KZProgressWindow.h"
#include "gui/dialogs/KZWidgetsAlertBackend.h"
#include "gui/firstrun/KZWelcomeCntrl.h"
#include "gui/platform/KZGlobalShortcuts.h"
#include "gui/platform/KZPlatformShortcuts.h"
#include "gui/preferences/KZBWPreferencesWindow.h"
#include "gui/smartwindow/KZSmartWindow.h"
#include "gui/tray/KZStatusItem.h"
#include "gui/tray/KZTrayIcons.h"
#include "gui/tray/KZTrayPanel.h"
#include "gui/webpromo/KZWebPromo.h"
#include "model/KZFilesUtilities.h"
#include "presentation/KZBinwise.h"
#include "presentation/KZSmartWindowCntrl.h"
#include "presentation/KZTrashMonitor.h"
#include "privileged/KZSecureAccess.h"

#include <QApplication>
#include <QDesktopServices>
#include <QTimer>
#include <QWidget>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace {
// Set in the environment of the process that replaces this one for a tray host that came
// late, so that it does not do so a second time.
constexpr char kRestartedForTrayHost[] = "BINWISE_TRAY_RESTARTED";

// Some platform themes (Qt's own KDE one among them) leave the placeholder colour at its
// default, nearly black, also on a dark palette: the dimmed lines of the rows would vanish.
void keepPlaceholderTextReadable()
{
    QPalette palette = QApplication::palette();
    const QColor window = palette.color(QPalette::Active, QPalette::Window);
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    const QColor placeholder = palette.color(QPalette::Active, QPalette::PlaceholderText);
    const auto distance = [&window](const QColor &color) {
        return qAbs(color.lightnessF() - window.lightnessF()) * color.alphaF();
    };
    if (distance(placeholder) >= 0.35 * distance(text))
        return;
    QColor readable = text;
    readable.setAlphaF(0.65f);
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive})
        palette.setColor(group, QPalette::PlaceholderText, readable);
    QApplication::setPalette(palette);
}
} // namespace

QString KZDesktopApplication::displayProblem()
{
    const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    // A platform chosen on purpose (offscreen, vnc) needs no display server.
    if (!platform.isEmpty() && !platform.startsWith(QLatin1String("xcb"))
        && !platform.startsWith(QLatin1String("wayland")))
        return {};
    if (!qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return {};
    return QStringLiteral("there is no display for the tray application (DISPLAY and "
                          "WAYLAND_DISPLAY are not set); on this machine use the command line: "
                          "binwise list, binwise empty (binwise --help tells more)");
}

int KZDesktopApplication::trayWaitMs()
{
    bool ok = false;
    const double seconds = qEnvironmentVariable("BINWISE_TRAY_WAIT").toDouble(&ok);
    return ok && seconds >= 0 ? int(seconds * 1000) : kDefaultTrayWaitMs;
}

int KZDesktopApplication::run(int &argc, char **argv)
{
    if (const QString problem = displayProblem(); !problem.isEmpty()) {
        KZCliApplication::printError(problem);
        return kNoDisplayStatus;
    }

    // The arguments as given, before Qt takes its own out of them: a restart passes them on.
    std::vector<QByteArray> arguments(argv, argv + argc);
    const bool restarted = qEnvironmentVariableIsSet(kRestartedForTrayHost);
    qunsetenv(kRestartedForTrayHost);

    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("binwise"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BINWISE_VERSION));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Binwise"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.binwise.Binwise"));
    // A tray application lives on when its last window (the about box, a message) closes.
    QApplication::setQuitOnLastWindowClosed(false);

    KZSingleInstance instance;
    if (!instance.acquire()) {
        // Another Binwise runs in this session: it shows itself, this one is not needed.
        if (!instance.handOver())
            KZCliApplication::printError(QStringLiteral("Binwise is already running"));
        return 0;
    }
    keepPlaceholderTextReadable();
    QApplication::setWindowIcon(KZTrayIcons::applicationIcon(QApplication::palette()));

    // The volumes binwise works on: the kernel's mount table, or BINWISE_MOUNTINFO's.
    KZFilesUtilities utilities(KZCliTrashes::rootsFromEnvironment());
    KZUserDefaults &defaults = KZUserDefaults::sharedControl();
    KZSecureAccess::installFactory();
    // The engine's confirmation, questions and messages as windows.
    KZTUErrorDelegate::sharedControl().setBackend(std::make_shared<KZWidgetsAlertBackend>());

    KZDeleteItems::Environment engineEnvironment;
    engineEnvironment.filesUtilities = &utilities;
    engineEnvironment.activate = [] {
        // Before a confirmation the application comes to the front; its dialogs raise
        // themselves once shown.
        if (QWidget *window = QApplication::activeWindow()) {
            window->raise();
            window->activateWindow();
        }
    };
    KZDeleteItems engine(engineEnvironment);
    engine.setProgressDisplayFactory(
        [](KZProgressUI *ui) { return std::make_unique<KZProgressWindow>(ui); });

    KZStatusItem statusItem(trayWaitMs());
    statusItem.setMayRestartForTrayHost(!restarted);
    QObject::connect(
        &statusItem, &KZStatusItem::restartForTrayHost, &instance, [&instance, &arguments] {
            // Nothing is shown yet and nothing has been changed: the new process
            // starts from the same point, with the lock free for it to take.
            instance.release();
            qputenv(kRestartedForTrayHost, "1");
            std::vector<char *> execArguments;
            for (QByteArray &argument : arguments)
                execArguments.push_back(argument.data());
            execArguments.push_back(nullptr);
            ::execv("/proc/self/exe", execArguments.data());
            KZCliApplication::printError(QStringLiteral("cannot start again for the tray: %1")
                                             .arg(QString::fromLocal8Bit(std::strerror(errno))));
            QCoreApplication::exit(1);
        });
    // Hot keys through X11 grabs or the desktop portal, whichever this session has.
    const std::unique_ptr<KZGlobalShortcuts> shortcuts = KZPlatformShortcuts::create();
    std::unique_ptr<KZBWPreferencesWindow> prefWindowCntrl;
    KZBinwise::Environment environment;
    environment.globalShortcuts = shortcuts.get();
    environment.openPreferences = [&prefWindowCntrl, &defaults, &shortcuts] {
        if (!prefWindowCntrl) {
            KZBWPreferencesWindow::Environment preferences;
            preferences.userDefaults = &defaults;
            // The login item starts this very executable, wherever it was started from.
            preferences.launchAtLogin = KZLaunchAtLogin(QCoreApplication::applicationFilePath());
            preferences.hotKeys = shortcuts->availability();
            preferences.releasesURL = QUrl(QStringLiteral(BINWISE_RELEASES_URL));
            prefWindowCntrl = std::make_unique<KZBWPreferencesWindow>(preferences);
        }
        prefWindowCntrl->openWindowInModal(false);
    };
    // The smart-delete window, made on first use and kept; its controller and gatherers end
    // before the engine they hand erases to.
    std::unique_ptr<KZSmartWindowCntrl> smartWindowCntrl;
    std::unique_ptr<KZSmartWindow> smartWindow;
    KZBinwise *applicationController = nullptr;
    environment.smartDeletection = [&smartWindowCntrl, &smartWindow, &engine, &utilities,
                                    &applicationController] {
        if (!smartWindowCntrl) {
            KZSmartWindowCntrl::Environment smart;
            smart.engine = &engine;
            smartWindowCntrl = std::make_unique<KZSmartWindowCntrl>(applicationController, smart);
            smartWindow = std::make_unique<KZSmartWindow>(smartWindowCntrl.get());
        }
        // From a menu: once the menu has closed.
        QTimer::singleShot(KZBinwise::kMenuActionDelayMs, smartWindowCntrl.get(),
                           [cntrl = smartWindowCntrl.get(), &utilities] {
                               cntrl->showWindowWithDict(utilities.trashesAndVolumesLocations());
                           });
    };
    environment.engine = &engine;
    environment.userDefaults = &defaults;
    environment.locations = [&utilities](QList<KZError> *problems) {
        return utilities.trashesAndVolumesLocations(problems);
    };
    environment.installHelper = [&defaults] {
        // Installing the helper asks for an administrator's password: offered at start-up only
        // to a user whose settings say locked items are to be erased. Otherwise an installed
        // helper is used as it is.
        KZSecureAccess access(nullptr);
        if (defaults.boolForKey(KZUserDefaults::kDeleteLocked))
            return access.intallHelperAppIfNeeded();
        bool present = false;
        return access.isHelperNeedBeInstalled(&present);
    };
    environment.makeWelcome = [&defaults](KZBinwise *delegate) {
        return std::make_unique<KZWelcomeCntrl>(
            delegate, &defaults, KZLaunchAtLogin(QCoreApplication::applicationFilePath()));
    };
    environment.webPromo = [] {
        return &KZWebPromo::sharedControl();
    };
    environment.openURL = [](const QUrl &url) {
        return QDesktopServices::openUrl(url);
    };
    // findOldBinwise stays empty: the earlier edition was a menu extra, which Linux does not
    // have, so there is never one to find.
    KZBinwise controller(&statusItem, environment);
    applicationController = &controller;
    statusItem.setController(&controller);
    KZWebPromo::sharedControl().setApplicationDelegate(&controller);

    // Queued: start-up may end the application (no tray, the disclaimer refused) from inside a
    // window's own loop; the exit is meant for the application's loop.
    QObject::connect(
        &controller, &KZBinwise::terminateRequested, &app,
        [](int status) { QCoreApplication::exit(status); }, Qt::QueuedConnection);
    QObject::connect(&instance, &KZSingleInstance::activationRequested, &statusItem,
                     &KZStatusItem::showPanel);

    // The tray icon shows whether any Trash holds something, and the totals in its tooltip.
    KZTrashMonitor monitor(KZCliTrashes::rootsFromEnvironment());
    QObject::connect(&monitor, &KZTrashMonitor::totalsChanged, &statusItem,
                     &KZStatusItem::setTrashTotals);
    QObject::connect(&controller, &KZBinwise::launched, &monitor, &KZTrashMonitor::start);

    // Start-up runs inside the event loop, so that a quit chosen while the first run's modal
    // windows are up reaches the application's own loop too.
    QTimer::singleShot(0, &controller, &KZBinwise::applicationDidFinishLaunching);
    const int status = QApplication::exec();
    // Measurements and a running erase end before the objects they report to go.
    engine.setIsStopped(true);
    if (smartWindowCntrl)
        smartWindowCntrl->windowWillClose();
    smartWindow.reset();
    smartWindowCntrl.reset();
    return status;
}
