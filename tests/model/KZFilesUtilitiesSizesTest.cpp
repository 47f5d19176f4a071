#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "KZTestUser.h"
#include "foundation/KZNotificationCenter.h"
#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <QThread>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

using namespace Qt::StringLiterals;

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

class SizesTest : public ::testing::Test
{
protected:
    [[nodiscard]] QByteArray base() const { return m_sandbox.path(u"s"_s).toLocal8Bit(); }
    // A folder under base() holding files of content; a name ending in "/" is a folder.
    QUrl folder(const QByteArray &name, const QList<QByteArray> &files,
                const QByteArray &content = "0123456789")
    {
        const QByteArray path = base() + "/" + name;
        KZTestFiles::makeFolders(path);
        for (const QByteArray &file : files) {
            KZTestFiles::makeFolders(path + "/" + file.left(file.lastIndexOf('/') + 1));
            if (!file.endsWith('/'))
                KZTestFiles::writeFile(path + "/" + file, content);
        }
        return KZPath::urlFromPath(path);
    }

    KZTestSandbox m_sandbox;
    KZFilesUtilities m_utilities;
};

} // namespace

TEST_F(SizesTest, PlainWalkCountsEverythingTheDelegateWalkCountsApartWithoutFinderFiles)
{
    const QUrl url
        = folder("kinds", {"Tool.app/a", "Tool.app/b", "Tool.app/c", "plain/x", ".DS_Store",
                           "plain/.DS_Store-copy", ".DS_Stor", "empty/", "new\nline \xff/\xfe"});
    quint64 count = 5;
    KZItemSizeInfo size = m_utilities.iterateFolderForSize(url, &count);
    EXPECT_EQ(count, 5u + 12) << "added to, never reset; the package and its 3 files are 4";
    EXPECT_EQ(size.fileSize, 80u);
    EXPECT_GE(size.totalFileSize, 80u);
    EXPECT_EQ(m_utilities.iterateFolderForSize(QUrl(), &count), KZItemSizeInfo{});

    StoppingDelegate delegate;
    KZItemCountInfo counts;
    size = m_utilities.iterateFolderForSize(url, &delegate, &counts, true);
    EXPECT_EQ(counts.filesCount, 7u) << "the package, its 3 files, x, .DS_Stor and \\xfe";
    EXPECT_EQ(counts.foldersCount, 3u);
    EXPECT_EQ(size.fileSize, 60u);
    counts = {};
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &delegate, &counts, false).fileSize, 60u);
    EXPECT_EQ(counts, KZItemCountInfo{});
}

TEST_F(SizesTest, AWalkWithAStopFlagIsThePlainWalkUntilTheFlagIsSet)
{
    const QUrl url = folder("flagged", {"a", "b/c", "b/d/e"});
    quint64 plainCount = 0;
    const KZItemSizeInfo plain = m_utilities.iterateFolderForSize(url, &plainCount);
    std::atomic<bool> stop{false};
    quint64 count = 0;
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &count, &stop), plain);
    EXPECT_EQ(count, plainCount);
    stop = true;
    count = 0;
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &count, &stop), KZItemSizeInfo{});
    EXPECT_EQ(count, 0u);
}

TEST_F(SizesTest, HardLinksCountOnceAndLinksAreNeverFollowed)
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

TEST_F(SizesTest, StoppedWalksAnswerNothingLongOnesAnnounceThemselvesOnceQueuedOnesNot)
{
    QList<KZNotification> posted; // the "updateOtherInfo" notifications
    QObject plain;                // an owner without wasStopped
    KZNotificationCenter::defaultCenter().addObserver(
        KZFilesUtilities::kUpdateOtherInfoNotification, nullptr, &plain,
        [&](const KZNotification &notification) { posted.append(notification); });
    const QUrl url = folder("Slow Folder", {"a", "b", "c", "d"});
    StoppingDelegate delegate;
    delegate.stopped = true;
    KZItemCountInfo counts;
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &delegate, &counts, true), KZItemSizeInfo{});
    // An owner without wasStopped relies on gatheringSizeIsWorking, which starts false.
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &plain, &counts, true), KZItemSizeInfo{});
    EXPECT_EQ(counts, KZItemCountInfo{});
    EXPECT_TRUE(posted.isEmpty());
    m_utilities.setGatheringSizeIsWorking(true);
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &plain, &counts, true).fileSize, 40u);

    delegate.stopped = false;
    delegate.delayMilliseconds = 300; // two tests per item: three items take 1.8 seconds
    EXPECT_EQ(m_utilities.iterateFolderForSize(url, &delegate, &counts, true).fileSize, 40u);
    ASSERT_EQ(posted.size(), 2);
    const KZNotification &shown = posted[0];
    EXPECT_EQ(shown.object, KZNotification::identity(&delegate));
    EXPECT_EQ(shown.userInfo.value(u"show"_s), QVariant(true));
    EXPECT_TRUE(shown.userInfo.value(u"whichInfo"_s).toString().contains(u"Slow Folder"_s));
    EXPECT_EQ(posted[1].userInfo, (QVariantMap{{u"show"_s, false}}));
    EXPECT_FALSE(m_utilities.infoAlreadyShown());

    // Folders that start while the message is on show queue up without one of their own.
    posted.clear();
    QObject owner;
    KZFilesUtilities &sizes = m_utilities;
    EXPECT_TRUE(sizes.showInfoIfNeeded(u"A"_s, &owner));
    EXPECT_FALSE(sizes.showInfoIfNeeded(u"B"_s, &owner));
    EXPECT_FALSE(sizes.showInfoIfNeeded(u"B"_s, &owner));
    EXPECT_FALSE(sizes.showInfoIfNeeded(u"C"_s, &owner));
    EXPECT_EQ(sizes.infoQueue(), QStringList({u"B"_s, u"C"_s}));
    sizes.removeInfo(u"A"_s, &owner); // B is taken off the queue silently: the message stays
    EXPECT_TRUE(sizes.infoAlreadyShown());
    EXPECT_EQ(sizes.infoQueue(), QStringList{u"C"_s});
    sizes.removeInfo(u"C"_s, &owner); // the queue empties: the message ends
    EXPECT_FALSE(sizes.infoAlreadyShown());

    EXPECT_TRUE(sizes.showInfoIfNeeded(u"D"_s, &owner));
    EXPECT_FALSE(sizes.showInfoIfNeeded(u"E"_s, &owner));
    sizes.removeInfo(u"D"_s, &owner); // E is taken and the queue gone, yet the message stays
    EXPECT_TRUE(sizes.infoAlreadyShown());
    QList<bool> shows;
    for (const KZNotification &each : posted)
        shows.append(each.userInfo.value(u"show"_s).toBool());
    EXPECT_EQ(shows, QList<bool>({true, false, false, true, false}));
}

#include "KZFilesUtilitiesSizesTest.moc"
