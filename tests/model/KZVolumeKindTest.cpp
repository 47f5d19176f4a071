#include "model/KZVolumeKind.h"

#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <gtest/gtest.h>

#include <tuple>

#include <unistd.h>

using Kind = KZVolumeKind::Kind;

TEST(VolumeKind, DevicesAreNetworkOpticalRemovableOrHardDisks)
{
    // A sysfs tree as the kernel lays it out: disks under devices/<bus>/block/, linked from
    // block/ and class/block/, partitions inside their disk's folder.
    KZTestSandbox sandbox;
    const QByteArray sys = sandbox.root().toLocal8Bit() + "/sys";
    KZTestFiles::makeFolders(sys + "/block");
    KZTestFiles::makeFolders(sys + "/class/block");
    const auto addDisk = [&](const QByteArray &disk, const QByteArray &bus, const char *removable,
                             const QByteArray &partition) {
        const QByteArray device = sys + "/devices/" + bus + "/block/" + disk;
        KZTestFiles::makeFolders(device + "/" + partition);
        KZTestFiles::writeFile(device + "/removable", removable);
        KZTestFiles::writeFile(device + "/" + partition + "/partition", "1\n");
        ::symlink(device.constData(), (sys + "/block/" + disk).constData());
        ::symlink(device.constData(), (sys + "/class/block/" + disk).constData());
        ::symlink((device + "/" + partition).constData(),
                  (sys + "/class/block/" + partition).constData());
    };
    addDisk("sda", "pci0000:00/ata1", "0\n", "sda2");
    addDisk("sdb", "pci0000:00/usb1/1-1", "0\n", "sdb1");
    addDisk("mmcblk0", "platform/mmc", "1\n", "mmcblk0p1");

    const std::tuple<const char *, const char *, Kind> rows[] = {
        {"server:/export/home", "nfs4", Kind::Network},
        {"bucket:photos", "fuse.other", Kind::Network}, // a remote-looking source is enough
        {"/dev/sr0", "iso9660", Kind::Optical},
        {"/dev/sr1", "ext4", Kind::Optical},
        {"/dev/loop3", "udf", Kind::Optical},
        {"tmpfs", "tmpfs", Kind::HardDisk},
        {"/dev/sda2", "ext4", Kind::HardDisk},
        {"/dev/sdb1", "vfat", Kind::Removable}, // fixed media on a USB bus
        {"/dev/mmcblk0p1", "exfat", Kind::Removable},
        {"/dev/sdz9", "ext4", Kind::HardDisk},
    };
    for (const auto &[device, type, kind] : rows)
        EXPECT_EQ(KZVolumeKind::kindOfDevice(device, type, QString::fromLocal8Bit(sys)), kind)
            << device;
}
