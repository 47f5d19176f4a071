// The real binwise's hot keys on this process's X server, pressed with xdotool from no window
// of binwise's: the default one empties every Trash after the real confirmation; a combination
// recorded in the preferences (opened from the tray menu) takes over at once and the old one
// stops; the tray menu shows the current combination.
#include "KZDBusMenuReader.h"
#include "KZTestTrash.h"
#include "KZTrayRun.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QStandardPaths>
#include <QTest>

namespace {

// The keys of a menu entry's "shortcut" property (aas), joined by "+".
QString shortcutOf(const KZDBusMenuItem &item)
{
    const QVariant value = item.properties.value(QStringLiteral("shortcut"));
    QStringList keys;
    if (value.canConvert<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        argument.beginArray();
        while (!argument.atEnd()) {
            QStringList combination;
            argument >> combination;
            keys << combination.join(u'+');
        }
        argument.endArray();
    }
    return keys.join(u',');
}

} // namespace

TEST(DesktopHotKeys, DefaultKeyEmptiesEveryTrashAndARecordedOneTakesOverAtOnce)
{
    if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty())
        GTEST_SKIP() << "xdotool is not installed";
    KZTrayRun run(true);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    QString whyNot;
    const QByteArray work = run.runner.addVolume("Work", &whyNot);
    if (work.isEmpty())
        GTEST_SKIP() << qPrintable(whyNot);
    const QByteArray other = run.runner.addVolume("Other", &whyNot);
    ASSERT_FALSE(other.isEmpty()) << qPrintable(whyNot);
    KZTestTrash workTrash = KZTestTrash::onVolume(work);
    KZTestTrash otherTrash = KZTestTrash::onVolume(other);
    workTrash.addFile("report.pdf", QByteArray(20000, 'x'));
    otherTrash.addFile("notes.txt", QByteArray(300, 'y'));

    QProcess &binwise = run.start();
    QString path;
    const QString service = run.waitForItem(&path);
    ASSERT_FALSE(service.isEmpty()) << binwise.readAllStandardError().toStdString();
    KZDBusMenuReader reader(run.watcher.connection(), service, path);
    std::optional<KZDBusMenuItem> root = reader.layout();
    ASSERT_TRUE(root);
    ASSERT_TRUE(root->child(QStringLiteral("Empty All Trashes")));
    EXPECT_EQ(shortcutOf(*root->child(QStringLiteral("Empty All Trashes"))),
              QStringLiteral("Super+Control+Backspace"));

    // The default hot key, with no window of binwise's anywhere: the confirmation comes up,
    // Return erases every Trash.
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("super+ctrl+BackSpace")});
    const QByteArray confirmation = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(confirmation.isEmpty()) << "no confirmation after the hot key";
    KZTrayRun::press(confirmation, QStringLiteral("Return"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return KZTestFiles::namesIn(workTrash.files()).isEmpty()
                   && KZTestFiles::namesIn(otherTrash.files()).isEmpty();
        },
        30000))
        << "the Trashes were not emptied";
    ASSERT_TRUE(KZTrayRun::windowsShown(0, 10000));

    // The preferences from the tray menu: the first recorder has the focus; a new combination
    // is recorded and kept with Done.
    root = reader.layout();
    ASSERT_TRUE(root && root->child(QStringLiteral("Preferences")));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            root = reader.layout();
            return root->child(QStringLiteral("Preferences"))->enabled();
        },
        10000));
    ASSERT_TRUE(reader.click(root->child(QStringLiteral("Preferences"))->id));
    const QByteArray preferences = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(preferences.isEmpty()) << "no preferences window";
    KZTrayRun::press(preferences, QStringLiteral("alt+shift+k"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            root = reader.layout();
            return root
                   && shortcutOf(*root->child(QStringLiteral("Empty All Trashes")))
                          == QStringLiteral("Alt+Shift+K");
        },
        10000))
        << "the menu did not follow the recorded hot key: "
        << shortcutOf(*root->child(QStringLiteral("Empty All Trashes"))).toStdString();
    // Return, still in the recorder, is the window's: Done.
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("Return")});
    ASSERT_TRUE(KZTrayRun::windowsShown(0, 10000)) << "Done did not close the preferences";

    // The old combination does nothing any more; the new one asks, and Escape keeps the items.
    workTrash.addFile("draft.txt", QByteArray(100, 'z'));
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("super+ctrl+BackSpace")});
    EXPECT_TRUE(KZTrayRun::shownWindow(1500).isEmpty()) << "the old hot key still works";
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("alt+shift+k")});
    const QByteArray again = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(again.isEmpty()) << "the recorded hot key does not work";
    KZTrayRun::press(again, QStringLiteral("Escape"));
    ASSERT_TRUE(KZTrayRun::windowsShown(0, 10000));
    EXPECT_FALSE(KZTestFiles::namesIn(workTrash.files()).isEmpty());

    root = reader.layout();
    ASSERT_TRUE(root && reader.click(root->child(QStringLiteral("Quit Binwise"))->id));
    ASSERT_TRUE(binwise.waitForFinished(10000));
    EXPECT_EQ(binwise.exitCode(), 0);
}
