// The real binwise docked in an XEmbed tray (trayer) on this process's X server: its icon, its
// menu opened with real clicks and keys, and Binwise's panel from a left click, kept as
// screenshots in a light and a dark desktop at the run's scale.
#include "KZTrayRun.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QTest>

namespace {

// A desktop's colours as KDE writes them, which Qt's own KDE platform theme reads.
void writeKdeColours(const QString &configHome, bool dark)
{
    QDir().mkpath(configHome);
    QFile file(configHome + QStringLiteral("/kdeglobals"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    const QByteArray window = dark ? "49,54,59" : "239,240,241";
    const QByteArray view = dark ? "35,38,41" : "252,252,252";
    const QByteArray text = dark ? "239,240,241" : "35,38,41";
    const QByteArray inactive = dark ? "161,169,177" : "112,125,138";
    QByteArray ini;
    for (const char *group : {"Colors:Window", "Colors:Button", "Colors:View", "Colors:Tooltip"}) {
        const bool isView = QByteArray(group) == "Colors:View";
        ini += QByteArray("[") + group + "]\nBackgroundNormal=" + (isView ? view : window)
               + "\nBackgroundAlternate=" + (isView ? view : window) + "\nForegroundNormal=" + text
               + "\nForegroundInactive=" + inactive + "\nForegroundActive=61,174,233\n"
               + "ForegroundLink=41,128,185\nForegroundVisited=127,140,141\n\n";
    }
    ini += "[Colors:Selection]\nBackgroundNormal=61,174,233\nBackgroundAlternate=29,153,243\n"
           "ForegroundNormal=252,252,252\nForegroundInactive=252,252,252\n\n";
    ini += "[General]\nColorScheme=" + QByteArray(dark ? "BreezeDark" : "Breeze") + "\n";
    file.write(ini);
}

class TrayXEmbed : public ::testing::TestWithParam<bool>
{
};

} // namespace

TEST_P(TrayXEmbed, IconDocksAndItsMenuAndPanelOpenWithRealClicks)
{
    const bool dark = GetParam();
    const int scale = KZTrayRun::scale();
    // No watcher on the bus: Qt docks the icon in the XEmbed tray.
    KZTrayRun run(false);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    QString whyNot;
    const QByteArray work = run.runner.addVolume("Work", &whyNot);
    if (work.isEmpty())
        GTEST_SKIP() << qPrintable(whyNot);
    const QByteArray empty = run.runner.addVolume("Void", &whyNot);
    ASSERT_FALSE(empty.isEmpty()) << qPrintable(whyNot);
    KZTestTrash workTrash = KZTestTrash::onVolume(work);
    workTrash.addFile("report.pdf", QByteArray(300000, 'x'));
    workTrash.addFile("notes.txt", QByteArray(2000, 'y'));
    ASSERT_TRUE(KZTestFiles::makeFolders(KZTestTrash::onVolume(empty).files()));

    writeKdeColours(run.runner.sandbox().configHome(), dark);
    run.runner.environment().insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("KDE"));
    run.runner.environment().insert(QStringLiteral("KDE_SESSION_VERSION"), QStringLiteral("5"));

    // The panel: a strip at the top right, in the desktop's colour.
    const int height = 28 * scale;
    QProcess trayer;
    trayer.start(QStringLiteral("trayer"),
                 {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
                  QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("pixel"),
                  QStringLiteral("--width"), QString::number(6 * height),
                  QStringLiteral("--heighttype"), QStringLiteral("pixel"),
                  QStringLiteral("--height"), QString::number(height),
                  QStringLiteral("--transparent"), QStringLiteral("true"),
                  QStringLiteral("--alpha"), QStringLiteral("0"), QStringLiteral("--tint"),
                  dark ? QStringLiteral("0x31363b") : QStringLiteral("0xeff0f1")});
    if (!trayer.waitForStarted(5000))
        GTEST_SKIP() << "trayer is not installed";
    struct EndTrayer
    {
        QProcess &process;
        ~EndTrayer()
        {
            process.kill();
            process.waitForFinished(5000);
        }
    } endTrayer{trayer};
    ASSERT_TRUE(QTest::qWaitFor(
        [] {
            return !KZTrayRun::windows(QStringLiteral("panel"), true).isEmpty()
                   || !KZTrayRun::windows(QStringLiteral("trayer"), true).isEmpty();
        },
        10000));

    QProcess &binwise = run.start();
    // The icon's window, docked: binwise's smallest visible window.
    QByteArray icon;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            for (const QByteArray &window : KZTrayRun::windows(QStringLiteral("binwise"), true)) {
                const QRect area = KZTrayRun::geometry(window);
                if (area.width() > 0 && area.width() <= 64 * scale && area.top() < height)
                    icon = window;
            }
            return !icon.isEmpty();
        },
        20000))
        << "the icon did not dock; binwise said: " << binwise.readAllStandardError().toStdString();
    const QRect iconArea = KZTrayRun::geometry(icon);
    const QPoint centre = iconArea.center();
    const QString x = QString::number(centre.x());
    const QString y = QString::number(centre.y());
    const auto clickIcon = [&](const QString &button) {
        KZTrayRun::xdotool({QStringLiteral("mousemove"), x, y, QStringLiteral("click"), button});
    };
    // What is kept: the top right corner, where the panel, the menu and Binwise's panel are.
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const int screenWidth = screen.width() * scale;
    const QRect corner(screenWidth - 760 * scale, 0, 760 * scale, 260 * scale);
    // The icon alone in its panel, before anything covers it.
    KZTrayRun::saveScreen(QRect(screenWidth - 6 * height, 0, 6 * height, height),
                          QStringLiteral("tray-icon"), dark);

    // The menu: a right click on the icon, then down to the volumes' submenu and into it.
    clickIcon(QStringLiteral("3"));
    ASSERT_TRUE(KZTrayRun::windowsShown(2, 10000, true)) << "the menu did not open";
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("Down"), QStringLiteral("Down"),
                        QStringLiteral("Right")});
    ASSERT_TRUE(KZTrayRun::windowsShown(3, 10000, true)) << "the submenu did not open";
    // The rows have measured (two small files) by the time the picture is taken.
    QTest::qWait(800);
    KZTrayRun::saveScreen(corner, QStringLiteral("tray-menu"), dark);

    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("Escape"), QStringLiteral("Escape"),
                        QStringLiteral("Escape")});
    ASSERT_TRUE(KZTrayRun::windowsShown(1, 10000));

    // A left click opens Binwise's panel under the icon.
    clickIcon(QStringLiteral("1"));
    ASSERT_TRUE(KZTrayRun::windowsShown(2, 10000, true)) << "the panel did not open";
    QTest::qWait(800);
    KZTrayRun::saveScreen(corner, QStringLiteral("tray-panel"), dark);

    // About, the menu's last item but one: a box with the application icon.
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
    ASSERT_TRUE(KZTrayRun::windowsShown(1, 10000));
    clickIcon(QStringLiteral("3"));
    ASSERT_TRUE(KZTrayRun::windowsShown(2, 10000, true));
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("Up"), QStringLiteral("Up"),
                        QStringLiteral("Return")});
    const QByteArray aboutBox = KZTrayRun::titledWindow(QStringLiteral("^About Binwise"), 10000);
    ASSERT_FALSE(aboutBox.isEmpty()) << "the about box did not open";
    const QRect about = KZTrayRun::geometry(aboutBox);
    QTest::qWait(300);
    KZTrayRun::saveScreen(about.adjusted(-8, -8, 8, 8), QStringLiteral("tray-about"), dark);
    KZTrayRun::xdotool({QStringLiteral("key"), QStringLiteral("Return")});
    ASSERT_TRUE(KZTrayRun::windowsShown(1, 10000));

    // A click on Work's row in the panel empties Work's Trash, once confirmed.
    clickIcon(QStringLiteral("1"));
    QRect panel;
    QByteArray panelWindow;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            for (const QByteArray &window : KZTrayRun::windows(QStringLiteral("binwise"), true)) {
                if (window != icon) {
                    panelWindow = window;
                    panel = KZTrayRun::geometry(window);
                }
            }
            return panel.isValid();
        },
        10000));
    // Two rows of equal height inside the panel's frame: the first is Work's.
    const int rowHeight = (panel.height() - 8 * scale) / 2;
    KZTrayRun::xdotool({QStringLiteral("mousemove"), QString::number(panel.center().x()),
                        QString::number(panel.top() + 4 * scale + rowHeight / 2),
                        QStringLiteral("click"), QStringLiteral("1")});
    QByteArray confirmation;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            for (const QByteArray &window : KZTrayRun::windows(QStringLiteral("binwise"), true)) {
                if (window != icon && window != panelWindow)
                    confirmation = window;
            }
            return !confirmation.isEmpty();
        },
        10000))
        << "choosing the row asked nothing";
    KZTrayRun::press(confirmation, QStringLiteral("Return"));
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return KZTestFiles::namesIn(workTrash.files()).isEmpty(); }, 20000))
        << "Work's Trash was not emptied";
    EXPECT_EQ(binwise.state(), QProcess::Running);
}

INSTANTIATE_TEST_SUITE_P(Palettes, TrayXEmbed, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool> &palette) {
                             return palette.param ? std::string("Dark") : std::string("Light");
                         });
