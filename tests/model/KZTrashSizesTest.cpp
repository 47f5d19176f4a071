// Measuring a Trash with the sizes recorded by earlier measurements: when a record is used,
// when the folder is walked again, and that totals match a walk that uses none.
#include "model/KZTrashSizes.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZDirectorySizes.h"
#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <QDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class TrashSizes : public ::testing::Test
{
protected:
    void SetUp() override
    {
        trash.addFile("top file", QByteArray(9000, 'f'));
        trash.addFolder("alpha", {"a1", "sub/a2", "sub/deeper/"});
        trash.addFolder("beta", {"b1"});
        KZTestFiles::writeFile(trash.itemPath("beta") + "/b1", QByteArray(20000, 'b'));
    }

    // What one plain walk of the whole files/ folder counts: no record, no pool.
    KZTrashSizes::Measurement fresh() const
    {
        KZTrashSizes::Measurement walk;
        walk.size = KZFilesUtilities::sharedControl()
                        .iterateFolderForSize(trash.filesURL(), &walk.count)
                        .totalFileSize;
        return walk;
    }
    KZTrashSizes::Measurement measure() const
    {
        return KZTrashSizes::measureTrash(trash.filesURL());
    }
    // Grows a folder below its top level: its own change time stays, so only a walk sees it.
    void growQuietly(const QByteArray &folder)
    {
        KZTestFiles::writeFile(trash.itemPath(folder) + "/sub/grown", QByteArray(50000, 'g'));
    }
    void touchInfo(const QByteArray &name, qint64 seconds)
    {
        const struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, trash.infoPath(name).constData(), times, 0), 0);
    }

    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
};

} // namespace

TEST_F(TrashSizes, ASecondMeasurementUsesTheRecordsAndAChangedInfoTimeWalksAgain)
{
    const KZTrashSizes::Measurement first = measure();
    EXPECT_EQ(first.cachedFolders, 0u);
    EXPECT_EQ(first.walkedFolders, 2u);
    EXPECT_EQ(first.size, fresh().size);
    EXPECT_EQ(first.count, fresh().count);
    // Both folders have their line now, in du's bytes (the folders' own blocks included).
    const KZDirectorySizes::Lines lines = KZDirectorySizes::parse(trash.directorySizes());
    ASSERT_EQ(lines.size(), 2);
    struct stat folder = {};
    ::stat(trash.itemPath("beta").constData(), &folder);
    EXPECT_EQ(lines.value("beta").size, KZTestFiles::allocatedBelow(trash.itemPath("beta"))
                                            + quint64(folder.st_blocks) * 512);

    growQuietly("alpha");
    const KZTrashSizes::Measurement second = measure();
    EXPECT_EQ(second.cachedFolders, 2u);
    EXPECT_EQ(second.walkedFolders, 0u);
    EXPECT_EQ(second.size, first.size); // the record, not the grown folder
    EXPECT_EQ(second.count, first.count);
    EXPECT_LT(second.size, fresh().size);

    // A rewritten info file makes the line and the record stale.
    touchInfo("alpha", 1600000000);
    const KZTrashSizes::Measurement third = measure();
    EXPECT_EQ(third.cachedFolders, 1u);
    EXPECT_EQ(third.walkedFolders, 1u);
    EXPECT_EQ(third.size, fresh().size);
    EXPECT_EQ(third.count, fresh().count);
    EXPECT_EQ(KZDirectorySizes::parse(trash.directorySizes()).value("alpha").mtime, 1600000000);
}

TEST_F(TrashSizes, AMissingJunkOrStaleLineWalksAndAMillisecondLineIsTrusted)
{
    // Whole seconds, so that the info times in milliseconds are exactly seconds * 1000.
    touchInfo("alpha", 1650000000);
    touchInfo("beta", 1650000100);
    const quint64 recorded = measure().size;
    growQuietly("alpha");
    const QByteArray path = trash.root() + "/directorysizes";

    // The form KDE writes: still valid, so the records stand.
    KZTestFiles::writeFile(path, "7 1650000000000 alpha\n1 1650000100 beta\n");
    KZTrashSizes::Measurement measured = measure();
    EXPECT_EQ(measured.cachedFolders, 2u);
    EXPECT_EQ(measured.size, recorded);

    for (const QByteArray &alphaLine :
         {QByteArray(), QByteArray("junk 1650000000 alpha\n"), QByteArray("7 1650000001 alpha\n"),
          QByteArray("7 1650000000001 alpha\n")}) {
        KZTestFiles::writeFile(path, alphaLine + "1 1650000100 beta\n");
        measured = measure();
        EXPECT_EQ(measured.walkedFolders, 1u) << alphaLine.toStdString();
        EXPECT_EQ(measured.cachedFolders, 1u) << alphaLine.toStdString();
        EXPECT_EQ(measured.size, fresh().size) << alphaLine.toStdString();
        EXPECT_GT(measured.size, recorded);
        // Recorded again, in seconds, and beta's line left as another program wrote it.
        const KZDirectorySizes::Lines lines = KZDirectorySizes::parse(trash.directorySizes());
        EXPECT_EQ(lines.value("alpha").mtime, 1650000000);
        EXPECT_EQ(lines.value("beta"), (KZDirectorySizes::Line{1, 1650000100}));
        EXPECT_EQ(measure().cachedFolders, 2u);
    }
}

TEST_F(TrashSizes, HardLinksCountOnceAcrossFoldersAndTheirFoldersAreNeverTakenFromRecords)
{
    // One file linked from three folders and from the top level.
    const QByteArray shared = trash.itemPath("beta") + "/b1";
    ASSERT_EQ(::link(shared.constData(), (trash.itemPath("alpha") + "/linked").constData()), 0);
    trash.addFolder("gamma", {"g1"});
    ASSERT_EQ(::link(shared.constData(), (trash.itemPath("gamma") + "/linked").constData()), 0);
    trash.addFile("placeholder");
    ASSERT_EQ(::link(shared.constData(), trash.itemPath("top link").constData()), 0);
    trash.addFolder("delta", {"d1", "d2/d3"});

    const KZTrashSizes::Measurement walk = fresh();
    const KZTrashSizes::Measurement first = measure();
    EXPECT_EQ(first.size, walk.size);
    EXPECT_EQ(first.count, walk.count);
    const KZTrashSizes::Measurement second = measure();
    EXPECT_EQ(second.size, walk.size);
    EXPECT_EQ(second.count, walk.count);
    EXPECT_EQ(second.cachedFolders, 1u); // delta alone holds no file of several links
    EXPECT_EQ(second.walkedFolders, 3u);
    // Every folder has its shared line all the same.
    EXPECT_EQ(KZDirectorySizes::parse(trash.directorySizes()).size(), 4);
}

TEST_F(TrashSizes, ARecordIsStaleOnceTheFolderChangesOrIsReplaced)
{
    (void)measure();
    // Something added directly in the folder changes its change time.
    KZTestFiles::writeFile(trash.itemPath("alpha") + "/direct", QByteArray(7000, 'd'));
    KZTrashSizes::Measurement measured = measure();
    EXPECT_EQ(measured.walkedFolders, 1u);
    EXPECT_EQ(measured.size, fresh().size);

    // A different folder under the same name, its info file's time kept.
    struct stat info = {};
    ::stat(trash.infoPath("beta").constData(), &info);
    QDir(QString::fromLocal8Bit(trash.itemPath("beta"))).removeRecursively();
    trash.addFolder("beta", {"other/x"});
    const struct timespec times[2] = {info.st_atim, info.st_mtim};
    ::utimensat(AT_FDCWD, trash.infoPath("beta").constData(), times, 0);
    measured = measure();
    EXPECT_EQ(measured.walkedFolders, 1u);
    EXPECT_EQ(measured.size, fresh().size);
    EXPECT_EQ(measured.count, fresh().count);
}

TEST_F(TrashSizes, OnlyATrashOfTheUsersOwnIsRecordedAndAStopRecordsNothing)
{
    // A plain folder is measured in full and nothing is written beside it.
    const QByteArray plain = sandbox.path(QStringLiteral("plain/files")).toLocal8Bit();
    KZTestFiles::makeFolders(plain + "/folder");
    KZTestFiles::writeFile(plain + "/folder/x", QByteArray(5000, 'x'));
    const KZTrashSizes::Measurement measured
        = KZTrashSizes::measureTrash(QUrl::fromLocalFile(QString::fromLocal8Bit(plain)));
    EXPECT_EQ(measured.count, 2u);
    EXPECT_EQ(KZTestFiles::namesIn(plain + "/.."), QByteArrayList{"files"});

    // A missing Trash makes nothing.
    const QByteArray missing = sandbox.path(QStringLiteral("nothing/.Trash-0/files")).toLocal8Bit();
    EXPECT_EQ(
        KZTrashSizes::measureTrash(QUrl::fromLocalFile(QString::fromLocal8Bit(missing))).count, 0u);
    EXPECT_FALSE(KZTestFiles::exists(sandbox.path(QStringLiteral("nothing")).toLocal8Bit()));

    const std::atomic<bool> stop{true};
    const KZTrashSizes::Measurement stopped = KZTrashSizes::measureTrash(trash.filesURL(), &stop);
    EXPECT_TRUE(stopped.stopped);
    EXPECT_FALSE(KZTestFiles::exists(trash.root() + "/directorysizes"));
    EXPECT_TRUE(KZTrashSizes::cachedFolderSizes(trash.filesURL()).isEmpty());

    (void)measure();
    const QHash<QByteArray, KZTrashSizes::Figures> cached
        = KZTrashSizes::cachedFolderSizes(trash.filesURL());
    EXPECT_EQ(cached.size(), 2);
    EXPECT_EQ(cached.value("beta").count, 2u);
    EXPECT_EQ(cached.value("beta").size, KZTestFiles::allocatedBelow(trash.itemPath("beta")));
}
