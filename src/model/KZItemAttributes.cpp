#include "KZItemAttributes.h"

#include "KZPath.h"
#include "format/KZDateUtilities.h"
#include "protocol/KZFileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace {
constexpr qsizetype kHiddenListCap = 256 * 1024;
}

std::optional<struct statx> KZItemAttributes::statItem(const QByteArray &path, unsigned mask)
{
    if (path.isEmpty())
        return std::nullopt;
    struct statx st = {};
    if (::statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW, mask, &st) != 0)
        return std::nullopt;
    return st;
}

QByteArray KZItemAttributes::name(const QUrl &url)
{
    const QByteArray path = KZPath::pathFromURL(url);
    if (!statItem(path, STATX_TYPE))
        return {};
    const QByteArray name = KZPath::fileName(path);
    return name.isEmpty() ? QByteArray("/") : name;
}

bool KZItemAttributes::isDirectory(const QUrl &url)
{
    if (url.scheme().isEmpty())
        return false;
    const auto st = statItem(KZPath::pathFromURL(url), STATX_TYPE);
    return st && S_ISDIR(st->stx_mode);
}

bool KZItemAttributes::hasPackageName(const QByteArray &name)
{
    static const std::array suffixes = {".app", ".bundle", ".framework", ".plugin", ".kext"};
    for (const char *suffix : suffixes) {
        if (name.endsWith(suffix) && name.size() > qsizetype(std::strlen(suffix)))
            return true;
    }
    return false;
}

bool KZItemAttributes::isListedInHiddenFile(const QByteArray &path)
{
    QByteArray content;
    if (!readSmallFileAt(AT_FDCWD, KZPath::join(KZPath::parentPath(path), ".hidden").constData(),
                         kHiddenListCap, &content, KZFileManager::defaultManager()))
        return false;
    const QByteArray name = KZPath::fileName(path);
    for (const QByteArray &line : content.split('\n')) {
        if (line == name)
            return true;
    }
    return false;
}

bool KZItemAttributes::readSmallFileAt(int dirfd, const char *name, qsizetype cap,
                                       QByteArray *content, KZFileManager &fm)
{
    content->clear();
    const KZFileDescriptor fd(
        fm.openat(dirfd, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0));
    struct statx st = {};
    if (!fd.isValid() || fm.statx(fd.get(), "", AT_EMPTY_PATH, STATX_TYPE | STATX_SIZE, &st) != 0
        || !S_ISREG(st.stx_mode) || st.stx_size > quint64(cap))
        return false;
    char chunk[16384];
    for (;;) {
        const ssize_t got = fm.read(fd.get(), chunk, sizeof chunk);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        if (got == 0)
            return true;
        content->append(chunk, got);
        if (content->size() > cap)
            return false; // grew while being read
    }
}

bool KZItemAttributes::isHidden(const QUrl &url)
{
    if (url.scheme().isEmpty())
        return false;
    const QByteArray path = KZPath::pathFromURL(url);
    if (KZPath::fileName(path).startsWith('.'))
        return true;
    // Linux has no invisible flag; the file managers' ".hidden" list stands for it.
    return statItem(path, STATX_TYPE) && isListedInHiddenFile(path);
}

QVariant KZItemAttributes::attribute(const QUrl &url, KZResourceKey key)
{
    const QByteArray path = KZPath::pathFromURL(url);
    const auto st = statItem(path);
    if (!st)
        return {};
    switch (key) {
    case KZResourceKey::Name:
        return KZPath::fileName(path).isEmpty() ? QByteArray("/") : KZPath::fileName(path);
    case KZResourceKey::Path:
        return path;
    case KZResourceKey::IsDirectory:
        return bool(S_ISDIR(st->stx_mode));
    case KZResourceKey::IsRegularFile:
        return bool(S_ISREG(st->stx_mode));
    case KZResourceKey::IsSymbolicLink:
    case KZResourceKey::IsAliasFile:
        return bool(S_ISLNK(st->stx_mode));
    case KZResourceKey::IsPackage:
        return S_ISDIR(st->stx_mode) && hasPackageName(KZPath::fileName(path));
    case KZResourceKey::IsHidden:
        return isHidden(url);
    case KZResourceKey::IsVolume:
        return (st->stx_attributes_mask & STATX_ATTR_MOUNT_ROOT)
               && (st->stx_attributes & STATX_ATTR_MOUNT_ROOT);
    case KZResourceKey::FileSize:
        return quint64(st->stx_size);
    case KZResourceKey::TotalFileSize:
        return quint64(st->stx_blocks) * 512;
    case KZResourceKey::ContentModificationDate:
        return double(st->stx_mtime.tv_sec) + st->stx_mtime.tv_nsec / 1e9
               - double(KZDateUtilities::kSeconds1970To2001);
    case KZResourceKey::LinkCount:
        return quint64(st->stx_nlink);
    }
    return {};
}
