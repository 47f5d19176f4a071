#pragma once

#include <QMutex>
#include <QObject>
#include <QSettings>
#include <QStringList>
#include <QVariantMap>

#include <memory>

// The settings store: values the user set, over a table of registered defaults, persisted in
// QSettings. Reads and writes are thread-safe; change signals are emitted on the writing thread.
class KZUserDefaults : public QObject
{
    Q_OBJECT

public:
    // Setting keys, exactly as stored.
    static inline const QString kEmptyTrash = QStringLiteral("emptyTrash");
    static inline const QString kSmartDelete = QStringLiteral("smartDelete");
    static inline const QString kNewsletterSubscribed = QStringLiteral("Newsletter Subscribed");
    static inline const QString kLaunchAtLogin = QStringLiteral("launchAtLogin");
    static inline const QString kIsFirstRun = QStringLiteral("Is first run");
    static inline const QString kAskUnistallOldBinwise = QStringLiteral("askUnistallOldBinwise");
    static inline const QString kWriteLog = QStringLiteral("writeLog");
    static inline const QString kHowManyDaysForNewLogFile
        = QStringLiteral("howManyDaysForNewLogFile");
    static inline const QString kShowAlert = QStringLiteral("showAlert");
    static inline const QString kDeleteLocked = QStringLiteral("deleteLocked");
    static inline const QString kShowSRMNotAvailable = QStringLiteral("showSRMNotAvailable");
    // Keys of a hot-key combination.
    static inline const QString kKeyCode = QStringLiteral("keyCode");
    static inline const QString kModifierFlags = QStringLiteral("modifierFlags");

    // The process-wide store over QSettings("Binwise", "Binwise"); registers nothing by itself.
    static KZUserDefaults &sharedControl();

    // settingsFile: an INI file to use instead of the user's configuration (tests, portable
    // builds); empty means QSettings("Binwise", "Binwise").
    explicit KZUserDefaults(const QString &settingsFile = {}, QObject *parent = nullptr);
    ~KZUserDefaults() override;

    // The defaults table, a new map on every call.
    [[nodiscard]] static QVariantMap defaultValues();
    // The keys the preferences' Restore returns to their defaults, in this order.
    [[nodiscard]] static QStringList restorableKeys();
    // Registers defaultValues() and makes its restorable part the initial values.
    void setupDefaultsPreferences();

    // Registered defaults answer for keys the user never set; they are never written out.
    void registerDefaults(const QVariantMap &defaults);
    [[nodiscard]] QVariantMap registeredDefaults() const;

    // The user's value, else the registered default, converted to the default's type (the
    // INI format keeps numbers and booleans as text). Invalid when neither exists.
    [[nodiscard]] QVariant value(const QString &key) const;
    [[nodiscard]] bool boolForKey(const QString &key) const { return value(key).toBool(); }
    [[nodiscard]] qint64 integerForKey(const QString &key) const { return value(key).toLongLong(); }
    [[nodiscard]] QVariantMap dictionaryForKey(const QString &key) const
    {
        return value(key).toMap();
    }
    // Whether the user has a value of their own for key.
    [[nodiscard]] bool hasUserValue(const QString &key) const;

    // Stores value and emits valueChanged when what value(key) answers changes. A null
    // QVariant removes the user's value.
    void setValue(const QString &key, const QVariant &value);
    void removeValue(const QString &key);

    // The values Restore returns to.
    [[nodiscard]] QVariantMap initialValues() const;
    void setInitialValues(const QVariantMap &values);
    // Sets every key of the initial values back to its initial value.
    void revertToInitialValues();

    // Writes pending changes to disk.
    void synchronize();
    [[nodiscard]] QString fileName() const;

    // Calls functor(value) on context's thread whenever key's value changes.
    template<typename Functor>
    QMetaObject::Connection observe(const QString &key, const QObject *context, Functor functor)
    {
        return connect(this, &KZUserDefaults::valueChanged, context,
                       [key, functor](const QString &changed, const QVariant &newValue) {
                           if (changed == key)
                               functor(newValue);
                       });
    }

Q_SIGNALS:
    void valueChanged(const QString &key, const QVariant &value);

private:
    QVariant valueLocked(const QString &key) const;

    mutable QMutex m_lock;
    std::unique_ptr<QSettings> m_settings;
    QVariantMap m_registered;
    QVariantMap m_initialValues;
};
