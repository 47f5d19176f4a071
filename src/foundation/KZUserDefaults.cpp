#include "KZUserDefaults.h"

#include <QMutexLocker>

namespace {

QVariantMap hotKey(uint keyCode, uint modifierFlags)
{
    return {{KZUserDefaults::kKeyCode, QVariant::fromValue(keyCode)},
            {KZUserDefaults::kModifierFlags, QVariant::fromValue(modifierFlags)}};
}

// A stored value in the registered default's type. INI files hand numbers and booleans back
// as strings; maps come back as maps.
QVariant coerced(const QVariant &stored, const QVariant &registered)
{
    if (!registered.isValid() || !stored.isValid() || stored.metaType() == registered.metaType())
        return stored;
    QVariant converted = stored;
    if (converted.convert(registered.metaType()))
        return converted;
    return registered;
}

} // namespace

KZUserDefaults &KZUserDefaults::sharedControl()
{
    static KZUserDefaults shared;
    return shared;
}

KZUserDefaults::KZUserDefaults(const QString &settingsFile, QObject *parent)
    : QObject(parent)
    , m_settings(
          settingsFile.isEmpty()
              ? std::make_unique<QSettings>(QStringLiteral("Binwise"), QStringLiteral("Binwise"))
              : std::make_unique<QSettings>(settingsFile, QSettings::IniFormat))
{}

KZUserDefaults::~KZUserDefaults() = default;

QVariantMap KZUserDefaults::defaultValues()
{
    // Hot keys hold Qt key codes and keyboard modifiers; Command is Meta on Linux desktops.
    return {
        {kEmptyTrash,
         hotKey(Qt::Key_Backspace, uint((Qt::MetaModifier | Qt::ControlModifier).toInt()))},
        {kSmartDelete, hotKey(Qt::Key_S, uint((Qt::MetaModifier | Qt::ShiftModifier).toInt()))},
        {kNewsletterSubscribed, false},
        {kLaunchAtLogin, false},
        {kIsFirstRun, true},
        {kAskUnistallOldBinwise, true},
        {kWriteLog, true},
        {kHowManyDaysForNewLogFile, QVariant::fromValue(qint16(7))},
        {kShowAlert, true},
        {kDeleteLocked, false},
        {kShowSRMNotAvailable, true},
    };
}

QStringList KZUserDefaults::restorableKeys()
{
    // "Is first run", "Newsletter Subscribed" and "showSRMNotAvailable" record what happened
    // rather than what the user prefers, so Restore leaves them alone.
    return {kEmptyTrash, kSmartDelete,  kLaunchAtLogin,        kWriteLog, kHowManyDaysForNewLogFile,
            kShowAlert,  kDeleteLocked, kAskUnistallOldBinwise};
}

void KZUserDefaults::setupDefaultsPreferences()
{
    const QVariantMap defaults = defaultValues();
    registerDefaults(defaults);
    QVariantMap initial;
    for (const QString &key : restorableKeys())
        initial.insert(key, defaults.value(key));
    setInitialValues(initial);
}

void KZUserDefaults::registerDefaults(const QVariantMap &defaults)
{
    QMutexLocker locker(&m_lock);
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        m_registered.insert(it.key(), it.value());
}

QVariantMap KZUserDefaults::registeredDefaults() const
{
    QMutexLocker locker(&m_lock);
    return m_registered;
}

QVariant KZUserDefaults::valueLocked(const QString &key) const
{
    const QVariant registered = m_registered.value(key);
    if (!m_settings->contains(key))
        return registered;
    return coerced(m_settings->value(key), registered);
}

QVariant KZUserDefaults::value(const QString &key) const
{
    QMutexLocker locker(&m_lock);
    return valueLocked(key);
}

bool KZUserDefaults::hasUserValue(const QString &key) const
{
    QMutexLocker locker(&m_lock);
    return m_settings->contains(key);
}

void KZUserDefaults::setValue(const QString &key, const QVariant &newValue)
{
    QVariant before;
    QVariant after;
    {
        QMutexLocker locker(&m_lock);
        before = valueLocked(key);
        if (newValue.isNull())
            m_settings->remove(key);
        else
            m_settings->setValue(key, newValue);
        after = valueLocked(key);
    }
    if (before != after)
        Q_EMIT valueChanged(key, after);
}

void KZUserDefaults::removeValue(const QString &key)
{
    setValue(key, QVariant());
}

QVariantMap KZUserDefaults::initialValues() const
{
    QMutexLocker locker(&m_lock);
    return m_initialValues;
}

void KZUserDefaults::setInitialValues(const QVariantMap &values)
{
    QMutexLocker locker(&m_lock);
    m_initialValues = values;
}

void KZUserDefaults::revertToInitialValues()
{
    const QVariantMap initial = initialValues();
    for (auto it = initial.cbegin(); it != initial.cend(); ++it)
        setValue(it.key(), it.value());
}

void KZUserDefaults::synchronize()
{
    QMutexLocker locker(&m_lock);
    m_settings->sync();
}

QString KZUserDefaults::fileName() const
{
    QMutexLocker locker(&m_lock);
    return m_settings->fileName();
}
