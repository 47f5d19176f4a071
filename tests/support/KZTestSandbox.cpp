#include "KZTestSandbox.h"

#include <QDir>
#include <QStandardPaths>

#include <cstdlib>

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char *const kVariables[]
    = {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"};

void pointEnvironmentAt(const QString &home)
{
    const QString values[]
        = {home, home + QStringLiteral("/.local/share"), home + QStringLiteral("/.config"),
           home + QStringLiteral("/.local/state"), home + QStringLiteral("/.cache")};
    for (size_t i = 0; i < std::size(kVariables); ++i) {
        QDir().mkpath(values[i]);
        qputenv(kVariables[i], values[i].toLocal8Bit());
    }
}

} // namespace

KZTestSandbox::KZTestSandbox()
{
    if (!m_dir.isValid())
        return;
    for (const char *name : kVariables) {
        const bool had = qEnvironmentVariableIsSet(name);
        m_saved[name] = {had, qgetenv(name)};
    }
    pointEnvironmentAt(home());
}

KZTestSandbox::~KZTestSandbox()
{
    if (m_dir.isValid())
        removeTree(m_dir.path().toLocal8Bit());
    for (const auto &[name, saved] : m_saved) {
        if (saved.first)
            qputenv(name.constData(), saved.second);
        else
            qunsetenv(name.constData());
    }
}

QString KZTestSandbox::path(const QString &relative) const
{
    return m_dir.path() + QLatin1Char('/') + relative;
}

QString KZTestSandbox::isolateProcess()
{
    QByteArray pattern = QDir::tempPath().toLocal8Bit() + "/binwise-test-XXXXXX";
    const char *made = mkdtemp(pattern.data());
    if (!made)
        std::abort();
    const QString home = QString::fromLocal8Bit(made) + QStringLiteral("/home");
    pointEnvironmentAt(home);
    QStandardPaths::setTestModeEnabled(true);
    return QString::fromLocal8Bit(made);
}

void KZTestSandbox::removeTree(const QByteArray &path)
{
    const auto remove = [](const char *item, const struct stat *st, int type, struct FTW *) {
        if (type == FTW_DP)
            ::rmdir(item);
        else if (!(st && S_ISDIR(st->st_mode)))
            ::unlink(item);
        return 0;
    };
    ::nftw(path.constData(), remove, 64, FTW_DEPTH | FTW_PHYS | FTW_MOUNT);
}
