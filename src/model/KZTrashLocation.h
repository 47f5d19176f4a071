#pragma once

#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// The current user's Trash on one writable volume. The four first fields are set when the
// record is made; the counters are added later by whoever measures the Trash.
struct KZTrashLocation
{
    static inline const QString kTrashURLKey = QStringLiteral("trashURL");
    static inline const QString kVolumeURLKey = QStringLiteral("volumeURL");
    static inline const QString kVolumeNameKey = QStringLiteral("volumeName");
    static inline const QString kTrashIsEmptyKey = QStringLiteral("trashIsEmpty");
    static inline const QString kItemsSizeKey = QStringLiteral("itemsSize");
    static inline const QString kItemsCountKey = QStringLiteral("itemsCount");

    QUrl trashURL; // the Trash's files/ folder
    QUrl volumeURL;
    QString volumeName;
    bool trashIsEmpty = true;
    std::optional<quint64> itemsSize;
    std::optional<quint64> itemsCount;

    // The record under its established keys; counters only when set.
    [[nodiscard]] QVariantMap toVariantMap() const
    {
        QVariantMap map{{kTrashURLKey, trashURL},
                        {kVolumeURLKey, volumeURL},
                        {kVolumeNameKey, volumeName},
                        {kTrashIsEmptyKey, trashIsEmpty}};
        if (itemsSize)
            map.insert(kItemsSizeKey, *itemsSize);
        if (itemsCount)
            map.insert(kItemsCountKey, *itemsCount);
        return map;
    }
};
