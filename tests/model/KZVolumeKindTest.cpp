#include "model/KZVolumeKind.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using Kind = KZVolumeKind::Kind;

// A sysfs tree with the entries the kind rules read: disks under devices/, linked from
// block/ and class/block/ as the kernel does.
class FakeSys
{
public:
    FakeSys() { QDir().mkpath(root()); }
    [[nodiscard]] QString root() const { return m_dir.path() + QStringLiteral("/sys"); }

    void addDisk(const QString &name, const QString &bus, bool removable,
                 const QStringList &partitions = {})
    {
        const QString device
            = root() + QStringLiteral("/devices/") + bus + QStringLiteral("/block/") + name;
        QDir().mkpath(device);
        write(device + QStringLiteral("/removable"), removable ? "1\n" : "0\n");
        link(device, QStringLiteral("block/") + name);
        link(device, QStringLiteral("class/block/") + name);
        for (const QString &partition : partitions) {
            QDir().mkpath(device + u'/' + partition);
            write(device + u'/' + partition + QStringLiteral("/partition"), "1\n");
            link(device + u'/' + partition, QStringLiteral("class/block/") + partition);
        }
    }

private:
    void link(const QString &target, const QString &relative)
    {
        const QString path = root() + u'/' + relative;
        QDir().mkpath(QFileInfo(path).path());
        ASSERT_EQ(
            ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()),
            0);
    }
    static void write(const QString &path, const QByteArray &contents)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }

    QTemporaryDir m_dir;
};

} // namespace

TEST(VolumeKind, NetworkAndOpticalFromTypeAndSource)
{
    const QString noSys = QStringLiteral("/nonexistent-sys");
    EXPECT_EQ(KZVolumeKind::kindOfDevice("server:/export/home", "nfs4", noSys), Kind::Network);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("//nas/share", "cifs", noSys), Kind::Network);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("ana@host:/srv", "fuse.sshfs", noSys), Kind::Network);
    // A source that looks remote is enough, whatever FUSE calls the type.
    EXPECT_EQ(KZVolumeKind::kindOfDevice("bucket:photos", "fuse.other", noSys), Kind::Network);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/sr0", "iso9660", noSys), Kind::Optical);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/sr1", "ext4", noSys), Kind::Optical);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/loop3", "udf", noSys), Kind::Optical);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("tmpfs", "tmpfs", noSys), Kind::HardDisk);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/nvme0n1p2", "ext4", noSys), Kind::HardDisk);
}

TEST(VolumeKind, RemovableFromSysfsFlagOrUsbBus)
{
    FakeSys sys;
    sys.addDisk(QStringLiteral("sda"), QStringLiteral("pci0000:00/ata1"), false,
                {QStringLiteral("sda1"), QStringLiteral("sda2")});
    sys.addDisk(QStringLiteral("sdb"), QStringLiteral("pci0000:00/usb1/1-1"), false,
                {QStringLiteral("sdb1")});
    sys.addDisk(QStringLiteral("mmcblk0"), QStringLiteral("platform/mmc"), true,
                {QStringLiteral("mmcblk0p1")});
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/sda2", "ext4", sys.root()), Kind::HardDisk);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/sdb1", "vfat", sys.root()), Kind::Removable);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/mmcblk0p1", "exfat", sys.root()), Kind::Removable);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/mmcblk0", "exfat", sys.root()), Kind::Removable);
    EXPECT_EQ(KZVolumeKind::kindOfDevice("/dev/sdz9", "ext4", sys.root()), Kind::HardDisk);
}
