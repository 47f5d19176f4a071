#pragma once

#include "KZError.h"
#include "KZFileManager.h"

#include <QByteArray>

#include <sys/stat.h>

// Puts Trash items back where their info file says they came from, or into a chosen folder.
// Nothing is ever overwritten; missing folders on the way are made; a symbolic link on the way
// is refused rather than followed. Within one file system the item is renamed back; across
// file systems it is copied (files, folders, links as links, modes, times and, where the
// user's rights allow, ownership), the copy is read back and compared, and only then is the
// Trash's copy removed. The info file goes only once the item is back. Any thread; one
// instance per thread.
class KZTrashRestore
{
public:
    enum class Outcome {
        Restored, // back in place (restoredPath set)
        Exists,   // something already has the name, and no other name was asked for
        Gone,     // the item is no longer in the Trash
        Refused,  // cannot be done as asked: no original path, a link on the way, not a Trash item
        Failed,   // an error on the way; the Trash item and its info file are as they were
        Incomplete, // back in place, but the Trash's copy could not be removed in full
    };

    struct Options
    {
        QByteArray toFolder; // put back into this folder instead (links in it resolved)
        bool rename = false; // take "name (2)", "name (3)", ... when the name is taken
    };

    struct Result
    {
        Outcome outcome = Outcome::Failed;
        QByteArray originalPath; // from the info file; empty without one
        QByteArray restoredPath;
        KZError error; // a sentence for people, unless Restored
    };

    // dataHome: the folder whose "Trash" is the home Trash.
    KZTrashRestore(QByteArray dataHome, KZFileManager &fileManager);

    // Puts back the item at itemPath, which lies directly in a Trash's files/ folder.
    [[nodiscard]] Result restoreItemAtPath(const QByteArray &itemPath, const Options &options);

    // "name (number)" with the number before the extension, as file managers name a copy:
    // "report (2).txt"; a leading dot is part of the name.
    [[nodiscard]] static QByteArray numberedName(const QByteArray &name, int number);

private:
    // Opens the folder at path (absolute, without "." or ".." components) without following
    // any link, making missing folders; -1 with *error otherwise.
    [[nodiscard]] int openDestinationFolder(const QByteArray &path, Result *result);
    // Copies the item srcName of srcfd to dstName in dstfd (which must not exist), then
    // compares the copy with the original; on failure the partial copy is removed and the
    // errno (with the path that failed in *failedPath) answered. 0 on success.
    int copyItem(int srcfd, const QByteArray &srcName, int dstfd, const QByteArray &dstName,
                 QByteArray *failedPath);
    // Removes the tree dstName of dstfd that copyItem made (our own copy, never anything else).
    void removeCopy(int dstfd, const QByteArray &dstName);

    QByteArray m_dataHome;
    KZFileManager &m_fileManager;
};
