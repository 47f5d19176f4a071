#include "privileged/KZSecureAccess.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "erase/KZScriptedAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "privileged/KZCommonHelper.h"
#include "privileged/KZSecureAccessDelegate.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <iostream>
#include <string>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t kUser = 65534;
const QString kHelper = QStringLiteral("/prefix/libexec/binwise/org.binwise.BinwiseHelper");
const QString kItem = QStringLiteral("/data/Trash/files/root-owned folder");

// The erase engine's seat at the helper client: records every call, in order.
class KZRecordingDelegate : public KZSecureAccessDelegate
{
public:
    void setTotItemsDeleted(quint64 n) override { calls << QStringLiteral("count %1").arg(n); }
    void setTotSizeDeleted(quint64 n) override { calls << QStringLiteral("size %1").arg(n); }
    void writeLogEntryWithPath(const QByteArray &path, quint64 itemSize) override
    {
        calls << QStringLiteral("log %1 %2").arg(QString::fromUtf8(path)).arg(itemSize);
    }
    void setNotErasedCount(quint64 n) override { calls << QStringLiteral("notErased %1").arg(n); }
    void setIsWorking(bool working) override
    {
        calls << QStringLiteral("working %1").arg(working);
        finished = !working;
    }
    void showErrorWithError(const KZError &error) override
    {
        calls << QStringLiteral("error %1").arg(error.code);
        lastErrorText = error.localizedDescription;
    }

    // The calls so far, separated by commas; forgets them, and that the batch finished.
    std::string take()
    {
        finished = false;
        return std::exchange(calls, {}).join(u',').toStdString();
    }

    QStringList calls;
    QString lastErrorText;
    bool finished = false;
};

void writeScript(const QString &path, const QByteArray &body)
{
    ASSERT_TRUE(KZTestFiles::writeFile(QFile::encodeName(path), "#!/bin/sh\n" + body + "\n"));
    chmod(QFile::encodeName(path).constData(), 0755);
}

class SecureAccess : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sandbox.isValid());
        KZTUErrorDelegate::sharedControl().setBackend(script);
        KZSecureAccess::forgetHelperVersionForTest();
        paths.helper = sandbox.path(QStringLiteral("org.binwise.BinwiseHelper"));
        paths.actionsFolder = sandbox.path(QStringLiteral("actions"));
        paths.helperSource = QStringLiteral(BINWISE_HELPER_BINARY);
        paths.pkexec = sandbox.path(QStringLiteral("pkexec"));
        paths.elevate = false;
        paths.dataHome = sandbox.dataHome().toLocal8Bit();
    }

    void TearDown() override { KZTUErrorDelegate::sharedControl().setBackend(nullptr); }

    KZTestSandbox sandbox;
    std::shared_ptr<KZScriptedAlertBackend> script = std::make_shared<KZScriptedAlertBackend>();
    KZSecureAccess::Paths paths;
    KZRecordingDelegate recorder;
};

TEST_F(SecureAccess, AnyOtherHelperIsAskedAboutAndReplacedOnlyWhenAllowed)
{
    const struct
    {
        const char *helper; // the installed one's script; null: none, and nothing to install
        int pkexecExit;     // -1: installed without pkexec
        int answer;
        qint64 code;       // of authorizeTheAccess(); 0 for none
        QString error;     // shown after the question
        const char *batch; // the delegate's calls for a batch sent afterwards
    } cases[] = {
        {"exit 3", -1, KZAlertSecondButtonReturn, -60006, {}, nullptr}, // cancel: nothing said
        {nullptr, -1, KZAlertFirstButtonReturn, 4, QStringLiteral("not found"),
         "notErased 1,working 0,error 4099"},
        {"echo 1.0.0", 126, KZAlertFirstButtonReturn, -60006, {}, "notErased 1,working 0"},
        {"echo 1.0.0", 127, KZAlertFirstButtonReturn, -60005,
         KZLocalizedStringFromTable(QStringLiteral("userNotAuthorized"),
                                    KZLocalizedStrings::kErrorsTable),
         "notErased 1,working 0,error -60005"},
        {"echo 1.0.0", -1, KZAlertFirstButtonReturn, 0, {}, nullptr}, // installed
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << (row.helper ? row.helper : "none") << row.pkexecExit);
        const bool installs = row.code == 0;
        script->clear();
        script->answerAlways(QStringLiteral("update_helper_tool"),
                             KZScriptedAlertBackend::Answer(row.answer));
        KZSecureAccess::forgetHelperVersionForTest();
        QFile::remove(paths.helper);
        if (row.helper)
            writeScript(paths.helper, row.helper);
        paths.helperSource = row.helper ? QStringLiteral(BINWISE_HELPER_BINARY) : QString();
        paths.elevate = row.pkexecExit >= 0;
        writeScript(paths.pkexec, "exit " + QByteArray::number(row.pkexecExit));

        KZSecureAccess access(&recorder, paths);
        EXPECT_EQ(access.intallHelperAppIfNeeded(), installs);
        ASSERT_EQ(script->shown().size(), row.error.isEmpty() ? 1 : 2);
        EXPECT_EQ(script->shownIdentifiers().value(0), QStringLiteral("update_helper_tool"));
        EXPECT_TRUE(script->shown().last().request.messageText.contains(row.error));
        EXPECT_EQ(KZCommonHelper::definedActions(paths.actionsFolder).size(), installs ? 1 : 0);
        // Asked again, a replaced helper answers the version this application needs.
        KZSecureAccess::forgetHelperVersionForTest();
        EXPECT_EQ(access.isHelperNeedBeInstalled(nullptr), installs);
        EXPECT_EQ(access.authorizeTheAccess().value_or(KZError{}).code, row.code);
        if (row.batch) {
            access.authorizedEraseWithDictionary(
                {{KZBatchKey::permissionsItems, QVariantList{QByteArray("/b")}}});
            ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000));
            EXPECT_EQ(recorder.take(), row.batch);
        }
    }
}

TEST_F(SecureAccess, TheRealHelperReportsInOrderAndAStopAlwaysSaysYes)
{
    paths.helper = paths.helperSource;
    KZSecureAccess access(&recorder, paths);
    // A batch that cannot be serialized is not erased, and the helper is not even started.
    access.authorizedEraseWithDictionary(
        {{KZBatchKey::unlockItems, QVariantList{QUrl(QStringLiteral("file:///a"))}},
         {KZBatchKey::permissionsItems, QVariantList{QByteArray("/b")}}});
    EXPECT_FALSE(access.isConnected());
    EXPECT_EQ(recorder.take(), "notErased 2,working 0,error 3851");
    // Said in words the user can read: the presenter and the summary show this text.
    EXPECT_EQ(recorder.lastErrorText,
              QStringLiteral("The list of items could not be prepared for the helper tool."));

    if (geteuid() != 0)
        GTEST_SKIP() << "needs root: the helper is started directly only by root";
    const QByteArray files = paths.dataHome + "/Trash/files";
    ASSERT_TRUE(KZTestFiles::makeFolders(files + "/folder/inner"));
    const QByteArray file = files + "/file", folder = files + "/folder";
    ASSERT_TRUE(KZTestFiles::writeFile(file, {}));

    access.authorizedEraseWithDictionary({{KZBatchKey::unlockItems, QVariantList{file}},
                                          {KZBatchKey::permissionsItems, QVariantList{folder}},
                                          {KZBatchKey::erasedCount, quint64(2)},
                                          {KZBatchKey::erasedSize, quint64(100)},
                                          {KZBatchKey::eraseSecurely, false}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000)) << recorder.take();
    EXPECT_EQ(recorder.take(), "count 3,size 100,log " + file.toStdString()
                                   + " 0,count 5,size 100,log " + folder.toStdString()
                                   + " 0,notErased 0,working 0");
    EXPECT_FALSE(KZTestFiles::exists(file) || KZTestFiles::exists(folder));

    // A stop is sent as YES whatever it is given: the next batch is left whole.
    ASSERT_TRUE(KZTestFiles::writeFile(file, "content"));
    access.stoppedByUser(false);
    access.authorizedEraseWithDictionary({{KZBatchKey::permissionsItems, QVariantList{file}}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000));
    EXPECT_EQ(recorder.take(), "notErased 1,working 0");
    EXPECT_TRUE(KZTestFiles::exists(file));
}

// The real pkexec and polkitd: polkit-sandbox.sh starts a private bus and polkitd, with the
// installed policy and a rule that allows or denies the erase, and runs PolkitInner (the
// application, which prints what the erase reported) there as an unprivileged user.
TEST_F(SecureAccess, AnInstalledHelperIsUsedWithoutAQuestionAndPolkitDecidesTheErase)
{
    QTemporaryDir base;
    ASSERT_TRUE(base.isValid());
    // polkitd and the unprivileged client must reach into it.
    chmod(QFile::encodeName(base.path()).constData(), 0755);
    ASSERT_EQ(
        QProcess::execute(QStringLiteral("cmake"),
                          {QStringLiteral("--install"), QStringLiteral(BINWISE_BUILD_DIR),
                           QStringLiteral("--prefix"), base.filePath(QStringLiteral("prefix"))}),
        0);
    paths.helper = base.path() + kHelper;
    KZSecureAccess installed(nullptr, paths);
    EXPECT_TRUE(installed.intallHelperAppIfNeeded());
    EXPECT_TRUE(script->shown().isEmpty());

    struct stat pkexec = {};
    if (geteuid() != 0 || stat("/usr/bin/pkexec", &pkexec) != 0 || !(pkexec.st_mode & S_ISUID))
        GTEST_SKIP() << "needs root and a setuid pkexec (Debian package pkexec)";
    const QString item = base.path() + kItem;
    ASSERT_TRUE(KZTestFiles::makeFolders(QFile::encodeName(item + QStringLiteral("/inside"))));
    const QByteArray root = QFile::encodeName(base.path());
    for (const char *folder : {"/data", "/data/Trash", "/data/Trash/files"})
        ASSERT_EQ(chown((root + folder).constData(), kUser, kUser), 0);

    const auto run = [&](const QString &decision) {
        const QString rules = base.filePath(QStringLiteral("rules-") + decision);
        EXPECT_TRUE(KZTestFiles::makeFolders(QFile::encodeName(rules))
                    && KZTestFiles::writeFile(
                        QFile::encodeName(rules + QStringLiteral("/50-binwise-test.rules")),
                        "polkit.addRule(function(action) { if (action.id == "
                        "\"org.binwise.Binwise.eraseAuthorized\") return polkit.Result."
                            + decision.toLatin1() + "; });\n"));
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("BINWISE_POLKIT_BASE"), base.path());
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral("unshare"),
                      {QStringLiteral("--mount"), QStringLiteral("--propagation"),
                       QStringLiteral("private"), QStringLiteral(BINWISE_POLKIT_SANDBOX),
                       base.filePath(QStringLiteral("work-") + decision),
                       base.filePath(QStringLiteral("prefix/share/polkit-1/actions")), rules,
                       QString::number(kUser), QStringLiteral("--"),
                       QCoreApplication::applicationFilePath(),
                       QStringLiteral("--gtest_filter=PolkitInner.*")});
        process.waitForFinished(180000);
        return std::make_pair(process.exitCode(), QString::fromUtf8(process.readAll()));
    };

    const auto [denied, deniedLog] = run(QStringLiteral("NO"));
    if (denied == 77)
        GTEST_SKIP() << "the private bus and polkitd could not be started here: "
                     << deniedLog.toStdString();
    EXPECT_TRUE(deniedLog.contains(QStringLiteral("calls: notErased 1,working 0,error -60005\n")))
        << deniedLog.toStdString();
    EXPECT_TRUE(QFileInfo::exists(item + QStringLiteral("/inside")));

    const auto [allowed, allowedLog] = run(QStringLiteral("YES"));
    EXPECT_TRUE(allowedLog.contains(QStringLiteral(",log ") + item + u' ')
                && allowedLog.contains(QStringLiteral(",notErased 0,working 0\n")))
        << allowedLog.toStdString();
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
    paths.dataHome = QFile::encodeName(base + QStringLiteral("/data"));
    KZRecordingDelegate recorder;
    KZSecureAccess access(&recorder, paths);
    access.authorizedEraseWithDictionary(
        {{KZBatchKey::permissionsItems, QVariantList{QFile::encodeName(base + kItem)}}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 60000));
    std::cout << "calls: " << recorder.take() << std::endl;
}

} // namespace
