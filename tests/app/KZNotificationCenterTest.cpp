#include "app/KZNotificationCenter.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>

TEST(NotificationCenter, ObserversSeeTheirNameAndSenderOnly)
{
    KZNotificationCenter center;
    QObject context;
    const int senderA = 0;
    const int senderB = 0;
    const QString stop = QStringLiteral("stopWorking");
    const QString update = QStringLiteral("updateOtherInfo");
    const QString which = QStringLiteral("whichInfo");
    QStringList heard;
    center.addObserver(stop, nullptr, &context, [&](const KZNotification &n) { heard << n.name; });
    center.addObserver(update, &senderA, &context, [&](const KZNotification &n) {
        heard << n.userInfo.value(which).toString();
    });

    center.postNotificationName(stop);
    center.postNotificationName(stop, &senderB);
    center.postNotificationName(update, &senderB, {{which, QStringLiteral("b")}});
    center.postNotificationName(update, &senderA, {{which, QStringLiteral("a")}});
    EXPECT_EQ(heard, QStringList({stop, stop, QStringLiteral("a")}));
}

TEST(NotificationCenter, PostsFromAWorkerReachTheObserversThread)
{
    KZNotificationCenter center;
    QObject context;
    Qt::HANDLE seenOn = nullptr;
    center.addObserver(QStringLiteral("stopWorking"), nullptr, &context,
                       [&](const KZNotification &) { seenOn = QThread::currentThreadId(); });
    std::unique_ptr<QThread> worker(
        QThread::create([&center] { center.postNotificationName(QStringLiteral("stopWorking")); }));
    worker->start();
    ASSERT_TRUE(worker->wait(10000));
    EXPECT_EQ(seenOn, nullptr); // queued for this thread, not run on the worker
    QCoreApplication::processEvents();
    EXPECT_EQ(seenOn, QThread::currentThreadId());
}
