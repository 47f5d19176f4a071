// The real binwise executable in tray mode, read over a private session bus exactly as a
// StatusNotifierItem panel reads it: the menu through com.canonical.dbusmenu, the tooltip from
// the item; its hot keys pressed with xdotool from no window of binwise's. Its volumes are tmpfs
// mounts of the test; its home is the test's sandbox.
#include "KZCliRunner.h"
#include "KZDBusMenuReader.h"
#include "KZStatusNotifierWatcher.h"
#include "KZTestTrash.h"
#include "KZTrayRun.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Many empty files, so that measuring and erasing the Trash take long enough to be watched.
bool fillTrash(KZTestTrash &trash, int count)
{
    const QByteArray folder = trash.files() + "/many";
    if (!KZTestFiles::makeFolders(folder))
        return false;
    trash.writeInfo("many", "/home/user/many");
    for (int i = 0; i < count; ++i) {
        const QByteArray path = folder + "/f" + QByteArray::number(i);
        const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        if (fd < 0)
            return false;
        ::close(fd);
    }
    return true;
}

std::optional<KZDBusMenuItem> row(const KZDBusMenuItem &root, const QString &volume)
{
    const std::optional<KZDBusMenuItem> submenu = root.child(QStringLiteral("Empty the Trash of"));
    return submenu ? submenu->child(volume + QStringLiteral("…")) : std::nullopt;
}

} // namespace

TEST(TrayStatusNotifier, MenuOverDBusMenuMeasuresRowsAndARowEmptiesOnlyItsVolume)
{
    KZTrayRun run(true);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    QString whyNot;
    const QByteArray work = run.runner.addVolume("Work", &whyNot);
    if (work.isEmpty())
        GTEST_SKIP() << qPrintable(whyNot);
    const QByteArray keep = run.runner.addVolume("Keep", &whyNot);
    const QByteArray empty = run.runner.addVolume("Void", &whyNot);
    ASSERT_FALSE(keep.isEmpty() || empty.isEmpty()) << qPrintable(whyNot);
    KZTestTrash workTrash = KZTestTrash::onVolume(work);
    ASSERT_TRUE(fillTrash(workTrash, 60000));
    KZTestTrash keepTrash = KZTestTrash::onVolume(keep);
    const QByteArray kept = keepTrash.addFile("kept");
    KZTestTrash voidTrash = KZTestTrash::onVolume(empty);
    ASSERT_TRUE(KZTestFiles::makeFolders(voidTrash.files()));

    QProcess &binwise = run.start();
    QString path;
    const QString service = run.waitForItem(&path);
    ASSERT_FALSE(service.isEmpty())
        << "no item registered; binwise said: " << binwise.readAllStandardError().toStdString();
    KZDBusMenuReader reader(run.watcher.connection(), service, path);
    EXPECT_TRUE(reader.toolTip().contains(QStringLiteral("Binwise")))
        << qPrintable(reader.toolTip());

    ASSERT_TRUE(reader.aboutToShow(0));
    QString error;
    std::optional<KZDBusMenuItem> root = reader.layout(&error);
    ASSERT_TRUE(root) << qPrintable(error);
    QStringList labels;
    for (const KZDBusMenuItem &item : root->children)
        labels.append(item.isSeparator() ? QStringLiteral("-") : item.label());
    EXPECT_EQ(
        labels,
        (QStringList{QStringLiteral("Empty All Trashes"), QStringLiteral("Empty the Trash of"),
                     QStringLiteral("Smart Delete…"), QStringLiteral("Show the Trashes…"),
                     QStringLiteral("-"), QStringLiteral("Preferences…"), QStringLiteral("Help"),
                     QStringLiteral("About Binwise"), QStringLiteral("Quit Binwise")}));
    const KZDBusMenuItem emptyAll = *root->child(QStringLiteral("Empty All Trashes"));
    EXPECT_TRUE(emptyAll.enabled());
    // The hot key travels as the item's shortcut.
    EXPECT_TRUE(emptyAll.properties.contains(QStringLiteral("shortcut")));

    // Opening the submenu makes the rows; the big Trash is still being measured. (The live
    // totals may have measured it already, and a row takes a recorded size at once: a new
    // time on its info file makes that record stale, so this opening has to walk.)
    const struct timespec stale[2] = {{0, UTIME_OMIT}, {1000000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, workTrash.infoPath("many").constData(), stale, 0), 0);
    const int submenuId = root->child(QStringLiteral("Empty the Trash of"))->id;
    ASSERT_TRUE(reader.aboutToShow(submenuId));
    root = reader.layout(&error);
    ASSERT_TRUE(root) << qPrintable(error);
    std::optional<KZDBusMenuItem> workRow = row(*root, QStringLiteral("Work"));
    ASSERT_TRUE(workRow);
    EXPECT_EQ(workRow->label(), QStringLiteral("Work… — Gathering information…"));
    EXPECT_TRUE(workRow->enabled());
    const std::optional<KZDBusMenuItem> voidRow = row(*root, QStringLiteral("Void"));
    ASSERT_TRUE(voidRow);
    EXPECT_EQ(voidRow->label(), QStringLiteral("Void… — Trash is empty"));
    EXPECT_FALSE(voidRow->enabled());

    // The measurement reaches the open menu, announced as a panel expects it: the row's new
    // label comes as an updated property of that row, or as a new layout of its submenu.
    const qsizetype layoutsBefore = reader.layoutParents().size();
    const qsizetype propertiesBefore = reader.updatedIds().size();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            root = reader.layout();
            return root && row(*root, QStringLiteral("Work")) && row(*root, QStringLiteral("Keep"))
                   && !row(*root, QStringLiteral("Work"))
                           ->label()
                           .contains(QStringLiteral("Gathering"))
                   && !row(*root, QStringLiteral("Keep"))
                           ->label()
                           .contains(QStringLiteral("Gathering"));
        },
        30000));
    workRow = row(*root, QStringLiteral("Work"));
    EXPECT_TRUE(QTest::qWaitFor([&] {
        return reader.updatedIds().mid(propertiesBefore).contains(workRow->id)
               || reader.layoutParents().mid(layoutsBefore).contains(submenuId)
               || reader.layoutParents().mid(layoutsBefore).contains(0);
    })) << "the open menu was not told of the measurement";
    EXPECT_TRUE(workRow->label().startsWith(QStringLiteral("Work… — 60,001 items, ")))
        << qPrintable(workRow->label());
    const std::optional<KZDBusMenuItem> keepRow = row(*root, QStringLiteral("Keep"));
    EXPECT_TRUE(keepRow->label().startsWith(QStringLiteral("Keep… — 1 item, ")))
        << qPrintable(keepRow->label());

    // A click on Work's row asks for confirmation. While the confirmation is up (a nested
    // event loop in binwise) the menu is disabled, and a second click (on all Trashes, on
    // another row) starts nothing.
    ASSERT_TRUE(reader.click(workRow->id));
    const QByteArray confirmation = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(confirmation.isEmpty()) << "no confirmation";
    const auto disabledNow = [&] {
        const std::optional<KZDBusMenuItem> now = reader.layout();
        const std::optional<KZDBusMenuItem> keepNow
            = now ? row(*now, QStringLiteral("Keep")) : std::nullopt;
        return now && keepNow && !now->child(QStringLiteral("Empty All Trashes"))->enabled()
               && !keepNow->enabled();
    };
    ASSERT_TRUE(QTest::qWaitFor(disabledNow, 5000)) << "the menu stays enabled while confirming";
    root = reader.layout();
    EXPECT_TRUE(reader.click(root->child(QStringLiteral("Empty All Trashes"))->id));
    EXPECT_TRUE(reader.click(row(*root, QStringLiteral("Keep"))->id));
    QTest::qWait(500);
    EXPECT_EQ(KZTrayRun::windows(QStringLiteral("binwise"), true).size(), 1)
        << "a second click opened another window";

    // Return chooses the confirmation's default button, Empty Trash. The erase runs with the
    // menu disabled; a click now starts nothing either.
    KZTrayRun::press(confirmation, QStringLiteral("Return"));
    bool clickedDuringErase = false;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const bool erased = KZTestFiles::namesIn(workTrash.files()).isEmpty();
            if (!erased && !clickedDuringErase && disabledNow()) {
                const std::optional<KZDBusMenuItem> now = reader.layout();
                clickedDuringErase
                    = now && reader.click(now->child(QStringLiteral("Empty All Trashes"))->id);
            }
            const std::optional<KZDBusMenuItem> now = reader.layout();
            return erased && now && now->child(QStringLiteral("Empty All Trashes"))->enabled();
        },
        60000))
        << "the erase did not end with the menu enabled again";
    EXPECT_TRUE(clickedDuringErase) << "the erase was over before the menu could be clicked";
    EXPECT_TRUE(KZTestFiles::exists(kept)) << "a second click emptied another Trash";
    // One job: its log is the volume's alone.
    EXPECT_EQ(run.runner.logFolders(), QStringList{QStringLiteral("Work")});

    // Quit ends binwise normally.
    root = reader.layout();
    ASSERT_TRUE(root);
    ASSERT_TRUE(reader.click(root->child(QStringLiteral("Quit Binwise"))->id));
    ASSERT_TRUE(binwise.waitForFinished(10000));
    EXPECT_EQ(binwise.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(binwise.exitCode(), 0);
}

TEST(TrayStatusNotifier,
     SmartDeleteHoldsTheMenuEmptyAllAndItsHotKeysTakeEveryTrashAndASecondStartHandsOver)
{
    KZTrayRun run(true);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    QString whyNot;
    const QByteArray first = run.runner.addVolume("First", &whyNot);
    if (first.isEmpty())
        GTEST_SKIP() << qPrintable(whyNot);
    const QByteArray second = run.runner.addVolume("Second", &whyNot);
    ASSERT_FALSE(second.isEmpty()) << qPrintable(whyNot);
    KZTestTrash firstTrash = KZTestTrash::onVolume(first);
    firstTrash.addFile("old.txt");
    firstTrash.addFolder("old folder", {"a", "b/c"});
    KZTestTrash secondTrash = KZTestTrash::onVolume(second);
    secondTrash.addFile("draft.odt", QByteArray(5000, 'd'));
    // Beside the Trashes: never touched.
    ASSERT_TRUE(KZTestFiles::writeFile(first + "/keep.txt", "mine"));
    ASSERT_TRUE(KZTestFiles::makeFolders(second + "/.Trash-0-not"));
    ASSERT_TRUE(KZTestFiles::writeFile(second + "/.Trash-0-not/keep", "mine"));

    QProcess &binwise = run.start();
    QString path;
    const QString service = run.waitForItem(&path);
    ASSERT_FALSE(service.isEmpty()) << binwise.readAllStandardError().toStdString();
    KZDBusMenuReader reader(run.watcher.connection(), service, path);
    ASSERT_TRUE(reader.aboutToShow(0));
    std::optional<KZDBusMenuItem> root = reader.layout();
    ASSERT_TRUE(root);
    // The hot keys travel as the items' shortcuts.
    EXPECT_EQ(root->child(QStringLiteral("Empty All Trashes"))->shortcut(),
              QStringLiteral("Super+Control+Backspace"));
    const std::optional<KZDBusMenuItem> smartDelete = root->child(QStringLiteral("Smart Delete…"));
    ASSERT_TRUE(smartDelete);
    EXPECT_TRUE(smartDelete->enabled());
    EXPECT_FALSE(smartDelete->shortcut().isEmpty());
    ASSERT_TRUE(reader.click(smartDelete->id));
    const QByteArray window = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(window.isEmpty()) << "no smart-delete window";
    EXPECT_TRUE(KZTrayRun::xdotool({QStringLiteral("getwindowname"), QString::fromLatin1(window)})
                    .startsWith("Smart Delete"));
    // While it is open nothing else may start an erase.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            root = reader.layout();
            return root && !root->child(QStringLiteral("Empty All Trashes"))->enabled()
                   && !root->child(QStringLiteral("Smart Delete…"))->enabled();
        },
        10000));
    // Closing it (its Cancel, here Escape) ends the work with nothing erased.
    KZTrayRun::press(window, QStringLiteral("Escape"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            root = reader.layout();
            return KZTrayRun::windows(QStringLiteral("binwise"), true).isEmpty() && root
                   && root->child(QStringLiteral("Empty All Trashes"))->enabled();
        },
        10000));
    EXPECT_TRUE(KZTestFiles::exists(firstTrash.files() + "/old folder/b/c"));

    ASSERT_TRUE(reader.click(root->child(QStringLiteral("Empty All Trashes"))->id));
    const QByteArray confirmation = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(confirmation.isEmpty()) << "no confirmation";
    KZTrayRun::press(confirmation, QStringLiteral("Return"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            root = reader.layout();
            return KZTestFiles::namesIn(firstTrash.files()).isEmpty()
                   && KZTestFiles::namesIn(secondTrash.files()).isEmpty() && root
                   && root->child(QStringLiteral("Empty All Trashes"))->enabled();
        },
        30000));
    EXPECT_EQ(KZTestFiles::readFile(first + "/keep.txt"), "mine");
    EXPECT_EQ(KZTestFiles::readFile(second + "/.Trash-0-not/keep"), "mine");
    // The Trash folders themselves stay, ready for the next item.
    EXPECT_TRUE(KZTestFiles::exists(firstTrash.files()));
    EXPECT_TRUE(KZTestFiles::exists(secondTrash.files()));
    EXPECT_EQ(run.runner.logFolders(), QStringList{QStringLiteral("All Trashes")});

    // The default hot key, with no window of binwise's anywhere: the confirmation comes up,
    // Return erases every Trash.
    firstTrash.addFile("report.pdf", QByteArray(20000, 'x'));
    secondTrash.addFile("notes.txt", QByteArray(300, 'y'));
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("super+ctrl+BackSpace")});
    const QByteArray asked = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(asked.isEmpty()) << "no confirmation after the hot key";
    KZTrayRun::press(asked, QStringLiteral("Return"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return KZTestFiles::namesIn(firstTrash.files()).isEmpty()
                   && KZTestFiles::namesIn(secondTrash.files()).isEmpty();
        },
        30000))
        << "the hot key did not empty the Trashes";
    ASSERT_TRUE(KZTrayRun::windowsShown(0, 10000));

    // The preferences from the tray menu: the first recorder has the focus; a new combination
    // is recorded, the menu follows at once, and Return (the window's: Done) keeps it.
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            root = reader.layout();
            return root && root->child(QStringLiteral("Preferences"))->enabled();
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
                   && root->child(QStringLiteral("Empty All Trashes"))->shortcut()
                          == QStringLiteral("Alt+Shift+K");
        },
        10000))
        << "the menu did not follow the recorded hot key";
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("Return")});
    ASSERT_TRUE(KZTrayRun::windowsShown(0, 10000)) << "Done did not close the preferences";

    // The old combination does nothing any more; the new one asks, and Escape keeps the items.
    firstTrash.addFile("draft.txt", QByteArray(100, 'z'));
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("super+ctrl+BackSpace")});
    EXPECT_TRUE(KZTrayRun::shownWindow(1500).isEmpty()) << "the old hot key still works";
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("alt+shift+k")});
    const QByteArray again = KZTrayRun::shownWindow(10000);
    ASSERT_FALSE(again.isEmpty()) << "the recorded hot key does not work";
    KZTrayRun::press(again, QStringLiteral("Escape"));
    ASSERT_TRUE(KZTrayRun::windowsShown(0, 10000));
    EXPECT_FALSE(KZTestFiles::namesIn(firstTrash.files()).isEmpty());

    // A second start hands over to the first and ends without an icon of its own.
    QProcess &latecomer = run.start();
    ASSERT_TRUE(latecomer.waitForFinished(15000));
    EXPECT_EQ(latecomer.exitCode(), 0) << latecomer.readAllStandardError().toStdString();
    EXPECT_TRUE(latecomer.readAllStandardError().isEmpty());
    QTest::qWait(300);
    EXPECT_EQ(binwise.state(), QProcess::Running);
    EXPECT_EQ(run.watcher.registeredItems().size(), 1);
}

TEST(TrayStatusNotifier, TooltipAndIconFollowTrashCliPuttingAndEmptying)
{
    if (QStandardPaths::findExecutable(QStringLiteral("trash-put")).isEmpty())
        GTEST_SKIP() << "trash-cli is not installed";
    KZTrayRun run(true);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    QString whyNot;
    const QByteArray work = run.runner.addVolume("Work", &whyNot);
    if (work.isEmpty())
        GTEST_SKIP() << qPrintable(whyNot);
    const KZTestTrash trash = KZTestTrash::onVolume(work);
    ASSERT_TRUE(KZTestFiles::makeFolders(trash.files()));

    QProcess &binwise = run.start();
    QString path;
    const QString service = run.waitForItem(&path);
    ASSERT_FALSE(service.isEmpty()) << binwise.readAllStandardError().toStdString();
    KZDBusMenuReader reader(run.watcher.connection(), service, path);
    const QString empty = QStringLiteral("Binwise: the Trashes are empty");
    ASSERT_TRUE(QTest::qWaitFor([&] { return reader.toolTip() == empty; }, 10000))
        << qPrintable(reader.toolTip());
    const QByteArray emptyIcon = reader.iconState();

    const auto trashCli = [](const QString &program, const QStringList &arguments) {
        QProcess process;
        process.start(program, arguments);
        return process.waitForFinished(30000) && process.exitCode() == 0;
    };
    ASSERT_TRUE(KZTestFiles::writeFile(work + "/report.txt", QByteArray(40000, 'r')));
    ASSERT_TRUE(
        trashCli(QStringLiteral("trash-put"), {QString::fromLocal8Bit(work + "/report.txt")}));
    ASSERT_TRUE(KZTestFiles::exists(trash.itemPath("report.txt")))
        << "trash-put used another Trash";
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return reader.toolTip().startsWith(QStringLiteral("Binwise: 1 item, ")); }, 10000))
        << qPrintable(reader.toolTip());
    EXPECT_NE(reader.iconState(), emptyIcon) << "the icon does not show a full Trash";

    // Only this Trash: trash-empty would otherwise look at every volume of the machine.
    ASSERT_TRUE(trashCli(QStringLiteral("trash-empty"),
                         {QStringLiteral("--trash-dir=") + QString::fromLocal8Bit(trash.root())}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return reader.toolTip() == empty; }, 10000))
        << qPrintable(reader.toolTip());
    EXPECT_EQ(reader.iconState(), emptyIcon);
}

TEST(TrayStatusNotifier, WithoutATrayHostItSaysSoAfterTheWaitAndEnds)
{
    KZTrayRun run(false);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    run.runner.environment().insert(QStringLiteral("BINWISE_TRAY_WAIT"), QStringLiteral("1"));
    QElapsedTimer clock;
    clock.start();
    QProcess &binwise = run.start();
    // "cantCreateMenu" comes as a message window once the wait is over.
    QByteArray message;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const QList<QByteArray> shown = KZTrayRun::windows(QStringLiteral("binwise"), true);
            message = shown.size() == 1 ? shown.first() : QByteArray();
            return !message.isEmpty() || binwise.state() == QProcess::NotRunning;
        },
        20000));
    ASSERT_FALSE(message.isEmpty()) << binwise.readAllStandardError().toStdString();
    EXPECT_GE(clock.elapsed(), 1000);
    EXPECT_LT(clock.elapsed(), 15000);
    QTest::qWait(300);
    KZTrayRun::saveScreen(KZTrayRun::geometry(message).adjusted(-8, -8, 8, 8),
                          QStringLiteral("tray-no-tray-message"), false);
    KZTrayRun::press(message, QStringLiteral("Return"));
    ASSERT_TRUE(binwise.waitForFinished(10000));
    EXPECT_EQ(binwise.exitCode(), 1);
}

TEST(TrayStatusNotifier, WithoutADisplayItPointsAtTheCommandLine)
{
    KZCliRunner runner;
    runner.environment().remove(QStringLiteral("DISPLAY"));
    runner.environment().remove(QStringLiteral("WAYLAND_DISPLAY"));
    runner.environment().remove(QStringLiteral("QT_QPA_PLATFORM"));
    const KZCliResult result = runner.run({});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.contains("binwise list")) << str(result.err);
    EXPECT_EQ(result.err.count('\n'), 1) << str(result.err);
    // The commands still run without a display.
    EXPECT_EQ(runner.run({"list"}).exitCode, 0);
}
