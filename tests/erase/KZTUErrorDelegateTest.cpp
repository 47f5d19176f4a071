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

} // namespace

TEST(ErrorDelegate, QuestionsFromAnyThreadAreAskedOnTheMainThreadAndSheetsAreNotWaitedFor)
{
    auto script = std::make_shared<KZScriptedAlertBackend>();
    KZTUErrorDelegate presenter;
    presenter.setBackend(script);
    QObject window;
    presenter.showErrorForWindow(&window, QStringLiteral("srm_not_available"),
                                 QStringLiteral("srm_not_available_msg"));
    // The entries with a setting name are empty on purpose: nothing is shown.
    presenter.showInformationalPanelWithView(QStringLiteral("disclaimer"), QString(), {},
                                             QStringLiteral("askUnistallOldBinwise"));
    EXPECT_EQ(presenter.askToTheUserWithView(QStringLiteral("disclaimer"), QString(), {},
                                             QStringLiteral("yes_btn"), QStringLiteral("no_btn"),
                                             QString(), QStringLiteral("askUnistallOldBinwise")),
              0);

    // The worker waits for the main thread, whose event loop must keep running meanwhile.
    script->answerAlways(QStringLiteral("open_log_file_error"), {KZAlertSecondButtonReturn});
    int onWorker = 0;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        onWorker = presenter.askToTheUser(QStringLiteral("open_log_file_error"), {}, {},
                                          QStringLiteral("yes_btn"), QStringLiteral("no_btn"), {});
    }));
    worker->start();
    while (!worker->wait(QDeadlineTimer(10)))
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(onWorker, 1001);
    EXPECT_EQ(presenter.userChoice(), 1001);

    const auto shown = script->shown();
    ASSERT_EQ(shown.size(), 2);
    EXPECT_TRUE(shown[0].wasSheet);
    EXPECT_EQ(shown[0].request.window.data(), &window);
    EXPECT_EQ(shown[0].request.informativeText, errors("srm_not_available_msg"));
    EXPECT_EQ(shown[1].thread, QThread::currentThreadId());
    EXPECT_FALSE(shown[1].wasSheet);
    EXPECT_EQ(shown[1].request.buttons,
              (QStringList{errors("yes_btn"), errors("no_btn"), QString()}));
    // Nobody to answer: the second button, which changes nothing.
    EXPECT_EQ(shown[1].request.cancelAnswer, KZAlertSecondButtonReturn);
    EXPECT_TRUE(presenter.lastPrefStringUsed().isEmpty());
}
