#include "KZVolumeKind.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QStorageInfo>

KZVolumeKind::Kind KZVolumeKind::kindOfVolume(const QByteArray &mountPath, const QString &sysRoot)
{
    const QStorageInfo info(QFile::decodeName(mountPath));
    if (!info.isValid())
        return Kind::HardDisk;
    return kindOfDevice(info.device(), info.fileSystemType(), sysRoot);
}

KZVolumeKind::Kind KZVolumeKind::kindOfDevice(const QByteArray &device,
                                              const QByteArray &fileSystemType,
                                              const QString &sysRoot)
{
    static const QSet<QByteArray> networkTypes = {
        "nfs",
        "nfs4",
        "cifs",
        "smb3",
        "smbfs",
        "ncpfs",
        "afs",
        "9p",
        "ceph",
        "glusterfs",
        "lustre",
        "davfs",
        "fuse.sshfs",
        "fuse.rclone",
        "fuse.s3fs",
        "fuse.davfs",
        "fuse.smbnetfs",
        "fuse.curlftpfs",
        "fuse.gvfsd-fuse",
        "sshfs",
    };
    const QByteArray type = fileSystemType.toLower();
    if (networkTypes.contains(type) || device.startsWith("//")
        || (!device.startsWith('/') && device.contains(':')))
        return Kind::Network;
    if (type == "iso9660" || type == "udf")
        return Kind::Optical;
    if (!device.startsWith("/dev/"))
        return Kind::HardDisk;

    // /dev/disk/by-label/x and /dev/mapper/x are links; sysfs knows the kernel's own name.
    const QString devicePath = QFile::decodeName(device);
    const QString canonical = QFileInfo(devicePath).canonicalFilePath();
    const QString name = QFileInfo(canonical.isEmpty() ? devicePath : canonical).fileName();
    static const QRegularExpression optical(QStringLiteral("^(sr|scd)[0-9]+$"));
    if (optical.match(name).hasMatch())
        return Kind::Optical;

    // A partition's sysfs folder sits inside its disk's folder.
    QString disk = name;
    const QString classEntry = sysRoot + QStringLiteral("/class/block/") + name;
    if (QFile::exists(classEntry + QStringLiteral("/partition"))) {
        const QString resolved = QFileInfo(classEntry).canonicalFilePath();
        if (!resolved.isEmpty())
            disk = QFileInfo(QFileInfo(resolved).path()).fileName();
    }
    const QString diskEntry = sysRoot + QStringLiteral("/block/") + disk;
    QFile removable(diskEntry + QStringLiteral("/removable"));
    if (removable.open(QIODevice::ReadOnly) && removable.read(8).trimmed() == "1")
        return Kind::Removable;
    // USB disks often report fixed media; the bus tells what a user would call them.
    if (QFileInfo(diskEntry).canonicalFilePath().contains(QStringLiteral("/usb")))
        return Kind::Removable;
    return Kind::HardDisk;
}

QStringList KZVolumeKind::iconNames(Kind kind)
{
    switch (kind) {
    case Kind::Removable:
        return {QStringLiteral("drive-removable-media"), QStringLiteral("media-removable"),
                QStringLiteral("drive-harddisk")};
    case Kind::Optical:
        return {QStringLiteral("drive-optical"), QStringLiteral("media-optical"),
                QStringLiteral("drive-removable-media"), QStringLiteral("drive-harddisk")};
    case Kind::Network:
        return {QStringLiteral("folder-remote"), QStringLiteral("network-server"),
                QStringLiteral("drive-harddisk")};
    case Kind::HardDisk:
        break;
    }
    return {QStringLiteral("drive-harddisk")};
}
