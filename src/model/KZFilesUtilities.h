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
#include <QByteArrayList>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <QList>
#include <QObject>
#include <QRecursiveMutex>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

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
    // order, one record per volume (a second Trash folder of the volume rides along as
    // otherTrashURL). Makes nothing: a volume without a Trash folder has an empty Trash whose
    // trashURL names the folder a first put would make. A volume whose Trash cannot be used
    // (unsafe, unreadable) or whose state cannot be read is left out, and said once in the
    // log and once in *problems (a plain sentence each, naming the volume or folder). Any
    // thread.
    [[nodiscard]] QList<KZTrashLocation> trashesAndVolumesLocations(QList<KZError> *problems
                                                                    = nullptr) const;
    // Every mount a user would call a volume, in mount order.
    [[nodiscard]] QList<KZVolumeRecord> volumesLocationArray() const;
    // The record of a volume root or a folder (a symbolic link resolved once); nothing for a
    // file, a package, or a path that cannot be read.
    [[nodiscard]] std::optional<KZVolumeRecord> directoryInfoForPath(const QByteArray &path) const;
    // The files/ folder of the current user's Trash on the item's volume, made when missing
    // (the look-up of a put: queries use trashesAndVolumesLocations, which makes nothing);
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
    // The same walk, given up (answering what it found so far) as soon as *stop reads true; the
    // flag is read before every entry, so a window that closes does not wait for a big folder.
    [[nodiscard]] KZItemSizeInfo iterateFolderForSize(const QUrl &url, quint64 *itemsFound,
                                                      const std::atomic<bool> *stop) const;
    // The same for the folder name in the folder open as dirfd (a link is not followed).
    [[nodiscard]] KZItemSizeInfo iterateFolderForSizeAt(int dirfd, const QByteArray &name,
                                                        quint64 *itemsFound) const;
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
    // Walks the folder open as rootfd (taken over); nothing when rootfd is -1.
    [[nodiscard]] KZItemSizeInfo sizeOfOpenFolder(int rootfd, quint64 *itemsFound,
                                                  const std::atomic<bool> *stop = nullptr) const;

    std::atomic<bool> m_gatheringSizeIsWorking{false};
    // Read and written without the lock, as the walks always did; only the queue is guarded.
    std::atomic<bool> m_infoAlreadyShown{false};
    std::unique_ptr<QStringList> m_infoQueque; // exists only while names wait in it
    mutable QRecursiveMutex m_infoLock;

public:
    // ---- Item kinds and type tables -------------------------------------------------------

    // The kind lists: constant strings of four-character codes between single quotes, or of
    // extensions between double quotes, joined by ",". Duplicates are part of them.
    [[nodiscard]] QString allImagesForContentCheckTypes() const;
    [[nodiscard]] QString allImagesContentCheckExtensions() const;
    [[nodiscard]] QString allImagesTypes() const;
    [[nodiscard]] QString allImagesExtensions() const;
    [[nodiscard]] QString allMoviesTypes() const;
    [[nodiscard]] QString allMoviesExtensions() const;
    [[nodiscard]] QString allMusicTypes() const;
    [[nodiscard]] QString allMusicExtensions() const;
    [[nodiscard]] QString allTextTypes() const;
    [[nodiscard]] QString allTextExtensions() const;

    // One of the kind lists above, named by its member function.
    using KindList = QString (KZFilesUtilities::*)() const;

    // The code of a quoted type string such as "'GIF '": its four characters packed big-endian;
    // 0 for anything that is not four Latin-1 characters between single quotes.
    [[nodiscard]] static quint32 typeCodeFromQuotedString(QStringView quoted);
    // The list split at "," with each entry converted to its code; typesCount (optional)
    // receives the length. Any thread.
    [[nodiscard]] std::vector<quint32>
    typesFormattedToCheckWithSelector(KindList list, quint32 *typesCount = nullptr) const;
    // The list without its first and last character, split at the three characters ",".
    [[nodiscard]] QStringList extensionsFormattedToCheckWithSelector(KindList list) const;

    // Classifiers: YES when the type code is one of the kind's codes, else when the extension
    // (without the dot, compared case-sensitively) is one of its extensions. A null extension
    // answers NO; some kinds answer NO for extensions shorter than their minimum length.
    // Any thread.
    [[nodiscard]] bool isImage(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isMovieItem(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isMediaSound(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isMediaItem(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isMP3File(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isAACFile(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isText(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isHtml(quint32 type, quint32 creator, const QString &extension) const;
    [[nodiscard]] bool isFont(quint32 type, const QString &extension) const;
    [[nodiscard]] bool isCompressed(quint32 type, const QString &extension) const;

    // The document types an application declares, from the MimeType list of its .desktop file
    // at url: with kindOfType the four-character codes ('TEXT','JPEG'), else the extensions
    // ("txt","jpg"), in the kind lists' form. "" when the file cannot be read or declares
    // nothing. Any thread.
    [[nodiscard]] QString multiTypesFromURL(const QUrl &url, bool kindOfType) const;
    // Customary extensions of a type identifier; nullopt for an identifier the table lacks.
    [[nodiscard]] std::optional<QStringList>
    extensionFromUTIIdentifier(const QString &identifier) const;
    // Customary four-character type strings (unquoted) of a type identifier; nullopt for an
    // identifier the table lacks.
    [[nodiscard]] std::optional<QStringList> typeFromUTIIdentifier(const QString &identifier) const;

    // Appends ",<types>" and ",<extensions>" to types and extensions for each application
    // entry (.desktop file) under the folder at folderURL, sub-folders included. Any thread.
    void iterateFolderDocuments(const QUrl &folderURL, QString *types, QString *extensions) const;
    // The document kinds of every installed application: records {"name", "types",
    // "extensions"} (string lists) in the order of the kind names. Any thread.
    [[nodiscard]] QVariantList allDocumentsNamesWithTypes() const;
    // Groups the codes of types and the extensions of andExtensions (both in the kind lists'
    // form) by the name of their kind ("Folder" for a folder): name -> {"types",
    // "extensions"}. orderedResult (optional) receives the names sorted for people.
    [[nodiscard]] QVariantMap kindNamesWithTypes(const QString &types, const QString &andExtensions,
                                                 QStringList *orderedResult = nullptr) const;

    // The folders that hold application entries, most important first: $XDG_DATA_HOME/
    // applications, then each of $XDG_DATA_DIRS/applications, unless set otherwise.
    [[nodiscard]] QByteArrayList applicationFolders() const;
    // Replaces the folder list (tests, sandboxes); an empty list returns to the XDG folders.
    void setApplicationFolders(const QByteArrayList &folders);

private:
    QByteArrayList m_applicationFolders;

public:
    // ---- System items and locations -------------------------------------------------------

    // Names at a volume's root that are the system's own and never shown; a new list each call.
    [[nodiscard]] QStringList invisibleSystemItems() const;
    // Names at a volume's root that are the system's own but shown.
    [[nodiscard]] QStringList visibleSystemItems() const;

    // YES when path equals, encloses or lies inside a path of isContainedInArray, which holds
    // path strings or maps with a "path" string (the first element decides which). A list of
    // neither logs, beeps and answers YES. Any thread.
    [[nodiscard]] bool location(const QByteArray &path,
                                const QVariantList &isContainedInArray) const;

    // The user's folder of that kind when it exists; null when it does not; ifNotFound when
    // the kind has no folder. Any thread.
    [[nodiscard]] QByteArray defaultSystemFolder(QStandardPaths::StandardLocation kind,
                                                 const QByteArray &ifNotFound) const;
    // The user's folder of that kind, created when missing; null when there is none or it
    // cannot be made.
    [[nodiscard]] QByteArray folderPathOfKInd(QStandardPaths::StandardLocation kind) const;

    // Opens each path with its default application (xdg-open), in order; failures are ignored.
    void launchItems(const QByteArrayList &paths) const;
    // Starts the application of the .desktop file (or executable) at appPath, with the item at
    // itemPath (null for none) as its one document; the result is ignored.
    void launchAppWithPath(const QByteArray &appPath, const QByteArray &itemPath = {}) const;
    // Always "": Linux applications do not claim creator codes.
    [[nodiscard]] QString applicationNameWithCreator(const QString &creator) const;

    // Sounds the beep of a malformed containment list; by default a terminal bell on stderr
    // when stderr is a terminal. The GUI installs QApplication::beep.
    void setBeepHook(std::function<void()> beep);
    // Starts a program detached (program, arguments, working folder) and answers whether it
    // started; by default QProcess::startDetached. Tests install a recorder.
    using Launcher = std::function<bool(const QString &, const QStringList &, const QString &)>;
    void setLauncher(Launcher launcher);

private:
    std::function<void()> m_beep;
    Launcher m_launcher;

public:
    // ---- Icons (defined in binwise_gui) ---------------------------------------------------
    // Sizes are logical (points): each answer's deviceIndependentSize() is the size asked for,
    // with at least 36 points' worth of pixels per side at the screens' highest scale, so a
    // row may draw it larger than asked without blur. All four run on any thread and answer
    // QImages, never pixmaps: worker threads load icons, the GUI thread turns them into
    // pixmaps when it draws them. Static, as they need no state of the instance; call them
    // through the shared instance like the other queries. The answer belongs to the caller.

    // The icon the desktop shows for the item: a custom icon (a folder's .directory Icon=,
    // a desktop entry's Icon=), else for a mount point its drive's icon by kind, else the icon
    // of its type from the icon theme, else Qt's file icon provider's. The URL wins over the
    // path; a null image when both are empty or the item does not exist.
    [[nodiscard]] static QImage iconOfItem(const QByteArray &path, const QUrl &url,
                                           const QSize &forSize);
    // The icon of the item at path as iconOfItem finds it, or of its type by name when it does
    // not exist. A width of exactly 0 keeps the icon's natural size, 32 x 32 points.
    [[nodiscard]] static QImage iconForItemPath(const QByteArray &path, const QSize &withSize);
    // The image file at path at ofSize (stretched to it; an empty size keeps the image's own
    // pixels). An empty 0 x 0 image when the file is no image.
    [[nodiscard]] static QImage imageWithPath(const QByteArray &path, const QSize &ofSize);
    // A forSize image holding icon drawn once at the top-left origin at its own size and 50 %
    // opacity: a larger icon is clipped, not scaled.
    [[nodiscard]] static QImage ghostIconWithIcon(const QImage &icon, const QSize &forSize);
};
