#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "KZTestUser.h"
#include "app/KZNotificationCenter.h"
#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <QDirIterator>
#include <QProcess>
#include <QThread>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

namespace {

// A size-gathering owner that answers wasStopped, slowly when asked to.
class StoppingDelegate : public QObject
{
    Q_OBJECT
public:
    std::atomic<bool> stopped{false};
    int delayMilliseconds = 0;
    Q_INVOKABLE bool wasStopped() const
    {
        if (delayMilliseconds)
            QThread::msleep(delayMilliseconds);
        return stopped;
    }
};

// Records the "updateOtherInfo" notifications posted on this thread.
class InfoRecorder : public QObject
{
public:
    InfoRecorder()
    {
        KZNotificationCenter::defaultCenter().addObserver(
            KZFilesUtilities::kUpdateOtherInfoNotification, nullptr, this,
            [this](const KZNotification &notification) { posted.append(notification); });
    }
    QList<KZNotification> posted;
};

class SizesTest : public ::testing::Test
{
protected:
    void SetUp() override { KZTestFiles::makeFolders(base()); }
    [[nodiscard]] QByteArray base() const
    {
        return m_sandbox.path(QStringLiteral("s")).toLocal8Bit();
    }
    QUrl folder(const QByteArray &name, const QList<QByteArray> &files,
                const QByteArray &content = "0123456789")
    {
        const QByteArray path = base() + "/" + name;
        KZTestFiles::makeFolders(path);
        for (const QByteArray &file : files) {
            if (file.endsWith('/')) {
                KZTestFiles::makeFolders(path + "/" + file);
            } else {
                KZTestFiles::makeFolders(path + "/" + file.left(file.lastIndexOf('/') + 1));
                KZTestFiles::writeFile(path + "/" + file, content);
            }
        }
        return KZPath::urlFromPath(path);
    }

    KZTestSandbox m_sandbox;
    KZFilesUtilities m_utilities;
};

} // namespace

TEST_F(SizesTest, PlainWalkCountsEverythingAndSizesFiles)
{
    quint64 count = 5;
    EXPECT_EQ(m_utilities.iterateFolderForSize(folder("empty", {}), &count), KZItemSizeInfo{});
    EXPECT_EQ(count, 5u) << "added to, never reset";
    EXPECT_EQ(m_utilities.iterateFolderForSize(QUrl(), &count), KZItemSizeInfo{});

    count = 0;
    KZItemSizeInfo size = m_utilities.iterateFolderForSize(folder("one", {"ten"}), &count);
    EXPECT_EQ(size.fileSize, 10u);
    EXPECT_GE(size.totalFileSize, 10u);
    EXPECT_EQ(count, 1u);
    count = 0;
    size = m_utilities.iterateFolderForSize(folder("nested", {"sub/ten"}), &count);
    EXPECT_EQ(size.fileSize, 10u);
    EXPECT_EQ(count, 2u);

    count = 0;
    size = m_utilities.iterateFolderForSize(
        folder("package", {"Tool.app/a", "Tool.app/b", "Tool.app/c", ".DS_Store"}), &count);
    EXPECT_EQ(count, 5u) << "the package, its three files and .DS_Store";
    EXPECT_EQ(size.fileSize, 40u);
}

TEST_F(SizesTest, HardLinksOnceSymlinksNeverFollowed)
{
    const QUrl url = folder("links", {"big"}, QByteArray(100000, 'x'));
    const QByteArray big = base() + "/links/big";
    ::link(big.constData(), (base() + "/links/second").constData());
    ::link(big.constData(), (base() + "/links/third").constData());
    KZTestFiles::writeFile(base() + "/elsewhere", QByteArray(500000, 'y'));
    ::symlink((base() + "/elsewhere").constData(), (base() + "/links/outside").constData());
    ::symlink(base().constData(), (base() + "/links/up").constData());

    struct stat st = {};
    ::stat(big.constData(), &st);
    quint64 count = 0;
    const KZItemSizeInfo size = m_utilities.iterateFolderForSize(url, &count);
    EXPECT_EQ(count, 5u);
    const quint64 linkLengths = (base() + "/elsewhere").size() + base().size();
    EXPECT_EQ(size.fileSize, 3u * 100000 + linkLengths);
    EXPECT_EQ(size.totalFileSize, quint64(st.st_blocks) * 512) << "the inode's blocks once";

    // A link given as the folder to measure is not followed either.
    count = 0;
    EXPECT_EQ(m_utilities.iterateFolderForSize(KZPath::urlFromPath(base() + "/links/up"), &count),
              KZItemSizeInfo{});
    EXPECT_EQ(count, 0u);
}

TEST_F(SizesTest, TotalsMatchDuLessTheFoldersOwnBlocks)
{
    const QUrl url
        = folder("tree", {"a", "b/c", "b/d/e", "f/", ".g", "h/.i"}, QByteArray(5000, 'z'));
    ::link((base() + "/tree/a").constData(), (base() + "/tree/b/hard").constData());
    QProcess du;
    du.start(QStringLiteral("du"),
             {QStringLiteral("-sB1"), QString::fromLocal8Bit(base() + "/tree")});
    ASSERT_TRUE(du.waitForFinished(30000));
    const quint64 duTotal = du.readAllStandardOutput().split('\t').first().toULongLong();
    quint64 folderBlocks = 0;
    QDirIterator it(QString::fromLocal8Bit(base() + "/tree"),
                    QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    QStringList folders{QString::fromLocal8Bit(base() + "/tree")};
    while (it.hasNext())
        folders.append(it.next());
    for (const QString &each : folders) {
        struct stat st = {};
        ::lstat(each.toLocal8Bit().constData(), &st);
        folderBlocks += quint64(st.st_blocks) * 512;
    }
    quint64 count = 0;
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &count).totalFileSize, duTotal - folderBlocks);
}

TEST_F(SizesTest, UnreadableFoldersArePassedOver)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "needs root to act as another user";
    const QUrl url = folder("mixed", {"open/a", "closed/b", "closed/c"});
    ::chmod((base() + "/mixed/closed").constData(), 0700);
    ::system(("chmod -R a+rX '" + base() + "/mixed/open'").constData());
    ::chmod((base() + "/mixed").constData(), 0755);
    KZTestUser::makeTraversable((base() + "/mixed").constData());
    const int found = KZTestUser::runAs(KZTestUser::kNobody, [&] {
        quint64 count = 0;
        const KZItemSizeInfo size = m_utilities.iterateFolderForSize(url, &count);
        return size.fileSize == 10 ? int(count) : 100;
    });
    EXPECT_EQ(found, 3) << "open, open/a and the closed folder itself";
}

TEST_F(SizesTest, DelegateWalkCountsApartAndLeavesOutFinderFiles)
{
    StoppingDelegate delegate;
    KZItemCountInfo counts;
    const QUrl url = folder("kinds", {"Tool.app/a", "Tool.app/b", "Tool.app/c", "plain/x",
                                      ".DS_Store", "plain/.DS_Store-copy", ".DS_Stor", "empty/"});
    KZItemSizeInfo size = m_utilities.iterateFolderForSize(url, &delegate, &counts, true);
    EXPECT_EQ(counts.filesCount, 6u) << "the package, its 3 files, x and .DS_Stor";
    EXPECT_EQ(counts.foldersCount, 2u);
    EXPECT_EQ(size.fileSize, 50u);

    counts = {};
    size = m_utilities.iterateFolderForSize(url, &delegate, &counts, false);
    EXPECT_EQ(counts, KZItemCountInfo{});
    EXPECT_EQ(size.fileSize, 50u);

    EXPECT_FALSE(m_utilities.cantBeCalculated("."));
    EXPECT_FALSE(m_utilities.cantBeCalculated(".."));
    EXPECT_FALSE(m_utilities.cantBeCalculated(".DS_Store"));
    EXPECT_FALSE(m_utilities.cantBeCalculated(".DS_Storefoo"));
    EXPECT_TRUE(m_utilities.cantBeCalculated(".DS_Stor"));
    EXPECT_TRUE(m_utilities.cantBeCalculated(""));
    EXPECT_TRUE(m_utilities.cantBeCalculated("..."));
}

TEST_F(SizesTest, StopSignalFromDelegateOrFlag)
{
    InfoRecorder recorder;
    const QUrl url = folder("stop", {"a", "b"});
    StoppingDelegate delegate;
    delegate.stopped = true;
    KZItemCountInfo counts;
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &delegate, &counts, true), KZItemSizeInfo{});
    EXPECT_EQ(counts, KZItemCountInfo{});

    // An owner without wasStopped relies on gatheringSizeIsWorking, which starts false.
    QObject plain;
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &plain, &counts, true), KZItemSizeInfo{});
    m_utilities.setGatheringSizeIsWorking(true);
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &plain, &counts, true).fileSize, 20u);
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, nullptr, &counts, true).fileSize, 20u);
    EXPECT_EQ(counts.filesCount, 4u);
    EXPECT_TRUE(recorder.posted.isEmpty());
}

TEST_F(SizesTest, LongWalkAnnouncesItselfOnceAndHidesTheMessageAtItsEnd)
{
    InfoRecorder recorder;
    StoppingDelegate delegate;
    delegate.delayMilliseconds = 300; // two tests per item: three items take 1.8 seconds
    KZItemCountInfo counts;
    const QUrl url = folder("Slow Folder", {"a", "b", "c", "d"});
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &delegate, &counts, true).fileSize, 40u);
    ASSERT_EQ(recorder.posted.size(), 2);
    const KZNotification &shown = recorder.posted[0];
    EXPECT_EQ(shown.object, KZNotification::identity(&delegate));
    EXPECT_EQ(shown.userInfo.value(QStringLiteral("show")), QVariant(true));
    EXPECT_TRUE(shown.userInfo.value(QStringLiteral("whichInfo"))
                    .toString()
                    .contains(QStringLiteral("Slow Folder")));
    EXPECT_EQ(recorder.posted[1].userInfo, (QVariantMap{{QStringLiteral("show"), false}}));
    EXPECT_FALSE(m_utilities.infoAlreadyShown());
}

TEST_F(SizesTest, QueuedFoldersGetNoMessageOfTheirOwn)
{
    InfoRecorder recorder;
    QObject owner;
    EXPECT_TRUE(m_utilities.showInfoIfNeeded(QStringLiteral("A"), &owner));
    EXPECT_FALSE(m_utilities.showInfoIfNeeded(QStringLiteral("B"), &owner));
    EXPECT_FALSE(m_utilities.showInfoIfNeeded(QStringLiteral("B"), &owner));
    EXPECT_FALSE(m_utilities.showInfoIfNeeded(QStringLiteral("C"), &owner));
    EXPECT_EQ(m_utilities.infoQueue(), (QStringList{QStringLiteral("B"), QStringLiteral("C")}));

    m_utilities.removeInfo(QStringLiteral("A"), &owner); // B is taken off the queue silently
    EXPECT_TRUE(m_utilities.infoAlreadyShown());
    EXPECT_EQ(m_utilities.infoQueue(), QStringList{QStringLiteral("C")});
    m_utilities.removeInfo(QStringLiteral("C"), &owner); // the queue empties: the message ends
    EXPECT_FALSE(m_utilities.infoAlreadyShown());
    EXPECT_TRUE(m_utilities.infoQueue().isEmpty());

    EXPECT_TRUE(m_utilities.showInfoIfNeeded(QStringLiteral("D"), &owner));
    EXPECT_FALSE(m_utilities.showInfoIfNeeded(QStringLiteral("E"), &owner));
    m_utilities.removeInfo(QStringLiteral("D"), &owner); // E taken, queue gone, still shown
    EXPECT_TRUE(m_utilities.infoAlreadyShown());
    m_utilities.removeInfo(QStringLiteral("E"), &owner); // no queue: now it ends
    EXPECT_FALSE(m_utilities.infoAlreadyShown());

    int shows = 0;
    for (const KZNotification &each : recorder.posted)
        shows += each.userInfo.value(QStringLiteral("show")).toBool() ? 1 : 0;
    EXPECT_EQ(shows, 2);
    EXPECT_EQ(recorder.posted.size(), 2 + 4);
}

#include "KZFilesUtilitiesSizesTest.moc"
