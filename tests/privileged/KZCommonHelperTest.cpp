#include "privileged/KZCommonHelper.h"
#include "KZTestTrash.h"
#include "privileged/KZHelperMessage.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

static const QString kRight = QStringLiteral("org.binwise.Binwise.eraseAuthorized");

TEST(CommonHelperDeathTest, AMalformedTableEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const QVariantMap noDefault{
        {QStringLiteral("cmd"), QVariantMap{{KZCommonHelper::kAuthRightName, kRight}}}};
    EXPECT_DEATH(KZCommonHelper::enumerateRightsUsingBlock(
                     noDefault, [](const QString &, const QVariant &, const QString &) {}),
                 "authRightDefault");
}

TEST(CommonHelper, OnlyEraseAsksForAnAdministratorAndOnlyWhereNoPolicyDefinesItYet)
{
    EXPECT_EQ(KZCommonHelper::authorizationRightForCommand(KZCommonHelper::kEraseCommand), kRight);
    EXPECT_TRUE(KZCommonHelper::authorizationRightForCommand(QStringLiteral("getVersionWithReply:"))
                    .isNull());
    QTemporaryDir actions;
    const QByteArray policy = KZCommonHelper::setupAuthorizationRights(
        actions.path(), QStringLiteral("/opt/b&w/libexec/org.binwise.BinwiseHelper"));
    EXPECT_TRUE(policy.contains("exec.path\">/opt/b&amp;w/libexec/org.binwise.BinwiseHelper<"));
    EXPECT_EQ(policy.count("auth_admin</allow_"), 3); // any, inactive and active sessions
    EXPECT_EQ(policy.count("<action "), 1);

    // An administrator's own definition, with another rule, is left alone.
    ASSERT_TRUE(
        KZTestFiles::writeFile(QFile::encodeName(actions.filePath(QStringLiteral("local.policy"))),
                               QByteArray(policy).replace("auth_admin", "yes")));
    EXPECT_EQ(KZCommonHelper::definedActions(actions.path()), QStringList{kRight});
    EXPECT_TRUE(
        KZCommonHelper::setupAuthorizationRights(actions.path(), QStringLiteral("/h")).isEmpty());
}

TEST(HelperMessage, TheReaderWaitsForWholeFramesAndStopsAtABrokenOne)
{
    const QByteArray path("/t/files/caf\xe9\nname", 18);
    const QByteArray frame = KZHelperMessage::encode(
        {{QStringLiteral("itemPath"), path}, {QStringLiteral("code"), qint64(-60005)}});
    KZHelperMessage::Reader reader;
    QVariantMap back;
    QString why;
    for (qsizetype i = 0; i + 1 < frame.size(); ++i) { // byte by byte, all but the last
        reader.append(frame.mid(i, 1));
        EXPECT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::NeedMore) << i;
    }
    reader.append(frame.right(1) + QByteArray("\x00\x00\x00\x01\xff", 5));
    ASSERT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::Message);
    EXPECT_EQ(back.value(QStringLiteral("itemPath")).toByteArray(), path);
    EXPECT_EQ(back.value(QStringLiteral("code")).toLongLong(), -60005);
    EXPECT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::Broken);
}
