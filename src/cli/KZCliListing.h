#pragma once

#include "KZCliTrashes.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

// "binwise list" and "binwise items": what the Trashes hold, as text for people (one record a
// line, fields separated by tabs, names escaped so that a record stays on its line) or as JSON
// for scripts. Main thread.
class KZCliListing
{
public:
    explicit KZCliListing(KZCliTrashes &trashes);

    // The Trash location records, measured.
    [[nodiscard]] QByteArray list(bool json);
    // The top-level items of the selected volumes' Trashes that filter chooses. False with
    // *error when a volume cannot be found (see KZCliTrashes::selectVolumes).
    [[nodiscard]] bool items(const QByteArrayList &volumes, const KZItemFilter &filter, bool json,
                             QByteArray *output, QString *error);

private:
    KZCliTrashes &m_trashes;
};
