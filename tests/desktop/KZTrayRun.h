#pragma once

#include "KZCliRunner.h"
#include "KZStatusNotifierWatcher.h"

#include <QList>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

// The real binwise in tray mode, sandboxed (home, runtime folder, volumes of the test) on this
// process's X server and on a private session bus, with or without a StatusNotifierWatcher.
struct KZTrayRun
{
    explicit KZTrayRun(bool withWatcher);
    ~KZTrayRun();

    // Starts binwise without a command; the run owns the process.
    QProcess &start();
    // The bus name of the item once a running binwise has registered it (its object path in
    // *path); empty when none did in time.
    QString waitForItem(QString *path = nullptr);

    // Runs xdotool on this process's X server; its standard output.
    static QByteArray xdotool(const QStringList &arguments);
    // The windows whose class name is className (binwise's own: "binwise"), the visible ones
    // only when visibleOnly.
    static QList<QByteArray> windows(const QString &className, bool visibleOnly);
    // The one window binwise shows, once it shows exactly one within ms; empty otherwise.
    static QByteArray shownWindow(int ms);
    // The first visible window whose title matches the regular expression title, once one
    // shows within ms; empty otherwise.
    static QByteArray titledWindow(const QString &title, int ms);
    // Whether binwise shows count visible windows (count or more with orMore) within ms.
    static bool windowsShown(int count, int ms, bool orMore = false);
    // Gives window the keyboard focus and presses key there.
    static void press(const QByteArray &window, const QString &key);
    // A window's place and size on the screen, in device pixels.
    static QRect geometry(const QByteArray &window);

    // The scale factor the run was started with (QT_SCALE_FACTOR): 1 or 2.
    static int scale();
    // Keeps area of the screen (device pixels) as
    // <build>/screenshots/<name>-<scale>-<light|dark>.png.
    static void saveScreen(const QRect &area, const QString &name, bool dark);

    KZStatusNotifierWatcher watcher;
    KZCliRunner runner;
    bool busStarted = false;
    QString whyNot;
    std::vector<std::unique_ptr<QProcess>> processes;
};
