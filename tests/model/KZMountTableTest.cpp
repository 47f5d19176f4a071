#include "model/KZMountTable.h"

#include <gtest/gtest.h>

#include <sys/sysmacros.h>

TEST(MountTable, ParsesLinesWithOptionalFieldsAndEscapes)
{
    const QByteArray content
        = "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw,discard\n"
          "90 27 7:3 / /media/me/My\\040Disk\\012x rw master:4 shared:9 - ext4 /dev/loop3 rw\n"
          "91 27 0:40 /sub /srv/bind rw - btrfs /dev/sda2 rw,subvol=/sub\n"
          "garbage line\n";
    const QList<KZMountEntry> entries = KZMountTable::parse(content);
    ASSERT_EQ(entries.size(), 3);
    EXPECT_EQ(entries[0].mountID, 27u);
    EXPECT_EQ(entries[0].mountPoint, "/");
    EXPECT_EQ(entries[0].fileSystemType, "ext4");
    EXPECT_EQ(entries[1].mountPoint, QByteArray("/media/me/My Disk\nx"));
    EXPECT_EQ(entries[1].device, makedev(7, 3));
    EXPECT_EQ(entries[1].source, "/dev/loop3");
    EXPECT_EQ(entries[2].root, "/sub");
    EXPECT_EQ(KZMountTable::unescape("a\\134b\\04"), QByteArray("a\\b\\04"));
}

TEST(MountTable, HidesWhatIsNotAVolumeToTheUser)
{
    const auto entry = [](const char *point, const char *type, const char *root = "/",
                          const char *options = "rw") {
        KZMountEntry e;
        e.mountPoint = point;
        e.fileSystemType = type;
        e.root = root;
        e.mountOptions = options;
        return e;
    };
    const QByteArray home = "/home/me";
    const struct
    {
        KZMountEntry entry;
        bool hidden;
    } cases[] = {
        {entry("/", "ext4"), false},
        {entry("/media/me/USB", "vfat"), false},
        {entry("/proc", "proc"), true},
        {entry("/data/cgroup", "cgroup2"), true},
        {entry("/boot/efi", "vfat"), true},
        {entry("/run/user/1000", "ext4"), true},
        {entry("/run/media/me", "ext4"), true},
        {entry("/run/media/me/Stick", "exfat"), false},
        {entry("/run/media/other/Stick", "exfat"), true},
        {entry("/srv/bind", "ext4", "/sub"), true},
        {entry("/mnt/data", "ext4", "/", "rw,x-gvfs-hide"), true},
        {entry("/mnt/data", "ext4", "/", "rw,x-gvfs-notrash"), true},
        {entry("/mnt/data", "ext4", "/", "rw,x-gvfs-hidden"), false},
        {entry("/tmp", "tmpfs"), true},
        {entry("/tmp/scratch", "tmpfs"), false},
        {entry("/mnt/ram", "tmpfs"), false},
        {entry("/var/lib/ram", "tmpfs"), true},
        {entry("/home/me", "tmpfs"), false},
        {entry("/home/me/cache", "tmpfs"), false},
        {entry("/home/meagain", "tmpfs"), true},
        {entry("/snapshot", "ext4"), false},
        {entry("/snap/core/1", "squashfs"), true},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(KZMountTable::isHidden(each.entry, home, "me"), each.hidden)
            << each.entry.mountPoint.toStdString() << " "
            << each.entry.fileSystemType.toStdString();
    }
}
