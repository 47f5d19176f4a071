// "binwise list" with the sizes recorded by earlier runs: the real executable on tmpfs volumes
// of the sandbox, as root and as an ordinary user.
#include "KZCliRunner.h"
#include "KZTestUser.h"
#include "model/KZDirectorySizes.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KZTestFiles;

namespace {

// The first record's itemsCount and itemsSize of "binwise list --json".
std::pair<qint64, qint64> listed(KZCliRunner &cli)
{
    const KZCliResult result = cli.run({"list", "--json"});
    EXPECT_EQ(result.exitCode, 0) << str(result.err);
    EXPECT_TRUE(result.err.isEmpty()) << str(result.err);
    const QJsonObject first = QJsonDocument::fromJson(result.out).array().at(0).toObject();
    return {first.value(QStringLiteral("itemsCount")).toInteger(),
            first.value(QStringLiteral("itemsSize")).toInteger()};
}

class CliSizes : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(cli.isValid());
        QString whyNot;
        top = cli.addVolume("Work", &whyNot);
        if (top.isEmpty())
            GTEST_SKIP() << whyNot.toStdString();
    }
    QByteArray cacheFolder()
    {
        return cli.environment().value(QStringLiteral("XDG_CACHE_HOME")).toLocal8Bit()
               + "/Binwise/trash-sizes";
    }

    KZCliRunner cli;
    QByteArray top;
};

} // namespace

TEST_F(CliSizes, ASecondListTakesRecordedSizesUntilAnInfoFileChanges)
{
    KZTestTrash trash = KZTestTrash::onVolume(top);
    trash.addFolder("photos", {"2023/a.jpg", "2024/b.jpg"});
    writeFile(trash.itemPath("photos") + "/2023/a.jpg", QByteArray(30000, 'a'));
    trash.addFile("note", QByteArray(100, 'n'));
    const quint64 size = allocatedBelow(trash.files());

    EXPECT_EQ(listed(cli), std::make_pair(qint64(6), qint64(size)));
    EXPECT_TRUE(KZDirectorySizes::parse(trash.directorySizes()).contains("photos"));
    ASSERT_EQ(namesIn(cacheFolder()).size(), 1); // the counts live here, not in the Trash

    // Grown below its top level, with its info file untouched: the record stands, in the
    // list and in the items.
    const quint64 photos = allocatedBelow(trash.itemPath("photos"));
    writeFile(trash.itemPath("photos") + "/2024/c.jpg", QByteArray(40000, 'c'));
    EXPECT_EQ(listed(cli), std::make_pair(qint64(6), qint64(size)));
    const KZCliResult items = cli.run({"items", "--json"});
    ASSERT_EQ(items.exitCode, 0) << str(items.err);
    for (const QJsonValue &item : QJsonDocument::fromJson(items.out).array()) {
        if (item.toObject().value(QStringLiteral("name")).toString() == QStringLiteral("photos")) {
            EXPECT_EQ(quint64(item.toObject().value(QStringLiteral("size")).toInteger()), photos);
        }
    }
    EXPECT_TRUE(items.out.contains("\"photos\"")) << str(items.out);

    // Its info file rewritten (as a restore and a new put would): walked again.
    const struct timespec later[2] = {{1800000000, 0}, {1800000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, trash.infoPath("photos").constData(), later, 0), 0);
    EXPECT_EQ(listed(cli), std::make_pair(qint64(7), qint64(allocatedBelow(trash.files()))));
    EXPECT_EQ(KZDirectorySizes::parse(trash.directorySizes()).value("photos").mtime, 1800000000);
}

TEST_F(CliSizes, TwoListsAtOnceLeaveAWholeFileAndNoTemporaries)
{
    KZTestTrash trash = KZTestTrash::onVolume(top);
    for (int i = 0; i < 150; ++i)
        trash.addFolder("folder " + QByteArray::number(i), {"a", "b/c"});
    for (int round = 0; round < 4; ++round) {
        ::unlink((trash.root() + "/directorysizes").constData());
        QDir(QString::fromLocal8Bit(cacheFolder())).removeRecursively();
        auto one = cli.start({"list"});
        auto two = cli.start({"list"});
        ASSERT_TRUE(one->waitForFinished(60000) && two->waitForFinished(60000));
        EXPECT_EQ(one->exitCode(), 0);
        EXPECT_EQ(two->exitCode(), 0);
        const QByteArray content = trash.directorySizes();
        EXPECT_EQ(KZDirectorySizes::parse(content).size(), 150) << round;
        EXPECT_EQ(content.count('\n'), 150) << round;
        EXPECT_EQ(namesIn(trash.root()), (QByteArrayList{"directorysizes", "files", "info"}));
        EXPECT_EQ(namesIn(cacheFolder()).size(), 1);
    }
    EXPECT_EQ(listed(cli).first, 150 * 4);
}

TEST_F(CliSizes, AVolumeWithoutATrashGetsNone)
{
    const QByteArrayList before = namesIn(top);
    EXPECT_EQ(listed(cli), std::make_pair(qint64(0), qint64(0)));
    EXPECT_EQ(namesIn(top), before);
}

TEST_F(CliSizes, AsAnOrdinaryUserATrashThatCannotBeWrittenIsMeasuredAllTheSame)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "running binwise as another user needs root";
    constexpr uid_t kUser = KZTestUser::kNobody;
    KZTestTrash trash = KZTestTrash::onVolume(top, int(kUser));
    trash.addFolder("kept", {"x", "y/z"});
    writeFile(trash.itemPath("kept") + "/x", QByteArray(12000, 'x'));
    trash.addDirectorySizesLine("gone elsewhere", 4096);
    ASSERT_TRUE(chownTree(trash.root(), kUser));
    const QByteArray before = trash.directorySizes();
    // The user's own Trash, but neither it nor its cache folder can be written.
    ASSERT_EQ(::chmod(trash.root().constData(), 0500), 0);
    ASSERT_TRUE(cli.runAsUser(kUser));
    const QByteArray cacheHome
        = cli.environment().value(QStringLiteral("XDG_CACHE_HOME")).toLocal8Bit();
    ASSERT_TRUE(makeFolders(cacheHome));
    ASSERT_EQ(::lchown(cacheHome.constData(), kUser, kUser), 0);
    ASSERT_EQ(::chmod(cacheHome.constData(), 0500), 0);

    const auto expected = std::make_pair(qint64(4), qint64(allocatedBelow(trash.files())));
    EXPECT_EQ(listed(cli), expected);
    EXPECT_EQ(listed(cli), expected);
    EXPECT_EQ(trash.directorySizes(), before);
    EXPECT_EQ(namesIn(trash.root()), (QByteArrayList{"directorysizes", "files", "info"}));
    EXPECT_FALSE(exists(cacheHome + "/Binwise"));

    // Once it can be written, the user's list records the folder as the user.
    ASSERT_EQ(::chmod(trash.root().constData(), 0700), 0);
    ASSERT_EQ(::chmod(cacheHome.constData(), 0700), 0);
    EXPECT_EQ(listed(cli), expected);
    struct stat st = {};
    ASSERT_EQ(::stat((trash.root() + "/directorysizes").constData(), &st), 0);
    EXPECT_EQ(st.st_uid, kUser);
    const KZDirectorySizes::Lines lines = KZDirectorySizes::parse(trash.directorySizes());
    EXPECT_TRUE(lines.contains("kept"));
    EXPECT_TRUE(lines.contains("gone elsewhere")); // another program's line is kept
}
