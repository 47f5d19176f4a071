#include "KZEraseTestSupport.h"
#include "format/KZLocalizedStrings.h"
#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

QString errors(const char *key)
{
    return KZLocalizedStringFromTable(QLatin1String(key), KZLocalizedStrings::kErrorsTable);
}

KZBWAlert::OtherInfo singleDisk()
{
    return {QStringLiteral("title"), QStringLiteral("deleteMess"), QStringLiteral("single_disk"),
            false};
}

} // namespace

TEST(BWAlert, TotalsComeBackOnlyWhenEveryCalculationFinishedFirst)
{
    KZEraseFixture f;
    f.trash.addFolder("folder", {"a", "b/c"});
    f.trash.addFile("file");
    const KZEraseRequest request{KZEraseFixture::location(f.trash, QStringLiteral("Home"))};
    quint64 expectedCount = 0;
    const quint64 expectedSize = KZFilesUtilities::sharedControl()
                                     .iterateFolderForSize(f.trash.filesURL(), &expectedCount)
                                     .totalFileSize;

    // Answered at once: the first tick never came, nothing is handed back.
    f.script->enqueue({KZAlertFirstButtonReturn});
    std::optional<KZBWAlert::CalculationInfo> totals;
    EXPECT_EQ(f.alert.showAlertWithTrashInfo(request, singleDisk(), &totals), 1000);
    EXPECT_FALSE(totals);
    EXPECT_EQ(f.script->shown().constLast().accessoryTextAtAnswer,
              KZLocalizedString(QStringLiteral("Gathering_info")));

    // Answered once the line is written: the totals come back.
    KZScriptedAlertBackend::Answer late{KZAlertSecondButtonReturn};
    late.waitUntil = [&f] {
        return !f.alert.sizeIsWorking();
    };
    f.script->enqueue(late);
    EXPECT_EQ(f.alert.showAlertWithTrashInfo(request, singleDisk(), &totals), 1001);
    ASSERT_TRUE(totals);
    EXPECT_EQ(totals->itemsCount, expectedCount);
    EXPECT_EQ(totals->itemsSize, expectedSize);
    EXPECT_EQ(f.alert.index(), 1u);

    // A record that carries its totals: the line is there before the alert, no thread starts,
    // and since none finished nothing is handed back.
    KZEraseRecord measured = request.constFirst();
    measured.itemsSize = 5000;
    measured.itemsCount = 3;
    f.script->enqueue({KZAlertFirstButtonReturn});
    f.alert.showAlertWithTrashInfo({measured}, singleDisk(), &totals);
    EXPECT_FALSE(totals);
    EXPECT_EQ(f.alert.index(), 0u);
    EXPECT_TRUE(
        f.script->shown().constLast().accessoryTextAtAnswer.contains(QLatin1String(" 3 items.")));
}

TEST(BWAlert, CalculationsRunOnABoundedPoolAndEndOnceTheAnswerIsGiven)
{
    KZEraseFixture f;
    KZEraseRequest request;
    for (int t = 0; t < 6; ++t) {
        KZTestTrash trash(f.sandbox.path(QStringLiteral("trash-%1").arg(t)).toLocal8Bit());
        QList<QByteArray> contents;
        for (int i = 0; i < 400; ++i)
            contents.append("sub" + QByteArray::number(i % 8) + "/f" + QByteArray::number(i));
        trash.addFolder("folder", contents);
        request.append(KZEraseFixture::location(trash, QStringLiteral("T%1").arg(t)));
    }
    // Answered once every record's calculation has been handed out.
    int most = 0;
    KZScriptedAlertBackend::Answer answer{KZAlertFirstButtonReturn};
    answer.waitUntil = [&] {
        most = std::max(most, f.alert.calculationsRunning());
        return f.alert.index() == quint64(request.size());
    };
    f.script->enqueue(answer);
    std::optional<KZBWAlert::CalculationInfo> totals;
    KZBWAlert::OtherInfo all{QStringLiteral("title"), QStringLiteral("deleteMess"),
                             QStringLiteral("all_disks"), false};
    EXPECT_EQ(f.alert.showAlertWithTrashInfo(request, all, &totals), 1000);
    EXPECT_LE(most, KZBWAlert::kCalculationThreads);
    // The answer gave the rest up; nothing of this confirmation outlives the wait.
    f.alert.waitForCalculations();
    EXPECT_EQ(f.alert.calculationsRunning(), 0);
}

TEST(BWAlert, MissingSecureToolIsReportedOncePerInstallation)
{
    KZEraseFixture f;
    KZBWAlert alert(
        {&f.presenter, &f.defaults, nullptr, f.sandbox.path(QStringLiteral("no/srm")), {}});
    f.defaults.setValue(KZUserDefaults::kShowSRMNotAvailable, true);
    const KZEraseRequest request{KZEraseFixture::location(f.trash, QStringLiteral("Home"))};
    f.script->answerAlways(KZBWAlert::kConfirmationIdentifier, {KZAlertThirdButtonReturn});
    std::optional<KZBWAlert::CalculationInfo> totals;
    alert.showAlertWithTrashInfo(request, singleDisk(), &totals);
    alert.showAlertWithTrashInfo(request, singleDisk(), &totals);

    EXPECT_EQ(f.script->shownIdentifiers(),
              (QStringList{QStringLiteral("srm_not_available"), KZBWAlert::kConfirmationIdentifier,
                           KZBWAlert::kConfirmationIdentifier}));
    EXPECT_EQ(f.script->shown()[0].request.informativeText, errors("srm_not_available_msg"));
    EXPECT_TRUE(f.script->shown()[1].request.buttons[1].isEmpty());
    EXPECT_FALSE(f.defaults.boolForKey(KZUserDefaults::kShowSRMNotAvailable));
}

TEST(BWAlert, QuestionWithSuppressionBoxTurnsItsSettingOff)
{
    KZEraseFixture f;
    const QString setting = KZUserDefaults::kAskUnistallOldBinwise;
    f.defaults.setValue(setting, true);
    f.script->enqueue({KZAlertSecondButtonReturn, true});
    EXPECT_EQ(f.alert.askToTheUserWithOption(QStringLiteral("old_binwise_was_found"),
                                             QStringLiteral("old_binwise_was_found_mess"), {},
                                             QStringLiteral("dont_unistall_btn"),
                                             QStringLiteral("unistall_btn"), QString(), setting),
              1001);
    // The question is looked up in the "Errors" table.
    EXPECT_EQ(f.script->shown().constFirst().request.messageText, errors("old_binwise_was_found"));
    EXPECT_FALSE(f.defaults.boolForKey(setting));

    // With the setting off: 1000 at once, nothing shown.
    EXPECT_EQ(f.alert.askToTheUserWithOption(QStringLiteral("old_binwise_was_found"), {}, {}, {},
                                             {}, {}, setting),
              1000);
    EXPECT_EQ(f.script->shown().size(), 1);
}
