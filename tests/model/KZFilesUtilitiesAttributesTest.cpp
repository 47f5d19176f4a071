#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "KZTestUser.h"
#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

class AttributesTest : public ::testing::Test
{
protected:
    QByteArray make(const QByteArray &name, const QByteArray &content = "data")
    {
        const QByteArray path = base() + "/" + name;
        KZTestFiles::writeFile(path, content);
        return path;
    }
    [[nodiscard]] QByteArray base() const
    {
        return m_sandbox.path(QStringLiteral("a")).toLocal8Bit();
    }
    static QUrl url(const QByteArray &path) { return KZPath::urlFromPath(path); }

    void SetUp() override { KZTestFiles::makeFolders(base()); }

    KZTestSandbox m_sandbox;
    const KZFilesUtilities &m_utilities = KZFilesUtilities::sharedControl();
};

} // namespace

TEST_F(AttributesTest, PathsAndNamesKeepEveryByte)
{
    const QByteArray odd = make("new\nline \xff\xfe.txt");
    KZError error;
    EXPECT_EQ(m_utilities.pathWithURL(url(odd), &error), odd);
    EXPECT_EQ(m_utilities.itemNameWithURL(url(odd)), QByteArray("new\nline \xff\xfe.txt"));
    EXPECT_EQ(m_utilities.parentDirectoryWithURL(url(odd)), url(base()));
    EXPECT_EQ(m_utilities.attributeWithURL(url(odd), KZResourceKey::FileSize), QVariant(4ull));

    // A dangling link is an item that can be erased, so it has a path.
    ::symlink("/no/such/target", (base() + "/dangling").constData());
    EXPECT_EQ(m_utilities.pathWithURL(url(base() + "/dangling")), base() + "/dangling");
    EXPECT_TRUE(m_utilities.isAliasWithURL(url(base() + "/dangling")));
}

TEST_F(AttributesTest, MissingItemsAnswerCodeFourAndNeutralValues)
{
    const QByteArray gone = make("gone");
    ::unlink(gone.constData());
    KZError error;
    EXPECT_TRUE(m_utilities.pathWithURL(url(gone), &error).isEmpty());
    EXPECT_EQ(error.domain, KZError::kPOSIXDomain);
    EXPECT_EQ(error.code, 4);
    EXPECT_TRUE(error.userInfo.isEmpty());

    EXPECT_TRUE(m_utilities.itemNameWithURL(url(gone)).isEmpty());
    EXPECT_FALSE(m_utilities.parentDirectoryWithURL(url(gone)).isValid());
    EXPECT_FALSE(m_utilities.attributeWithURL(url(gone), KZResourceKey::FileSize).isValid());
    EXPECT_FALSE(m_utilities.isLockedWithURL(url(gone)));
    EXPECT_FALSE(m_utilities.unlockWithURL(url(gone)));
    KZPermissionInfo permissions;
    EXPECT_EQ(m_utilities.itemPermission(url(gone), &permissions), 1);
    EXPECT_EQ(m_utilities.directoryIDWithURL(url(gone)), 0u);
    EXPECT_TRUE(m_utilities.aliasWithURL(url(gone)).isEmpty());

    KZError notFile;
    EXPECT_TRUE(
        m_utilities.pathWithURL(QUrl(QStringLiteral("https://x.org/a")), &notFile).isEmpty());
    EXPECT_NE(notFile.code, 0);
}

TEST_F(AttributesTest, HiddenMeansALeadingDotOrTheHiddenList)
{
    // A dot name is hidden without asking the file system: the item need not exist.
    EXPECT_TRUE(m_utilities.isHiddenWithURL(url(base() + "/.not-there")));
    EXPECT_FALSE(m_utilities.isHiddenWithURL(QUrl(QStringLiteral(".bashrc"))));
    const QByteArray listed = make("Icon\r");
    const QByteArray plain = make("plain");
    EXPECT_FALSE(m_utilities.isHiddenWithURL(url(listed)));
    make(".hidden", "other\nIcon\r\n");
    EXPECT_TRUE(m_utilities.isHiddenWithURL(url(listed)));
    EXPECT_FALSE(m_utilities.isHiddenWithURL(url(plain)));
}

TEST_F(AttributesTest, LockedItemsAreImmutableOrAppendOnlyAndOnlyPrivilegeUnlocksThem)
{
    const QByteArray file = make("locked");
    const QByteArray folder = base() + "/locked folder";
    KZTestFiles::makeFolders(folder);
    EXPECT_FALSE(m_utilities.isLockedWithURL(url(file)));
    KZTestFiles::ImmutableGuard fileGuard(file);
    KZTestFiles::ImmutableGuard folderGuard(folder);
    if (!fileGuard.isSet() || !folderGuard.isSet())
        GTEST_SKIP() << "setting the immutable flag needs root on a file system that has it";
    EXPECT_TRUE(m_utilities.isLockedWithURL(url(file)));
    EXPECT_TRUE(m_utilities.isLockedWithURL(url(folder)));

    // Without CAP_LINUX_IMMUTABLE the flag stays: that item is one for the helper.
    ::chown(file.constData(), KZTestUser::kNobody, KZTestUser::kNobody);
    KZTestUser::makeTraversable(file.constData());
    const int unprivileged = KZTestUser::runAs(KZTestUser::kNobody, [&] {
        if (!m_utilities.isLockedWithURL(url(file)))
            return 2; // could not even see it
        return m_utilities.unlockWithURL(url(file)) ? 1 : 0;
    });
    EXPECT_EQ(unprivileged, 0);
    EXPECT_TRUE(m_utilities.isLockedWithURL(url(file)));

    EXPECT_TRUE(m_utilities.unlockWithURL(url(file)));
    EXPECT_TRUE(m_utilities.unlockWithURL(url(folder)));
    EXPECT_FALSE(m_utilities.isLockedWithURL(url(file)));
    EXPECT_FALSE(m_utilities.isLockedWithURL(url(folder)));
    // A link carries no flags and is never opened to look for some.
    ::symlink(file.constData(), (base() + "/link").constData());
    EXPECT_FALSE(m_utilities.unlockWithURL(url(base() + "/link")));
}

TEST_F(AttributesTest, KindsPermissionsAndClassicRecords)
{
    KZTestFiles::makeFolders(base() + "/Viewer.app/Contents");
    KZTestFiles::makeFolders(base() + "/Filter.plugin");
    KZTestFiles::makeFolders(base() + "/.app");
    const QByteArray fakePackage = make("Not.app");
    ::symlink("Viewer.app", (base() + "/Shortcut.app").constData());
    bool isApplication = false;
    EXPECT_TRUE(m_utilities.itemURLIsPackage(url(base() + "/Viewer.app"), &isApplication));
    EXPECT_TRUE(isApplication);
    EXPECT_TRUE(
        m_utilities.itemRefIsPackageWithURL(url(base() + "/Filter.plugin"), &isApplication));
    EXPECT_FALSE(isApplication);
    EXPECT_FALSE(m_utilities.itemURLIsPackage(url(fakePackage), &isApplication));
    EXPECT_FALSE(m_utilities.itemURLIsPackage(url(base() + "/.app"), &isApplication));
    EXPECT_FALSE(m_utilities.itemURLIsPackage(url(base() + "/Shortcut.app"), &isApplication));
    isApplication = true;
    EXPECT_FALSE(m_utilities.itemURLIsPackage(url(base() + "/None.app"), &isApplication));
    EXPECT_TRUE(isApplication) << "a failed look-up leaves the flag alone";
    EXPECT_TRUE(m_utilities.isDirectoryWithURL(url(base() + "/Viewer.app")));
    EXPECT_FALSE(m_utilities.isDirectoryWithURL(url(base() + "/Shortcut.app")));
    EXPECT_FALSE(m_utilities.isDirectoryWithURL(QUrl(QStringLiteral("/tmp"))));

    const QByteArray file = make("mode");
    ::chmod(file.constData(), 0640);
    ::chown(file.constData(), 123, 456);
    KZPermissionInfo permissions;
    EXPECT_EQ(m_utilities.itemPermission(url(file), &permissions), 0);
    if (::geteuid() == 0) {
        EXPECT_EQ(permissions.userID, 123u);
        EXPECT_EQ(permissions.groupID, 456u);
    }
    EXPECT_EQ(permissions.mode, S_IFREG | 0640);

    KZCatalogInfo folder;
    folder.nodeFlags = KZCatalogInfo::kNodeIsDirectoryMask;
    EXPECT_TRUE(m_utilities.itemIsRightForUser(folder, QStringLiteral(".config")));
    EXPECT_FALSE(m_utilities.itemIsRightForUser(KZCatalogInfo{}, QStringLiteral(".profile")));

    EXPECT_EQ(m_utilities.cleanItemName(QString()), QStringLiteral(""));
    EXPECT_FALSE(m_utilities.cleanItemName(QString()).isNull());
    EXPECT_EQ(m_utilities.cleanItemName(QStringLiteral("a:b:c")), QStringLiteral("a/b/c"));
}
