#pragma once

#include "KZCliRunner.h"
#include "KZStatusNotifierWatcher.h"

#include <QProcess>
#include <QString>

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
    // The bus name (and path) of the item once a running binwise has registered it; empty
    // when none did in time.
    QString waitForItem();

    KZStatusNotifierWatcher watcher;
    KZCliRunner runner;
    bool busStarted = false;
    QString whyNot;
    std::vector<std::unique_ptr<QProcess>> processes;
};
