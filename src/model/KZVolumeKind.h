#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// What kind of drive holds a mounted volume, for choosing its icon. Any thread; reads the mount
// table and sysfs, never the volume itself.
class KZVolumeKind
{
public:
    enum class Kind { HardDisk, Removable, Optical, Network };

    // Kind of the volume mounted at mountPath; HardDisk when nothing says otherwise. sysRoot
    // stands for /sys (tests give a folder of their own).
    [[nodiscard]] static Kind kindOfVolume(const QByteArray &mountPath,
                                           const QString &sysRoot = QStringLiteral("/sys"));
    // The rules behind kindOfVolume: network file systems and "host:" or "//host" sources are
    // Network; ISO 9660, UDF and sr/scd devices are Optical; a block device whose disk sysfs
    // marks removable, or that hangs off a USB bus, is Removable.
    [[nodiscard]] static Kind kindOfDevice(const QByteArray &device,
                                           const QByteArray &fileSystemType,
                                           const QString &sysRoot = QStringLiteral("/sys"));
    // Icon theme names for kind, best first.
    [[nodiscard]] static QStringList iconNames(Kind kind);
};
