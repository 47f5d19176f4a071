// Global hot keys on a private X server, pressed with xdotool as a person would: the X11 grabs
// alone, and the application controller's registration rules over a real engine and Trash.
#include "gui/platform/x11/KZX11GlobalShortcuts.h"
#include "KZEraseTestSupport.h"
#include "KZReadyStatusMenuFace.h"
#include "presentation/KZBinwise.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QWidget>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>

namespace {

const QKeyCombination kEmptyTrashDefault(Qt::MetaModifier | Qt::ControlModifier, Qt::Key_Backspace);
// Long enough for a key press to have come through, had it been grabbed.
constexpr int kQuietMs = 400;

bool xdotoolPresent()
{
    return !QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty();
}

void press(const QString &keys)
{
    QProcess xdotool;
    xdotool.start(QStringLiteral("xdotool"), {QStringLiteral("key"), keys});
    ASSERT_TRUE(xdotool.waitForFinished(10000));
    ASSERT_EQ(xdotool.exitCode(), 0) << xdotool.readAllStandardError().toStdString();
}

bool anyWindowShown()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::any_of(windows.cbegin(), windows.cend(),
                       [](const QWidget *window) { return window->isVisible(); });
}

// Another X client, with a connection of its own.
struct OtherClient
{
    OtherClient()
        : connection(xcb_connect(nullptr, nullptr))
    {
        root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        xcb_key_symbols_t *symbols = xcb_key_symbols_alloc(connection);
        xcb_keycode_t *codes = xcb_key_symbols_get_keycode(symbols, 0xff08); // BackSpace
        keycode = codes ? codes[0] : 0;
        std::free(codes);
        xcb_key_symbols_free(symbols);
    }
    ~OtherClient() { xcb_disconnect(connection); }

    bool grab(std::uint16_t modifiers)
    {
        xcb_generic_error_t *error = xcb_request_check(
            connection, xcb_grab_key_checked(connection, 1, root, modifiers, keycode,
                                             XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        std::free(error);
        return !error;
    }
    void ungrab(std::uint16_t modifiers)
    {
        xcb_ungrab_key(connection, keycode, root, modifiers);
        xcb_flush(connection);
    }
    // Whether a press of keycode reached this client within ms.
    bool received(int ms)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < ms) {
            while (xcb_generic_event_t *event = xcb_poll_for_event(connection)) {
                const bool press
                    = (event->response_type & 0x7f) == XCB_KEY_PRESS
                      && reinterpret_cast<xcb_key_press_event_t *>(event)->detail == keycode;
                std::free(event);
                if (press)
                    return true;
            }
            QTest::qWait(20);
        }
        return false;
    }

    xcb_connection_t *connection;
    xcb_window_t root = 0;
    xcb_keycode_t keycode = 0;
};

struct ControllerOnX11
{
    explicit ControllerOnX11(bool withSmartWindow)
    {
        erase.script->answerAlways(KZBWAlert::kConfirmationIdentifier,
                                   KZScriptedAlertBackend::Answer(KZAlertFirstButtonReturn));
        KZBinwise::Environment environment;
        environment.engine = erase.engine.get();
        environment.userDefaults = &erase.defaults;
        environment.presenter = &erase.presenter;
        environment.globalShortcuts = &shortcuts;
        environment.locations = [this](QList<KZError> *) {
            return QList<KZTrashLocation>{erase.trash.location(QStringLiteral("Home"))};
        };
        if (withSmartWindow)
            environment.smartDeletection = [this] {
                ++smartWindows;
            };
        controller = std::make_unique<KZBinwise>(&face, environment);
        // Past the first run: its disclaimer and welcome have tests of their own.
        erase.defaults.setValue(KZUserDefaults::kIsFirstRun, false);
    }

    // Whether the Trash's item goes within ms.
    bool erased(const QByteArray &item, int ms = 10000)
    {
        return QTest::qWaitFor([&] { return !KZTestFiles::exists(item); }, ms);
    }

    KZEraseFixture erase;
    KZX11GlobalShortcuts shortcuts;
    KZReadyStatusMenuFace face;
    int smartWindows = 0;
    std::unique_ptr<KZBinwise> controller;
};

} // namespace

TEST(X11GlobalShortcuts, AGrabFiresInEveryLockStateForItsExactModifiersUntilUnregistered)
{
    if (!xdotoolPresent())
        GTEST_SKIP() << "xdotool is not installed";
    KZX11GlobalShortcuts shortcuts;
    ASSERT_TRUE(shortcuts.availability().available);
    EXPECT_TRUE(shortcuts.availability().reason.isEmpty());
    QSignalSpy fired(&shortcuts, &KZGlobalShortcuts::activated);
    ASSERT_TRUE(shortcuts.registerShortcut(QStringLiteral("a"), kEmptyTrashDefault));
    ASSERT_TRUE(shortcuts.registerShortcut(
        QStringLiteral("b"), QKeyCombination(Qt::AltModifier | Qt::ShiftModifier, Qt::Key_K)));

    press(QStringLiteral("super+ctrl+BackSpace"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return fired.size() == 1; }, 5000));
    EXPECT_EQ(fired.at(0).at(0).toString(), QStringLiteral("a"));
    press(QStringLiteral("alt+shift+k"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return fired.size() == 2; }, 5000));
    EXPECT_EQ(fired.at(1).at(0).toString(), QStringLiteral("b"));

    // Caps Lock and Num Lock on: the same keys still work.
    press(QStringLiteral("Caps_Lock"));
    press(QStringLiteral("Num_Lock"));
    press(QStringLiteral("super+ctrl+BackSpace"));
    const bool firedLocked = QTest::qWaitFor([&] { return fired.size() == 3; }, 5000);
    press(QStringLiteral("Caps_Lock"));
    press(QStringLiteral("Num_Lock"));
    EXPECT_TRUE(firedLocked) << "the hot key did not work with Caps Lock and Num Lock on";

    // One modifier more or less is another combination.
    const qsizetype before = fired.size();
    press(QStringLiteral("super+ctrl+shift+BackSpace"));
    press(QStringLiteral("ctrl+BackSpace"));
    press(QStringLiteral("shift+k"));
    QTest::qWait(kQuietMs);
    EXPECT_EQ(fired.size(), before);

    shortcuts.unregisterShortcut(QStringLiteral("a"));
    EXPECT_FALSE(shortcuts.isRegistered(QStringLiteral("a")));
    EXPECT_TRUE(shortcuts.isRegistered(QStringLiteral("b")));
    press(QStringLiteral("super+ctrl+BackSpace"));
    QTest::qWait(kQuietMs);
    EXPECT_EQ(fired.size(), before);
    // A key Qt has no X key for cannot be registered.
    EXPECT_FALSE(shortcuts.registerShortcut(
        QStringLiteral("c"), QKeyCombination(Qt::ControlModifier, Qt::Key_MediaTogglePlayPause)));
}

TEST(X11GlobalShortcuts, ACombinationAnotherClientHoldsStaysOffSilentlyAndTheOtherKeepsIt)
{
    if (!xdotoolPresent())
        GTEST_SKIP() << "xdotool is not installed";
    OtherClient other;
    ASSERT_NE(other.keycode, 0);
    const std::uint16_t superControl = XCB_MOD_MASK_4 | XCB_MOD_MASK_CONTROL;
    ASSERT_TRUE(other.grab(superControl));

    KZX11GlobalShortcuts shortcuts;
    QSignalSpy fired(&shortcuts, &KZGlobalShortcuts::activated);
    EXPECT_FALSE(shortcuts.registerShortcut(QStringLiteral("a"), kEmptyTrashDefault));
    EXPECT_FALSE(shortcuts.isRegistered(QStringLiteral("a")));
    QApplication::processEvents();
    EXPECT_FALSE(anyWindowShown()) << "a refused hot key must not show anything";

    press(QStringLiteral("super+ctrl+BackSpace"));
    EXPECT_TRUE(other.received(5000)) << "the other client lost its combination";
    EXPECT_EQ(fired.size(), 0);

    // Once the other client lets go, the combination can be had.
    other.ungrab(superControl);
    ASSERT_TRUE(shortcuts.registerShortcut(QStringLiteral("a"), kEmptyTrashDefault));
    press(QStringLiteral("super+ctrl+BackSpace"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return fired.size() == 1; }, 5000));
}

TEST(HotKeys, TheControllerRegistersFromTheSettingsLetsGoOfAClearedKeyAndLeavesIsWorking)
{
    if (!xdotoolPresent())
        GTEST_SKIP() << "xdotool is not installed";
    ControllerOnX11 f(false);
    f.controller->applicationDidFinishLaunching();
    EXPECT_TRUE(f.shortcuts.isRegistered(KZBinwise::kEmptyTrashKeyPath));
    // This build has no smart-delete window: its combination is left to other programs.
    EXPECT_FALSE(f.shortcuts.isRegistered(KZBinwise::kSmartDeleteKeyPath));

    // The default combination empties the Trash (the confirmation answered) and leaves
    // isWorking as it was.
    const QByteArray first = f.erase.trash.addFile("first");
    press(QStringLiteral("super+ctrl+BackSpace"));
    ASSERT_TRUE(f.erased(first));
    EXPECT_FALSE(f.controller->isWorking());
    EXPECT_EQ(f.erase.script->shownIdentifiers(), QStringList{KZBWAlert::kConfirmationIdentifier});
    ASSERT_TRUE(f.erase.waitForEnd());

    // A cleared one registers nothing: the default combination does nothing any more.
    f.erase.defaults.setValue(KZUserDefaults::kEmptyTrash, QVariantMap());
    EXPECT_FALSE(f.shortcuts.isRegistered(KZBinwise::kEmptyTrashKeyPath));
    const QByteArray second = f.erase.trash.addFile("second");
    press(QStringLiteral("super+ctrl+BackSpace"));
    QTest::qWait(kQuietMs + KZBinwise::kMenuActionDelayMs);
    EXPECT_TRUE(KZTestFiles::exists(second));
    EXPECT_EQ(f.erase.script->shownIdentifiers().size(), 1);
}

TEST(HotKeys, NothingStartsWhileAJobConfirmsAndTheSmartDeleteKeyOpensItsWindow)
{
    if (!xdotoolPresent())
        GTEST_SKIP() << "xdotool is not installed";
    ControllerOnX11 f(true);
    f.controller->applicationDidFinishLaunching();
    ASSERT_TRUE(f.shortcuts.isRegistered(KZBinwise::kSmartDeleteKeyPath));
    press(QStringLiteral("super+shift+s"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return f.smartWindows == 1; }, 5000));

    // While the confirmation is up, both hot keys are pressed: neither a second erase nor the
    // window starts.
    QSignalSpy fired(&f.shortcuts, &KZGlobalShortcuts::activated);
    KZScriptedAlertBackend::Answer answer(KZAlertFirstButtonReturn);
    answer.waitMs = 1;
    answer.waitUntil = [&] {
        press(QStringLiteral("super+ctrl+BackSpace"));
        press(QStringLiteral("super+shift+s"));
        (void)QTest::qWaitFor([&] { return fired.size() == 3; }, 5000);
        QTest::qWait(2 * KZBinwise::kMenuActionDelayMs);
        return true;
    };
    f.erase.script->enqueue(answer);
    const QByteArray item = f.erase.trash.addFile("item");
    press(QStringLiteral("super+ctrl+BackSpace"));
    ASSERT_TRUE(f.erased(item));
    ASSERT_TRUE(f.erase.waitForEnd());
    QTest::qWait(2 * KZBinwise::kMenuActionDelayMs);
    EXPECT_EQ(fired.size(), 3) << "the presses during the confirmation did not come through";
    EXPECT_EQ(f.erase.script->shownIdentifiers(), QStringList{KZBWAlert::kConfirmationIdentifier});
    EXPECT_EQ(f.smartWindows, 1);
}
