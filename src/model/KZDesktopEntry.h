#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

// The [Desktop Entry] group of a freedesktop.org desktop entry file: what Linux has in place of
// an application's information dictionary (its name, the MIME types it opens, its command
// line). Read-only value; any thread.
class KZDesktopEntry
{
public:
    // The file at path; nullopt when it cannot be read or holds no [Desktop Entry] group.
    [[nodiscard]] static std::optional<KZDesktopEntry> load(const QByteArray &path);
    // The same from the file's contents (UTF-8).
    [[nodiscard]] static std::optional<KZDesktopEntry> fromData(const QByteArray &data);

    [[nodiscard]] bool contains(const QString &key) const { return m_values.contains(key); }
    // The value of key (not localized) with \s \n \t \r and \\ resolved; null when absent.
    [[nodiscard]] QString value(const QString &key) const;
    // A list value: items separated by ";" ("\;" for a literal one), empty items dropped.
    [[nodiscard]] QStringList stringList(const QString &key) const;
    // "true" answers YES, anything else NO.
    [[nodiscard]] bool boolValue(const QString &key) const;

    // The Exec command line as program and arguments, with the file field codes filled from
    // itemPath (null for no item): %f and %F the path, %u and %U its file URL, %% a "%"; every
    // other field code is dropped. Empty when there is no Exec key. A path that is not valid
    // UTF-8 is passed as its file URL, the only lossless form an argument list of text has.
    [[nodiscard]] QStringList execArguments(const QByteArray &itemPath = {}) const;
    // Splits a command line by the desktop entry quoting rules (double quotes; inside them a
    // backslash escapes " ` $ and \).
    [[nodiscard]] static QStringList splitExec(const QString &exec);

private:
    QHash<QString, QString> m_values; // key -> raw value, escapes unresolved
};
