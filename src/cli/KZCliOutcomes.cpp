#include "KZCliOutcomes.h"

#include "KZJsonLines.h"
#include "model/KZPath.h"

#include <QMutexLocker>

#include <sys/stat.h>

namespace {

using Kind = KZItemOutcome::Kind;

quint32 bit(Kind kind)
{
    return 1u << unsigned(kind);
}

bool exists(const QByteArray &path)
{
    struct stat st = {};
    return ::lstat(path.constData(), &st) == 0;
}

} // namespace

KZCliOutcomes::KZCliOutcomes(QList<KZCliTrashes::TrashItem> requested)
    : m_requested(std::move(requested))
{
    m_tracks.resize(m_requested.size());
    for (qsizetype i = 0; i < m_requested.size(); ++i) {
        const QByteArray path = KZPath::pathFromURL(m_requested.at(i).url);
        m_index.insert(path, i);
        m_folders.insert(KZPath::parentPath(path));
    }
}

qsizetype KZCliOutcomes::owner(const QByteArray &path) const
{
    // Every entry of a job lies in a Trash folder: the item is the first name below it.
    for (const QByteArray &folder : m_folders) {
        if (path.size() <= folder.size() + 1 || !path.startsWith(folder)
            || path.at(folder.size()) != '/')
            continue;
        const qsizetype slash = path.indexOf('/', folder.size() + 1);
        return m_index.value(slash < 0 ? path : path.left(slash), -1);
    }
    return -1;
}

void KZCliOutcomes::record(const KZItemOutcome &event)
{
    const qsizetype index = owner(event.path);
    QMutexLocker locker(&m_lock);
    if (index < 0) {
        // A Trash folder that could not be opened or read: every item in it stays.
        if (event.kind == Kind::Failed && m_folders.contains(event.path)
            && !m_folderFailure.contains(event.path))
            m_folderFailure.insert(event.path, event.reason);
        return;
    }
    Track &track = m_tracks[index];
    const bool itself = KZPath::pathFromURL(m_requested.at(index).url) == event.path;
    track.kinds |= bit(event.kind);
    switch (event.kind) {
    case Kind::Erased:
        track.erasedSize += event.size;
        track.erased = track.erased || itself;
        break;
    case Kind::ToHelper:
        track.toHelper = true;
        break;
    case Kind::Failed:
        if (track.failure.isEmpty()) {
            const QByteArray item = KZPath::pathFromURL(m_requested.at(index).url);
            track.failure
                = itself ? event.reason
                         : QStringLiteral("%1: %2").arg(KZPath::escapedDisplayString(event.path.mid(
                                                            KZPath::parentPath(item).size() + 1)),
                                                        event.reason);
        }
        break;
    default:
        break;
    }
}

QList<KZCliOutcomes::Result> KZCliOutcomes::results(const KZEraseSummary *summary) const
{
    QMutexLocker locker(&m_lock);
    QList<Result> results;
    results.reserve(m_requested.size());
    for (qsizetype i = 0; i < m_requested.size(); ++i) {
        const Track &track = m_tracks.at(i);
        const QByteArray path = KZPath::pathFromURL(m_requested.at(i).url);
        Result result;
        result.erasedSize = track.erasedSize;
        const auto seen = [&track](Kind kind) {
            return (track.kinds & bit(kind)) != 0;
        };
        if (!exists(path)) {
            // What the engine or the helper removed is erased; what went by other hands (a
            // restore, another program emptying the Trash) is gone.
            result.outcome = track.erased || track.toHelper ? Outcome::Erased : Outcome::Gone;
        } else if (!track.failure.isEmpty()) {
            result = {Outcome::Failed, track.failure, track.erasedSize};
        } else if (seen(Kind::Busy)) {
            result = {Outcome::Busy, QStringLiteral("it is in use"), track.erasedSize};
        } else if (seen(Kind::SkippedLocked)) {
            result
                = {Outcome::SkippedLocked,
                   QStringLiteral("it is locked, and the answer was to skip it"), track.erasedSize};
        } else if (seen(Kind::LockedWithoutHelper)) {
            result = {Outcome::SkippedLocked,
                      QStringLiteral("it is locked, and the helper that erases locked items is "
                                     "not available"),
                      track.erasedSize};
        } else if (seen(Kind::SkippedNoPermission)) {
            result = {Outcome::SkippedNoPermission,
                      QStringLiteral("you have no permission to remove it, and the answer was to "
                                     "skip it"),
                      track.erasedSize};
        } else if (seen(Kind::NoPermissionWithoutHelper)) {
            result = {Outcome::SkippedNoPermission,
                      QStringLiteral("you have no permission to remove it, and the helper that "
                                     "erases such items is not available"),
                      track.erasedSize};
        } else if (track.toHelper && summary && summary->helperError) {
            result = {Outcome::Failed,
                      QStringLiteral("the helper failed: %1")
                          .arg(summary->helperError->localizedDescription),
                      track.erasedSize};
        } else if (track.toHelper && !(summary && summary->stoppedByUser)) {
            result = {Outcome::Failed, QStringLiteral("the helper did not erase it"),
                      track.erasedSize};
        } else if (m_folderFailure.contains(KZPath::parentPath(path))) {
            result = {Outcome::Failed, m_folderFailure.value(KZPath::parentPath(path)),
                      track.erasedSize};
        } else if (!summary) {
            result = {Outcome::Stopped, QStringLiteral("the erase was cancelled"), 0};
        } else if (summary->stoppedByUser) {
            result = {Outcome::Stopped, QStringLiteral("the erase was stopped before it was done"),
                      track.erasedSize};
        } else {
            result = {Outcome::Failed, QStringLiteral("it is still there after the erase"),
                      track.erasedSize};
        }
        results.append(result);
    }
    return results;
}

QString KZCliOutcomes::outcomeName(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Erased:
        return QStringLiteral("erased");
    case Outcome::Gone:
        return QStringLiteral("gone");
    case Outcome::SkippedLocked:
        return QStringLiteral("skippedLocked");
    case Outcome::SkippedNoPermission:
        return QStringLiteral("skippedNoPermission");
    case Outcome::Busy:
        return QStringLiteral("busy");
    case Outcome::Failed:
        return QStringLiteral("failed");
    case Outcome::Stopped:
        return QStringLiteral("stopped");
    }
    return {};
}

QByteArray KZCliOutcomes::json(const KZEraseSummary *summary) const
{
    constexpr Outcome kAll[]
        = {Outcome::Erased, Outcome::Gone,   Outcome::SkippedLocked, Outcome::SkippedNoPermission,
           Outcome::Busy,   Outcome::Failed, Outcome::Stopped};
    const QList<Result> all = results(summary);
    KZJsonLines items;
    QHash<int, quint64> counts;
    for (qsizetype i = 0; i < all.size(); ++i) {
        const KZCliTrashes::TrashItem &item = m_requested.at(i);
        const Result &result = all.at(i);
        ++counts[int(result.outcome)];
        const bool hasPath = item.info && !item.info->originalPath.isEmpty();
        items.beginObject();
        items.add("volumeName", item.volumeName);
        items.add("name", KZPath::displayString(item.name));
        items.add("itemURL", item.url.toString(QUrl::FullyEncoded));
        items.add("originalPath",
                  hasPath ? std::optional<QString>(KZPath::displayString(item.info->originalPath))
                          : std::nullopt);
        items.add("outcome", outcomeName(result.outcome));
        items.add("reason",
                  result.reason.isEmpty() ? std::nullopt : std::optional<QString>(result.reason));
        items.add("erasedSize", result.erasedSize);
        items.endObject();
    }
    QByteArray totals
        = "{\"count\": " + QByteArray::number(all.size())
          + ", \"erasedSize\": " + QByteArray::number(summary ? summary->erasedSize : 0)
          + ", \"erasedEntries\": " + QByteArray::number(summary ? summary->erasedCount : 0);
    for (const Outcome outcome : kAll)
        totals += ", " + KZJsonLines::quoted(outcomeName(outcome)) + ": "
                  + QByteArray::number(counts.value(int(outcome)));
    totals += '}';
    QByteArray array = items.finish();
    array.chop(1);
    return "{\"items\": " + array + ",\n\"totals\": " + totals + "}\n";
}
