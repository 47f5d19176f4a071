#include "app/KZUserDefaults.h"

#include "KZTestSandbox.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSignalSpy>

namespace {

class UserDefaults : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sandbox.isValid());
        defaults = std::make_unique<KZUserDefaults>(file);
        defaults->setupDefaultsPreferences();
    }

    KZTestSandbox sandbox;
    const QString file = sandbox.path(QStringLiteral("Binwise.conf"));
    std::unique_ptr<KZUserDefaults> defaults;
};

QVariantMap hotKey(uint key, Qt::KeyboardModifiers modifiers)
{
    return {{KZUserDefaults::kKeyCode, QVariant::fromValue(key)},
            {KZUserDefaults::kModifierFlags, QVariant::fromValue(uint(modifiers.toInt()))}};
}

} // namespace

TEST_F(UserDefaults, RegisteredTableAnswersWithItsTypes)
{
    using D = KZUserDefaults;
    EXPECT_EQ(D::defaultValues().size(), 11);
    EXPECT_EQ(defaults->value(D::kEmptyTrash).toMap(),
              hotKey(Qt::Key_Backspace, Qt::MetaModifier | Qt::ControlModifier));
    EXPECT_EQ(defaults->value(D::kSmartDelete).toMap(),
              hotKey(Qt::Key_S, Qt::MetaModifier | Qt::ShiftModifier));
    EXPECT_FALSE(defaults->boolForKey(D::kNewsletterSubscribed));
    EXPECT_FALSE(defaults->boolForKey(D::kLaunchAtLogin));
    EXPECT_TRUE(defaults->boolForKey(D::kIsFirstRun));
    EXPECT_TRUE(defaults->boolForKey(D::kAskUnistallOldBinwise));
    EXPECT_TRUE(defaults->boolForKey(D::kWriteLog));
    EXPECT_TRUE(defaults->boolForKey(D::kShowAlert));
    EXPECT_FALSE(defaults->boolForKey(D::kDeleteLocked));
    EXPECT_TRUE(defaults->boolForKey(D::kShowSRMNotAvailable));
    const QVariant days = defaults->value(D::kHowManyDaysForNewLogFile);
    EXPECT_EQ(days.metaType(), QMetaType::fromType<qint16>());
    EXPECT_EQ(days.value<qint16>(), 7);
    EXPECT_FALSE(defaults->value(QStringLiteral("noSuchKey")).isValid());
    // Registration alone writes nothing to the user's file.
    EXPECT_FALSE(defaults->hasUserValue(D::kShowAlert));
}

TEST_F(UserDefaults, StoredValuesComeBackInTheDefaultsTypes)
{
    using D = KZUserDefaults;
    defaults->setValue(D::kHowManyDaysForNewLogFile, 30);
    defaults->setValue(D::kShowAlert, false);
    defaults->setValue(D::kEmptyTrash, hotKey(Qt::Key_E, Qt::AltModifier));
    defaults->synchronize();

    KZUserDefaults reread(file);
    reread.setupDefaultsPreferences();
    const QVariant days = reread.value(D::kHowManyDaysForNewLogFile);
    EXPECT_EQ(days.metaType(), QMetaType::fromType<qint16>());
    EXPECT_EQ(days.value<qint16>(), 30);
    const QVariant showAlert = reread.value(D::kShowAlert);
    EXPECT_EQ(showAlert.metaType(), QMetaType::fromType<bool>());
    EXPECT_FALSE(showAlert.toBool());
    EXPECT_EQ(reread.dictionaryForKey(D::kEmptyTrash), hotKey(Qt::Key_E, Qt::AltModifier));
}

TEST_F(UserDefaults, ObserversHearOnlyRealChangesOfTheirKey)
{
    using D = KZUserDefaults;
    QObject context;
    QList<QVariant> heard;
    defaults->observe(D::kEmptyTrash, &context, [&](const QVariant &v) { heard.append(v); });
    QSignalSpy spy(defaults.get(), &KZUserDefaults::valueChanged);

    defaults->setValue(D::kSmartDelete, hotKey(Qt::Key_D, Qt::MetaModifier));
    defaults->setValue(D::kEmptyTrash, D::defaultValues().value(D::kEmptyTrash)); // no change
    defaults->setValue(D::kEmptyTrash, hotKey(Qt::Key_E, Qt::ControlModifier));
    defaults->removeValue(D::kEmptyTrash); // back to the default: a change

    ASSERT_EQ(heard.size(), 2);
    EXPECT_EQ(heard.at(0).toMap(), hotKey(Qt::Key_E, Qt::ControlModifier));
    EXPECT_EQ(heard.at(1).toMap(), D::defaultValues().value(D::kEmptyTrash).toMap());
    EXPECT_EQ(spy.count(), 3);
}

TEST_F(UserDefaults, RestoreReturnsTheEightKeysAndLeavesTheRecordsOfWhatHappened)
{
    using D = KZUserDefaults;
    EXPECT_EQ(D::restorableKeys(),
              (QStringList{D::kEmptyTrash, D::kSmartDelete, D::kLaunchAtLogin, D::kWriteLog,
                           D::kHowManyDaysForNewLogFile, D::kShowAlert, D::kDeleteLocked,
                           D::kAskUnistallOldBinwise}));
    EXPECT_EQ(defaults->initialValues().keys().size(), 8);

    // Set every key away from its default.
    defaults->setValue(D::kEmptyTrash, QVariantMap());
    defaults->setValue(D::kSmartDelete, hotKey(Qt::Key_Z, Qt::AltModifier));
    defaults->setValue(D::kLaunchAtLogin, true);
    defaults->setValue(D::kWriteLog, false);
    defaults->setValue(D::kHowManyDaysForNewLogFile, 1);
    defaults->setValue(D::kShowAlert, false);
    defaults->setValue(D::kDeleteLocked, true);
    defaults->setValue(D::kAskUnistallOldBinwise, false);
    defaults->setValue(D::kIsFirstRun, false);
    defaults->setValue(D::kNewsletterSubscribed, true);
    defaults->setValue(D::kShowSRMNotAvailable, false);

    defaults->revertToInitialValues();

    const QVariantMap table = D::defaultValues();
    for (const QString &key : D::restorableKeys())
        EXPECT_EQ(defaults->value(key), table.value(key)) << key.toStdString();
    EXPECT_FALSE(defaults->boolForKey(D::kIsFirstRun));
    EXPECT_TRUE(defaults->boolForKey(D::kNewsletterSubscribed));
    EXPECT_FALSE(defaults->boolForKey(D::kShowSRMNotAvailable));
}

TEST_F(UserDefaults, DefaultValuesIsAFreshMapEachCall)
{
    QVariantMap first = KZUserDefaults::defaultValues();
    first.insert(KZUserDefaults::kShowAlert, false);
    EXPECT_TRUE(KZUserDefaults::defaultValues().value(KZUserDefaults::kShowAlert).toBool());
}

TEST(UserDefaultsShared, LivesInTheTestSandboxNotTheUsersConfiguration)
{
    // The test main points HOME and the XDG folders into its own temporary folder before
    // anything runs.
    const QString file = KZUserDefaults::sharedControl().fileName();
    const QString home = QString::fromLocal8Bit(qgetenv("HOME"));
    EXPECT_TRUE(home.startsWith(QDir::tempPath() + QStringLiteral("/binwise-test-")))
        << home.toStdString();
    EXPECT_TRUE(file.startsWith(home + QLatin1Char('/'))) << file.toStdString();
    EXPECT_TRUE(file.endsWith(QStringLiteral("/Binwise/Binwise.conf"))) << file.toStdString();
}
