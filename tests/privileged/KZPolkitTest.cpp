// The real pkexec and polkitd: a private system bus and polkitd (started by
// polkit-sandbox.sh in a private mount namespace, with the installed policy and a rules file
// that allows or denies the action) serve a client that runs as an unprivileged user. The
// outer test prepares and checks; the inner test is the application, run as that user.
#include "KZRecordingDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "privileged/KZSecureAccess.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t kUser = 65534;
const QString kItemName = QStringLiteral("root-owned folder");

bool chownTo(const QString &path, uid_t uid)
{
    return chown(QFile::encodeName(path).constData(), uid, uid) == 0;
}

} // namespace

TEST(Polkit, AnAllowedBatchRunsAsRootAndADeniedOneMapsToTheDeniedCode)
{
    if (qEnvironmentVariableIsSet("BINWISE_POLKIT_INNER"))
        GTEST_SKIP() << "inside the sandbox";
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to start a private bus and polkitd";
    struct stat pkexec
    {
    };
    if (stat("/usr/bin/pkexec", &pkexec) != 0 || !(pkexec.st_mode & S_ISUID))
        GTEST_SKIP() << "no setuid pkexec (Debian package pkexec)";
    for (const char *tool : {"unshare", "setpriv", "dbus-daemon", "dbus-send"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty())
            GTEST_SKIP() << "missing " << tool;
    }

    QTemporaryDir base;
    ASSERT_TRUE(base.isValid());
    // polkitd and the unprivileged client must reach into it.
    chmod(QFile::encodeName(base.path()).constData(), 0755);
    const QString prefix = base.filePath(QStringLiteral("prefix"));
    QProcess install;
    install.start(QStringLiteral("cmake"),
                  {QStringLiteral("--install"), QStringLiteral(BINWISE_BUILD_DIR),
                   QStringLiteral("--prefix"), prefix});
    ASSERT_TRUE(install.waitForFinished(120000));
    ASSERT_EQ(install.exitCode(), 0);
    const QString helper = prefix + QStringLiteral("/libexec/binwise/org.binwise.BinwiseHelper");
    const QString actions = prefix + QStringLiteral("/share/polkit-1/actions");

    const QString dataHome = base.filePath(QStringLiteral("home/.local/share"));
    const QString files = dataHome + QStringLiteral("/Trash/files");
    ASSERT_TRUE(QDir().mkpath(files + u'/' + kItemName + QStringLiteral("/inside")));
    for (const QString &path :
         {base.filePath(QStringLiteral("home")), base.filePath(QStringLiteral("home/.local")),
          dataHome, dataHome + QStringLiteral("/Trash"), files})
        ASSERT_TRUE(chownTo(path, kUser));
    const QString item = files + u'/' + kItemName;

    auto runAs = [&](const char *mode, const char *decision) {
        const QString rules = base.filePath(QLatin1String(mode));
        QDir().mkpath(rules);
        QFile rule(rules + QStringLiteral("/50-binwise-test.rules"));
        EXPECT_TRUE(rule.open(QIODevice::WriteOnly));
        rule.write(QByteArray("polkit.addRule(function(action, subject) {\n"
                              "    if (action.id == \"org.binwise.Binwise.eraseAuthorized\")\n"
                              "        return polkit.Result.")
                   + decision + ";\n});\n");
        rule.close();

        QProcess sandbox;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("BINWISE_POLKIT_INNER"), QLatin1String(mode));
        environment.insert(QStringLiteral("BINWISE_POLKIT_HELPER"), helper);
        environment.insert(QStringLiteral("BINWISE_POLKIT_DATA_HOME"), dataHome);
        environment.insert(QStringLiteral("BINWISE_POLKIT_ITEM"), item);
        sandbox.setProcessEnvironment(environment);
        sandbox.setProcessChannelMode(QProcess::MergedChannels);
        sandbox.start(QStringLiteral("unshare"),
                      {QStringLiteral("--mount"), QStringLiteral("--propagation"),
                       QStringLiteral("private"), QStringLiteral(BINWISE_POLKIT_SANDBOX),
                       base.filePath(QStringLiteral("work-") + QLatin1String(mode)), actions, rules,
                       QString::number(kUser), QStringLiteral("--"),
                       QCoreApplication::applicationFilePath(),
                       QStringLiteral("--gtest_filter=PolkitInner.*")});
        sandbox.waitForFinished(180000);
        const QByteArray output = sandbox.readAll();
        return std::make_pair(sandbox.exitCode(), output);
    };

    const auto [denied, deniedOutput] = runAs("deny", "NO");
    if (denied == 77)
        GTEST_SKIP() << "the private bus and polkitd could not be started here: "
                     << deniedOutput.toStdString();
    EXPECT_EQ(denied, 0) << deniedOutput.toStdString();
    EXPECT_TRUE(QFileInfo::exists(item + QStringLiteral("/inside")));

    const auto [allowed, allowedOutput] = runAs("allow", "YES");
    EXPECT_EQ(allowed, 0) << allowedOutput.toStdString();
    EXPECT_FALSE(QFileInfo::exists(item));
}

TEST(PolkitInner, EraseThroughPkexec)
{
    const QString mode = qEnvironmentVariable("BINWISE_POLKIT_INNER");
    if (mode.isEmpty())
        GTEST_SKIP() << "run by the Polkit test inside its sandbox";
    ASSERT_NE(getuid(), 0u);

    KZSecureAccess::Paths paths;
    paths.helper = qEnvironmentVariable("BINWISE_POLKIT_HELPER");
    paths.actionsFolder = QFileInfo(paths.helper).path(); // not consulted for an erase
    paths.elevate = true;
    paths.dataHome = qgetenv("BINWISE_POLKIT_DATA_HOME");
    const QByteArray item = qgetenv("BINWISE_POLKIT_ITEM");
    KZRecordingDelegate recorder;
    KZSecureAccess access(&recorder, paths);
    access.authorizedEraseWithDictionary({{KZBatchKey::permissionsItems, QVariantList{item}},
                                          {KZBatchKey::erasedCount, quint64(0)},
                                          {KZBatchKey::erasedSize, quint64(0)},
                                          {KZBatchKey::eraseSecurely, false}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 60000));
    if (mode == QStringLiteral("allow")) {
        EXPECT_EQ(recorder.notErased, 0u) << recorder.calls.join(u'\n').toStdString();
        EXPECT_EQ(recorder.loggedPaths, QList<QByteArray>{item});
        EXPECT_TRUE(recorder.errors.isEmpty());
    } else {
        EXPECT_EQ(recorder.notErased, 1u);
        ASSERT_EQ(recorder.errors.size(), 1);
        EXPECT_EQ(recorder.errors[0].code, -60005);
        EXPECT_EQ(recorder.errors[0].localizedDescription,
                  KZLocalizedStringFromTable(QStringLiteral("userNotAuthorized"),
                                             KZLocalizedStrings::kErrorsTable));
    }
}
