// The preferences window on a private X server: its controls write the settings file as they
// change, recorders take real key presses, Restore and Done as a person uses them, and the
// autostart entry that Done writes checked on disk and by desktop-file-validate.
#include "gui/preferences/KZBWPreferencesWindow.h"
#include "KZGuiTestSupport.h"
#include "KZTestSandbox.h"
#include "KZUrlRecorder.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZScriptedAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "foundation/KZNotificationCenter.h"
#include "foundation/KZUserDefaults.h"
#include "gui/preferences/KZHotKeyRecorder.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTest>
#include <QToolButton>

namespace {

const QUrl kReleases(QStringLiteral("https://releases.example.org/binwise"));

class Preferences : public ::testing::Test
{
protected:
    Preferences()
        : defaults(sandbox.path(QStringLiteral("Binwise.conf")))
    {
        defaults.setupDefaultsPreferences();
    }

    std::unique_ptr<KZBWPreferencesWindow> makeWindow(KZGlobalShortcuts::Availability hotKeys
                                                      = {true, {}})
    {
        KZBWPreferencesWindow::Environment environment;
        environment.userDefaults = &defaults;
        environment.launchAtLogin = KZLaunchAtLogin(executable(), autostartDir());
        environment.hotKeys = hotKeys;
        environment.releasesURL = kReleases;
        auto window = std::make_unique<KZBWPreferencesWindow>(environment);
        window->openWindowInModal(false);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        return window;
    }

    QString executable() const { return QCoreApplication::applicationFilePath(); }
    QString autostartDir() const { return sandbox.configHome() + QStringLiteral("/autostart"); }
    QString autostartFile() const
    {
        return autostartDir() + QStringLiteral("/org.binwise.Binwise.desktop");
    }

    // The settings file as it is on disk now, read by a separate reader.
    QVariant onDisk(const QString &key)
    {
        QFile file(defaults.fileName());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        // QSettings in this process would answer from its cache; the file's lines are read.
        const QString prefix = key + u'=';
        for (const QByteArray &line : file.readAll().split('\n')) {
            const QString text = QString::fromUtf8(line);
            if (text.startsWith(prefix))
                return text.mid(prefix.size());
        }
        return {};
    }
    bool waitOnDisk(const QString &key, const QString &text)
    {
        return QTest::qWaitFor([&] { return onDisk(key).toString() == text; }, 5000);
    }

    static void xdotool(const QStringList &arguments)
    {
        QProcess process;
        process.start(QStringLiteral("xdotool"), arguments);
        ASSERT_TRUE(process.waitForFinished(10000));
        ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    }
    // Focuses widget's window on the X server and widget in it, as a click would.
    static void focus(QWidget *widget)
    {
        // No window manager here: the X focus is given to the window directly.
        xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"),
                 QString::number(widget->window()->winId())});
        widget->setFocus(Qt::MouseFocusReason);
        ASSERT_TRUE(QTest::qWaitFor([&] { return widget->hasFocus(); }, 5000));
    }

    // A check box takes a click on its box or its text, not on the empty width beside them.
    static void click(QCheckBox *box)
    {
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(box->height() / 2, box->height() / 2));
    }

    KZTestSandbox sandbox;
    KZUserDefaults defaults;
};

} // namespace

TEST_F(Preferences, EachControlWritesItsSettingToTheFileAtOnceAndFollowsOtherChanges)
{
    const auto window = makeWindow();
    EXPECT_TRUE(window->showAlertCheckBtn()->isChecked());
    EXPECT_FALSE(window->deletelockedCheckBtn()->isChecked());
    EXPECT_TRUE(window->createLogCheckBtn()->isChecked());
    EXPECT_EQ(window->createLogPopup()->currentData().toInt(), 7);

    click(window->showAlertCheckBtn());
    EXPECT_TRUE(waitOnDisk(KZUserDefaults::kShowAlert, QStringLiteral("false")));
    click(window->deletelockedCheckBtn());
    EXPECT_TRUE(waitOnDisk(KZUserDefaults::kDeleteLocked, QStringLiteral("true")));
    click(window->launchCheckBtn());
    EXPECT_TRUE(waitOnDisk(KZUserDefaults::kLaunchAtLogin, QStringLiteral("true")));
    // Ticking the box alone makes no login item: that waits for Done.
    EXPECT_FALSE(QFile::exists(autostartFile()));

    // The period: chosen with the keyboard in the pop-up, stored as a number of days.
    window->createLogPopup()->setFocus();
    QTest::keyClick(window->createLogPopup(), Qt::Key_Down);
    EXPECT_TRUE(waitOnDisk(KZUserDefaults::kHowManyDaysForNewLogFile, QStringLiteral("14")));
    EXPECT_EQ(defaults.value(KZUserDefaults::kHowManyDaysForNewLogFile).toInt(), 14);
    // No log, no period to choose.
    click(window->createLogCheckBtn());
    EXPECT_TRUE(waitOnDisk(KZUserDefaults::kWriteLog, QStringLiteral("false")));
    EXPECT_FALSE(window->createLogPopup()->isEnabled());

    // Changes made elsewhere show at once; a period not among the choices is kept as it is.
    defaults.setValue(KZUserDefaults::kShowAlert, true);
    defaults.setValue(KZUserDefaults::kHowManyDaysForNewLogFile, QVariant::fromValue(qint16(3)));
    defaults.setValue(KZUserDefaults::kWriteLog, true);
    EXPECT_TRUE(window->showAlertCheckBtn()->isChecked());
    EXPECT_EQ(window->createLogPopup()->currentData().toInt(), 3);
    EXPECT_TRUE(window->createLogPopup()->currentText().contains(u'3'));
    EXPECT_TRUE(window->createLogPopup()->isEnabled());
}

TEST_F(Preferences, RecordersTakeRealKeysWithAModifierAndTheClearButtonLeavesNoHotKey)
{
    if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty())
        GTEST_SKIP() << "xdotool is not installed";
    auto window = makeWindow();
    KZHotKeyRecorder *recorder = window->etHotKeyFld();
    EXPECT_EQ(
        recorder->keySequence(),
        QKeySequence(QKeyCombination(Qt::MetaModifier | Qt::ControlModifier, Qt::Key_Backspace)));
    focus(recorder);

    // A key alone is refused: the hot key stays as it was.
    xdotool({QStringLiteral("key"), QStringLiteral("k")});
    QTest::qWait(300);
    EXPECT_EQ(defaults.dictionaryForKey(KZUserDefaults::kEmptyTrash),
              KZUserDefaults::defaultValues().value(KZUserDefaults::kEmptyTrash).toMap());

    // With modifiers it is taken, and written at once in the settings' form.
    xdotool({QStringLiteral("key"), QStringLiteral("alt+shift+k")});
    const QVariantMap altShiftK{
        {KZUserDefaults::kKeyCode, uint(Qt::Key_K)},
        {KZUserDefaults::kModifierFlags, uint((Qt::AltModifier | Qt::ShiftModifier).toInt())}};
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return defaults.dictionaryForKey(KZUserDefaults::kEmptyTrash) == altShiftK; }, 5000))
        << defaults.value(KZUserDefaults::kEmptyTrash).toString().toStdString();

    // Delete and Backspace are keys to record, not a way to clear; Super is Meta.
    xdotool({QStringLiteral("key"), QStringLiteral("super+ctrl+Delete")});
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return KZHotKeyRecorder::combinationOf(
                       defaults.dictionaryForKey(KZUserDefaults::kEmptyTrash))
                   == QKeyCombination(Qt::MetaModifier | Qt::ControlModifier, Qt::Key_Delete);
        },
        5000));
    xdotool({QStringLiteral("key"), QStringLiteral("BackSpace")});
    QTest::qWait(300);
    EXPECT_EQ(
        KZHotKeyRecorder::combinationOf(defaults.dictionaryForKey(KZUserDefaults::kEmptyTrash))
            .key(),
        Qt::Key_Delete);

    // The clear button: no hot key, kept as such in the file (not the default coming back).
    auto *clear = recorder->findChild<QLineEdit *>()->findChild<QToolButton *>();
    ASSERT_NE(clear, nullptr);
    QTest::mouseClick(clear, Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return defaults.dictionaryForKey(KZUserDefaults::kEmptyTrash).isEmpty(); }, 5000));
    EXPECT_TRUE(defaults.hasUserValue(KZUserDefaults::kEmptyTrash));
    defaults.synchronize();
    KZUserDefaults reread(defaults.fileName());
    reread.setupDefaultsPreferences();
    EXPECT_TRUE(reread.dictionaryForKey(KZUserDefaults::kEmptyTrash).isEmpty());
    // The other recorder was never touched, also not by the window going away (a key sequence
    // edit empties itself as it is destroyed).
    EXPECT_FALSE(defaults.hasUserValue(KZUserDefaults::kSmartDelete));
    window.reset();
    EXPECT_FALSE(defaults.hasUserValue(KZUserDefaults::kSmartDelete));
    EXPECT_FALSE(KZUserDefaults::sharedControl().hasUserValue(KZUserDefaults::kSmartDelete));
}

TEST_F(Preferences, DoneWritesOneValidAutostartEntryRestoreLeavesItAndDoneWithTheBoxOffRemovesIt)
{
    int stops = 0;
    QObject observer;
    KZNotificationCenter::defaultCenter().addObserver(KZDeleteItems::kStopWorkingNotification,
                                                      nullptr, &observer,
                                                      [&](const KZNotification &) { ++stops; });
    const auto window = makeWindow();
    EXPECT_FALSE(window->isInstalledStartup());

    // Closed without Done: the box's setting is kept, the login items are not touched.
    click(window->launchCheckBtn());
    window->close();
    EXPECT_FALSE(QFile::exists(autostartFile()));
    EXPECT_EQ(stops, 0);

    for (int round = 0; round < 2; ++round) {
        window->openWindowInModal(false);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        QTest::mouseClick(window->doneBtn(), Qt::LeftButton);
        EXPECT_FALSE(window->isVisible());
        EXPECT_EQ(stops, round + 1);
        // One entry, however often Done is used.
        EXPECT_EQ(QDir(autostartDir()).entryList(QDir::Files),
                  QStringList{QStringLiteral("org.binwise.Binwise.desktop")});
    }
    EXPECT_TRUE(window->isInstalledStartup());
    EXPECT_EQ(window->itemRefInLoginItems(), autostartFile());

    QFile entry(autostartFile());
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = entry.readAll().split('\n');
    EXPECT_EQ(lines.first(), "[Desktop Entry]");
    EXPECT_TRUE(lines.contains("Type=Application"));
    // The running executable, by its absolute path.
    EXPECT_TRUE(lines.contains("Exec=\"" + executable().toUtf8() + '"')) << lines.join('|').data();
    if (!QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate")).isEmpty()) {
        QProcess validate;
        validate.start(QStringLiteral("desktop-file-validate"), {autostartFile()});
        ASSERT_TRUE(validate.waitForFinished(10000));
        EXPECT_EQ(validate.exitCode(), 0) << validate.readAllStandardOutput().toStdString();
        EXPECT_TRUE(validate.readAllStandardOutput().trimmed().isEmpty());
    }

    // Restore returns the eight keys (the login box among them) and leaves the others.
    window->openWindowInModal(false);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    const QVariantMap changed{
        {KZUserDefaults::kEmptyTrash, QVariantMap()},
        {KZUserDefaults::kSmartDelete,
         QVariantMap{{KZUserDefaults::kKeyCode, uint(Qt::Key_J)},
                     {KZUserDefaults::kModifierFlags, uint(Qt::AltModifier)}}},
        {KZUserDefaults::kWriteLog, false},
        {KZUserDefaults::kHowManyDaysForNewLogFile, QVariant::fromValue(qint16(30))},
        {KZUserDefaults::kShowAlert, false},
        {KZUserDefaults::kDeleteLocked, true},
        {KZUserDefaults::kAskUnistallOldBinwise, false},
        {KZUserDefaults::kIsFirstRun, false},
        {KZUserDefaults::kNewsletterSubscribed, true},
        {KZUserDefaults::kShowSRMNotAvailable, false},
    };
    for (auto it = changed.cbegin(); it != changed.cend(); ++it)
        defaults.setValue(it.key(), it.value());

    QTest::mouseClick(window->restoreBtn(), Qt::LeftButton);
    const QVariantMap factory = KZUserDefaults::defaultValues();
    for (const QString &key : KZUserDefaults::restorableKeys())
        EXPECT_EQ(defaults.value(key), factory.value(key)) << key.toStdString();
    // What records events rather than choices stays.
    EXPECT_FALSE(defaults.boolForKey(KZUserDefaults::kIsFirstRun));
    EXPECT_TRUE(defaults.boolForKey(KZUserDefaults::kNewsletterSubscribed));
    EXPECT_FALSE(defaults.boolForKey(KZUserDefaults::kShowSRMNotAvailable));
    // On disk too, and the controls show the defaults.
    EXPECT_TRUE(waitOnDisk(KZUserDefaults::kDeleteLocked, QStringLiteral("false")));
    // INI keys keep their spaces percent-encoded.
    EXPECT_EQ(onDisk(QStringLiteral("Is%20first%20run")).toString(), QStringLiteral("false"));
    EXPECT_EQ(onDisk(KZUserDefaults::kLaunchAtLogin).toString(), QStringLiteral("false"));
    EXPECT_FALSE(window->launchCheckBtn()->isChecked());
    EXPECT_TRUE(window->showAlertCheckBtn()->isChecked());
    EXPECT_EQ(window->createLogPopup()->currentData().toInt(), 7);
    EXPECT_EQ(window->smHotKeyFld()->keySequence(),
              QKeySequence(QKeyCombination(Qt::MetaModifier | Qt::ShiftModifier, Qt::Key_S)));
    EXPECT_FALSE(window->etHotKeyFld()->keySequence().isEmpty());
    // The login item changes on Done only.
    EXPECT_TRUE(QFile::exists(autostartFile()));

    // Done with the box off removes the entry.
    QTest::mouseClick(window->doneBtn(), Qt::LeftButton);
    EXPECT_FALSE(QFile::exists(autostartFile()));
    EXPECT_FALSE(window->isInstalledStartup());

    // An autostart folder that cannot be made (a file stands in its place, which even root
    // cannot write into): the box keeps the wish, and the user is told why nothing changed.
    ASSERT_TRUE(QDir(autostartDir()).removeRecursively());
    QFile blocker(autostartDir());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const auto script = std::make_shared<KZScriptedAlertBackend>();
    KZTUErrorDelegate &presenter = KZTUErrorDelegate::sharedControl();
    const std::shared_ptr<KZAlertBackend> previous = presenter.backend();
    presenter.setBackend(script);
    window->openWindowInModal(false);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    click(window->launchCheckBtn());
    QTest::mouseClick(window->doneBtn(), Qt::LeftButton);
    presenter.setBackend(previous);
    EXPECT_TRUE(defaults.boolForKey(KZUserDefaults::kLaunchAtLogin));
    ASSERT_EQ(script->shownIdentifiers(), QStringList{QStringLiteral("login_item_error")});
    EXPECT_TRUE(script->shown().constFirst().request.messageText.contains(autostartFile()))
        << script->shown().constFirst().request.messageText.toStdString();
}

TEST_F(Preferences, CheckForUpdatesOpensTheReleasesPageAndTheWindowSaysWhyHotKeysAreOff)
{
    const auto window = makeWindow();
    {
        KZUrlRecorder browser({QStringLiteral("https")});
        QTest::mouseClick(window->checkUpdatesMenuItem(), Qt::LeftButton);
        EXPECT_EQ(browser.urls(), QList<QUrl>{kReleases});
        EXPECT_FALSE(window->goTo(QStringLiteral("not a url")));
        EXPECT_EQ(browser.urls().size(), 1);
    }
    QTest::qWait(200);
    KZGuiTestSupport::saveScreenshots(window.get(), QStringLiteral("preferences"));
    window->close();

    const QString why = QStringLiteral("this Wayland desktop does not offer global shortcuts to "
                                       "applications (the desktop portal has no GlobalShortcuts).");
    const auto off = makeWindow({false, why});
    EXPECT_TRUE(off->hotKeysNote()->text().contains(why))
        << off->hotKeysNote()->text().toStdString();
    QTest::qWait(200);
    KZGuiTestSupport::saveScreenshots(off.get(), QStringLiteral("preferences-hotkeys-off"));
}
