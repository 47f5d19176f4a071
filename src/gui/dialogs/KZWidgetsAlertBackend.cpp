#include "KZWidgetsAlertBackend.h"

#include "KZAlertDialog.h"
#include "foundation/KZMainThread.h"

#include <QApplication>
#include <QPointer>

KZAlertResponse KZWidgetsAlertBackend::runModal(const KZAlertRequest &request)
{
    return KZMainThread::run([&request] {
        // On the heap and watched: a nested loop may outlive the window (the application
        // quitting under it), and the answer is then the one that changes nothing.
        QPointer<KZAlertDialog> dialog = new KZAlertDialog(request);
        dialog->setWindowModality(Qt::ApplicationModal);
        dialog->exec();
        if (!dialog)
            return KZAlertResponse{request.cancelAnswer, false};
        const KZAlertResponse response = dialog->response();
        delete dialog.data();
        return response;
    });
}

void KZWidgetsAlertBackend::beginSheet(const KZAlertRequest &request)
{
    KZMainThread::run([&request] {
        QWidget *window = qobject_cast<QWidget *>(request.window.data());
        if (window)
            window = window->window();
        auto *dialog = new KZAlertDialog(request, window);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setWindowModality(window ? Qt::WindowModal : Qt::ApplicationModal);
        dialog->show();
    });
}

void KZWidgetsAlertBackend::beep()
{
    KZMainThread::run([] { QApplication::beep(); });
}
