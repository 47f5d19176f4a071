// Started at login, binwise often comes up before the panel that hosts tray icons. Qt decides
// once, at the first icon, whether a StatusNotifierItem host is there; a host that comes later
// must still get binwise's icon.
#include "KZTrayRun.h"

#include <gtest/gtest.h>

#include <QTest>

TEST(TrayLateHost, AStatusNotifierHostThatComesDuringTheWaitGetsTheIcon)
{
    KZTrayRun run(false);
    ASSERT_TRUE(run.busStarted) << qPrintable(run.whyNot);
    run.runner.environment().insert(QStringLiteral("BINWISE_TRAY_WAIT"), QStringLiteral("20"));
    QProcess &binwise = run.start();
    // Long enough for binwise to have made its icon and found no host.
    QTest::qWait(2000);
    ASSERT_EQ(binwise.state(), QProcess::Running) << binwise.readAllStandardError().toStdString();
    QString error;
    ASSERT_TRUE(run.watcher.claim(&error)) << qPrintable(error);

    const QString item = run.waitForItem();
    ASSERT_FALSE(item.isEmpty()) << "no icon registered with the late host; binwise said: "
                                 << binwise.readAllStandardError().toStdString();
    // Still the one instance, still running, and its icon is there once.
    QTest::qWait(500);
    EXPECT_EQ(binwise.state(), QProcess::Running);
    EXPECT_EQ(run.watcher.registeredItems().size(), 1);
    // The restarted binwise still holds the session's single-instance lock: a second start
    // hands over and ends.
    QProcess &second = run.start();
    ASSERT_TRUE(second.waitForFinished(15000));
    EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().toStdString();
    EXPECT_EQ(run.watcher.registeredItems().size(), 1);
}
