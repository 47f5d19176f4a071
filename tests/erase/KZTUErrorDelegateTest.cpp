#include "erase/KZTUErrorDelegate.h"
#include "erase/KZScriptedAlertBackend.h"
#include "format/KZLocalizedStrings.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>

namespace {

QString errors(const char *key)
{
    return KZLocalizedStringFromTable(QLatin1String(key), KZLocalizedStrings::kErrorsTable);
}

class ErrorDelegate : public ::testing::Test
{
protected:
    void SetUp() override { presenter.setBackend(script); }

    std::shared_ptr<KZScriptedAlertBackend> script = std::make_shared<KZScriptedAlertBackend>();
    KZTUErrorDelegate presenter;
};

} // namespace

TEST_F(ErrorDelegate, ErrorsAreLookedUpInTheErrorsTableAndFilled)
{
    presenter.showError(QStringLiteral("Busy_Plur"), QString(), {QStringLiteral("3")});
    presenter.showError(QStringLiteral("no_such_key"), QStringLiteral("also_missing"));
    presenter.showError({{QStringLiteral("error"), QStringLiteral("userNotAuthorized")},
                         {QStringLiteral("message"), QStringLiteral("")},
                         {QStringLiteral("additionalName"), QStringList()}});

    const auto shown = script->shown();
    ASSERT_EQ(shown.size(), 3);
    EXPECT_EQ(shown[0].request.messageText, KZLocalizedStrings::replaceContentOfString(
                                                errors("Busy_Plur"), {QStringLiteral("3")}));
    EXPECT_TRUE(shown[0].request.messageText.contains(QStringLiteral("3")));
    EXPECT_TRUE(shown[0].request.informativeText.isEmpty());
    EXPECT_EQ(shown[0].request.style, KZAlertStyle::Warning);
    EXPECT_TRUE(shown[0].request.buttons.isEmpty());
    // Missing keys show as themselves.
    EXPECT_EQ(shown[1].request.messageText, QStringLiteral("no_such_key"));
    EXPECT_EQ(shown[1].request.informativeText, QStringLiteral("also_missing"));
    // The older dictionary shape reaches the same alert.
    EXPECT_EQ(shown[2].request.identifier, QStringLiteral("userNotAuthorized"));
    EXPECT_EQ(shown[2].request.messageText, errors("userNotAuthorized"));
    // A message needs no answer, so it takes none from the script.
    EXPECT_EQ(script->unexpectedCount(), 0);
}

TEST_F(ErrorDelegate, NamesFillPlacesInOrderAndSurplusIsDropped)
{
    EXPECT_EQ(KZTUErrorDelegate::replaceContentOfString(QStringLiteral("%@ %@ %@"),
                                                        {QStringLiteral("a"), QStringLiteral("b")}),
              QStringLiteral("a b %@"));
    presenter.showError(QStringLiteral("Busy_Plur"), {},
                        {QStringLiteral("7"), QStringLiteral("8"), QStringLiteral("9")});
    const QString text = script->shown().constFirst().request.messageText;
    EXPECT_TRUE(text.contains(QStringLiteral("7")));
    EXPECT_FALSE(text.contains(QStringLiteral("8")));
}

TEST_F(ErrorDelegate, QuestionsAddThreeButtonsAndKeepTheAnswer)
{
    script->enqueue({KZAlertSecondButtonReturn});
    const int answer
        = presenter.askToTheUser(QStringLiteral("open_log_file_error"), QString(), {},
                                 QStringLiteral("yes_btn"), QStringLiteral("no_btn"), QString());
    EXPECT_EQ(answer, 1001);
    EXPECT_EQ(presenter.userChoice(), 1001);
    const KZAlertRequest asked = script->shown().constFirst().request;
    EXPECT_EQ(asked.buttons, (QStringList{errors("yes_btn"), errors("no_btn"), QString()}));
    EXPECT_EQ(asked.identifier, QStringLiteral("open_log_file_error"));
    // Nobody to answer: the second button, which changes nothing.
    EXPECT_EQ(asked.cancelAnswer, KZAlertSecondButtonReturn);

    // An error shown between questions does not use up their answers.
    script->enqueue({KZAlertThirdButtonReturn});
    presenter.showError(QStringLiteral("Busy_Sing"));
    EXPECT_EQ(presenter.askToTheUser(QStringLiteral("disclaimer"), {}, {},
                                     QStringLiteral("agree_btn"), QStringLiteral("disagree_btn"),
                                     {}),
              1002);
}

TEST_F(ErrorDelegate, QuestionFromAWorkerThreadAnswersLikeOneFromTheMainThread)
{
    script->answerAlways(QStringLiteral("disclaimer"), {KZAlertThirdButtonReturn});
    const auto ask = [this] {
        return presenter.askToTheUser(QStringLiteral("disclaimer"), {}, {},
                                      QStringLiteral("agree_btn"), QStringLiteral("disagree_btn"),
                                      QStringLiteral("okay_btn"));
    };
    const int onMain = ask();

    int onWorker = 0;
    std::unique_ptr<QThread> worker(QThread::create([&] { onWorker = ask(); }));
    worker->start();
    // The worker waits for the main thread, which must keep its event loop running.
    while (!worker->wait(QDeadlineTimer(10)))
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(onMain, 1002);
    EXPECT_EQ(onWorker, 1002);
    const auto shown = script->shown();
    ASSERT_EQ(shown.size(), 2);
    // Both were shown on the main thread.
    EXPECT_EQ(shown[0].thread, QThread::currentThreadId());
    EXPECT_EQ(shown[1].thread, QThread::currentThreadId());
}

TEST_F(ErrorDelegate, EntriesWithASettingNameShowNothing)
{
    presenter.showInformationalPanelWithView(QStringLiteral("disclaimer"), QString(), {},
                                             QStringLiteral("askUnistallOldBinwise"));
    EXPECT_EQ(presenter.askToTheUserWithView(QStringLiteral("disclaimer"), QString(), {},
                                             QStringLiteral("yes_btn"), QStringLiteral("no_btn"),
                                             QString(), QStringLiteral("askUnistallOldBinwise")),
              0);
    EXPECT_TRUE(script->shown().isEmpty());
    EXPECT_TRUE(presenter.lastPrefStringUsed().isEmpty());
}

TEST_F(ErrorDelegate, AWindowMakesASheetThatIsNotWaitedFor)
{
    QObject window;
    presenter.showErrorForWindow(&window, QStringLiteral("srm_not_available"),
                                 QStringLiteral("srm_not_available_msg"));
    presenter.showInformationalPanelForWindow(nullptr, QStringLiteral("cantCreateMenu"));
    const auto shown = script->shown();
    ASSERT_EQ(shown.size(), 2);
    EXPECT_TRUE(shown[0].wasSheet);
    EXPECT_EQ(shown[0].request.window.data(), &window);
    EXPECT_EQ(shown[0].request.informativeText, errors("srm_not_available_msg"));
    EXPECT_FALSE(shown[1].wasSheet);
    EXPECT_EQ(shown[1].request.style, KZAlertStyle::Warning);
}
