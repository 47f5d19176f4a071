// The application controller without a display: start-up, isWorking, the menu's enabled
// states and the erase requests it makes, on a real engine over a real Trash.
#include "presentation/KZBinwise.h"
#include "KZEraseTestSupport.h"
#include "foundation/KZAppGlobals.h"
#include "presentation/KZStatusMenuFace.h"
#include "presentation/KZWelcomeFace.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include <cstring>

namespace {

// The face a display would give: answers the status menu's set-up as the tray host would.
class TestFace : public KZStatusMenuFace
{
public:
    void setupStatusMenu(std::function<void(bool)> done) override
    {
        ++setups;
        done(trayAvailable);
    }
    void showAboutPanel() override { ++aboutPanels; }
    void showPanel() override { ++panels; }

    bool trayAvailable = true;
    int setups = 0;
    int aboutPanels = 0;
    int panels = 0;
};

struct ControllerFixture
{
    ControllerFixture()
    {
        KZBinwise::Environment environment;
        environment.engine = erase.engine.get();
        environment.userDefaults = &erase.defaults;
        environment.presenter = &erase.presenter;
        environment.locations = [this](QList<KZError> *out) {
            if (out)
                *out += problems;
            return locations;
        };
        environment.installHelper = [this] {
            ++helperChecks;
            return helperAnswer;
        };
        environment.kernelRelease = "6.1.0-13-amd64";
        environment.makeWelcome = [this](KZBinwise *delegate) {
            return makeWelcome ? makeWelcome(delegate) : nullptr;
        };
        environment.openURL = [this](const QUrl &url) {
            openedURLs.append(url);
            return urlsOpen;
        };
        controller = std::make_unique<KZBinwise>(&face, environment);
        // The first run's disclaimer and welcome have tests of their own.
        erase.defaults.setValue(KZUserDefaults::kIsFirstRun, false);
    }

    KZTrashLocation homeRecord() const { return erase.trash.location(QStringLiteral("Home")); }

    KZEraseFixture erase;
    TestFace face;
    QList<KZTrashLocation> locations;
    QList<KZError> problems;
    int helperChecks = 0;
    bool helperAnswer = true;
    std::function<std::unique_ptr<KZWelcomeFace>(KZBinwise *)> makeWelcome;
    QList<QUrl> openedURLs;
    bool urlsOpen = true;
    std::unique_ptr<KZBinwise> controller;
};

// Notes, when the controller shows it, what start-up had done by then.
class RecordingWelcome : public KZWelcomeFace
{
public:
    explicit RecordingWelcome(std::function<void(bool modal)> shown)
        : m_shown(std::move(shown))
    {}
    void showWelcomeInModal(bool modal) override { m_shown(modal); }

private:
    std::function<void(bool)> m_shown;
};

} // namespace

TEST(Binwise, SystemVersionFromTheKernelReleaseIsAlwaysModern)
{
    EXPECT_EQ(KZBinwise::systemVersionForKernelRelease("6.1.0-13-amd64"), 0x101610u);
    EXPECT_EQ(KZBinwise::systemVersionForKernelRelease("5.15.0"), 0x1015150u);
    EXPECT_EQ(KZBinwise::systemVersionForKernelRelease("6.12"), 0x1016120u);
    for (const QByteArray &release : {QByteArray("0.0.0"), QByteArray(""), QByteArray("x")})
        EXPECT_GE(KZBinwise::systemVersionForKernelRelease(release), 0x10100u) << release.data();
}

TEST(Binwise, StartUpShowsTheMenuThenChecksTheHelperOrEndsWithoutATray)
{
    ControllerFixture f;
    KZAppGlobals::setHelperAvailable(false);
    QSignalSpy launched(f.controller.get(), &KZBinwise::launched);
    QSignalSpy terminate(f.controller.get(), &KZBinwise::terminateRequested);
    f.controller->applicationDidFinishLaunching();
    EXPECT_EQ(f.face.setups, 1);
    EXPECT_EQ(launched.count(), 1);
    EXPECT_EQ(terminate.count(), 0);
    EXPECT_EQ(f.helperChecks, 1);
    EXPECT_TRUE(KZAppGlobals::isHelperAvailable());
    EXPECT_EQ(KZAppGlobals::systemVersion(), 0x101610u);
    // The defaults are registered: the confirmation setting has its value.
    EXPECT_TRUE(f.erase.defaults.registeredDefaults().contains(KZUserDefaults::kShowAlert));

    ControllerFixture noTray;
    noTray.face.trayAvailable = false;
    KZAppGlobals::setHelperAvailable(false);
    QSignalSpy noTrayLaunched(noTray.controller.get(), &KZBinwise::launched);
    QSignalSpy noTrayTerminate(noTray.controller.get(), &KZBinwise::terminateRequested);
    noTray.controller->applicationDidFinishLaunching();
    EXPECT_EQ(noTrayLaunched.count(), 0);
    ASSERT_EQ(noTrayTerminate.count(), 1);
    EXPECT_EQ(noTrayTerminate.first().first().toInt(), 1);
    EXPECT_EQ(noTray.erase.script->shownIdentifiers(),
              QStringList{QStringLiteral("cantCreateMenu")});
    // Nothing after the status menu runs: no helper check.
    EXPECT_EQ(noTray.helperChecks, 0);
    EXPECT_FALSE(KZAppGlobals::isHelperAvailable());
}

TEST(Binwise, AVolumeRowEmptiesExactlyThatTrashAfterTheMenuClosedAndStopWorkingClearsTheFlag)
{
    ControllerFixture f;
    f.controller->applicationDidFinishLaunching();
    f.erase.defaults.setValue(KZUserDefaults::kShowAlert, false);
    KZTestTrash other(f.erase.sandbox.path(QStringLiteral("other/.Trash-1")).toLocal8Bit());
    other.addFile("kept");
    const QByteArray erased = f.erase.trash.addFile("erased");

    QSignalSpy working(f.controller.get(), &KZBinwise::isWorkingChanged);
    QElapsedTimer clock;
    clock.start();
    qint64 startedAfter = -1;
    QObject::connect(f.erase.engine.get(), &KZDeleteItems::jobStateChanged, f.controller.get(),
                     [&](KZJobState state) {
                         if (state != KZJobState::Idle && startedAfter < 0)
                             startedAfter = clock.elapsed();
                     });
    f.controller->emptyHardDriveTrashesAction(f.homeRecord());
    EXPECT_TRUE(f.controller->isWorking());
    EXPECT_FALSE(f.controller->validateMenuItem());
    for (const int tag : {KZBinwise::EmptyAllTrashesTag, KZBinwise::ShowPanelTag})
        EXPECT_FALSE(f.controller->isMainMenuItemEnabled(tag)) << tag;

    ASSERT_TRUE(f.erase.waitForEnd());
    EXPECT_GE(startedAfter, KZBinwise::kMenuActionDelayMs - 5);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !f.controller->isWorking(); }));
    EXPECT_FALSE(KZTestFiles::exists(erased));
    EXPECT_TRUE(KZTestFiles::exists(other.itemPath("kept")));
    ASSERT_EQ(working.count(), 2);
    EXPECT_TRUE(working.at(0).first().toBool());
    EXPECT_FALSE(working.at(1).first().toBool());
    EXPECT_TRUE(f.controller->validateMenuItem());
}

TEST(Binwise, NothingStartsASecondJobWhileTheConfirmationIsUp)
{
    ControllerFixture f;
    f.controller->applicationDidFinishLaunching();
    f.locations = {f.homeRecord()};
    const QByteArray item = f.erase.trash.addFile("item");

    // Inside the confirmation's nested event loop, the user tries every entry again.
    bool enabledWhileConfirming = true;
    int panelsBefore = 0;
    KZScriptedAlertBackend::Answer cancel(KZAlertThirdButtonReturn);
    cancel.waitMs = 1;
    cancel.waitUntil = [&] {
        enabledWhileConfirming
            = f.controller->validateMenuItem()
              || f.controller->isMainMenuItemEnabled(KZBinwise::EmptyAllTrashesTag);
        panelsBefore = f.face.panels;
        f.controller->mainMenuAction(KZBinwise::EmptyAllTrashesTag);
        f.controller->mainMenuAction(KZBinwise::ShowPanelTag);
        f.controller->emptyHardDriveTrashesAction(f.homeRecord());
        // Long enough for a scheduled request to have reached the engine.
        QTest::qWait(2 * KZBinwise::kMenuActionDelayMs);
        return true;
    };
    f.erase.script->enqueue(cancel);

    QSignalSpy states(f.erase.engine.get(), &KZDeleteItems::jobStateChanged);
    f.controller->mainMenuAction(KZBinwise::EmptyAllTrashesTag);
    EXPECT_TRUE(f.controller->isWorking());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !f.controller->isWorking(); }, 10000));

    EXPECT_FALSE(enabledWhileConfirming);
    EXPECT_EQ(f.face.panels, panelsBefore);
    // One confirmation, cancelled: the item is still there; the three refused entries beeped.
    EXPECT_EQ(f.erase.script->shownIdentifiers(), QStringList{KZBWAlert::kConfirmationIdentifier});
    EXPECT_EQ(f.erase.script->beepCount(), 3);
    EXPECT_TRUE(KZTestFiles::exists(item));
    QList<KZJobState> seen;
    for (const QList<QVariant> &signal : states)
        seen.append(signal.first().value<KZJobState>());
    EXPECT_EQ(seen, (QList<KZJobState>{KZJobState::Confirming, KZJobState::Idle}));
}

TEST(Binwise, EmptyAllFromAHotKeyLeavesTheFlagAndAnEmptyVolumeListStillReachesTheEngine)
{
    ControllerFixture f;
    f.controller->applicationDidFinishLaunching();
    f.erase.defaults.setValue(KZUserDefaults::kShowAlert, false);
    f.locations = {};
    const qsizetype before = f.erase.ended.size();
    const int stopsBefore = f.erase.stopWorkingPosted;
    f.controller->emptyAllTrashesAction();
    EXPECT_FALSE(f.controller->isWorking());
    // The request, empty as it is, reaches the engine, which ends at once.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return f.erase.ended.size() > before || f.erase.stopWorkingPosted > stopsBefore; },
        5000));
    EXPECT_FALSE(f.controller->isWorking());

    // The menu's about item and panel item reach the face.
    f.controller->showAboutPanel();
    f.controller->mainMenuAction(KZBinwise::ShowPanelTag);
    EXPECT_EQ(f.face.aboutPanels, 1);
    EXPECT_EQ(f.face.panels, 1);
}

TEST(Binwise, AFirstRunEndsOnARefusedDisclaimerAndAsksAgainNextTime)
{
    ControllerFixture f;
    f.erase.defaults.removeValue(KZUserDefaults::kIsFirstRun);
    int welcomesMade = 0;
    f.makeWelcome = [&](KZBinwise *) {
        ++welcomesMade;
        return std::make_unique<RecordingWelcome>([](bool) {});
    };
    f.erase.script->enqueue(KZScriptedAlertBackend::Answer(KZAlertSecondButtonReturn));
    QSignalSpy launched(f.controller.get(), &KZBinwise::launched);
    QSignalSpy terminate(f.controller.get(), &KZBinwise::terminateRequested);
    f.controller->applicationDidFinishLaunching();

    ASSERT_EQ(terminate.count(), 1);
    EXPECT_EQ(terminate.first().first().toInt(), 0);
    EXPECT_EQ(launched.count(), 0);
    EXPECT_EQ(welcomesMade, 0);
    // Nothing after the disclaimer ran, and the next launch asks again.
    EXPECT_EQ(f.helperChecks, 0);
    EXPECT_FALSE(f.erase.defaults.hasUserValue(KZUserDefaults::kIsFirstRun));
    EXPECT_TRUE(f.erase.defaults.boolForKey(KZUserDefaults::kIsFirstRun));
    ASSERT_EQ(f.erase.script->shown().size(), 1);
    const KZAlertRequest disclaimer = f.erase.script->shown().first().request;
    EXPECT_EQ(disclaimer.identifier, QStringLiteral("disclaimer"));
    EXPECT_EQ(disclaimer.buttons.mid(0, 2),
              (QStringList{QStringLiteral("Agree"), QStringLiteral("Disagree")}));
    EXPECT_TRUE(disclaimer.messageText.contains(QStringLiteral("can’t be recovered")));
}

TEST(Binwise, AnAgreedFirstRunShowsTheWelcomeModallyBeforeAnythingElseThenNeverAgain)
{
    ControllerFixture f;
    f.erase.defaults.removeValue(KZUserDefaults::kIsFirstRun);
    QList<bool> modal;
    bool firstRunWhileShown = false;
    int helperChecksWhileShown = -1;
    f.makeWelcome = [&](KZBinwise *) {
        return std::make_unique<RecordingWelcome>([&](bool isModal) {
            modal.append(isModal);
            firstRunWhileShown = f.erase.defaults.boolForKey(KZUserDefaults::kIsFirstRun);
            helperChecksWhileShown = f.helperChecks;
            EXPECT_TRUE(f.controller->welcomeIsOpen());
            f.controller->setWelcomeIsClosed();
        });
    };
    f.erase.script->enqueue(KZScriptedAlertBackend::Answer(KZAlertFirstButtonReturn));
    QSignalSpy launched(f.controller.get(), &KZBinwise::launched);
    f.controller->applicationDidFinishLaunching();

    EXPECT_EQ(launched.count(), 1);
    EXPECT_EQ(modal, QList<bool>{true});
    EXPECT_TRUE(firstRunWhileShown);
    EXPECT_EQ(helperChecksWhileShown, 0);
    EXPECT_EQ(f.helperChecks, 1);
    EXPECT_FALSE(f.controller->welcomeIsOpen());
    EXPECT_FALSE(f.erase.defaults.boolForKey(KZUserDefaults::kIsFirstRun));
    EXPECT_EQ(f.erase.script->shownIdentifiers(), QStringList{QStringLiteral("disclaimer")});

    // A later launch over the same settings asks nothing and shows no welcome.
    f.controller->applicationDidFinishLaunching();
    EXPECT_EQ(launched.count(), 2);
    EXPECT_EQ(modal.size(), 1);
    EXPECT_EQ(f.erase.script->shownIdentifiers().size(), 1);
}

TEST(Binwise, ServicesOpenTheSupportMailAndTheNewsletterWhichIsMarkedEvenUnopened)
{
    ControllerFixture f;
    f.controller->applicationDidFinishLaunching();
    f.controller->serviceMenuAction(KZBinwise::SupportServiceTag);
    ASSERT_EQ(f.openedURLs.size(), 1);
    EXPECT_EQ(f.openedURLs.first(), QUrl(QStringLiteral("mailto:support@binwise.org")));
    EXPECT_FALSE(f.erase.defaults.boolForKey(KZUserDefaults::kNewsletterSubscribed));

    // No mail program took it: the subscription still counts as asked for.
    f.urlsOpen = false;
    f.controller->serviceMenuAction(KZBinwise::NewsletterServiceTag);
    ASSERT_EQ(f.openedURLs.size(), 2);
    const QUrl newsletter = f.openedURLs.at(1);
    EXPECT_EQ(newsletter.scheme(), QStringLiteral("mailto"));
    EXPECT_EQ(newsletter.path(), QStringLiteral("newsletter@binwise.org"));
    // The subject's blanks travel escaped and read back whole.
    EXPECT_EQ(newsletter.query(QUrl::FullyDecoded),
              QStringLiteral("subject=Subscribe to the Binwise newsletter"));
    EXPECT_TRUE(newsletter.toEncoded().contains("Subscribe%20to"));
    EXPECT_TRUE(f.erase.defaults.boolForKey(KZUserDefaults::kNewsletterSubscribed));

    // Other tags do nothing; while an erase is under way nothing opens and the user hears why.
    f.controller->serviceMenuAction(2);
    f.controller->setIsWorking(true);
    f.controller->serviceMenuAction(KZBinwise::SupportServiceTag);
    EXPECT_EQ(f.openedURLs.size(), 2);
    EXPECT_EQ(f.erase.script->beepCount(), 1);
}

// A Trash left out of the list is said once per run, after the menu has closed, in the words
// the file model found; what a job could not erase is said at its end, naming the item.
TEST(Binwise, ATrashLeftOutAndAnItemNotErasedReachThePresenterInPlainWords)
{
    ControllerFixture f;
    f.controller->applicationDidFinishLaunching();
    f.erase.script->clear();
    KZError unreadable = KZError::posix(EIO);
    unreadable.localizedDescription
        = QStringLiteral("The Trash on “Backup” is left out: its state cannot be read.");
    f.problems = {unreadable};
    f.locations = {f.homeRecord()};
    for (int refresh = 0; refresh < 3; ++refresh)
        EXPECT_EQ(f.controller->trashesAndVolumesLocations().size(), 1);
    EXPECT_TRUE(f.erase.script->shown().isEmpty()) << "not while the menu is open";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !f.erase.script->shown().isEmpty(); }, 5000));
    QTest::qWait(2 * KZBinwise::kMenuActionDelayMs);
    ASSERT_EQ(f.erase.script->shown().size(), 1);
    EXPECT_EQ(f.erase.script->shown().constFirst().request.messageText,
              unreadable.localizedDescription);

    f.erase.script->clear();
    f.erase.defaults.setValue(KZUserDefaults::kShowAlert, false);
    f.erase.trash.addFile("stuck");
    f.erase.trash.addFile("gone");
    f.erase.fileManager.failCall("unlinkat", EROFS, "stuck");
    const qsizetype before = f.erase.ended.size();
    f.controller->emptyAllTrashesAction();
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.erase.ended.size() > before; }, 10000));
    EXPECT_EQ(f.erase.script->beepCount(), 1);
    const QStringList shown = f.erase.script->shownIdentifiers();
    ASSERT_TRUE(shown.contains(QStringLiteral("notErased_Sing"))) << shown.join(u',').toStdString();
    for (const KZScriptedAlertBackend::Shown &message : f.erase.script->shown()) {
        if (message.request.identifier != QStringLiteral("notErased_Sing"))
            continue;
        EXPECT_TRUE(message.request.messageText.contains(QStringLiteral("stuck")));
        EXPECT_TRUE(
            message.request.messageText.contains(QString::fromLocal8Bit(std::strerror(EROFS))));
    }
    EXPECT_TRUE(KZTestFiles::exists(f.erase.trash.itemPath("stuck")));
    EXPECT_TRUE(KZTestFiles::exists(f.erase.trash.infoPath("stuck")));
    EXPECT_FALSE(KZTestFiles::exists(f.erase.trash.itemPath("gone")));
}
