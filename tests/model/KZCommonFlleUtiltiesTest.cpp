#include "model/KZCommonFlleUtilties.h"
#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "KZTestUser.h"
#include "model/KZFilesUtilities.h"
#include "model/KZTrashFolder.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <functional>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QUrl url(const QByteArray &path)
{
    return KZPath::urlFromPath(path);
}

using KZTestFiles::exists;

// Fails chosen calls, and lets a test act just before a call to stage a race.
class FaultyFileManager : public KZFileManager
{
public:
    std::map<QByteArray, int> unlinkErrors; // entry name -> errno
    int writeError = 0;
    std::function<void(int dirfd, const char *name)> beforeOpen;

    int unlinkat(int dirfd, const char *name, int flags) override
    {
        const auto failure = unlinkErrors.find(QByteArray(name));
        if (failure != unlinkErrors.end()) {
            errno = failure->second;
            return -1;
        }
        return KZFileManager::unlinkat(dirfd, name, flags);
    }
    int openat(int dirfd, const char *name, int flags, mode_t mode) override
    {
        if (beforeOpen)
            beforeOpen(dirfd, name);
        return KZFileManager::openat(dirfd, name, flags, mode);
    }
    ssize_t write(int fd, const void *data, size_t size) override
    {
        if (writeError) {
            errno = writeError;
            return -1;
        }
        return KZFileManager::write(fd, data, size);
    }
};

class RemovalTest : public ::testing::Test
{
protected:
    [[nodiscard]] QByteArray outside() const
    {
        return m_sandbox.path(QStringLiteral("outside")).toLocal8Bit();
    }
    void SetUp() override
    {
        KZTestFiles::makeFolders(outside() + "/folder");
        KZTestFiles::writeFile(outside() + "/precious", "keep me");
        KZTestFiles::writeFile(outside() + "/folder/precious", "keep me too");
    }
    void expectOutsideIntact() const
    {
        EXPECT_EQ(KZTestFiles::readFile(outside() + "/precious"), "keep me");
        EXPECT_EQ(KZTestFiles::readFile(outside() + "/folder/precious"), "keep me too");
    }

    KZTestSandbox m_sandbox;
    KZTestTrash m_trash = KZTestTrash::home();
    const KZCommonFlleUtilties &m_common = KZCommonFlleUtilties::sharedControl();
};

} // namespace

TEST_F(RemovalTest, RemovesItemsWithTheirTrashInfoAndSizeLines)
{
    const QByteArray odd = "new\nline \xff\xfe";
    m_trash.addFile(odd);
    m_trash.addFolder("Project", {"a.txt", "sub/b.txt", "sub/deeper/", ".dotfile", odd + "/c"});
    m_trash.addFile("Stays");
    m_trash.addDirectorySizesLine("Project", 4096);
    m_trash.addDirectorySizesLine("Other folder", 8192);

    EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL(odd)));
    EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL("Project")));
    EXPECT_FALSE(exists(m_trash.itemPath(odd)));
    EXPECT_FALSE(exists(m_trash.itemPath("Project")));
    EXPECT_FALSE(exists(m_trash.infoPath(odd)));
    EXPECT_FALSE(exists(m_trash.infoPath("Project")));
    EXPECT_TRUE(exists(m_trash.infoPath("Stays")));
    EXPECT_EQ(m_trash.directorySizes(), "8192 1700000000000 Other%20folder\n");

    // Inside an item, only that entry goes; the item's own info file stays.
    m_trash.addFolder("Album", {"one.jpg", "two.jpg"});
    EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL("Album/one.jpg")));
    EXPECT_TRUE(exists(m_trash.itemPath("Album/two.jpg")));
    EXPECT_TRUE(exists(m_trash.infoPath("Album")));
}

TEST_F(RemovalTest, LinksAreRemovedAndNeverFollowed)
{
    ::symlink((outside() + "/precious").constData(), m_trash.itemPath("to file").constData());
    ::symlink((outside() + "/folder").constData(), m_trash.itemPath("to folder").constData());
    m_trash.addFolder("Mixed", {"plain"});
    ::symlink((outside() + "/folder").constData(), m_trash.itemPath("Mixed/to folder").constData());
    ::symlink(outside().constData(), m_trash.itemPath("Mixed/to outside").constData());
    ::link((outside() + "/precious").constData(), m_trash.itemPath("Mixed/hard link").constData());

    for (const QByteArray name : {"to file", "to folder", "Mixed"})
        EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL(name))) << name.constData();
    EXPECT_FALSE(exists(m_trash.itemPath("to folder")));
    EXPECT_FALSE(exists(m_trash.itemPath("Mixed")));
    expectOutsideIntact();
}

TEST_F(RemovalTest, RefusesEverythingOutsideATrash)
{
    m_trash.addFile("inside");
    ::symlink((outside() + "/folder").constData(), m_trash.itemPath("door").constData());
    const QByteArray refused[] = {
        outside() + "/precious",
        outside() + "/folder",
        m_trash.files(),                               // the files/ folder itself
        m_trash.infoPath("inside"),                    // info files go only with their item
        m_trash.files() + "/../info/inside.trashinfo", // a way round through ".."
        m_trash.itemPath("door") + "/precious",        // through a link inside the Trash
        "/",
    };
    for (const QByteArray &path : refused) {
        const auto error = m_common.deleteItemWithURL(url(path));
        ASSERT_TRUE(error) << path.constData();
        EXPECT_TRUE(error->isPOSIX(EINVAL)) << path.constData();
        if (::access("/usr/bin/srm", X_OK) == 0) {
            EXPECT_TRUE(m_common.secureErase(url(path))) << path.constData();
        }
    }
    expectOutsideIntact();
    EXPECT_TRUE(exists(m_trash.infoPath("inside")));
    EXPECT_TRUE(exists(m_trash.itemPath("inside")));

    // Acting for another user (as the helper does), only that user's home Trash counts.
    const QByteArray otherData = m_sandbox.path(QStringLiteral("other/share")).toLocal8Bit();
    KZTestTrash other(otherData + "/Trash");
    other.addFile("theirs");
    const KZCommonFlleUtilties forOther(KZCommonFlleUtilties::kSecureRemoveToolPath, otherData);
    EXPECT_TRUE(forOther.deleteItemWithURL(m_trash.itemURL("inside")));
    EXPECT_FALSE(forOther.deleteItemWithURL(other.itemURL("theirs")));
    EXPECT_FALSE(exists(other.infoPath("theirs")));

    const auto notFile = m_common.deleteItemWithURL(QUrl(QStringLiteral("https://x.org/f")));
    ASSERT_TRUE(notFile);
    EXPECT_NE(notFile->code, 0);
}

TEST_F(RemovalTest, VanishedItemReportsNoSuchFile)
{
    const QByteArray path = m_trash.addFile("ghost");
    ::unlink(path.constData());
    const auto error = m_common.deleteItemWithURL(m_trash.itemURL("ghost"));
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->isPOSIX(ENOENT));
    EXPECT_EQ(error->userInfo.value(QStringLiteral("NSFilePath")).toByteArray(), path);
    EXPECT_TRUE(exists(m_trash.infoPath("ghost"))) << "the sweep is for orphans, not this call";
}

TEST_F(RemovalTest, InjectedFailuresKeepTheRestAndAreClassified)
{
    const struct
    {
        int errnum;
        KZFileManager::ErrorCategory category;
        int cocoaCode;
    } cases[] = {
        {EBUSY, KZFileManager::ErrorCategory::Busy, -47},
        {ETXTBSY, KZFileManager::ErrorCategory::Busy, -47},
        {EACCES, KZFileManager::ErrorCategory::NoPermission, 513},
        {EPERM, KZFileManager::ErrorCategory::NoPermission, 513},
        {EROFS, KZFileManager::ErrorCategory::Other, EROFS},
    };
    for (const auto &each : cases) {
        m_trash.addFolder("Folder", {"a", "stuck", "c", "sub/d"});
        FaultyFileManager fileManager;
        fileManager.unlinkErrors["stuck"] = each.errnum;
        const auto error = m_common.deleteItemWithURL(m_trash.itemURL("Folder"), fileManager);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code, each.errnum);
        EXPECT_EQ(KZFileManager::categoryOf(*error), each.category);
        EXPECT_EQ(KZFileManager::cocoaCodeForErrno(each.errnum), each.cocoaCode);
        EXPECT_EQ(error->userInfo.value(QStringLiteral("NSFilePath")).toByteArray(),
                  m_trash.itemPath("Folder/stuck"));
        EXPECT_TRUE(exists(m_trash.itemPath("Folder/stuck")));
        EXPECT_FALSE(exists(m_trash.itemPath("Folder/a")));
        EXPECT_FALSE(exists(m_trash.itemPath("Folder/sub")));
        EXPECT_TRUE(exists(m_trash.infoPath("Folder"))) << "the item is not gone";
        ASSERT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL("Folder")));
    }

    // A full disk while the size cache is rewritten leaves the old cache whole.
    m_trash.addFolder("Big", {"x"});
    m_trash.addDirectorySizesLine("Big", 1);
    m_trash.addDirectorySizesLine("Small", 2);
    FaultyFileManager full;
    full.writeError = ENOSPC;
    EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL("Big"), full));
    EXPECT_EQ(m_trash.directorySizes(), "1 1700000000000 Big\n2 1700000000000 Small\n");
    EXPECT_EQ(QDir(QString::fromLocal8Bit(m_trash.root())).entryList(QDir::Files).size(), 1)
        << "no temporary file left";
}

TEST_F(RemovalTest, StagedRacesCannotReachOutside)
{
    // A subfolder swapped for a link between the listing and the descent.
    m_trash.addFolder("Swapped", {"sub/file"});
    FaultyFileManager swapper;
    swapper.beforeOpen = [&](int, const char *name) {
        if (QByteArray(name) != "sub")
            return;
        swapper.beforeOpen = nullptr;
        ::rename(m_trash.itemPath("Swapped/sub").constData(), (outside() + "/moved").constData());
        ::symlink((outside() + "/folder").constData(), m_trash.itemPath("Swapped/sub").constData());
    };
    EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL("Swapped"), swapper));
    EXPECT_FALSE(exists(m_trash.itemPath("Swapped")));
    EXPECT_TRUE(exists(outside() + "/moved/file"));
    expectOutsideIntact();

    // A folder moved out of the Trash while the walk is below it: deeper than the walker keeps
    // open, so the way back up goes through "..", which now leads outside. The walk stops.
    QByteArray deep = m_trash.addFolder("Deep");
    for (int level = 0; level < 80; ++level) {
        deep += "/d";
        KZTestFiles::makeFolders(deep);
        KZTestFiles::writeFile(deep + "/sibling", "x");
    }
    FaultyFileManager mover;
    mover.beforeOpen = [&](int dirfd, const char *name) {
        if (QByteArray(name) != "..")
            return;
        mover.beforeOpen = nullptr;
        const QByteArray here = KZTrashFolder::realPathOfDescriptor(dirfd);
        ::rename(here.constData(), (outside() + "/escaped").constData());
    };
    const auto error = m_common.deleteItemWithURL(m_trash.itemURL("Deep"), mover);
    ASSERT_TRUE(error);
    EXPECT_EQ(KZFileManager::categoryOf(*error), KZFileManager::ErrorCategory::Busy);
    expectOutsideIntact();
    EXPECT_TRUE(exists(m_trash.infoPath("Deep")));
}

TEST_F(RemovalTest, MountsInsideATrashAreLeftWhole)
{
    m_trash.addFolder("Holder", {"before", "mounted/"});
    QString whyNot;
    auto mount = KZTestMount::tmpfs(m_trash.itemPath("Holder/mounted"), &whyNot, 4);
    if (!mount)
        GTEST_SKIP() << whyNot.toStdString();
    KZTestFiles::writeFile(m_trash.itemPath("Holder/mounted/other volume"), "x");
    for (const QByteArray name : {"Holder", "Holder/mounted"}) {
        const auto error = m_common.deleteItemWithURL(m_trash.itemURL(name));
        ASSERT_TRUE(error) << name.constData();
        EXPECT_TRUE(error->isPOSIX(EBUSY)) << name.constData();
    }
    EXPECT_TRUE(exists(m_trash.itemPath("Holder/mounted/other volume")));
    EXPECT_FALSE(exists(m_trash.itemPath("Holder/before")));
    mount.reset();
    EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL("Holder")));
}

TEST_F(RemovalTest, OwnUnwritableFoldersAreOpenedUpOthersAreReported)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "needs root to act as another user";
    const uid_t nobody = KZTestUser::kNobody;
    const QByteArray top = m_sandbox.path(QStringLiteral("nobody-volume")).toLocal8Bit();
    KZTestFiles::makeFolders(top);
    KZTestTrash trash = KZTestTrash::onVolume(top, int(nobody));
    trash.addFolder("Locked up", {"read-only/a", "read-only/b/", "no-access/c", "write-only/d"});
    trash.addFolder("Not mine", {"theirs"});
    ::system(("chown -R 65534:65534 '" + top + "'").constData());
    ::chown(trash.itemPath("Not mine").constData(), 0, 0);
    ::chmod(trash.itemPath("Locked up/read-only").constData(), 0555);
    ::chmod(trash.itemPath("Locked up/no-access").constData(), 0);
    ::chmod(trash.itemPath("Locked up/write-only").constData(), 0300);
    ::chmod(trash.itemPath("Locked up").constData(), 0500);
    KZTestUser::makeTraversable(top.constData());

    const KZCommonFlleUtilties &common = m_common;
    EXPECT_EQ(KZTestUser::runAs(nobody,
                                [&] {
                                    const auto error
                                        = common.deleteItemWithURL(trash.itemURL("Locked up"));
                                    return error ? int(error->code) : 0;
                                }),
              0);
    EXPECT_FALSE(exists(trash.itemPath("Locked up")));
    EXPECT_FALSE(exists(trash.infoPath("Locked up")));

    EXPECT_EQ(KZTestUser::runAs(nobody,
                                [&] {
                                    const auto error
                                        = common.deleteItemWithURL(trash.itemURL("Not mine"));
                                    return error ? int(error->code) : 0;
                                }),
              EACCES);
    EXPECT_TRUE(exists(trash.itemPath("Not mine/theirs")));
    EXPECT_TRUE(exists(trash.infoPath("Not mine")));
}

TEST_F(RemovalTest, ImmutableItemsStayUntilUnlocked)
{
    m_trash.addFolder("Guarded", {"locked", "free"});
    {
        KZTestFiles::ImmutableGuard guard(m_trash.itemPath("Guarded/locked"));
        if (!guard.isSet())
            GTEST_SKIP() << "setting the immutable flag needs root";
        const auto error = m_common.deleteItemWithURL(m_trash.itemURL("Guarded"));
        ASSERT_TRUE(error);
        EXPECT_TRUE(error->isPOSIX(EPERM));
        EXPECT_EQ(KZFileManager::categoryOf(*error), KZFileManager::ErrorCategory::NoPermission);
        EXPECT_TRUE(exists(m_trash.itemPath("Guarded/locked")));
        EXPECT_FALSE(exists(m_trash.itemPath("Guarded/free")));
        EXPECT_TRUE(exists(m_trash.infoPath("Guarded")));
        EXPECT_TRUE(
            KZFilesUtilities::sharedControl().unlockWithURL(m_trash.itemURL("Guarded/locked")));
    }
    EXPECT_FALSE(m_common.deleteItemWithURL(m_trash.itemURL("Guarded")));
    EXPECT_FALSE(exists(m_trash.infoPath("Guarded")));
}

TEST_F(RemovalTest, HundredThousandLevelsAreSizedTestedAndRemoved)
{
    constexpr int kLevels = 100000;
    // On a tmpfs where possible: a journalled disk spends half a minute on 200,000 folder
    // operations, which the walk itself does not need.
    QString whyNot;
    const QByteArray top = m_sandbox.path(QStringLiteral("deep-volume")).toLocal8Bit();
    const auto mount = KZTestMount::tmpfs(top, &whyNot, 512);
    KZTestTrash trash = mount ? KZTestTrash::onVolume(top) : m_trash;
    trash.addFolder("Abyss");
    int fd = ::open(trash.itemPath("Abyss").constData(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(fd, 0);
    for (int level = 0; level < kLevels; ++level) {
        ASSERT_EQ(::mkdirat(fd, "l", 0755), 0);
        const int next = ::openat(fd, "l", O_RDONLY | O_DIRECTORY);
        ::close(fd);
        ASSERT_GE(next, 0);
        fd = next;
    }
    ::close(fd);

    quint64 count = 0;
    const KZItemSizeInfo size
        = KZFilesUtilities::sharedControl().iterateFolderForSize(trash.itemURL("Abyss"), &count);
    EXPECT_EQ(count, quint64(kLevels));
    EXPECT_EQ(size, KZItemSizeInfo{});
    EXPECT_TRUE(m_common.isAnEmptyFolder(trash.itemURL("Abyss")));
    EXPECT_FALSE(m_common.deleteItemWithURL(trash.itemURL("Abyss")));
    EXPECT_FALSE(exists(trash.itemPath("Abyss")));
}

TEST_F(RemovalTest, SweepRemovesOnlyOrphanedInfoFiles)
{
    m_trash.addFile("present");
    m_trash.addFolder("present folder");
    m_trash.writeInfo("gone", "/x/gone");
    m_trash.writeInfo("gone \xff\n", "/x/odd");
    m_trash.addDirectorySizesLine("present folder", 10);
    m_trash.addDirectorySizesLine("gone folder", 20);
    KZTestFiles::writeFile(m_trash.root() + "/info/notes.txt", "not an info file");
    EXPECT_EQ(KZTrashFolder::removeOrphanedTrashInfo(m_trash.filesURL()), 2);
    EXPECT_TRUE(exists(m_trash.infoPath("present")));
    EXPECT_TRUE(exists(m_trash.infoPath("present folder")));
    EXPECT_FALSE(exists(m_trash.infoPath("gone")));
    EXPECT_TRUE(exists(m_trash.root() + "/info/notes.txt"));
    EXPECT_EQ(m_trash.directorySizes(), "10 1700000000000 present%20folder\n");
    EXPECT_EQ(KZTrashFolder::removeOrphanedTrashInfo(url(outside())), -1);
}

TEST(CommonFileUtilities, EmptyFolderTestKeepsItsAsymmetry)
{
    KZTestSandbox sandbox;
    const QByteArray base = sandbox.path(QStringLiteral("e")).toLocal8Bit();
    const auto folder = [&](const QByteArray &name, const QList<QByteArray> &entries) {
        const QByteArray path = base + "/" + name;
        KZTestFiles::makeFolders(path);
        for (const QByteArray &entry : entries) {
            if (entry.endsWith('/'))
                KZTestFiles::makeFolders(path + "/" + entry);
            else
                KZTestFiles::writeFile(path + "/" + entry, entry == ".hidden" ? "Icon\r\n" : "x");
        }
        return url(path);
    };
    const KZCommonFlleUtilties &common = KZCommonFlleUtilties::sharedControl();
    EXPECT_TRUE(common.isAnEmptyFolder(folder("nothing", {})));
    EXPECT_FALSE(common.isAnEmptyFolder(folder("only ds", {".DS_Store"})));
    EXPECT_TRUE(common.isAnEmptyFolder(folder("empty sub", {"sub/", ".DS_Store"})));
    EXPECT_TRUE(common.isAnEmptyFolder(folder("icon", {"Icon\r", ".hidden"})));
    EXPECT_FALSE(common.isAnEmptyFolder(folder("visible icon", {"Icon\r"})));
    EXPECT_FALSE(common.isAnEmptyFolder(folder("one file", {"file"})));
    EXPECT_FALSE(common.isAnEmptyFolder(folder("deep file", {"a/", "a/b/", "a/b/file"})));
    EXPECT_FALSE(common.isAnEmptyFolder(folder("deep ds", {"a/", "a/.DS_Store"})));
    EXPECT_TRUE(common.isAnEmptyFolder(folder("deep empty", {"a/", "a/b/", "a/b/c/", ".x"})));
    const QUrl linkOnly = folder("link only", {});
    ::symlink("/", (base + "/link only/l").constData());
    EXPECT_FALSE(common.isAnEmptyFolder(linkOnly));
}

TEST(CommonFileUtilities, SecureRemoveMessagesMapToRemovalErrors)
{
    const struct
    {
        const char *line;
        int code;
    } rows[] = {
        {"Permission denied and Operation not permitted", 1},
        {"Couldn't delete x. Permission denied", 13},
        {"No such file or directory", 2},
        {"", 45},
        {"operation not permitted", 45}, // case-sensitive
    };
    for (const auto &row : rows) {
        const KZError error = KZCommonFlleUtilties::errorFromErrorString(QLatin1String(row.line));
        EXPECT_EQ(error.code, row.code) << row.line;
        EXPECT_EQ(error.domain, KZError::kPOSIXDomain);
        ASSERT_EQ(error.userInfo.size(), 1);
        // The failure text is the key; the value names the failure-reason key.
        EXPECT_EQ(error.userInfo.first().toString(), KZError::kLocalizedFailureReasonKey);
    }
    EXPECT_EQ(KZCommonFlleUtilties::failureTextOfError(
                  KZCommonFlleUtilties::errorFromErrorString(QStringLiteral("Permission denied"))),
              QStringLiteral("Permission denied (You don't have enough privilegies.)"));

    const auto chunk = [](const char *text) {
        const auto error = KZCommonFlleUtilties::errorInSecureRemoveChunk(text);
        return error ? int(error->code) : 0;
    };
    EXPECT_EQ(chunk("Wiping a ** Removed file a ... Done\n"), 0);
    EXPECT_EQ(chunk("Wiping b Error: File /t/b - No such file or directory\n"), 2);
    EXPECT_EQ(chunk("Warning: Unable to unlink file /t/Permission denied - Operation not "
                    "permitted\n"),
              1);
    EXPECT_EQ(chunk("Wiping imm Couldn't delete imm. v2. Permission denied\n"), 13);
    EXPECT_EQ(chunk("Warning: Unable to remove directory d - Directory not empty\n"), 45);
    EXPECT_EQ(chunk("Error: File /t/new\nline - Operation not permitted\n"), 1);
    // Pieces between "%" are taken in order; the first failing piece decides.
    EXPECT_EQ(chunk("10%Error: File a - Operation not permitted%Error: File b - Permission "
                    "denied%"),
              1);
    EXPECT_EQ(chunk("mac style: unable to remove x: Permission denied"), 13);
}

namespace {

class SecureEraseTest : public RemovalTest
{
protected:
    // A stand-in srm that prints text, waits, prints more, and records that it ran.
    QString fakeTool(const QByteArray &first, const QByteArray &second)
    {
        const QByteArray path = m_sandbox.path(QStringLiteral("fake-srm")).toLocal8Bit();
        KZTestFiles::writeFile(path, "#!/bin/sh\necho \"$@\" > \"$0.ran\"\nprintf '" + first
                                         + "'\nsleep 0.3\nprintf '" + second + "'\n");
        ::chmod(path.constData(), 0755);
        return QString::fromLocal8Bit(path);
    }
};

} // namespace

TEST_F(SecureEraseTest, RealSrmErasesAndReportsWhatItCouldNot)
{
    if (::access("/usr/bin/srm", X_OK) != 0)
        GTEST_SKIP() << "secure-delete is not installed";
    m_trash.addFile("secret \xff", "secret data");
    m_trash.addFolder("Secrets", {"one", "two/three"});
    ::symlink((outside() + "/precious").constData(), m_trash.itemPath("Secrets/link").constData());
    EXPECT_FALSE(m_common.secureErase(m_trash.itemURL("secret \xff")));
    EXPECT_FALSE(m_common.secureErase(m_trash.itemURL("Secrets")));
    EXPECT_FALSE(exists(m_trash.itemPath("secret \xff")));
    EXPECT_FALSE(exists(m_trash.itemPath("Secrets")));
    EXPECT_FALSE(exists(m_trash.infoPath("Secrets")));
    expectOutsideIntact();

    m_trash.addFolder("Held", {"locked"});
    KZTestFiles::ImmutableGuard guard(m_trash.itemPath("Held/locked"));
    if (!guard.isSet())
        return;
    const auto error = m_common.secureErase(m_trash.itemURL("Held"));
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->code == 1 || error->code == 45) << error->code;
    EXPECT_TRUE(exists(m_trash.itemPath("Held/locked")));
    EXPECT_TRUE(exists(m_trash.infoPath("Held")));
}

TEST_F(SecureEraseTest, LaterChunkDecidesAndMissingToolErasesNothing)
{
    m_trash.addFile("item");
    const QString tool
        = fakeTool("Error: File /x - Permission denied\\n",
                   "Warning: Unable to unlink file /y - No such file or directory\\n");
    const KZCommonFlleUtilties common(tool);
    const auto error = common.secureErase(m_trash.itemURL("item"));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, 2);
    EXPECT_EQ(KZTestFiles::readFile(tool.toLocal8Bit() + ".ran"),
              "-lrv " + m_trash.itemPath("item") + "\n");

    const KZCommonFlleUtilties quiet(fakeTool("Wiping item ... Done\\n", "\\n"));
    EXPECT_FALSE(quiet.secureErase(m_trash.itemURL("item")));

    const KZCommonFlleUtilties absent(m_sandbox.path(QStringLiteral("no-srm-here")));
    EXPECT_FALSE(absent.secureErase(m_trash.itemURL("item")));
    EXPECT_TRUE(exists(m_trash.itemPath("item")));
    EXPECT_TRUE(exists(m_trash.infoPath("item")));
}
