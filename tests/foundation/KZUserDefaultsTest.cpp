#include "foundation/KZUserDefaults.h"

#include "KZTestSandbox.h"
#include "KZTestTrash.h"

#include <gtest/gtest.h>

#include <QFile>

namespace {

using D = KZUserDefaults;

class UserDefaults : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sandbox.isValid());
        defaults.setupDefaultsPreferences();
    }

    KZTestSandbox sandbox;
    KZUserDefaults defaults{sandbox.path(QStringLiteral("Binwise.conf"))};
};

QVariantMap hotKey(uint key, Qt::KeyboardModifiers modifiers)
{
    return {{D::kKeyCode, QVariant::fromValue(key)},
            {D::kModifierFlags, QVariant::fromValue(uint(modifiers.toInt()))}};
}

} // namespace

TEST_F(UserDefaults, RegisteredDefaultsAnswerInTheirTypes)
{
    // Hot keys are maps, the log's age is a qint16; the rest are switches, on except the
    // newsletter, launching at login and erasing locked items.
    const QVariantMap expected
        = {{D::kEmptyTrash, hotKey(Qt::Key_Backspace, Qt::MetaModifier | Qt::ControlModifier)},
           {D::kSmartDelete, hotKey(Qt::Key_S, Qt::MetaModifier | Qt::ShiftModifier)},
           {D::kHowManyDaysForNewLogFile, QVariant::fromValue(qint16(7))}};
    const QStringList off = {D::kNewsletterSubscribed, D::kLaunchAtLogin, D::kDeleteLocked};
    const QVariantMap table = D::defaultValues();
    EXPECT_EQ(table.size(), 11);
    for (const QString &key : table.keys()) {
        const QVariant value = expected.value(key, !off.contains(key));
        EXPECT_EQ(defaults.value(key).metaType(), value.metaType()) << key.toStdString();
        EXPECT_EQ(defaults.value(key), value) << key.toStdString();
    }

    // Stored values come back in the defaults' types, though the INI format keeps them as text
    // (a file this process wrote would come back from QSettings' cache, types and all).
    const QString written = sandbox.path(QStringLiteral("Written.conf"));
    ASSERT_TRUE(KZTestFiles::writeFile(
        QFile::encodeName(written), "[General]\nhowManyDaysForNewLogFile=30\nshowAlert=false\n"));
    KZUserDefaults reread(written);
    reread.setupDefaultsPreferences();
    const QVariant days = reread.value(D::kHowManyDaysForNewLogFile);
    EXPECT_EQ(days.metaType(), QMetaType::fromType<qint16>());
    EXPECT_EQ(days.value<qint16>(), 30);
    EXPECT_EQ(reread.value(D::kShowAlert), QVariant(false));
}

TEST_F(UserDefaults, ObserversHearOnlyRealChangesOfTheirKey)
{
    QObject context;
    QVariantList heard;
    defaults.observe(D::kEmptyTrash, &context, [&](const QVariant &value) { heard << value; });

    defaults.setValue(D::kSmartDelete, hotKey(Qt::Key_D, Qt::MetaModifier));
    defaults.setValue(D::kEmptyTrash, D::defaultValues().value(D::kEmptyTrash)); // no change
    defaults.setValue(D::kEmptyTrash, hotKey(Qt::Key_E, Qt::ControlModifier));
    defaults.removeValue(D::kEmptyTrash); // back to the default: a change
    EXPECT_EQ(heard, QVariantList({hotKey(Qt::Key_E, Qt::ControlModifier),
                                   D::defaultValues().value(D::kEmptyTrash)}));
}

TEST_F(UserDefaults, RestoreReturnsTheEightKeysAndLeavesTheRecordsOfWhatHappened)
{
    EXPECT_EQ(D::restorableKeys(),
              QStringList({D::kEmptyTrash, D::kSmartDelete, D::kLaunchAtLogin, D::kWriteLog,
                           D::kHowManyDaysForNewLogFile, D::kShowAlert, D::kDeleteLocked,
                           D::kAskUnistallOldBinwise}));
    // Every key away from its default, then Restore.
    const QVariantMap table = D::defaultValues();
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        const QVariant other = it->typeId() == QMetaType::Bool ? QVariant(!it->toBool())
                               : it->typeId() == QMetaType::QVariantMap
                                   ? QVariant(hotKey(Qt::Key_Z, Qt::AltModifier))
                                   : QVariant(1);
        defaults.setValue(it.key(), other);
    }
    defaults.revertToInitialValues();
    for (auto it = table.cbegin(); it != table.cend(); ++it)
        EXPECT_EQ(defaults.value(it.key()) == *it, D::restorableKeys().contains(it.key()))
            << it.key().toStdString();
}
