#include "KZCliTrashes.h"

#include "KZCliApplication.h"
#include "model/KZPath.h"
#include "model/KZTrashSizes.h"
#include "protocol/KZFileDescriptor.h"

#include <QSet>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString shown(const QByteArray &bytes)
{
    return KZPath::escapedDisplayString(bytes);
}

QByteArray workingFolder()
{
    QByteArray buffer(PATH_MAX, Qt::Uninitialized);
    if (!::getcwd(buffer.data(), size_t(buffer.size())))
        return {};
    buffer.truncate(qsizetype(qstrlen(buffer.constData())));
    return buffer;
}

QByteArray withoutTrailingSlashes(QByteArray path)
{
    while (path.size() > 1 && path.endsWith('/'))
        path.chop(1);
    return path;
}

} // namespace

KZFilesUtilities::Roots KZCliTrashes::rootsFromEnvironment()
{
    KZFilesUtilities::Roots roots;
    const QString table = qEnvironmentVariable("BINWISE_MOUNTINFO");
    if (!table.isEmpty())
        roots.mountInfoPath = table;
    return roots;
}

KZCliTrashes::KZCliTrashes(KZFilesUtilities::Roots roots)
    : m_utilities(std::move(roots))
{}

const QList<KZTrashLocation> &KZCliTrashes::locations()
{
    if (!m_locations) {
        QList<KZError> problems;
        m_locations = m_utilities.trashesAndVolumesLocations(&problems);
        // A Trash left out is said, or the user would take it for an empty one.
        for (const KZError &problem : std::as_const(problems))
            KZCliApplication::printError(problem.localizedDescription);
    }
    return *m_locations;
}

bool KZCliTrashes::selectVolumes(const QByteArrayList &volumes, QList<KZTrashLocation> *selected,
                                 QString *error)
{
    const QList<KZTrashLocation> &all = locations();
    selected->clear();
    if (volumes.isEmpty()) {
        *selected = all;
        return true;
    }
    QSet<qsizetype> chosen;
    for (const QByteArray &volume : volumes) {
        // A mount point names one volume; a name may be shared by several (two disks with
        // the same label), and guessing which one to empty is not ours to do.
        const QByteArray asPath = volume.startsWith('/') ? withoutTrailingSlashes(volume) : "";
        const QByteArray realPath = asPath.isEmpty() ? QByteArray() : KZPath::realPath(asPath);
        QList<qsizetype> byName;
        std::optional<qsizetype> byMountPoint;
        for (qsizetype i = 0; i < all.size(); ++i) {
            const QByteArray mountPoint = KZPath::pathFromURL(all.at(i).volumeURL);
            if (!asPath.isEmpty() && (mountPoint == asPath || mountPoint == realPath))
                byMountPoint = i;
            else if (all.at(i).volumeName.toUtf8() == volume)
                byName.append(i);
        }
        if (byMountPoint) {
            chosen.insert(*byMountPoint);
        } else if (byName.size() == 1) {
            chosen.insert(byName.first());
        } else if (byName.isEmpty()) {
            *error = QStringLiteral("no volume with a Trash is named or mounted at “%1” (see "
                                    "binwise list)")
                         .arg(shown(volume));
            // trash-empty takes a number of days where binwise takes volumes.
            bool isNumber = false;
            volume.toUInt(&isNumber);
            if (isNumber)
                *error += QStringLiteral("; for the items put in the Trash more than %1 days "
                                         "ago, use --older-than %1")
                              .arg(shown(volume));
            return false;
        } else {
            *error = QStringLiteral("%1 volumes are named “%2”; name the one you mean by its "
                                    "mount point (see binwise list)")
                         .arg(byName.size())
                         .arg(shown(volume));
            return false;
        }
    }
    for (qsizetype i = 0; i < all.size(); ++i) {
        if (chosen.contains(i))
            selected->append(all.at(i));
    }
    return true;
}

bool KZCliTrashes::itemsToErase(const QByteArrayList &paths, QList<QUrl> *items, QString *error)
{
    items->clear();
    QSet<QByteArray> trashFolders;
    for (const KZTrashLocation &location : locations()) {
        for (const QUrl &trashURL : location.trashURLs()) {
            const QByteArray real = KZPath::realPath(KZPath::pathFromURL(trashURL));
            if (!real.isEmpty())
                trashFolders.insert(real);
        }
    }
    const QByteArray here = workingFolder();
    QSet<QByteArray> seen;
    for (const QByteArray &given : paths) {
        // "binwise items --json" hands out itemURL: the one lossless text form of a name.
        QByteArray path = given;
        if (given.startsWith("file://")) {
            path = KZPath::pathFromURL(QUrl::fromEncoded(given, QUrl::StrictMode));
            if (path.isEmpty()) {
                *error = QStringLiteral("“%1” is not a local file URL").arg(shown(given));
                return false;
            }
        }
        path = withoutTrailingSlashes(path);
        if (!path.startsWith('/'))
            path = KZPath::join(here, path);
        const QByteArray name = KZPath::fileName(path);
        const auto refuse = [&](const QString &why) {
            *error = QStringLiteral("“%1” %2").arg(shown(given), why);
            return false;
        };
        if (given.isEmpty() || name.isEmpty() || name == "." || name == "..")
            return refuse(QStringLiteral("is not an item in a Trash"));
        // The folder holding the item is resolved; the item itself is not, so that a link in
        // the Trash is erased as a link and never leads anywhere else.
        const QByteArray parent = KZPath::realPath(KZPath::parentPath(path));
        const KZFileDescriptor parentfd(
            parent.isEmpty() ? -1 : ::open(parent.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        struct stat st = {};
        if (!parentfd.isValid()
            || ::fstatat(parentfd.get(), name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0)
            return refuse(QStringLiteral("does not exist"));
        if (!trashFolders.contains(parent))
            return refuse(QStringLiteral("is not an item in a Trash: only what lies directly in "
                                         "a Trash's files folder can be erased (see binwise "
                                         "items --json)"));
        const QByteArray item = KZPath::join(parent, name);
        if (seen.contains(item))
            continue;
        seen.insert(item);
        items->append(KZPath::urlFromPath(item));
    }
    return true;
}

QByteArray KZCliTrashes::absolutePath(const QByteArray &path)
{
    const QByteArray trimmed = withoutTrailingSlashes(path);
    return trimmed.startsWith('/') ? trimmed : KZPath::join(workingFolder(), trimmed);
}

QList<KZCliTrashes::TrashItem> KZCliTrashes::chooseItems(const QList<KZTrashLocation> &locations,
                                                         const KZItemFilter &filter, bool measure,
                                                         qint64 now) const
{
    QList<TrashItem> chosen;
    for (const KZTrashLocation &location : locations) {
        for (const QUrl &trashURL : location.trashURLs()) {
            const QByteArray folder = KZPath::pathFromURL(trashURL);
            const bool measures = measure || filter.needsSize();
            // Folders measured before and unchanged since are not walked again.
            const QHash<QByteArray, KZTrashSizes::Figures> recorded
                = measures ? KZTrashSizes::cachedFolderSizes(trashURL)
                           : QHash<QByteArray, KZTrashSizes::Figures>();
            for (const QByteArray &name : topLevelNames(trashURL)) {
                TrashItem item{
                    location.volumeName, KZPath::urlFromPath(KZPath::join(folder, name)), name,
                    KZTrashInfo::readForItem(KZPath::urlFromPath(KZPath::join(folder, name))),
                    std::nullopt};
                if (measures) {
                    const auto known = recorded.constFind(name);
                    item.size = known != recorded.cend() ? known->size : sizeOfItem(item.url);
                }
                if (filter.matches(item.info, item.size.value_or(0), now))
                    chosen.append(std::move(item));
            }
        }
    }
    return chosen;
}

KZCliTrashes::TrashItem KZCliTrashes::describeItem(const QUrl &url)
{
    if (!m_volumeOfTrash) {
        m_volumeOfTrash.emplace();
        for (const KZTrashLocation &location : locations()) {
            for (const QUrl &trashURL : location.trashURLs()) {
                const QByteArray real = KZPath::realPath(KZPath::pathFromURL(trashURL));
                if (!real.isEmpty())
                    m_volumeOfTrash->insert(real, location.volumeName);
            }
        }
    }
    const QByteArray path = KZPath::pathFromURL(url);
    return {m_volumeOfTrash->value(KZPath::parentPath(path)), url, KZPath::fileName(path),
            KZTrashInfo::readForItem(url), std::nullopt};
}

QByteArrayList KZCliTrashes::topLevelNames(const QUrl &trashURL)
{
    QByteArrayList names;
    const QByteArray path = KZPath::pathFromURL(trashURL);
    DIR *dir = path.isEmpty() ? nullptr : ::opendir(path.constData());
    if (!dir)
        return names;
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names.append(name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

quint64 KZCliTrashes::sizeOfItem(const QUrl &url, quint64 *count) const
{
    if (m_utilities.isDirectoryWithURL(url)) {
        quint64 found = 1;
        const KZItemSizeInfo size = m_utilities.iterateFolderForSize(url, &found);
        if (count)
            *count = found;
        return size.totalFileSize;
    }
    if (count)
        *count = 1;
    return m_utilities.attributeWithURL(url, KZResourceKey::TotalFileSize).toULongLong();
}

quint64 KZCliTrashes::sizeOfTrash(const QUrl &trashURL, quint64 *count) const
{
    const KZTrashSizes::Measurement measured = KZTrashSizes::measureTrash(trashURL);
    *count = measured.count;
    return measured.size;
}
