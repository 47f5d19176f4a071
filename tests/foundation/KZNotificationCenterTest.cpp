#include "foundation/KZNotificationCenter.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>

TEST(NotificationCenter, ObserversSeeTheirNameAndSenderOnlyOnTheirOwnThread)
{
    KZNotificationCenter center;
    QObject context;
    const int senderA = 0;
    const int senderB = 0;
    const QString stop = QStringLiteral("stopWorking");
    const QString update = QStringLiteral("updateOtherInfo");
    QStringList heard;
    QList<Qt::HANDLE> threads;
    center.addObserver(stop, nullptr, &context, [&](const KZNotification &n) {
        heard << n.name;
        threads << QThread::currentThreadId();
    });
    center.addObserver(update, &senderA, &context, [&](const KZNotification &n) {
        heard << n.userInfo.value(QStringLiteral("which")).toString();
    });
    center.postNotificationName(stop, &senderB);
    center.postNotificationName(update, &senderB, {{QStringLiteral("which"), QStringLiteral("b")}});
    center.postNotificationName(update, &senderA, {{QStringLiteral("which"), QStringLiteral("a")}});
    EXPECT_EQ(heard, QStringList({stop, QStringLiteral("a")}));

    // A post from a worker is queued for the observer's thread, not run on the worker.
    std::unique_ptr<QThread> worker(QThread::create([&] { center.postNotificationName(stop); }));
    worker->start();
    ASSERT_TRUE(worker->wait(10000));
    QCoreApplication::processEvents();
    EXPECT_EQ(threads, QList<Qt::HANDLE>({QThread::currentThreadId(), QThread::currentThreadId()}));
}
