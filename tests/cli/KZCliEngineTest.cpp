// The engine as an ordinary user meets it, through the real binwise executable: the user's own
// rights first, queries that make nothing, a volume with two Trash folders, items that vanish
// under the erase, and info files that are not what they should be.
#include "KZCliRunner.h"
#include "KZTestUser.h"
#include "cli/KZCliEraseCommand.h"
#include "format/KZNumberUtilities.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <climits>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using KZTestFiles::exists;
using KZTestFiles::writeFile;

namespace {

using KZTestFiles::allocatedBelow;
using KZTestFiles::chownTree;
using KZTestFiles::namesIn;

constexpr uid_t kUser = KZTestUser::kNobody;

// What chmod -R a-w leaves (an unpacked archive, a Go module cache).
bool takeWriteAway(const QByteArray &path)
{
    return ::nftw(
               path.constData(),
               [](const char *item, const struct stat *st, int type, struct FTW *) {
                   if (type == FTW_SL)
                       return 0;
                   return ::chmod(item, st->st_mode & 07555);
               },
               16, FTW_PHYS | FTW_DEPTH)
           == 0;
}

QJsonArray jsonOf(const KZCliResult &result)
{
    return QJsonDocument::fromJson(result.out).array();
}

class CliEngine : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(cli.isValid()); }

    // A new tmpfs volume, or empty with the reason for GTEST_SKIP in m_whyNot.
    QByteArray volume(const QByteArray &name)
    {
        QString whyNot;
        const QByteArray mountPoint = cli.addVolume(name, &whyNot);
        m_whyNot = whyNot.toStdString();
        return mountPoint;
    }

    KZCliRunner cli;
    std::string m_whyNot;
};

} // namespace

TEST_F(CliEngine, AnOrdinaryUsersOwnItemsGoWithItsOwnRightsAndOnlyTheRestIsLeft)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "running binwise as another user needs root";
    const QByteArray top = volume("Work");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    KZTestTrash trash = KZTestTrash::onVolume(top, int(kUser));
    trash.addFolder("modcache", {"golang.org/x/mod@v0.1/go.mod", "golang.org/x/mod@v0.1/zip/zip.go",
                                 "cache/download/"});
    trash.addFolder("sealed", {"secret", "inner/more"});
    trash.addFolder("read-only top", {"file"});
    trash.addFile("root's file");
    ASSERT_TRUE(chownTree(trash.root(), kUser));
    ASSERT_EQ(::lchown(trash.itemPath("root's file").constData(), 0, 0), 0);
    ASSERT_TRUE(takeWriteAway(trash.itemPath("modcache")));
    ASSERT_EQ(::chmod(trash.itemPath("read-only top").constData(), 0555), 0);
    ASSERT_EQ(::chmod(trash.itemPath("sealed").constData(), 0), 0);
    const quint64 size = allocatedBelow(trash.files());
    ASSERT_TRUE(cli.runAsUser(kUser));

    // Nothing here needs more than the user's rights: no helper, no question, all gone.
    const KZCliResult all = cli.run({"empty", "--all", "--yes"});
    EXPECT_EQ(all.exitCode, 0) << str(all.out) << str(all.err);
    EXPECT_TRUE(namesIn(trash.files()).isEmpty()) << str(namesIn(trash.files()).join(','));
    EXPECT_TRUE(namesIn(trash.root() + "/info").isEmpty());
    // modcache 9 entries, sealed 4, read-only top 2, root's file 1.
    EXPECT_EQ(all.out,
              "Erased 16 items, "
                  + KZNumberUtilities::sharedControl().sizeToFormatString(size, 4, true).toUtf8()
                  + ".\n");
    EXPECT_FALSE(all.err.contains("helper")) << str(all.err);

    // Someone else's folder holding someone else's file: the user's rights cannot empty it.
    // It stays with its info file; the user's own item beside it goes.
    trash.addFolder("root's folder", {"inside"});
    trash.addFile("mine");
    ASSERT_TRUE(chownTree(trash.itemPath("mine"), kUser));
    const KZCliResult mixed = cli.run({"empty", "--yes"});
    EXPECT_EQ(mixed.exitCode, 1) << str(mixed.out) << str(mixed.err);
    EXPECT_EQ(namesIn(trash.files()), QByteArrayList{"root's folder"});
    EXPECT_TRUE(exists(trash.itemPath("root's folder/inside")));
    EXPECT_TRUE(exists(trash.infoPath("root's folder")));
    EXPECT_FALSE(exists(trash.infoPath("mine")));
    EXPECT_TRUE(mixed.out.contains("1 of the 2 items asked for is still there")) << str(mixed.out);
    EXPECT_TRUE(mixed.out.contains("1 item you have no permission to remove left, as the helper "
                                   "that erases them is not available"))
        << str(mixed.out);
    EXPECT_TRUE(mixed.out.contains("Still there: “root's folder”.")) << str(mixed.out);

    // Someone at a terminal is asked all the same; without a helper skip is the only answer,
    // and the question says why.
    const KZCliResult asked = cli.runOnTerminal({"empty", "--yes"}, "1\n");
    EXPECT_EQ(asked.exitCode, 1) << str(asked.out) << str(asked.err);
    EXPECT_TRUE(asked.err.contains("You don’t have permission to erase “inside”"))
        << str(asked.err);
    EXPECT_TRUE(asked.err.contains("can only be skipped")) << str(asked.err);
    EXPECT_FALSE(asked.err.contains("Erase\n") || asked.err.contains(") Erase")) << str(asked.err);
    EXPECT_TRUE(asked.out.contains("1 item without permission skipped")) << str(asked.out);
    EXPECT_TRUE(exists(trash.itemPath("root's folder/inside")));
}

// A Trash folder that is the user's by name but someone else's by owner is left alone, and
// every command that reads the Trashes says which and why in plain words: it must not pass for
// an empty Trash, and no internal name reaches the terminal.
TEST_F(CliEngine, ATrashFolderOfSomeoneElsesIsLeftAloneAndSaidInPlainWords)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "running binwise as another user needs root";
    const QByteArray top = volume("Shared");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    KZTestTrash planted = KZTestTrash::onVolume(top, int(kUser));
    planted.addFile("bait");
    ASSERT_EQ(::chmod(planted.root().constData(), 0755), 0);
    ASSERT_TRUE(cli.runAsUser(kUser));

    for (const QByteArrayList &arguments :
         QList<QByteArrayList>{{"list"}, {"items"}, {"empty", "--all", "--yes"}}) {
        const KZCliResult result = cli.run(arguments);
        const std::string command = str(arguments.join(' '));
        EXPECT_TRUE(result.err.contains("The Trash on “Shared” cannot be used: the Trash folder "
                                        "belongs to someone else"))
            << command << ": " << str(result.err);
        EXPECT_TRUE(result.err.contains(planted.root())) << command << ": " << str(result.err);
        EXPECT_FALSE(result.err.contains("NSTrashDirectory")) << command << ": " << str(result.err);
        EXPECT_EQ(result.err.count('\n'), 1) << command << ": " << str(result.err);
        EXPECT_FALSE(result.out.contains("Shared")) << command << ": " << str(result.out);
    }
    EXPECT_TRUE(exists(planted.itemPath("bait")) && exists(planted.infoPath("bait")));
}

TEST_F(CliEngine, QueriesMakeNoTrashFolderAndAVolumeWithoutOneHasAnEmptyTrash)
{
    const QByteArray top = volume("Fresh");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    const QByteArray trashRoot = top + "/.Trash-" + QByteArray::number(::getuid());
    for (const QByteArrayList &arguments : QList<QByteArrayList>{
             {"list"}, {"list", "--json"}, {"items"}, {"items", "--json"}, {"items", "Fresh"}}) {
        const KZCliResult result = cli.run(arguments);
        EXPECT_EQ(result.exitCode, 0) << str(arguments.join(' '));
        EXPECT_TRUE(result.err.isEmpty()) << str(arguments.join(' ')) << ": " << str(result.err);
    }
    EXPECT_FALSE(exists(trashRoot));
    EXPECT_FALSE(exists(top + "/.Trash"));

    const QJsonArray records = jsonOf(cli.run({"list", "--json"}));
    ASSERT_EQ(records.size(), 1);
    const QJsonObject record = records.at(0).toObject();
    EXPECT_EQ(record.value(QStringLiteral("trashURL")).toString(),
              KZPath::urlFromPath(trashRoot + "/files").toString());
    EXPECT_TRUE(record.value(QStringLiteral("trashIsEmpty")).toBool());
    EXPECT_EQ(record.value(QStringLiteral("itemsCount")).toInteger(), 0);
    EXPECT_EQ(cli.run({"items"}).out, "");

    const KZCliResult empty = cli.run({"empty", "--all", "--yes"});
    EXPECT_EQ(empty.exitCode, 0) << str(empty.err);
    EXPECT_TRUE(empty.out.contains("nothing to erase")) << str(empty.out);
    EXPECT_FALSE(exists(trashRoot));
}

TEST_F(CliEngine, AVolumeWithBothTrashFoldersIsListedMeasuredAndEmptiedWhole)
{
    const QByteArray top = volume("Both");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    const QByteArray uid = QByteArray::number(::getuid());
    ASSERT_EQ(::mkdir((top + "/.Trash").constData(), 0777), 0);
    ASSERT_EQ(::chmod((top + "/.Trash").constData(), 01777), 0);
    KZTestTrash shared(top + "/.Trash/" + uid);
    KZTestTrash own = KZTestTrash::onVolume(top);
    shared.addFile("from the shared folder", QByteArray(6000, 's'));
    own.addFolder("from the own folder", {"inside/deeper"});
    own.addDirectorySizesLine("from the own folder", 4096);
    const quint64 size = allocatedBelow(shared.files()) + allocatedBelow(own.files());

    const QJsonArray records = jsonOf(cli.run({"list", "--json"}));
    ASSERT_EQ(records.size(), 1) << "one record per volume";
    const QJsonObject record = records.at(0).toObject();
    EXPECT_EQ(record.keys().size(), 6) << "the fields of list --json stay as they are";
    EXPECT_EQ(record.value(QStringLiteral("trashURL")).toString(),
              KZPath::urlFromPath(shared.files()).toString());
    EXPECT_FALSE(record.value(QStringLiteral("trashIsEmpty")).toBool());
    // The shared folder's file; the folder, inside and deeper of the other.
    EXPECT_EQ(record.value(QStringLiteral("itemsCount")).toInteger(), 4);
    EXPECT_EQ(quint64(record.value(QStringLiteral("itemsSize")).toInteger()), size);

    const KZCliResult items = cli.run({"items"});
    EXPECT_EQ(items.out.count('\n'), 2) << str(items.out);
    EXPECT_TRUE(items.out.contains("Both\tfrom the shared folder\t/original/")) << str(items.out);
    EXPECT_TRUE(items.out.contains("Both\tfrom the own folder\t/original/")) << str(items.out);
    // Either folder's items can be named for erase.
    const KZCliResult one = cli.run({"erase", "--yes", own.itemPath("from the own folder")});
    EXPECT_EQ(one.exitCode, 0) << str(one.err);
    EXPECT_TRUE(namesIn(own.files()).isEmpty());

    own.addFile("again");
    const KZCliResult emptied = cli.run({"empty", "Both", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.out) << str(emptied.err);
    for (const KZTestTrash &each : {shared, own}) {
        EXPECT_TRUE(namesIn(each.files()).isEmpty()) << str(each.root());
        EXPECT_TRUE(namesIn(each.root() + "/info").isEmpty()) << str(each.root());
    }
    EXPECT_FALSE(own.directorySizes().contains("own%20folder")) << str(own.directorySizes());
    EXPECT_TRUE(emptied.out.startsWith("Erased 2 items")) << str(emptied.out);
}

TEST_F(CliEngine, ItemsThatVanishDuringTheEraseCountAsGone)
{
    if (!exists("/usr/bin/srm"))
        GTEST_SKIP() << "no /usr/bin/srm to make the job last";
    const QByteArray top = volume("Race");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    KZTestTrash trash = KZTestTrash::onVolume(top);
    constexpr int kCount = 400;
    for (int i = 0; i < kCount; ++i)
        trash.addFile("item " + QByteArray::number(i), QByteArray(4000, 'x'));

    // Another program empties the Trash while binwise erases it slowly, item by item.
    std::unique_ptr<QProcess> process = cli.start({"empty", "--yes", "--secure"});
    ASSERT_TRUE(process->waitForStarted());
    const QDeadlineTimer deadline(30000);
    while (namesIn(trash.files()).size() > kCount - 3 && !deadline.hasExpired())
        QThread::msleep(2);
    ASSERT_FALSE(deadline.hasExpired()) << "the erase did not start";
    for (const QByteArray &name : namesIn(trash.files())) {
        ::unlink(trash.itemPath(name).constData());
        ::unlink(trash.infoPath(name).constData());
    }
    ASSERT_TRUE(process->waitForFinished(120000));
    const QByteArray out = process->readAllStandardOutput();
    const QByteArray err = process->readAllStandardError();
    EXPECT_EQ(process->exitCode(), 0) << str(out) << str(err);
    EXPECT_TRUE(out.startsWith("Erased ")) << str(out);
    EXPECT_FALSE(out.contains("failed") || out.contains("still there")) << str(out);
    EXPECT_TRUE(namesIn(trash.files()).isEmpty());
}

TEST_F(CliEngine, InfoFilesThatAreNotFilesNeverHoldAQueryOrAnErase)
{
    const QByteArray top = volume("Junk");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    KZTestTrash trash = KZTestTrash::onVolume(top);
    for (const QByteArray name : {"fifo", "folder", "huge", "binary", "socket", "good"})
        trash.addFile(name);
    ASSERT_EQ(::unlink(trash.infoPath("fifo").constData()), 0);
    ASSERT_EQ(::mkfifo(trash.infoPath("fifo").constData(), 0600), 0);
    ASSERT_EQ(::unlink(trash.infoPath("folder").constData()), 0);
    ASSERT_TRUE(KZTestFiles::makeFolders(trash.infoPath("folder")));
    QByteArray huge = "[Trash Info]\nPath=/original/huge\nDeletionDate=2024-03-05T10:20:30\n";
    huge += QByteArray(8 * 1024 * 1024, '#');
    ASSERT_TRUE(writeFile(trash.infoPath("huge"), huge));
    QByteArray binary(4096, '\0');
    for (qsizetype i = 0; i < binary.size(); ++i)
        binary[i] = char((i * 151 + 7) & 0xff);
    ASSERT_TRUE(writeFile(trash.infoPath("binary"), binary));
    ASSERT_EQ(::unlink(trash.infoPath("socket").constData()), 0);
    // A socket's path must fit sockaddr_un: bind it by a name relative to info/.
    const QByteArray here = QDir::currentPath().toLocal8Bit();
    ASSERT_EQ(::chdir((trash.root() + "/info").constData()), 0);
    const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "socket.trashinfo");
    const bool bound = ::bind(sock, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    ASSERT_EQ(::chdir(here.constData()), 0);
    ASSERT_TRUE(bound);
    ASSERT_EQ(::mkfifo((trash.root() + "/directorysizes").constData(), 0600), 0);

    const KZCliResult items = cli.run({"items", "--json"});
    ASSERT_EQ(items.exitCode, 0) << str(items.err);
    const QJsonArray records = jsonOf(items);
    ASSERT_EQ(records.size(), 6) << str(items.out);
    for (const QJsonValue &value : records) {
        const QJsonObject item = value.toObject();
        const bool good = item.value(QStringLiteral("name")).toString() == QStringLiteral("good");
        EXPECT_EQ(item.value(QStringLiteral("originalPath")).isNull(), !good)
            << str(QJsonDocument(item).toJson());
    }
    EXPECT_EQ(cli.run({"list"}).exitCode, 0);

    const KZCliResult emptied = cli.run({"empty", "--yes"});
    ::close(sock);
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.out) << str(emptied.err);
    EXPECT_TRUE(namesIn(trash.files()).isEmpty());
}

TEST_F(CliEngine, AHardLinkedFileCountsOnceAndASecureEraseRemovesItsLinksPlainly)
{
    const QByteArray top = volume("Links");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    KZTestTrash trash = KZTestTrash::onVolume(top);
    const QByteArray data(40000, 'd');
    const QByteArray original = trash.addFile("original", data);
    ASSERT_EQ(::link(original.constData(), trash.itemPath("second link").constData()), 0);
    trash.writeInfo("second link", "/original/second link");
    // A third name outside the Trash: the data is not the Trash's to destroy.
    const QByteArray kept = top + "/kept elsewhere";
    ASSERT_EQ(::link(original.constData(), kept.constData()), 0);
    struct stat st = {};
    ASSERT_EQ(::stat(original.constData(), &st), 0);
    const QString once = KZNumberUtilities::sharedControl().sizeToFormatString(
        quint64(st.st_blocks) * 512, 4, true);

    const QJsonArray records = jsonOf(cli.run({"list", "--json"}));
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records.at(0).toObject().value(QStringLiteral("itemsSize")).toInteger(),
              qint64(st.st_blocks) * 512);

    const bool secure = exists("/usr/bin/srm");
    const KZCliResult emptied = cli.run(secure ? QByteArrayList{"empty", "--yes", "--secure"}
                                               : QByteArrayList{"empty", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.out) << str(emptied.err);
    EXPECT_TRUE(emptied.out.startsWith("Erased 2 items, " + once.toUtf8() + "."))
        << str(emptied.out);
    EXPECT_TRUE(namesIn(trash.files()).isEmpty());
    EXPECT_EQ(KZTestFiles::readFile(kept), data);
    const QByteArray log = cli.logText(QStringLiteral("Links"));
    EXPECT_TRUE(log.contains(once.toUtf8())) << "the log's total counts the blocks once\n"
                                             << str(log);
    if (secure) {
        EXPECT_TRUE(emptied.out.contains("2 hard-linked files removed but not overwritten"))
            << str(emptied.out);
        EXPECT_TRUE(log.contains("Removed, not overwritten")) << str(log);
    }
}

TEST_F(CliEngine, AnItemDeeperThanAnyPathIsEmptiedWholeInOneRun)
{
    const QByteArray top = volume("Deep");
    if (top.isEmpty())
        GTEST_SKIP() << m_whyNot;
    KZTestTrash trash = KZTestTrash::onVolume(top);
    trash.addFolder("deep");
    // 3,000 levels of 12 bytes each, an empty file at each: a path of 36,000 bytes, far past
    // PATH_MAX, that no call can take whole.
    constexpr int kLevels = 3000;
    int fd = ::open(trash.itemPath("deep").constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    for (int level = 0; level < kLevels; ++level) {
        const int file = ::openat(fd, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        ASSERT_GE(file, 0) << level;
        ::close(file);
        ASSERT_EQ(::mkdirat(fd, "level-12345", 0755), 0) << level;
        const int next = ::openat(fd, "level-12345", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(fd);
        fd = next;
        ASSERT_GE(fd, 0) << level;
    }
    ::close(fd);

    const KZCliResult emptied = cli.run({"empty", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.out.left(2000)) << str(emptied.err.left(2000));
    EXPECT_TRUE(namesIn(trash.files()).isEmpty());
    EXPECT_FALSE(exists(trash.infoPath("deep")));
    EXPECT_TRUE(emptied.out.startsWith("Erased 6001 items")) << str(emptied.out.left(2000));
    // Whatever is shown or logged stays readable: a path too long is shortened in the middle
    // (a log line is its item number, a space and a path of at most PATH_MAX - 1 bytes).
    const QByteArray log = cli.logText(QStringLiteral("Deep"));
    EXPECT_TRUE(log.contains("/level-12345/file\n")) << "the deepest items are logged too";
    for (const QByteArray &text : {emptied.out, emptied.err, log}) {
        for (const QByteArray &line : text.split('\n'))
            EXPECT_LE(line.size(), PATH_MAX + 16) << str(line.left(200));
    }
}

TEST(CliSummary, EachReasonHasItsOwnWordsAndAFewItemsThatStayedAreNamed)
{
    KZEraseSummary summary;
    summary.erasedCount = 3;
    summary.erasedSize = 12288;
    summary.skippedLockedCount = 1;
    summary.skippedNoPermissionsCount = 1;
    summary.itemBusyCount = 1;
    summary.lockedWithoutHelperCount = 2;
    summary.noPermissionWithoutHelperCount = 1;
    summary.notErasedCount = 4; // the busy one and the three left without a helper
    summary.otherErrorCount = 1;
    summary.failures = {{"/t/files/report.txt", QStringLiteral("Read-only file system")}};
    const QString text = KZCliEraseCommand::summaryText(
        summary, {"/t/files/a", "/t/files/b\nc", "/t/files/d", "/t/files/e"}, 9);
    for (const char *part :
         {"Erased 3 items, ", "4 of the 9 items asked for are still there: ",
          "1 locked item skipped", "1 item without permission skipped", "1 item in use",
          "2 locked items left, as the helper that erases them is not available",
          "1 item you have no permission to remove left",
          "1 item could not be removed (report.txt: Read-only file system)",
          "Still there: “a”, “b\\nc”, “d” and 1 more."})
        EXPECT_TRUE(text.contains(QString::fromUtf8(part))) << part << "\n" << text.toStdString();
    // Nothing is counted twice: no remainder is blamed on the helper.
    EXPECT_FALSE(text.contains(QStringLiteral("helper failed"))
                 || text.contains(QStringLiteral("locked or without")))
        << text.toStdString();
    EXPECT_FALSE(text.contains(QStringLiteral("NS"))) << text.toStdString();
}
