// The real binwise-helper, started directly as root for an unprivileged user (65534) over its
// pipes, erasing in a Trash set up as that user would have it.
#include "KZTestMount.h"
#include "KZTestTrash.h"
#include "protocol/KZCbor.h"
#include "protocol/KZHelperProtocol.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

namespace P = KZHelperProtocol;
using namespace KZTestFiles;

namespace {

constexpr uid_t kUser = 65534;

// The helper as the application runs it: frames on stdin and stdout. withPause adds the
// test-only pipe on which it waits for one byte before each batch item.
class Helper
{
public:
    // fileLimit: when not 0, the helper's soft and hard limits of open descriptors.
    explicit Helper(QStringList arguments, bool withPause = false, const QString &pkexecUid = {},
                    rlim_t fileLimit = 0)
    {
        if (withPause && pipe2(m_pause, O_CLOEXEC) == 0)
            arguments << QStringLiteral("--test-pause-fd") << QString::number(m_pause[0]);
        m_process.setChildProcessModifier([fd = m_pause[0], fileLimit] {
            if (fd >= 0)
                fcntl(fd, F_SETFD, 0);
            if (fileLimit != 0) {
                const struct rlimit limit = {fileLimit, fileLimit};
                setrlimit(RLIMIT_NOFILE, &limit);
            }
        });
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!pkexecUid.isEmpty())
            environment.insert(QStringLiteral("PKEXEC_UID"), pkexecUid);
        m_process.setProcessEnvironment(environment);
        m_process.start(QStringLiteral(BINWISE_HELPER_BINARY), arguments);
    }
    ~Helper()
    {
        m_process.kill();
        m_process.waitForFinished();
        for (int fd : m_pause)
            close(fd);
    }

    void send(const KZCborValue &message) { sendRaw(P::encodeFrame(message)); }
    void sendRaw(const std::string &bytes) { m_process.write(bytes.data(), qint64(bytes.size())); }
    void release() { (void)!write(m_pause[1], "g", 1); }
    // The next frame, decoded; nullopt at the end of the output or after 20 s without one.
    std::optional<KZCborValue> receive()
    {
        for (;;) {
            m_buffer += m_process.readAllStandardOutput();
            const auto *head = reinterpret_cast<const unsigned char *>(m_buffer.constData());
            const qsizetype size = m_buffer.size() < 4 ? -1 : qsizetype(P::frameSize(head));
            if (size >= 0 && m_buffer.size() >= 4 + size) {
                KZCborValue value;
                const bool ok
                    = KZCbor::decode({m_buffer.constData() + 4, size_t(size)}, &value, nullptr);
                m_buffer.remove(0, 4 + size);
                return ok ? std::optional(value) : std::nullopt;
            }
            if (!m_process.waitForReadyRead(20000) && m_process.bytesAvailable() == 0)
                return std::nullopt;
        }
    }
    // Every frame up to and including the reply to an erase.
    std::vector<KZCborValue> untilReply()
    {
        std::vector<KZCborValue> frames;
        while (auto frame = receive()) {
            frames.push_back(*frame);
            if (frame->find("message")->toString() == P::kEraseMessage)
                break;
        }
        return frames;
    }
    // Ends the input and waits: the exit status, or -1 after a crash.
    int finish()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished(20000);
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    std::string log() { return m_process.readAllStandardError().toStdString(); }

private:
    QProcess m_process;
    QByteArray m_buffer;
    int m_pause[2] = {-1, -1};
};

QByteArray field(const KZCborValue &message, const char *key)
{
    const KZCborValue *value = message.find(key);
    return value ? QByteArray::fromStdString(value->toString()) : QByteArray();
}

std::uint64_t number(const KZCborValue &message, const char *key)
{
    const KZCborValue *value = message.find(key);
    return value ? value->toUnsigned() : ~std::uint64_t{0};
}

KZCborValue request(std::string_view name, const char *key = nullptr, KZCborValue value = {})
{
    KZCborValue message = KZCborValue::map({{"message", KZCborValue::text(std::string(name))}});
    if (key)
        message.insert(key, std::move(value));
    return message;
}

KZCborValue paths(const QList<QByteArray> &list)
{
    KZCborValue array = KZCborValue::array();
    for (const QByteArray &path : list)
        array.append(KZCborValue::bytes(path.toStdString()));
    return array;
}

struct Batch
{
    QList<QByteArray> unlock = {}, permissions = {}, notTrashed = {};
    std::uint64_t count = 0, size = 0;
    bool secure = false;
};

KZCborValue erase(const Batch &batch)
{
    KZCborValue items = KZCborValue::map({{"erasedCount", KZCborValue::number(batch.count)},
                                          {"erasedSize", KZCborValue::number(batch.size)},
                                          {"eraseSecurely", KZCborValue::boolean(batch.secure)}});
    items.insert("unlockItems", paths(batch.unlock));
    items.insert("permissionsItems", paths(batch.permissions));
    items.insert("notTrashedBecauseFolderNotEmpty", paths(batch.notTrashed));
    KZCborValue message = request(P::kEraseMessage, "itemsDictionary", items);
    message.insert("eraseWithAuthorization", KZCborValue::bytes(std::string(32, '\x01')));
    return message;
}

std::uint64_t allocated(const QByteArray &path)
{
    struct stat st
    {
    };
    return lstat(path.constData(), &st) == 0 ? std::uint64_t(st.st_blocks) * 512 : 0;
}

class HelperErase : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root: the helper acts as root for another user";
        ASSERT_TRUE(m_dir.isValid());
        root = QFile::encodeName(m_dir.path());
        chmod(root.constData(), 0755);
        dataHome = root + "/home/.local/share";
        trash = dataHome + "/Trash";
        files = trash + "/files";
        info = trash + "/info";
        for (const QByteArray &path : {root + "/home", root + "/home/.local", dataHome})
            folder(path);
        for (const QByteArray &path : {trash, files, info})
            folder(path, kUser, 0700);
        outside = root + "/outside";
        folder(outside, 0);
    }

    void TearDown() override
    {
        // Whatever a failed test left locked must not stop the temporary folder's removal.
        if (!root.isEmpty())
            system(("chattr -R -i -a '" + root + "' 2>/dev/null").constData());
    }

    static void folder(const QByteArray &path, uid_t owner = kUser, mode_t mode = 0755)
    {
        mkdir(path.constData(), mode);
        ASSERT_EQ(chown(path.constData(), owner, owner), 0) << path.constData();
        chmod(path.constData(), mode);
    }

    static void file(const QByteArray &path, const QByteArray &content = "data",
                     uid_t owner = kUser, mode_t mode = 0644)
    {
        ASSERT_TRUE(writeFile(path, content)) << path.constData();
        ASSERT_EQ(chown(path.constData(), owner, owner), 0);
        chmod(path.constData(), mode);
    }

    // A top-level Trash item's info file.
    void trashed(const QByteArray &name)
    {
        file(info + "/" + name + ".trashinfo",
             "[Trash Info]\nPath=/somewhere/" + name + "\nDeletionDate=2024-01-01T10:00:00\n");
    }

    Helper start(bool withPause = false)
    {
        return Helper({QStringLiteral("--uid"), QString::number(kUser),
                       QStringLiteral("--data-home"), QFile::decodeName(dataHome)},
                      withPause);
    }

    QTemporaryDir m_dir;
    QByteArray root, dataHome, trash, files, info, outside;
};

TEST_F(HelperErase, LockedRootOwnedAndProtectedItemsGoWithContinuedTotals)
{
    file(files + "/locked.txt", QByteArray(10000, 'L'));
    if (!setImmutable(files + "/locked.txt", true))
        GTEST_SKIP() << "this file system has no immutable flag";
    // A folder and its contents that only root may remove; its name needs percent-encoding.
    folder(files + "/root dir", 0);
    folder(files + "/root dir/sub", 0);
    file(files + "/root dir/sub/f", QByteArray(5000, 'R'), 0);
    // A file in a folder the user may not write: the engine left it and the folders above it,
    // listed here shallowest first, for the helper.
    folder(files + "/protected");
    folder(files + "/protected/deep");
    file(files + "/protected/deep/inner.txt", QByteArray(3000, 'P'));
    chmod((files + "/protected/deep").constData(), 0555);
    folder(files + "/keep"); // not empty: it stays
    file(files + "/keep/f", "stays");
    for (const char *name : {"locked.txt", "root dir", "protected", "keep"})
        trashed(name);
    file(trash + "/directorysizes", "4096 1700000000 root%20dir\n8192 1700000001 keep\n", kUser,
         0640);
    const std::uint64_t locked = allocated(files + "/locked.txt");
    const std::uint64_t rootDir = allocated(files + "/root dir/sub/f");
    const std::uint64_t inner = allocated(files + "/protected/deep/inner.txt");

    Helper helper = start();
    helper.send(
        erase({.unlock = {files + "/locked.txt"},
               .permissions = {files + "/root dir", files + "/protected/deep/inner.txt"},
               .notTrashed = {files + "/protected", files + "/protected/deep", files + "/keep"},
               .count = 5,
               .size = 1000}));
    const std::vector<KZCborValue> frames = helper.untilReply();
    ASSERT_EQ(frames.size(), 7u) << helper.log();
    // Path, count (the item and everything in it), total size, item size.
    const std::uint64_t total = 1000 + locked + rootDir + inner;
    const std::tuple<QByteArray, std::uint64_t, std::uint64_t, std::uint64_t> expected[] = {
        {files + "/locked.txt", 6, 1000 + locked, locked},
        {files + "/root dir", 9, 1000 + locked + rootDir, rootDir},
        {files + "/protected/deep/inner.txt", 10, total, inner},
        {files + "/protected/deep", 11, total, 0},
        {files + "/protected", 12, total, 0},
    };
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(field(frames[i], "message"), P::kItemsErasedMessage.data());
        EXPECT_EQ(std::tuple(field(frames[i], "itemPath"), number(frames[i], "itemsErased"),
                             number(frames[i], "totSize"), number(frames[i], "itemSize")),
                  expected[i]);
    }
    EXPECT_EQ(number(frames[5], "finishedWithNonErasedCount"), 0u);
    EXPECT_EQ(frames[6].find("error"), nullptr);

    // Only the untouched item and its records stay.
    for (const char *name : {"locked.txt", "root dir", "protected", "keep"}) {
        const bool kept = qstrcmp(name, "keep") == 0;
        EXPECT_EQ(exists(files + "/" + name), kept) << name;
        EXPECT_EQ(exists(info + "/" + name + ".trashinfo"), kept) << name;
    }
    EXPECT_EQ(readFile(trash + "/directorysizes"), "8192 1700000001 keep\n");
    struct stat st
    {
    };
    ASSERT_EQ(stat((trash + "/directorysizes").constData(), &st), 0);
    EXPECT_EQ(std::pair(st.st_uid, st.st_mode & 0777), std::pair(kUser, 0640u));
    EXPECT_EQ(helper.finish(), 0);
}

TEST_F(HelperErase, SecureEraseOverwritesTheFileButNotDataSharedByAHardLink)
{
    const QByteArray secret(200000, 'S');
    file(files + "/secret", secret);
    file(outside + "/shared", "shared data");
    ASSERT_EQ(link((outside + "/shared").constData(), (files + "/linked").constData()), 0);
    // Keeps the erased file's data reachable, to see what was written over it.
    const int watch = open((files + "/secret").constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(watch, 0);

    Helper helper = start();
    helper.send(erase({.permissions = {files + "/secret", files + "/linked"}, .secure = true}));
    const std::vector<KZCborValue> frames = helper.untilReply();
    ASSERT_EQ(frames.size(), 4u) << helper.log();
    EXPECT_EQ(number(frames[2], "finishedWithNonErasedCount"), 0u);
    EXPECT_FALSE(exists(files + "/secret"));
    EXPECT_FALSE(exists(files + "/linked"));
    QByteArray after(secret.size(), '\0');
    ASSERT_EQ(pread(watch, after.data(), size_t(after.size()), 0), after.size());
    close(watch);
    // Random bytes hold an "S" once in 256; the secret's own bytes would all be one.
    EXPECT_LT(after.count('S'), 2000);
    EXPECT_LT(after.count('\xff'), 2000); // the last pass is random
    EXPECT_EQ(readFile(outside + "/shared"), "shared data");
}

TEST_F(HelperErase, AFolderDeeperThanAnyPathGoesWholeWithBoundedDescriptors)
{
    // 3,000 levels of root's folders with a root file at each: deeper than PATH_MAX, and more
    // levels than a walk that kept one descriptor per level could hold open.
    folder(files + "/deep", 0);
    int fd = open((files + "/deep").constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    for (int level = 0; level < 3000; ++level) {
        const int leaf = openat(fd, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        ASSERT_GE(leaf, 0);
        close(leaf);
        ASSERT_EQ(mkdirat(fd, "level-12345", 0755), 0);
        const int next = openat(fd, "level-12345", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        close(fd);
        fd = next;
        ASSERT_GE(fd, 0);
    }
    close(fd);
    trashed("deep");

    // At most 512 open descriptors (hard too: the helper raises its soft limit to the hard
    // one), so a walk that held one per level would fail.
    Helper helper({QStringLiteral("--uid"), QString::number(kUser), QStringLiteral("--data-home"),
                   QFile::decodeName(dataHome)},
                  false, {}, 512);
    helper.send(erase({.permissions = {files + "/deep"}}));
    const std::vector<KZCborValue> frames = helper.untilReply();
    ASSERT_EQ(frames.size(), 3u) << helper.log();
    EXPECT_EQ(number(frames[1], "finishedWithNonErasedCount"), 0u) << helper.log();
    EXPECT_FALSE(exists(files + "/deep"));
    EXPECT_FALSE(exists(info + "/deep.trashinfo"));
}

TEST_F(HelperErase, NothingOutsideTheTrashIsErasedOrUnlockedAndLinksGoAsLinks)
{
    file(outside + "/victim", "keep me", 0);
    folder(outside + "/dir", 0);
    file(outside + "/dir/f", "keep me too", 0);
    ASSERT_EQ(symlink((outside + "/dir").constData(), (files + "/link").constData()), 0);
    ASSERT_EQ(symlink((outside + "/dir").constData(), (files + "/via").constData()), 0);
    trashed("link");

    Helper helper = start();
    helper.send(erase({.permissions = {
                           outside + "/victim",                      // not in a Trash
                           files + "/../../../../../outside/victim", // climbs out
                           "relative/files/x",                       // not absolute
                           files + "/via/f",                         // through a link
                           files + "/link",                          // a link itself
                           info + "/link.trashinfo",                 // the Trash, not its files/
                       }}));
    const std::vector<KZCborValue> frames = helper.untilReply();
    ASSERT_EQ(frames.size(), 3u) << helper.log();
    EXPECT_EQ(field(frames[0], "itemPath"), files + "/link");
    EXPECT_EQ(number(frames[1], "finishedWithNonErasedCount"), 5u);
    EXPECT_FALSE(exists(files + "/link"));
    EXPECT_EQ(readFile(outside + "/victim"), "keep me");
    EXPECT_EQ(readFile(outside + "/dir/f"), "keep me too");
    EXPECT_TRUE(exists(files + "/via"));

    // Unlocking clears flags inside a Trash folder, and nowhere else.
    folder(files + "/box");
    file(files + "/box/f");
    ASSERT_TRUE(setImmutable(files + "/box/f", true) && setImmutable(files + "/box", true));
    ASSERT_TRUE(setImmutable(outside + "/victim", true));
    helper.send(request(P::kUnlockItemsMessage, "unlockItemsWithArray",
                        paths({files + "/box", outside + "/victim"})));
    const std::optional<KZCborValue> reply = helper.receive();
    ASSERT_TRUE(reply && reply->find("reply")) << helper.log();
    EXPECT_EQ(*reply->find("reply"), paths({files + "/box"}));
    EXPECT_EQ(unlink((files + "/box/f").constData()), 0);
    EXPECT_EQ(rmdir((files + "/box").constData()), 0);
    EXPECT_NE(unlink((outside + "/victim").constData()), 0);
}

TEST_F(HelperErase, OnlyTheUsersOwnTrashFoldersCount)
{
    Helper helper = start();
    // A data home or a files/ folder that is not the user's is refused.
    file(files + "/a");
    for (const QByteArray &path : {dataHome, files}) {
        ASSERT_EQ(chown(path.constData(), 0, 0), 0);
        helper.send(erase({.permissions = {files + "/a"}}));
        const std::vector<KZCborValue> frames = helper.untilReply();
        ASSERT_EQ(frames.size(), 2u) << helper.log();
        EXPECT_EQ(number(frames[0], "finishedWithNonErasedCount"), 1u) << path.constData();
        ASSERT_EQ(chown(path.constData(), kUser, kUser), 0);
    }
    EXPECT_TRUE(exists(files + "/a"));

    // On a volume: .Trash-UID or a sticky .Trash/UID at the top of a mount.
    QString whyNot;
    const auto volume = KZTestMount::tmpfs(root + "/volume", &whyNot);
    const auto unsticky = KZTestMount::tmpfs(root + "/unsticky", &whyNot);
    if (!volume || !unsticky)
        GTEST_SKIP() << whyNot.toStdString();
    folder(root + "/volume/.Trash", 0, 01777);
    folder(root + "/unsticky/.Trash", 0, 0777);
    folder(root + "/volume/deeper");
    QList<QByteArray> items;
    for (const char *trashRoot : {"volume/.Trash-65534", "volume/.Trash/65534",
                                  "volume/deeper/.Trash-65534", "unsticky/.Trash/65534"}) {
        folder(root + "/" + trashRoot, kUser, 0700);
        folder(root + "/" + trashRoot + "/files", kUser, 0700);
        file(items.emplace_back(root + "/" + trashRoot + "/files/x"));
    }
    helper.send(erase({.permissions = items}));
    const std::vector<KZCborValue> frames = helper.untilReply();
    ASSERT_EQ(frames.size(), 4u) << helper.log();
    EXPECT_EQ(number(frames[2], "finishedWithNonErasedCount"), 2u);
    EXPECT_FALSE(exists(items[0]));
    EXPECT_FALSE(exists(items[1]));
    EXPECT_TRUE(exists(items[2]));
    EXPECT_TRUE(exists(items[3]));
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

    Helper helper = start(true);
    helper.send(erase({.permissions = {files + "/a", files + "/b/c", files + "/d"}}));
    helper.release();
    const std::optional<KZCborValue> first = helper.receive();
    ASSERT_TRUE(first) << helper.log();
    EXPECT_EQ(field(*first, "itemPath"), files + "/a");

    // The user swaps a folder on the way to the next item, and the last item itself, for links
    // into a folder of root's.
    for (const char *name : {"/b", "/d"}) {
        ASSERT_EQ(rename((files + name).constData(), (files + name + ".moved").constData()), 0);
        ASSERT_EQ(symlink((outside + "/target").constData(), (files + name).constData()), 0);
    }
    helper.release();
    helper.release();
    const std::vector<KZCborValue> frames = helper.untilReply();
    ASSERT_EQ(frames.size(), 3u) << helper.log();
    EXPECT_EQ(field(frames[0], "itemPath"), files + "/d"); // the link, as a link
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
    for (const char *name : {"/1", "/2", "/3", "/4"})
        file(files + name);
    Helper helper = start(true);
    helper.send(erase({.unlock = {files + "/1", files + "/2"},
                       .permissions = {files + "/3", files + "/4"},
                       .count = 7,
                       .size = 70}));
    helper.release();
    const std::optional<KZCborValue> first = helper.receive();
    ASSERT_TRUE(first) << helper.log();
    EXPECT_EQ(number(*first, "itemsErased"), 8u);

    helper.send(request(P::kSetStoppedMessage, "setStoppedByUser", KZCborValue::boolean(true)));
    // Frames are taken in order: once the version is answered, the stop is set.
    helper.send(request(P::kGetVersionMessage));
    ASSERT_EQ(field(helper.receive().value_or(KZCborValue()), "reply"), "1.0.1");
    helper.release();
    const std::vector<KZCborValue> frames = helper.untilReply();
    ASSERT_EQ(frames.size(), 2u) << helper.log();
    EXPECT_EQ(number(frames[0], "finishedWithNonErasedCount"), 3u);
    EXPECT_FALSE(exists(files + "/1"));
    for (const char *name : {"/2", "/3", "/4"})
        EXPECT_TRUE(exists(files + name)) << name;
}

TEST_F(HelperErase, BadFramesGetErrorsAndTheHelperKeepsServing)
{
    KZCborValue numbers = erase({});
    const KZCborValue two = KZCborValue::array({KZCborValue::number(1), KZCborValue::number(2)});
    numbers.insert("itemsDictionary", KZCborValue::map({{"permissionsItems", two}}));
    KZCborValue shortAuthorization = erase({.permissions = {files + "/nothing"}});
    shortAuthorization.insert("eraseWithAuthorization", KZCborValue::bytes("short"));
    const std::string erasing(P::kEraseMessage), helperDomain(P::kHelperDomain);
    const struct
    {
        std::string frame;
        std::uint64_t notErased; // a refused erase is first answered as not erased
        std::string message, domain;
        std::int64_t code;
    } cases[] = {
        {P::frameHeader(3) + std::string("\xff\x00\x01", 3), 0, "protocolError", helperDomain, 1},
        {P::encodeFrame(request("removeEverything:")), 0, "protocolError", helperDomain, 4},
        // Declaring more than the limit: refused, its bytes skipped.
        {P::frameHeader(P::kMaxFrameSize + 1) + std::string(P::kMaxFrameSize + 1, 'x'), 0,
         "protocolError", helperDomain, 2},
        {P::encodeFrame(numbers), 2, erasing, helperDomain, 5},
        {P::encodeFrame(shortAuthorization), 1, erasing, std::string(P::kOSStatusDomain),
         P::kAuthorizationInvalidRef},
    };
    Helper helper = start();
    auto expectError = [&](const auto &expected) {
        if (expected.notErased != 0) {
            const std::optional<KZCborValue> finished = helper.receive();
            ASSERT_TRUE(finished) << helper.log();
            EXPECT_EQ(number(*finished, "finishedWithNonErasedCount"), expected.notErased);
        }
        const std::optional<KZCborValue> frame = helper.receive();
        ASSERT_TRUE(frame && frame->find("error")) << helper.log();
        const KZCborValue &error = *frame->find("error");
        EXPECT_EQ(field(*frame, "message").toStdString(), expected.message);
        EXPECT_EQ(field(error, "domain").toStdString(), expected.domain);
        EXPECT_EQ(error.find("code")->toInteger(), expected.code);
        EXPECT_FALSE(field(error, "description").isEmpty());
    };
    for (const auto &expected : cases) {
        SCOPED_TRACE(expected.code);
        helper.sendRaw(expected.frame);
        expectError(expected);
    }
    helper.send(request(P::kGetVersionMessage));
    EXPECT_EQ(field(helper.receive().value_or(KZCborValue()), "reply"), "1.0.1");

    // Input that ends inside a frame: one last error, then exit status 2.
    auto truncated = cases[0];
    truncated.code = 3;
    helper.sendRaw(P::frameHeader(50) + "abc");
    EXPECT_EQ(helper.finish(), 2);
    expectError(truncated);
}

TEST_F(HelperErase, WhomTheHelperServesComesOnlyFromPkexecOrFromRoot)
{
    file(files + "/a");
    const QStringList dataHomeArgument{QStringLiteral("--data-home"), QFile::decodeName(dataHome)};
    // Under pkexec, an argument that picks the user is refused outright.
    Helper underPkexec({QStringLiteral("--uid"), QStringLiteral("0")}, false,
                       QStringLiteral("65534"));
    EXPECT_EQ(underPkexec.finish(), 1);

    // Root without --uid knows no user: the batch is refused as a whole.
    Helper noUser(dataHomeArgument);
    noUser.send(erase({.permissions = {files + "/a"}}));
    const std::vector<KZCborValue> refused = noUser.untilReply();
    ASSERT_EQ(refused.size(), 2u) << noUser.log();
    EXPECT_EQ(number(refused[0], "finishedWithNonErasedCount"), 1u);
    EXPECT_EQ(refused[1].find("error")->find("code")->toInteger(), P::kAuthorizationDenied);
    EXPECT_TRUE(exists(files + "/a"));

    // PKEXEC_UID names the user.
    Helper served(dataHomeArgument, false, QStringLiteral("65534"));
    served.send(erase({.permissions = {files + "/a"}}));
    ASSERT_EQ(served.untilReply().size(), 3u) << served.log();
    EXPECT_FALSE(exists(files + "/a"));
}

} // namespace
