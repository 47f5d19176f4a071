#pragma once

#include "KZError.h"
#include "KZFileManager.h"
#include "KZFilesUtilities.h"

#include <QByteArray>
#include <QDateTime>

#include <sys/types.h>

// Puts items into the Trash as trash-put and gio trash do: the home Trash for items on the
// home's volume, otherwise the volume's TOP/.Trash/$uid or TOP/.Trash-$uid (made when
// missing). The info file is made first (O_EXCL, so no two programs take one name), then the
// item is renamed into files/. Never a copy and never a removal: an item that cannot be
// renamed into a Trash of its own volume stays where it is. One instance per caller thread.
class KZTrashPut
{
public:
    // utilities answers which mount holds a path; dataHome is the folder whose "Trash" is the
    // home Trash; uid the user whose Trashes are used.
    KZTrashPut(const KZFilesUtilities &utilities, QByteArray dataHome, uid_t uid,
               KZFileManager &fileManager);
    virtual ~KZTrashPut() = default;
    KZTrashPut(const KZTrashPut &) = delete;
    KZTrashPut &operator=(const KZTrashPut &) = delete;

    // Whether the item at path (absolute; the last component is not resolved, so a link is
    // put as a link) may go into a Trash: it exists, it is not "/", a mount point, a Trash or
    // inside one, nor a folder holding the home Trash. Changes nothing. False with *error
    // (a sentence naming the item) otherwise.
    [[nodiscard]] bool checkItem(const QByteArray &path, KZError *error) const;
    // Moves the item into its volume's Trash. Answers the item's new path in files/, or empty
    // with *error; on failure the item and the Trash are as they were (no info file left).
    [[nodiscard]] QByteArray trashItemAtPath(const QByteArray &path, KZError *error);

    // The name of the attempt-th try for name in files/: name itself, then "name.2",
    // "name.3", ... with the number before the extension ("photo.2.jpg"), as gio numbers them.
    [[nodiscard]] static QByteArray candidateName(const QByteArray &name, int attempt);
    // The text of an info file: pathInInfo is the absolute or volume-relative original path.
    [[nodiscard]] static QByteArray infoFileText(const QByteArray &pathInInfo,
                                                 const QDateTime &deletionDate);

protected:
    // Once a folder has gone into the Trash ROOT open as rootfd under trashedName: records its
    // line in ROOT/directorysizes, as the freedesktop.org Trash asks of whoever trashes a
    // folder. The put is done whatever happens here; a line left unwritten is measured later.
    void noteFolderSize(int rootfd, const QByteArray &trashedName);

private:
    struct Checked
    {
        QByteArray realParent; // the folder holding the item, links resolved
        QByteArray name;
        bool isFolder = false;
    };
    [[nodiscard]] bool check(const QByteArray &path, Checked *checked, KZError *error) const;
    // Why a move of the checked item out of parentfd was refused for want of rights.
    [[nodiscard]] QString whyNotMovable(int parentfd, const Checked &checked) const;

    const KZFilesUtilities &m_utilities;
    QByteArray m_dataHome;
    uid_t m_uid;
    KZFileManager &m_fileManager;
};
