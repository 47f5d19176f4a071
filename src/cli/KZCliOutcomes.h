#pragma once

#include "KZCliTrashes.h"
#include "erase/KZEraseSummary.h"
#include "erase/KZItemOutcome.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QSet>
#include <QString>

#include <optional>

// What became of each top-level item an erase was asked for: the engine's events for every
// entry are gathered under the item they belong to while the job runs, and what is still on
// disk when it has ended decides. "binwise empty --json" and "binwise erase --json" print it.
class KZCliOutcomes
{
public:
    enum class Outcome { Erased, Gone, SkippedLocked, SkippedNoPermission, Busy, Failed, Stopped };
    struct Result
    {
        Outcome outcome = Outcome::Erased;
        QString reason;         // empty for Erased and Gone
        quint64 erasedSize = 0; // allocated bytes erased of the item
    };

    explicit KZCliOutcomes(QList<KZCliTrashes::TrashItem> requested);

    // One of the engine's events. Any thread.
    void record(const KZItemOutcome &event);

    // Each requested item's result, in request order, once the job has ended (summary) or
    // was cancelled before it began (no summary). Reads the disk. Main thread.
    [[nodiscard]] QList<Result> results(const KZEraseSummary *summary) const;

    // The JSON document: {"items": [...], "totals": {...}}, ending with a line feed.
    [[nodiscard]] QByteArray json(const KZEraseSummary *summary) const;

    [[nodiscard]] static QString outcomeName(Outcome outcome);

private:
    struct Track
    {
        quint64 erasedSize = 0;
        bool erased = false; // the item itself was removed
        bool gone = false;   // the item itself vanished before its removal
        bool toHelper = false;
        quint32 kinds = 0; // bit per KZItemOutcome::Kind seen at or below the item
        QString failure;   // the first failure, named
    };

    // The index of the requested item path is or lies in, or -1.
    [[nodiscard]] qsizetype owner(const QByteArray &path) const;

    QList<KZCliTrashes::TrashItem> m_requested;
    QHash<QByteArray, qsizetype> m_index; // item path -> index
    QSet<QByteArray> m_folders;           // the Trash folders holding them
    mutable QMutex m_lock;
    QList<Track> m_tracks;                      // under m_lock
    QHash<QByteArray, QString> m_folderFailure; // under m_lock: a Trash folder that failed
};
