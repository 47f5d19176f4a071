// The real pkexec and polkitd: polkit-sandbox.sh starts a private system bus and polkitd in a
// private mount namespace, with the installed policy and a rule that allows or denies the
// action, and there runs the inner test (the application) as an unprivileged user. The inner
// test prints what the erase reported; the outer one prepares and checks.
#include "KZRecordingDelegate.h"
#include "privileged/KZSecureAccess.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <iostream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t kUser = 65534;
const QString kHelper = QStringLiteral("/prefix/libexec/binwise/org.binwise.BinwiseHelper");
const QString kItem = QStringLiteral("/data/Trash/files/root-owned folder");

} // namespace

TEST(Polkit, AnAllowedBatchRunsAsRootAndADeniedOneMapsToTheDeniedCode)
{
    if (qEnvironmentVariableIsSet("BINWISE_POLKIT_BASE"))
        GTEST_SKIP() << "inside the sandbox";
    struct stat pkexec = {};
    if (geteuid() != 0 || stat("/usr/bin/pkexec", &pkexec) != 0 || !(pkexec.st_mode & S_ISUID))
        GTEST_SKIP() << "needs root and a setuid pkexec (Debian package pkexec)";

    QTemporaryDir base;
    ASSERT_TRUE(base.isValid());
    // polkitd and the unprivileged client must reach into it.
    chmod(QFile::encodeName(base.path()).constData(), 0755);
    ASSERT_EQ(
        QProcess::execute(QStringLiteral("cmake"),
                          {QStringLiteral("--install"), QStringLiteral(BINWISE_BUILD_DIR),
                           QStringLiteral("--prefix"), base.filePath(QStringLiteral("prefix"))}),
        0);
    const QString item = base.path() + kItem;
    ASSERT_TRUE(QDir().mkpath(item + QStringLiteral("/inside")));
    for (const char *folder : {"/data", "/data/Trash", "/data/Trash/files"})
        ASSERT_EQ(
            chown(QFile::encodeName(base.path() + QLatin1String(folder)).constData(), kUser, kUser),
            0);

    const auto run = [&](const QString &decision) {
        const QString rules = base.filePath(QStringLiteral("rules-") + decision);
        QDir().mkpath(rules);
        QFile rule(rules + QStringLiteral("/50-binwise-test.rules"));
        EXPECT_TRUE(rule.open(QIODevice::WriteOnly));
        rule.write("polkit.addRule(function(action) { if (action.id == "
                   "\"org.binwise.Binwise.eraseAuthorized\") return polkit.Result."
                   + decision.toLatin1() + "; });\n");
        rule.close();
        QProcess sandbox;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("BINWISE_POLKIT_BASE"), base.path());
        sandbox.setProcessEnvironment(environment);
        sandbox.setProcessChannelMode(QProcess::MergedChannels);
        sandbox.start(QStringLiteral("unshare"),
                      {QStringLiteral("--mount"), QStringLiteral("--propagation"),
                       QStringLiteral("private"), QStringLiteral(BINWISE_POLKIT_SANDBOX),
                       base.filePath(QStringLiteral("work-") + decision),
                       base.filePath(QStringLiteral("prefix/share/polkit-1/actions")), rules,
                       QString::number(kUser), QStringLiteral("--"),
                       QCoreApplication::applicationFilePath(),
                       QStringLiteral("--gtest_filter=PolkitInner.*")});
        sandbox.waitForFinished(180000);
        return std::make_pair(sandbox.exitCode(), QString::fromUtf8(sandbox.readAll()));
    };

    const auto [denied, deniedOutput] = run(QStringLiteral("NO"));
    if (denied == 77)
        GTEST_SKIP() << "the private bus and polkitd could not be started here: "
                     << deniedOutput.toStdString();
    EXPECT_TRUE(
        deniedOutput.contains(QStringLiteral("calls: notErased 1,working 0,error -60005\n")))
        << deniedOutput.toStdString();
    EXPECT_TRUE(QFileInfo::exists(item + QStringLiteral("/inside")));

    const auto [allowed, allowedOutput] = run(QStringLiteral("YES"));
    EXPECT_TRUE(allowedOutput.contains(QStringLiteral(",log ") + item + u' ')
                && allowedOutput.contains(QStringLiteral(",notErased 0,working 0\n")))
        << allowedOutput.toStdString();
    EXPECT_FALSE(QFileInfo::exists(item));
}

TEST(PolkitInner, EraseThroughPkexec)
{
    const QString base = qEnvironmentVariable("BINWISE_POLKIT_BASE");
    if (base.isEmpty())
        GTEST_SKIP() << "run by the Polkit test inside its sandbox";

    KZSecureAccess::Paths paths;
    paths.helper = base + kHelper;
    paths.actionsFolder = QFileInfo(paths.helper).path(); // not consulted for an erase
    paths.elevate = true;
    paths.dataHome = QFile::encodeName(base + QStringLiteral("/data"));
    KZRecordingDelegate recorder;
    KZSecureAccess access(&recorder, paths);
    access.authorizedEraseWithDictionary(
        {{KZBatchKey::permissionsItems, QVariantList{QFile::encodeName(base + kItem)}},
         {KZBatchKey::erasedCount, quint64(0)},
         {KZBatchKey::erasedSize, quint64(0)},
         {KZBatchKey::eraseSecurely, false}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 60000));
    std::cout << "calls: " << recorder.take() << std::endl;
}
