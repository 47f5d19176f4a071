#include "KZTrayRun.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

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
    // A user who has been through the first run: its disclaimer and welcome have tests of
    // their own.
    runner.setSetting(QStringLiteral("Is first run"), false);
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

QString KZTrayRun::waitForItem(QString *path)
{
    if (!QTest::qWaitFor([&] { return !watcher.registeredItems().isEmpty(); }, 20000))
        return {};
    // Registered as "bus-name" (the path is /StatusNotifierItem) or "bus-name/path".
    const QString registered = watcher.registeredItems().constFirst();
    const qsizetype slash = registered.indexOf(u'/');
    if (path)
        *path = slash < 0 ? QStringLiteral("/StatusNotifierItem") : registered.mid(slash);
    return slash < 0 ? registered : registered.left(slash);
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

QByteArray KZTrayRun::shownWindow(int ms)
{
    QByteArray window;
    (void)QTest::qWaitFor(
        [&] {
            const QList<QByteArray> shown = windows(QStringLiteral("binwise"), true);
            window = shown.size() == 1 ? shown.first() : QByteArray();
            return !window.isEmpty();
        },
        ms);
    return window;
}

QByteArray KZTrayRun::titledWindow(const QString &title, int ms)
{
    QByteArray found;
    (void)QTest::qWaitFor(
        [&] {
            found = xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                             QStringLiteral("--name"), title})
                        .split('\n')
                        .value(0)
                        .trimmed();
            return !found.isEmpty();
        },
        ms);
    return found;
}

bool KZTrayRun::windowsShown(int count, int ms, bool orMore)
{
    return QTest::qWaitFor(
        [count, orMore] {
            const qsizetype shown = windows(QStringLiteral("binwise"), true).size();
            return shown == count || (orMore && shown > count);
        },
        ms);
}

void KZTrayRun::press(const QByteArray &window, const QString &key)
{
    xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), QString::fromLatin1(window)});
    xdotool({QStringLiteral("key"), key});
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

int KZTrayRun::scale()
{
    return qMax(1, qEnvironmentVariableIntValue("QT_SCALE_FACTOR"));
}

void KZTrayRun::saveScreen(const QRect &area, const QString &name, bool dark)
{
    const QString folder = QStringLiteral(BINWISE_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    // The whole screen in device pixels, whoever's windows are on it.
    const QImage picture = QGuiApplication::primaryScreen()->grabWindow(0).toImage().copy(area);
    const QString file = QStringLiteral("%1/%2-%3-%4.png")
                             .arg(folder, name)
                             .arg(scale() * 100)
                             .arg(dark ? QStringLiteral("dark") : QStringLiteral("light"));
    EXPECT_TRUE(picture.save(file)) << qPrintable(file);
}
