#pragma once

#include "KZFileManager.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QHash>

#include <sys/stat.h>

// The directorysizes file of a freedesktop.org Trash: one line per folder item,
// "SIZE MTIME PERCENT-ENCODED-NAME", SIZE in bytes as du -B1 counts them (the folder's own
// blocks included), MTIME the modification time of the item's info file. A line holds only
// while that info file keeps the time it records. Other programs write the file too; lines
// this class cannot read are kept as they stand. Stateless; any thread.
class KZDirectorySizes
{
public:
    struct Line
    {
        quint64 size = 0;
        qint64 mtime = 0; // seconds, or milliseconds as KDE writes it
        friend bool operator==(const Line &, const Line &) = default;
    };
    using Lines = QHash<QByteArray, Line>; // by item name, decoded

    static constexpr const char *kFileName = "directorysizes";
    // A larger file is not read at all: a Trash of a million folders stays below it.
    static constexpr qsizetype kMaxFileSize = 64 * 1024 * 1024;

    // The lines of content that can be read; junk lines, names with a slash, "." and ".."
    // are skipped.
    [[nodiscard]] static Lines parse(const QByteArray &content);
    // ROOT/directorysizes parsed; empty when missing, not a regular file, too large or
    // unreadable. Never blocks on a FIFO, never follows a link.
    [[nodiscard]] static Lines read(int trashRootFd);
    // Whether line still holds for an info file modified at infoMtime: its time equals the
    // info file's in seconds or in milliseconds.
    [[nodiscard]] static bool isValid(const Line &line, const struct statx_timestamp &infoMtime);
    // One line as written, without its newline.
    [[nodiscard]] static QByteArray format(const QByteArray &name, const Line &line);

    // Rewrites ROOT/directorysizes with the lines of set added or replaced and the lines of
    // drop removed, every other line kept; through a temporary file and an atomic rename, so
    // a reader sees the old file or the new one, never a mix. Nothing is written when nothing
    // changes. False when the file could not be written (a read-only Trash, a full volume).
    static bool update(KZFileManager &fileManager, int trashRootFd, const Lines &set,
                       const QByteArrayList &drop);
    // Records the line of the folder item name: size in du -B1 bytes, infoMtime the seconds of
    // its info file's modification time. For whoever puts a folder into a Trash.
    static bool recordFolder(KZFileManager &fileManager, int trashRootFd, const QByteArray &name,
                             quint64 size, qint64 infoMtime);
};
