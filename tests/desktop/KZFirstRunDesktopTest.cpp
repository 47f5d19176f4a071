// The real binwise's first launch in a new home, on the private X server: the disclaimer, and
// after it the welcome window, answered with keys. Refusing ends binwise and the next launch
// asks again; agreeing shows the welcome and, once it has closed, the first run is over.
#include "KZTrayRun.h"

#include <gtest/gtest.h>

#include <QSettings>
#include <QTest>

namespace {

const QString kIsFirstRun = QStringLiteral("Is first run");

QString settingsFile(KZTrayRun &run)
{
    return run.runner.sandbox().configHome() + QStringLiteral("/Binwise/Binwise.conf");
}

// Whether binwise has stored that the first run is over.
bool firstRunDone(KZTrayRun &run)
{
    const QSettings settings(settingsFile(run), QSettings::IniFormat);
    return settings.contains(kIsFirstRun) && !settings.value(kIsFirstRun).toBool();
}

} // namespace

TEST(FirstRunDesktop, ARefusedDisclaimerEndsBinwiseAndTheNextLaunchAsksAgainThenWelcomes)
{
    KZTrayRun run(true);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    // A new user: nothing stored about the first run.
    {
        QSettings settings(settingsFile(run), QSettings::IniFormat);
        settings.remove(kIsFirstRun);
    }

    QProcess &first = run.start();
    const QByteArray disclaimer = KZTrayRun::titledWindow(QStringLiteral("^Binwise$"), 20000);
    ASSERT_FALSE(disclaimer.isEmpty()) << first.readAllStandardError().toStdString();
    // Escape is no agreement.
    KZTrayRun::press(disclaimer, QStringLiteral("Escape"));
    ASSERT_TRUE(first.waitForFinished(10000));
    EXPECT_EQ(first.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(first.exitCode(), 0) << first.readAllStandardError().toStdString();
    EXPECT_FALSE(firstRunDone(run));

    QProcess &second = run.start();
    const QByteArray asked = KZTrayRun::titledWindow(QStringLiteral("^Binwise$"), 20000);
    ASSERT_FALSE(asked.isEmpty()) << second.readAllStandardError().toStdString();
    // Return takes the default answer, Agree; the welcome follows.
    KZTrayRun::press(asked, QStringLiteral("Return"));
    const QByteArray welcome
        = KZTrayRun::titledWindow(QStringLiteral("^Welcome to Binwise$"), 20000);
    ASSERT_FALSE(welcome.isEmpty()) << second.readAllStandardError().toStdString();
    const QRect area = KZTrayRun::geometry(welcome);
    EXPECT_GT(area.width(), 300);
    EXPECT_GT(area.height(), 200);
    // The first run lasts until the welcome has closed.
    EXPECT_FALSE(firstRunDone(run));
    KZTrayRun::press(welcome, QStringLiteral("Escape"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return firstRunDone(run); }, 10000));
    // Binwise goes on in the tray.
    EXPECT_EQ(second.state(), QProcess::Running);
    EXPECT_FALSE(run.waitForItem().isEmpty());
}
