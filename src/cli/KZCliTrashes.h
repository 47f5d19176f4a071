#pragma once

#include "KZItemFilter.h"
#include "model/KZFilesUtilities.h"
#include "model/KZTrashInfo.h"
#include "model/KZTrashLocation.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QHash>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

// The command line's view of the Trashes: the location records of this run, the volumes named
// on the command line, and the items named for "erase". Main thread.
class KZCliTrashes
{
public:
    // A top-level item of a Trash, with what its info file says.
    struct TrashItem
    {
        QString volumeName;
        QUrl url;
        QByteArray name;
        std::optional<KZTrashInfo> info;
        std::optional<quint64> size; // allocated bytes, when measured
    };

    // The file model's roots for this process: the kernel's mount table, or the one named by
    // BINWISE_MOUNTINFO (a file in /proc/self/mountinfo's format), so that a test or a sandbox
    // can keep binwise to the volumes it owns.
    [[nodiscard]] static KZFilesUtilities::Roots rootsFromEnvironment();

    explicit KZCliTrashes(KZFilesUtilities::Roots roots = rootsFromEnvironment());

    // Every volume's Trash location record, in mount order; read once, on first use. Nothing
    // is made: a volume without a Trash folder has an empty one. A Trash that cannot be used
    // is left out, with a line on standard error that says which and why.
    [[nodiscard]] const QList<KZTrashLocation> &locations();

    // The records of the volumes named by volumes (a volume name or a mount point each), in
    // the order of the records; all of them when volumes is empty. False with *error when a
    // name matches no volume, or several volumes without one being named by its mount point.
    [[nodiscard]] bool selectVolumes(const QByteArrayList &volumes,
                                     QList<KZTrashLocation> *selected, QString *error);

    // The URLs of the items at paths (relative to the working folder, absolute, or file://
    // URLs), each of which must exist and lie directly in the files folder of one of the
    // Trashes; duplicates are dropped. False with *error, naming the first path that does not
    // qualify.
    [[nodiscard]] bool itemsToErase(const QByteArrayList &paths, QList<QUrl> *items,
                                    QString *error);

    // path made absolute against the working folder, without trailing slashes; nothing is
    // resolved.
    [[nodiscard]] static QByteArray absolutePath(const QByteArray &path);
    // The top-level items of the locations' Trashes (both folders of a volume) that filter
    // chooses, in listing order; each is measured when measure is set or the filter needs its
    // size. now: seconds since 1970.
    [[nodiscard]] QList<TrashItem> chooseItems(const QList<KZTrashLocation> &locations,
                                               const KZItemFilter &filter, bool measure,
                                               qint64 now) const;
    // The item at url (directly in a Trash's files folder) with its info file and the name of
    // its volume; not measured.
    [[nodiscard]] TrashItem describeItem(const QUrl &url);

    // The names in a Trash's files folder, sorted bytewise; hidden ones included.
    [[nodiscard]] static QByteArrayList topLevelNames(const QUrl &trashURL);
    // Allocated bytes of an item (a folder: everything in it) and, when count is given, the
    // items it holds plus itself. Links are never followed.
    [[nodiscard]] quint64 sizeOfItem(const QUrl &url, quint64 *count = nullptr) const;
    // The Trash's contents: allocated bytes and item count, every level down; folders that
    // were measured before and have not changed since count with their recorded figures.
    [[nodiscard]] quint64 sizeOfTrash(const QUrl &trashURL, quint64 *count) const;

    [[nodiscard]] KZFilesUtilities &utilities() { return m_utilities; }

private:
    KZFilesUtilities m_utilities;
    std::optional<QList<KZTrashLocation>> m_locations;
    // Real paths of the Trashes' files folders, and their volumes' names.
    std::optional<QHash<QByteArray, QString>> m_volumeOfTrash;
};
