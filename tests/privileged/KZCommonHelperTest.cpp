#include "privileged/KZCommonHelper.h"
#include "privileged/KZHelperMessage.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QUrl>
#include <QXmlStreamReader>

namespace {

const QString kRight = QStringLiteral("org.binwise.Binwise.eraseAuthorized");

QString textOf(const QByteArray &policy, const QString &element, const QString &key = {})
{
    QXmlStreamReader xml(policy);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != element)
            continue;
        if (key.isEmpty() || xml.attributes().value(QStringLiteral("key")) == key)
            return xml.readElementText();
    }
    return {};
}

} // namespace

TEST(CommonHelper, TheEraseCommandRunsUnderItsOwnRight)
{
    const QVariantMap entry
        = KZCommonHelper::commandInfo().value(KZCommonHelper::kEraseCommand).toMap();
    EXPECT_EQ(entry.value(KZCommonHelper::kAuthRightName).toString(), kRight);
    EXPECT_EQ(entry.value(KZCommonHelper::kAuthRightDefault).toString(),
              QStringLiteral("auth_admin"));
    EXPECT_EQ(entry.value(KZCommonHelper::kAuthRightDescription).toString(),
              QStringLiteral("Binwise is trying to erase with root authorization."));
    EXPECT_EQ(KZCommonHelper::authorizationRightForCommand(KZCommonHelper::kEraseCommand), kRight);
    EXPECT_TRUE(KZCommonHelper::authorizationRightForCommand(QStringLiteral("getVersionWithReply:"))
                    .isNull());

    int calls = 0;
    KZCommonHelper::enumerateRightsUsingBlock(
        [&](const QString &name, const QVariant &rule, const QString &description) {
            ++calls;
            EXPECT_EQ(name, kRight);
            EXPECT_EQ(rule.toString(), QStringLiteral("auth_admin"));
            EXPECT_FALSE(description.isEmpty());
        });
    EXPECT_EQ(calls, 1);
}

TEST(CommonHelperDeathTest, AMalformedTableEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto ignore = [](const QString &, const QVariant &, const QString &) {
    };
    const QVariantMap notAMap{{QStringLiteral("cmd"), QStringLiteral("text")}};
    EXPECT_DEATH(KZCommonHelper::enumerateRightsUsingBlock(notAMap, ignore), "commandDict");
    const QVariantMap noDefault{
        {QStringLiteral("cmd"), QVariantMap{{KZCommonHelper::kAuthRightName, kRight},
                                            {KZCommonHelper::kAuthRightDescription, kRight}}}};
    EXPECT_DEATH(KZCommonHelper::enumerateRightsUsingBlock(noDefault, ignore), "authRightDefault");
    EXPECT_DEATH((void)KZCommonHelper::setupAuthorizationRights(QString(), QStringLiteral("/x")),
                 "authRef");
}

TEST(CommonHelper, RightsAreDefinedOnlyWhereNoPolicyDefinesThemYet)
{
    QTemporaryDir actions;
    const QString helper = QStringLiteral("/opt/b&w/libexec/org.binwise.BinwiseHelper");
    const QByteArray policy = KZCommonHelper::setupAuthorizationRights(actions.path(), helper);
    ASSERT_FALSE(policy.isEmpty());
    QXmlStreamReader check(policy);
    while (!check.atEnd())
        check.readNext();
    EXPECT_FALSE(check.hasError()) << check.errorString().toStdString();
    EXPECT_EQ(textOf(policy, QStringLiteral("annotate"),
                     QStringLiteral("org.freedesktop.policykit.exec.path")),
              helper);
    for (const char *kind : {"allow_any", "allow_inactive", "allow_active"})
        EXPECT_EQ(textOf(policy, QLatin1String(kind)), QStringLiteral("auth_admin")) << kind;
    EXPECT_EQ(textOf(policy, QStringLiteral("description")),
              QStringLiteral("Binwise is trying to erase with root authorization."));

    // An administrator's own definition, with another rule, is left alone.
    QFile existing(actions.filePath(QStringLiteral("local.policy")));
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
    existing.write(QByteArray(policy).replace("auth_admin", "yes"));
    existing.close();
    EXPECT_EQ(KZCommonHelper::definedActions(actions.path()), QStringList{kRight});
    EXPECT_TRUE(KZCommonHelper::setupAuthorizationRights(actions.path(), helper).isEmpty());
}

TEST(HelperMessage, BatchesRoundTripByteExactAndForeignTypesAreRefused)
{
    const QByteArray odd("/t/files/caf\xe9\nname", 18);
    const QVariantMap batch{
        {QStringLiteral("unlockItems"), QVariantList{odd}},
        {QStringLiteral("erasedSize"), quint64(1) << 40},
        {QStringLiteral("erasedCount"), 3u},
        {QStringLiteral("eraseSecurely"), true},
        {QStringLiteral("code"), qint64(-60005)},
    };
    KZError error;
    const QByteArray frame = KZHelperMessage::encode(batch, &error);
    ASSERT_FALSE(frame.isEmpty());

    // Fed in two halves, the reader waits for the rest, then yields the same values.
    KZHelperMessage::Reader reader;
    QVariantMap back;
    QString why;
    reader.append(frame.left(7));
    EXPECT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::NeedMore);
    reader.append(frame.mid(7) + frame);
    ASSERT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::Message);
    EXPECT_EQ(back.value(QStringLiteral("unlockItems")).toList().value(0).toByteArray(), odd);
    EXPECT_EQ(back.value(QStringLiteral("erasedSize")).toULongLong(), quint64(1) << 40);
    EXPECT_EQ(back.value(QStringLiteral("code")).toLongLong(), -60005);
    EXPECT_TRUE(back.value(QStringLiteral("eraseSecurely")).toBool());
    EXPECT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::Message);
    EXPECT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::NeedMore);
    reader.append(QByteArray("\x00\x00\x00\x01\xff", 5));
    EXPECT_EQ(reader.next(&back, &why), KZHelperMessage::Reader::Status::Broken);

    // A URL is not something the channel carries: the whole message is refused.
    const QVariantMap withUrl{
        {QStringLiteral("unlockItems"), QVariantList{QUrl(QStringLiteral("file:///x"))}}};
    EXPECT_TRUE(KZHelperMessage::encode(withUrl, &error).isEmpty());
    EXPECT_EQ(error.domain, KZError::kCocoaDomain);
    EXPECT_EQ(error.code, 3851);
}
