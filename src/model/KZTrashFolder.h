#pragma once

#include "KZError.h"
#include "KZFileManager.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QUrl>

#include <optional>

#include <sys/types.h>

// The layout of a freedesktop.org Trash: ROOT/files holds the items, ROOT/info one
// NAME.trashinfo per top-level item, ROOT/directorysizes a size cache. ROOT is the home Trash
// ($XDG_DATA_HOME/Trash), TOP/.Trash/$uid or TOP/.Trash-$uid. Stateless; any thread.
class KZTrashFolder
{
public:
    // $XDG_DATA_HOME when set and absolute, else $HOME/.local/share, read now.
    [[nodiscard]] static QByteArray dataHomeFromEnvironment();

    // Finds or makes the home Trash under dataHome and answers its files/ folder; empty with
    // error set when it cannot be had.
    [[nodiscard]] static QByteArray homeTrashFilesFolder(const QByteArray &dataHome, uid_t uid,
                                                         KZError *error,
                                                         KZFileManager &fileManager);
    // The Trash of uid on the volume whose top directory is top: TOP/.Trash/$uid when .Trash
    // is a sticky folder and not a link (the $uid folder made when missing, used only when it
    // is the user's own and not a link), else TOP/.Trash-$uid, made 0700 when missing. Answers
    // the files/ folder, or empty with error set.
    [[nodiscard]] static QByteArray volumeTrashFilesFolder(const QByteArray &top, uid_t uid,
                                                           KZError *error,
                                                           KZFileManager &fileManager);

    // The lookups of a query: nothing is made. The files/ folders of uid's Trashes that exist,
    // in order (the home Trash under dataHome; on a volume the shared TOP/.Trash/$uid first,
    // then TOP/.Trash-$uid: two desktops may have left both); with none, the one a first put
    // would make, and *exists false. A folder that is unsafe (a link, someone else's, not a
    // folder) is left out with its reason in *error; empty when no folder is usable at all.
    [[nodiscard]] static QByteArrayList existingHomeTrashFilesFolders(const QByteArray &dataHome,
                                                                      uid_t uid, bool *exists,
                                                                      KZError *error,
                                                                      KZFileManager &fileManager);
    [[nodiscard]] static QByteArrayList existingVolumeTrashFilesFolders(const QByteArray &top,
                                                                        uid_t uid, bool *exists,
                                                                        KZError *error,
                                                                        KZFileManager &fileManager);

    // Whether name is one a volume's Trash folder goes by: ".Trash" (the shared one, holding
    // each user's) or ".Trash-$uid".
    [[nodiscard]] static bool isVolumeTrashName(const QByteArray &name);
    // When realFolder (a path without symbolic links) is the files/ folder of a Trash, its
    // ROOT; otherwise nothing. dataHome decides which "Trash" folder is the home one.
    [[nodiscard]] static std::optional<QByteArray>
    trashRootOfFilesFolder(const QByteArray &realFolder, const QByteArray &dataHome);
    // The folder that relative original paths of a Trash's items start from (TOP); empty for
    // the home Trash, whose paths are absolute.
    [[nodiscard]] static QByteArray topDirectoryOfTrashRoot(const QByteArray &trashRoot);
    // The path the kernel has for an open descriptor (no symbolic links in it); empty when it
    // cannot be read.
    [[nodiscard]] static QByteArray realPathOfDescriptor(int fd, KZFileManager &fileManager);

    // Removes info/NAME.trashinfo of each name and drops their directorysizes lines; rootfd is
    // the Trash ROOT. Call only once the items are gone. Answers the info files removed.
    static int forgetItems(int rootfd, const QByteArrayList &names, KZFileManager &fileManager);
    // Removes every info/NAME.trashinfo whose files/NAME no longer exists, and the
    // directorysizes lines of vanished folders. filesURL is the Trash's files/ folder. Answers
    // the info files removed, or -1 when the folder is not a Trash's files/ folder.
    static int removeOrphanedTrashInfo(const QUrl &filesURL, KZFileManager &fileManager);
    // Rewrites ROOT/directorysizes without the lines of names (temporary file, then an atomic
    // rename); nothing is written when no line matches.
    static bool dropDirectorySizes(int rootfd, const QByteArrayList &names,
                                   KZFileManager &fileManager);
};
