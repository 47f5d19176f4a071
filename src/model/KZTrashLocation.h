#pragma once

#include <QList>
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
    static inline const QString kOtherTrashURLKey = QStringLiteral("otherTrashURL");

    QUrl trashURL; // the Trash's files/ folder
    QUrl volumeURL;
    QString volumeName;
    bool trashIsEmpty = true;
    std::optional<quint64> itemsSize;
    std::optional<quint64> itemsCount;
    // The volume's second Trash folder (its files/), when it has both TOP/.Trash/$uid and
    // TOP/.Trash-$uid; listed, measured and emptied with the first.
    QUrl otherTrashURL;

    // The Trash folders of the volume: trashURL, then otherTrashURL when there is one.
    [[nodiscard]] QList<QUrl> trashURLs() const
    {
        return otherTrashURL.isEmpty() ? QList<QUrl>{trashURL}
                                       : QList<QUrl>{trashURL, otherTrashURL};
    }

    // The record under its established keys; counters and the second folder only when set.
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
        if (!otherTrashURL.isEmpty())
            map.insert(kOtherTrashURLKey, otherTrashURL);
        return map;
    }
};
