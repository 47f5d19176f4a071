#pragma once

#include <QByteArray>
#include <QUrl>

#include <optional>

// What info/NAME.trashinfo says about a top-level item of a Trash: where it came from and
// when it was put there.
struct KZTrashInfo
{
    static inline const QByteArray kFileSuffix = QByteArrayLiteral(".trashinfo");
    // The largest info file read: a path of PATH_MAX bytes, percent-encoded, and a date.
    static constexpr qsizetype kMaximumSize = 64 * 1024;

    QByteArray originalPath;            // absolute, bytes; empty when the file has no Path=
    std::optional<double> deletionDate; // seconds since 1 January 2001 UTC

    // Reads the info file of the item at itemURL (an item directly inside a Trash's files/).
    // Nothing when the item is not in a Trash or has no readable info file. Any thread.
    [[nodiscard]] static std::optional<KZTrashInfo> readForItem(const QUrl &itemURL);
    // Parses the text of an info file; a relative Path= is taken from topDirectory.
    [[nodiscard]] static std::optional<KZTrashInfo> parse(const QByteArray &content,
                                                          const QByteArray &topDirectory);
    // DeletionDate text (local time, "YYYY-MM-DDThh:mm:ss" or "YYYYMMDDThh:mm:ss") as seconds
    // since 1 January 2001 UTC.
    [[nodiscard]] static std::optional<double> parseDeletionDate(const QByteArray &text);
    // The info file's path for an item path inside ROOT/files (not checked on disk).
    [[nodiscard]] static QByteArray infoPathForItemPath(const QByteArray &itemPath);
};
