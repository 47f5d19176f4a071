#pragma once

#include "KZItemFilter.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

// The command line of the binwise executable: subcommands, their options and operands.
// Arguments are read as bytes, straight from argv, because a path given to "erase" may be a name
// that is not UTF-8; QCoreApplication::arguments() would have decoded it beyond repair.
class KZCommandLine
{
public:
    // None (no command at all) and Tray start the desktop application.
    enum class Command { None, Help, Version, List, Items, Empty, Erase, Tray, Put, Restore };
    // How a question about a locked item, or an item without permission, is answered.
    enum class Answer { Ask, Skip, Erase };

    struct Options
    {
        Command command = Command::None;
        // --help: the help of this command (None: the general help).
        bool help = false;
        bool json = false;
        bool all = false;
        bool secure = false;
        bool yes = false;
        Answer locked = Answer::Ask;
        Answer noPermission = Answer::Ask;
        // "restore": --to DIR (empty: back where each item came from), --rename.
        QByteArray toFolder;
        bool rename = false;
        // --older-than, --larger-than, --matching ("items", "empty").
        KZItemFilter filter;
        // Volume names or mount points ("items", "empty"), or paths ("erase", "put",
        // "restore"), as given.
        QByteArrayList operands;
    };

    // Parses the arguments that follow the program's name. Options may come before or after
    // operands; "--" ends the options. False with *error (one line, for people) on a usage
    // error. Any thread.
    [[nodiscard]] static bool parse(const QByteArrayList &arguments, Options *options,
                                    QString *error);

    // The general help, or a command's.
    [[nodiscard]] static QString helpText(Command command = Command::None);
    // True when the arguments ask for the desktop application: no command, or "tray".
    [[nodiscard]] static bool startsDesktop(const Options &options)
    {
        return !options.help
               && (options.command == Command::None || options.command == Command::Tray);
    }
    // The command's name as typed ("list"); empty for None, Help and Version.
    [[nodiscard]] static QString commandName(Command command);
};
