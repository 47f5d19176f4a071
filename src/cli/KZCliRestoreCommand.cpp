#include "KZCliRestoreCommand.h"

#include "KZCliApplication.h"
#include "KZJsonLines.h"
#include "model/KZPath.h"
#include "model/KZTrashFolder.h"
#include "model/KZTrashInfo.h"
#include "model/KZTrashRestore.h"

#include <sys/stat.h>

#include <limits>

#include <stdlib.h>

#include <unistd.h>

namespace {

QString outcomeName(KZTrashRestore::Outcome outcome)
{
    switch (outcome) {
    case KZTrashRestore::Outcome::Restored:
        return QStringLiteral("restored");
    case KZTrashRestore::Outcome::Exists:
        return QStringLiteral("exists");
    case KZTrashRestore::Outcome::Gone:
        return QStringLiteral("gone");
    case KZTrashRestore::Outcome::Refused:
        return QStringLiteral("refused");
    case KZTrashRestore::Outcome::Failed:
        return QStringLiteral("failed");
    case KZTrashRestore::Outcome::Incomplete:
        return QStringLiteral("incomplete");
    }
    return {};
}

std::optional<QString> optionalText(const QByteArray &path)
{
    return path.isEmpty() ? std::optional<QString>() : KZPath::displayString(path);
}

} // namespace

KZCliRestoreCommand::KZCliRestoreCommand(const KZCommandLine::Options &options,
                                         KZCliTrashes &trashes)
    : m_options(options)
    , m_trashes(trashes)
{}

std::optional<QUrl> KZCliRestoreCommand::newestItemFrom(const QByteArray &path)
{
    std::optional<QUrl> newest;
    double newestDate = -std::numeric_limits<double>::infinity();
    for (const KZTrashLocation &location : m_trashes.locations()) {
        for (const QUrl &trashURL : location.trashURLs()) {
            const QByteArray files = KZPath::pathFromURL(trashURL);
            for (const QByteArray &name : KZCliTrashes::topLevelNames(trashURL)) {
                const QUrl url = KZPath::urlFromPath(KZPath::join(files, name));
                const std::optional<KZTrashInfo> info = KZTrashInfo::readForItem(url);
                if (!info || info->originalPath != path)
                    continue;
                const double date = info->deletionDate.value_or(newestDate);
                if (!newest || date > newestDate) {
                    newest = url;
                    newestDate = date;
                }
            }
        }
    }
    return newest;
}

int KZCliRestoreCommand::run()
{
    QList<QUrl> items;
    bool missing = false;
    for (const QByteArray &given : m_options.operands) {
        QList<QUrl> found;
        QString error;
        if (m_trashes.itemsToErase({given}, &found, &error)) {
            for (const QUrl &url : found) {
                if (!items.contains(url))
                    items.append(url);
            }
            continue;
        }
        // Not an item in a Trash: the place an item came from, as trash-restore takes it.
        std::optional<QUrl> from;
        if (!given.isEmpty() && !given.startsWith("file://")) {
            // As typed, or with the folders above resolved, as binwise put records it.
            const QByteArray path = KZCliTrashes::absolutePath(given);
            from = newestItemFrom(path);
            const QByteArray real
                = from ? QByteArray() : KZPath::realPath(KZPath::parentPath(path));
            if (!real.isEmpty())
                from = newestItemFrom(KZPath::join(real, KZPath::fileName(path)));
        }
        if (from) {
            if (!items.contains(*from))
                items.append(*from);
            continue;
        }
        KZCliApplication::printError(
            QStringLiteral("restore: “%1” is not in a Trash (it may have been restored or erased "
                           "meanwhile), nor the original place of an item in one (see binwise "
                           "items)")
                .arg(KZPath::escapedDisplayString(given)));
        missing = true;
    }
    // A folder to put back into that is not there fails every item alike: the request
    // cannot be carried out, and nothing is tried.
    if (!m_options.toFolder.isEmpty()) {
        struct stat folder = {};
        const QByteArray to = KZCliTrashes::absolutePath(m_options.toFolder);
        if (::stat(to.constData(), &folder) != 0 || !S_ISDIR(folder.st_mode)) {
            KZCliApplication::printError(QStringLiteral("restore: “%1” is not a folder")
                                             .arg(KZPath::escapedDisplayString(to)));
            missing = true;
        }
    }
    if (missing) {
        KZCliApplication::printError(QStringLiteral("restore: nothing was put back"));
        return KZCliApplication::UsageError;
    }

    KZTrashRestore restore(KZTrashFolder::dataHomeFromEnvironment(),
                           KZFileManager::defaultManager());
    KZTrashRestore::Options options;
    options.toFolder = m_options.toFolder;
    options.rename = m_options.rename;
    KZJsonLines json;
    QByteArray text;
    int notDone = 0;
    for (const QUrl &url : items) {
        const KZTrashRestore::Result result
            = restore.restoreItemAtPath(KZPath::pathFromURL(url), options);
        if (result.outcome == KZTrashRestore::Outcome::Restored) {
            text += KZPath::escapedDisplayString(result.restoredPath).toUtf8() + '\n';
        } else {
            ++notDone;
            KZCliApplication::printError(QStringLiteral("restore: ")
                                         + result.error.localizedDescription);
        }
        json.beginObject();
        json.add("itemURL", url.toString(QUrl::FullyEncoded));
        json.add("outcome", outcomeName(result.outcome));
        json.add("originalPath", optionalText(result.originalPath));
        json.add("restoredPath", optionalText(result.restoredPath));
        json.add("restoredURL",
                 result.restoredPath.isEmpty()
                     ? std::optional<QString>()
                     : KZPath::urlFromPath(result.restoredPath).toString(QUrl::FullyEncoded));
        json.add("error", result.outcome == KZTrashRestore::Outcome::Restored
                              ? std::optional<QString>()
                              : std::optional<QString>(result.error.localizedDescription));
        json.endObject();
    }
    KZCliApplication::writeTo(STDOUT_FILENO, m_options.json ? json.finish() : text);
    return notDone == 0 ? KZCliApplication::Done : KZCliApplication::NotAllErased;
}
