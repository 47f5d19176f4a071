#include "model/KZCommonFlleUtilties.h"
#include "KZFaultyFileManager.h"
#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "KZTestUser.h"
#include "model/KZDirectoryWalker.h"
#include "model/KZFilesUtilities.h"
#include "model/KZTrashFolder.h"

#include <gtest/gtest.h>

#include <QDir>

#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using KZTestFiles::exists;

constexpr auto url = &KZPath::urlFromPath;

bool haveSrm()
{
    return ::access("/usr/bin/srm", X_OK) == 0;
}

// The home Trash of a sandbox, and precious files outside it that must survive every test.
class RemovalTest : public ::testing::Test
{
protected:
    [[nodiscard]] QByteArray outside() const { return m_sandbox.path(u"outside"_s).toLocal8Bit(); }
    void SetUp() override
    {
        KZTestFiles::makeFolders(outside() + "/folder");
        KZTestFiles::writeFile(outside() + "/precious", "keep me");
        KZTestFiles::writeFile(outside() + "/folder/precious", "keep me too");
    }
    void TearDown() override
    {
        EXPECT_EQ(KZTestFiles::readFile(outside() + "/precious"), "keep me");
        EXPECT_EQ(KZTestFiles::readFile(outside() + "/folder/precious"), "keep me too");
    }
    // Removes files/name of trash; the error code, 0 on success.
    int remove(const QByteArray &name, KZFileManager &fileManager = KZFileManager::defaultManager())
    {
        const auto error = m_common.deleteItemWithURL(m_trash.itemURL(name), fileManager);
        return error ? int(error->code) : 0;
    }
    // Those of paths (relative to the root of trash) that still exist.
    [[nodiscard]] QByteArrayList left(const QByteArrayList &paths) const
    {
        QByteArrayList found;
        for (const QByteArray &path : paths) {
            if (exists(m_trash.root() + "/" + path))
                found.append(path);
        }
        return found;
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
    m_trash.addFolder("Album", {"one.jpg", "two.jpg"});
    m_trash.addDirectorySizesLine("Project", 4096);
    m_trash.addDirectorySizesLine("Other folder", 8192);
    EXPECT_EQ(remove(odd), 0);
    EXPECT_EQ(remove("Project"), 0);
    // Inside an item, only that entry goes; the item's own info file stays.
    EXPECT_EQ(remove("Album/one.jpg"), 0);
    EXPECT_EQ(left({"files/" + odd, "info/" + odd + ".trashinfo", "files/Project",
                    "info/Project.trashinfo", "files/Album/two.jpg", "info/Album.trashinfo"}),
              (QByteArrayList{"files/Album/two.jpg", "info/Album.trashinfo"}));
    EXPECT_EQ(m_trash.directorySizes(), "8192 1700000000000 Other%20folder\n");
}

TEST_F(RemovalTest, NothingOutsideATrashIsRemovedNorReachedThroughLinks)
{
    // Links in the Trash go themselves; what they point at stays (checked at TearDown).
    ::symlink((outside() + "/folder").constData(), m_trash.itemPath("to folder").constData());
    m_trash.addFolder("Mixed", {"plain"});
    ::symlink(outside().constData(), m_trash.itemPath("Mixed/to outside").constData());
    ::link((outside() + "/precious").constData(), m_trash.itemPath("Mixed/hard link").constData());
    EXPECT_EQ(remove("to folder"), 0);
    EXPECT_EQ(remove("Mixed"), 0);
    EXPECT_EQ(left({"files/to folder", "files/Mixed"}), QByteArrayList());

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
        const auto error = m_common.deleteItemWithURL(url(path), KZFileManager::defaultManager());
        EXPECT_TRUE(error && error->isPOSIX(EINVAL)) << path.constData();
        if (haveSrm()) {
            EXPECT_TRUE(m_common.secureErase(url(path), KZFileManager::defaultManager()))
                << path.constData();
        }
    }
    EXPECT_NE(
        m_common.deleteItemWithURL(QUrl(u"https://x.org/f"_s), KZFileManager::defaultManager())
            .value()
            .code,
        0);

    // Acting for another user (as the helper does), only that user's home Trash counts.
    const QByteArray otherData = m_sandbox.path(u"other/share"_s).toLocal8Bit();
    KZTestTrash other(otherData + "/Trash");
    other.addFile("theirs");
    const KZCommonFlleUtilties forOther(KZCommonFlleUtilties::kSecureRemoveToolPath, otherData);
    EXPECT_TRUE(
        forOther.deleteItemWithURL(m_trash.itemURL("inside"), KZFileManager::defaultManager()));
    EXPECT_FALSE(
        forOther.deleteItemWithURL(other.itemURL("theirs"), KZFileManager::defaultManager()));
    EXPECT_FALSE(exists(other.infoPath("theirs")));
    EXPECT_EQ(left({"files/inside", "info/inside.trashinfo"}).size(), 2);
}

TEST_F(RemovalTest, FailuresKeepTheRestTheInfoFileAndTheSizeCache)
{
    m_trash.addFolder("Folder", {"a", "stuck", "c", "sub/d"});
    KZFaultyFileManager fileManager;
    fileManager.failCall("unlinkat", EBUSY, "stuck");
    const auto error = m_common.deleteItemWithURL(m_trash.itemURL("Folder"), fileManager);
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->isPOSIX(EBUSY));
    EXPECT_EQ(error->userInfo.value(u"NSFilePath"_s).toByteArray(),
              m_trash.itemPath("Folder/stuck"));
    // The item is not gone, so its info file stays.
    EXPECT_EQ(
        left({"files/Folder/a", "files/Folder/stuck", "files/Folder/sub", "info/Folder.trashinfo"}),
        (QByteArrayList{"files/Folder/stuck", "info/Folder.trashinfo"}));

    // A vanished item is reported with its path; sweeping its info file is not this call's job.
    const QByteArray ghost = m_trash.addFile("ghost");
    ::unlink(ghost.constData());
    const auto vanished
        = m_common.deleteItemWithURL(m_trash.itemURL("ghost"), KZFileManager::defaultManager());
    ASSERT_TRUE(vanished);
    EXPECT_TRUE(vanished->isPOSIX(ENOENT));
    EXPECT_EQ(vanished->userInfo.value(u"NSFilePath"_s).toByteArray(), ghost);
    EXPECT_EQ(left({"info/ghost.trashinfo"}).size(), 1);

    // A full disk while the size cache is rewritten leaves the old cache whole.
    m_trash.addFolder("Big", {"x"});
    m_trash.addDirectorySizesLine("Big", 1);
    m_trash.addDirectorySizesLine("Small", 2);
    KZFaultyFileManager full;
    full.failCall("write", ENOSPC);
    EXPECT_EQ(remove("Big", full), 0);
    EXPECT_EQ(m_trash.directorySizes(), "1 1700000000000 Big\n2 1700000000000 Small\n");
    EXPECT_EQ(QDir(QString::fromLocal8Bit(m_trash.root())).entryList(QDir::Files).size(), 1)
        << "no temporary file left";
}

TEST_F(RemovalTest, StagedRacesCannotReachOutside)
{
    // A subfolder swapped for a link between the listing and the descent.
    m_trash.addFolder("Swapped", {"sub/file"});
    KZFaultyFileManager swapper;
    swapper.beforeOpen = [&](int, const char *name) {
        if (QByteArray(name) != "sub")
            return;
        swapper.beforeOpen = nullptr;
        ::rename(m_trash.itemPath("Swapped/sub").constData(), (outside() + "/moved").constData());
        ::symlink((outside() + "/folder").constData(), m_trash.itemPath("Swapped/sub").constData());
    };
    EXPECT_EQ(remove("Swapped", swapper), 0);
    EXPECT_EQ(left({"files/Swapped"}), QByteArrayList());
    EXPECT_TRUE(exists(outside() + "/moved/file"));

    // A folder moved out of the Trash while the walk is below it: deeper than the walker keeps
    // open, so the way back up goes through "..", which now leads outside. The walk stops.
    QByteArray deep = m_trash.addFolder("Deep");
    for (size_t level = 0; level < KZDirectoryWalker::kOpenWindow + 16; ++level) {
        deep += "/d";
        KZTestFiles::makeFolders(deep);
        KZTestFiles::writeFile(deep + "/sibling", "x");
    }
    KZFaultyFileManager mover;
    mover.beforeOpen = [&](int dirfd, const char *name) {
        if (QByteArray(name) != "..")
            return;
        mover.beforeOpen = nullptr;
        const QByteArray here
            = KZTrashFolder::realPathOfDescriptor(dirfd, KZFileManager::defaultManager());
        ::rename(here.constData(), (outside() + "/escaped").constData());
    };
    EXPECT_EQ(remove("Deep", mover), EBUSY);
    EXPECT_EQ(left({"info/Deep.trashinfo"}).size(), 1);
}

TEST_F(RemovalTest, MountsInsideATrashAreLeftWhole)
{
    m_trash.addFolder("Holder", {"before", "mounted/"});
    QString whyNot;
    auto mount = KZTestMount::tmpfs(m_trash.itemPath("Holder/mounted"), &whyNot, 4);
    if (!mount)
        GTEST_SKIP() << whyNot.toStdString();
    KZTestFiles::writeFile(m_trash.itemPath("Holder/mounted/other volume"), "x");
    EXPECT_EQ(remove("Holder"), EBUSY);
    EXPECT_EQ(remove("Holder/mounted"), EBUSY);
    EXPECT_EQ(left({"files/Holder/before", "files/Holder/mounted/other volume"}),
              QByteArrayList{"files/Holder/mounted/other volume"});
    mount.reset();
    EXPECT_EQ(remove("Holder"), 0);
}

TEST_F(RemovalTest, OwnUnwritableFoldersAreOpenedUpOthersAreReported)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "needs root to act as another user";
    const QByteArray top = m_sandbox.path(u"nobody-volume"_s).toLocal8Bit();
    KZTestFiles::makeFolders(top);
    m_trash = KZTestTrash::onVolume(top, int(KZTestUser::kNobody));
    m_trash.addFolder("Locked up", {"read-only/a", "read-only/b/", "no-access/c", "write-only/d"});
    m_trash.addFolder("Not mine", {"theirs"});
    ::system(("chown -R 65534:65534 '" + top + "'").constData());
    ::chown(m_trash.itemPath("Not mine").constData(), 0, 0);
    ::chmod(m_trash.itemPath("Locked up/read-only").constData(), 0555);
    ::chmod(m_trash.itemPath("Locked up/no-access").constData(), 0);
    ::chmod(m_trash.itemPath("Locked up/write-only").constData(), 0300);
    ::chmod(m_trash.itemPath("Locked up").constData(), 0500);
    KZTestUser::makeTraversable(top.constData());
    for (const QByteArray name : {"Locked up", "Not mine"})
        EXPECT_EQ(KZTestUser::runAs(KZTestUser::kNobody, [&] { return remove(name); }),
                  name == "Not mine" ? EACCES : 0);
    EXPECT_EQ(left({"files/Locked up", "info/Locked up.trashinfo", "files/Not mine/theirs",
                    "info/Not mine.trashinfo"}),
              (QByteArrayList{"files/Not mine/theirs", "info/Not mine.trashinfo"}));
}

TEST_F(RemovalTest, ImmutableItemsStayUntilUnlocked)
{
    m_trash.addFolder("Guarded", {"locked", "free"});
    {
        KZTestFiles::ImmutableGuard guard(m_trash.itemPath("Guarded/locked"));
        if (!guard.isSet())
            GTEST_SKIP() << "setting the immutable flag needs root";
        EXPECT_EQ(remove("Guarded"), EPERM);
        EXPECT_EQ(left({"files/Guarded/locked", "files/Guarded/free", "info/Guarded.trashinfo"}),
                  (QByteArrayList{"files/Guarded/locked", "info/Guarded.trashinfo"}));
        EXPECT_TRUE(
            KZFilesUtilities::sharedControl().unlockWithURL(m_trash.itemURL("Guarded/locked")));
    }
    EXPECT_EQ(remove("Guarded"), 0);
    EXPECT_EQ(left({"files/Guarded", "info/Guarded.trashinfo"}), QByteArrayList());
}

TEST_F(RemovalTest, HundredThousandLevelsAreSizedTestedAndRemoved)
{
    // Deep enough that one stack frame or one open folder per level would fail; on a tmpfs
    // where possible, as a journalled disk spends half a minute making it.
    constexpr int kLevels = 100000;
    QString whyNot;
    const QByteArray top = m_sandbox.path(u"deep-volume"_s).toLocal8Bit();
    const auto mount = KZTestMount::tmpfs(top, &whyNot, 512);
    if (mount)
        m_trash = KZTestTrash::onVolume(top);
    int fd = ::open(m_trash.addFolder("Abyss").constData(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < kLevels && fd >= 0; ++level) {
        ASSERT_EQ(::mkdirat(fd, "l", 0755), 0);
        const int next = ::openat(fd, "l", O_RDONLY | O_DIRECTORY);
        ::close(fd);
        fd = next;
    }
    ASSERT_GE(fd, 0);
    ::close(fd);

    quint64 count = 0;
    const QUrl abyss = m_trash.itemURL("Abyss");
    EXPECT_EQ(KZFilesUtilities::sharedControl().iterateFolderForSize(abyss, &count),
              KZItemSizeInfo{});
    EXPECT_EQ(count, quint64(kLevels));
    EXPECT_TRUE(m_common.isAnEmptyFolder(abyss));
    EXPECT_EQ(remove("Abyss"), 0);
    EXPECT_EQ(left({"files/Abyss"}), QByteArrayList());
}

TEST_F(RemovalTest, SweepRemovesOnlyOrphanedInfoFiles)
{
    m_trash.addFile("present");
    m_trash.writeInfo("gone", "/x/gone");
    m_trash.writeInfo("gone \xff\n", "/x/odd");
    m_trash.addDirectorySizesLine("present", 10);
    m_trash.addDirectorySizesLine("gone folder", 20);
    KZTestFiles::writeFile(m_trash.root() + "/info/notes.txt", "not an info file");
    EXPECT_EQ(
        KZTrashFolder::removeOrphanedTrashInfo(m_trash.filesURL(), KZFileManager::defaultManager()),
        2);
    EXPECT_EQ(left({"info/present.trashinfo", "info/gone.trashinfo", "info/notes.txt"}),
              (QByteArrayList{"info/present.trashinfo", "info/notes.txt"}));
    EXPECT_EQ(m_trash.directorySizes(), "10 1700000000000 present\n");
    EXPECT_EQ(
        KZTrashFolder::removeOrphanedTrashInfo(url(outside()), KZFileManager::defaultManager()),
        -1);
}

TEST(CommonFileUtilities, EmptyFolderTestKeepsItsAsymmetry)
{
    KZTestSandbox sandbox;
    // Folder contents ("/" ends a folder; ".hidden" lists "Icon\r") and whether that is empty.
    const std::pair<QByteArrayList, bool> rows[] = {
        {{}, true},
        {{".DS_Store"}, false}, // dot-files alone do not make it empty
        {{"sub/", ".DS_Store"}, true},
        {{"Icon\r", ".hidden"}, true},
        {{"Icon\r"}, false},
        {{"file"}, false},
        {{"a/", "a/.DS_Store"}, false},
        {{"a/b/c/", ".x"}, true},
    };
    int row = 0;
    for (const auto &[entries, empty] : rows) {
        const QByteArray folder = sandbox.root().toLocal8Bit() + "/" + QByteArray::number(++row);
        KZTestFiles::makeFolders(folder);
        for (const QByteArray &entry : entries) {
            KZTestFiles::makeFolders(folder + "/" + entry.left(entry.lastIndexOf('/') + 1));
            if (!entry.endsWith('/'))
                KZTestFiles::writeFile(folder + "/" + entry, entry == ".hidden" ? "Icon\r\n" : "x");
        }
        EXPECT_EQ(KZCommonFlleUtilties::sharedControl().isAnEmptyFolder(url(folder)), empty)
            << "row " << row;
    }
}

TEST(CommonFileUtilities, SecureRemoveMessagesMapToRemovalErrors)
{
    const std::pair<const char *, int> lines[] = {
        {"Permission denied and Operation not permitted", 1}, // the table's order decides
        {"Couldn't delete x. Permission denied", 13},
        {"operation not permitted", 45}, // case-sensitive
    };
    for (const auto &[line, code] : lines) {
        const KZError error = KZCommonFlleUtilties::errorFromErrorString(QLatin1String(line));
        EXPECT_EQ(error.code, code) << line;
        EXPECT_EQ(error.domain, KZError::kPOSIXDomain);
        // The failure text is the key; the value names the failure-reason key.
        ASSERT_EQ(error.userInfo.size(), 1);
        EXPECT_EQ(error.userInfo.first().toString(), KZError::kLocalizedFailureReasonKey);
    }
    EXPECT_EQ(KZCommonFlleUtilties::failureTextOfError(
                  KZCommonFlleUtilties::errorFromErrorString(u"Permission denied"_s)),
              u"Permission denied (You don't have enough privilegies.)"_s);

    const std::pair<const char *, int> chunks[] = {
        {"Wiping a ** Removed file a ... Done\n", 0}, // 0: no failure reported
        {"Wiping b Error: File /t/b - No such file or directory\n", 2},
        // The name itself may read like a reason, or hold a newline.
        {"Warning: Unable to unlink file /t/Permission denied - Operation not permitted\n", 1},
        {"Error: File /t/new\nline - Operation not permitted\n", 1},
        {"Warning: Unable to remove directory d - Directory not empty\n", 45},
        {"mac style: unable to remove x: Permission denied", 13},
        // Pieces between "%" are taken in order; the first failing piece decides.
        {"10%Error: File a - Operation not permitted%Error: File b - Permission denied%", 1},
    };
    for (const auto &[chunk, code] : chunks) {
        const auto error = KZCommonFlleUtilties::errorInSecureRemoveChunk(chunk);
        EXPECT_EQ(error ? int(error->code) : 0, code) << chunk;
    }
}

TEST_F(RemovalTest, SecureEraseLaterChunkDecidesMissingToolErasesNothingRealToolFollowsNoLink)
{
    // A stand-in srm that records its arguments, prints, waits, and prints more.
    const QByteArray tool = m_sandbox.path(u"fake-srm"_s).toLocal8Bit();
    KZTestFiles::writeFile(
        tool, "#!/bin/sh\necho \"$@\" > \"$0.ran\"\n"
              "printf 'Error: File /x - Permission denied\\n'\nsleep 0.3\n"
              "echo 'Warning: Unable to unlink file /y - No such file or directory'\n");
    ::chmod(tool.constData(), 0755);
    m_trash.addFile("item");
    const auto error = KZCommonFlleUtilties(QString::fromLocal8Bit(tool))
                           .secureErase(m_trash.itemURL("item"), KZFileManager::defaultManager());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, ENOENT);
    EXPECT_EQ(KZTestFiles::readFile(tool + ".ran"), "-lrv " + m_trash.itemPath("item") + "\n");

    // Its output cannot be read, or it cannot even be started: the item, still there, is
    // reported with the reason, and the tool is not left behind on a pipe nobody reads.
    for (const auto &[call, errnum] :
         {std::pair("read", EIO), std::pair("spawn", EAGAIN), std::pair("pipe2", EMFILE)}) {
        KZFaultyFileManager failing;
        failing.failCall(call, errnum);
        const auto failed = KZCommonFlleUtilties(QString::fromLocal8Bit(tool))
                                .secureErase(m_trash.itemURL("item"), failing);
        ASSERT_TRUE(failed) << call;
        EXPECT_EQ(failed->code, errnum) << call;
        EXPECT_EQ(failing.failedCount(), 1) << call;
        EXPECT_EQ(left({"files/item", "info/item.trashinfo"}).size(), 2) << call;
    }

    const KZCommonFlleUtilties absent(m_sandbox.path(u"no-srm-here"_s));
    EXPECT_FALSE(absent.secureErase(m_trash.itemURL("item"), KZFileManager::defaultManager()));
    EXPECT_EQ(left({"files/item", "info/item.trashinfo"}).size(), 2);

    // The real tool erases names that are not text, and removes links without following them.
    if (!haveSrm())
        GTEST_SKIP() << "secure-delete is not installed";
    m_trash.addFile("secret \xff", "secret data");
    m_trash.addFolder("Secrets", {"one", "two/three"});
    ::symlink((outside() + "/precious").constData(), m_trash.itemPath("Secrets/link").constData());
    EXPECT_FALSE(
        m_common.secureErase(m_trash.itemURL("secret \xff"), KZFileManager::defaultManager()));
    EXPECT_FALSE(m_common.secureErase(m_trash.itemURL("Secrets"), KZFileManager::defaultManager()));
    EXPECT_EQ(left({"files/secret \xff", "files/Secrets", "info/Secrets.trashinfo"}),
              QByteArrayList());
}
