// The system's own items, path containment against lists of protected places, the user's
// standard folders, and the opening of items and applications.
#include "KZFilesUtilities.h"

#include "KZDesktopEntry.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcSystemItems, "binwise.model.system")

namespace {

// A path element of a containment list, as bytes: strings and byte arrays are taken as they
// are; anything else reads as empty, which matches nothing.
QByteArray pathBytes(const QVariant &value)
{
    if (value.typeId() == QMetaType::QByteArray)
        return value.toByteArray();
    if (value.typeId() == QMetaType::QString)
        return QFile::encodeName(value.toString());
    return {};
}

bool isPathString(const QVariant &value)
{
    return value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray;
}

const QString kPathKey = QStringLiteral("path");

bool hasPathEntry(const QVariant &value)
{
    if (value.typeId() == QMetaType::QVariantMap)
        return value.toMap().contains(kPathKey);
    if (value.typeId() == QMetaType::QVariantHash)
        return value.toHash().contains(kPathKey);
    return false;
}

QByteArray pathEntry(const QVariant &value)
{
    if (value.typeId() == QMetaType::QVariantHash)
        return pathBytes(value.toHash().value(kPathKey));
    return pathBytes(value.toMap().value(kPathKey));
}

// Components as the platform's path splitting counts them: a leading "/" is one, each name
// between slashes is one (empty ones from doubled slashes are not), and a trailing "/" after a
// name is one more.
qsizetype componentCount(const QByteArray &path)
{
    qsizetype count = path.startsWith('/') ? 1 : 0;
    for (const QByteArray &part : path.split('/')) {
        if (!part.isEmpty())
            ++count;
    }
    if (path.size() > 1 && path.endsWith('/'))
        ++count;
    return count;
}

// First occurrence of needle in haystack; an empty needle is never found.
qsizetype firstOccurrence(const QByteArray &haystack, const QByteArray &needle)
{
    return needle.isEmpty() ? -1 : haystack.indexOf(needle);
}

bool pathMatchesElement(const QByteArray &path, const QByteArray &element)
{
    if (componentCount(path) <= componentCount(element)) {
        const qsizetype at = firstOccurrence(element, path);
        if (at < 0)
            return false;
        if (path.size() == element.size())
            return true;
        return at == 0 && element.at(path.size()) == '/';
    }
    const qsizetype at = firstOccurrence(path, element);
    return at == 0 && path.at(element.size()) == '/';
}

bool startDetached(const QString &program, const QStringList &arguments,
                   const QString &workingDirectory)
{
    return QProcess::startDetached(program, arguments, workingDirectory);
}

void terminalBell()
{
    if (::isatty(STDERR_FILENO)) {
        std::fputc('\a', stderr);
        std::fflush(stderr);
    }
}

// xdg-open takes no options but its own; a name that starts with "-" must not read as one.
QString openArgument(const QByteArray &path)
{
    QByteArray safe = path;
    if (safe.startsWith('-'))
        safe.prepend("./");
    const QString text = QFile::decodeName(safe);
    if (QFile::encodeName(text) == safe)
        return text;
    // Not text: the file URL is the lossless form, and xdg-open accepts it.
    QByteArray absolute = safe;
    if (!absolute.startsWith('/'))
        absolute = KZPath::join(QFile::encodeName(QDir::currentPath()), safe);
    return KZPath::urlFromPath(absolute).toString(QUrl::FullyEncoded);
}

bool isExecutableFile(const QByteArray &path)
{
    struct stat info
    {
    };
    return ::stat(path.constData(), &info) == 0 && S_ISREG(info.st_mode)
           && ::access(path.constData(), X_OK) == 0;
}

} // namespace

QStringList KZFilesUtilities::invisibleSystemItems() const
{
    return {QStringLiteral("home"),
            QStringLiteral("net"),
            QStringLiteral("bin"),
            QStringLiteral("dev"),
            QStringLiteral("etc"),
            QStringLiteral("mach"),
            QStringLiteral("mach.sym"),
            QStringLiteral("mach_kernel.ctfsys"),
            QStringLiteral("mach_kernel"),
            QStringLiteral("sbin"),
            QStringLiteral("tmp"),
            QStringLiteral("usr"),
            QStringLiteral("var"),
            QStringLiteral(".Archived_Directories\n"),
            QStringLiteral(".fseventsd"),
            QStringLiteral(".HFS+ Private Directory Data\n"),
            QStringLiteral(".Metadata"),
            QStringLiteral(".Spotlight-V100"),
            QStringLiteral(".Trashes"),
            QStringLiteral(".vol"),
            QStringLiteral(".TemporaryItems"),
            QStringLiteral("cores"),
            QStringLiteral("Cleanup At Startup"),
            QStringLiteral("Desktop Folder"),
            QStringLiteral("Network Trash Folder"),
            QStringLiteral("Network"),
            QStringLiteral("private"),
            QStringLiteral("Temporary Items"),
            QStringLiteral("TheVolumeSettingsFolder"),
            QStringLiteral("Volumes"),
            QStringLiteral("automount"),
            QStringLiteral(".Archived_Directories?")};
}

QStringList KZFilesUtilities::visibleSystemItems() const
{
    return {QStringLiteral("Library"), QStringLiteral("System"), QStringLiteral("System Folder")};
}

bool KZFilesUtilities::location(const QByteArray &path,
                                const QVariantList &isContainedInArray) const
{
    if (isContainedInArray.isEmpty())
        return false;
    const QVariant &first = isContainedInArray.first();
    const bool ofStrings = isPathString(first);
    if (!ofStrings && !hasPathEntry(first)) {
        qCWarning(lcSystemItems).noquote()
            << "In the [KZFilesUtilities location:(NSString *) isContainedInArray(NSArray *)] "
               "function the supplied array doesn't contain a path string nor a dictionary "
               "with \"path\" as a key.";
        if (m_beep)
            m_beep();
        else
            terminalBell();
        // Unsure what the list protects, the answer protects it.
        return true;
    }
    return std::any_of(
        isContainedInArray.begin(), isContainedInArray.end(), [&](const QVariant &element) {
            return pathMatchesElement(path, ofStrings ? pathBytes(element) : pathEntry(element));
        });
}

QByteArray KZFilesUtilities::defaultSystemFolder(QStandardPaths::StandardLocation kind,
                                                 const QByteArray &ifNotFound) const
{
    const QString location = QStandardPaths::writableLocation(kind);
    if (location.isEmpty())
        return ifNotFound;
    const QByteArray path = QFile::encodeName(location);
    struct stat info
    {
    };
    if (::stat(path.constData(), &info) != 0)
        return {};
    return path;
}

QByteArray KZFilesUtilities::folderPathOfKInd(QStandardPaths::StandardLocation kind) const
{
    const QString location = QStandardPaths::writableLocation(kind);
    if (location.isEmpty() || !QDir().mkpath(location))
        return {};
    return QFile::encodeName(location);
}

void KZFilesUtilities::launchItems(const QByteArrayList &paths) const
{
    const Launcher &launch = m_launcher ? m_launcher : Launcher(startDetached);
    for (const QByteArray &path : paths) {
        if (!path.isEmpty())
            launch(QStringLiteral("xdg-open"), {openArgument(path)}, QString());
    }
}

void KZFilesUtilities::launchAppWithPath(const QByteArray &appPath,
                                         const QByteArray &itemPath) const
{
    const Launcher &launch = m_launcher ? m_launcher : Launcher(startDetached);
    if (appPath.endsWith(".desktop")) {
        const std::optional<KZDesktopEntry> entry = KZDesktopEntry::load(appPath);
        if (!entry)
            return;
        QStringList arguments = entry->execArguments(itemPath);
        if (arguments.isEmpty())
            return;
        // A terminal program gets the system's terminal emulator around it.
        if (entry->boolValue(QStringLiteral("Terminal")))
            arguments = QStringList{QStringLiteral("x-terminal-emulator"), QStringLiteral("-e")}
                        + arguments;
        const QString program = arguments.takeFirst();
        launch(program, arguments, entry->value(QStringLiteral("Path")));
        return;
    }
    // A bare executable takes the item as its one argument.
    if (!isExecutableFile(appPath))
        return;
    QStringList arguments;
    if (!itemPath.isEmpty())
        arguments.append(openArgument(itemPath));
    launch(QFile::decodeName(appPath), arguments, QString());
}

QString KZFilesUtilities::applicationNameWithCreator(const QString &creator) const
{
    Q_UNUSED(creator)
    // Linux applications claim MIME types, never creator codes, so no application matches.
    return QLatin1String("");
}

void KZFilesUtilities::setBeepHook(std::function<void()> beep)
{
    m_beep = std::move(beep);
}

void KZFilesUtilities::setLauncher(Launcher launcher)
{
    m_launcher = std::move(launcher);
}
