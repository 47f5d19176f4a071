#pragma once

#include "KZError.h"
#include "KZFileManager.h"
#include "KZItemAttributes.h"

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
    [[nodiscard]] std::optional<KZError> deleteItemWithURL(const QUrl &url,
                                                           KZFileManager &fileManager
                                                           = KZFileManager::defaultManager()) const;
    // deleteItemWithURL for the item name in the folder open as dirfd, for callers that walk
    // a Trash through descriptors: the folder must lie inside a Trash's files/ folder (checked
    // by the descriptor's real path, so links above it do not matter); the item is removed the
    // same way. Errors name the item by the folder's real path.
    [[nodiscard]] std::optional<KZError> deleteItemAt(int dirfd, const QByteArray &name,
                                                      KZFileManager &fileManager
                                                      = KZFileManager::defaultManager()) const;
    // Runs srm -lrv on the item and reads its output chunk by chunk; the error of the last
    // chunk that reported a failure, else nothing. Nothing at all when srm is not installed.
    [[nodiscard]] std::optional<KZError> secureErase(const QUrl &url) const;
    // True for a folder that holds nothing a user would miss: no entries at all, or only empty
    // folders and hidden icon files (dot-files alone do not make it empty).
    [[nodiscard]] bool isAnEmptyFolder(const QUrl &url) const;
    // The removal error a line of srm output stands for: codes 1, 13, 2 or 45. The failure text
    // is the key of the single user-information entry (its value is the failure-reason key).
    [[nodiscard]] static KZError errorFromErrorString(const QString &line);
    // The error one chunk of srm output reports, if any (the first failing piece counts).
    [[nodiscard]] static std::optional<KZError> errorInSecureRemoveChunk(const QByteArray &chunk);
    // The failure text an error of errorFromErrorString carries.
    [[nodiscard]] static QString failureTextOfError(const KZError &error);
    // Whether path lies inside the files/ folder of a Trash (ancestors resolved); *topLevel
    // tells whether it sits directly in files/.
    [[nodiscard]] bool isInsideTrash(const QByteArray &path, bool *topLevel = nullptr) const;

    // The same answers as KZFilesUtilities gives.
    [[nodiscard]] bool isDirectoryWithURL(const QUrl &url) const;
    [[nodiscard]] QVariant attributeWithURL(const QUrl &url, KZResourceKey type) const;
    [[nodiscard]] QByteArray itemNameWithURL(const QUrl &url) const;
    [[nodiscard]] bool isHiddenWithURL(const QUrl &url) const;

private:
    [[nodiscard]] std::optional<KZError> removeInFolder(int parentfd, const QByteArray &name,
                                                        const QByteArray &path, bool topLevel,
                                                        KZFileManager &fileManager) const;
    [[nodiscard]] bool realFolderIsInTrash(const QByteArray &realFolder, bool *isFilesFolder) const;

    QString m_secureRemoveTool;
    QByteArray m_dataHome;
};
