#include "model/KZTrashInfo.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(TrashInfo, ParsesPathsAndBothDateForms)
{
    // 2024-03-05T10:20:30 UTC (the tests run in UTC) is 731326830 seconds after 2001.
    const auto info = KZTrashInfo::parse("[Trash Info]\r\nPath=/home/me/new%0Aline%20%FF.txt\r\n"
                                         "DeletionDate=2024-03-05T10:20:30\r\n",
                                         {});
    ASSERT_TRUE(info);
    EXPECT_EQ(info->originalPath, QByteArray("/home/me/new\nline \xff.txt"));
    EXPECT_EQ(info->deletionDate, 731326830.0);
    EXPECT_EQ(KZTrashInfo::parseDeletionDate("20240305T10:20:30"), 731326830.0);
    EXPECT_FALSE(KZTrashInfo::parseDeletionDate("yesterday"));
    EXPECT_FALSE(KZTrashInfo::parseDeletionDate("2024-13-05T10:20:30"));

    const auto relative = KZTrashInfo::parse(
        "[Other]\nPath=/wrong\n[Trash Info]\nPath=docs/a%2Fb\nDeletionDate=bad\n", "/media/usb");
    ASSERT_TRUE(relative);
    EXPECT_EQ(relative->originalPath, "/media/usb/docs/a/b");
    EXPECT_FALSE(relative->deletionDate);
    EXPECT_FALSE(KZTrashInfo::parse("Path=/x\n", {})) << "no [Trash Info] group";
}

TEST(TrashInfo, ReadsTheInfoOfTrashItemsOnly)
{
    KZTestSandbox sandbox;
    KZTestTrash home = KZTestTrash::home();
    home.addFile("report \xff", "x", "/home/me/report \xff");
    const auto info = KZTrashInfo::readForItem(home.itemURL("report \xff"));
    ASSERT_TRUE(info);
    EXPECT_EQ(info->originalPath, QByteArray("/home/me/report \xff"));
    EXPECT_EQ(KZTrashInfo::infoPathForItemPath(home.itemPath("report \xff")),
              home.infoPath("report \xff"));

    const QByteArray top = sandbox.path(u"volume"_s).toLocal8Bit();
    KZTestTrash volume = KZTestTrash::onVolume(top);
    volume.addFile("photo", "x", "Pictures/photo");
    EXPECT_EQ(KZTrashInfo::readForItem(volume.itemURL("photo")).value().originalPath,
              top + "/Pictures/photo");

    // A folder laid out like a Trash that is not one.
    KZTestTrash plain(top + "/plain");
    EXPECT_FALSE(KZTrashInfo::readForItem(KZPath::urlFromPath(plain.addFile("x"))));
    EXPECT_FALSE(KZTrashInfo::readForItem(home.itemURL("no info")));
}
