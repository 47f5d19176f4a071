#pragma once

#include "KZFileManager.h"

#include <QByteArray>
#include <QUrl>
#include <QVariant>

#include <optional>

#include <sys/stat.h>

// Resource keys that attributeWithURL can read.
enum class KZResourceKey {
    Name,                    // QByteArray
    Path,                    // QByteArray
    IsDirectory,             // bool (a link to a folder is not one)
    IsRegularFile,           // bool
    IsSymbolicLink,          // bool
    IsAliasFile,             // bool (a symbolic link)
    IsPackage,               // bool
    IsHidden,                // bool
    IsVolume,                // bool
    FileSize,                // quint64, st_size
    TotalFileSize,           // quint64, st_blocks * 512
    ContentModificationDate, // double, seconds since 1 January 2001 UTC
    LinkCount,               // quint64
};

// The item queries that both file-model singletons answer alike. Each reads the item with at
// most one statx (never following a final symbolic link) and answers a neutral value when it
// cannot. Stateless; any thread.
class KZItemAttributes
{
public:
    // statx of the item itself; nothing when it cannot be read.
    [[nodiscard]] static std::optional<struct statx> statItem(const QByteArray &path,
                                                              unsigned mask = STATX_BASIC_STATS);
    [[nodiscard]] static QByteArray name(const QUrl &url);
    [[nodiscard]] static bool isDirectory(const QUrl &url);
    [[nodiscard]] static bool isHidden(const QUrl &url);
    [[nodiscard]] static QVariant attribute(const QUrl &url, KZResourceKey key);
    // A folder named like an application, bundle, framework, plug-in or kernel extension.
    [[nodiscard]] static bool hasPackageName(const QByteArray &name);
    // Whether the folder's ".hidden" list (one name a line, as file managers keep it) names it.
    [[nodiscard]] static bool isListedInHiddenFile(const QByteArray &path);
    // Reads the small file dirfd/name that another program may have left as anything: only a
    // regular file of at most cap bytes is read, opened without blocking (a FIFO never holds
    // the reader) and without following a link. False for anything else. Every call goes
    // through fileManager.
    static bool readSmallFileAt(int dirfd, const char *name, qsizetype cap, QByteArray *content,
                                KZFileManager &fileManager);
};
