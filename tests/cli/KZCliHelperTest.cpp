// The privileged helper end to end through the command line: the helper installed by
// `cmake --install` into a temporary prefix, binwise run as an unprivileged user against a
// private system bus and polkitd (tests/privileged/polkit-sandbox.sh) whose rules allow the
// action, and the real pkexec in between. A run as root would need no helper at all (root's
// own rights unlock and remove everything), so the user is 65534.
#include "KZCliRunner.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t kUser = 65534;

bool chownTo(const QByteArray &path, uid_t uid)
{
    return ::chown(path.constData(), uid, uid) == 0;
}

} // namespace

TEST(CliHelper, LockedAndForeignItemsAreErasedThroughPkexecAndTheHelper)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to install, mount and start a private bus and polkitd";
    struct stat pkexec = {};
    if (::stat("/usr/bin/pkexec", &pkexec) != 0 || !(pkexec.st_mode & S_ISUID))
        GTEST_SKIP() << "no setuid pkexec (Debian package pkexec)";
    for (const char *tool : {"unshare", "setpriv", "dbus-daemon", "dbus-send", "awk"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty())
            GTEST_SKIP() << "missing " << tool;
    }

    QTemporaryDir base;
    ASSERT_TRUE(base.isValid());
    // polkitd and the unprivileged user must reach into it.
    ::chmod(QFile::encodeName(base.path()).constData(), 0755);
    const QString prefix = base.filePath(QStringLiteral("prefix"));
    QProcess install;
    install.start(QStringLiteral("cmake"),
                  {QStringLiteral("--install"), QStringLiteral(BINWISE_BUILD_DIR),
                   QStringLiteral("--prefix"), prefix});
    ASSERT_TRUE(install.waitForFinished(120000));
    ASSERT_EQ(install.exitCode(), 0) << str(install.readAll());
    const QString helper = prefix + QStringLiteral("/libexec/binwise/org.binwise.BinwiseHelper");
    const QString actions = prefix + QStringLiteral("/share/polkit-1/actions");
    ASSERT_TRUE(QFileInfo(helper).isExecutable());

    // The user's home, and a volume inside it that holds the user's Trash.
    const QByteArray home = QFile::encodeName(base.filePath(QStringLiteral("home")));
    for (const char *folder :
         {"", "/.local", "/.local/share", "/.local/state", "/.config", "/.cache"})
        ASSERT_TRUE(KZTestFiles::makeFolders(home + folder) && chownTo(home + folder, kUser));
    QString whyNot;
    const auto volume = KZTestMount::ext4Image(home + "/vol", "HelperVol", &whyNot);
    if (!volume)
        GTEST_SKIP() << whyNot.toStdString();
    KZTestTrash trash = KZTestTrash::onVolume(volume->mountPoint(), int(kUser));
    trash.addFile("locked", "immutable");
    trash.addFile("plain");
    // Root's own folder, with a file of root's: the user may remove neither.
    trash.addFolder("root's", {"inside"});
    for (const QByteArray &path :
         {trash.root(), trash.files(), trash.root() + "/info", trash.itemPath("locked"),
          trash.infoPath("locked"), trash.itemPath("plain"), trash.infoPath("plain"),
          trash.infoPath("root's")})
        ASSERT_TRUE(chownTo(path, kUser));
    KZTestFiles::ImmutableGuard locked(trash.itemPath("locked"));
    if (!locked.isSet())
        GTEST_SKIP() << "cannot set the immutable flag here";

    const QString rules = base.filePath(QStringLiteral("rules"));
    ASSERT_TRUE(KZTestFiles::makeFolders(QFile::encodeName(rules)));
    ASSERT_TRUE(
        KZTestFiles::writeFile(QFile::encodeName(rules) + "/50-binwise-test.rules",
                               "polkit.addRule(function(action, subject) {\n"
                               "    if (action.id == \"org.binwise.Binwise.eraseAuthorized\")\n"
                               "        return polkit.Result.YES;\n"
                               "});\n"));

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString homeText = QFile::decodeName(home);
    const QString table = homeText + QStringLiteral("/mountinfo");
    for (const auto &[name, value] :
         {std::pair{"HOME", homeText},
          {"XDG_DATA_HOME", homeText + QStringLiteral("/.local/share")},
          {"XDG_STATE_HOME", homeText + QStringLiteral("/.local/state")},
          {"XDG_CONFIG_HOME", homeText + QStringLiteral("/.config")},
          {"XDG_CACHE_HOME", homeText + QStringLiteral("/.cache")},
          {"BINWISE_HELPER_PATH", helper},
          {"BINWISE_POLKIT_ACTIONS_DIR", actions},
          {"BINWISE_MOUNTINFO", table}})
        environment.insert(QLatin1String(name), value);

    // Inside the sandbox's mount namespace mounts have identifiers of their own, so binwise's
    // mount table (the test's volume alone) is taken there.
    QProcess sandbox;
    sandbox.setProcessEnvironment(environment);
    sandbox.setStandardInputFile(QProcess::nullDevice());
    sandbox.start(
        QStringLiteral("unshare"),
        {QStringLiteral("--mount"), QStringLiteral("--propagation"), QStringLiteral("private"),
         QStringLiteral(BINWISE_POLKIT_SANDBOX), base.filePath(QStringLiteral("work")), actions,
         rules, QString::number(kUser), QStringLiteral("--"), QStringLiteral("/bin/sh"),
         QStringLiteral("-c"),
         QStringLiteral("awk -v point=\"$1\" '$5 == point' /proc/self/mountinfo > \"$2\" && "
                        "exec \"$3\" empty --all --yes --locked=erase --no-permission=erase "
                        "--json"),
         QStringLiteral("sh"), QFile::decodeName(volume->mountPoint()), table,
         QFile::decodeName(KZCliRunner::binary())});
    ASSERT_TRUE(sandbox.waitForFinished(180000));
    const QByteArray output = sandbox.readAllStandardOutput();
    const QByteArray errors = sandbox.readAllStandardError();
    if (sandbox.exitCode() == 77)
        GTEST_SKIP() << "the private bus and polkitd could not be started here: " << str(errors);
    EXPECT_EQ(sandbox.exitCode(), 0) << str(output) << str(errors);

    const auto entries = [](const QByteArray &folder) {
        return QDir(QFile::decodeName(folder))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    };
    EXPECT_TRUE(entries(trash.files()).isEmpty())
        << entries(trash.files()).join(u',').toStdString();
    EXPECT_TRUE(entries(trash.root() + "/info").isEmpty());

    // The log is complete: the user's own erase and the helper's, one line per item.
    const QDir logs(homeText + QStringLiteral("/.local/state/Binwise/Logs/HelperVol"));
    QByteArray log;
    for (const QString &name : logs.entryList(QDir::Files)) {
        QFile file(logs.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            log += file.readAll();
    }
    for (const QByteArray &path : {trash.itemPath("plain"), trash.itemPath("locked"),
                                   trash.itemPath("root's/inside"), trash.itemPath("root's")})
        EXPECT_TRUE(log.contains(" " + path + "\n")) << str(path) << " not in\n" << str(log);
    EXPECT_TRUE(log.contains("End of emptying the Trash")) << str(log);

    // What the helper erased counts as erased, item by item.
    const QJsonObject document = QJsonDocument::fromJson(output).object();
    QStringList erased;
    for (const QJsonValue &item : document.value(QStringLiteral("items")).toArray()) {
        if (item[QStringLiteral("outcome")].toString() == QStringLiteral("erased"))
            erased.append(item[QStringLiteral("name")].toString());
    }
    erased.sort();
    EXPECT_EQ(erased, (QStringList{QStringLiteral("locked"), QStringLiteral("plain"),
                                   QStringLiteral("root's")}))
        << str(output);
    EXPECT_EQ(document[QStringLiteral("totals")][QStringLiteral("count")].toInteger(), 3);
}
