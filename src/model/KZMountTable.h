#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <sys/types.h>

// One line of /proc/self/mountinfo, with the octal escapes of its paths undone.
struct KZMountEntry
{
    quint64 mountID = 0;
    quint64 parentID = 0;
    dev_t device = 0; // major:minor as the kernel reports it
    QByteArray root;
    QByteArray mountPoint;
    QByteArray mountOptions;
    QByteArray fileSystemType;
    QByteArray source;
    QByteArray superOptions;
};

// Reads the kernel's mount table and decides which mounts a user would call volumes.
class KZMountTable
{
public:
    // Entries in the kernel's order; empty when the file can't be read.
    [[nodiscard]] static QList<KZMountEntry> read(const QString &mountInfoPath);
    [[nodiscard]] static QList<KZMountEntry> parse(const QByteArray &content);
    // Undoes the \ooo escapes the kernel writes for space, tab, newline and backslash.
    [[nodiscard]] static QByteArray unescape(const QByteArray &field);

    // True for mounts that are not volumes to the user: pseudo file systems, system trees,
    // bind and subvolume mounts of a folder, mounts marked x-gvfs-hide or x-gvfs-notrash, and
    // tmpfs outside the places where people mount things. home and userName widen the tmpfs
    // and /run/media rules to the user's own places.
    [[nodiscard]] static bool isHidden(const KZMountEntry &entry, const QByteArray &home,
                                       const QByteArray &userName);
    // True when path is base or lies inside it.
    [[nodiscard]] static bool isAtOrUnder(const QByteArray &path, const QByteArray &base);
};
