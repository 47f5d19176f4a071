#pragma once

#include "KZClassicRecords.h"
#include "KZError.h"
#include "KZFileManager.h"
#include "KZItemAttributes.h"
#include "KZItemSizeInfo.h"
#include "KZMountTable.h"
#include "KZPath.h"
#include "KZTrashLocation.h"
#include "KZVolumeRecord.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <QList>
#include <QObject>
#include <QRecursiveMutex>

#include <atomic>
#include <memory>
#include <optional>

#include <sys/statvfs.h>
#include <sys/types.h>

class QImage;
class QSize;

// The file model's queries: volumes and their Trash folders, item attributes, folder sizes,
// item kinds, system locations and icons. One process-wide instance; queries answer a neutral
// value (empty, false, 0) when the file system cannot answer.
class KZFilesUtilities
{
public:
    static KZFilesUtilities &sharedControl();

    // ---- Volumes and Trash locations ----------------------------------------------------

    // Where the volume and Trash queries look. Empty fields mean "ask the system at each
    // call": the kernel's mount table, $XDG_DATA_HOME (else ~/.local/share), $HOME, getuid().
    struct Roots
    {
        QString mountInfoPath = QStringLiteral("/proc/self/mountinfo");
        QByteArray dataHome;
        QByteArray home;
        std::optional<uid_t> uid;
        QByteArray labelDirectory = QByteArrayLiteral("/dev/disk/by-label");
        KZFileManager *fileManager = nullptr; // the default manager when null
    };

    KZFilesUtilities();
    explicit KZFilesUtilities(Roots roots);
    ~KZFilesUtilities();
    KZFilesUtilities(const KZFilesUtilities &) = delete;
    KZFilesUtilities &operator=(const KZFilesUtilities &) = delete;

    // Every writable volume that has (or can be given) a Trash of the current user, in mount
    // order. Creates missing Trash folders. Any thread.
    [[nodiscard]] QList<KZTrashLocation> trashesAndVolumesLocations() const;
    // Every mount a user would call a volume, in mount order.
    [[nodiscard]] QList<KZVolumeRecord> volumesLocationArray() const;
    // The record of a volume root or a folder (a symbolic link resolved once); nothing for a
    // file, a package, or a path that cannot be read.
    [[nodiscard]] std::optional<KZVolumeRecord> directoryInfoForPath(const QByteArray &path) const;
    // The files/ folder of the current user's Trash on the item's volume, made when missing;
    // empty (and one "NSTrashDirectory error: %@" log line) when it cannot be had.
    [[nodiscard]] QUrl trashURLForItemURL(const QUrl &url) const;
    [[nodiscard]] QUrl startupTrashURL() const;
    // True unless the folder's top level holds an entry whose name does not start with ".".
    [[nodiscard]] bool trashAtURLIsEmpty(const QUrl &trashURL) const;
    [[nodiscard]] quint64 volumeCapacityWithURL(const QUrl &url) const;
    [[nodiscard]] quint64 volumeFreeCapacityWithURL(const QUrl &url) const;
    // Files and folders in use on the volume (inodes); 0 when unknown.
    [[nodiscard]] quint64 volumeItemsCountWithURL(const QUrl &url) const;
    // Read-only; also true when the state cannot be read.
    [[nodiscard]] bool isVolumeLockedWithURL(const QUrl &url) const;
    [[nodiscard]] bool isVolumeWithURL(const QUrl &url) const;
    // The mount identifier of the item's volume (equal for items on one mount), or nothing.
    [[nodiscard]] std::optional<quint64> volumeIDWithItemURL(const QUrl &url) const;
    // The low 32 bits of the item's inode number; 0 on failure.
    [[nodiscard]] quint32 directoryIDWithURL(const QUrl &url) const;
    // A list with its file URLs replaced by their path bytes (QByteArray), or one URL's path;
    // anything else stays as it is.
    [[nodiscard]] QVariant URLsToPaths(const QVariant &urls) const;
    [[nodiscard]] QString removeSlashesFromFileSystemName(const QString &name,
                                                          quint16 *foundCount) const;
    // Kept for callers: always empty.
    [[nodiscard]] QVariantList volumesArray() const { return {}; }
    // Kept for callers: the start-up volume is never singled out.
    [[nodiscard]] bool urlIsStartupDisk(const QUrl &) const { return false; }

    // The mount holding path (matched by statx mount id), or nothing.
    [[nodiscard]] std::optional<KZMountEntry> mountForPath(const QByteArray &path) const;
    // The label of a mount, else its mount point's last component ("/" : the host name).
    [[nodiscard]] QString volumeNameForMount(const KZMountEntry &mount) const;

private:
    [[nodiscard]] KZFileManager &fileManager() const;
    [[nodiscard]] QByteArray dataHome() const;
    [[nodiscard]] QByteArray homePath() const;
    [[nodiscard]] uid_t userID() const;
    [[nodiscard]] QList<KZMountEntry> mounts() const;
    [[nodiscard]] bool statvfsWithURL(const QUrl &url, struct statvfs *out) const;

    Roots m_roots;

public:
    // ---- Item attributes ------------------------------------------------------------------

    // The item's name bytes; empty when the item cannot be read.
    [[nodiscard]] QByteArray itemNameWithURL(const QUrl &url) const;
    // The item's path bytes when something (a dangling link too) is there; otherwise empty,
    // with error set to POSIX code 4 for a missing item, or to why the URL has no path.
    [[nodiscard]] QByteArray pathWithURL(const QUrl &url, KZError *error = nullptr) const;
    [[nodiscard]] QUrl parentDirectoryWithURL(const QUrl &url) const;
    [[nodiscard]] QVariant attributeWithURL(const QUrl &url, KZResourceKey type) const;
    // A folder, not a link to one; packages count.
    [[nodiscard]] bool isDirectoryWithURL(const QUrl &url) const;
    [[nodiscard]] bool isPackageWithURL(const QUrl &url) const;
    [[nodiscard]] bool isAliasWithURL(const QUrl &url) const;
    // A leading "." (no file-system access), else listed in the folder's ".hidden" file.
    [[nodiscard]] bool isHiddenWithURL(const QUrl &url) const;
    // The immutable or append-only flag is set.
    [[nodiscard]] bool isLockedWithURL(const QUrl &url) const;
    // Clears the immutable and append-only flags (needs CAP_LINUX_IMMUTABLE); true on success.
    [[nodiscard]] bool unlockWithURL(const QUrl &url) const;
    // Linux keeps no Finder labels: always 0.
    [[nodiscard]] qint16 systemLabelNumberWithURL(const QUrl &url) const;
    // 0 with owner, group and mode copied; 1 when the path cannot be had; -1 when lstat fails.
    [[nodiscard]] qint32 itemPermission(const QUrl &url, KZPermissionInfo *permissions) const;
    // Linux keeps no Finder information: a zero record, *error set to 1.
    [[nodiscard]] KZFinderFileInfo finderFileInfoWithPath(const QByteArray &path,
                                                          qint32 *error) const;
    // The URL's encoded form (a path is the only lasting reference Linux offers); empty when
    // nothing is there.
    [[nodiscard]] QByteArray aliasWithURL(const QUrl &url) const;
    // Compatibility decomposition (NFKD).
    [[nodiscard]] QString normalizeString(const QString &string) const;
    // Every ":" as "/"; "" for a null name.
    [[nodiscard]] QString cleanItemName(const QString &name) const;
    // False for dot-files (dot-folders pass), Finder housekeeping types and system files.
    [[nodiscard]] bool itemIsRightForUser(const KZCatalogInfo &catalogInfo,
                                          const QString &itemName) const;
    // Kept for callers: always false.
    [[nodiscard]] bool isHardSoftLocked(const QUrl &) const { return false; }
    // A folder whose name ends in .app, .bundle, .framework, .plugin or .kext; *whichType
    // receives whether it is an application (.app). Both names answer alike.
    [[nodiscard]] bool itemURLIsPackage(const QUrl &url, bool *whichType) const;
    [[nodiscard]] bool itemRefIsPackageWithURL(const QUrl &url, bool *whichType) const;

    // ---- Folder sizes and item counts -----------------------------------------------------

    static inline const QString kUpdateOtherInfoNotification = QStringLiteral("updateOtherInfo");
    static inline const QString kShowKey = QStringLiteral("show");
    static inline const QString kWhichInfoKey = QStringLiteral("whichInfo");

    // Walks the whole folder (hidden items and packages included, links never followed) and
    // adds one to *itemsFound per item (not reset first). Any thread; no shared state.
    [[nodiscard]] KZItemSizeInfo iterateFolderForSize(const QUrl &url, quint64 *itemsFound) const;
    // The walk that can be stopped: delegate may offer Q_INVOKABLE bool wasStopped(); without
    // it the walk stops when gatheringSizeIsWorking is false. Counts folders and files apart
    // when incrementCount, leaves out ".DS_Store" files, and posts "updateOtherInfo" (object:
    // delegate) when it runs 1.5 seconds or more. Any thread.
    [[nodiscard]] KZItemSizeInfo iterateFolderForSize(const QUrl &url, QObject *delegate,
                                                      KZItemCountInfo *itemsFound,
                                                      bool incrementCount);
    void setGatheringSizeIsWorking(bool working);
    // True when the name is to be counted: false for ".", ".." and ".DS_Store*".
    [[nodiscard]] bool cantBeCalculated(const QByteArray &name) const;
    // Posts the message for folderName when none is on show (true), else queues the name.
    bool showInfoIfNeeded(const QString &folderName, QObject *delegate);
    void removeInfo(const QString &folderName, QObject *delegate);
    [[nodiscard]] bool infoAlreadyShown() const { return m_infoAlreadyShown; }
    [[nodiscard]] QStringList infoQueue() const;

private:
    [[nodiscard]] bool shouldStop(QObject *delegate, int wasStoppedIndex) const;

    std::atomic<bool> m_gatheringSizeIsWorking{false};
    // Read and written without the lock, as the walks always did; only the queue is guarded.
    std::atomic<bool> m_infoAlreadyShown{false};
    std::unique_ptr<QStringList> m_infoQueque; // exists only while names wait in it
    mutable QRecursiveMutex m_infoLock;

public:
    // ---- Item kinds and type tables -------------------------------------------------------

    // ---- System items and locations -------------------------------------------------------

    // ---- Icons (defined in binwise_gui) ---------------------------------------------------
};
