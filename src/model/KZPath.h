#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

// Linux file names are bytes, not text. Paths travel as QByteArray, exactly as the kernel gives
// them; URLs are built from those bytes percent-encoded, so a name that is not UTF-8 (or holds
// a newline, "%" or "#") survives the round trip. Never build a URL from a decoded QString of
// a name read from disk: QFile::decodeName replaces invalid bytes and cannot be undone.
class KZPath
{
public:
    // file:// URL for an absolute path; an empty URL for an empty or relative path.
    [[nodiscard]] static QUrl urlFromPath(const QByteArray &path);
    // The path bytes of a file URL; empty for a URL that is not a local file.
    [[nodiscard]] static QByteArray pathFromURL(const QUrl &url);
    // Last component's bytes ("" for "/").
    [[nodiscard]] static QByteArray fileName(const QByteArray &path);
    // Everything before the last component ("/" for a top-level item, "" for a bare name).
    [[nodiscard]] static QByteArray parentPath(const QByteArray &path);
    // parent + "/" + name, without doubling the slash after "/".
    [[nodiscard]] static QByteArray join(const QByteArray &parent, const QByteArray &name);
    // join for a path that is only shown or logged: one longer than the kernel takes
    // (PATH_MAX) keeps its head and its tail with "…" between, so that a walk thousands of
    // levels deep never holds, shows or logs paths no call could use. Not to be opened.
    [[nodiscard]] static QByteArray joinForDisplay(const QByteArray &parent,
                                                   const QByteArray &name);
    // Text for people: invalid bytes show as U+FFFD. Not to be turned back into a path.
    [[nodiscard]] static QString displayString(const QByteArray &bytes);
    // Like displayString, but the control characters that would break a one-line record
    // (line feed, carriage return, tab, and the other C0 controls) are written as \n, \r, \t
    // or \xHH, invalid UTF-8 bytes as \xHH, and a backslash as "\\".
    [[nodiscard]] static QString escapedDisplayString(const QByteArray &bytes);
    // path with every link and "." or ".." resolved (realpath(3)); empty when some part of it
    // does not exist or cannot be reached.
    [[nodiscard]] static QByteArray realPath(const QByteArray &path);
};
