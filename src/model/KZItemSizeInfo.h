#pragma once

#include <QtGlobal>

// What a folder walk found: allocated bytes (hard links once per walk), then logical bytes.
struct KZItemSizeInfo
{
    quint64 totalFileSize = 0;
    quint64 fileSize = 0;
    friend bool operator==(const KZItemSizeInfo &, const KZItemSizeInfo &) = default;
};

// Folders, then files and packages, found by a walk that counts them apart.
struct KZItemCountInfo
{
    quint64 foldersCount = 0;
    quint64 filesCount = 0;
    friend bool operator==(const KZItemCountInfo &, const KZItemCountInfo &) = default;
};
