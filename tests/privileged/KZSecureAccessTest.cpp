#include "privileged/KZSecureAccess.h"
#include "KZRecordingDelegate.h"
#include "KZTestSandbox.h"
#include "erase/KZScriptedAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "privileged/KZCommonHelper.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString errorsText(const char *key)
{
    return KZLocalizedStringFromTable(QLatin1String(key), KZLocalizedStrings::kErrorsTable);
}

void writeScript(const QString &path, const QByteArray &body)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\n" + body + "\n");
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther
                        | QFile::ExeOther);
}

QString run(const QString &program, const QStringList &arguments = {})
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(60000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

bool setImmutable(const QByteArray &path)
{
    const int fd = open(path.constData(), O_RDONLY | O_CLOEXEC);
    int flags = 0;
    bool ok = fd >= 0 && ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    flags |= FS_IMMUTABLE_FL;
    ok = ok && ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    if (fd >= 0)
        close(fd);
    return ok;
}

class SecureAccess : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sandbox.isValid());
        KZTUErrorDelegate::sharedControl().setBackend(script);
        KZSecureAccess::forgetHelperVersionForTest();
        paths.helper
            = sandbox.path(QStringLiteral("prefix/libexec/binwise/org.binwise.BinwiseHelper"));
        paths.actionsFolder = sandbox.path(QStringLiteral("prefix/share/polkit-1/actions"));
        paths.helperSource = QString::fromLocal8Bit(BINWISE_HELPER_BINARY);
        paths.elevate = false;
        paths.dataHome = sandbox.dataHome().toLocal8Bit();
        QDir().mkpath(paths.actionsFolder);
        QDir().mkpath(QFileInfo(paths.helper).path());
    }

    void TearDown() override { KZTUErrorDelegate::sharedControl().setBackend(nullptr); }

    QStringList shownIdentifiers() const { return script->shownIdentifiers(); }

    KZTestSandbox sandbox;
    std::shared_ptr<KZScriptedAlertBackend> script = std::make_shared<KZScriptedAlertBackend>();
    KZSecureAccess::Paths paths;
    KZRecordingDelegate recorder;
};

TEST_F(SecureAccess, AHelperInstalledByCMakeAnswersItsVersionAndNothingIsAsked)
{
    const QString prefix = sandbox.path(QStringLiteral("installed"));
    QProcess install;
    install.start(QStringLiteral("cmake"),
                  {QStringLiteral("--install"), QStringLiteral(BINWISE_BUILD_DIR),
                   QStringLiteral("--prefix"), prefix});
    ASSERT_TRUE(install.waitForFinished(120000));
    ASSERT_EQ(install.exitCode(), 0) << install.readAll().toStdString();
    paths.helper = prefix + QStringLiteral("/libexec/binwise/org.binwise.BinwiseHelper");
    paths.actionsFolder = prefix + QStringLiteral("/share/polkit-1/actions");

    // The installed policy names the installed helper and is what the application would write.
    QFile policy(paths.actionsFolder + QStringLiteral("/org.binwise.policy"));
    ASSERT_TRUE(policy.open(QIODevice::ReadOnly));
    const QByteArray installed = policy.readAll();
    EXPECT_TRUE(installed.contains("<annotate key=\"org.freedesktop.policykit.exec.path\">"
                                   + paths.helper.toUtf8() + "</annotate>"));
    QTemporaryDir empty;
    EXPECT_EQ(KZCommonHelper::setupAuthorizationRights(empty.path(), paths.helper), installed);
    EXPECT_EQ(run(paths.helper, {QStringLiteral("--version")}), QStringLiteral("1.0.1"));

    KZSecureAccess access(nullptr, paths);
    EXPECT_TRUE(access.intallHelperAppIfNeeded());
    EXPECT_TRUE(shownIdentifiers().isEmpty());
    EXPECT_EQ(KZSecureAccess::helperVersion(), QStringLiteral("1.0.1"));
}

TEST_F(SecureAccess, AnotherVersionIsAskedAboutThenReplacedAndTheAnswerIsKeptForTheProcess)
{
    const QString marker = sandbox.path(QStringLiteral("asked"));
    writeScript(paths.helper, "echo asked >> '" + marker.toLocal8Bit() + "'; echo 1.0.0");
    script->enqueue(KZScriptedAlertBackend::Answer(KZAlertFirstButtonReturn));

    KZSecureAccess access(nullptr, paths);
    EXPECT_TRUE(access.intallHelperAppIfNeeded());
    EXPECT_EQ(shownIdentifiers(), QStringList{QStringLiteral("update_helper_tool")});
    const KZAlertRequest question = script->shown().value(0).request;
    EXPECT_EQ(question.informativeText, errorsText("update_helper_tool_mess"));
    EXPECT_EQ(question.buttons.mid(0, 2),
              (QStringList{errorsText("okay_btn"), errorsText("cancel_btn")}));

    // The real helper and the policy are now in place.
    EXPECT_EQ(run(paths.helper, {QStringLiteral("--version")}), QStringLiteral("1.0.1"));
    EXPECT_EQ(KZCommonHelper::definedActions(paths.actionsFolder),
              QStringList{QStringLiteral("org.binwise.Binwise.eraseAuthorized")});
    EXPECT_EQ(QFileInfo(paths.helper).permissions() & QFile::ExeOther, QFile::ExeOther);

    // The version text of the first check stays: the helper is not asked again.
    bool exists = false;
    KZSecureAccess later(nullptr, paths);
    EXPECT_FALSE(later.isHelperNeedBeInstalled(&exists));
    EXPECT_TRUE(exists);
    QFile asked(marker);
    ASSERT_TRUE(asked.open(QIODevice::ReadOnly));
    EXPECT_EQ(asked.readAll(), QByteArray("asked\n"));
}

TEST_F(SecureAccess, ASilentHelperIsAskedAboutAndCancelAnswersNoWithoutAMessage)
{
    writeScript(paths.helper, "exit 3");
    script->enqueue(KZScriptedAlertBackend::Answer(KZAlertSecondButtonReturn));
    KZSecureAccess access(nullptr, paths);
    EXPECT_FALSE(access.intallHelperAppIfNeeded());
    EXPECT_EQ(shownIdentifiers(), QStringList{QStringLiteral("update_helper_tool")});
    EXPECT_NE(KZSecureAccess::helperVersion(), QStringLiteral("1.0.1"));
    EXPECT_NE(run(paths.helper, {QStringLiteral("--version")}), QStringLiteral("1.0.1"));
}

TEST_F(SecureAccess, NoHelperAndAFailedInstallShowTheInstallError)
{
    paths.helperSource = sandbox.path(QStringLiteral("missing/binwise-helper"));
    script->enqueue(KZScriptedAlertBackend::Answer(KZAlertFirstButtonReturn));
    KZSecureAccess access(nullptr, paths);
    EXPECT_FALSE(access.intallHelperAppIfNeeded());
    ASSERT_EQ(script->shown().size(), 2);
    EXPECT_TRUE(script->shown()[1].request.messageText.contains(QStringLiteral("not found")));
    EXPECT_FALSE(QFileInfo::exists(paths.helper));
}

TEST_F(SecureAccess, PkexecCancelAndDenialMapToTheirCodesAndReactions)
{
    paths.elevate = true;
    paths.pkexec = sandbox.path(QStringLiteral("pkexec"));
    auto answerOkay = [this] {
        script->clear();
        script->answerAlways(QStringLiteral("update_helper_tool"),
                             KZScriptedAlertBackend::Answer(KZAlertFirstButtonReturn));
    };
    answerOkay();

    writeScript(paths.pkexec, "exit 126");
    {
        KZSecureAccess access(nullptr, paths);
        const std::optional<KZError> error = access.authorizeTheAccess();
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code, -60006);
        answerOkay();
        EXPECT_FALSE(access.intallHelperAppIfNeeded());
        EXPECT_EQ(shownIdentifiers(), QStringList{QStringLiteral("update_helper_tool")});
        EXPECT_EQ(script->unexpectedCount(), 0);
    }
    writeScript(paths.pkexec, "exit 127");
    {
        answerOkay();
        KZSecureAccess access(nullptr, paths);
        EXPECT_FALSE(access.intallHelperAppIfNeeded());
        ASSERT_EQ(script->shown().size(), 2);
        EXPECT_EQ(script->shown()[1].request.messageText, errorsText("userNotAuthorized"));
    }

    // The same codes when the helper itself is started for a batch: nothing is erased.
    const QVariantMap batch{
        {QStringLiteral("unlockItems"), QVariantList{QByteArray("/a")}},
        {QStringLiteral("permissionsItems"), QVariantList{QByteArray("/b"), QByteArray("/c")}}};
    {
        KZSecureAccess access(&recorder, paths);
        access.authorizedEraseWithDictionary(batch);
        ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000));
        EXPECT_EQ(recorder.calls,
                  (QStringList{QStringLiteral("notErased 3"), QStringLiteral("working 0"),
                               QStringLiteral("error -60005")}));
        EXPECT_EQ(recorder.errors.value(0).localizedDescription, errorsText("userNotAuthorized"));
    }
    writeScript(paths.pkexec, "exit 126");
    {
        KZRecordingDelegate cancelled;
        KZSecureAccess access(&cancelled, paths);
        access.authorizedEraseWithDictionary(batch);
        ASSERT_TRUE(QTest::qWaitFor([&] { return cancelled.finished; }, 20000));
        EXPECT_EQ(cancelled.calls,
                  (QStringList{QStringLiteral("notErased 3"), QStringLiteral("working 0")}));
    }
}

class SecureAccessErase : public SecureAccess
{
protected:
    void SetUp() override
    {
        SecureAccess::SetUp();
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root: the helper is started directly only by root";
        files = paths.dataHome + "/Trash/files";
        QDir().mkpath(QString::fromLocal8Bit(files));
        QDir().mkpath(QString::fromLocal8Bit(paths.dataHome + "/Trash/info"));
        paths.helper = paths.helperSource; // the built helper, used where it lies
    }

    QByteArray item(const char *name, const QByteArray &content = "content")
    {
        QFile file(QString::fromLocal8Bit(files + "/" + name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return files + "/" + name;
    }

    QByteArray files;
};

TEST_F(SecureAccessErase, TheBatchGoesToTheRealHelperAndProgressComesBackInOrder)
{
    const QByteArray locked = item("locked", QByteArray(9000, 'x'));
    if (!setImmutable(locked))
        GTEST_SKIP() << "this file system has no immutable flag";
    QDir().mkpath(QString::fromLocal8Bit(files + "/folder/inner"));
    const QByteArray folder = files + "/folder";
    struct stat st
    {
    };
    ASSERT_EQ(lstat(locked.constData(), &st), 0);
    const quint64 lockedSize = quint64(st.st_blocks) * 512;

    KZSecureAccess access(&recorder, paths);
    access.authorizedEraseWithDictionary({
        {KZBatchKey::unlockItems, QVariantList{locked}},
        {KZBatchKey::permissionsItems, QVariantList{folder}},
        {KZBatchKey::erasedCount, quint64(2)},
        {KZBatchKey::erasedSize, quint64(100)},
        {KZBatchKey::eraseSecurely, false},
    });
    EXPECT_TRUE(access.isConnected());
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000))
        << recorder.calls.join(u'\n').toStdString();
    const QString total = QString::number(100 + lockedSize);
    EXPECT_EQ(
        recorder.calls,
        (QStringList{QStringLiteral("count 3"), QStringLiteral("size ") + total,
                     QStringLiteral("log ") + QString::fromLocal8Bit(locked) + u' '
                         + QString::number(lockedSize),
                     QStringLiteral("count 5"), QStringLiteral("size ") + total,
                     QStringLiteral("log ") + QString::fromLocal8Bit(folder) + QStringLiteral(" 0"),
                     QStringLiteral("notErased 0"), QStringLiteral("working 0")}));
    EXPECT_FALSE(QFileInfo::exists(QString::fromLocal8Bit(locked)));
    EXPECT_FALSE(QFileInfo::exists(QString::fromLocal8Bit(folder)));
}

TEST_F(SecureAccessErase, StopAlwaysSaysYesAndReachesTheHelperBeforeTheBatch)
{
    const QByteArray a = item("a");
    const QByteArray b = item("b");
    KZSecureAccess access(&recorder, paths);
    access.connectToHelperTool();
    access.stoppedByUser(false);
    access.authorizedEraseWithDictionary({{KZBatchKey::permissionsItems, QVariantList{a, b}},
                                          {KZBatchKey::erasedCount, quint64(0)},
                                          {KZBatchKey::erasedSize, quint64(0)},
                                          {KZBatchKey::eraseSecurely, false}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000));
    EXPECT_EQ(recorder.calls,
              (QStringList{QStringLiteral("notErased 2"), QStringLiteral("working 0")}));
    EXPECT_TRUE(QFileInfo::exists(QString::fromLocal8Bit(a)));
    EXPECT_TRUE(QFileInfo::exists(QString::fromLocal8Bit(b)));
}

TEST_F(SecureAccessErase, SerializationAndConnectionFailuresCountTheWholeBatch)
{
    const QVariantMap withUrl{
        {KZBatchKey::unlockItems, QVariantList{QUrl(QStringLiteral("file:///a"))}},
        {KZBatchKey::permissionsItems, QVariantList{item("p")}}};
    KZSecureAccess access(&recorder, paths);
    access.authorizedEraseWithDictionary(withUrl);
    EXPECT_FALSE(access.isConnected());
    EXPECT_EQ(recorder.calls,
              (QStringList{QStringLiteral("notErased 2"), QStringLiteral("working 0"),
                           QStringLiteral("error 3851")}));

    KZRecordingDelegate second;
    paths.helper = sandbox.path(QStringLiteral("no/such/helper"));
    KZSecureAccess unreachable(&second, paths);
    unreachable.authorizedEraseWithDictionary(
        {{KZBatchKey::permissionsItems, QVariantList{item("q")}}});
    ASSERT_EQ(second.errors.size(), 1);
    EXPECT_EQ(second.notErased, 1u);
    EXPECT_TRUE(QFileInfo::exists(QString::fromLocal8Bit(files + "/q")));

    // A report of nothing new still makes a log line, and touches no total.
    KZRecordingDelegate third;
    KZSecureAccess direct(&third, paths);
    direct.itemsErased(0, 0, 42, "/x");
    EXPECT_EQ(third.calls, QStringList{QStringLiteral("log /x 42")});
}

} // namespace
