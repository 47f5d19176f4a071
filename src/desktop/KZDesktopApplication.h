#pragma once

#include <QByteArray>
#include <QString>

// The composition root of the desktop application: makes the QApplication, keeps it to one
// instance per session, builds the erase engine's environment, installs the Widgets faces of
// the engine's dialogs, and owns the application controller and its status item.
class KZDesktopApplication
{
public:
    // Exit status when there is no display to start on (the command line's usage error).
    static constexpr int kNoDisplayStatus = 2;
    // How long start-up waits for a tray host by default; BINWISE_TRAY_WAIT (seconds) changes
    // it.
    static constexpr int kDefaultTrayWaitMs = 30000;

    // Runs the desktop application to its end and answers the exit status.
    [[nodiscard]] static int run(int &argc, char **argv);

    // Why the desktop application cannot start in this environment (no display), or an empty
    // string when it can.
    [[nodiscard]] static QString displayProblem();
    // The tray wait from BINWISE_TRAY_WAIT, else the default.
    [[nodiscard]] static int trayWaitMs();
};
