// The erase engine with its desktop faces: the confirmation, the questions and messages, and
// the progress window, answered by real input on a real X server.
#include "KZAlertDriver.h"
#include "KZEraseTestSupport.h"
#include "KZGuiTestSupport.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "gui/dialogs/KZAlertDialog.h"
#include "gui/dialogs/KZProgressWindow.h"
#include "gui/dialogs/KZSpinner.h"
#include "gui/dialogs/KZWidgetsAlertBackend.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSemaphore>
#include <QTest>

#include <gtest/gtest.h>

namespace {

const QString kConfirmation = KZBWAlert::kConfirmationIdentifier;

void useTheDesktopFaces(KZEraseFixture &f)
{
    f.presenter.setBackend(std::make_shared<KZWidgetsAlertBackend>());
    f.engine->setProgressDisplayFactory(
        [](KZProgressUI *ui) { return std::make_unique<KZProgressWindow>(ui); });
}

// Notes what the confirmation's live line reads when the window appears.
class ShownLine : public QObject
{
public:
    ShownLine() { qApp->installEventFilter(this); }
    ~ShownLine() override { qApp->removeEventFilter(this); }
    QString text;
    bool spinning = false;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *dialog = qobject_cast<KZAlertDialog *>(watched);
        if (event->type() == QEvent::Show && dialog && dialog->objectName() == kConfirmation
            && dialog->accessoryLabel()) {
            text = dialog->accessoryLabel()->text();
            spinning = dialog->spinner()->isRunning();
        }
        return false;
    }
};

// Lets a held walker go on however the test ends, so that the engine can always be stopped.
struct Release
{
    QSemaphore &semaphore;
    ~Release() { semaphore.release(100); }
};

} // namespace

TEST(DialogsEngine, TheConfirmationMeasuresLiveAndEmptyTrashErases)
{
    KZEraseFixture f;
    useTheDesktopFaces(f);
    f.defaults.setValue(KZUserDefaults::kShowSRMNotAvailable, false);
    f.trash.addFile("report.pdf", QByteArray(30000, 'r'));
    f.trash.addFile("notes.txt");
    f.trash.addFolder("photos", {"one.jpg", "two.jpg", "raw/", "raw/three.cr2"});

    ShownLine shown;
    QString finalLine;
    QStringList linesWhileUp;
    KZAlertAccessory *field = f.alert.infoField();
    QObject::connect(field, &KZAlertAccessory::changed, field, [&] {
        if (KZAlertDialog *dialog = KZAlertDriver::visibleAlert(kConfirmation))
            linesWhileUp.append(dialog->accessoryLabel()->text());
    });
    KZAlertDriver::whenShown(kConfirmation, [&](KZAlertDialog *dialog) {
        EXPECT_TRUE(dialog->messageLabel()->font().bold());
        EXPECT_EQ(dialog->messageLabel()->text(),
                  KZLocalizedFormat(QStringLiteral("eraseVol"), {QStringLiteral("Home")}));
        EXPECT_EQ(dialog->button(KZAlertFirstButtonReturn)->text(),
                  KZLocalizedString(QStringLiteral("empty_trash")));
        EXPECT_EQ(dialog->button(KZAlertThirdButtonReturn)->text(),
                  KZLocalizedString(QStringLiteral("cancel")));
        // The measuring threads finish while the window is up; the spinner goes with them.
        EXPECT_TRUE(QTest::qWaitFor([&] { return !dialog->spinner()->isRunning(); }, 10000));
        finalLine = dialog->accessoryLabel()->text();
        EXPECT_TRUE(dialog->accessoryLabel()->font().bold());
        KZGuiTestSupport::saveScreenshots(dialog, QStringLiteral("confirmation"));
        KZAlertDriver::click(dialog->button(KZAlertFirstButtonReturn));
    });

    ASSERT_TRUE(f.run({KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));

    EXPECT_EQ(shown.text, KZLocalizedString(QStringLiteral("Gathering_info")));
    EXPECT_TRUE(shown.spinning);
    // The line changed under the user's eyes, from the first text to the totals.
    EXPECT_TRUE(linesWhileUp.contains(finalLine)) << linesWhileUp.join(u'|').toStdString();
    EXPECT_NE(finalLine, shown.text);
    // What the line announced is what the walk then erased.
    const KZEraseSummary summary = f.ended.constLast();
    EXPECT_FALSE(summary.stoppedByUser);
    EXPECT_TRUE(finalLine.startsWith(QStringLiteral("The Trash of \u201CHome\u201D holds ")))
        << finalLine.toStdString();
    EXPECT_TRUE(finalLine.endsWith(QStringLiteral(" in %1 items.")
                                       .arg(KZNumberUtilities::sharedControl().numberToFormatString(
                                           double(summary.erasedCount)))))
        << finalLine.toStdString() << " / " << summary.erasedCount;
    EXPECT_TRUE(KZTestFiles::namesIn(f.trash.files()).isEmpty())
        << KZTestFiles::namesIn(f.trash.files()).join(' ').toStdString();
}

TEST(DialogsEngine, CancelInTheConfirmationErasesNothingAndTheMissingToolIsToldOnce)
{
    KZEraseFixture f;
    useTheDesktopFaces(f);
    // An engine whose secure-remove tool is missing: the message comes once, the secure
    // button never.
    KZBWAlert alert(KZBWAlert::Environment{
        &f.presenter, &f.defaults, nullptr, f.sandbox.path(QStringLiteral("no/srm")), {}});
    KZDeleteItems::Environment environment = f.engine->environment();
    environment.alert = &alert;
    KZDeleteItems engine(environment);
    engine.setProgressDisplayFactory(
        [](KZProgressUI *ui) { return std::make_unique<KZProgressWindow>(ui); });
    f.trash.addFile("kept.txt");

    int messages = 0;
    int confirmations = 0;
    const auto expectConfirmation = [&] {
        KZAlertDriver::whenShown(kConfirmation, [&](KZAlertDialog *dialog) {
            ++confirmations;
            EXPECT_EQ(dialog->button(KZAlertSecondButtonReturn), nullptr);
            EXPECT_EQ(dialog->visibleButtons().size(), 2);
            if (confirmations == 1)
                KZAlertDriver::click(dialog->button(KZAlertThirdButtonReturn));
            else
                QTest::keyClick(dialog, Qt::Key_Escape);
        });
    };
    KZAlertDriver::whenShown(QStringLiteral("srm_not_available"), [&](KZAlertDialog *dialog) {
        ++messages;
        EXPECT_EQ(dialog->informativeLabel()->text(),
                  KZLocalizedStringFromTable(QStringLiteral("srm_not_available_msg"),
                                             KZLocalizedStrings::kErrorsTable));
        KZGuiTestSupport::saveScreenshots(dialog, QStringLiteral("message"));
        KZAlertDriver::click(dialog->visibleButtons().value(0));
        expectConfirmation();
    });
    const KZEraseRequest request{KZEraseFixture::location(f.trash, QStringLiteral("Home"))};
    EXPECT_FALSE(engine.prepareToEraseWithArray(request));
    expectConfirmation();
    EXPECT_FALSE(engine.prepareToEraseWithArray(request));

    EXPECT_EQ(messages, 1);
    EXPECT_EQ(confirmations, 2);
    EXPECT_EQ(KZTestFiles::namesIn(f.trash.files()), QByteArrayList{"kept.txt"});
}

TEST(DialogsEngine, TheLockedItemQuestionAnswersWithItsApplyToAllBox)
{
    KZEraseFixture f;
    useTheDesktopFaces(f);
    const auto record = [] {
        return QVariantMap{
            {KZDeleteItems::kQuestionStringKey,
             KZLocalizedFormat(QStringLiteral("undeletedLockedSingStr"),
                               {QStringLiteral("Quarterly report (final).pdf")})},
            {KZDeleteItems::kQuestionMessageKey, QStringLiteral("undeletedLockedSingMsg")},
            {KZDeleteItems::kQuestionViewStringKey, QStringLiteral("apply_to_all")},
            {KZDeleteItems::kQuestionButtonOneKey, QStringLiteral("skip")},
            {KZDeleteItems::kQuestionButtonTwoKey, QStringLiteral("erase")},
            {KZDeleteItems::kQuestionIdentifierKey, KZDeleteItems::kLockedQuestionIdentifier},
        };
    };

    KZAlertDriver::whenShown(KZDeleteItems::kLockedQuestionIdentifier, [](KZAlertDialog *dialog) {
        ASSERT_NE(dialog->checkBox(), nullptr);
        EXPECT_EQ(dialog->checkBox()->text(), KZLocalizedString(QStringLiteral("apply_to_all")));
        EXPECT_EQ(dialog->visibleButtons().size(), 2);
        KZAlertDriver::click(dialog->checkBox());
        KZGuiTestSupport::saveScreenshots(dialog, QStringLiteral("locked-question"));
        KZAlertDriver::click(dialog->button(KZAlertSecondButtonReturn));
    });
    QVariantMap erase = record();
    f.engine->askToEraseInMainThread(&erase);
    EXPECT_TRUE(erase.value(KZDeleteItems::kQuestionEraseFileKey).toBool());
    EXPECT_TRUE(erase.value(KZDeleteItems::kQuestionIsForAllKey).toBool());

    // Escape skips this one item only.
    KZAlertDriver::whenShown(KZDeleteItems::kLockedQuestionIdentifier, [](KZAlertDialog *dialog) {
        QTest::keyClick(dialog, Qt::Key_Escape);
    });
    QVariantMap skip = record();
    f.engine->askToEraseInMainThread(&skip);
    EXPECT_FALSE(skip.value(KZDeleteItems::kQuestionEraseFileKey).toBool());
    EXPECT_FALSE(skip.value(KZDeleteItems::kQuestionIsForAllKey).toBool());
}

TEST(DialogsEngine, StopInTheProgressWindowStopsTheWalk)
{
    KZEraseFixture f;
    useTheDesktopFaces(f);
    f.defaults.setValue(KZUserDefaults::kShowSRMNotAvailable, false);
    QList<QByteArray> contents{"sub/inner", "empty/"};
    for (int i = 0; i < 20; ++i)
        contents.append("file" + QByteArray::number(i));
    f.trash.addFolder("many", contents);

    // The walk stops at one file until the test has seen the window and pressed Stop: a job
    // long enough to show its progress.
    QSemaphore reached;
    QSemaphore proceed;
    Release release{proceed};
    f.fileManager.onUnlink = [&](const QByteArray &name) {
        if (name == "file5") {
            reached.release();
            proceed.acquire();
        }
        return 0;
    };
    KZAlertDriver::whenShown(kConfirmation, [](KZAlertDialog *dialog) {
        EXPECT_TRUE(QTest::qWaitFor([&] { return !dialog->spinner()->isRunning(); }, 10000));
        KZAlertDriver::click(dialog->button(KZAlertFirstButtonReturn));
    });
    ASSERT_TRUE(f.engine->prepareToEraseWithArray(
        {KZEraseFixture::location(f.trash, QStringLiteral("Home"))}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return reached.available() > 0; }, 10000));

    auto *progress = dynamic_cast<KZProgressWindow *>(f.engine->progressCntrl()->display());
    ASSERT_NE(progress, nullptr);
    QWidget *window = progress->window();
    // Shown once the job has run half a second.
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->isVisible(); }, 5000));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_TRUE(QTest::qWaitFor([&] {
        return progress->titleLabel()->text()
               == KZLocalizedFormat(QStringLiteral("erasing"), {QStringLiteral("Home")});
    }));
    // The confirmation counted the items: the bar knows its end.
    EXPECT_GT(progress->progressBar()->maximum(), 20);
    EXPECT_EQ(progress->countLabel()->text(), QString::number(f.engine->totItemsDeleted()));
    KZGuiTestSupport::saveScreenshots(window, QStringLiteral("progress"));

    KZAlertDriver::click(progress->stopButton());
    EXPECT_FALSE(window->isVisible()); // at once, while the walker still waits
    proceed.release(100);
    ASSERT_TRUE(f.waitForEnd());

    const KZEraseSummary summary = f.ended.constLast();
    EXPECT_TRUE(summary.stoppedByUser);
    // The walk went no further than the file it stood at: the folders' pass never ran.
    EXPECT_TRUE(KZTestFiles::exists(f.trash.itemPath("many/sub/inner")));
    EXPECT_TRUE(KZTestFiles::exists(f.trash.itemPath("many/empty")));
    EXPECT_TRUE(KZTestFiles::exists(f.trash.itemPath("many")));
    EXPECT_LT(summary.erasedCount, 21u);
    EXPECT_FALSE(window->isVisible());
}
