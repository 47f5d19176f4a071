#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>
#include <variant>

// A capacity in bytes, or the localized "unknown" text when the volume reports 0. Readers must
// look at which one it holds before using it as a number.
using KZCapacity = std::variant<quint64, QString>;

// One mounted volume (isDisk) or one folder or saved search (not isDisk). The volume-only keys
// are absent for a folder, and isSmartFolder is absent for a volume.
struct KZVolumeRecord
{
    static inline const QString kURLKey = QStringLiteral("url");
    static inline const QString kNameKey = QStringLiteral("name");
    static inline const QString kPathKey = QStringLiteral("path");
    static inline const QString kIsDiskKey = QStringLiteral("isDisk");
    static inline const QString kIsLockedKey = QStringLiteral("isLocked");
    static inline const QString kTotSizeKey = QStringLiteral("totSize");
    static inline const QString kFreeSizeKey = QStringLiteral("freeSize");
    static inline const QString kIsSmartFolderKey = QStringLiteral("isSmartFolder");

    QUrl url;        // the volume or folder, after resolving a symbolic link
    QString name;    // the volume's label or the folder's name
    QByteArray path; // exactly as it was asked for
    bool isDisk = false;
    std::optional<bool> isLocked;
    std::optional<KZCapacity> totSize;
    std::optional<KZCapacity> freeSize;
    std::optional<bool> isSmartFolder;

    // The record as a key-value map (capacities as numbers or the "unknown" text; the path as
    // its bytes). Absent keys are left out.
    [[nodiscard]] QVariantMap toVariantMap() const
    {
        QVariantMap map{{kURLKey, url}, {kNameKey, name}, {kPathKey, path}, {kIsDiskKey, isDisk}};
        const auto capacity = [](const KZCapacity &value) {
            return std::holds_alternative<quint64>(value) ? QVariant(std::get<quint64>(value))
                                                          : QVariant(std::get<QString>(value));
        };
        if (isLocked)
            map.insert(kIsLockedKey, *isLocked);
        if (totSize)
            map.insert(kTotSizeKey, capacity(*totSize));
        if (freeSize)
            map.insert(kFreeSizeKey, capacity(*freeSize));
        if (isSmartFolder)
            map.insert(kIsSmartFolderKey, *isSmartFolder);
        return map;
    }
};
