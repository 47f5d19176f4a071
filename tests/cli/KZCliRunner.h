#pragma once

#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QProcess>
#include <QProcessEnvironment>

#include <memory>
#include <ostream>
#include <vector>

// Names in failure messages as text with escapes, not as arrays of characters.
inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << '"' << bytes.toPercentEncoding(" /-_.!#$&'()*+,:;=?@[]~").toStdString() << '"';
}

// What one run of the real binwise executable did.
struct KZCliResult
{
    int exitCode = -1; // -1 also when binwise crashed or had to be killed
    QByteArray out;
    QByteArray err;
};

// A sandboxed home, volumes of its own and the real binwise executable run against them. As
// root the volumes are tmpfs mounts inside the sandbox and binwise sees nothing else (its mount
// table is limited through BINWISE_MOUNTINFO); otherwise binwise sees only the home's volume,
// and tests that need volumes of their own skip.
class KZCliRunner
{
public:
    enum class Input {
        Closed,   // standard input is /dev/null: no terminal
        Pipe,     // typed is written to a pipe, which is then closed
        Terminal, // standard input is a pseudo-terminal; typed is typed on it
        // Standard input and error on a pseudo-terminal (what it shows lands in err); typed
        // answers the first question 0.8 s after it was asked.
        TerminalWithErrors,
    };

    KZCliRunner();
    ~KZCliRunner();

    [[nodiscard]] bool isValid() const { return m_sandbox.isValid(); }
    [[nodiscard]] KZTestSandbox &sandbox() { return m_sandbox; }

    // A tmpfs volume named name inside the sandbox (root only): null with *whyNot otherwise.
    [[nodiscard]] QByteArray addVolume(const QByteArray &name, QString *whyNot, int sizeMiB = 16);
    // The sandbox home's Trash, when its volume is one binwise lists; else empty with *whyNot.
    [[nodiscard]] bool useHomeVolume(QString *whyNot);
    // One Trash to work in: on a volume of the test's own (root), else the home's.
    [[nodiscard]] std::optional<KZTestTrash> someTrash(QString *whyNot);

    // Runs binwise with arguments to its end (at most timeoutMs).
    KZCliResult run(const QByteArrayList &arguments, Input input = Input::Closed,
                    const QByteArray &typed = {}, int timeoutMs = 120000);
    // Starts binwise without waiting (standard input closed); the caller owns the process.
    std::unique_ptr<QProcess> start(const QByteArrayList &arguments);

    // The environment binwise runs in; tests may add to it.
    QProcessEnvironment &environment() { return m_environment; }
    // Writes a setting into the sandbox's settings file (read by binwise at start).
    void setSetting(const QString &key, const QVariant &value);

    // The log files under the sandbox's log folder of one job kind ("All Trashes", a volume's
    // name, "Checked items"), concatenated in name order.
    [[nodiscard]] QByteArray logText(const QString &jobFolder) const;
    [[nodiscard]] QStringList logFolders() const;

    [[nodiscard]] static QByteArray binary();

private:
    void writeMountTable();

    KZTestSandbox m_sandbox;
    std::vector<std::unique_ptr<KZTestMount>> m_mounts;
    bool m_homeVolume = false;
    QByteArray m_mountTable;
    QProcessEnvironment m_environment;
};
