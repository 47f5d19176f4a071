#include "KZTrayRun.h"

#include <QDir>
#include <QFile>
#include <QTest>

KZTrayRun::KZTrayRun(bool withWatcher)
{
    QString error;
    busStarted = watcher.start(withWatcher, &error);
    if (!busStarted)
        whyNot = error;
    // The single-instance lock and socket live here, not in the machine's runtime folder.
    const QString runtime = runner.sandbox().path(QStringLiteral("runtime"));
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QProcessEnvironment &environment = runner.environment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), watcher.address());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("DISPLAY"), qEnvironmentVariable("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.remove(QStringLiteral("XDG_CURRENT_DESKTOP"));
    environment.insert(QStringLiteral("BINWISE_TRAY_WAIT"), QStringLiteral("10"));
}

KZTrayRun::~KZTrayRun()
{
    for (auto &process : processes) {
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(5000);
        }
    }
}

QProcess &KZTrayRun::start()
{
    processes.push_back(runner.start({}));
    return *processes.back();
}

QString KZTrayRun::waitForItem()
{
    if (!QTest::qWaitFor([&] { return !watcher.registeredItems().isEmpty(); }, 20000))
        return {};
    return watcher.registeredItems().constFirst();
}
