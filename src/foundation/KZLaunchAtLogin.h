#pragma once

#include <QString>

// Starting Binwise at login through an XDG autostart entry: one file,
// $XDG_CONFIG_HOME/autostart/org.binwise.Binwise.desktop, whose Exec names the executable by
// its absolute path. Having the file is being a login item; removing it turns that off, so
// there is never a second entry. Any thread, one caller at a time.
class KZLaunchAtLogin
{
public:
    static inline const QString kFileName = QStringLiteral("org.binwise.Binwise.desktop");

    // executable: the program the entry starts, the running one when empty. autostartDir:
    // where the entry lives, $XDG_CONFIG_HOME/autostart (or ~/.config/autostart) when empty.
    explicit KZLaunchAtLogin(QString executable = {}, QString autostartDir = {});

    [[nodiscard]] QString executable() const { return m_executable; }
    [[nodiscard]] QString autostartFile() const;

    // The entry that starts this executable at login, or an empty path when there is none. An
    // entry of the same name that starts another program (an older copy moved away) is not it.
    [[nodiscard]] QString itemRefInLoginItems() const;
    [[nodiscard]] bool isInstalledStartup() const { return !itemRefInLoginItems().isEmpty(); }

    // Makes the login item follow launchAtLogin: writes the entry when it is wanted and not
    // there (or starts something else), removes it when it is not wanted. False when the file
    // could not be written or removed; the login item is then as it was.
    bool setupLaunchAtLogin(bool launchAtLogin);

    // The desktop entry's text for executable.
    [[nodiscard]] static QByteArray desktopEntry(const QString &executable);
    // An Exec value that runs exactly path, quoted and escaped as desktop entries require.
    [[nodiscard]] static QString execValue(const QString &path);

private:
    QString m_executable;
    QString m_autostartDir;
};
