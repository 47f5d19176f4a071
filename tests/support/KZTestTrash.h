#pragma once

#include "model/KZTrashLocation.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QUrl>

#include <sys/types.h>

// A freedesktop.org Trash folder built for a test: ROOT/files, ROOT/info and, on demand,
// ROOT/directorysizes. ROOT may be the sandbox's home Trash or TOP/.Trash-$uid on any folder.
class KZTestTrash
{
public:
    explicit KZTestTrash(const QByteArray &root);

    // $XDG_DATA_HOME/Trash of the current environment.
    static KZTestTrash home();
    // TOP/.Trash-<uid> (the current real uid by default).
    static KZTestTrash onVolume(const QByteArray &top, int uid = -1);

    [[nodiscard]] QByteArray root() const { return m_root; }
    [[nodiscard]] QByteArray files() const { return m_root + "/files"; }
    [[nodiscard]] QUrl filesURL() const;
    [[nodiscard]] QByteArray itemPath(const QByteArray &name) const;
    [[nodiscard]] QUrl itemURL(const QByteArray &name) const;
    [[nodiscard]] QByteArray infoPath(const QByteArray &name) const;
    // The location record of this Trash, its volume being the folder above ROOT.
    [[nodiscard]] KZTrashLocation location(const QString &volumeName,
                                           bool trashIsEmpty = false) const;

    // A file of content in files/ with its info file (originalPath as given, percent-encoded).
    QByteArray addFile(const QByteArray &name, const QByteArray &content = "data",
                       const QByteArray &originalPath = {});
    // A folder in files/ with its info file; relative paths below it are made as files, with
    // a trailing "/" as folders.
    QByteArray addFolder(const QByteArray &name, const QList<QByteArray> &contents = {});
    void writeInfo(const QByteArray &name, const QByteArray &originalPath,
                   const QByteArray &deletionDate = "2024-03-05T10:20:30");
    void addDirectorySizesLine(const QByteArray &name, quint64 size);
    [[nodiscard]] QByteArray directorySizes() const;

private:
    QByteArray m_root;
};

// Small file helpers shared by the tests.
namespace KZTestFiles {
bool writeFile(const QByteArray &path, const QByteArray &content);
[[nodiscard]] QByteArray readFile(const QByteArray &path);
[[nodiscard]] bool exists(const QByteArray &path); // the item itself, links not followed
bool makeFolders(const QByteArray &path);
// The names in folder (bytes as they are, "." and ".." left out), sorted.
[[nodiscard]] QByteArrayList namesIn(const QByteArray &folder);
// Allocated bytes of everything below path that is not a folder, as du counts them.
[[nodiscard]] quint64 allocatedBelow(const QByteArray &path);
// Gives path and everything below it (links themselves, not followed) to uid and its group.
bool chownTree(const QByteArray &path, uid_t uid);
// Sets or clears the immutable flag (root only). An RAII guard below clears it again.
bool setImmutable(const QByteArray &path, bool on);

class ImmutableGuard
{
public:
    explicit ImmutableGuard(QByteArray path)
        : m_path(std::move(path))
    {
        m_set = setImmutable(m_path, true);
    }
    ~ImmutableGuard() { setImmutable(m_path, false); }
    ImmutableGuard(const ImmutableGuard &) = delete;
    ImmutableGuard &operator=(const ImmutableGuard &) = delete;
    [[nodiscard]] bool isSet() const { return m_set; }

private:
    QByteArray m_path;
    bool m_set = false;
};
} // namespace KZTestFiles
