#include "gui/dialogs/KZProgressWindow.h"
#include "KZAlertDriver.h"
#include "erase/KZProgressUI.h"
#include "format/KZLocalizedStrings.h"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <limits>

namespace {

// A controller of its own (no engine behind it) drawing into a real window.
struct Controller
{
    Controller()
    {
        auto display = std::make_unique<KZProgressWindow>(&ui);
        window = display.get();
        ui.setDisplay(std::move(display));
    }
    KZProgressUI ui{nullptr};
    KZProgressWindow *window = nullptr;
};

} // namespace

TEST(ProgressWindow, ShowsWhatItIsGivenAndFloatsWithoutBlocking)
{
    Controller c;
    QWidget *window = c.window->window();
    EXPECT_FALSE(window->isVisible()); // nothing before the engine opens it
    c.ui.openWindowInModal(false);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_TRUE(QTest::qWaitForWindowActive(window));
    // The user may go on working: nothing modal, but the window stays in sight.
    EXPECT_EQ(window->windowModality(), Qt::NonModal);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_TRUE(window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));

    // Nothing named yet and nothing counted: a generic title and a busy bar.
    c.ui.refreshDisplay();
    EXPECT_EQ(c.window->titleLabel()->text(),
              KZLocalizedString(QStringLiteral("erasing_untitled")));
    EXPECT_EQ(c.window->progressBar()->maximum(), 0);

    c.ui.setTrashName(KZLocalizedFormat(QStringLiteral("erasing"), {QStringLiteral("Home")}));
    c.ui.setErasedCount(QStringLiteral("1,234"));
    c.ui.setErasedSize(QStringLiteral("56.7 MB"));
    c.ui.setProgressValue(1234);
    c.ui.setMaxValue(5000);
    c.ui.refreshDisplay();
    EXPECT_EQ(c.window->titleLabel()->text(), QStringLiteral("Erasing Home\u2026"));
    EXPECT_EQ(c.window->countLabel()->text(), QStringLiteral("1,234"));
    EXPECT_EQ(c.window->sizeLabel()->text(), QStringLiteral("56.7 MB"));
    EXPECT_EQ(c.window->progressBar()->maximum(), 5000);
    EXPECT_EQ(c.window->progressBar()->value(), 1234);

    // A count past the expected total fills the bar and no more; totals past int still draw.
    c.window->update({}, {}, {}, 7000, 5000);
    EXPECT_EQ(c.window->progressBar()->value(), 5000);
    const quint64 huge = quint64(std::numeric_limits<int>::max()) * 4;
    c.window->update({}, {}, {}, huge / 2, huge);
    EXPECT_GT(c.window->progressBar()->maximum(), 0);
    EXPECT_NEAR(double(c.window->progressBar()->value()) / c.window->progressBar()->maximum(), 0.5,
                0.001);

    c.ui.stopAction(); // the end of the job closes it
    EXPECT_FALSE(window->isVisible());
}

TEST(ProgressWindow, StopAndTheCloseButtonBothStop)
{
    // The title bar's close button asks the window to close: that is Stop too, so that no job
    // runs on without a window that can stop it.
    for (const bool byClose : {false, true}) {
        Controller c;
        c.ui.openWindowInModal(false);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(c.window->window()));
        EXPECT_FALSE(c.ui.stopped());
        if (byClose)
            c.window->window()->close();
        else
            KZAlertDriver::click(c.window->stopButton());
        EXPECT_TRUE(c.ui.stopped()) << byClose;
        EXPECT_FALSE(c.ui.isWindowOpen());
        EXPECT_FALSE(c.window->window()->isVisible()); // closed at once
    }
}
