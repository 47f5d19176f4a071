#include "KZHelperTrashAccess.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kPathFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

std::string errnoText(const char *what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

bool statxFd(int fd, const char *name, struct statx *st)
{
    const int flags = AT_SYMLINK_NOFOLLOW | (name[0] == '\0' ? AT_EMPTY_PATH : 0);
    return statx(fd, name, flags, STATX_BASIC_STATS | STATX_MNT_ID, st) == 0;
}

// Opens one component below dir; with owner set, the folder must belong to that user.
KZFileDescriptor openComponent(int dir, const std::string &name, std::optional<uid_t> owner,
                               std::string *reason)
{
    KZFileDescriptor fd(openat(dir, name.c_str(), kPathFlags));
    if (!fd.isValid()) {
        *reason = errnoText(("cannot open \"" + name + "\" without following links").c_str());
        return {};
    }
    if (owner) {
        struct stat st
        {
        };
        if (fstat(fd.get(), &st) != 0 || st.st_uid != *owner) {
            *reason = "\"" + name + "\" does not belong to the user";
            return {};
        }
    }
    return fd;
}

// Resolves path once, then walks the resolved path from "/" one component at a time without
// following links, so that what is opened is what was checked.
KZFileDescriptor openResolved(const std::string &path, std::string *reason)
{
    char resolved[PATH_MAX];
    if (!realpath(path.c_str(), resolved)) {
        *reason = errnoText(("cannot resolve " + path).c_str());
        return {};
    }
    std::vector<std::string> parts;
    if (!KZHelperTrashAccess::splitPath(resolved, &parts)) {
        *reason = "cannot resolve " + path;
        return {};
    }
    KZFileDescriptor fd(open("/", kPathFlags));
    for (const std::string &part : parts) {
        fd = openComponent(fd.get(), part, std::nullopt, reason);
        if (!fd.isValid())
            return {};
    }
    return fd;
}

} // namespace

KZHelperTrashAccess::KZHelperTrashAccess(uid_t uid, std::string dataHome)
    : m_uid(uid)
    , m_dataHome(std::move(dataHome))
{
    m_dataHomeUsable = splitPath(m_dataHome, &m_dataHomeParts);
}

bool KZHelperTrashAccess::splitPath(std::string_view path, std::vector<std::string> *parts)
{
    parts->clear();
    if (path.empty() || path.front() != '/' || path.find('\0') != std::string_view::npos)
        return false;
    std::size_t start = 1;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string_view::npos)
            end = path.size();
        const std::string_view part = path.substr(start, end - start);
        if (part == "." || part == "..")
            return false;
        if (!part.empty())
            parts->emplace_back(part);
        start = end + 1;
    }
    return true;
}

std::optional<KZHelperItem> KZHelperTrashAccess::locate(std::string_view path, std::string *reason)
{
    std::vector<std::string> parts;
    if (!splitPath(path, &parts)) {
        *reason = "not a clean absolute path";
        return std::nullopt;
    }

    Kind kind = Kind::Home;
    std::vector<std::string> top; // the data home, or the volume's top folder
    std::size_t rest = 0;         // index of the first component below files/
    const std::size_t home = m_dataHomeParts.size();
    if (m_dataHomeUsable && parts.size() > home + 2
        && std::equal(m_dataHomeParts.begin(), m_dataHomeParts.end(), parts.begin())
        && parts[home] == "Trash" && parts[home + 1] == "files") {
        top = m_dataHomeParts;
        rest = home + 2;
    } else {
        const std::string own = ".Trash-" + std::to_string(m_uid);
        const std::string uidName = std::to_string(m_uid);
        for (std::size_t i = 0; i < parts.size() && rest == 0; ++i) {
            if (parts[i] == own && i + 2 < parts.size() && parts[i + 1] == "files") {
                kind = Kind::VolumeOwn;
                rest = i + 2;
            } else if (parts[i] == ".Trash" && i + 3 < parts.size() && parts[i + 1] == uidName
                       && parts[i + 2] == "files") {
                kind = Kind::VolumeShared;
                rest = i + 3;
            }
            if (rest != 0)
                top.assign(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(i));
        }
        if (rest == 0) {
            *reason = "not inside a Trash of the user";
            return std::nullopt;
        }
    }

    KZHelperTrash *trash = openTrash(kind, top, reason);
    if (!trash)
        return std::nullopt;

    KZHelperItem item;
    item.trash = trash;
    item.name = parts.back();
    item.topLevel = rest + 1 == parts.size();
    item.parent = KZFileDescriptor(fcntl(trash->files.get(), F_DUPFD_CLOEXEC, 0));
    for (std::size_t i = rest; i + 1 < parts.size(); ++i) {
        item.parent = openComponent(item.parent.get(), parts[i], std::nullopt, reason);
        struct statx st
        {
        };
        if (!item.parent.isValid())
            return std::nullopt;
        if (!statxFd(item.parent.get(), "", &st) || st.stx_mnt_id != trash->mountId) {
            *reason = "\"" + parts[i] + "\" is on another file system";
            return std::nullopt;
        }
    }
    if (!item.parent.isValid()) {
        *reason = errnoText("cannot open the Trash");
        return std::nullopt;
    }
    return item;
}

KZHelperTrash *KZHelperTrashAccess::openTrash(Kind kind, const std::vector<std::string> &top,
                                              std::string *reason)
{
    std::string topPath;
    for (const std::string &part : top)
        topPath += "/" + part;
    const std::string uidName = std::to_string(m_uid);
    std::string trashPath = topPath.empty() && kind != Kind::Home ? "" : topPath;
    switch (kind) {
    case Kind::Home:
        trashPath += "/Trash";
        break;
    case Kind::VolumeOwn:
        trashPath += "/.Trash-" + uidName;
        break;
    case Kind::VolumeShared:
        trashPath += "/.Trash/" + uidName;
        break;
    }
    if (auto found = m_trashes.find(trashPath); found != m_trashes.end())
        return found->second.get();
    if (auto refused = m_refused.find(trashPath); refused != m_refused.end()) {
        *reason = refused->second;
        return nullptr;
    }

    auto refuse = [&](const std::string &why) -> KZHelperTrash * {
        *reason = trashPath + ": " + why;
        m_refused[trashPath] = *reason;
        return nullptr;
    };

    std::string why;
    KZFileDescriptor topFd = openResolved(topPath.empty() ? std::string("/") : topPath, &why);
    if (!topFd.isValid())
        return refuse(why);

    auto trash = std::make_unique<KZHelperTrash>();
    trash->path = trashPath;
    if (kind == Kind::Home) {
        struct stat st
        {
        };
        if (fstat(topFd.get(), &st) != 0 || st.st_uid != m_uid)
            return refuse("the data home does not belong to the user");
        trash->trash = openComponent(topFd.get(), "Trash", m_uid, &why);
    } else {
        // A volume Trash sits at the top of its mount, where the user cannot have created
        // it by renaming folders around.
        struct statx self
        {
        }, parent{};
        if (!statxFd(topFd.get(), "", &self) || !statxFd(topFd.get(), "..", &parent))
            return refuse(errnoText("cannot examine the volume"));
        const bool isRoot = self.stx_ino == parent.stx_ino
                            && self.stx_dev_major == parent.stx_dev_major
                            && self.stx_dev_minor == parent.stx_dev_minor;
        if (self.stx_mnt_id == parent.stx_mnt_id && !isRoot)
            return refuse("not at the top of a mounted volume");
        if (kind == Kind::VolumeOwn) {
            trash->trash = openComponent(topFd.get(), ".Trash-" + uidName, m_uid, &why);
        } else {
            KZFileDescriptor shared = openComponent(topFd.get(), ".Trash", std::nullopt, &why);
            struct stat st
            {
            };
            if (shared.isValid() && (fstat(shared.get(), &st) != 0 || !(st.st_mode & S_ISVTX)))
                return refuse(".Trash is not sticky");
            if (shared.isValid())
                trash->trash = openComponent(shared.get(), uidName, m_uid, &why);
        }
    }
    if (!trash->trash.isValid())
        return refuse(why);
    trash->files = openComponent(trash->trash.get(), "files", m_uid, &why);
    if (!trash->files.isValid())
        return refuse(why);
    struct statx st
    {
    };
    if (!statxFd(trash->files.get(), "", &st))
        return refuse(errnoText("cannot examine files/"));
    trash->mountId = st.stx_mnt_id;

    KZHelperTrash *result = trash.get();
    m_trashes.emplace(trashPath, std::move(trash));
    return result;
}

std::vector<KZHelperTrash *> KZHelperTrashAccess::openedTrashes() const
{
    std::vector<KZHelperTrash *> result;
    for (const auto &[path, trash] : m_trashes)
        result.push_back(trash.get());
    return result;
}
