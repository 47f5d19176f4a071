#pragma once

#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QProcess>
#include <QProcessEnvironment>

#include <memory>
#include <optional>
#include <ostream>
#include <vector>

#include <sys/types.h>

// Names in failure messages as text with escapes, not as arrays of characters.
inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << '"' << bytes.toPercentEncoding(" /-_.!#$&'()*+,:;=?@[]~").toStdString() << '"';
}

inline std::string str(const QByteArray &bytes)
{
    return bytes.toStdString();
}

// What one run of the real binwise executable did.
struct KZCliResult
{
    int exitCode = -1; // -1 also when binwise crashed or had to be killed
    QByteArray out;
    QByteArray err;
};

// A sandboxed home, tmpfs volumes of its own (root only) and the real binwise executable run
// against them. binwise sees those volumes and nothing else: its mount table is limited
// through BINWISE_MOUNTINFO, so it never touches a Trash of the machine.
class KZCliRunner
{
public:
    KZCliRunner();

    [[nodiscard]] bool isValid() const { return m_sandbox.isValid(); }
    [[nodiscard]] KZTestSandbox &sandbox() { return m_sandbox; }

    // A tmpfs volume named name inside the sandbox (root only): null with *whyNot otherwise.
    [[nodiscard]] QByteArray addVolume(const QByteArray &name, QString *whyNot, int sizeMiB = 16);
    // A journalled ext4 volume (a loop-mounted image) named name inside the sandbox (root only).
    [[nodiscard]] QByteArray addExt4Volume(const QByteArray &name, QString *whyNot);
    // The Trash of a new volume "Work", or nullopt with *whyNot.
    [[nodiscard]] std::optional<KZTestTrash> someTrash(QString *whyNot);

    // Runs binwise with standard input on /dev/null (no terminal) to its end.
    KZCliResult run(const QByteArrayList &arguments) { return execute(arguments, false, {}); }
    // Runs binwise with standard input and error on a pseudo-terminal (what it shows lands in
    // err); typed answers the first question 0.8 s after it was asked.
    KZCliResult runOnTerminal(const QByteArrayList &arguments, const QByteArray &typed)
    {
        return execute(arguments, true, typed);
    }
    // Starts binwise without waiting (standard input closed); the caller owns the process.
    std::unique_ptr<QProcess> start(const QByteArrayList &arguments);

    // Runs binwise (and nothing else of the test) as uid from now on, with its home handed to
    // that user and the sandbox made reachable: rights are tested as an ordinary user has them
    // (root's would remove everything). Root only; false otherwise.
    bool runAsUser(uid_t uid);
    [[nodiscard]] std::optional<uid_t> user() const { return m_uid; }

    // The environment binwise runs in; tests may add to it.
    QProcessEnvironment &environment() { return m_environment; }
    // Writes a setting into the sandbox's settings file (read by binwise at start).
    void setSetting(const QString &key, const QVariant &value);

    // The log files under the sandbox's log folder of one job kind ("All Trashes", a volume's
    // name, "Checked items"), concatenated in name order.
    [[nodiscard]] QByteArray logText(const QString &jobFolder) const;
    [[nodiscard]] QStringList logFolders() const;

    [[nodiscard]] static QByteArray binary() { return BINWISE_CLI_BINARY; }

private:
    KZCliResult execute(const QByteArrayList &arguments, bool terminal, const QByteArray &typed);
    // The child's set-up: the terminal on standard input and error (follower >= 0), the user.
    void prepareChild(QProcess &process, int follower) const;
    void writeMountTable();

    KZTestSandbox m_sandbox;
    // Declared after the sandbox: the volumes go before the folder that holds their mount points.
    std::vector<std::unique_ptr<KZTestMount>> m_mounts;
    QProcessEnvironment m_environment;
    std::optional<uid_t> m_uid;
};
