// The autostart entry on disk: written for an executable whose path needs quoting, read back as
// the same program, replaced (never doubled) when it names another, removed to turn it off.
#include "foundation/KZLaunchAtLogin.h"
#include "KZTestSandbox.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

namespace {
QStringList entries(const QString &dir)
{
    return QDir(dir).entryList(QDir::Files | QDir::Hidden);
}

QString validate(const QString &file)
{
    if (QStandardPaths::findExecutable(QStringLiteral("desktop-file-validate")).isEmpty())
        return {};
    QProcess process;
    process.start(QStringLiteral("desktop-file-validate"), {file});
    process.waitForFinished(10000);
    return process.exitCode() == 0
               ? QString::fromUtf8(process.readAllStandardOutput()).trimmed()
               : QStringLiteral("failed: ") + QString::fromUtf8(process.readAllStandardOutput());
}
} // namespace

TEST(LaunchAtLogin, TheEntryRunsExactlyThisExecutableEvenWithSpacesQuotesAndDollars)
{
    KZTestSandbox sandbox;
    // The default place follows XDG_CONFIG_HOME, as the session's autostart does.
    EXPECT_EQ(KZLaunchAtLogin(QStringLiteral("/usr/bin/binwise")).autostartFile(),
              sandbox.configHome() + QStringLiteral("/autostart/org.binwise.Binwise.desktop"));

    const QString odd = sandbox.path(QStringLiteral("my \"apps\" $HOME 100% \\bin/binwise"));
    KZLaunchAtLogin login(odd);
    EXPECT_FALSE(login.isInstalledStartup());
    ASSERT_TRUE(login.setupLaunchAtLogin(true));
    EXPECT_EQ(login.itemRefInLoginItems(), login.autostartFile());
    EXPECT_EQ(validate(login.autostartFile()).toStdString(), "");

    // What a session's launcher makes of the Exec line: the string escapes, then the quoting.
    QFile file(login.autostartFile());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_TRUE(text.contains("\nExec=\"") && text.contains("100%%")) << text.toStdString();
    EXPECT_TRUE(text.contains(R"(\\\\bin)")) << text.toStdString();

    // Another executable's entry of the same name is not this program's login item; turning
    // it on rewrites that one file.
    KZLaunchAtLogin other(QStringLiteral("/opt/other/binwise"));
    EXPECT_FALSE(other.isInstalledStartup());
    ASSERT_TRUE(other.setupLaunchAtLogin(true));
    EXPECT_TRUE(other.isInstalledStartup());
    EXPECT_FALSE(login.isInstalledStartup());
    ASSERT_TRUE(other.setupLaunchAtLogin(true));
    EXPECT_EQ(entries(sandbox.configHome() + QStringLiteral("/autostart")),
              QStringList{KZLaunchAtLogin::kFileName});

    ASSERT_TRUE(login.setupLaunchAtLogin(false));
    EXPECT_FALSE(QFile::exists(login.autostartFile()));
    // Off when nothing is there is not a failure.
    EXPECT_TRUE(login.setupLaunchAtLogin(false));
}

TEST(LaunchAtLogin, AnUnwritableAutostartFolderFailsAndLeavesNothing)
{
    KZTestSandbox sandbox;
    // A file where the folder should be: nothing can be made under it, even by root.
    const QString blocked = sandbox.path(QStringLiteral("blocked"));
    QFile block(blocked);
    ASSERT_TRUE(block.open(QIODevice::WriteOnly));
    block.close();
    KZLaunchAtLogin login(QStringLiteral("/usr/bin/binwise"),
                          blocked + QStringLiteral("/autostart"));
    EXPECT_FALSE(login.setupLaunchAtLogin(true));
    EXPECT_FALSE(login.isInstalledStartup());
}
