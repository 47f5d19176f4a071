// The application controller's first-run questions as the user sees them: the disclaimer and
// the offer to remove an earlier edition, answered with real clicks and keys in the Widgets
// alerts on a real X server. Linux has no earlier edition, so a finder that finds one stands in
// for the system's look-up; its uninstaller is a real program that leaves a mark.
#include "KZAlertDriver.h"
#include "KZFirstRunFixture.h"
#include "KZGuiTestSupport.h"
#include "erase/KZTUErrorDelegate.h"
#include "gui/dialogs/KZAlertDialog.h"

#include <QCheckBox>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

const QString kOldBinwise = QStringLiteral("old_binwise_was_found");

// Calls call; should it show the alert identifier, the test fails and the alert is dismissed
// rather than left waiting for an answer.
void expectNotAsked(const QString &identifier, const std::function<void()> &call)
{
    QObject guard;
    auto *poll = new QTimer(&guard);
    QObject::connect(poll, &QTimer::timeout, &guard, [identifier] {
        if (KZAlertDialog *dialog = KZAlertDriver::visibleAlert(identifier)) {
            ADD_FAILURE() << "asked " << identifier.toStdString();
            dialog->reject();
        }
    });
    poll->start(50);
    call();
}

QStringList titles(const QList<QPushButton *> &buttons)
{
    QStringList texts;
    for (const QPushButton *button : buttons)
        texts.append(button->text());
    return texts;
}

} // namespace

TEST(FirstRun, TheDisclaimerAsksToAgreeAndAnythingButAgreeIsDisagree)
{
    KZFirstRunFixture f;
    KZAlertDriver::whenShown(QStringLiteral("disclaimer"), [](KZAlertDialog *dialog) {
        EXPECT_TRUE(dialog->messageLabel()->text().contains(QStringLiteral("can’t be recovered")))
            << dialog->messageLabel()->text().toStdString();
        EXPECT_EQ(titles(dialog->visibleButtons()),
                  (QStringList{QStringLiteral("Agree"), QStringLiteral("Disagree")}));
        EXPECT_TRUE(dialog->button(KZAlertFirstButtonReturn)->isDefault());
        EXPECT_EQ(dialog->checkBox(), nullptr);
        KZGuiTestSupport::saveScreenshots(dialog, QStringLiteral("disclaimer"));
        KZAlertDriver::click(dialog->button(KZAlertFirstButtonReturn));
    });
    EXPECT_EQ(f.controller->isUserAgree(), KZAlertFirstButtonReturn);

    KZAlertDriver::whenShown(QStringLiteral("disclaimer"), [](KZAlertDialog *dialog) {
        KZAlertDriver::click(dialog->button(KZAlertSecondButtonReturn));
    });
    EXPECT_EQ(f.controller->isUserAgree(), KZAlertSecondButtonReturn);

    // Closing it without an answer is no agreement.
    KZAlertDriver::whenShown(QStringLiteral("disclaimer"), [](KZAlertDialog *dialog) {
        QTest::keyClick(dialog, Qt::Key_Escape);
    });
    EXPECT_EQ(f.controller->isUserAgree(), KZAlertSecondButtonReturn);
    // Return takes the default, Agree.
    KZAlertDriver::whenShown(QStringLiteral("disclaimer"), [](KZAlertDialog *dialog) {
        QTest::keyClick(dialog, Qt::Key_Return);
    });
    EXPECT_EQ(f.controller->isUserAgree(), KZAlertFirstButtonReturn);
}

TEST(FirstRun, AnEarlierEditionIsOfferedForRemovalUntilTheUserSaysNotToAsk)
{
    KZFirstRunFixture f;
    // The finder this platform has: nothing to find, nothing asked.
    expectNotAsked(kOldBinwise, [&] { f.controller->checkIfOldBinwiseIsInstalled(); });
    EXPECT_EQ(f.finderAsked, 1);

    // One that finds the earlier edition, whose uninstaller leaves a mark when it runs.
    const QString mark = f.erase.sandbox.path(QStringLiteral("uninstalled"));
    const QString uninstaller = f.erase.sandbox.path(QStringLiteral("Binwise Uninstall"));
    {
        QFile script(uninstaller);
        ASSERT_TRUE(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\necho ran >> '" + mark.toLocal8Bit() + "'\n");
    }
    QFile::setPermissions(uninstaller, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    f.oldBinwiseUninstaller = uninstaller;

    // Keep it: the uninstaller does not run, and the next launch asks again.
    KZAlertDriver::whenShown(kOldBinwise, [](KZAlertDialog *dialog) {
        EXPECT_EQ(dialog->messageLabel()->text(),
                  QStringLiteral("An earlier edition of Binwise is installed."));
        ASSERT_NE(dialog->informativeLabel(), nullptr);
        EXPECT_EQ(dialog->informativeLabel()->text(), QStringLiteral("Do you want to remove it?"));
        EXPECT_EQ(titles(dialog->visibleButtons()),
                  (QStringList{QStringLiteral("Don’t Remove"), QStringLiteral("Remove")}));
        ASSERT_NE(dialog->checkBox(), nullptr);
        EXPECT_EQ(dialog->checkBox()->text(), KZTUErrorDelegate::accessoryViewTitle());
        EXPECT_FALSE(dialog->checkBox()->isChecked());
        KZGuiTestSupport::saveScreenshots(dialog, QStringLiteral("old-binwise-question"));
        KZAlertDriver::click(dialog->button(KZAlertFirstButtonReturn));
    });
    f.controller->checkIfOldBinwiseIsInstalled();
    EXPECT_EQ(f.finderAsked, 2);
    EXPECT_TRUE(f.erase.defaults.boolForKey(KZUserDefaults::kAskUnistallOldBinwise));

    // Remove: the uninstaller runs, on its own.
    KZAlertDriver::whenShown(kOldBinwise, [](KZAlertDialog *dialog) {
        KZAlertDriver::click(dialog->button(KZAlertSecondButtonReturn));
    });
    f.controller->checkIfOldBinwiseIsInstalled();
    // The shell makes the file before it writes its line.
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFileInfo(mark).size() >= 4; }, 10000));
    EXPECT_TRUE(f.erase.defaults.boolForKey(KZUserDefaults::kAskUnistallOldBinwise));
    // The answer before did not run it: only this one did.
    QFile ran(mark);
    ASSERT_TRUE(ran.open(QIODevice::ReadOnly));
    EXPECT_EQ(ran.readAll(), QByteArray("ran\n"));
    ran.close();
    QFile::remove(mark);

    // Not to be asked again: the setting says so, and the finder is not even asked any more.
    KZAlertDriver::whenShown(kOldBinwise, [](KZAlertDialog *dialog) {
        KZAlertDriver::click(dialog->checkBox());
        KZAlertDriver::click(dialog->button(KZAlertFirstButtonReturn));
    });
    f.controller->checkIfOldBinwiseIsInstalled();
    EXPECT_EQ(f.finderAsked, 4);
    EXPECT_FALSE(f.erase.defaults.boolForKey(KZUserDefaults::kAskUnistallOldBinwise));
    expectNotAsked(kOldBinwise, [&] { f.controller->checkIfOldBinwiseIsInstalled(); });
    EXPECT_EQ(f.finderAsked, 4);
    EXPECT_FALSE(QFile::exists(mark));
}
