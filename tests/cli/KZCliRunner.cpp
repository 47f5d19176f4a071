#include "KZCliRunner.h"

#include "KZTestUser.h"
#include "model/KZMountTable.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QSettings>

#include <fcntl.h>
#include <ftw.h>
#include <grp.h>
#include <pty.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kAnswerDelayMs = 800;

uid_t s_chownTo = 0; // nftw's callback takes no context

QByteArray local(const QString &path)
{
    return QFile::encodeName(path);
}

// The arguments are text: QProcess cannot pass a name that is not UTF-8 (such names reach
// binwise as URLs, which is how its JSON output hands them on).
void startBinwise(QProcess &process, const QByteArrayList &arguments)
{
    QStringList list;
    for (const QByteArray &argument : arguments)
        list.append(QString::fromUtf8(argument));
    process.start(QFile::decodeName(KZCliRunner::binary()), list);
}

} // namespace

KZCliRunner::KZCliRunner()
    : m_environment(QProcessEnvironment::systemEnvironment())
{
    // KZTestSandbox pointed HOME and the XDG folders of this process at itself. No helper
    // unless a test installs one, and nothing a question could install for real.
    for (const char *name :
         {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"})
        m_environment.insert(QLatin1String(name), qEnvironmentVariable(name));
    for (const char *name :
         {"BINWISE_HELPER_PATH", "BINWISE_HELPER_SOURCE", "BINWISE_POLKIT_ACTIONS_DIR"})
        m_environment.insert(QLatin1String(name), m_sandbox.path(QStringLiteral("none")));
    writeMountTable();
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

QByteArray KZCliRunner::addExt4Volume(const QByteArray &name, QString *whyNot)
{
    const QByteArray mountPoint = local(m_sandbox.path(QStringLiteral("volumes/"))) + name;
    auto mount = KZTestMount::ext4Image(mountPoint, name, whyNot, 32);
    if (!mount)
        return {};
    m_mounts.push_back(std::move(mount));
    writeMountTable();
    return mountPoint;
}

std::optional<KZTestTrash> KZCliRunner::someTrash(QString *whyNot)
{
    const QByteArray volume = addVolume("Work", whyNot);
    if (volume.isEmpty())
        return std::nullopt;
    return KZTestTrash::onVolume(volume);
}

void KZCliRunner::writeMountTable()
{
    // Only the test's own volumes: binwise must never make or empty a Trash of the machine.
    QFile real(QStringLiteral("/proc/self/mountinfo"));
    QByteArray table;
    if (real.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : real.readAll().split('\n')) {
            const QList<KZMountEntry> parsed = KZMountTable::parse(line);
            if (!parsed.isEmpty()
                && KZMountTable::isAtOrUnder(parsed.first().mountPoint, local(m_sandbox.root())))
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

bool KZCliRunner::runAsUser(uid_t uid)
{
    if (::geteuid() != 0)
        return false;
    const QByteArray home = local(m_sandbox.home());
    s_chownTo = uid;
    if (::nftw(
            home.constData(),
            [](const char *path, const struct stat *, int, struct FTW *) {
                return ::lchown(path, s_chownTo, s_chownTo) == 0 ? 0 : 1;
            },
            16, FTW_PHYS)
        != 0)
        return false;
    KZTestUser::makeTraversable(home.constData());
    m_uid = uid;
    return true;
}

void KZCliRunner::prepareChild(QProcess &process, int follower) const
{
    const std::optional<uid_t> uid = m_uid;
    process.setChildProcessModifier([follower, uid] {
        if (follower >= 0) {
            ::dup2(follower, STDIN_FILENO);
            ::dup2(follower, STDERR_FILENO);
        }
        if (uid && (::setgroups(0, nullptr) != 0 || ::setgid(*uid) != 0 || ::setuid(*uid) != 0))
            ::_exit(126);
    });
}

std::unique_ptr<QProcess> KZCliRunner::start(const QByteArrayList &arguments)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(m_environment);
    process->setStandardInputFile(QProcess::nullDevice());
    prepareChild(*process, -1);
    startBinwise(*process, arguments);
    return process;
}

KZCliResult KZCliRunner::execute(const QByteArrayList &arguments, bool terminal,
                                 const QByteArray &typed)
{
    constexpr int kTimeoutMs = 120000;
    QProcess process;
    process.setProcessEnvironment(m_environment);
    int leader = -1;
    int follower = -1;
    const auto closeTerminal = qScopeGuard([&] {
        for (const int fd : {leader, follower}) {
            if (fd >= 0)
                ::close(fd);
        }
    });
    if (terminal) {
        if (::openpty(&leader, &follower, nullptr, nullptr, nullptr) != 0)
            return {};
        ::fcntl(leader, F_SETFD, FD_CLOEXEC);
        ::fcntl(leader, F_SETFL, O_NONBLOCK);
        ::fcntl(follower, F_SETFD, FD_CLOEXEC);
        prepareChild(process, follower);
    } else {
        process.setStandardInputFile(QProcess::nullDevice());
        prepareChild(process, -1);
    }
    startBinwise(process, arguments);
    if (!process.waitForStarted(10000))
        return {};
    QByteArray shown;
    if (terminal) {
        ::close(std::exchange(follower, -1));
        // The terminal must be read while the program runs, or its buffer fills and the
        // program blocks writing to it.
        const auto drain = [&] {
            char buffer[4096];
            ssize_t n = 0;
            while ((n = ::read(leader, buffer, sizeof buffer)) > 0)
                shown.append(buffer, n);
        };
        const QDeadlineTimer deadline(kTimeoutMs);
        QDeadlineTimer answerAt(QDeadlineTimer::Forever);
        bool answered = typed.isEmpty();
        while (!process.waitForFinished(50) && !deadline.hasExpired()) {
            drain();
            if (answered)
                continue;
            if (answerAt.isForever() && shown.contains("Choose"))
                answerAt.setRemainingTime(kAnswerDelayMs);
            if (answerAt.hasExpired())
                answered = ::write(leader, typed.constData(), size_t(typed.size())) == typed.size();
        }
        drain();
    }
    if (process.state() != QProcess::NotRunning && !process.waitForFinished(kTimeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
    }
    KZCliResult result;
    result.out = process.readAllStandardOutput();
    result.err = terminal ? shown : process.readAllStandardError();
    if (process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    return result;
}
