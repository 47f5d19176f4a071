#pragma once

#include "model/KZTrashLocation.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// One record of an erase request. Two shapes exist: a Trash location record (the Trash of one
// volume: "trashURL", "volumeURL", "volumeName", "trashIsEmpty", and the counters when
// measured) and the smart-erase record {"itemsToErase": [URLs], "isSmartErase": true}. A field
// that a shape lacks stays unset; the engine reads each record by its keys alone, so a record
// of one shape may be handled as the other (see KZDeleteItems).
struct KZEraseRecord
{
    static inline const QString kItemsToEraseKey = QStringLiteral("itemsToErase");
    static inline const QString kIsSmartEraseKey = QStringLiteral("isSmartErase");

    // Location record fields, under KZTrashLocation's keys.
    QUrl trashURL; // the Trash's files/ folder; empty when absent
    QUrl volumeURL;
    std::optional<QString> volumeName;
    std::optional<bool> trashIsEmpty;
    std::optional<quint64> itemsSize;
    std::optional<quint64> itemsCount;
    QUrl otherTrashURL; // the volume's second Trash folder, when it has two
    // Smart-erase record fields.
    QList<QUrl> itemsToErase;
    std::optional<bool> isSmartErase;

    // The location record of one volume's Trash.
    [[nodiscard]] static KZEraseRecord fromTrashLocation(const KZTrashLocation &location);
    // A location record per Trash, in the given order.
    [[nodiscard]] static QList<KZEraseRecord>
    fromTrashLocations(const QList<KZTrashLocation> &locations);
    // The smart-erase record: top-level Trash items, in the order given.
    [[nodiscard]] static KZEraseRecord smartErase(const QList<QUrl> &items);
    // Reads a record from its established keys (URLs as QUrl or file-URL text); unknown keys
    // are ignored.
    [[nodiscard]] static KZEraseRecord fromVariantMap(const QVariantMap &map);
    // The record under its established keys; unset fields are left out.
    [[nodiscard]] QVariantMap toVariantMap() const;

    // The Trash folders of a location record: trashURL, then otherTrashURL when set.
    [[nodiscard]] QList<QUrl> trashURLs() const
    {
        return otherTrashURL.isEmpty() ? QList<QUrl>{trashURL}
                                       : QList<QUrl>{trashURL, otherTrashURL};
    }
    // "isSmartErase" is present and true.
    [[nodiscard]] bool isSmart() const { return isSmartErase.value_or(false); }
};

// What prepareToEraseWithArray takes: location records, or exactly one smart-erase record.
using KZEraseRequest = QList<KZEraseRecord>;
