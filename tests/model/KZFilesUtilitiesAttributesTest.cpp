#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "KZTestUser.h"
#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <tuple>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto url = &KZPath::urlFromPath;

class AttributesTest : public ::testing::Test
{
protected:
    [[nodiscard]] QByteArray base() const { return m_sandbox.root().toLocal8Bit(); }
    QByteArray make(const QByteArray &name, const QByteArray &content = "data")
    {
        KZTestFiles::writeFile(base() + "/" + name, content);
        return base() + "/" + name;
    }

    KZTestSandbox m_sandbox;
    const KZFilesUtilities &m_utilities = KZFilesUtilities::sharedControl();
};

} // namespace

TEST_F(AttributesTest, PathsKeepEveryByteAndVanishedItemsAnswerCodeFour)
{
    const QByteArray odd = make("new\nline \xff\xfe.txt");
    EXPECT_EQ(m_utilities.pathWithURL(url(odd)), odd);
    EXPECT_EQ(m_utilities.itemNameWithURL(url(odd)), QByteArray("new\nline \xff\xfe.txt"));
    EXPECT_EQ(m_utilities.parentDirectoryWithURL(url(odd)), url(base()));
    EXPECT_EQ(m_utilities.attributeWithURL(url(odd), KZResourceKey::FileSize), QVariant(4ull));
    // A dangling link is an item that can be erased, so it has a path.
    ::symlink("/no/such/target", (base() + "/dangling").constData());
    EXPECT_EQ(m_utilities.pathWithURL(url(base() + "/dangling")), base() + "/dangling");
    EXPECT_TRUE(m_utilities.isAliasWithURL(url(base() + "/dangling")));
    // Only file URLs of items that exist become paths.
    const QVariantList list{url(odd), url("/no/such/item"), QUrl(u"https://x.org/"_s), 42};
    EXPECT_EQ(m_utilities.URLsToPaths(list), QVariant(QVariantList{odd, list[1], list[2], 42}));

    ::unlink(odd.constData());
    KZError error;
    EXPECT_TRUE(m_utilities.pathWithURL(url(odd), &error).isEmpty());
    EXPECT_EQ(error, KZError::posix(4, error.localizedDescription));
    EXPECT_FALSE(m_utilities.attributeWithURL(url(odd), KZResourceKey::FileSize).isValid());
    KZPermissionInfo permissions;
    EXPECT_EQ(m_utilities.itemPermission(url(odd), &permissions), 1);
    EXPECT_TRUE(m_utilities.pathWithURL(QUrl(u"https://x.org/a"_s), &error).isEmpty());
    EXPECT_NE(error.code, 4) << "not a missing item";
}

TEST_F(AttributesTest, LockedItemsAreImmutableAndOnlyPrivilegeUnlocksThem)
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
    EXPECT_FALSE(m_utilities.isLockedWithURL(url(file))
                 || m_utilities.isLockedWithURL(url(folder)));
    // A link carries no flags and is never opened to look for some.
    ::symlink(file.constData(), (base() + "/link").constData());
    EXPECT_FALSE(m_utilities.unlockWithURL(url(base() + "/link")));
}

TEST_F(AttributesTest, PackagesHiddenItemsAndPermissions)
{
    KZTestFiles::makeFolders(base() + "/Viewer.app/Contents");
    KZTestFiles::makeFolders(base() + "/Filter.plugin");
    KZTestFiles::makeFolders(base() + "/.app");
    ::symlink("Viewer.app", (base() + "/Shortcut.app").constData());
    make("Not.app");
    // Name, whether it is a package, whether an application (the flag stays on failure).
    const std::tuple<const char *, bool, bool> rows[] = {
        {"Viewer.app", true, true}, {"Filter.plugin", true, false}, {"Not.app", false, false},
        {".app", false, false},     {"Shortcut.app", false, false},
    };
    for (const auto &[name, package, application] : rows) {
        bool isApplication = false;
        EXPECT_EQ(m_utilities.itemURLIsPackage(url(base() + "/" + name), &isApplication), package);
        EXPECT_EQ(isApplication, application) << name;
    }
    EXPECT_FALSE(m_utilities.isDirectoryWithURL(url(base() + "/Shortcut.app")));

    // A dot name is hidden without asking the file system; other names when ".hidden" lists
    // them.
    EXPECT_TRUE(m_utilities.isHiddenWithURL(url(base() + "/.not-there")));
    const QByteArray listed = make("Icon\r");
    EXPECT_FALSE(m_utilities.isHiddenWithURL(url(listed)));
    make(".hidden", "other\nIcon\r\n");
    EXPECT_TRUE(m_utilities.isHiddenWithURL(url(listed)));
    EXPECT_FALSE(m_utilities.isHiddenWithURL(url(make("plain"))));

    ::chmod(listed.constData(), 0640);
    KZPermissionInfo permissions;
    EXPECT_EQ(m_utilities.itemPermission(url(listed), &permissions), 0);
    EXPECT_EQ(permissions.mode, S_IFREG | 0640);

    KZCatalogInfo folder;
    folder.nodeFlags = KZCatalogInfo::kNodeIsDirectoryMask;
    EXPECT_TRUE(m_utilities.itemIsRightForUser(folder, u".config"_s));
    EXPECT_FALSE(m_utilities.itemIsRightForUser(KZCatalogInfo{}, u".profile"_s));
}
