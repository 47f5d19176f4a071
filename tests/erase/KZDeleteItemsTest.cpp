#include "KZEraseTestSupport.h"
#include "KZTestMount.h"
#include "KZTestUser.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "model/KZItemAttributes.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSemaphore>
#include <QTest>

#include <algorithm>
#include <cstring>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

using KZTestFiles::exists;

QString text(const char *key)
{
    return KZLocalizedString(QLatin1String(key));
}

QString errors(const char *key)
{
    return KZLocalizedStringFromTable(QLatin1String(key), KZLocalizedStrings::kErrorsTable);
}

QString sizeText(quint64 bytes)
{
    return KZNumberUtilities::sharedControl().sizeToFormatString(bytes, 4, true);
}

QStringList entries(const QByteArray &folder)
{
    return QDir(QString::fromLocal8Bit(folder))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

KZScriptedAlertBackend::Answer eraseForAll()
{
    return {KZAlertSecondButtonReturn, true};
}

#define REQUIRE_ROOT()                                                                             \
    if (!KZTestUser::canSwitchUser())                                                              \
    GTEST_SKIP() << "needs root"

} // namespace

TEST(DeleteItems, ConfirmationTitleAndLineFollowTheRequest)
{
    KZEraseFixture f;
    KZTestTrash volume
        = KZTestTrash::onVolume(f.sandbox.path(QStringLiteral("stick")).toLocal8Bit());
    const QByteArray homeFile = f.trash.addFile("home file", "x");
    const QByteArray volumeFile = volume.addFile("volume file", "y");
    KZScriptedAlertBackend::Answer cancelWhenMeasured{KZAlertThirdButtonReturn};
    cancelWhenMeasured.waitUntil = [&f] {
        return !f.alert.sizeIsWorking();
    };
    f.script->answerAlways(KZBWAlert::kConfirmationIdentifier, cancelWhenMeasured);

    const KZEraseRecord home = KZEraseFixture::location(f.trash, QStringLiteral("Home"));
    const KZEraseRecord stick = KZEraseFixture::location(volume, QStringLiteral("Stick"));
    EXPECT_FALSE(f.run({home, stick}));
    EXPECT_FALSE(f.run({stick})); // one volume, however the request was meant
    EXPECT_FALSE(f.run({KZEraseRecord::smartErase({f.trash.itemURL("home file")})}));

    const auto shown = f.script->shown();
    ASSERT_EQ(shown.size(), 3);
    const auto allocated = [](const QByteArray &path) {
        return KZItemAttributes::attribute(KZPath::urlFromPath(path), KZResourceKey::TotalFileSize)
            .toULongLong();
    };
    EXPECT_EQ(shown[0].request.messageText, text("eraseAll"));
    EXPECT_EQ(shown[0].accessoryTextAtAnswer,
              KZLocalizedFormat(
                  QStringLiteral("all_disks"),
                  {sizeText(allocated(homeFile) + allocated(volumeFile)), QStringLiteral("2")}));
    EXPECT_EQ(shown[0].request.buttons,
              (QStringList{text("empty_trash"), text("secure_empty_trash"), text("cancel")}));
    EXPECT_EQ(shown[1].request.messageText,
              KZLocalizedFormat(QStringLiteral("eraseVol"), {QStringLiteral("Stick")}));
    // One item: the plural line loses its last two characters and gains a full stop.
    const QString plural = KZLocalizedFormat(
        QStringLiteral("single_disk"),
        {QStringLiteral("Stick"), sizeText(allocated(volumeFile)), QStringLiteral("1")});
    EXPECT_EQ(shown[1].accessoryTextAtAnswer, plural.chopped(2) + QLatin1Char('.'));
    EXPECT_EQ(shown[2].request.messageText, text("smartErase"));
    EXPECT_EQ(shown[2].request.buttons.first(), text("erase_checked"));

    // Cancelled: nothing erased, "stopWorking" posted each time, no job ran.
    EXPECT_TRUE(exists(homeFile) && exists(volumeFile));
    EXPECT_EQ(f.stopWorkingPosted, 3);
    EXPECT_TRUE(f.ended.isEmpty());
}

TEST(DeleteItems, EmptiesEachTrashFilesFirstThenFoldersDeepestFirstAndLogsEveryItem)
{
    KZEraseFixture f;
    QString whyNot;
    const auto mount
        = KZTestMount::tmpfs(f.sandbox.path(QStringLiteral("volume")).toLocal8Bit(), &whyNot);
    if (!mount)
        GTEST_SKIP() << whyNot.toStdString();
    KZTestTrash volume = KZTestTrash::onVolume(mount->mountPoint());
    f.defaults.setValue(KZUserDefaults::kWriteLog, true);
    const QByteArray outside = f.sandbox.path(QStringLiteral("outside")).toLocal8Bit();
    KZTestFiles::makeFolders(outside);
    KZTestFiles::writeFile(outside + "/precious", "keep");
    f.trash.addFolder("a", {"b/c/file"});
    f.trash.addFile("top");
    f.trash.addFile("new\nline \xff");
    f.trash.addFile(".dotfile");
    ::symlink((outside + "/precious").constData(), f.trash.itemPath("to file").constData());
    ::symlink(outside.constData(), f.trash.itemPath("to folder").constData());
    f.trash.writeInfo("ghost", "/gone"); // an orphan left by someone else
    // A file system mounted inside a Trash is not the Trash's to empty.
    f.trash.addFolder("holder");
    const auto inside = KZTestMount::tmpfs(f.trash.itemPath("holder/mounted"), &whyNot);
    ASSERT_TRUE(inside) << whyNot.toStdString();
    KZTestFiles::writeFile(f.trash.itemPath("holder/mounted/kept"), "kept");
    volume.addFolder("volume folder", {"x", "y/z"});
    volume.writeInfo("orphan", "orphan");
    f.script->enqueue({KZAlertFirstButtonReturn});

    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home")),
                       KZEraseFixture::location(volume, QStringLiteral("Volume"))}));

    EXPECT_EQ(entries(f.trash.files()), QStringList{QStringLiteral("holder")});
    EXPECT_EQ(entries(f.trash.root() + "/info"), QStringList{QStringLiteral("holder.trashinfo")});
    EXPECT_TRUE(exists(volume.files()));
    EXPECT_EQ(entries(volume.files()) + entries(volume.root() + "/info"), QStringList());
    EXPECT_EQ(KZTestFiles::readFile(outside + "/precious"), "keep");
    EXPECT_EQ(KZTestFiles::readFile(f.trash.itemPath("holder/mounted/kept")), "kept");
    const KZEraseSummary summary = f.ended.constLast();
    EXPECT_EQ(summary.erasedCount, 13u);
    EXPECT_EQ(summary.notTrashed, QByteArrayList{f.trash.itemPath("holder")});
    EXPECT_EQ(f.stopWorkingPosted, 1);

    // The lines themselves are the log controller's; the kind of job and the order are ours.
    const QByteArrayList lines = f.logLines();
    ASSERT_GE(lines.size(), 16);
    EXPECT_TRUE(lines[0].endsWith(' ' + text("start_delete_all").toUtf8())) << lines[0].data();
    EXPECT_TRUE(lines[15].endsWith(' ' + text("end_delete_all").toUtf8())) << lines[15].data();
    // One line per item, numbered from 1; the home Trash's files, then c, b and a.
    for (qsizetype i = 1; i <= 13; ++i)
        EXPECT_TRUE(lines[i].startsWith(QByteArray::number(i) + ' ')) << lines[i].constData();
    const QByteArray files = f.trash.files();
    const auto lineOf = [&lines](const QByteArray &path) {
        for (qsizetype i = 0; i < lines.size(); ++i) {
            if (lines.at(i).endsWith(' ' + path))
                return i;
        }
        return qsizetype(-1);
    };
    const qsizetype file = lineOf(files + "/a/b/c/file");
    const qsizetype c = lineOf(files + "/a/b/c");
    const qsizetype b = lineOf(files + "/a/b");
    EXPECT_TRUE(file > 0 && file < c && c < b && b < lineOf(files + "/a")) << file << c << b;
    EXPECT_EQ(lineOf(files + "/a"), 9);
    EXPECT_GE(lineOf(files + "/new\\nline \\xff"), 1);
}

TEST(DeleteItems, WithoutConfirmationTheRequestKindOfThePreviousJobStays)
{
    KZEraseFixture f;
    f.defaults.setValue(KZUserDefaults::kWriteLog, true);
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    const QByteArray first = f.trash.addFile("first");
    KZTestFiles::writeFile(f.trash.itemPath("marked empty"), "z");

    // No smart erase confirmed yet: the record reads as a location without a Trash.
    EXPECT_TRUE(f.run({KZEraseRecord::smartErase({f.trash.itemURL("first")})}));
    EXPECT_TRUE(exists(first));
    EXPECT_TRUE(f.script->shown().isEmpty());

    // A Trash marked empty is measured by the job but never walked.
    EXPECT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"), true)}));
    EXPECT_TRUE(exists(f.trash.itemPath("marked empty")));
    EXPECT_TRUE(QTest::qWaitFor([&f] { return f.engine->totItems() == 2; }));

    // A confirmed smart erase (secure, through the real srm, where it is installed): each
    // item goes with its info file.
    const bool secure = access("/usr/bin/srm", X_OK) == 0;
    f.defaults.setValue(KZUserDefaults::kShowAlert, true);
    f.trash.addFolder("secret", {"one", "two/three"});
    f.script->enqueue({secure ? KZAlertSecondButtonReturn : KZAlertFirstButtonReturn});
    EXPECT_TRUE(
        f.run({KZEraseRecord::smartErase({f.trash.itemURL("first"), f.trash.itemURL("secret")})}));
    EXPECT_FALSE(exists(first) || exists(f.trash.infoPath("first")));
    EXPECT_FALSE(exists(f.trash.itemPath("secret")) || exists(f.trash.infoPath("secret")));
    EXPECT_EQ(f.ended.constLast().eraseSecurely, secure);
    EXPECT_EQ(f.ended.constLast().erasedCount, 5u);
    EXPECT_TRUE(f.logLines().first().endsWith(
        (text("start_delete_checked") + (secure ? text("isSecure_erase") : QString())).toUtf8()));

    // Unconfirmed again: still a smart erase (of nothing), never secure, never logged.
    const qsizetype logLines = f.logLines().size();
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    f.trash.addFile("third");
    EXPECT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    EXPECT_TRUE(exists(f.trash.itemPath("third")));
    EXPECT_FALSE(f.engine->eraseSecurely());
    EXPECT_EQ(f.logLines().size(), logLines);
}

TEST(DeleteItems, WithoutTheHelperLockedItemsAreReportedOnceAndBusyOnesByTheirCount)
{
    REQUIRE_ROOT();
    KZEraseFixture f;
    f.trash.addFolder("a", {"b/locked"});
    const QByteArray top = f.trash.addFile("locked top");
    KZTestFiles::ImmutableGuard guard1(f.trash.itemPath("a/b/locked"));
    KZTestFiles::ImmutableGuard guard2(top);
    if (!guard1.isSet())
        GTEST_SKIP() << "no immutable flag here";
    f.script->enqueue({KZAlertFirstButtonReturn});

    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    KZEraseSummary summary = f.ended.constLast();
    EXPECT_EQ(summary.notErasedCount, 2u);
    EXPECT_EQ(summary.lockedWithoutHelperCount, 2u);
    EXPECT_EQ(summary.noPermissionWithoutHelperCount, 0u);
    EXPECT_EQ(summary.erasedCount, 0u);
    EXPECT_EQ(summary.notTrashed, (QByteArrayList{f.trash.itemPath("a/b"), f.trash.itemPath("a")}));
    EXPECT_TRUE(exists(top) && exists(f.trash.infoPath("locked top")));
    EXPECT_TRUE(exists(f.trash.infoPath("a")));
    EXPECT_EQ(f.script->shownIdentifiers(), (QStringList{KZBWAlert::kConfirmationIdentifier,
                                                         QStringLiteral("userNotAuthorized")}));

    // Items in use: one message with their count, and no "userNotAuthorized" although the
    // locked items count as not erased still. Other failures only beep and count nowhere else.
    f.script->clear();
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    for (const char *name : {"busy1", "busy2", "busy3", "full1", "fine"})
        f.trash.addFile(name);
    f.trash.addFolder("nested", {"full2"});
    f.fileManager.onUnlink = [](const QByteArray &name) {
        return name.size() != 5          ? 0
               : name.startsWith("busy") ? EBUSY
               : name.startsWith("full") ? EROFS
                                         : 0;
    };
    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    summary = f.ended.constLast();
    EXPECT_EQ(summary.itemBusyCount, 3u);
    EXPECT_EQ(summary.notErasedCount, 5u);
    EXPECT_EQ(summary.otherErrorCount, 2u);
    // Each failure with its item and a reason in plain words.
    ASSERT_EQ(summary.failures.size(), 2);
    QByteArrayList failed;
    for (const KZEraseSummary::Failure &failure : summary.failures) {
        failed.append(failure.path);
        EXPECT_EQ(failure.reason, QString::fromLocal8Bit(std::strerror(EROFS)));
    }
    std::sort(failed.begin(), failed.end());
    EXPECT_EQ(failed,
              (QByteArrayList{f.trash.itemPath("full1"), f.trash.itemPath("nested/full2")}));
    EXPECT_EQ(summary.erasedCount, 1u);
    const auto shown = f.script->shown();
    ASSERT_EQ(shown.size(), 1);
    EXPECT_EQ(shown[0].request.identifier, QStringLiteral("Busy_Plur"));
    EXPECT_EQ(shown[0].request.messageText, KZLocalizedStrings::replaceContentOfString(
                                                errors("Busy_Plur"), {QStringLiteral("3")}));
    EXPECT_EQ(f.script->beepCount(), 5);
    for (const char *name : {"busy1", "busy2", "busy3", "full1", "nested"})
        EXPECT_TRUE(exists(f.trash.itemPath(name)) && exists(f.trash.infoPath(name))) << name;
}

TEST(DeleteItems, LockedAndProtectedItemsAreAskedAboutOnceAndQueuedForTheHelper)
{
    REQUIRE_ROOT();
    KZEraseFixture f;
    auto helper = std::make_shared<KZHelperRecord>();
    f.installHelper(helper);
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    std::vector<std::unique_ptr<KZTestFiles::ImmutableGuard>> guards;
    const auto lock = [&](const QByteArray &path) {
        guards.push_back(std::make_unique<KZTestFiles::ImmutableGuard>(path));
        return guards.back()->isSet();
    };
    for (int i = 0; i < 10; ++i) {
        if (!lock(f.trash.addFile("locked " + QByteArray::number(i))))
            GTEST_SKIP() << "no immutable flag here";
    }
    for (const char *name : {"plain", "p1", "p2"})
        f.trash.addFile(name);
    f.trash.addFolder("d", {"p3", "free"});
    f.fileManager.onUnlink = [](const QByteArray &name) {
        return QByteArrayList{"p1", "p2", "p3"}.contains(name) ? EACCES : 0;
    };
    f.script->answerAlways(KZDeleteItems::kLockedQuestionIdentifier, eraseForAll());
    f.script->answerAlways(KZDeleteItems::kNoPermissionsQuestionIdentifier, eraseForAll());

    // "Erase" for all: one question of each kind. Root unlocks the locked items itself; the
    // protected ones go to the helper in one batch.
    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    const QStringList asked = f.script->shownIdentifiers();
    EXPECT_EQ(asked.size(), 2);
    EXPECT_EQ(asked.count(KZDeleteItems::kLockedQuestionIdentifier), 1);
    EXPECT_EQ(asked.count(KZDeleteItems::kNoPermissionsQuestionIdentifier), 1);
    ASSERT_EQ(helper->batches.size(), 1);
    const QVariantMap batch = helper->batches.constFirst();
    EXPECT_EQ(
        batch.keys(),
        (QStringList{KZBatchKey::eraseSecurely, KZBatchKey::erasedCount, KZBatchKey::erasedSize,
                     KZBatchKey::notTrashedBecauseFolderNotEmpty, KZBatchKey::permissionsItems}));
    QByteArrayList queued;
    for (const QVariant &path : batch.value(KZBatchKey::permissionsItems).toList()) {
        EXPECT_EQ(path.metaType().id(), QMetaType::QByteArray);
        queued.append(path.toByteArray());
    }
    std::sort(queued.begin(), queued.end());
    EXPECT_EQ(queued, (QByteArrayList{f.trash.itemPath("d/p3"), f.trash.itemPath("p1"),
                                      f.trash.itemPath("p2")}));
    // The ten locked items, plain and d/free went before the hand-over; the helper goes on
    // from there.
    EXPECT_EQ(batch.value(KZBatchKey::erasedCount).toULongLong(), 12u);
    EXPECT_EQ(batch.value(KZBatchKey::eraseSecurely).toBool(), false);
    EXPECT_EQ(batch.value(KZBatchKey::notTrashedBecauseFolderNotEmpty).toList(),
              QVariantList{f.trash.itemPath("d")});
    KZEraseSummary summary = f.ended.constLast();
    EXPECT_TRUE(summary.handedToHelper);
    EXPECT_EQ(summary.erasedCount, 15u);
    EXPECT_EQ(summary.notErasedCount, 0u);
    EXPECT_EQ(helper->stops, 1); // the end's Stop reaches a client that has finished
    EXPECT_FALSE(f.engine->isSecuredErasing());

    // "Skip", then "Skip" for all: the locked items stay with their parents, except the hidden
    // one, which is unlocked without a question. A URL already skipped is not asked again.
    f.script->clear();
    f.trash.addFolder("folder", {"deeper/.hidden", "deeper/x"});
    lock(f.trash.itemPath("folder/deeper/.hidden"));
    lock(f.trash.itemPath("folder/deeper/x"));
    const QByteArray twice = f.trash.addFile("twice");
    lock(twice);
    f.defaults.setValue(KZUserDefaults::kShowAlert, true);
    f.script->enqueue({KZAlertFirstButtonReturn}); // the confirmation
    f.script->enqueue({KZAlertFirstButtonReturn, false});
    f.script->enqueue({KZAlertFirstButtonReturn, true});
    ASSERT_TRUE(f.run({KZEraseRecord::smartErase(
        {f.trash.itemURL("twice"), f.trash.itemURL("twice"), f.trash.itemURL("folder")})}));
    EXPECT_EQ(
        f.script->shownIdentifiers(),
        (QStringList{KZBWAlert::kConfirmationIdentifier, KZDeleteItems::kLockedQuestionIdentifier,
                     KZDeleteItems::kLockedQuestionIdentifier}));
    summary = f.ended.constLast();
    EXPECT_EQ(summary.erasedCount, 1u);
    EXPECT_EQ(summary.skippedLockedCount, 2u);
    EXPECT_FALSE(summary.handedToHelper);
    EXPECT_FALSE(exists(f.trash.itemPath("folder/deeper/.hidden")));
    EXPECT_TRUE(exists(twice) && exists(f.trash.itemPath("folder/deeper/x")));
    EXPECT_EQ(summary.notTrashed,
              (QByteArrayList{f.trash.itemPath("folder/deeper"), f.trash.itemPath("folder")}));

    // Without a way to reach the helper the whole batch counts as not erased.
    KZHelperClient::setFactory({});
    f.script->clear();
    f.script->enqueue({KZAlertFirstButtonReturn}); // the confirmation
    f.script->answerAlways(KZDeleteItems::kLockedQuestionIdentifier, {KZAlertFirstButtonReturn});
    f.script->answerAlways(KZDeleteItems::kNoPermissionsQuestionIdentifier, eraseForAll());
    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    EXPECT_EQ(f.ended.constLast().notErasedCount, 3u);
    EXPECT_TRUE(f.ended.constLast().helperError.has_value());
    EXPECT_TRUE(f.script->shownIdentifiers().contains(errors("userNotAuthorized")));
    EXPECT_TRUE(exists(f.trash.itemPath("p1")) && exists(f.trash.infoPath("p1")));
}

TEST(DeleteItems, FoldersTheHelperEmptiedAreNotReportedAsLeft)
{
    KZEraseFixture f;
    auto helper = std::make_shared<KZHelperRecord>();
    helper->removeItems = true;
    f.installHelper(helper);
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    f.trash.addFolder("d", {"guarded"});
    f.fileManager.onUnlink = [](const QByteArray &name) {
        return name == "guarded" ? EACCES : 0;
    };
    f.script->answerAlways(KZDeleteItems::kNoPermissionsQuestionIdentifier, eraseForAll());

    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    ASSERT_EQ(helper->batches.size(), 1);
    const KZEraseSummary summary = f.ended.constLast();
    EXPECT_FALSE(exists(f.trash.itemPath("d")));
    EXPECT_TRUE(summary.notTrashed.isEmpty());
    EXPECT_TRUE(summary.everythingErased());
}

TEST(DeleteItems, AFolderRestoredWhileItIsEmptiedLosesAtMostARecheckOfFilesAfterItLeft)
{
    KZEraseFixture f;
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    constexpr int kFiles = 300;
    QList<QByteArray> contents;
    for (int i = 0; i < kFiles; ++i)
        contents.append("a/f" + QByteArray::number(1000 + i));
    contents.append("a/sub/entered later");
    f.trash.addFolder("moving", contents);
    f.trash.addFile("stays put");
    const QByteArray restored = f.sandbox.path(QStringLiteral("restored")).toLocal8Bit();
    int before = 0;
    int after = 0;
    f.fileManager.onUnlink = [&](const QByteArray &name) {
        if (!name.startsWith("f1"))
            return 0;
        // A restore takes the folder out of the Trash while its files are being removed.
        if (++before == 20)
            ::rename(f.trash.itemPath("moving").constData(), restored.constData());
        else if (before > 20)
            ++after;
        return 0;
    };
    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    const KZEraseSummary summary = f.ended.constLast();
    ASSERT_TRUE(exists(restored + "/a"));
    EXPECT_LE(after, 32) << "files removed after the folder had left the Trash";
    QDir left(QString::fromLocal8Bit(restored + "/a"));
    EXPECT_GE(left.entryList(QDir::Files).size(), kFiles - 20 - 32);
    EXPECT_TRUE(exists(restored + "/a/sub/entered later")) << "no folder entered once it left";
    // Gone from the Trash is not a failure, and nothing of it is reported as left behind.
    EXPECT_EQ(summary.otherErrorCount, 0u);
    EXPECT_TRUE(summary.failures.isEmpty());
    EXPECT_TRUE(summary.notTrashed.isEmpty()) << summary.notTrashed.join(' ').toStdString();
    EXPECT_FALSE(exists(f.trash.itemPath("stays put")));
}

TEST(DeleteItems, StopLeavesTheRestAndStartsNoBatch)
{
    KZEraseFixture f;
    auto helper = std::make_shared<KZHelperRecord>();
    f.installHelper(helper);
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    f.trash.addFile("protected");
    f.script->answerAlways(KZDeleteItems::kNoPermissionsQuestionIdentifier, eraseForAll());
    QList<QByteArray> contents{"sub/inner", "empty/"};
    for (int i = 0; i < 20; ++i)
        contents.append("file" + QByteArray::number(i));
    f.trash.addFolder("many", contents);

    QSemaphore reached;
    QSemaphore proceed;
    f.fileManager.onUnlink = [&](const QByteArray &name) {
        if (name == "file5") {
            reached.release();
            proceed.acquire();
        }
        return name == "protected" ? EPERM : 0;
    };
    ASSERT_TRUE(f.engine->prepareToEraseWithArray(
        {KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return reached.available() > 0; }));
    f.engine->progressCntrl()->stopAction();
    proceed.release();
    ASSERT_TRUE(f.waitForEnd());

    const KZEraseSummary summary = f.ended.constLast();
    EXPECT_TRUE(summary.stoppedByUser);
    EXPECT_TRUE(helper->batches.isEmpty());
    // Neither the rest of the first pass nor the folders' pass ran.
    EXPECT_TRUE(exists(f.trash.itemPath("many/sub/inner")));
    EXPECT_TRUE(exists(f.trash.itemPath("many/empty")));
    EXPECT_LT(summary.erasedCount, 21u);
}

TEST(DeleteItems, ProgressShowsOnlyOnceTheJobHasRunHalfASecond)
{
    struct Display : KZProgressDisplay
    {
        explicit Display(QStringList *list)
            : calls(list)
        {}
        void open() override { calls->append(QStringLiteral("open")); }
        void update(const QString &title, const QString &count, const QString &, quint64 value,
                    quint64) override
        {
            calls->append(QStringLiteral("update %1 %2 %3").arg(title, count).arg(value));
        }
        void close() override { calls->append(QStringLiteral("close")); }
        QStringList *calls;
    };

    KZEraseFixture f;
    double clock = 1000.0;
    f.makeEngine([&clock] { return clock; });
    QStringList calls;
    f.engine->setProgressDisplayFactory(
        [&calls](KZProgressUI *) { return std::make_unique<Display>(&calls); });
    f.defaults.setValue(KZUserDefaults::kShowAlert, false);
    QSemaphore reached;
    QSemaphore proceed;
    f.fileManager.onUnlink = [&](const QByteArray &name) {
        if (name == "held") {
            reached.release();
            proceed.acquire();
        }
        return name == "busy" ? EBUSY : 0;
    };
    const auto job = [&](double endsAt) {
        calls.clear();
        f.script->clear();
        f.trash.addFile("held");
        f.trash.addFile("busy");
        clock = 1000.0;
        EXPECT_TRUE(f.engine->prepareToEraseWithArray(
            {KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
        EXPECT_TRUE(QTest::qWaitFor([&] { return reached.available() > 0; }));
        reached.acquire();
        for (clock = 1000.2; clock < endsAt; clock += 0.2)
            f.engine->updateProgressStatus();
        proceed.release();
        EXPECT_TRUE(QTest::qWaitFor([&] { return !f.engine->isWorking(); }));
        clock = endsAt + 0.2;
        f.engine->updateProgressStatus();
        EXPECT_FALSE(f.ended.isEmpty());
    };

    // A 0.3 s job: no display at all, and its end still says what is due.
    job(1000.3);
    EXPECT_TRUE(calls.isEmpty()) << calls.join(QLatin1Char(',')).toStdString();
    EXPECT_EQ(f.script->shownIdentifiers(), QStringList{QStringLiteral("Busy_Sing")});

    // A longer one: open at the 0.6 s tick, drawn at every tick, closed at the end.
    job(1000.9);
    ASSERT_GE(calls.size(), 4);
    EXPECT_EQ(calls[0], QStringLiteral("open"));
    EXPECT_EQ(calls[1],
              QStringLiteral("update %1 0 0")
                  .arg(KZLocalizedFormat(QStringLiteral("erasing"), {QStringLiteral("Home")})));
    EXPECT_EQ(calls.constLast(), QStringLiteral("close"));
    EXPECT_EQ(calls.count(QStringLiteral("open")) + calls.count(QStringLiteral("close")), 2);
}

TEST(DeleteItems, RemovalTestAsksTheHoldingFolderAndNeverOpensOrChangesTheItem)
{
    REQUIRE_ROOT();
    KZEraseFixture f;
    const QByteArray base = f.sandbox.path(QStringLiteral("perm")).toLocal8Bit();
    const QByteArray open = base + "/open";     // everyone may write: rm -f works there
    const QByteArray sticky = base + "/sticky"; // everyone may write, but only their own
    const QByteArray closed = base + "/closed"; // root's, nobody else may write
    for (const QByteArray &folder : {open, sticky, closed})
        KZTestFiles::makeFolders(folder);
    ::chmod(open.constData(), 0777);
    ::chmod(sticky.constData(), 01777);
    KZTestUser::makeTraversable(open.constData());
    const QByteArray rootsFile = open + "/root's";
    const QByteArray ownReadOnly = open + "/own read-only";
    KZTestFiles::writeFile(rootsFile, "r");
    ::chmod(rootsFile.constData(), 0644);
    KZTestFiles::writeFile(ownReadOnly, "o");
    ::chown(ownReadOnly.constData(), KZTestUser::kNobody, KZTestUser::kNobody);
    ::chmod(ownReadOnly.constData(), 0444);
    ::mkfifo((open + "/fifo").constData(), 0600);
    ::mknod((open + "/device").constData(), S_IFCHR | 0600, makedev(1, 3));
    ::symlink((closed + "/inside").constData(), (open + "/link").constData());
    KZTestFiles::writeFile(sticky + "/root's", "r");
    KZTestFiles::writeFile(sticky + "/own", "o");
    ::chown((sticky + "/own").constData(), KZTestUser::kNobody, KZTestUser::kNobody);
    KZTestFiles::writeFile(closed + "/inside", "i");
    ::chmod((closed + "/inside").constData(), 0666);

    const QByteArrayList paths{rootsFile,        ownReadOnly,        open + "/fifo",
                               open + "/device", open + "/link",     QByteArray(),
                               sticky + "/own",  sticky + "/root's", closed + "/inside"};
    const int answers = KZTestUser::runAs(KZTestUser::kNobody, [&] {
        ::alarm(10); // a test that blocks on the FIFO fails the test, not hangs it
        int bits = 0;
        for (qsizetype i = 0; i < paths.size(); ++i)
            bits |= f.engine->checkPermissions(paths[i]) ? 1 << i : 0;
        return bits;
    });
    // Only someone else's item in a sticky folder, and anything in a folder the user may not
    // write, fail (that the file itself is writable does not matter); nothing is changed.
    EXPECT_EQ(answers, 0b001111111);
    EXPECT_EQ(KZItemAttributes::statItem(ownReadOnly)->stx_mode & 0777, 0444);
    EXPECT_EQ(KZItemAttributes::statItem(rootsFile)->stx_mode & 0777, 0644);
}

TEST(DeleteItems, ALogThatCannotBeOpenedIsAskedAboutAndNoCancels)
{
    KZEraseFixture f;
    f.defaults.setValue(KZUserDefaults::kWriteLog, true);
    KZTestFiles::writeFile(f.logFolder(), "a file where the folder should be");
    const QByteArray item = f.trash.addFile("item");
    for (const int goOn : {KZAlertSecondButtonReturn, KZAlertFirstButtonReturn}) {
        f.script->enqueue({KZAlertFirstButtonReturn}); // the confirmation
        f.script->enqueue({goOn});                     // erase without a log?
        EXPECT_EQ(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}),
                  goOn == KZAlertFirstButtonReturn);
        EXPECT_EQ(exists(item), goOn != KZAlertFirstButtonReturn);
    }
    EXPECT_EQ(f.script->shownIdentifiers().count(QStringLiteral("open_log_file_error")), 2);
    EXPECT_EQ(f.stopWorkingPosted, 2); // the refusal, and the end of the job
}

TEST(DeleteItems, AFailedSecureEraseKeepsTheInfoFile)
{
    REQUIRE_ROOT();
    if (access("/usr/bin/srm", X_OK) != 0)
        GTEST_SKIP() << "srm is not installed";
    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
    const QByteArray item = trash.addFile("pinned");
    KZTestFiles::ImmutableGuard guard(item);
    if (!guard.isSet())
        GTEST_SKIP() << "no immutable flag here";
    EXPECT_TRUE(KZCommonFlleUtilties::sharedControl().secureErase(trash.itemURL("pinned"),
                                                                  KZFileManager::defaultManager()));
    EXPECT_TRUE(exists(item) && exists(trash.infoPath("pinned")));
}

TEST(DeleteItems, ASecondRequestDuringTheConfirmationOrTheWalkIsRefusedWithABeep)
{
    KZEraseFixture f;
    f.trash.addFile("first");
    f.trash.addFile("second");
    QList<KZJobState> states;
    QObject::connect(f.engine.get(), &KZDeleteItems::jobStateChanged, f.engine.get(),
                     [&](KZJobState state) { states.append(state); });
    const KZEraseRequest request{KZEraseFixture::location(f.trash, QStringLiteral("Home"))};

    // The confirmation runs a nested event loop: a click that arrives meanwhile lands here.
    bool refusedWhileConfirming = false;
    KZScriptedAlertBackend::Answer confirm(KZAlertFirstButtonReturn);
    confirm.waitUntil = [&] {
        EXPECT_EQ(f.engine->jobState(), KZJobState::Confirming);
        refusedWhileConfirming = !f.engine->prepareToEraseWithArray(request);
        return true;
    };
    f.script->enqueue(confirm);

    QSemaphore reached;
    QSemaphore proceed;
    f.fileManager.onUnlink = [&](const QByteArray &name) {
        if (name == "first") {
            reached.release();
            proceed.acquire();
        }
        return 0;
    };
    ASSERT_TRUE(f.engine->prepareToEraseWithArray(request));
    EXPECT_TRUE(refusedWhileConfirming);
    ASSERT_TRUE(QTest::qWaitFor([&] { return reached.available() > 0; }));
    EXPECT_EQ(f.engine->jobState(), KZJobState::Running);
    EXPECT_FALSE(f.engine->prepareToEraseWithArray(request));
    proceed.release();
    ASSERT_TRUE(f.waitForEnd());

    EXPECT_EQ(f.engine->jobState(), KZJobState::Idle);
    EXPECT_EQ(states,
              (QList<KZJobState>{KZJobState::Confirming, KZJobState::Running, KZJobState::Idle}));
    // One confirmation, one job, both refusals heard.
    EXPECT_EQ(f.script->shownIdentifiers().count(QStringLiteral("deleteMess")), 1);
    EXPECT_EQ(f.ended.size(), 1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return f.script->beepCount() >= 2; }));
    EXPECT_TRUE(entries(f.trash.files()).isEmpty());
}

// Each system call the erase makes, failed where it hurts: what was not erased stays with its
// info file, and the failure reaches the summary naming the item with a reason in plain words.
TEST(DeleteItems, EveryFailedSystemCallLeavesItsItemWithItsInfoAndNamesItInTheSummary)
{
    struct Case
    {
        const char *call;
        const char *entry; // the entry the call is about
        int errnum;
        bool secure;
        QByteArrayList stays;  // top-level items that must stay
        QByteArray failedPath; // relative to files/: the path the summary names
        const char *reason;    // in the failure's reason; the errno's text when null
    };
    const bool haveSrm = access("/usr/bin/srm", X_OK) == 0;
    const QList<Case> cases = {
        {"statx", "doomed", EIO, false, {"doomed"}, "doomed", nullptr},
        {"unlinkat", "doomed", EROFS, false, {"doomed"}, "doomed", nullptr},
        {"unlinkat", "leaf", ENOSPC, false, {"box"}, "box/inner/leaf", nullptr},
        {"openat2", "inner", EIO, false, {"box"}, "box/inner", nullptr},
        {"getdents64", "inner", EIO, false, {"box"}, "box/inner", nullptr},
        // The Trash itself cannot be opened: everything stays, the Trash is named.
        {"openat", "files", EIO, false, {"doomed", "box", "fine"}, "", nullptr},
        // Its real path cannot be read, so nothing proves it is a Trash: nothing is removed.
        {"readlinkat",
         "files",
         EIO,
         false,
         {"doomed", "box", "fine"},
         "doomed",
         "not inside a Trash"},
        {"spawn", "doomed", EAGAIN, true, {"doomed"}, "doomed", nullptr},
        {"pipe2", "", EMFILE, true, {"doomed", "box", "fine"}, "doomed", nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.call) + " " + c.entry);
        if (c.secure && !haveSrm)
            continue;
        KZEraseFixture f;
        f.trash.addFile("doomed");
        f.trash.addFile("fine");
        f.trash.addFolder("box", {"inner/leaf", "note"});
        f.fileManager.failCall(c.call, c.errnum, c.entry);
        f.script->enqueue({c.secure ? KZAlertSecondButtonReturn : KZAlertFirstButtonReturn});
        ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
        EXPECT_GT(f.fileManager.failedCount(), 0);
        const KZEraseSummary summary = f.ended.constLast();
        EXPECT_FALSE(summary.everythingErased());
        for (const QByteArray &name : {QByteArray("doomed"), QByteArray("box"), QByteArray("fine")})
            EXPECT_EQ(exists(f.trash.itemPath(name)), c.stays.contains(name)) << name.constData();
        for (const QByteArray &name : c.stays)
            EXPECT_TRUE(exists(f.trash.infoPath(name))) << name.constData();
        ASSERT_GE(summary.otherErrorCount, 1u);
        ASSERT_FALSE(summary.failures.isEmpty());
        const QByteArray expected
            = c.failedPath.isEmpty() ? f.trash.files() : f.trash.itemPath(c.failedPath);
        const auto named = std::find_if(
            summary.failures.cbegin(), summary.failures.cend(),
            [&](const KZEraseSummary::Failure &failure) { return failure.path == expected; });
        ASSERT_NE(named, summary.failures.cend()) << summary.failures.constFirst().path.constData();
        const QString reason
            = c.reason ? QLatin1String(c.reason) : QString::fromLocal8Bit(std::strerror(c.errnum));
        EXPECT_TRUE(named->reason.contains(reason)) << named->reason.toStdString();
        EXPECT_FALSE(named->reason.contains(QLatin1String("Domain")))
            << named->reason.toStdString();
    }
}

// A log that loses lines (a full disk) loses them, never the erase, and the summary says why.
TEST(DeleteItems, ALogThatCannotBeWrittenIsSaidInTheSummaryAndTheErasedItemsStayErased)
{
    KZEraseFixture f;
    f.defaults.setValue(KZUserDefaults::kWriteLog, true);
    f.trash.addFile("item");
    f.fileManager.failCall("write", ENOSPC);
    f.script->enqueue({KZAlertFirstButtonReturn});
    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    const KZEraseSummary summary = f.ended.constLast();
    EXPECT_EQ(summary.erasedCount, 1u);
    EXPECT_FALSE(exists(f.trash.itemPath("item")));
    EXPECT_EQ(summary.logWriteError, ENOSPC);
    EXPECT_FALSE(summary.logFile.isEmpty());
}
