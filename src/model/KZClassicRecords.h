#pragma once

#include <QtGlobal>

// The classic records some queries still speak. Linux keeps no Finder information, so the
// file system never fills the Finder fields; callers may fill them for the checks.

// Finder file information: type and creator codes, Finder flags, icon location.
struct KZFinderFileInfo
{
    quint32 fileType = 0;
    quint32 fileCreator = 0;
    quint16 finderFlags = 0;
    qint16 locationV = 0;
    qint16 locationH = 0;
    quint16 reservedField = 0;
    friend bool operator==(const KZFinderFileInfo &, const KZFinderFileInfo &) = default;
};

// Permission information; only owner, group and mode are written.
struct KZPermissionInfo
{
    quint32 userID = 0;
    quint32 groupID = 0;
    quint8 reserved = 0;
    quint8 userAccess = 0;
    quint16 mode = 0; // st_mode, file type bits included
    void *fileSec = nullptr;
};

// The catalog fields read by itemIsRightForUser.
struct KZCatalogInfo
{
    static constexpr quint16 kNodeIsDirectoryMask = 0x10;
    quint16 nodeFlags = 0;
    KZFinderFileInfo finderInfo;
};
