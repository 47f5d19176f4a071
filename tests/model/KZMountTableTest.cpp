#include "model/KZMountTable.h"

#include <gtest/gtest.h>

#include <tuple>

#include <sys/sysmacros.h>

TEST(MountTable, ParsesLinesWithOptionalFieldsAndEscapes)
{
    const QList<KZMountEntry> entries
        = KZMountTable::parse("27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw,discard\n"
                              "90 27 7:3 /sub /media/me/My\\040Disk\\012x\\134 rw master:4 "
                              "shared:9 - ext4 /dev/loop3 rw\n"
                              "garbage line\n");
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[0].mountID, 27u);
    EXPECT_EQ(entries[0].mountPoint, "/");
    EXPECT_EQ(entries[1].parentID, 27u);
    EXPECT_EQ(entries[1].device, makedev(7, 3));
    EXPECT_EQ(entries[1].root, "/sub");
    EXPECT_EQ(entries[1].mountPoint, QByteArray("/media/me/My Disk\nx\\"));
    EXPECT_EQ(entries[1].fileSystemType, "ext4");
    EXPECT_EQ(entries[1].source, "/dev/loop3");
}

TEST(MountTable, HidesWhatIsNotAVolumeToTheUser)
{
    // Mount point, type, root and options, and whether the user "me" (home /home/me) is not
    // to see it as a volume.
    const std::tuple<const char *, const char *, const char *, const char *, bool> rows[] = {
        {"/", "ext4", "/", "rw", false},
        {"/proc", "proc", "/", "rw", true},
        {"/boot/efi", "vfat", "/", "rw", true},
        {"/run/user/1000", "ext4", "/", "rw", true},
        {"/run/media/me/Stick", "exfat", "/", "rw", false},
        {"/run/media/other/Stick", "exfat", "/", "rw", true},
        {"/srv/bind", "ext4", "/sub", "rw", true},
        {"/mnt/data", "ext4", "/", "rw,x-gvfs-hide", true},
        {"/mnt/data", "ext4", "/", "rw,x-gvfs-notrash", true},
        {"/mnt/data", "ext4", "/", "rw,x-gvfs-hidden", false},
        {"/tmp", "tmpfs", "/", "rw", true},
        {"/tmp/scratch", "tmpfs", "/", "rw", false},
        {"/var/lib/ram", "tmpfs", "/", "rw", true},
        {"/home/me/cache", "tmpfs", "/", "rw", false},
        {"/home/meagain", "tmpfs", "/", "rw", true},
        {"/snapshot", "ext4", "/", "rw", false},
        {"/snap/core/1", "squashfs", "/", "rw", true},
    };
    for (const auto &[point, type, root, options, hidden] : rows) {
        KZMountEntry entry;
        entry.mountPoint = point;
        entry.fileSystemType = type;
        entry.root = root;
        entry.mountOptions = options;
        EXPECT_EQ(KZMountTable::isHidden(entry, "/home/me", "me"), hidden) << point << " " << type;
    }
}
