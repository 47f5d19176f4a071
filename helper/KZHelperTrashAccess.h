#pragma once

#include "protocol/KZFileDescriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One of the user's Trash folders, opened for the length of a batch. Everything below it is
// reached relative to these descriptors, so renaming or replacing a path component later
// cannot redirect the helper.
struct KZHelperTrash
{
    std::string path; // the Trash folder as the application names it (…/Trash, …/.Trash-1000)
    KZFileDescriptor trash;               // the Trash folder (holds files/, info/, directorysizes)
    KZFileDescriptor files;               // its files/ folder
    std::uint64_t mountId = 0;            // of files/: a walk never leaves this mount
    std::vector<std::string> erasedNames; // top-level items erased in this batch
};

// An item of a batch, found inside a Trash's files/ folder.
struct KZHelperItem
{
    KZHelperTrash *trash = nullptr;
    KZFileDescriptor parent; // the folder that holds the item (files/ itself for a top-level item)
    std::string name;
    bool topLevel = false;
};

// Decides which paths the helper may touch: only what lies inside one of the user's Trash
// files/ folders. The home Trash is <data home>/Trash; on other volumes, with top folder T,
// T/.Trash-<uid> owned by the user, or T/.Trash/<uid> owned by the user under a sticky T/.Trash.
// The data home and every Trash folder must belong to the user; T must be a mount's root. Each
// root is resolved once and then opened one component at a time without following links. Not
// thread-safe: one per batch.
class KZHelperTrashAccess
{
public:
    // dataHome: the user's data home as the application sees it (an absolute path).
    KZHelperTrashAccess(uid_t uid, std::string dataHome);

    // Opens the folder that holds path; nullopt (with the reason) when path is not a clean
    // absolute path inside one of the user's Trash files/ folders, or when a component of it is
    // a link, not a folder, or on another mount.
    [[nodiscard]] std::optional<KZHelperItem> locate(std::string_view path, std::string *reason);
    // The Trash folders opened so far.
    [[nodiscard]] std::vector<KZHelperTrash *> openedTrashes() const;

    // Splits an absolute path into its components; false for a relative path or one with "."
    // or ".." components. Repeated slashes are taken as one.
    [[nodiscard]] static bool splitPath(std::string_view path, std::vector<std::string> *parts);

private:
    enum class Kind { Home, VolumeOwn, VolumeShared };
    KZHelperTrash *openTrash(Kind kind, const std::vector<std::string> &top, std::string *reason);

    uid_t m_uid;
    std::string m_dataHome;
    std::vector<std::string> m_dataHomeParts;
    bool m_dataHomeUsable = false;
    // By the Trash folder's path; null records a Trash that failed its checks, with the reason.
    std::map<std::string, std::unique_ptr<KZHelperTrash>> m_trashes;
    std::map<std::string, std::string> m_refused;
};
