#pragma once

#include <QByteArray>
#include <QHash>
#include <QUrl>

#include <atomic>
#include <optional>

// Measures a Trash's files/ folder without walking again what has not changed: a top-level
// folder whose directorysizes line still holds (its info file keeps the time the line records)
// and whose record in Binwise's own cache still matches (see KZTrashSizeCache) counts with its
// recorded figures; every other folder is walked, on a small pool of threads, and its line and
// record are written afterwards, once per measurement. Sizes are allocated bytes with every
// file of several links counted once per measurement, as a single walk counts them: a folder
// holding such a file is never taken from the cache, since its share depends on what else is
// walked. Any thread; several measurements may run at once.
class KZTrashSizes
{
public:
    struct Measurement
    {
        quint64 size = 0;  // allocated bytes, the folders' own blocks left out
        quint64 count = 0; // every entry at every level
        quint64 cachedFolders = 0;
        quint64 walkedFolders = 0;
        bool stopped = false; // the figures are partial and nothing was recorded
    };
    struct Figures
    {
        quint64 size = 0;
        quint64 count = 0; // the folder itself and everything in it
    };

    // Measures the folder at filesURL (a Trash's files/ folder, or any folder: then nothing is
    // cached). stop, when given, is polled per entry. A Trash that cannot be written to, or a
    // cache folder that cannot, is measured all the same.
    [[nodiscard]] static Measurement measureTrash(const QUrl &filesURL,
                                                  const std::atomic<bool> *stop = nullptr);
    // The recorded figures of the top-level folders of the Trash whose files/ folder is
    // filesURL that are still valid, by item name; walks nothing.
    [[nodiscard]] static QHash<QByteArray, Figures> cachedFolderSizes(const QUrl &filesURL);
    // du -B1 of the folder name in parentfd (its own folders' blocks in, each multiply-linked
    // file once): the figure a directorysizes line records. Empty when it could not be walked
    // in full.
    [[nodiscard]] static std::optional<quint64> diskUsageOfFolder(int parentfd,
                                                                  const QByteArray &name);
    // Threads a walk uses at most (the caller's own included).
    [[nodiscard]] static int poolSize();
};
