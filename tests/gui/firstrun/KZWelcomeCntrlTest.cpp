// The welcome window on a real X server, driven with real clicks and keys: its pages and their
// counter, back and next, the launch-at-login box bound to the settings, the newsletter, and
// how it tells the application controller that it closed. Pictures of every page in both
// palettes at the run's scale.
#include "KZAlertDriver.h"
#include "KZFirstRunFixture.h"
#include "KZGuiTestSupport.h"
#include "KZUrlRecorder.h"
#include "format/KZLocalizedStrings.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

QString counter(const KZWelcomeCntrl &welcome)
{
    return welcome.infoFld()->text();
}

void showAndWait(KZWelcomeCntrl &welcome)
{
    welcome.showWelcomeInModal(false);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(welcome.window()));
}

void goToLastPage(KZWelcomeCntrl &welcome)
{
    while (welcome.nextBtn()->isEnabled())
        KZAlertDriver::click(welcome.nextBtn());
}

} // namespace

TEST(WelcomeCntrl, NextAndBackWalkThePagesWithTheCounterAndTheButtonsFollowing)
{
    KZFirstRunFixture f;
    KZWelcomeCntrl welcome(f.controller.get(), &f.erase.defaults, f.launchAtLogin());
    showAndWait(welcome);
    const int pages = welcome.maxTabs();
    ASSERT_GE(pages, 6);
    EXPECT_EQ(pages, welcome.tabView()->count());
    EXPECT_EQ(counter(welcome), QStringLiteral("1 of %1").arg(pages));
    EXPECT_FALSE(welcome.prevBtn()->isEnabled());
    EXPECT_TRUE(welcome.nextBtn()->isEnabled());
    // The icon is drawn, not left blank.
    const QImage icon = welcome.imageView()->pixmap().toImage();
    ASSERT_FALSE(icon.isNull());
    EXPECT_NE(icon.pixelColor(icon.width() / 2, icon.height() * 78 / 100).alpha(), 0);

    for (int page = 1; page <= pages; ++page) {
        QWidget *current = welcome.tabView()->currentWidget();
        EXPECT_EQ(welcome.tabView()->currentIndex(), page - 1);
        EXPECT_EQ(counter(welcome), QStringLiteral("%1 of %2").arg(page).arg(pages));
        EXPECT_EQ(welcome.prevBtn()->isEnabled(), page > 1) << page;
        EXPECT_EQ(welcome.nextBtn()->isEnabled(), page < pages) << page;
        // Every page reads as text, never as a string-table key or an unfilled place.
        for (QLabel *label : current->findChildren<QLabel *>()) {
            EXPECT_FALSE(label->text().isEmpty()) << page;
            EXPECT_FALSE(label->text().startsWith(QStringLiteral("welcome_"))) << page;
            EXPECT_FALSE(label->text().contains(QStringLiteral("%@"))) << page;
        }
        KZGuiTestSupport::saveScreenshots(welcome.window(),
                                          QStringLiteral("welcome-page%1").arg(page));
        if (page < pages)
            KZAlertDriver::click(welcome.nextBtn());
    }
    // The smart-delete page names the window as the menu does.
    EXPECT_TRUE(
        welcome.firstFld()->text().startsWith(KZLocalizedString(QStringLiteral("selected"))))
        << welcome.firstFld()->text().toStdString();

    // Next is off on the last page; a click on it changes nothing.
    KZAlertDriver::click(welcome.nextBtn());
    EXPECT_EQ(welcome.tabView()->currentIndex(), pages - 1);
    KZAlertDriver::click(welcome.prevBtn());
    KZAlertDriver::click(welcome.prevBtn());
    EXPECT_EQ(counter(welcome), QStringLiteral("%1 of %2").arg(pages - 2).arg(pages));
    EXPECT_TRUE(welcome.nextBtn()->isEnabled());

    // Return moves on, as Next does.
    QTest::keyClick(welcome.window(), Qt::Key_Return);
    EXPECT_EQ(counter(welcome), QStringLiteral("%1 of %2").arg(pages - 1).arg(pages));

    // Asked for again while it is up, the window keeps its page.
    welcome.showWelcomeInModal(false);
    EXPECT_EQ(welcome.tabView()->currentIndex(), pages - 2);
    EXPECT_TRUE(welcome.window()->isVisible());

    // On the last page Return means Start Using, which closes the window; shown again, it
    // starts over.
    goToLastPage(welcome);
    EXPECT_TRUE(welcome.startUsingBtn()->isDefault());
    QTest::keyClick(welcome.window(), Qt::Key_Return);
    EXPECT_FALSE(welcome.window()->isVisible());
    showAndWait(welcome);
    EXPECT_EQ(counter(welcome), QStringLiteral("1 of %1").arg(pages));
    EXPECT_FALSE(welcome.prevBtn()->isEnabled());
    goToLastPage(welcome);
    KZAlertDriver::click(welcome.startUsingBtn());
    EXPECT_FALSE(welcome.window()->isVisible());
}

TEST(WelcomeCntrl, TheLaunchAtLoginBoxFollowsTheSettingAndSubscribeWritesToTheNewsletter)
{
    KZFirstRunFixture f;
    const KZLaunchAtLogin login = f.launchAtLogin();
    KZWelcomeCntrl welcome(nullptr, &f.erase.defaults, login);
    showAndWait(welcome);
    goToLastPage(welcome);
    EXPECT_FALSE(welcome.loginLaunchCheck()->isChecked());
    EXPECT_FALSE(QFile::exists(login.autostartFile()));

    // Ticked: the setting, written through to the file another process reads, and the
    // autostart entry that starts this very program.
    KZAlertDriver::click(welcome.loginLaunchCheck());
    EXPECT_TRUE(f.erase.defaults.boolForKey(KZUserDefaults::kLaunchAtLogin));
    f.erase.defaults.synchronize();
    KZUserDefaults reread(f.erase.defaults.fileName());
    reread.setupDefaultsPreferences();
    EXPECT_TRUE(reread.boolForKey(KZUserDefaults::kLaunchAtLogin));
    QFile entry(login.autostartFile());
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly)) << login.autostartFile().toStdString();
    EXPECT_TRUE(entry.readAll().contains(
        "Exec=" + KZLaunchAtLogin::execValue(QCoreApplication::applicationFilePath()).toUtf8()));
    EXPECT_TRUE(login.isInstalledStartup());

    // Unticked: no entry left.
    KZAlertDriver::click(welcome.loginLaunchCheck());
    EXPECT_FALSE(f.erase.defaults.boolForKey(KZUserDefaults::kLaunchAtLogin));
    EXPECT_FALSE(QFile::exists(login.autostartFile()));

    // Changed elsewhere (the preferences, which apply it themselves), the box follows at once.
    f.erase.defaults.setValue(KZUserDefaults::kLaunchAtLogin, true);
    EXPECT_TRUE(welcome.loginLaunchCheck()->isChecked());
    EXPECT_FALSE(QFile::exists(login.autostartFile()));

    // A new window starts with the stored state.
    KZWelcomeCntrl later(nullptr, &f.erase.defaults, login);
    EXPECT_TRUE(later.loginLaunchCheck()->isChecked());

    // Subscribe closes the window and writes to the newsletter without marking it subscribed.
    KZUrlRecorder mail({QStringLiteral("mailto")});
    KZAlertDriver::click(welcome.subscribeBtn());
    EXPECT_FALSE(welcome.window()->isVisible());
    ASSERT_EQ(mail.urls().size(), 1);
    EXPECT_EQ(mail.urls().first(), KZBinwise::newsletterSubscriptionURL());
    EXPECT_EQ(mail.urls().first().path(), QStringLiteral("newsletter@binwise.org"));
    EXPECT_FALSE(f.erase.defaults.boolForKey(KZUserDefaults::kNewsletterSubscribed));
}

TEST(WelcomeCntrl, ModalFromTheControllerUntilClosedAndNotResetWhenAskedForAgain)
{
    KZFirstRunFixture f;
    bool openWhileShown = false;
    int pageAfterSecondAsk = -1;
    QTimer::singleShot(0, f.controller.get(), [&] {
        ASSERT_NE(f.welcome, nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(f.welcome->window()));
        openWhileShown = f.controller->welcomeIsOpen();
        KZAlertDriver::click(f.welcome->nextBtn());
        KZAlertDriver::click(f.welcome->nextBtn());
        // The services menu asks again while it is up: it comes forward where it was.
        f.controller->showWelcome();
        pageAfterSecondAsk = f.welcome->tabView()->currentIndex();
        // Escape closes it as the title bar's button does.
        QTest::keyClick(f.welcome->window(), Qt::Key_Escape);
    });
    f.controller->showWelcome();

    EXPECT_TRUE(openWhileShown);
    EXPECT_EQ(pageAfterSecondAsk, 2);
    EXPECT_FALSE(f.controller->welcomeIsOpen());
    EXPECT_FALSE(f.welcome->window()->isVisible());
    EXPECT_EQ(f.welcomesMade, 1);

    // From the services menu: once the menu has had time to close, the same window, from its
    // first page.
    int pageShown = -1;
    KZWelcomeCntrl *shownBy = nullptr;
    auto *poll = new QTimer(f.controller.get());
    QObject::connect(poll, &QTimer::timeout, poll, [&, poll] {
        if (!f.welcome->window()->isVisible())
            return;
        poll->stop();
        shownBy = f.welcome;
        pageShown = f.welcome->tabView()->currentIndex();
        KZAlertDriver::click(
            f.welcome->window()->findChild<QPushButton *>(QStringLiteral("nextBtn")));
        f.welcome->window()->close();
    });
    poll->start(20);
    f.controller->serviceMenuAction(KZBinwise::WelcomeServiceTag);
    EXPECT_FALSE(f.welcome->window()->isVisible());
    ASSERT_TRUE(QTest::qWaitFor([&] { return shownBy != nullptr; }, 5000));
    EXPECT_EQ(pageShown, 0);
    EXPECT_EQ(f.welcomesMade, 1);
    EXPECT_FALSE(f.controller->welcomeIsOpen());
}
