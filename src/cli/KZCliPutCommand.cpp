#include "KZCliPutCommand.h"

#include "KZCliApplication.h"
#include "KZJsonLines.h"
#include "model/KZPath.h"
#include "model/KZTrashFolder.h"
#include "model/KZTrashPut.h"

#include <unistd.h>

KZCliPutCommand::KZCliPutCommand(const KZCommandLine::Options &options, KZCliTrashes &trashes)
    : m_options(options)
    , m_trashes(trashes)
{}

int KZCliPutCommand::run()
{
    KZTrashPut put(m_trashes.utilities(), KZTrashFolder::dataHomeFromEnvironment(), ::getuid(),
                   KZFileManager::defaultManager());
    QByteArrayList paths;
    bool refused = false;
    for (const QByteArray &given : m_options.operands) {
        // A file:// URL is the one lossless text form of a name that is not UTF-8.
        const QByteArray path
            = given.startsWith("file://")
                  ? KZPath::pathFromURL(QUrl::fromEncoded(given, QUrl::StrictMode))
                  : (given.isEmpty() ? given : KZCliTrashes::absolutePath(given));
        KZError error;
        if (path.isEmpty()) {
            KZCliApplication::printError(QStringLiteral("put: “%1” names no local file")
                                             .arg(KZPath::escapedDisplayString(given)));
            refused = true;
        } else if (!put.checkItem(path, &error)) {
            KZCliApplication::printError(QStringLiteral("put: ") + error.localizedDescription);
            refused = true;
        }
        paths.append(path);
    }
    if (refused) {
        KZCliApplication::printError(QStringLiteral("put: nothing was put in the Trash"));
        return KZCliApplication::UsageError;
    }

    KZJsonLines json;
    int failed = 0;
    for (qsizetype i = 0; i < paths.size(); ++i) {
        KZError error;
        const QByteArray trashed = put.trashItemAtPath(paths.at(i), &error);
        if (trashed.isEmpty()) {
            ++failed;
            KZCliApplication::printError(QStringLiteral("put: ") + error.localizedDescription);
        }
        json.beginObject();
        json.add("path", KZPath::displayString(paths.at(i)));
        json.add("outcome",
                 trashed.isEmpty() ? QStringLiteral("failed") : QStringLiteral("trashed"));
        json.add("itemURL", trashed.isEmpty()
                                ? std::optional<QString>()
                                : KZPath::urlFromPath(trashed).toString(QUrl::FullyEncoded));
        json.add("error", trashed.isEmpty() ? std::optional<QString>(error.localizedDescription)
                                            : std::optional<QString>());
        json.endObject();
    }
    if (m_options.json)
        KZCliApplication::writeTo(STDOUT_FILENO, json.finish());
    return failed == 0 ? KZCliApplication::Done : KZCliApplication::NotAllErased;
}
