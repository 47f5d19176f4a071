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
    CommandInfo{KZCommandLine::Command::Put, "put"},
    CommandInfo{KZCommandLine::Command::Restore, "restore"},
    CommandInfo{KZCommandLine::Command::Tray, "tray"},
    CommandInfo{KZCommandLine::Command::Help, "help"},
};

using Command = KZCommandLine::Command;

bool takesJson(Command command)
{
    return command == Command::List || command == Command::Items || command == Command::Empty
           || command == Command::Erase || command == Command::Put || command == Command::Restore;
}

bool choosesItems(Command command)
{
    return command == Command::Items || command == Command::Empty;
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

        const auto valueOf = [&](const char *what) -> std::optional<QByteArray> {
            if (!value) {
                // "binwise empty --older-than --help": the help is what was wanted.
                if (i + 1 < arguments.size()
                    && (arguments.at(i + 1) == "--help" || arguments.at(i + 1) == "-h")) {
                    options->help = true;
                    ++i;
                    return std::nullopt;
                }
                if (i + 1 >= arguments.size()) {
                    fail(QStringLiteral("%1 needs a value: %2")
                             .arg(text(name), QLatin1String(what)));
                    return std::nullopt;
                }
                value = arguments.at(++i);
            }
            return *value;
        };
        const auto duration = [&] {
            const std::optional<QByteArray> given = valueOf("a duration such as 30d or 12h");
            if (!given)
                return options->help;
            options->filter.olderThan = KZItemFilter::parseDuration(*given);
            return options->filter.olderThan.has_value()
                   || fail(QStringLiteral("%1 takes a duration such as 30d, 12h, 45m or 2w (a "
                                          "bare number counts days), not “%2”")
                               .arg(text(name), text(*given)));
        };
        const auto size = [&] {
            const std::optional<QByteArray> given = valueOf("a size such as 500M or 1G");
            if (!given)
                return options->help;
            options->filter.largerThan = KZItemFilter::parseSize(*given);
            return options->filter.largerThan.has_value()
                   || fail(QStringLiteral("%1 takes a size such as 10k, 500M or 1G (or 1Gi for "
                                          "1024³ bytes), not “%2”")
                               .arg(text(name), text(*given)));
        };
        const auto pattern = [&] {
            const std::optional<QByteArray> given = valueOf("a pattern such as '*.log'");
            if (!given)
                return options->help;
            if (given->isEmpty())
                return fail(
                    QStringLiteral("%1 takes a pattern, not an empty text").arg(text(name)));
            options->filter.matching = *given;
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
        } else if (name == "--to" && command == Command::Restore) {
            if (!value) {
                const QByteArray next = i + 1 < arguments.size() ? arguments.at(i + 1) : "";
                if (next == "-h" || next == "--help") {
                    options->help = true;
                    ++i;
                    continue;
                }
                // An option after --to is not taken for a folder: --to=DIR names one that
                // starts with "-".
                if (next.isEmpty() || (next.startsWith('-') && next != "-"))
                    return fail(QStringLiteral("--to needs a folder"));
                value = arguments.at(++i);
            }
            if (value->isEmpty())
                return fail(QStringLiteral("--to needs a folder"));
            options->toFolder = *value;
        } else if (name == "--rename" && command == Command::Restore) {
            ok = flag(&options->rename);
        } else if (name == "--older-than" && choosesItems(command)) {
            ok = duration();
        } else if (name == "--larger-than" && choosesItems(command)) {
            ok = size();
        } else if (name == "--matching" && choosesItems(command)) {
            ok = pattern();
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
    case Command::Put:
        if (options->operands.isEmpty())
            return fail(QStringLiteral("needs at least one path to put in the Trash"));
        return true;
    case Command::Restore:
        if (options->operands.isEmpty())
            return fail(QStringLiteral("needs at least one item in a Trash (see binwise items)"));
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
    static const QString choose = QStringLiteral(
        "  --older-than DURATION           only items put in the Trash more than DURATION ago:\n"
        "                                  30d, 12h, 45m, 90s, 2w (a bare number counts days,\n"
        "                                  as with trash-empty), by the DeletionDate in the\n"
        "                                  item's info file; an item without one is never\n"
        "                                  chosen\n"
        "  --larger-than SIZE              only items of more than SIZE allocated bytes, as\n"
        "                                  items shows them: 10k, 500M, 1G, 2T are powers of\n"
        "                                  1000, as binwise prints sizes; 1Ki, 1Mi, 1Gi of 1024\n"
        "  --matching PATTERN              only items whose original name matches the shell\n"
        "                                  pattern (*, ?, [a-z], [!a-z]), as trash-rm matches:\n"
        "                                  a PATTERN starting with / is held against the whole\n"
        "                                  original path; an item without an info file never\n"
        "                                  matches (quote the pattern from the shell)\n"
        "Given together, an item must meet all of them.\n");
    static const QString outcomes = QStringLiteral(
        "  --json                          print one JSON document when done: {\"items\": [...],\n"
        "                                  \"totals\": {...}}; messages and the summary line go\n"
        "                                  to standard error\n"
        "\n"
        "With --json, each requested item is an object: volumeName, name, itemURL,\n"
        "originalPath (or null), outcome, reason (plain text, or null when erased or gone)\n"
        "and erasedSize (allocated bytes erased of it). outcome is one of erased, gone\n"
        "(removed or restored by another program before binwise reached it), skippedLocked,\n"
        "skippedNoPermission (skipped as answered, or because no helper can erase it), busy,\n"
        "failed, stopped (the erase was cancelled or stopped before it was done). totals:\n"
        "count (items asked for), erasedSize (as the summary line counts it), erasedEntries\n"
        "(entries at every level) and the number of items per outcome, under the outcome's\n"
        "name. A usage error (status 2) prints no document.\n");
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
                   "Usage: binwise items [VOLUME...] [OPTIONS]\n"
                   "\n"
                   "The top-level items of each Trash (or of the named volumes', by name or mount\n"
                   "point), one per line: volume name, item name, original path, deletion date "
                   "and\nsize, separated by tabs.\n"
                   "\n"
                   "  --json                          an array of objects: volumeName, name, "
                   "itemURL\n"
                   "                                  (the item's exact bytes, percent-encoded),\n"
                   "                                  originalPath, added (seconds since "
                   "2001-01-01\n"
                   "                                  UTC), size (allocated bytes)\n")
               + choose;
    case Command::Empty:
        return QStringLiteral("Usage: binwise empty [--all | VOLUME...] [OPTIONS]\n"
                              "\n"
                              "Empties every Trash (no volume given, or --all), or the Trash of "
                              "each named\nvolume (by name or mount point). With --older-than, "
                              "--larger-than or\n--matching it erases only the items they "
                              "choose, as \"binwise erase\" would\nerase them; when none is "
                              "chosen it says so and erases nothing.\n"
                              "\n"
                              "  --all                           every Trash (as when no volume "
                              "is given)\n")
               + confirm + answers + choose + outcomes;
    case Command::Erase:
        return QStringLiteral(
                   "Usage: binwise erase PATH... [OPTIONS]\n"
                   "\n"
                   "Erases the named items, each of which must lie directly in a "
                   "Trash's files\nfolder. A PATH may also be a file:// URL, as the itemURL "
                   "of \"binwise items\n--json\". Nothing is erased when one item "
                   "does not qualify.\n"
                   "\n")
               + confirm + answers + outcomes;
    case Command::Put:
        return QStringLiteral(
            "Usage: binwise put PATH... [--json]\n"
            "\n"
            "Puts the named files and folders (paths, or file:// URLs) in the Trash, as\n"
            "trash-put and gio trash do: the home Trash for items on the home's volume,\n"
            "otherwise the volume's own Trash (.Trash/UID, else .Trash-UID, made when\n"
            "missing). Items are moved, never copied and never deleted: one that cannot be\n"
            "moved into a Trash on its own volume stays where it is. A symbolic link is put\n"
            "in the Trash, not what it points to. Refused, with nothing moved: a path that\n"
            "does not exist, /, a mount point, a Trash or anything in one.\n"
            "\n"
            "  --json  an array of objects: path, outcome (trashed or failed), itemURL (the\n"
            "          item in the Trash, as binwise items --json gives it), error; a\n"
            "          request refused as a whole (exit 2) prints none\n");
    case Command::Restore:
        return QStringLiteral(
            "Usage: binwise restore ITEM... [--to DIR] [--rename] [--json]\n"
            "\n"
            "Puts Trash items back where they came from, making missing folders on the way,\n"
            "and prints where each went. An ITEM is an item in a Trash's files folder (a\n"
            "path, or the itemURL of binwise items --json), or the original path of an item\n"
            "(the newest item from there when several are). Nothing is overwritten. A\n"
            "symbolic link on the way back is not followed: the item stays in the Trash\n"
            "(use --to). Across volumes the item is copied, compared and only then removed\n"
            "from the Trash.\n"
            "\n"
            "  --to DIR  put the items into the folder DIR instead\n"
            "  --rename  when the name is taken, use \"name (2)\", \"name (3)\", ...\n"
            "  --json    an array of objects: itemURL, outcome (restored, exists, gone,\n"
            "            refused, failed, incomplete), originalPath, restoredPath,\n"
            "            restoredURL, error; a request refused as a whole (exit 2)\n"
            "            prints none\n");
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
        "  put PATH...          puts files and folders in the Trash\n"
        "  restore ITEM... [--to DIR] [--rename]\n"
        "                       puts Trash items back where they came from\n"
        "  help [COMMAND]       this help, or a command's\n"
        "\n"
        "  -h, --help           help\n"
        "  -V, --version        the version\n"
        "\n"
        "Exit status: 0 done (every requested item erased, put or restored), 1 some items\n"
        "were not, 2 usage error or a request that cannot be carried out, 3 cancelled.\n"
        "Settings are read from ~/.config/Binwise/Binwise.conf, logs are written under\n"
        "~/.local/state/Binwise/Logs.\n");
}
