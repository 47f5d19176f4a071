#include "KZTrayRun.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
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

QByteArray KZTrayRun::xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    if (!process.waitForFinished(10000))
        return {};
    return process.readAllStandardOutput();
}

QList<QByteArray> KZTrayRun::windows(const QString &className, bool visibleOnly)
{
    QStringList arguments{QStringLiteral("search")};
    if (visibleOnly)
        arguments << QStringLiteral("--onlyvisible");
    arguments << QStringLiteral("--classname") << className;
    QList<QByteArray> ids;
    for (const QByteArray &line : xdotool(arguments).split('\n'))
        if (!line.trimmed().isEmpty())
            ids.append(line.trimmed());
    return ids;
}

QRect KZTrayRun::geometry(const QByteArray &window)
{
    const QString shell
        = QString::fromUtf8(xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"),
                                     QString::fromLatin1(window)}));
    const auto value = [&](const QString &name) {
        const QRegularExpression line(QStringLiteral("^%1=(-?\\d+)$").arg(name),
                                      QRegularExpression::MultilineOption);
        return line.match(shell).captured(1).toInt();
    };
    return {value(QStringLiteral("X")), value(QStringLiteral("Y")), value(QStringLiteral("WIDTH")),
            value(QStringLiteral("HEIGHT"))};
}
