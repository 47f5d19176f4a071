#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <map>

// A temporary home for one test: HOME and the XDG folders point into a fresh temporary folder
// for the sandbox's life and are restored afterwards, so nothing reaches the real user's Trash,
// settings or logs.
class KZTestSandbox
{
public:
    KZTestSandbox();
    ~KZTestSandbox();
    KZTestSandbox(const KZTestSandbox &) = delete;
    KZTestSandbox &operator=(const KZTestSandbox &) = delete;

    [[nodiscard]] bool isValid() const { return m_dir.isValid(); }
    [[nodiscard]] QString root() const { return m_dir.path(); }
    [[nodiscard]] QString home() const { return m_dir.path() + QStringLiteral("/home"); }
    [[nodiscard]] QString dataHome() const { return home() + QStringLiteral("/.local/share"); }
    [[nodiscard]] QString configHome() const { return home() + QStringLiteral("/.config"); }
    [[nodiscard]] QString stateHome() const { return home() + QStringLiteral("/.local/state"); }
    // A path inside the sandbox (not inside its home).
    [[nodiscard]] QString path(const QString &relative) const;

    // Removes a folder tree byte-exactly (names need not be UTF-8), never crossing into
    // another mount and never following a link.
    static void removeTree(const QByteArray &path);

    // Points HOME and the XDG variables of this process at a fresh folder under base. Used once
    // by the test main, before anything reads them.
    static QString isolateProcess();

private:
    void setEnv(const char *name, const QString &value);

    QTemporaryDir m_dir;
    std::map<QByteArray, std::pair<bool, QByteArray>> m_saved;
};
