#include "KZFilesUtilities.h"

#include "KZModelLog.h"
#include "KZTrashFolder.h"
#include "format/KZLocalizedStrings.h"
#include "protocol/KZFileDescriptor.h"

#include <QSysInfo>

#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcModel, "binwise.model")

namespace {

constexpr quint32 fourCharCode(const char (&code)[5])
{
    return quint32(quint8(code[0])) << 24 | quint32(quint8(code[1])) << 16
           | quint32(quint8(code[2])) << 8 | quint32(quint8(code[3]));
}

QByteArray userNameOf(uid_t uid)
{
    struct passwd entry = {};
    struct passwd *found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(uid, &entry, buffer, sizeof buffer, &found) != 0 || !found)
        return {};
    return QByteArray(found->pw_name);
}

// udev writes unsafe characters of a label as \xHH in /dev/disk/by-label names.
QString decodeUdevName(const QByteArray &name)
{
    QByteArray out;
    for (qsizetype i = 0; i < name.size(); ++i) {
        if (name[i] == '\\' && i + 3 < name.size() && name[i + 1] == 'x') {
            bool ok = false;
            const int value = name.mid(i + 2, 2).toInt(&ok, 16);
            if (ok) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(name[i]);
    }
    return QString::fromUtf8(out);
}

// The nearest part of path that exists, so that a vanished item still finds its volume.
QByteArray existingAncestor(QByteArray path)
{
    while (!path.isEmpty()) {
        if (KZItemAttributes::statItem(path, STATX_TYPE))
            return path;
        if (path == "/")
            break;
        path = KZPath::parentPath(path);
    }
    return {};
}

} // namespace

KZFilesUtilities &KZFilesUtilities::sharedControl()
{
    static KZFilesUtilities shared;
    return shared;
}

KZFilesUtilities::KZFilesUtilities()
    : KZFilesUtilities(Roots{})
{}

KZFilesUtilities::KZFilesUtilities(Roots roots)
    : m_roots(std::move(roots))
{}

KZFilesUtilities::~KZFilesUtilities() = default;

KZFileManager &KZFilesUtilities::fileManager() const
{
    return m_roots.fileManager ? *m_roots.fileManager : KZFileManager::defaultManager();
}

QByteArray KZFilesUtilities::dataHome() const
{
    return m_roots.dataHome.isEmpty() ? KZTrashFolder::dataHomeFromEnvironment() : m_roots.dataHome;
}

QByteArray KZFilesUtilities::homePath() const
{
    return m_roots.home.isEmpty() ? qgetenv("HOME") : m_roots.home;
}

uid_t KZFilesUtilities::userID() const
{
    return m_roots.uid ? *m_roots.uid : ::getuid();
}

QList<KZMountEntry> KZFilesUtilities::mounts() const
{
    return KZMountTable::read(m_roots.mountInfoPath);
}

// ---- Volumes and Trash locations ----------------------------------------------------------

std::optional<KZMountEntry> KZFilesUtilities::mountForPath(const QByteArray &path) const
{
    const auto st = KZItemAttributes::statItem(path, STATX_TYPE | STATX_MNT_ID);
    if (!st || !(st->stx_mask & STATX_MNT_ID))
        return std::nullopt;
    for (const KZMountEntry &entry : mounts()) {
        if (entry.mountID == st->stx_mnt_id)
            return entry;
    }
    return std::nullopt;
}

QString KZFilesUtilities::volumeNameForMount(const KZMountEntry &mount) const
{
    // The label as udev publishes it: a link named after the label, to the block device.
    const QByteArray &labels = m_roots.labelDirectory;
    if (DIR *dir = labels.isEmpty() ? nullptr : ::opendir(labels.constData())) {
        const QByteArray source
            = mount.source.startsWith('/') ? KZPath::realPath(mount.source) : QByteArray();
        QString label;
        while (const dirent *entry = ::readdir(dir)) {
            const QByteArray name(entry->d_name);
            if (name == "." || name == "..")
                continue;
            const QByteArray link = KZPath::join(labels, name);
            struct stat st = {};
            if (::stat(link.constData(), &st) != 0 || !S_ISBLK(st.st_mode))
                continue;
            if (st.st_rdev == mount.device
                || (!source.isEmpty() && KZPath::realPath(link) == source)) {
                label = decodeUdevName(name);
                break;
            }
        }
        ::closedir(dir);
        if (!label.isEmpty())
            return label;
    }
    // Without udev (containers, early boot) the file system itself can tell its label.
    const KZFileDescriptor fd(
        ::open(mount.mountPoint.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.isValid()) {
        char label[FSLABEL_MAX + 1] = {};
        if (::ioctl(fd.get(), FS_IOC_GETFSLABEL, label) == 0 && label[0] != '\0')
            return QString::fromUtf8(label);
    }
    if (mount.mountPoint == "/")
        return QSysInfo::machineHostName();
    return KZPath::displayString(KZPath::fileName(mount.mountPoint));
}

QList<KZVolumeRecord> KZFilesUtilities::volumesLocationArray() const
{
    QList<KZVolumeRecord> volumes;
    const QByteArray home = homePath();
    const QByteArray userName = userNameOf(userID());
    for (const KZMountEntry &entry : mounts()) {
        if (KZMountTable::isHidden(entry, home, userName))
            continue;
        // A mount the user cannot reach, or one covered by a later mount on the same place,
        // is not a volume the user can see.
        const auto st = KZItemAttributes::statItem(entry.mountPoint, STATX_TYPE | STATX_MNT_ID);
        if (!st || ((st->stx_mask & STATX_MNT_ID) && st->stx_mnt_id != entry.mountID))
            continue;
        const QByteArray path = pathWithURL(KZPath::urlFromPath(entry.mountPoint));
        if (path.isEmpty())
            continue;
        if (auto record = directoryInfoForPath(path))
            volumes.append(std::move(*record));
    }
    return volumes;
}

std::optional<KZVolumeRecord> KZFilesUtilities::directoryInfoForPath(const QByteArray &path) const
{
    if (path.isEmpty())
        return std::nullopt;
    QByteArray target = path;
    if (isAliasWithURL(KZPath::urlFromPath(path))) {
        QByteArray destination(4096, Qt::Uninitialized);
        const ssize_t length
            = ::readlink(path.constData(), destination.data(), size_t(destination.size()));
        if (length <= 0 || length >= destination.size())
            return std::nullopt;
        destination.truncate(length);
        target = destination.startsWith('/') ? destination
                                             : KZPath::join(KZPath::parentPath(path), destination);
    }
    struct statx st = {};
    const bool readable
        = ::statx(AT_FDCWD, target.constData(), 0, STATX_TYPE | STATX_MNT_ID, &st) == 0;
    bool isSmartFolder = false;
    if (!readable || !S_ISDIR(st.stx_mode)) {
        const QByteArray name = KZPath::fileName(path);
        if (!name.endsWith(".savedSearch") || name.size() <= 12)
            return std::nullopt;
        isSmartFolder = true;
    }
    if (readable && S_ISDIR(st.stx_mode)
        && KZItemAttributes::hasPackageName(KZPath::fileName(target)))
        return std::nullopt;
    if (!readable)
        return std::nullopt; // no name to read
    const bool isVolume = (st.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT)
                          && (st.stx_attributes & STATX_ATTR_MOUNT_ROOT);

    KZVolumeRecord record;
    record.url = KZPath::urlFromPath(target);
    record.path = path;
    if (isVolume) {
        std::optional<KZMountEntry> mount;
        if (st.stx_mask & STATX_MNT_ID) {
            for (const KZMountEntry &entry : mounts()) {
                if (entry.mountID == st.stx_mnt_id)
                    mount = entry;
            }
        }
        record.name
            = mount ? volumeNameForMount(*mount) : KZPath::displayString(KZPath::fileName(target));
        if (record.name.isEmpty())
            return std::nullopt;
        const auto capacity = [](quint64 bytes) -> KZCapacity {
            if (bytes == 0)
                return KZLocalizedString(QStringLiteral("unknown"));
            return bytes;
        };
        record.isDisk = true;
        record.isLocked = isVolumeLockedWithURL(record.url);
        record.totSize = capacity(volumeCapacityWithURL(record.url));
        record.freeSize = capacity(volumeFreeCapacityWithURL(record.url));
    } else {
        const QByteArray name = KZPath::fileName(target);
        record.name = KZPath::displayString(name.isEmpty() ? QByteArray("/") : name);
        record.isDisk = false;
        record.isSmartFolder = isSmartFolder;
    }
    return record;
}

QUrl KZFilesUtilities::trashURLForItemURL(const QUrl &url) const
{
    KZError error;
    QByteArray files;
    const QByteArray path = existingAncestor(KZPath::pathFromURL(url));
    const std::optional<KZMountEntry> mount = path.isEmpty() ? std::nullopt : mountForPath(path);
    if (!mount) {
        error = KZFileManager::errorForErrno(ENOENT, KZPath::pathFromURL(url));
        error.localizedDescription = QStringLiteral("No volume holds “%1”")
                                         .arg(KZPath::displayString(KZPath::pathFromURL(url)));
    } else {
        const QByteArray home = dataHome();
        const std::optional<KZMountEntry> homeMount = mountForPath(existingAncestor(home));
        if (homeMount && homeMount->mountID == mount->mountID)
            files = KZTrashFolder::homeTrashFilesFolder(home, userID(), &error, fileManager());
        else
            files = KZTrashFolder::volumeTrashFilesFolder(mount->mountPoint, userID(), &error,
                                                          fileManager());
    }
    if (files.isEmpty()) {
        qCWarning(lcModel).noquote()
            << QStringLiteral("NSTrashDirectory error: %1").arg(error.localizedDescription);
        return {};
    }
    return KZPath::urlFromPath(files);
}

QUrl KZFilesUtilities::startupTrashURL() const
{
    return trashURLForItemURL(KZPath::urlFromPath("/"));
}

QList<KZTrashLocation> KZFilesUtilities::trashesAndVolumesLocations(QList<KZError> *problems) const
{
    QList<KZTrashLocation> locations;
    const QByteArray home = dataHome();
    const std::optional<KZMountEntry> homeMount = mountForPath(existingAncestor(home));
    for (const KZVolumeRecord &volume : volumesLocationArray()) {
        if (volume.isLocked.value_or(true)) {
            // Read-only, or its state cannot be read: the latter is said, not swallowed.
            struct statvfs st = {};
            const QByteArray path = KZPath::pathFromURL(volume.url);
            if (fileManager().statvfs(path.constData(), &st) != 0) {
                const int errnum = errno;
                KZError error = KZFileManager::errorForErrno(errnum, path);
                error.localizedDescription
                    = KZLocalizedFormat(QStringLiteral("trash_volume_unreadable"),
                                        {volume.name, KZPath::displayString(path),
                                         QString::fromLocal8Bit(std::strerror(errnum))});
                qCWarning(lcModel).noquote()
                    << QStringLiteral("NSTrashDirectory error: %1").arg(error.localizedDescription);
                if (problems)
                    problems->append(error);
            }
            continue;
        }
        const std::optional<KZMountEntry> mount = mountForPath(KZPath::pathFromURL(volume.url));
        if (!mount)
            continue;
        KZError error;
        bool exists = false;
        const QByteArrayList folders
            = homeMount && homeMount->mountID == mount->mountID
                  ? KZTrashFolder::existingHomeTrashFilesFolders(home, userID(), &exists, &error,
                                                                 fileManager())
                  : KZTrashFolder::existingVolumeTrashFilesFolders(mount->mountPoint, userID(),
                                                                   &exists, &error, fileManager());
        if (!error.localizedDescription.isEmpty()) {
            qCWarning(lcModel).noquote()
                << QStringLiteral("NSTrashDirectory error: %1").arg(error.localizedDescription);
            if (problems) {
                QString why = error.localizedDescription;
                why[0] = why[0].toLower();
                error.localizedDescription
                    = KZLocalizedFormat(QStringLiteral("trash_unusable"), {volume.name, why});
                problems->append(error);
            }
        }
        if (folders.isEmpty())
            continue;
        KZTrashLocation location;
        location.trashURL = KZPath::urlFromPath(folders.first());
        location.volumeURL = volume.url;
        location.volumeName = volume.name;
        if (folders.size() > 1)
            location.otherTrashURL = KZPath::urlFromPath(folders.at(1));
        if (exists) {
            for (const QUrl &trashURL : location.trashURLs())
                location.trashIsEmpty = location.trashIsEmpty && trashAtURLIsEmpty(trashURL);
        }
        locations.append(location);
    }
    return locations;
}

bool KZFilesUtilities::trashAtURLIsEmpty(const QUrl &trashURL) const
{
    const QByteArray path = KZPath::pathFromURL(trashURL);
    DIR *dir = path.isEmpty() ? nullptr : ::opendir(path.constData());
    if (!dir)
        return true;
    bool empty = true;
    while (const dirent *entry = ::readdir(dir)) {
        // Hidden items are not looked at: dot-files, and what the ".hidden" list names.
        if (entry->d_name[0] == '.')
            continue;
        if (KZItemAttributes::isListedInHiddenFile(KZPath::join(path, entry->d_name)))
            continue;
        empty = false;
        break;
    }
    ::closedir(dir);
    return empty;
}

bool KZFilesUtilities::statvfsWithURL(const QUrl &url, struct statvfs *out) const
{
    const QByteArray path = KZPath::pathFromURL(url);
    return !path.isEmpty() && fileManager().statvfs(path.constData(), out) == 0;
}

quint64 KZFilesUtilities::volumeCapacityWithURL(const QUrl &url) const
{
    struct statvfs st = {};
    return statvfsWithURL(url, &st) ? quint64(st.f_blocks) * st.f_frsize : 0;
}

quint64 KZFilesUtilities::volumeFreeCapacityWithURL(const QUrl &url) const
{
    struct statvfs st = {};
    return statvfsWithURL(url, &st) ? quint64(st.f_bavail) * st.f_frsize : 0;
}

quint64 KZFilesUtilities::volumeItemsCountWithURL(const QUrl &url) const
{
    struct statvfs st = {};
    if (!statvfsWithURL(url, &st) || st.f_files < st.f_ffree)
        return 0;
    return quint64(st.f_files - st.f_ffree);
}

bool KZFilesUtilities::isVolumeLockedWithURL(const QUrl &url) const
{
    struct statvfs st = {};
    return !statvfsWithURL(url, &st) || (st.f_flag & ST_RDONLY);
}

bool KZFilesUtilities::isVolumeWithURL(const QUrl &url) const
{
    return attributeWithURL(url, KZResourceKey::IsVolume).toBool();
}

std::optional<quint64> KZFilesUtilities::volumeIDWithItemURL(const QUrl &url) const
{
    const auto st = KZItemAttributes::statItem(KZPath::pathFromURL(url), STATX_MNT_ID);
    if (!st || !(st->stx_mask & STATX_MNT_ID))
        return std::nullopt;
    return quint64(st->stx_mnt_id);
}

quint32 KZFilesUtilities::directoryIDWithURL(const QUrl &url) const
{
    const auto st = KZItemAttributes::statItem(KZPath::pathFromURL(url), STATX_INO);
    return st ? quint32(st->stx_ino & 0xffffffffu) : 0;
}

QVariant KZFilesUtilities::URLsToPaths(const QVariant &urls) const
{
    const auto convert = [this](const QVariant &value) -> QVariant {
        if (value.metaType() != QMetaType::fromType<QUrl>())
            return value;
        const QUrl url = value.toUrl();
        if (!url.isLocalFile())
            return value;
        const QByteArray path = pathWithURL(url);
        return path.isEmpty() ? value : QVariant(path);
    };
    if (urls.metaType() == QMetaType::fromType<QVariantList>()) {
        QVariantList out;
        const QVariantList list = urls.toList();
        out.reserve(list.size());
        for (const QVariant &each : list)
            out.append(convert(each));
        return out;
    }
    return convert(urls);
}

QString KZFilesUtilities::removeSlashesFromFileSystemName(const QString &name,
                                                          quint16 *foundCount) const
{
    QString out = name;
    quint16 count = 0;
    for (qsizetype at = out.lastIndexOf(QLatin1Char('/')); at >= 0;
         at = out.lastIndexOf(QLatin1Char('/'))) {
        out[at] = QLatin1Char(':');
        ++count;
    }
    if (foundCount)
        *foundCount = count;
    return out;
}

// ---- Item attributes ------------------------------------------------------------------------

QByteArray KZFilesUtilities::itemNameWithURL(const QUrl &url) const
{
    return KZItemAttributes::name(url);
}

QByteArray KZFilesUtilities::pathWithURL(const QUrl &url, KZError *error) const
{
    const QByteArray path = KZPath::pathFromURL(url);
    if (path.isEmpty()) {
        if (error)
            *error = KZError{
                KZError::kCocoaDomain,
                KZError::kFileReadUnsupportedSchemeError,
                QStringLiteral("The URL “%1” is not a local file.").arg(url.toDisplayString()),
                {}};
        return {};
    }
    // A dangling symbolic link is still an item (the Trash may hold one), so the link itself
    // is what has to exist.
    if (::faccessat(AT_FDCWD, path.constData(), F_OK, AT_SYMLINK_NOFOLLOW) != 0) {
        // Code 4 is what every caller knows a missing item by, whatever errno said.
        if (error)
            *error = KZError::posix(
                4, QStringLiteral("“%1” does not exist.").arg(KZPath::displayString(path)));
        return {};
    }
    return path;
}

QUrl KZFilesUtilities::parentDirectoryWithURL(const QUrl &url) const
{
    const QByteArray path = KZPath::pathFromURL(url);
    if (path.isEmpty() || path == "/" || !KZItemAttributes::statItem(path, STATX_TYPE))
        return {};
    return KZPath::urlFromPath(KZPath::parentPath(path));
}

QVariant KZFilesUtilities::attributeWithURL(const QUrl &url, KZResourceKey type) const
{
    return KZItemAttributes::attribute(url, type);
}

bool KZFilesUtilities::isDirectoryWithURL(const QUrl &url) const
{
    return KZItemAttributes::isDirectory(url);
}

bool KZFilesUtilities::isPackageWithURL(const QUrl &url) const
{
    return attributeWithURL(url, KZResourceKey::IsPackage).toBool();
}

bool KZFilesUtilities::isAliasWithURL(const QUrl &url) const
{
    return attributeWithURL(url, KZResourceKey::IsAliasFile).toBool();
}

bool KZFilesUtilities::isHiddenWithURL(const QUrl &url) const
{
    return KZItemAttributes::isHidden(url);
}

bool KZFilesUtilities::isLockedWithURL(const QUrl &url) const
{
    const QByteArray path = pathWithURL(url);
    const auto st = KZItemAttributes::statItem(path, STATX_TYPE);
    if (!st)
        return false;
    const quint64 flags = STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND;
    return (st->stx_attributes & st->stx_attributes_mask & flags) != 0;
}

bool KZFilesUtilities::unlockWithURL(const QUrl &url) const
{
    const QByteArray path = pathWithURL(url);
    KZFileManager &fm = fileManager();
    struct statx st = {};
    // Flags live on files and folders only; opening anything else (a device, a fifo) could
    // have effects of its own.
    if (path.isEmpty()
        || fm.statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &st) != 0
        || !(S_ISREG(st.stx_mode) || S_ISDIR(st.stx_mode)))
        return false;
    const KZFileDescriptor fd(fm.openat(
        AT_FDCWD, path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0));
    if (!fd.isValid())
        return false;
    int flags = 0;
    if (fm.ioctl(fd.get(), FS_IOC_GETFLAGS, &flags) != 0)
        return false;
    flags &= ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
    return fm.ioctl(fd.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

qint16 KZFilesUtilities::systemLabelNumberWithURL(const QUrl &) const
{
    return 0;
}

qint32 KZFilesUtilities::itemPermission(const QUrl &url, KZPermissionInfo *permissions) const
{
    const QByteArray path = pathWithURL(url);
    if (path.isEmpty())
        return 1;
    struct stat st = {};
    const int status = ::lstat(path.constData(), &st);
    if (status != 0)
        return status;
    if (permissions) {
        permissions->userID = st.st_uid;
        permissions->groupID = st.st_gid;
        permissions->mode = quint16(st.st_mode);
    }
    return 0;
}

KZFinderFileInfo KZFilesUtilities::finderFileInfoWithPath(const QByteArray &, qint32 *error) const
{
    if (error)
        *error = 1;
    return {};
}

QByteArray KZFilesUtilities::aliasWithURL(const QUrl &url) const
{
    if (url.isEmpty() || pathWithURL(url).isEmpty())
        return {};
    return url.toEncoded();
}

QString KZFilesUtilities::normalizeString(const QString &string) const
{
    return string.normalized(QString::NormalizationForm_KD);
}

QString KZFilesUtilities::cleanItemName(const QString &name) const
{
    if (name.isNull())
        return QStringLiteral("");
    if (!name.contains(QLatin1Char(':')))
        return name;
    QString out = name;
    return out.replace(QLatin1Char(':'), QLatin1Char('/'));
}

bool KZFilesUtilities::itemIsRightForUser(const KZCatalogInfo &catalogInfo,
                                          const QString &itemName) const
{
    if (itemName.startsWith(QLatin1Char('.'))
        && !(catalogInfo.nodeFlags & KZCatalogInfo::kNodeIsDirectoryMask))
        return false;
    const quint32 type = catalogInfo.finderInfo.fileType;
    for (const quint32 housekeeping :
         {fourCharCode("BTFL"), fourCharCode("DTFL"), fourCharCode("Icon"), fourCharCode("dtpl"),
          fourCharCode("icon")}) {
        if (type == housekeeping)
            return false;
    }
    return catalogInfo.finderInfo.fileCreator != fourCharCode("MACS");
}

bool KZFilesUtilities::itemURLIsPackage(const QUrl &url, bool *whichType) const
{
    const QByteArray path = KZPath::pathFromURL(url);
    const auto st = KZItemAttributes::statItem(path, STATX_TYPE);
    if (!st)
        return false;
    const QByteArray name = KZPath::fileName(path);
    const bool isFolder = S_ISDIR(st->stx_mode);
    if (whichType)
        *whichType = isFolder && name.endsWith(".app") && name.size() > 4;
    return isFolder && KZItemAttributes::hasPackageName(name);
}

bool KZFilesUtilities::itemRefIsPackageWithURL(const QUrl &url, bool *whichType) const
{
    return itemURLIsPackage(url, whichType);
}
