#pragma once

#include "model/KZTrashInfo.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Which top-level Trash items a command takes: by how long ago they were put in the Trash, by
// their allocated size, and by a shell pattern over their original path, all of them at once.
// An empty filter takes every item. Any thread.
class KZItemFilter
{
public:
    // Chosen when deleted more than this many seconds ago (by the info file's DeletionDate).
    std::optional<qint64> olderThan;
    // Chosen when more than this many allocated bytes.
    std::optional<quint64> largerThan;
    // Chosen when the original path matches, as trash-rm matches it.
    std::optional<QByteArray> matching;

    [[nodiscard]] bool isEmpty() const { return !olderThan && !largerThan && !matching; }
    // Whether matches() reads the size (a folder's size is a walk).
    [[nodiscard]] bool needsSize() const { return largerThan.has_value(); }

    // Whether an item is chosen. info: its info file, if readable; size: its allocated bytes
    // (read only when needsSize()); now: seconds since 1970. An item without a deletion date is
    // never older than anything, one without an original path never matches a pattern.
    [[nodiscard]] bool matches(const std::optional<KZTrashInfo> &info, quint64 size,
                               qint64 now) const;

    // "30d", "12h", "45m", "2w", "90s"; a bare number counts days, as trash-empty's does.
    [[nodiscard]] static std::optional<qint64> parseDuration(const QByteArray &text);
    // "500M", "1G", "10k", a bare number of bytes; k, M, G and T step by 1000, as binwise
    // shows sizes, Ki, Mi, Gi and Ti by 1024; a trailing "B" is allowed ("10kB", "2GiB").
    [[nodiscard]] static std::optional<quint64> parseSize(const QByteArray &text);
    // trash-rm's rule: a pattern that starts with "/" is held against the whole original path
    // (its exact text, or as a glob), any other against the path's last component. A glob as
    // Python's fnmatchcase reads one: "*", "?", "[set]", "[!set]", no escapes, "/" and a
    // leading "." matched like any other character, case counted.
    [[nodiscard]] static bool matchesPattern(const QByteArray &pattern,
                                             const QByteArray &originalPath);
    // The glob alone, over the whole of subject.
    [[nodiscard]] static bool globMatches(const QByteArray &pattern, const QByteArray &subject);
};
