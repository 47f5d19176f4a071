#pragma once

#include <QByteArray>
#include <QHash>

#include <sys/types.h>

// Binwise's own record of the top-level folders of one Trash it has measured, kept under
// $XDG_CACHE_HOME/Binwise/trash-sizes (never in the Trash itself): the allocated bytes and the
// entries of each folder, beside what identifies the folder as it was when it was walked.
// A record holds only while the folder is the same inode with the same change time and its
// info file keeps the same modification time, to the nanosecond: adding, removing or renaming
// anything directly in the folder, replacing the folder or rewriting its info file makes the
// record stale. The file names the Trash by its path and the device and inode of its root,
// so a different volume mounted at the same place does not inherit it. Stateless; any thread.
class KZTrashSizeCache
{
public:
    struct Entry
    {
        quint64 inode = 0;
        qint64 changeNs = 0;    // the folder's ctime
        qint64 infoMtimeNs = 0; // its info file's mtime
        quint64 size = 0;       // allocated bytes, the folder's own blocks left out
        quint64 count = 0;      // the folder and every entry in it
        friend bool operator==(const Entry &, const Entry &) = default;
    };
    using Entries = QHash<QByteArray, Entry>; // by item name

    struct Identity
    {
        QByteArray rootPath; // the Trash ROOT, without symbolic links
        quint64 device = 0;
        quint64 inode = 0;
    };

    // $XDG_CACHE_HOME/Binwise/trash-sizes (or $HOME/.cache/...), read now.
    [[nodiscard]] static QByteArray folderFromEnvironment();
    // The file that holds trash's records inside folder.
    [[nodiscard]] static QByteArray filePath(const QByteArray &folder, const Identity &trash);

    // The records of trash; empty when there is no file, it is someone else's Trash's, or it
    // cannot be read.
    [[nodiscard]] static Entries read(const QByteArray &folder, const Identity &trash);
    // Replaces the records of trash (temporary file, atomic rename; the folder made 0700 when
    // missing). False when it could not be written; callers carry on without it.
    static bool write(const QByteArray &folder, const Identity &trash, const Entries &entries);
};
