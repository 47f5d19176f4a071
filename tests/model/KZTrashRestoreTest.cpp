#include "model/KZTrashRestore.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZPath.h"
#include "model/KZTrashFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KZTestFiles;

namespace {

// Makes every move between two folders look like one across file systems (so the copy runs
// on one volume), and lets the n-th write of data fail.
class CrossingFileManager : public KZFileManager
{
public:
    int failWriteAt = 0; // 1-based; 0 never
    int writeError = ENOSPC;
    int writes = 0;
    int syncError = 0;

    int renameat2(int olddirfd, const char *oldname, int newdirfd, const char *newname,
                  unsigned flags) override
    {
        if (olddirfd != newdirfd) {
            errno = EXDEV;
            return -1;
        }
        return KZFileManager::renameat2(olddirfd, oldname, newdirfd, newname, flags);
    }
    ssize_t write(int fd, const void *data, size_t size) override
    {
        if (++writes == failWriteAt) {
            errno = writeError;
            return -1;
        }
        return KZFileManager::write(fd, data, size);
    }
    int syncfs(int fd) override
    {
        if (syncError != 0) {
            errno = syncError;
            return -1;
        }
        return KZFileManager::syncfs(fd);
    }
};

struct stat statOf(const QByteArray &path)
{
    struct stat st = {};
    ::lstat(path.constData(), &st);
    return st;
}

class TrashRestoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_trash = KZTestTrash::home();
        m_dest = QFile::encodeName(m_sandbox.path(QStringLiteral("new/place")));
        // A tree with a large file, a read-only folder, a link and a FIFO, all with old times.
        m_trash.addFolder("tree", {"deep/", "deep/note.txt", "big.bin"});
        const QByteArray tree = m_trash.itemPath("tree");
        m_big = QByteArray(600 * 1024, Qt::Uninitialized);
        for (qsizetype i = 0; i < m_big.size(); ++i)
            m_big[i] = char(i % 251);
        writeFile(tree + "/big.bin", m_big);
        writeFile(tree + "/deep/note.txt", "note");
        ::symlink("deep/note.txt", (tree + "/link").constData());
        ::mkfifo((tree + "/pipe").constData(), 0620);
        ::chmod((tree + "/big.bin").constData(), 0640);
        ::chmod((tree + "/deep").constData(), 0555);
        for (const char *relative : {"/big.bin", "/deep/note.txt", "/link", "/pipe", "/deep", ""}) {
            const struct timespec times[2] = {{1400000000, 5}, {1500000000, 987654321}};
            ::utimensat(AT_FDCWD, (tree + relative).constData(), times, AT_SYMLINK_NOFOLLOW);
        }
        m_trash.writeInfo("tree", m_dest + "/tree");
    }
    void TearDown() override
    {
        ::chmod((m_dest + "/tree/deep").constData(), 0755);
        ::chmod((m_trash.itemPath("tree") + "/deep").constData(), 0755);
    }

    KZTestSandbox m_sandbox;
    KZTestTrash m_trash{QByteArray()};
    QByteArray m_dest;
    QByteArray m_big;
};

} // namespace

TEST_F(TrashRestoreTest, ACopyAcrossFileSystemsKeepsBytesModesTimesAndLinksThenLeavesTheTrash)
{
    const QByteArray tree = m_trash.itemPath("tree");
    const QByteArrayList relatives{"/big.bin", "/deep/note.txt", "/link", "/pipe", "/deep", ""};
    std::map<QByteArray, struct stat> before;
    for (const QByteArray &relative : relatives)
        before[relative] = statOf(tree + relative);

    CrossingFileManager fm;
    KZTrashRestore restore(KZTrashFolder::dataHomeFromEnvironment(), fm);
    const KZTrashRestore::Result result = restore.restoreItemAtPath(tree, {});
    ASSERT_EQ(result.outcome, KZTrashRestore::Outcome::Restored)
        << result.error.localizedDescription.toStdString();
    EXPECT_GT(fm.writes, 1) << "copied, not renamed";
    EXPECT_EQ(result.restoredPath, m_dest + "/tree");
    EXPECT_EQ(readFile(m_dest + "/tree/big.bin"), m_big);
    EXPECT_EQ(readFile(m_dest + "/tree/deep/note.txt"), "note");
    for (const QByteArray &relative : relatives) {
        const struct stat now = statOf(m_dest + "/tree" + relative);
        EXPECT_EQ(now.st_mode, before[relative].st_mode) << relative.toStdString();
        EXPECT_EQ(now.st_mtim.tv_sec, before[relative].st_mtim.tv_sec) << relative.toStdString();
        EXPECT_EQ(now.st_mtim.tv_nsec, before[relative].st_mtim.tv_nsec) << relative.toStdString();
        EXPECT_EQ(now.st_uid, before[relative].st_uid) << relative.toStdString();
    }
    char target[64] = {};
    ASSERT_GT(::readlink((m_dest + "/tree/link").constData(), target, sizeof target - 1), 0);
    EXPECT_STREQ(target, "deep/note.txt");
    EXPECT_TRUE(namesIn(m_trash.files()).isEmpty());
    EXPECT_TRUE(namesIn(m_trash.root() + "/info").isEmpty());
    EXPECT_EQ(namesIn(m_dest), QByteArrayList{"tree"}) << "no hidden copy left beside it";
}

TEST_F(TrashRestoreTest, AFailedCopyLeavesNoPartBehindAndTheTrashAsItWas)
{
    const QByteArray tree = m_trash.itemPath("tree");
    const QByteArray info = readFile(m_trash.infoPath("tree"));
    // The first or third write finds the volume full; or every write went well but the disk
    // did not take them (a write-back error that syncfs reports).
    for (const int failAt : {1, 3, 0}) {
        CrossingFileManager fm;
        fm.failWriteAt = failAt;
        fm.syncError = failAt == 0 ? EIO : 0;
        KZTrashRestore restore(KZTrashFolder::dataHomeFromEnvironment(), fm);
        const KZTrashRestore::Result result = restore.restoreItemAtPath(tree, {});
        EXPECT_EQ(result.outcome, KZTrashRestore::Outcome::Failed) << failAt;
        EXPECT_TRUE(result.error.localizedDescription.contains(
            failAt == 0 ? QStringLiteral("could not be written to the disk")
                        : QStringLiteral("not enough room")))
            << result.error.localizedDescription.toStdString();
        EXPECT_TRUE(namesIn(m_dest).isEmpty())
            << failAt << ": " << namesIn(m_dest).join(' ').toStdString();
        EXPECT_EQ(readFile(tree + "/big.bin"), m_big);
        EXPECT_EQ(readFile(tree + "/deep/note.txt"), "note");
        EXPECT_EQ(readFile(m_trash.infoPath("tree")), info);
    }

    // The same item, asked back onto a name that is taken, by a copy too: refused before
    // copying, or numbered with rename.
    ASSERT_TRUE(writeFile(m_dest + "/tree", "a file now"));
    CrossingFileManager fm;
    KZTrashRestore restore(KZTrashFolder::dataHomeFromEnvironment(), fm);
    KZTrashRestore::Result result = restore.restoreItemAtPath(tree, {});
    EXPECT_EQ(result.outcome, KZTrashRestore::Outcome::Exists);
    EXPECT_EQ(fm.writes, 0);
    result = restore.restoreItemAtPath(tree, {{}, true});
    EXPECT_EQ(result.outcome, KZTrashRestore::Outcome::Restored);
    EXPECT_EQ(result.restoredPath, m_dest + "/tree (2)");
    EXPECT_EQ(readFile(m_dest + "/tree"), "a file now");
    EXPECT_EQ(readFile(m_dest + "/tree (2)/big.bin"), m_big);
    ::chmod((m_dest + "/tree (2)/deep").constData(), 0755);
}

TEST(TrashRestoreNames, NumbersGoBeforeTheExtension)
{
    EXPECT_EQ(KZTrashRestore::numberedName("report.txt", 2), "report (2).txt");
    EXPECT_EQ(KZTrashRestore::numberedName("archive.tar.gz", 3), "archive.tar (3).gz");
    EXPECT_EQ(KZTrashRestore::numberedName(".bashrc", 2), ".bashrc (2)");
    EXPECT_EQ(KZTrashRestore::numberedName("folder", 10), "folder (10)");
}
