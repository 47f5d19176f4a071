#pragma once

#include <QMetaType>

// Where the erase engine is with its one job. Every face (tray menu, panel rows, hot keys, the
// smart-delete window's Erase button) reads this one state, so that no entry point can start a
// second job while a confirmation is up, a walk runs, or the helper erases.
enum class KZJobState {
    Idle,
    // The confirmation (and, after it, the log question) is up: a nested event loop runs.
    Confirming,
    // The walk runs, or the job is ending.
    Running,
    // The walk has ended and the helper client erases the administrator batch.
    HelperHandOver,
};
Q_DECLARE_METATYPE(KZJobState)
