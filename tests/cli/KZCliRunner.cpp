#include "KZCliRunner.h"

#include "model/KZFilesUtilities.h"
#include "model/KZMountTable.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSettings>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

constexpr int kAnswerDelayMs = 800;

QByteArray local(const QString &path)
{
    return QFile::encodeName(path);
}

// A pseudo-terminal whose follower side becomes a child's standard input.
class PseudoTerminal
{
public:
    PseudoTerminal()
    {
        m_leader = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (m_leader < 0 || ::grantpt(m_leader) != 0 || ::unlockpt(m_leader) != 0)
            return;
        const char *name = ::ptsname(m_leader);
        if (name)
            m_follower = ::open(name, O_RDWR | O_NOCTTY);
    }
    ~PseudoTerminal()
    {
        if (m_follower >= 0)
            ::close(m_follower);
        if (m_leader >= 0)
            ::close(m_leader);
    }
    [[nodiscard]] bool isValid() const { return m_leader >= 0 && m_follower >= 0; }
    [[nodiscard]] int leader() const { return m_leader; }
    [[nodiscard]] int follower() const { return m_follower; }
    void closeFollower()
    {
        ::close(m_follower);
        m_follower = -1;
    }

private:
    int m_leader = -1;
    int m_follower = -1;
};

// QProcess passes arguments as text, which cannot hold a name that is not UTF-8. Such a list
// goes through /bin/sh instead: each argument rebuilt byte by byte with printf's octal
// escapes, then exec'd, so the process is still binwise itself.
void commandFor(const QByteArrayList &arguments, QString *program, QStringList *list)
{
    bool allText = true;
    for (const QByteArray &argument : arguments)
        allText = allText && QString::fromUtf8(argument).toUtf8() == argument;
    if (allText) {
        *program = QFile::decodeName(KZCliRunner::binary());
        for (const QByteArray &argument : arguments)
            list->append(QString::fromUtf8(argument));
        return;
    }
    QByteArray script;
    QByteArray exec = "exec \"$0\"";
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QByteArray octal;
        for (const char c : arguments.at(i))
            octal += '\\'
                     + QByteArray::number(static_cast<unsigned char>(c), 8).rightJustified(3, '0');
        const QByteArray name = "a" + QByteArray::number(i);
        script += name + "=$(printf '" + octal + "'; printf x); " + name + "=${" + name + "%x}; ";
        exec += " \"$" + name + "\"";
    }
    *program = QStringLiteral("/bin/sh");
    *list = QStringList{QStringLiteral("-c"), QString::fromLatin1(script + exec),
                        QFile::decodeName(KZCliRunner::binary())};
}

} // namespace

KZCliRunner::KZCliRunner()
    : m_environment(QProcessEnvironment::systemEnvironment())
{
    // KZTestSandbox pointed HOME and the XDG folders of this process at itself.
    for (const char *name :
         {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"})
        m_environment.insert(QLatin1String(name), qEnvironmentVariable(name));
    // No helper unless a test installs one, and nothing a question could install for real.
    m_environment.insert(QStringLiteral("BINWISE_HELPER_PATH"),
                         m_sandbox.path(QStringLiteral("no-helper/org.binwise.BinwiseHelper")));
    m_environment.insert(QStringLiteral("BINWISE_HELPER_SOURCE"),
                         m_sandbox.path(QStringLiteral("no-helper-source")));
    m_environment.insert(QStringLiteral("BINWISE_POLKIT_ACTIONS_DIR"),
                         m_sandbox.path(QStringLiteral("no-polkit-actions")));
    writeMountTable();
}

KZCliRunner::~KZCliRunner()
{
    // Volumes go before the sandbox that holds their mount points.
    m_mounts.clear();
}

QByteArray KZCliRunner::binary()
{
    return QByteArrayLiteral(BINWISE_CLI_BINARY);
}

QByteArray KZCliRunner::addVolume(const QByteArray &name, QString *whyNot, int sizeMiB)
{
    const QByteArray mountPoint = local(m_sandbox.path(QStringLiteral("volumes/"))) + name;
    auto mount = KZTestMount::tmpfs(mountPoint, whyNot, sizeMiB);
    if (!mount)
        return {};
    m_mounts.push_back(std::move(mount));
    writeMountTable();
    return mountPoint;
}

bool KZCliRunner::useHomeVolume(QString *whyNot)
{
    const auto mount = KZFilesUtilities().mountForPath(local(m_sandbox.home()));
    if (!mount || KZMountTable::isHidden(*mount, local(m_sandbox.home()), {})) {
        *whyNot = QStringLiteral("the temporary home is on a mount that is not a volume here");
        return false;
    }
    m_homeVolume = true;
    writeMountTable();
    return true;
}

std::optional<KZTestTrash> KZCliRunner::someTrash(QString *whyNot)
{
    if (::geteuid() == 0) {
        const QByteArray volume = addVolume("Work", whyNot);
        if (!volume.isEmpty())
            return KZTestTrash::onVolume(volume);
    }
    if (useHomeVolume(whyNot))
        return KZTestTrash::home();
    return std::nullopt;
}

void KZCliRunner::writeMountTable()
{
    // Only the test's own volumes (and the home's, when asked for): binwise must never make or
    // empty a Trash on a volume of the machine.
    QFile real(QStringLiteral("/proc/self/mountinfo"));
    QByteArray table;
    const auto home = KZFilesUtilities().mountForPath(local(m_sandbox.home()));
    if (real.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : real.readAll().split('\n')) {
            const QList<KZMountEntry> parsed = KZMountTable::parse(line);
            if (parsed.isEmpty())
                continue;
            const KZMountEntry &entry = parsed.first();
            const bool own = KZMountTable::isAtOrUnder(entry.mountPoint, local(m_sandbox.root()));
            const bool homeVolume = m_homeVolume && home && entry.mountID == home->mountID;
            if (own || homeVolume)
                table += line + '\n';
        }
    }
    const QString path = m_sandbox.path(QStringLiteral("mountinfo"));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(table);
    m_environment.insert(QStringLiteral("BINWISE_MOUNTINFO"), path);
}

void KZCliRunner::setSetting(const QString &key, const QVariant &value)
{
    QSettings settings(m_sandbox.configHome() + QStringLiteral("/Binwise/Binwise.conf"),
                       QSettings::IniFormat);
    settings.setValue(key, value);
}

QStringList KZCliRunner::logFolders() const
{
    return QDir(m_sandbox.stateHome() + QStringLiteral("/Binwise/Logs"))
        .entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

QByteArray KZCliRunner::logText(const QString &jobFolder) const
{
    const QDir folder(m_sandbox.stateHome() + QStringLiteral("/Binwise/Logs/") + jobFolder);
    QByteArray text;
    for (const QString &name : folder.entryList(QDir::Files, QDir::Name)) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            text += file.readAll();
    }
    return text;
}

std::unique_ptr<QProcess> KZCliRunner::start(const QByteArrayList &arguments)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(m_environment);
    process->setStandardInputFile(QProcess::nullDevice());
    QString program;
    QStringList list;
    commandFor(arguments, &program, &list);
    process->start(program, list);
    return process;
}

KZCliResult KZCliRunner::run(const QByteArrayList &arguments, Input input, const QByteArray &typed,
                             int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    PseudoTerminal terminal;
    if (input == Input::Closed) {
        process.setStandardInputFile(QProcess::nullDevice());
    } else if (input == Input::Terminal || input == Input::TerminalWithErrors) {
        if (!terminal.isValid())
            return {};
        const int follower = terminal.follower();
        const bool errors = input == Input::TerminalWithErrors;
        process.setChildProcessModifier([follower, errors] {
            ::dup2(follower, STDIN_FILENO);
            if (errors)
                ::dup2(follower, STDERR_FILENO);
        });
    }
    QString program;
    QStringList list;
    commandFor(arguments, &program, &list);
    process.start(program, list);
    if (!process.waitForStarted(10000))
        return {};
    if (input == Input::Pipe) {
        process.write(typed);
        process.closeWriteChannel();
    } else if (input == Input::Terminal || input == Input::TerminalWithErrors) {
        terminal.closeFollower();
        if (input == Input::Terminal && !typed.isEmpty()
            && ::write(terminal.leader(), typed.constData(), size_t(typed.size())) != typed.size())
            return {};
    }
    QByteArray shown;
    const auto drainTerminal = [&] {
        char buffer[4096];
        ssize_t n = 0;
        while ((n = ::read(terminal.leader(), buffer, sizeof buffer)) > 0)
            shown.append(buffer, n);
    };
    if (input == Input::TerminalWithErrors) {
        // The terminal must be read while the program runs, or its buffer fills and the
        // program blocks writing to it.
        // What is typed answers the first question once it has been up for a while.
        ::fcntl(terminal.leader(), F_SETFL, O_NONBLOCK);
        QDeadlineTimer deadline(timeoutMs);
        QDeadlineTimer answerAt(QDeadlineTimer::Forever);
        bool answered = typed.isEmpty();
        while (!process.waitForFinished(50) && !deadline.hasExpired()) {
            drainTerminal();
            if (answered)
                continue;
            if (answerAt.isForever() && shown.contains("Choose"))
                answerAt.setRemainingTime(kAnswerDelayMs);
            if (answerAt.hasExpired()) {
                answered = ::write(terminal.leader(), typed.constData(), size_t(typed.size()))
                           == typed.size();
            }
        }
        drainTerminal();
    }
    if (process.state() != QProcess::NotRunning && !process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
    }
    KZCliResult result;
    result.out = process.readAllStandardOutput();
    result.err = input == Input::TerminalWithErrors ? shown : process.readAllStandardError();
    if (process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    return result;
}
