#pragma once

#include "model/KZTrashLocation.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

struct KZVolumeNode;

// Tick states of volume and item nodes.
enum KZCheckState : int { KZCheckOff = 0, KZCheckOn = 1, KZCheckMixed = -1 };

// How the item list is ordered: a node key ("name", "size" or "added") and a direction.
struct KZSortDescriptor
{
    static inline const QString kNameKey = QStringLiteral("name");
    static inline const QString kSizeKey = QStringLiteral("size");
    static inline const QString kAddedKey = QStringLiteral("added");

    QString key = kNameKey;
    bool ascending = true;
    bool caseInsensitive = false; // names chosen from the column header compare this way

    friend bool operator==(const KZSortDescriptor &, const KZSortDescriptor &) = default;
};

// One item lying directly in a volume's Trash (a folder is one item: measured, never listed).
// Everything but "check" and "size" is set when the tree is built and never changes; "check"
// belongs to the main thread; "size" of a folder is written once by its gatherer.
struct KZItemNode
{
    QUrl itemURL;                       // the item inside the Trash's files/ folder
    KZVolumeNode *parentDict = nullptr; // the volume holding it; not owned
    std::optional<QString> name;        // absent when the name cannot be read
    std::optional<double> added;        // deletion date, seconds since 1 January 2001 UTC
    QByteArray originalPath;            // where it came from (its .trashinfo); empty if unknown
    int check = KZCheckOff;
    bool isDirectory = false; // folders and packages, never a link to one
    bool hasSize = false;     // a file whose size could not be read has none
    // Allocated bytes; a folder's stays 0 until its gatherer ends.
    std::atomic<quint64> size{0};
    // A folder whose size was recorded by an earlier measurement and is still valid: it has
    // its size from the start and no gatherer.
    bool sizeFromCache = false;
};

// One volume's Trash: the location record it was made from, and its items.
struct KZVolumeNode : KZTrashLocation
{
    explicit KZVolumeNode(const KZTrashLocation &record)
        : KZTrashLocation(record)
    {}

    // Files count at once, folders when their gatherer ends; grows on any thread.
    std::atomic<quint64> size{0};
    std::vector<std::unique_ptr<KZItemNode>> children; // enumeration order
    int check = KZCheckOff;
    quint64 checked_count = 0;
    quint64 checked_size = 0;
    QList<KZSortDescriptor> descriptors{KZSortDescriptor{}};
};

// What one opening of the smart-delete window built: the volume nodes in the records' order,
// and the state its worker threads share. Shared by the controller and its workers, so that a
// worker never outlives what it writes into.
struct KZTrashTree
{
    std::vector<std::unique_ptr<KZVolumeNode>> trashes;
    // Set when the window closes: builders and gatherers give up at their next entry.
    std::atomic<bool> stopped{false};
    // Folder gatherers not yet finished.
    std::atomic<quint64> threadsCount{0};
};
