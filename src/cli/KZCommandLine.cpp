#include "KZCommandLine.h"

#include <array>
#include <optional>

namespace {

struct CommandInfo
{
    KZCommandLine::Command command;
    const char *name;
};

constexpr std::array kCommands{
    CommandInfo{KZCommandLine::Command::List, "list"},
    CommandInfo{KZCommandLine::Command::Items, "items"},
    CommandInfo{KZCommandLine::Command::Empty, "empty"},
    CommandInfo{KZCommandLine::Command::Erase, "erase"},
    CommandInfo{KZCommandLine::Command::Tray, "tray"},
    CommandInfo{KZCommandLine::Command::Help, "help"},
};

using Command = KZCommandLine::Command;

bool takesJson(Command command)
{
    return command == Command::List || command == Command::Items;
}

bool erases(Command command)
{
    return command == Command::Empty || command == Command::Erase;
}

bool parseAnswer(const QByteArray &value, KZCommandLine::Answer *answer)
{
    if (value == "ask")
        *answer = KZCommandLine::Answer::Ask;
    else if (value == "skip")
        *answer = KZCommandLine::Answer::Skip;
    else if (value == "erase")
        *answer = KZCommandLine::Answer::Erase;
    else
        return false;
    return true;
}

QString text(const QByteArray &bytes)
{
    return QString::fromLocal8Bit(bytes);
}

} // namespace

QString KZCommandLine::commandName(Command command)
{
    for (const CommandInfo &info : kCommands) {
        if (info.command == command && command != Command::Help)
            return QString::fromLatin1(info.name);
    }
    return {};
}

bool KZCommandLine::parse(const QByteArrayList &arguments, Options *options, QString *error)
{
    *options = Options();
    bool optionsEnded = false;
    const auto fail = [&](const QString &why) {
        const QString name = commandName(options->command);
        *error = name.isEmpty() ? why : name + QStringLiteral(": ") + why;
        return false;
    };

    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QByteArray &argument = arguments.at(i);
        const bool isOption = !optionsEnded && argument.startsWith('-') && argument != "-";
        if (!isOption) {
            if (options->command == Command::None) {
                for (const CommandInfo &info : kCommands) {
                    if (argument == info.name)
                        options->command = info.command;
                }
                if (options->command == Command::None)
                    return fail(QStringLiteral("unknown command “%1” (try binwise --help)")
                                    .arg(text(argument)));
                continue;
            }
            options->operands.append(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }

        // --name=value, or --name value for the options that take one.
        QByteArray name = argument;
        std::optional<QByteArray> value;
        if (argument.startsWith("--")) {
            const qsizetype equals = argument.indexOf('=');
            if (equals > 0) {
                name = argument.left(equals);
                value = argument.mid(equals + 1);
            }
        }
        const auto flag = [&](bool *field) {
            if (value)
                return fail(QStringLiteral("%1 takes no value").arg(text(name)));
            *field = true;
            return true;
        };
        const auto answer = [&](Answer *field) {
            if (!value) {
                if (i + 1 >= arguments.size())
                    return fail(
                        QStringLiteral("%1 needs a value: ask, skip or erase").arg(text(name)));
                value = arguments.at(++i);
            }
            if (!parseAnswer(*value, field))
                return fail(QStringLiteral("%1 takes ask, skip or erase, not “%2”")
                                .arg(text(name), text(*value)));
            return true;
        };

        const Command command = options->command;
        bool ok = true;
        if (name == "-h" || name == "--help") {
            ok = flag(&options->help);
        } else if ((name == "-V" || name == "--version") && command == Command::None) {
            ok = !value || fail(QStringLiteral("%1 takes no value").arg(text(name)));
            options->command = Command::Version;
        } else if (name == "--json" && takesJson(command)) {
            ok = flag(&options->json);
        } else if (name == "--all" && command == Command::Empty) {
            ok = flag(&options->all);
        } else if (name == "--secure" && erases(command)) {
            ok = flag(&options->secure);
        } else if ((name == "-y" || name == "--yes") && erases(command)) {
            ok = flag(&options->yes);
        } else if (name == "--locked" && erases(command)) {
            ok = answer(&options->locked);
        } else if (name == "--no-permission" && erases(command)) {
            ok = answer(&options->noPermission);
        } else if (command == Command::None) {
            return fail(QStringLiteral("“%1” comes after a command (try binwise --help)")
                            .arg(text(argument)));
        } else {
            return fail(QStringLiteral("unknown option “%1” (try binwise %2 --help)")
                            .arg(text(argument), commandName(command)));
        }
        if (!ok)
            return false;
    }

    if (options->help)
        return true;
    switch (options->command) {
    case Command::None:
        // No command at all starts the desktop application.
        return true;
    case Command::Version:
        return true;
    case Command::Tray:
        if (!options->operands.isEmpty())
            return fail(
                QStringLiteral("takes no operands, got “%1”").arg(text(options->operands.first())));
        return true;
    case Command::Help:
        if (options->operands.size() > 1)
            return fail(QStringLiteral("help takes at most one command"));
        if (!options->operands.isEmpty()) {
            const QByteArray wanted = options->operands.first();
            options->operands.clear();
            options->command = Command::None;
            for (const CommandInfo &info : kCommands) {
                if (wanted == info.name && info.command != Command::Help)
                    options->command = info.command;
            }
            if (options->command == Command::None)
                return fail(QStringLiteral("help: unknown command “%1”").arg(text(wanted)));
        } else {
            options->command = Command::None;
        }
        options->help = true;
        return true;
    case Command::List:
        if (!options->operands.isEmpty())
            return fail(
                QStringLiteral("takes no operands, got “%1”").arg(text(options->operands.first())));
        return true;
    case Command::Items:
        return true;
    case Command::Empty:
        if (options->all && !options->operands.isEmpty())
            return fail(QStringLiteral("give --all or volumes, not both"));
        return true;
    case Command::Erase:
        if (options->operands.isEmpty())
            return fail(QStringLiteral("needs at least one path of an item in a Trash"));
        return true;
    }
    return true;
}

QString KZCommandLine::helpText(Command command)
{
    static const QString answers = QStringLiteral(
        "  --locked=ask|skip|erase         how to answer \"is locked\" questions for all items\n"
        "  --no-permission=ask|skip|erase  how to answer \"no permission\" questions for all\n"
        "                                  items (skip or erase as if \"Apply to all\" were\n"
        "                                  ticked; ask, the default, asks on the terminal)\n");
    static const QString confirm = QStringLiteral(
        "  -y, --yes                       answer the confirmation with erase (needed when\n"
        "                                  standard input is not a terminal)\n"
        "  --secure                        overwrite before removing (/usr/bin/srm)\n");
    switch (command) {
    case Command::List:
        return QStringLiteral(
            "Usage: binwise list [--json]\n"
            "\n"
            "One line per volume with a Trash: volume name, mount point, Trash folder, item\n"
            "count and size, separated by tabs.\n"
            "\n"
            "A folder in a Trash that was measured before and whose .trashinfo file has not\n"
            "changed since counts with the figures found then: its size is kept in the Trash's\n"
            "directorysizes file, as other Trash programs do, and its item count under\n"
            "$XDG_CACHE_HOME/Binwise. Everything else is walked.\n"
            "\n"
            "  --json  an array of objects: volumeName, volumeURL, trashURL, trashIsEmpty,\n"
            "          itemsCount, itemsSize (allocated bytes)\n");
    case Command::Items:
        return QStringLiteral(
            "Usage: binwise items [VOLUME...] [--json]\n"
            "\n"
            "The top-level items of each Trash (or of the named volumes', by name or mount\n"
            "point), one per line: volume name, item name, original path, deletion date and\n"
            "size, separated by tabs.\n"
            "\n"
            "  --json  an array of objects: volumeName, name, itemURL (the item's exact bytes,\n"
            "          percent-encoded), originalPath, added (seconds since 2001-01-01 UTC),\n"
            "          size (allocated bytes)\n");
    case Command::Empty:
        return QStringLiteral("Usage: binwise empty [--all | VOLUME...] [OPTIONS]\n"
                              "\n"
                              "Empties every Trash (no volume given, or --all), or the Trash of "
                              "each named\nvolume (by name or mount point).\n"
                              "\n"
                              "  --all                           every Trash (as when no volume "
                              "is given)\n")
               + confirm + answers;
    case Command::Erase:
        return QStringLiteral(
                   "Usage: binwise erase PATH... [OPTIONS]\n"
                   "\n"
                   "Erases the named items, each of which must lie directly in a "
                   "Trash's files\nfolder. A PATH may also be a file:// URL, as the itemURL "
                   "of \"binwise items\n--json\". Nothing is erased when one item "
                   "does not qualify.\n"
                   "\n")
               + confirm + answers;
    case Command::Tray:
        return QStringLiteral(
            "Usage: binwise [tray]\n"
            "\n"
            "Starts the desktop application: Binwise's icon in the system tray, whose menu\n"
            "empties all Trashes or one volume's. Needs a display and a panel with a system\n"
            "tray; a second start shows the running one's panel. Without a display, use the\n"
            "commands (binwise list, binwise empty).\n");
    case Command::None:
    case Command::Help:
    case Command::Version:
        break;
    }
    return QStringLiteral(
        "Usage: binwise [tray]\n"
        "       binwise COMMAND [OPTIONS] [ARGUMENTS]\n"
        "\n"
        "Manages the Trash of every mounted volume. Without a command (or with \"tray\")\n"
        "binwise starts the desktop application in the system tray; it needs a display.\n"
        "\n"
        "Commands:\n"
        "  tray                 the desktop application (the same as no command)\n"
        "  list                 the Trash of each volume, with item count and size\n"
        "  items [VOLUME...]    the items in the Trashes\n"
        "  empty [--all | VOLUME...]\n"
        "                       empties all Trashes, or the named volumes'\n"
        "  erase PATH...        erases the named items from their Trash\n"
        "  help [COMMAND]       this help, or a command's\n"
        "\n"
        "  -h, --help           help\n"
        "  -V, --version        the version\n"
        "\n"
        "Exit status: 0 done (every requested item erased), 1 some items were not erased,\n"
        "2 usage error or a request that cannot be carried out, 3 cancelled.\n"
        "Settings are read from ~/.config/Binwise/Binwise.conf, logs are written under\n"
        "~/.local/state/Binwise/Logs.\n");
}
