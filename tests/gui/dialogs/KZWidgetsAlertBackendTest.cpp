#include "gui/dialogs/KZWidgetsAlertBackend.h"
#include "KZAlertDriver.h"
#include "KZGuiTestSupport.h"
#include "KZTestSandbox.h"
#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "gui/dialogs/KZAlertDialog.h"
#include "gui/dialogs/KZSpinner.h"
#include "privileged/KZSecureAccess.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <thread>

namespace {

using Driver = std::function<void(KZAlertDialog *)>;

KZAlertRequest question(const QStringList &buttons, int cancelAnswer = KZAlertFirstButtonReturn)
{
    KZAlertRequest request;
    request.identifier = QStringLiteral("question");
    request.style = KZAlertStyle::Warning;
    request.messageText = QStringLiteral("\u201Cnotes.txt\u201D is locked.");
    request.informativeText = QStringLiteral("Do you want to erase it anyway?");
    request.buttons = buttons;
    request.checkBoxTitle = QStringLiteral("Apply to all");
    request.cancelAnswer = cancelAnswer;
    return request;
}

// Shows request through the backend as the engine does and lets user answer it.
KZAlertResponse ask(const KZAlertRequest &request, Driver user)
{
    bool shown = false;
    KZAlertDriver::whenShown(request.identifier, [&shown, &user](KZAlertDialog *dialog) {
        shown = true;
        user(dialog);
    });
    KZWidgetsAlertBackend backend;
    const KZAlertResponse response = backend.runModal(request);
    EXPECT_TRUE(shown);
    return response;
}

const QStringList kThree
    = {QStringLiteral("Skip"), QStringLiteral("Erase"), QStringLiteral("Later")};

} // namespace

TEST(WidgetsAlert, EachButtonReturnEscapeAndCloseAnswerTheirCodeWithTheBoxState)
{
    for (int answer :
         {KZAlertFirstButtonReturn, KZAlertSecondButtonReturn, KZAlertThirdButtonReturn}) {
        for (const bool tick : {false, true}) {
            const KZAlertResponse response = ask(question(kThree), [&](KZAlertDialog *dialog) {
                if (tick)
                    KZAlertDriver::click(dialog->checkBox());
                KZAlertDriver::click(dialog->button(answer));
            });
            EXPECT_EQ(response.answer, answer);
            EXPECT_EQ(response.checkBoxState, tick) << answer;
        }
    }

    // The default is the first, placed at the far right with the others leftwards in order;
    // Return takes it.
    const KZAlertResponse viaReturn = ask(question(kThree), [](KZAlertDialog *dialog) {
        QPushButton *first = dialog->button(KZAlertFirstButtonReturn);
        QPushButton *second = dialog->button(KZAlertSecondButtonReturn);
        QPushButton *third = dialog->button(KZAlertThirdButtonReturn);
        EXPECT_TRUE(first->isDefault());
        EXPECT_FALSE(second->isDefault());
        EXPECT_GT(first->x(), second->x());
        EXPECT_GT(second->x(), third->x());
        EXPECT_EQ(first->text(), QStringLiteral("Skip"));
        QTest::keyClick(dialog, Qt::Key_Return);
    });
    EXPECT_EQ(viaReturn.answer, KZAlertFirstButtonReturn);

    // Escape and the title bar's close button give the cancel answer.
    for (int cancel :
         {KZAlertFirstButtonReturn, KZAlertSecondButtonReturn, KZAlertThirdButtonReturn}) {
        EXPECT_EQ(ask(question(kThree, cancel),
                      [](KZAlertDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Escape); })
                      .answer,
                  cancel);
    }
    const KZAlertResponse closed
        = ask(question(kThree, KZAlertThirdButtonReturn), [](KZAlertDialog *dialog) {
              KZAlertDriver::click(dialog->checkBox());
              dialog->close();
          });
    EXPECT_EQ(closed.answer, KZAlertThirdButtonReturn);
    EXPECT_TRUE(closed.checkBoxState);
}

TEST(WidgetsAlert, AButtonWithoutATitleIsNotShownAndAMessageCanBeDismissed)
{
    // The engine's locked-item question: a third button without a title. A long file name
    // wraps instead of widening the alert; every character is there, only with places to break.
    KZAlertRequest locked = question({QStringLiteral("Skip"), QStringLiteral("Erase"), QString()});
    locked.messageText
        = QStringLiteral("\u201C%1.pdf\u201D is locked.").arg(QString(300, QLatin1Char('x')));
    const KZAlertResponse response = ask(locked, [&locked](KZAlertDialog *dialog) {
        QLabel *message = dialog->messageLabel();
        EXPECT_EQ(message->text().remove(QChar(0x200B)), locked.messageText);
        EXPECT_LT(dialog->width(), 800);
        EXPECT_GT(message->height(), 3 * message->fontMetrics().height());
        EXPECT_EQ(dialog->button(KZAlertThirdButtonReturn), nullptr);
        const QList<QPushButton *> shown = dialog->findChildren<QPushButton *>();
        EXPECT_EQ(shown.size(), 2);
        for (QPushButton *button : shown)
            EXPECT_FALSE(button->text().isEmpty());
        KZAlertDriver::click(dialog->button(KZAlertSecondButtonReturn));
    });
    EXPECT_EQ(response.answer, KZAlertSecondButtonReturn);

    // An untitled first button: the next shown one is the default.
    ask(question({QString(), QStringLiteral("Erase"), QStringLiteral("Later")}),
        [](KZAlertDialog *dialog) {
            EXPECT_TRUE(dialog->button(KZAlertSecondButtonReturn)->isDefault());
            QTest::keyClick(dialog, Qt::Key_Escape);
        });

    // A message has no buttons of its own: it is dismissed with OK, without a check box.
    KZAlertRequest message;
    message.identifier = QStringLiteral("message");
    message.messageText = QStringLiteral("<b>Not markup</b>");
    const KZAlertResponse dismissed = ask(message, [](KZAlertDialog *dialog) {
        EXPECT_EQ(dialog->checkBox(), nullptr);
        EXPECT_EQ(dialog->informativeLabel(), nullptr);
        // Names of files go into messages: they are shown as written.
        EXPECT_EQ(dialog->messageLabel()->textFormat(), Qt::PlainText);
        EXPECT_TRUE(dialog->messageLabel()->font().bold());
        const QList<QPushButton *> shown = dialog->visibleButtons();
        ASSERT_EQ(shown.size(), 1);
        EXPECT_EQ(shown.first()->text(),
                  KZLocalizedStringFromTable(QStringLiteral("okay_btn"),
                                             KZLocalizedStrings::kErrorsTable));
        KZAlertDriver::click(shown.first());
    });
    EXPECT_EQ(dismissed.answer, KZAlertFirstButtonReturn);
}

TEST(WidgetsAlert, TheLiveLineFollowsItsAccessoryWhileTheAlertIsUp)
{
    KZAlertAccessory accessory;
    accessory.setInfoText(QStringLiteral("Counting"));
    accessory.setBusy(true);
    KZAlertRequest request = question(kThree);
    request.style = KZAlertStyle::Critical;
    request.accessory = &accessory;
    bool active = false;
    ask(request, [&](KZAlertDialog *dialog) {
        active = QTest::qWaitForWindowActive(dialog);
        QLabel *line = dialog->accessoryLabel();
        ASSERT_NE(line, nullptr);
        KZSpinner *spinner = dialog->spinner();
        EXPECT_EQ(line->text(), QStringLiteral("Counting"));
        EXPECT_TRUE(spinner->isRunning());
        EXPECT_TRUE(spinner->isVisible());
        EXPECT_FALSE(line->font().bold());
        accessory.setInfoText(KZLocalizedString(QStringLiteral("Gathering_info")));
        EXPECT_EQ(line->text(), KZLocalizedString(QStringLiteral("Gathering_info")));
        KZGuiTestSupport::saveScreenshots(dialog, QStringLiteral("alert-gathering"));
        EXPECT_TRUE(spinner->isVisible());
        accessory.setInfoText(QStringLiteral("The Trash holds 12 MB in 40 items."), true);
        accessory.setBusy(false);
        EXPECT_EQ(line->text(), QStringLiteral("The Trash holds 12 MB in 40 items."));
        EXPECT_TRUE(line->font().bold());
        EXPECT_FALSE(spinner->isRunning());
        EXPECT_FALSE(spinner->isVisible());
        KZAlertDriver::click(dialog->button(KZAlertFirstButtonReturn));
    });
    // It came to the front by itself.
    EXPECT_TRUE(active);
}

TEST(WidgetsAlert, ASheetIsWindowModalOnItsWindowAndDoesNotWait)
{
    QWidget window;
    window.resize(500, 300);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));

    KZWidgetsAlertBackend backend;
    KZAlertRequest request;
    request.identifier = QStringLiteral("sheet");
    request.messageText = QStringLiteral("The log file can\u2019t be opened.");
    request.window = &window;
    backend.beginSheet(request); // returns before anyone answers
    QPointer<KZAlertDialog> sheet = KZAlertDriver::visibleAlert(QStringLiteral("sheet"));
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->parentWidget(), &window);
    EXPECT_EQ(sheet->windowModality(), Qt::WindowModal);
    KZAlertDriver::click(sheet->visibleButtons().value(0));
    EXPECT_TRUE(QTest::qWaitFor([&] { return sheet.isNull(); })); // gone once answered

    // Attached to something that is no window, it stands on its own, still without waiting.
    QObject notAWindow;
    request.window = &notAWindow;
    backend.beginSheet(request);
    sheet = KZAlertDriver::visibleAlert(QStringLiteral("sheet"));
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->parentWidget(), nullptr);
    QTest::keyClick(sheet, Qt::Key_Escape);
    EXPECT_TRUE(QTest::qWaitFor([&] { return sheet.isNull(); }));
}

TEST(WidgetsAlert, AQuestionFromAWorkerThreadIsAskedOnTheMainThread)
{
    KZTUErrorDelegate presenter;
    presenter.setBackend(std::make_shared<KZWidgetsAlertBackend>());
    std::atomic<int> answer{0};
    std::atomic<bool> done{false};
    bool onMainThread = false;
    bool workerWaited = false;
    // The alert runs its own loop on the main thread: the user answers from inside it.
    KZAlertDriver::whenShown(QStringLiteral("open_log_file_error"), [&](KZAlertDialog *dialog) {
        onMainThread = QThread::currentThread() == QApplication::instance()->thread()
                       && dialog->thread() == QThread::currentThread();
        workerWaited = !done.load();
        KZAlertDriver::click(dialog->button(KZAlertSecondButtonReturn));
    });
    std::thread worker([&] {
        answer = presenter.askToTheUser(QStringLiteral("open_log_file_error"), QString(), {},
                                        QStringLiteral("yes_btn"), QStringLiteral("no_btn"),
                                        QString());
        done = true;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return done.load(); }));
    worker.join();
    EXPECT_TRUE(onMainThread);
    EXPECT_TRUE(workerWaited);
    EXPECT_EQ(answer.load(), KZAlertSecondButtonReturn);
}

// The helper-install question as the application asks it: no helper is installed, so the
// user is asked; Cancel installs nothing and says nothing more.
TEST(WidgetsAlert, HelperInstallQuestion)
{
    KZTestSandbox sandbox;
    KZTUErrorDelegate &shared = KZTUErrorDelegate::sharedControl();
    const std::shared_ptr<KZAlertBackend> previous = shared.backend();
    shared.setBackend(std::make_shared<KZWidgetsAlertBackend>());

    KZSecureAccess::Paths paths;
    paths.helper = sandbox.path(QStringLiteral("not-installed/org.binwise.BinwiseHelper"));
    paths.actionsFolder = sandbox.path(QStringLiteral("actions"));
    paths.helperSource = sandbox.path(QStringLiteral("no-source"));
    paths.pkexec = sandbox.path(QStringLiteral("no-pkexec"));
    KZSecureAccess access(nullptr, paths);
    int alerts = 0;
    KZAlertDriver::whenShown(QStringLiteral("update_helper_tool"), [&](KZAlertDialog *dialog) {
        ++alerts;
        EXPECT_EQ(dialog->visibleButtons().size(), 2);
        EXPECT_EQ(dialog->button(KZAlertFirstButtonReturn)->text(),
                  KZLocalizedStringFromTable(QStringLiteral("okay_btn"),
                                             KZLocalizedStrings::kErrorsTable));
        KZGuiTestSupport::saveScreenshots(dialog, QStringLiteral("helper-install-question"));
        KZAlertDriver::click(dialog->button(KZAlertSecondButtonReturn));
    });
    const std::optional<KZError> error = access.authorizeTheAccess();
    shared.setBackend(previous);
    EXPECT_EQ(alerts, 1);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code, -60006);
}
