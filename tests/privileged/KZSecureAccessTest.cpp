#include "privileged/KZSecureAccess.h"
#include "KZRecordingDelegate.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "erase/KZScriptedAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "privileged/KZCommonHelper.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTest>
#include <QUrl>

#include <sys/stat.h>
#include <unistd.h>

namespace {

void writeScript(const QString &path, const QByteArray &body)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\n" + body + "\n");
    file.close();
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

TEST_F(SecureAccess, AHelperInstalledByCMakeIsUsedWithoutAQuestion)
{
    const QString prefix = sandbox.path(QStringLiteral("installed"));
    ASSERT_EQ(QProcess::execute(QStringLiteral("cmake"),
                                {QStringLiteral("--install"), QStringLiteral(BINWISE_BUILD_DIR),
                                 QStringLiteral("--prefix"), prefix}),
              0);
    paths.helper = prefix + QStringLiteral("/libexec/binwise/org.binwise.BinwiseHelper");
    KZSecureAccess access(nullptr, paths);
    EXPECT_TRUE(access.intallHelperAppIfNeeded());
    EXPECT_TRUE(script->shown().isEmpty());
    EXPECT_EQ(KZSecureAccess::helperVersion(), QStringLiteral("1.0.1"));
}

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

        KZRecordingDelegate delegate;
        KZSecureAccess access(&delegate, paths);
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
            ASSERT_TRUE(QTest::qWaitFor([&] { return delegate.finished; }, 20000));
            EXPECT_EQ(delegate.take(), row.batch);
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

    if (geteuid() != 0)
        GTEST_SKIP() << "needs root: the helper is started directly only by root";
    const QByteArray files = paths.dataHome + "/Trash/files";
    ASSERT_TRUE(KZTestFiles::makeFolders(files + "/folder/inner"));
    const QByteArray file = files + "/file", folder = files + "/folder";
    ASSERT_TRUE(KZTestFiles::writeFile(file, QByteArray(9000, 'x')));
    struct stat st = {};
    ASSERT_EQ(lstat(file.constData(), &st), 0);
    const quint64 size = quint64(st.st_blocks) * 512;

    access.authorizedEraseWithDictionary({{KZBatchKey::unlockItems, QVariantList{file}},
                                          {KZBatchKey::permissionsItems, QVariantList{folder}},
                                          {KZBatchKey::erasedCount, quint64(2)},
                                          {KZBatchKey::erasedSize, quint64(100)},
                                          {KZBatchKey::eraseSecurely, false}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000))
        << recorder.calls.join(u'\n').toStdString();
    EXPECT_EQ(
        recorder.take(),
        QStringLiteral("count 3,size %1,log %2 %3,count 5,size %1,log %4 0,notErased 0,working 0")
            .arg(QString::number(100 + size), QString::fromUtf8(file), QString::number(size),
                 QString::fromUtf8(folder))
            .toStdString());
    EXPECT_FALSE(KZTestFiles::exists(file) || KZTestFiles::exists(folder));

    // A stop is sent as YES whatever it is given: the next batch is left whole.
    const QByteArray kept = files + "/kept";
    ASSERT_TRUE(KZTestFiles::writeFile(kept, "content"));
    access.stoppedByUser(false);
    access.authorizedEraseWithDictionary({{KZBatchKey::permissionsItems, QVariantList{kept}}});
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder.finished; }, 20000));
    EXPECT_EQ(recorder.take(), "notErased 1,working 0");
    EXPECT_TRUE(KZTestFiles::exists(kept));
}

} // namespace
