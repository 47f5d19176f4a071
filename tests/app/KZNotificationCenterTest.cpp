#include "app/KZNotificationCenter.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QThread>

TEST(NotificationCenter, ObserversSeeTheirNameAndSenderOnly)
{
    KZNotificationCenter center;
    QObject context;
    const int senderA = 0;
    const int senderB = 0;
    QStringList anySender;
    QStringList fromA;
    center.addObserver(QStringLiteral("stopWorking"), nullptr, &context,
                       [&](const KZNotification &n) { anySender << n.name; });
    center.addObserver(QStringLiteral("updateOtherInfo"), &senderA, &context,
                       [&](const KZNotification &n) {
                           fromA << n.userInfo.value(QStringLiteral("whichInfo")).toString();
                       });

    center.postNotificationName(QStringLiteral("stopWorking"));
    center.postNotificationName(QStringLiteral("updateOtherInfo"), &senderB,
                                {{QStringLiteral("whichInfo"), QStringLiteral("b")}});
    center.postNotificationName(QStringLiteral("updateOtherInfo"), &senderA,
                                {{QStringLiteral("whichInfo"), QStringLiteral("a")}});

    EXPECT_EQ(anySender, QStringList{QStringLiteral("stopWorking")});
    EXPECT_EQ(fromA, QStringList{QStringLiteral("a")});
}

TEST(NotificationCenter, PostsFromAWorkerReachTheObserversThread)
{
    KZNotificationCenter center;
    QObject context;
    Qt::HANDLE seenOn = nullptr;
    center.addObserver(QStringLiteral("stopWorking"), nullptr, &context,
                       [&](const KZNotification &) { seenOn = QThread::currentThreadId(); });
    QSignalSpy spy(&center, &KZNotificationCenter::notificationPosted);

    QThread *worker = QThread::create(
        [&center] { center.postNotificationName(QStringLiteral("stopWorking")); });
    worker->start();
    worker->wait();
    delete worker;

    ASSERT_TRUE(spy.count() == 1 || spy.wait(2000));
    QCoreApplication::processEvents();
    EXPECT_EQ(seenOn, QThread::currentThreadId());
}
