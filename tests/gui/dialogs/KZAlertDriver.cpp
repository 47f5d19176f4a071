#include "KZAlertDriver.h"

#include "gui/dialogs/KZAlertDialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

KZAlertDialog *KZAlertDriver::visibleAlert(const QString &identifier)
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        auto *dialog = qobject_cast<KZAlertDialog *>(widget);
        if (dialog && dialog->isVisible() && dialog->objectName() == identifier)
            return dialog;
    }
    return nullptr;
}

void KZAlertDriver::whenShown(const QString &identifier, std::function<void(KZAlertDialog *)> user)
{
    auto *poll = new QTimer(qApp);
    poll->setInterval(20);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, identifier, user = std::move(user)] {
        KZAlertDialog *dialog = visibleAlert(identifier);
        if (!dialog)
            return;
        poll->stop();
        poll->deleteLater();
        QPointer<KZAlertDialog> watched = dialog;
        EXPECT_TRUE(QTest::qWaitForWindowExposed(dialog));
        if (!watched)
            return;
        user(dialog);
        QTimer::singleShot(10000, qApp, [watched, identifier] {
            if (watched && watched->isVisible()) {
                ADD_FAILURE() << "the alert " << identifier.toStdString() << " was not answered";
                watched->reject();
            }
        });
    });
    poll->start();
}

void KZAlertDriver::click(QAbstractButton *button)
{
    ASSERT_NE(button, nullptr);
    ASSERT_TRUE(button->isVisible()) << button->text().toStdString();
    // A check box answers clicks on its box and title only, not on the rest of its row.
    const QPoint where = qobject_cast<QCheckBox *>(button)
                             ? QPoint(button->height() / 2, button->height() / 2)
                             : button->rect().center();
    QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, where);
}
