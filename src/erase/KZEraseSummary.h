#pragma once

#include "model/KZError.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QMetaType>
#include <QString>

#include <optional>

// What one erase job did, taken when it ends (before its lists are let go), so that a front
// end can report it and choose an exit status.
struct KZEraseSummary
{
    quint64 erasedCount = 0; // items erased, by the engine and the helper
    quint64 erasedSize = 0;  // their allocated bytes, a hard-linked file's once
    // Items counted as not erased: locked or protected ones while the helper is not available,
    // busy ones, and what the helper reported it could not erase (its count replaces the
    // engine's own when it finishes).
    quint64 notErasedCount = 0;
    quint64 itemBusyCount = 0; // removals refused because the item was in use
    // Items the user chose to skip (the skip lists), per kind.
    quint64 skippedLockedCount = 0;
    quint64 skippedNoPermissionsCount = 0;
    // Of notErasedCount: locked items and items without permission left because no helper
    // was available to erase them.
    quint64 lockedWithoutHelperCount = 0;
    quint64 noPermissionWithoutHelperCount = 0;
    // Removals that failed for any other reason (a Trash folder that could not be opened
    // too): the engine beeps for each, and failures names them.
    quint64 otherErrorCount = 0;
    struct Failure
    {
        QByteArray path;
        QString reason; // a plain sentence part: "Read-only file system"
    };
    QList<Failure> failures; // the first kMaximumFailures of them
    static constexpr qsizetype kMaximumFailures = 100;
    // Hard-linked files of a secure erase: removed but not overwritten, since their data is
    // also under their other names.
    quint64 hardLinksRemovedPlainly = 0;
    // Items queued for the privileged helper, per kind.
    quint64 unlockItemsCount = 0;
    quint64 permissionsItemsCount = 0;
    // Folders left because something inside them stayed, and still there when the job ended.
    QByteArrayList notTrashed;
    bool stoppedByUser = false;
    bool eraseSecurely = false;
    bool isSmartErase = false;
    bool isHelperAuthorized = false;
    bool handedToHelper = false;
    QByteArray logFile; // the log written to, empty without a log
    // Why lines of the log were lost (the errno of the first failed write), 0 when none were.
    int logWriteError = 0;
    // The error the helper's client reported, if any.
    std::optional<KZError> helperError;

    // Every item the job was asked to erase went.
    [[nodiscard]] bool everythingErased() const
    {
        return !stoppedByUser && notErasedCount == 0 && itemBusyCount == 0
               && skippedLockedCount == 0 && skippedNoPermissionsCount == 0 && otherErrorCount == 0
               && notTrashed.isEmpty() && !helperError;
    }
};
Q_DECLARE_METATYPE(KZEraseSummary)
