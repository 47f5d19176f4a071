// The real binwise-helper, started directly as root for an unprivileged user (65534), erasing
// in a Trash set up as that user would have it.
#include "KZHelperProcess.h"
#include "protocol/KZHelperProtocol.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace P = KZHelperProtocol;
using namespace KZHelperTestMessages;

namespace {

constexpr uid_t kUser = 65534;

bool exists(const std::string &path)
{
    struct stat st
    {
    };
    return lstat(path.c_str(), &st) == 0;
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

std::uint64_t allocated(const std::string &path)
{
    struct stat st
    {
    };
    return lstat(path.c_str(), &st) == 0 ? static_cast<std::uint64_t>(st.st_blocks) * 512 : 0;
}

// Sets or clears the immutable flag; false where the file system has no such flag.
bool setImmutable(const std::string &path, bool on)
{
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    int flags = 0;
    bool ok = fd >= 0 && ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
    ok = ok && ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    if (fd >= 0)
        close(fd);
    return ok;
}

KZCborValue paths(const std::vector<std::string> &list)
{
    KZCborValue array = KZCborValue::array();
    for (const std::string &path : list)
        array.append(KZCborValue::bytes(path));
    return array;
}

class HelperErase : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root: the helper acts as root for another user";
        ASSERT_TRUE(m_dir.isValid());
        root = m_dir.path().toStdString();
        chmod(root.c_str(), 0755);
        dataHome = root + "/home/.local/share";
        folder(root + "/home");
        folder(root + "/home/.local");
        folder(dataHome);
        trash = dataHome + "/Trash";
        files = trash + "/files";
        info = trash + "/info";
        folder(trash, kUser, 0700);
        folder(files, kUser, 0700);
        folder(info, kUser, 0700);
        outside = root + "/outside";
        folder(outside, 0);
    }

    void TearDown() override
    {
        // Whatever a failed test left locked must not stop the temporary folder's removal.
        if (!root.empty())
            system(("chattr -R -i -a '" + root + "' 2>/dev/null").c_str());
    }

    static void folder(const std::string &path, uid_t owner = kUser, mode_t mode = 0755)
    {
        mkdir(path.c_str(), mode);
        ASSERT_EQ(chown(path.c_str(), owner, owner), 0) << path;
        chmod(path.c_str(), mode);
    }

    static void file(const std::string &path, const std::string &content = "data",
                     uid_t owner = kUser, mode_t mode = 0644)
    {
        std::ofstream(path, std::ios::binary) << content;
        ASSERT_EQ(chown(path.c_str(), owner, owner), 0) << path;
        chmod(path.c_str(), mode);
    }

    // A top-level Trash item with its info file.
    void trashed(const std::string &name)
    {
        file(info + "/" + name + ".trashinfo",
             "[Trash Info]\nPath=/somewhere/" + name + "\nDeletionDate=2024-01-01T10:00:00\n");
    }

    static KZCborValue erase(const std::vector<std::string> &unlock,
                             const std::vector<std::string> &permissions,
                             const std::vector<std::string> &notTrashed = {},
                             std::uint64_t count = 0, std::uint64_t size = 0, bool secure = false)
    {
        KZCborValue items = KZCborValue::map();
        if (!unlock.empty())
            items.insert("unlockItems", paths(unlock));
        if (!permissions.empty())
            items.insert("permissionsItems", paths(permissions));
        if (!notTrashed.empty())
            items.insert("notTrashedBecauseFolderNotEmpty", paths(notTrashed));
        items.insert("erasedCount", KZCborValue::number(count));
        items.insert("erasedSize", KZCborValue::number(size));
        items.insert("eraseSecurely", KZCborValue::boolean(secure));
        KZCborValue message = request(std::string(P::kEraseMessage));
        message.insert("eraseWithAuthorization", KZCborValue::bytes(std::string(32, '\x01')));
        message.insert("itemsDictionary", std::move(items));
        return message;
    }

    std::unique_ptr<KZHelperProcess> start(bool withPause = false,
                                           std::vector<std::string> extra = {})
    {
        KZHelperProcess::Options options;
        options.arguments = {"--uid", std::to_string(kUser), "--data-home", dataHome};
        options.arguments.insert(options.arguments.end(), extra.begin(), extra.end());
        options.withPause = withPause;
        return std::make_unique<KZHelperProcess>(options);
    }

    // Every frame up to and including the erase reply.
    static std::vector<KZCborValue> untilReply(KZHelperProcess &helper)
    {
        std::vector<KZCborValue> frames;
        while (auto frame = helper.receive()) {
            frames.push_back(*frame);
            if (text(*frame, "message") == P::kEraseMessage)
                break;
        }
        return frames;
    }

    QTemporaryDir m_dir;
    std::string root, dataHome, trash, files, info, outside;
};

TEST_F(HelperErase, LockedRootOwnedAndProtectedItemsGoWithContinuedTotals)
{
    file(files + "/locked.txt", std::string(10000, 'L'));
    if (!setImmutable(files + "/locked.txt", true))
        GTEST_SKIP() << "this file system has no immutable flag";
    trashed("locked.txt");
    // A folder and its contents that only root may remove; its name needs percent-encoding.
    folder(files + "/root dir", 0);
    folder(files + "/root dir/sub", 0);
    file(files + "/root dir/sub/f", std::string(5000, 'R'), 0);
    trashed("root dir");
    // A file in a folder the user may not write: the engine left the folder for the helper.
    folder(files + "/protected");
    file(files + "/protected/inner.txt", std::string(3000, 'P'));
    chmod((files + "/protected").c_str(), 0555);
    trashed("protected");
    file(files + "/keep", "stays");
    trashed("keep");
    file(trash + "/directorysizes", "4096 1700000000 root%20dir\n8192 1700000001 keep\n", kUser,
         0640);

    const std::uint64_t lockedSize = allocated(files + "/locked.txt");
    const std::uint64_t rootDirSize = allocated(files + "/root dir/sub/f");
    const std::uint64_t innerSize = allocated(files + "/protected/inner.txt");

    auto helper = start();
    helper->send(erase({files + "/locked.txt"},
                       {files + "/root dir", files + "/protected/inner.txt"},
                       {files + "/protected"}, 5, 1000));
    const std::vector<KZCborValue> frames = untilReply(*helper);

    ASSERT_EQ(frames.size(), 6u) << helper->log();
    struct Expected
    {
        std::string path;
        std::uint64_t count, total, size;
    };
    const Expected expected[] = {
        {files + "/locked.txt", 6, 1000 + lockedSize, lockedSize},
        {files + "/root dir", 9, 1000 + lockedSize + rootDirSize, rootDirSize},
        {files + "/protected/inner.txt", 10, 1000 + lockedSize + rootDirSize + innerSize,
         innerSize},
        {files + "/protected", 11, 1000 + lockedSize + rootDirSize + innerSize, 0},
    };
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(expected[i].path);
        EXPECT_EQ(text(frames[i], "message"), P::kItemsErasedMessage);
        EXPECT_EQ(text(frames[i], "itemPath"), expected[i].path);
        EXPECT_EQ(number(frames[i], "itemsErased"), expected[i].count);
        EXPECT_EQ(number(frames[i], "totSize"), expected[i].total);
        EXPECT_EQ(number(frames[i], "itemSize"), expected[i].size);
    }
    EXPECT_EQ(text(frames[4], "message"), P::kFinishedMessage);
    EXPECT_EQ(number(frames[4], "finishedWithNonErasedCount"), 0u);
    EXPECT_EQ(frames[5].find("error"), nullptr);

    // Only the untouched item and its records stay.
    EXPECT_FALSE(exists(files + "/locked.txt"));
    EXPECT_FALSE(exists(files + "/root dir"));
    EXPECT_FALSE(exists(files + "/protected"));
    EXPECT_TRUE(exists(files + "/keep"));
    EXPECT_FALSE(exists(info + "/locked.txt.trashinfo"));
    EXPECT_FALSE(exists(info + "/root dir.trashinfo"));
    EXPECT_FALSE(exists(info + "/protected.trashinfo"));
    EXPECT_TRUE(exists(info + "/keep.trashinfo"));
    EXPECT_EQ(readFile(trash + "/directorysizes"), "8192 1700000001 keep\n");
    struct stat st
    {
    };
    ASSERT_EQ(stat((trash + "/directorysizes").c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, kUser);
    EXPECT_EQ(st.st_mode & 0777, 0640u);

    helper->closeInput();
    const int status = helper->wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST_F(HelperErase, SecureEraseOverwritesTheFileButNotDataSharedByAHardLink)
{
    const std::string secret(200000, 'S');
    file(files + "/secret", secret);
    file(outside + "/shared", "shared data", kUser);
    ASSERT_EQ(link((outside + "/shared").c_str(), (files + "/linked").c_str()), 0);
    // Keeps the erased file's data reachable, to see what was written over it.
    const int watch = open((files + "/secret").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(watch, 0);

    auto helper = start();
    helper->send(erase({}, {files + "/secret", files + "/linked"}, {}, 0, 0, true));
    const std::vector<KZCborValue> frames = untilReply(*helper);
    ASSERT_EQ(frames.size(), 4u) << helper->log();
    EXPECT_EQ(number(frames[2], "finishedWithNonErasedCount"), 0u);

    EXPECT_FALSE(exists(files + "/secret"));
    EXPECT_FALSE(exists(files + "/linked"));
    std::string after(secret.size(), '\0');
    ASSERT_EQ(pread(watch, after.data(), after.size(), 0), static_cast<ssize_t>(after.size()));
    close(watch);
    // Random bytes hold an "S" once in 256; the secret's own bytes would all be one.
    EXPECT_LT(std::count(after.begin(), after.end(), 'S'), 2000);
    EXPECT_LT(std::count(after.begin(), after.end(), '\xff'), 2000); // the last pass is random
    EXPECT_EQ(readFile(outside + "/shared"), "shared data"); // the other link keeps its data
}

TEST_F(HelperErase, NothingOutsideTheTrashIsTouchedAndLinksAreRemovedAsLinks)
{
    file(outside + "/victim", "keep me", 0);
    folder(outside + "/dir", 0);
    file(outside + "/dir/f", "keep me too", 0);
    ASSERT_EQ(symlink((outside + "/dir").c_str(), (files + "/link").c_str()), 0);
    ASSERT_EQ(symlink((outside + "/dir").c_str(), (files + "/via").c_str()), 0);
    trashed("link");

    auto helper = start();
    helper->send(erase({}, {
                               outside + "/victim",                   // not in a Trash
                               files + "/../../../../outside/victim", // climbs out
                               "relative/files/x",                    // not absolute
                               files + "/via/f",                      // through a link
                               files + "/link",                       // a link itself
                               trash + "/info/link.trashinfo",        // the Trash, not its files/
                           }));
    const std::vector<KZCborValue> frames = untilReply(*helper);
    ASSERT_EQ(frames.size(), 3u) << helper->log();
    EXPECT_EQ(text(frames[0], "itemPath"), files + "/link");
    EXPECT_EQ(number(frames[1], "finishedWithNonErasedCount"), 5u);

    EXPECT_FALSE(exists(files + "/link"));
    EXPECT_EQ(readFile(outside + "/victim"), "keep me");
    EXPECT_EQ(readFile(outside + "/dir/f"), "keep me too");
    EXPECT_TRUE(exists(files + "/via"));
    EXPECT_NE(helper->log().find("refused"), std::string::npos);
}

TEST_F(HelperErase, ADataHomeOrTrashThatIsNotTheUsersIsRefused)
{
    file(files + "/a");
    ASSERT_EQ(chown(dataHome.c_str(), 0, 0), 0);
    {
        auto helper = start();
        helper->send(erase({}, {files + "/a"}));
        const auto frames = untilReply(*helper);
        ASSERT_EQ(frames.size(), 2u);
        EXPECT_EQ(number(frames[0], "finishedWithNonErasedCount"), 1u);
    }
    ASSERT_EQ(chown(dataHome.c_str(), kUser, kUser), 0);
    ASSERT_EQ(chown(files.c_str(), 0, 0), 0);
    {
        auto helper = start();
        helper->send(erase({}, {files + "/a"}));
        const auto frames = untilReply(*helper);
        ASSERT_EQ(frames.size(), 2u);
        EXPECT_EQ(number(frames[0], "finishedWithNonErasedCount"), 1u);
    }
    EXPECT_TRUE(exists(files + "/a"));
}

TEST_F(HelperErase, APathSwappedForALinkDuringTheBatchIsNotFollowed)
{
    file(files + "/a");
    folder(files + "/b");
    file(files + "/b/c", "inside the Trash");
    folder(files + "/d");
    file(files + "/d/e", "inside the Trash");
    folder(outside + "/target", 0);
    file(outside + "/target/c", "outside c", 0);
    file(outside + "/target/e", "outside e", 0);

    auto helper = start(true);
    helper->send(erase({}, {files + "/a", files + "/b/c", files + "/d"}));
    helper->release();
    auto first = helper->receive();
    ASSERT_TRUE(first) << helper->log();
    EXPECT_EQ(text(*first, "itemPath"), files + "/a");

    // The user swaps a folder on the way to the next item, and the last item itself, for links
    // into a folder of root's.
    ASSERT_EQ(rename((files + "/b").c_str(), (files + "/b.moved").c_str()), 0);
    ASSERT_EQ(symlink((outside + "/target").c_str(), (files + "/b").c_str()), 0);
    ASSERT_EQ(rename((files + "/d").c_str(), (files + "/d.moved").c_str()), 0);
    ASSERT_EQ(symlink((outside + "/target").c_str(), (files + "/d").c_str()), 0);
    helper->release();
    helper->release();

    const std::vector<KZCborValue> frames = untilReply(*helper);
    ASSERT_EQ(frames.size(), 3u) << helper->log();
    EXPECT_EQ(text(frames[0], "itemPath"), files + "/d"); // the link, as a link
    EXPECT_EQ(number(frames[0], "itemSize"), 0u);
    EXPECT_EQ(number(frames[1], "finishedWithNonErasedCount"), 1u); // b/c
    EXPECT_EQ(readFile(outside + "/target/c"), "outside c");
    EXPECT_EQ(readFile(outside + "/target/e"), "outside e");
    EXPECT_TRUE(exists(files + "/b.moved/c"));
    EXPECT_TRUE(exists(files + "/d.moved/e"));
    EXPECT_FALSE(exists(files + "/d"));
}

TEST_F(HelperErase, StopEndsTheBatchAndLeavesTheRestAsItIs)
{
    for (const char *name : {"1", "2", "3", "4"})
        file(files + "/" + name);

    auto helper = start(true);
    helper->send(erase({files + "/1", files + "/2"}, {files + "/3", files + "/4"}, {}, 7, 70));
    helper->release();
    auto first = helper->receive();
    ASSERT_TRUE(first) << helper->log();
    EXPECT_EQ(number(*first, "itemsErased"), 8u);

    KZCborValue stop = request(std::string(P::kSetStoppedMessage));
    stop.insert("setStoppedByUser", KZCborValue::boolean(true));
    helper->send(stop);
    ASSERT_TRUE(helper->waitForLog("stop requested"));
    helper->release();

    const std::vector<KZCborValue> frames = untilReply(*helper);
    ASSERT_EQ(frames.size(), 2u) << helper->log();
    EXPECT_EQ(number(frames[0], "finishedWithNonErasedCount"), 3u);
    EXPECT_FALSE(exists(files + "/1"));
    for (const char *name : {"2", "3", "4"})
        EXPECT_TRUE(exists(files + "/" + name)) << name;
}

TEST_F(HelperErase, UnlockClearsFlagsInsideFoldersAndErasesNothing)
{
    folder(files + "/box");
    file(files + "/box/f");
    if (!setImmutable(files + "/box/f", true))
        GTEST_SKIP() << "this file system has no immutable flag";
    ASSERT_TRUE(setImmutable(files + "/box", true));
    file(outside + "/locked", "x", 0);
    ASSERT_TRUE(setImmutable(outside + "/locked", true));

    auto helper = start();
    KZCborValue message = request(std::string(P::kUnlockItemsMessage));
    message.insert("unlockItemsWithArray", paths({files + "/box", outside + "/locked"}));
    helper->send(message);
    auto reply = helper->receive();
    ASSERT_TRUE(reply) << helper->log();
    const KZCborValue *unlocked = reply->find("reply");
    ASSERT_TRUE(unlocked && unlocked->isArray());
    ASSERT_EQ(unlocked->toArray().size(), 1u);
    EXPECT_EQ(unlocked->toArray()[0].toString(), files + "/box");

    // Cleared, so an ordinary removal now works; the outside file stays locked.
    EXPECT_EQ(unlink((files + "/box/f").c_str()), 0);
    EXPECT_EQ(rmdir((files + "/box").c_str()), 0);
    EXPECT_NE(unlink((outside + "/locked").c_str()), 0);
    setImmutable(outside + "/locked", false);
}

TEST_F(HelperErase, VolumeTrashesMustSitAtTheTopOfAMountAndBelongToTheUser)
{
    const std::string volume = root + "/volume";
    folder(volume, 0);
    if (mount("binwise-test", volume.c_str(), "tmpfs", 0, "size=8m") != 0)
        GTEST_SKIP() << "cannot mount a tmpfs here";
    struct Unmount
    {
        std::string path;
        ~Unmount() { umount2(path.c_str(), MNT_DETACH); }
    } unmount{volume};

    const std::string own = volume + "/.Trash-65534";
    folder(own, kUser, 0700);
    folder(own + "/files", kUser, 0700);
    file(own + "/files/x");
    folder(volume + "/.Trash", 0, 01777);
    folder(volume + "/.Trash/65534", kUser, 0700);
    folder(volume + "/.Trash/65534/files", kUser, 0700);
    file(volume + "/.Trash/65534/files/y");
    // Look-alikes: not at a mount's top, and a shared .Trash that is not sticky.
    folder(volume + "/deeper", kUser);
    folder(volume + "/deeper/.Trash-65534", kUser, 0700);
    folder(volume + "/deeper/.Trash-65534/files", kUser, 0700);
    file(volume + "/deeper/.Trash-65534/files/z");
    folder(volume + "/deeper/.Trash", kUser, 0777);
    folder(volume + "/deeper/.Trash/65534", kUser, 0700);
    folder(volume + "/deeper/.Trash/65534/files", kUser, 0700);
    file(volume + "/deeper/.Trash/65534/files/w");

    auto helper = start();
    helper->send(erase({}, {own + "/files/x", volume + "/.Trash/65534/files/y",
                            volume + "/deeper/.Trash-65534/files/z",
                            volume + "/deeper/.Trash/65534/files/w"}));
    const std::vector<KZCborValue> frames = untilReply(*helper);
    ASSERT_EQ(frames.size(), 4u) << helper->log();
    EXPECT_EQ(number(frames[2], "finishedWithNonErasedCount"), 2u);
    EXPECT_FALSE(exists(own + "/files/x"));
    EXPECT_FALSE(exists(volume + "/.Trash/65534/files/y"));
    EXPECT_TRUE(exists(volume + "/deeper/.Trash-65534/files/z"));
    EXPECT_TRUE(exists(volume + "/deeper/.Trash/65534/files/w"));
}

TEST_F(HelperErase, BadFramesGetErrorsAndTheHelperKeepsServing)
{
    auto helper = start();
    auto expectError = [&](const std::string &message, P::HelperError code) {
        auto frame = helper->receive();
        ASSERT_TRUE(frame) << helper->log();
        EXPECT_EQ(text(*frame, "message"), message);
        const KZCborValue *error = frame->find("error");
        ASSERT_TRUE(error);
        EXPECT_EQ(text(*error, "domain"), P::kHelperDomain);
        EXPECT_EQ(error->find("code")->toInteger(), static_cast<std::int64_t>(code));
        EXPECT_FALSE(text(*error, "description").empty());
    };

    helper->sendRaw(P::frameHeader(3) + std::string("\xff\x00\x01", 3));
    expectError("protocolError", P::HelperError::MalformedFrame);
    helper->send(request("removeEverything:"));
    expectError("protocolError", P::HelperError::UnknownMessage);
    // A frame declaring more than the limit: refused, its bytes skipped.
    helper->sendRaw(P::frameHeader(P::kMaxFrameSize + 1) + std::string(P::kMaxFrameSize + 1, 'x'));
    expectError("protocolError", P::HelperError::OversizedFrame);
    // An erase with a list of numbers: the batch is answered as not erased, then refused.
    KZCborValue bad = erase({}, {});
    KZCborValue items = KZCborValue::map();
    items.insert("permissionsItems",
                 KZCborValue::array({KZCborValue::number(1), KZCborValue::number(2)}));
    bad.insert("itemsDictionary", items);
    helper->send(bad);
    auto finished = helper->receive();
    ASSERT_TRUE(finished);
    EXPECT_EQ(number(*finished, "finishedWithNonErasedCount"), 2u);
    expectError(std::string(P::kEraseMessage), P::HelperError::BadArguments);
    // A short authorization is refused in the status domain.
    KZCborValue shortAuth = erase({}, {files + "/nothing"});
    shortAuth.insert("eraseWithAuthorization", KZCborValue::bytes("short"));
    helper->send(shortAuth);
    ASSERT_TRUE(helper->receive());
    auto refused = helper->receive();
    ASSERT_TRUE(refused && refused->find("error"));
    EXPECT_EQ(refused->find("error")->find("code")->toInteger(), P::kAuthorizationInvalidRef);

    // Still serving.
    helper->send(request(std::string(P::kGetVersionMessage)));
    auto version = helper->receive();
    ASSERT_TRUE(version);
    EXPECT_EQ(text(*version, "reply"), "1.0.1");

    // Input that ends inside a frame: one last error, then a normal exit.
    helper->sendRaw(P::frameHeader(50) + "abc");
    helper->closeInput();
    expectError("protocolError", P::HelperError::TruncatedFrame);
    const int status = helper->wait();
    EXPECT_TRUE(WIFEXITED(status)) << "the helper died of a signal";
    EXPECT_EQ(WEXITSTATUS(status), 2);
}

TEST_F(HelperErase, WhomTheHelperServesComesOnlyFromPkexecOrFromRoot)
{
    // Under pkexec, arguments that pick the user are refused outright.
    KZHelperProcess::Options options;
    options.arguments = {"--uid", "0"};
    options.environment = {"PKEXEC_UID=65534"};
    KZHelperProcess underPkexec(options);
    int status = underPkexec.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);

    // Root without --uid knows no user: the batch is refused as a whole.
    file(files + "/a");
    KZHelperProcess::Options noUser;
    noUser.arguments = {"--data-home", dataHome};
    KZHelperProcess helper(noUser);
    helper.send(erase({}, {files + "/a"}));
    const auto frames = untilReply(helper);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(number(frames[0], "finishedWithNonErasedCount"), 1u);
    EXPECT_EQ(frames[1].find("error")->find("code")->toInteger(), P::kAuthorizationDenied);
    EXPECT_TRUE(exists(files + "/a"));

    // PKEXEC_UID names the user; the version needs no user at all.
    KZHelperProcess::Options pkexec;
    pkexec.arguments = {"--data-home", dataHome};
    pkexec.environment = {"PKEXEC_UID=65534"};
    KZHelperProcess served(pkexec);
    served.send(erase({}, {files + "/a"}));
    const auto done = untilReply(served);
    ASSERT_EQ(done.size(), 3u) << served.log();
    EXPECT_FALSE(exists(files + "/a"));
}

} // namespace
