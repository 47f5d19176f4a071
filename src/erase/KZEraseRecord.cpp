#include "KZEraseRecord.h"

#include "model/KZPath.h"

namespace {

QUrl urlFromVariant(const QVariant &value)
{
    if (value.metaType().id() == QMetaType::QUrl)
        return value.toUrl();
    if (value.metaType().id() == QMetaType::QByteArray)
        return KZPath::urlFromPath(value.toByteArray());
    const QString text = value.toString();
    return text.startsWith(QLatin1Char('/')) ? KZPath::urlFromPath(text.toUtf8())
                                             : QUrl(text, QUrl::StrictMode);
}

} // namespace

KZEraseRecord KZEraseRecord::fromTrashLocation(const KZTrashLocation &location)
{
    KZEraseRecord record;
    record.trashURL = location.trashURL;
    record.volumeURL = location.volumeURL;
    record.volumeName = location.volumeName;
    record.trashIsEmpty = location.trashIsEmpty;
    record.itemsSize = location.itemsSize;
    record.itemsCount = location.itemsCount;
    record.otherTrashURL = location.otherTrashURL;
    return record;
}

QList<KZEraseRecord> KZEraseRecord::fromTrashLocations(const QList<KZTrashLocation> &locations)
{
    QList<KZEraseRecord> records;
    records.reserve(locations.size());
    for (const KZTrashLocation &location : locations)
        records.append(fromTrashLocation(location));
    return records;
}

KZEraseRecord KZEraseRecord::smartErase(const QList<QUrl> &items)
{
    KZEraseRecord record;
    record.itemsToErase = items;
    record.isSmartErase = true;
    return record;
}

KZEraseRecord KZEraseRecord::fromVariantMap(const QVariantMap &map)
{
    KZEraseRecord record;
    if (map.contains(KZTrashLocation::kTrashURLKey))
        record.trashURL = urlFromVariant(map.value(KZTrashLocation::kTrashURLKey));
    if (map.contains(KZTrashLocation::kVolumeURLKey))
        record.volumeURL = urlFromVariant(map.value(KZTrashLocation::kVolumeURLKey));
    if (map.contains(KZTrashLocation::kVolumeNameKey))
        record.volumeName = map.value(KZTrashLocation::kVolumeNameKey).toString();
    if (map.contains(KZTrashLocation::kTrashIsEmptyKey))
        record.trashIsEmpty = map.value(KZTrashLocation::kTrashIsEmptyKey).toBool();
    if (map.contains(KZTrashLocation::kItemsSizeKey))
        record.itemsSize = map.value(KZTrashLocation::kItemsSizeKey).toULongLong();
    if (map.contains(KZTrashLocation::kItemsCountKey))
        record.itemsCount = map.value(KZTrashLocation::kItemsCountKey).toULongLong();
    if (map.contains(KZTrashLocation::kOtherTrashURLKey))
        record.otherTrashURL = urlFromVariant(map.value(KZTrashLocation::kOtherTrashURLKey));
    if (map.contains(kItemsToEraseKey)) {
        for (const QVariant &item : map.value(kItemsToEraseKey).toList())
            record.itemsToErase.append(urlFromVariant(item));
    }
    if (map.contains(kIsSmartEraseKey))
        record.isSmartErase = map.value(kIsSmartEraseKey).toBool();
    return record;
}

QVariantMap KZEraseRecord::toVariantMap() const
{
    QVariantMap map;
    if (!trashURL.isEmpty())
        map.insert(KZTrashLocation::kTrashURLKey, trashURL);
    if (!volumeURL.isEmpty())
        map.insert(KZTrashLocation::kVolumeURLKey, volumeURL);
    if (volumeName)
        map.insert(KZTrashLocation::kVolumeNameKey, *volumeName);
    if (trashIsEmpty)
        map.insert(KZTrashLocation::kTrashIsEmptyKey, *trashIsEmpty);
    if (itemsSize)
        map.insert(KZTrashLocation::kItemsSizeKey, *itemsSize);
    if (itemsCount)
        map.insert(KZTrashLocation::kItemsCountKey, *itemsCount);
    if (!otherTrashURL.isEmpty())
        map.insert(KZTrashLocation::kOtherTrashURLKey, otherTrashURL);
    if (isSmartErase || !itemsToErase.isEmpty()) {
        QVariantList items;
        for (const QUrl &url : itemsToErase)
            items.append(url);
        map.insert(kItemsToEraseKey, items);
    }
    if (isSmartErase)
        map.insert(kIsSmartEraseKey, *isSmartErase);
    return map;
}
