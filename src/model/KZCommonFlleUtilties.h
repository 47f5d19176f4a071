#pragma once

#include "KZError.h"
#include "KZFileManager.h"
#include "KZItemAttributes.h"
#include "protocol/KZFileDescriptor.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>

// Removal primitives: plain removal, secure erase through srm, the "nothing worth keeping"
// test for folders an erase leaves behind, and srm's messages as errors. Stateless; every
// operation may run on any thread (secureErase blocks until srm ends: never the main thread).
// Removal works only inside a Trash's files/ folder: anything else is refused untouched.
class KZCommonFlleUtilties
{
public:
    static inline const QString kSecureRemoveToolPath = QStringLiteral("/usr/bin/srm");

    static KZCommonFlleUtilties &sharedControl();
    // secureRemoveTool: the srm to run (tests point it elsewhere). dataHome: the folder whose
    // "Trash" is the home Trash; empty means $XDG_DATA_HOME (else ~/.local/share) at each call,
    // a privileged helper passes the requesting user's.
    explicit KZCommonFlleUtilties(const QString &secureRemoveTool = kSecureRemoveToolPath,
                                  const QByteArray &dataHome = {});

    // Removes the item (a file, a link, or a folder with everything in it) at once, never
    // following a link and working relative to directory descriptors. A folder of the user's
    // own that lacks u+rwx gets it first. A top-level item of a Trash loses its .trashinfo and
    // directorysizes line once it is gone. Nothing on success; otherwise the first failure
    // (POSIX domain, errno, "NSFilePath"); the rest of a folder is still removed where it can
    // be. Refused (EINVAL) outside a Trash's files/ folder.
    // Every call on the way goes through fileManager (tests fail any of them).
    [[nodiscard]] std::optional<KZError> deleteItemWithURL(const QUrl &url,
                                                           KZFileManager &fileManager) const;
    // A folder open as a descriptor that was found inside a Trash's files/ folder (by the
    // descriptor's real path, so links above it do not matter). Made by checkTrashFolder only;
    // valid while the descriptor stays open, for as long as the caller trusts the folder not to
    // have moved (a walk checks again from time to time).
    class TrashFolder
    {
    public:
        [[nodiscard]] int descriptor() const { return m_dirfd; }
        [[nodiscard]] const QByteArray &realPath() const { return m_realPath; }
        // The Trash's files/ folder itself: its items have info files.
        [[nodiscard]] bool isFilesFolder() const { return m_isFilesFolder; }

    private:
        friend class KZCommonFlleUtilties;
        int m_dirfd = -1;
        QByteArray m_realPath;
        bool m_isFilesFolder = false;
        KZFileDescriptor m_infoFolder; // the Trash's info/ folder, for the files/ folder
        quint64 m_device = 0;
        quint64 m_inode = 0;
    };
    // The folder open as dirfd, when it lies inside a Trash's files/ folder.
    [[nodiscard]] std::optional<TrashFolder> checkTrashFolder(int dirfd,
                                                              KZFileManager &fileManager) const;
    // Opens the folder name of the checked folder parent, inside the same Trash without
    // reading a path: no link is followed and no other file system is entered (EXDEV for a
    // mount point). The caller owns the new descriptor. Nothing, with errno set, on failure.
    [[nodiscard]] std::optional<TrashFolder> openSubfolder(const TrashFolder &parent,
                                                           const QByteArray &name,
                                                           KZFileManager &fileManager) const;
    // The checked folder open again as dirfd (the same device and inode), e.g. after a walk
    // let its first descriptor go. Nothing when dirfd is another folder.
    [[nodiscard]] std::optional<TrashFolder> reopened(const TrashFolder &folder, int dirfd,
                                                      KZFileManager &fileManager) const;
    // deleteItemWithURL for the item name of a checked folder, for callers that remove many
    // items of one folder. type: the item's file type when the caller knows it (0: look).
    // The info file of a top-level item goes once the item is gone; its directorysizes line is
    // left for removeOrphanedTrashInfo, which such a caller runs once done with the Trash (one
    // rewrite of the cache rather than one per item).
    [[nodiscard]] std::optional<KZError> deleteItemAt(const TrashFolder &folder,
                                                      const QByteArray &name,
                                                      KZFileManager &fileManager,
                                                      mode_t type) const;
    // deleteItemWithURL for the item name in the folder open as dirfd, checked first.
    [[nodiscard]] std::optional<KZError> deleteItemAt(int dirfd, const QByteArray &name,
                                                      KZFileManager &fileManager) const;
    // Runs srm -lrv on the item and reads its output chunk by chunk; the error of the last
    // chunk that reported a failure, else nothing. Nothing at all when srm is not installed.
    // Starting, reading and waiting for srm go through fileManager too.
    [[nodiscard]] std::optional<KZError> secureErase(const QUrl &url,
                                                     KZFileManager &fileManager) const;
    // True for a folder that holds nothing a user would miss: no entries at all, or only empty
    // folders and hidden icon files (dot-files alone do not make it empty).
    [[nodiscard]] bool isAnEmptyFolder(const QUrl &url) const;
    // The same for the folder name in the folder open as dirfd (a link is not followed);
    // *hasNoEntries tells whether it holds nothing at all.
    [[nodiscard]] bool isAnEmptyFolderAt(int dirfd, const QByteArray &name,
                                         KZFileManager &fileManager, bool *hasNoEntries) const;
    // The removal error a line of srm output stands for: EPERM, EACCES, ENOENT or
    // KZError::kSecureEraseFailedCode. The failure text is the key of the single
    // user-information entry (its value is the failure-reason key).
    [[nodiscard]] static KZError errorFromErrorString(const QString &line);
    // The error one chunk of srm output reports, if any (the first failing piece counts).
    [[nodiscard]] static std::optional<KZError> errorInSecureRemoveChunk(const QByteArray &chunk);
    // The failure text an error of errorFromErrorString carries.
    [[nodiscard]] static QString failureTextOfError(const KZError &error);
    // Whether path lies inside the files/ folder of a Trash (ancestors resolved); *topLevel
    // tells whether it sits directly in files/.
    [[nodiscard]] bool isInsideTrash(const QByteArray &path, KZFileManager &fileManager,
                                     bool *topLevel = nullptr) const;

    // A folder of the user's own that the user may not read, enter or write can be given
    // u+rwx by its owner, which is what lets its contents go (a folder made read-only by
    // chmod -R a-w, or mode 000). giveOwnFolderAccess changes dirfd/name, never following a
    // link, and answers whether it did; completeOwnFolderAccess does it for an open folder
    // and answers whether it changed anything.
    static bool giveOwnFolderAccess(int dirfd, const char *name, KZFileManager &fileManager);
    static bool completeOwnFolderAccess(int fd, KZFileManager &fileManager);

    // The same answers as KZFilesUtilities gives.
    [[nodiscard]] bool isDirectoryWithURL(const QUrl &url) const;
    [[nodiscard]] QVariant attributeWithURL(const QUrl &url, KZResourceKey type) const;
    [[nodiscard]] QByteArray itemNameWithURL(const QUrl &url) const;
    [[nodiscard]] bool isHiddenWithURL(const QUrl &url) const;

private:
    // folderPath: the folder's path, for errors only.
    [[nodiscard]] std::optional<KZError> removeInFolder(int parentfd, const QByteArray &name,
                                                        const QByteArray &folderPath, bool topLevel,
                                                        KZFileManager &fileManager, mode_t type = 0,
                                                        const TrashFolder *folder = nullptr) const;
    [[nodiscard]] bool isOpenFolderEmpty(int rootfd, KZFileManager &fileManager,
                                         bool *hasNoEntries) const;
    [[nodiscard]] bool realFolderIsInTrash(const QByteArray &realFolder, bool *isFilesFolder) const;

    QString m_secureRemoveTool;
    QByteArray m_dataHome;
};
