#include "KZLaunchAtLogin.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

QString defaultAutostartDir()
{
    // Read from the environment, not QStandardPaths, whose test mode moves the configuration
    // folder: the session's autostart reads this very folder.
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || !QDir::isAbsolutePath(config))
        config = QDir::homePath() + QStringLiteral("/.config");
    return config + QStringLiteral("/autostart");
}

// The Exec key's value as the file holds it, with the string escapes undone.
QString unescapedValue(const QByteArray &raw)
{
    QString value;
    const QString text = QString::fromUtf8(raw);
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == u'\\' && i + 1 < text.size()) {
            const QChar next = text.at(++i);
            value += next == u's'   ? QChar(u' ')
                     : next == u'n' ? QChar(u'\n')
                     : next == u't' ? QChar(u'\t')
                     : next == u'r' ? QChar(u'\r')
                                    : next;
            continue;
        }
        value += text.at(i);
    }
    return value;
}

// The Exec line of a desktop entry, read without QSettings, which takes the value apart at
// commas and quotes.
QString execOfEntry(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    bool inEntry = false;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line.startsWith('['))
            inEntry = line == "[Desktop Entry]";
        else if (inEntry && line.startsWith("Exec")) {
            const qsizetype equals = line.indexOf('=');
            if (equals > 0 && line.left(equals).trimmed() == "Exec")
                return unescapedValue(line.mid(equals + 1).trimmed());
        }
    }
    return {};
}

} // namespace

KZLaunchAtLogin::KZLaunchAtLogin(QString executable, QString autostartDir)
    : m_executable(executable.isEmpty() ? QCoreApplication::applicationFilePath()
                                        : std::move(executable))
    , m_autostartDir(autostartDir.isEmpty() ? defaultAutostartDir() : std::move(autostartDir))
{}

QString KZLaunchAtLogin::autostartFile() const
{
    return m_autostartDir + u'/' + kFileName;
}

QString KZLaunchAtLogin::execValue(const QString &path)
{
    // Quoted argument rules first (\" \` \$ \\ inside double quotes, %% for a percent sign),
    // then the string escape of the whole value, which doubles every backslash again.
    QString quoted;
    for (const QChar c : path) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += u'\\';
        if (c == u'%')
            quoted += u'%';
        quoted += c;
    }
    quoted = u'"' + quoted + u'"';
    QString value;
    for (const QChar c : std::as_const(quoted)) {
        if (c == u'\\')
            value += QStringLiteral("\\\\");
        else if (c == u'\n')
            value += QStringLiteral("\\n");
        else if (c == u'\t')
            value += QStringLiteral("\\t");
        else if (c == u'\r')
            value += QStringLiteral("\\r");
        else
            value += c;
    }
    return value;
}

QByteArray KZLaunchAtLogin::desktopEntry(const QString &executable)
{
    QByteArray entry;
    entry += "[Desktop Entry]\n";
    entry += "Type=Application\n";
    entry += "Version=1.0\n";
    entry += "Name=Binwise\n";
    entry += "Comment=Manages the Trash of every mounted volume\n";
    entry += "Exec=" + execValue(executable).toUtf8() + '\n';
    entry += "Icon=user-trash\n";
    entry += "Terminal=false\n";
    entry += "X-GNOME-Autostart-enabled=true\n";
    return entry;
}

QString KZLaunchAtLogin::itemRefInLoginItems() const
{
    const QString path = autostartFile();
    if (!QFileInfo(path).isFile())
        return {};
    // The entry starts this program when its Exec reads back to this path exactly.
    const QString exec = execOfEntry(path);
    const QString expected = unescapedValue(execValue(m_executable).toUtf8());
    return exec == expected ? path : QString();
}

bool KZLaunchAtLogin::setupLaunchAtLogin(bool launchAtLogin)
{
    const QString path = autostartFile();
    if (!launchAtLogin) {
        // Whatever program it names, the entry of this name is Binwise's: off removes it.
        return !QFileInfo::exists(path) || QFile::remove(path);
    }
    if (isInstalledStartup())
        return true;
    if (!QDir().mkpath(m_autostartDir))
        return false;
    // Written whole or not at all, over an entry that names another executable.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(desktopEntry(m_executable));
    return file.commit();
}
