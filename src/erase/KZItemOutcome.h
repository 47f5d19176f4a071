#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

// What became of one entry of an erase, at any depth, as the engine decides it: the same
// events its counters, summary and log are made of, handed one by one to whoever watches the
// job (the command line's per-item report).
struct KZItemOutcome
{
    enum class Kind {
        Erased,                    // removed (by the engine or the helper); size is its share
        Gone,                      // vanished before it could be removed
        SkippedLocked,             // locked, and the answer was skip
        SkippedNoPermission,       // not the user's to remove, and the answer was skip
        LockedWithoutHelper,       // locked, and no helper to erase it
        NoPermissionWithoutHelper, // not the user's to remove, and no helper to erase it
        ToHelper,                  // queued for the privileged helper
        Busy,                      // in use
        Failed,                    // removal failed; reason says why
    };

    QByteArray path;
    Kind kind = Kind::Erased;
    quint64 size = 0;
    QString reason;

    // Called on the walker thread, the helper client's thread or the main thread; it must be
    // quick and thread-safe. Set between jobs only.
    using Observer = std::function<void(const KZItemOutcome &)>;
};
