#include "KZBWPreferencesWindow.h"

#include "KZHotKeyRecorder.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "foundation/KZNotificationCenter.h"
#include "foundation/KZUserDefaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {
QString text(const char *key)
{
    return KZLocalizedString(QLatin1String(key));
}
} // namespace

KZBWPreferencesWindow::KZBWPreferencesWindow(Environment environment, QWidget *parent)
    : QDialog(parent)
    , m_environment(std::move(environment))
{
    setObjectName(QStringLiteral("preferencesWindow"));
    setWindowTitle(text("pref_window_title"));

    auto *hotKeys = new QGroupBox(text("pref_hot_keys"), this);
    auto *hotKeysForm = new QFormLayout(hotKeys);
    hotKeysForm->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    m_etHotKeyFld = new KZHotKeyRecorder(hotKeys);
    m_etHotKeyFld->setObjectName(QStringLiteral("etHotKeyFld"));
    m_smHotKeyFld = new KZHotKeyRecorder(hotKeys);
    m_smHotKeyFld->setObjectName(QStringLiteral("smHotKeyFld"));
    hotKeysForm->addRow(text("pref_empty_trash_key"), m_etHotKeyFld);
    hotKeysForm->addRow(text("pref_smart_delete_key"), m_smHotKeyFld);
    m_hotKeysNote = new QLabel(hotKeys);
    m_hotKeysNote->setObjectName(QStringLiteral("hotKeysNote"));
    m_hotKeysNote->setWordWrap(true);
    m_hotKeysNote->setForegroundRole(QPalette::PlaceholderText);
    m_hotKeysNote->setText(m_environment.hotKeys.available
                               ? text("pref_hot_keys_note")
                               : KZLocalizedFormat(QStringLiteral("pref_hot_keys_off"),
                                                   {m_environment.hotKeys.reason}));
    hotKeysForm->addRow(m_hotKeysNote);

    auto *general = new QGroupBox(text("pref_general"), this);
    auto *generalLayout = new QVBoxLayout(general);
    m_launchCheckBtn = new QCheckBox(text("pref_launch_at_login"), general);
    m_launchCheckBtn->setObjectName(QStringLiteral("launchCheckBtn"));
    m_showAlertCheckBtn = new QCheckBox(text("pref_show_alert"), general);
    m_showAlertCheckBtn->setObjectName(QStringLiteral("showAlertCheckBtn"));
    m_deletelockedCheckBtn = new QCheckBox(text("pref_delete_locked"), general);
    m_deletelockedCheckBtn->setObjectName(QStringLiteral("deletelockedCheckBtn"));
    m_createLogCheckBtn = new QCheckBox(text("pref_write_log"), general);
    m_createLogCheckBtn->setObjectName(QStringLiteral("createLogCheckBtn"));
    m_createLogPopup = new QComboBox(general);
    m_createLogPopup->setObjectName(QStringLiteral("createLogPopup"));
    for (const int days : kLogRenewalDays)
        m_createLogPopup->addItem(
            days == 1 ? text("pref_log_day")
                      : KZLocalizedFormat(QStringLiteral("pref_log_days"), {QString::number(days)}),
            days);
    auto *logRow = new QHBoxLayout;
    auto *logLabel = new QLabel(text("pref_new_log_every"), general);
    logLabel->setBuddy(m_createLogPopup);
    // The period belongs to the log: indented under its box.
    logRow->addSpacing(24);
    logRow->addWidget(logLabel);
    logRow->addWidget(m_createLogPopup);
    logRow->addStretch();
    generalLayout->addWidget(m_launchCheckBtn);
    generalLayout->addWidget(m_showAlertCheckBtn);
    generalLayout->addWidget(m_deletelockedCheckBtn);
    generalLayout->addWidget(m_createLogCheckBtn);
    generalLayout->addLayout(logRow);

    m_checkUpdatesMenuItem = new QPushButton(text("pref_check_updates"), this);
    m_checkUpdatesMenuItem->setObjectName(QStringLiteral("checkUpdatesMenuItem"));
    m_checkUpdatesMenuItem->setAutoDefault(false);
    m_restoreBtn = new QPushButton(text("pref_restore"), this);
    m_restoreBtn->setObjectName(QStringLiteral("restoreBtn"));
    m_restoreBtn->setAutoDefault(false);
    m_doneBtn = new QPushButton(text("pref_done"), this);
    m_doneBtn->setObjectName(QStringLiteral("doneBtn"));
    m_doneBtn->setDefault(true);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_checkUpdatesMenuItem);
    buttons->addStretch();
    buttons->addWidget(m_restoreBtn);
    buttons->addWidget(m_doneBtn);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(hotKeys);
    layout->addWidget(general);
    layout->addStretch();
    layout->addLayout(buttons);
    setMinimumWidth(440);

    bindRecorder(m_etHotKeyFld, KZUserDefaults::kEmptyTrash);
    bindRecorder(m_smHotKeyFld, KZUserDefaults::kSmartDelete);
    bindCheckBox(m_launchCheckBtn, KZUserDefaults::kLaunchAtLogin);
    bindCheckBox(m_showAlertCheckBtn, KZUserDefaults::kShowAlert);
    bindCheckBox(m_deletelockedCheckBtn, KZUserDefaults::kDeleteLocked);
    bindCheckBox(m_createLogCheckBtn, KZUserDefaults::kWriteLog);
    bindLogPopup();

    connect(m_doneBtn, &QPushButton::clicked, this, &KZBWPreferencesWindow::doneAction);
    connect(m_restoreBtn, &QPushButton::clicked, this, &KZBWPreferencesWindow::restoreAction);
    connect(m_checkUpdatesMenuItem, &QPushButton::clicked, this,
            &KZBWPreferencesWindow::checkForUpdates);
}

KZBWPreferencesWindow::~KZBWPreferencesWindow()
{
    // Hiding the window as it goes takes the focus from a recorder, which then announces its
    // sequence again: nothing of this half-destroyed window may answer that.
    for (KZHotKeyRecorder *recorder : findChildren<KZHotKeyRecorder *>())
        recorder->disconnect(this);
}

KZUserDefaults &KZBWPreferencesWindow::userDefaults() const
{
    return m_environment.userDefaults ? *m_environment.userDefaults
                                      : KZUserDefaults::sharedControl();
}

void KZBWPreferencesWindow::bindCheckBox(QCheckBox *box, const QString &key)
{
    box->setChecked(userDefaults().boolForKey(key));
    connect(box, &QCheckBox::toggled, this,
            [this, key](bool on) { userDefaults().setValue(key, on); });
    userDefaults().observe(key, box, [box](const QVariant &value) {
        const QSignalBlocker blocker(box);
        box->setChecked(value.toBool());
    });
}

void KZBWPreferencesWindow::bindRecorder(KZHotKeyRecorder *recorder, const QString &key)
{
    recorder->setObjectValue(userDefaults().dictionaryForKey(key));
    connect(recorder, &KZHotKeyRecorder::objectValueChanged, this,
            [this, key](const QVariantMap &hotKey) {
                // A cleared hot key is kept as an empty combination: removing the value would
                // bring the default back.
                userDefaults().setValue(key, hotKey);
            });
    userDefaults().observe(key, recorder, [recorder](const QVariant &value) {
        recorder->setObjectValue(value.toMap());
    });
}

void KZBWPreferencesWindow::bindLogPopup()
{
    showLogRenewal(userDefaults().value(KZUserDefaults::kHowManyDaysForNewLogFile));
    connect(m_createLogPopup, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (index < 0)
            return;
        // Kept as a plain number, which the settings file writes as text; it is read back as
        // the default's 16-bit type.
        userDefaults().setValue(KZUserDefaults::kHowManyDaysForNewLogFile,
                                m_createLogPopup->itemData(index).toInt());
    });
    userDefaults().observe(KZUserDefaults::kHowManyDaysForNewLogFile, m_createLogPopup,
                           [this](const QVariant &value) { showLogRenewal(value); });
    // The period means something only while a log is kept.
    const auto follow = [this] {
        m_createLogPopup->setEnabled(m_createLogCheckBtn->isChecked());
    };
    follow();
    userDefaults().observe(KZUserDefaults::kWriteLog, m_createLogPopup,
                           [follow](const QVariant &) { follow(); });
}

void KZBWPreferencesWindow::showLogRenewal(const QVariant &value)
{
    const int days = value.toInt();
    const QSignalBlocker blocker(m_createLogPopup);
    int index = m_createLogPopup->findData(days);
    if (index < 0 && days > 0) {
        // A period set elsewhere (an older settings file) is shown as it is, not replaced.
        m_createLogPopup->addItem(
            KZLocalizedFormat(QStringLiteral("pref_log_days"), {QString::number(days)}), days);
        index = m_createLogPopup->count() - 1;
    }
    m_createLogPopup->setCurrentIndex(index);
}

void KZBWPreferencesWindow::openWindowInModal(bool modal)
{
    if (modal) {
        exec();
        return;
    }
    show();
    raise();
    activateWindow();
}

void KZBWPreferencesWindow::saveHotKey()
{
    userDefaults().setValue(KZUserDefaults::kEmptyTrash, m_etHotKeyFld->objectValue());
    userDefaults().setValue(KZUserDefaults::kSmartDelete, m_smHotKeyFld->objectValue());
}

void KZBWPreferencesWindow::setupLaunchAtLogin()
{
    // A login item that cannot be written stays as it was, and the user is told; the box keeps
    // what the user wants.
    if (!m_environment.launchAtLogin.setupLaunchAtLogin(
            userDefaults().boolForKey(KZUserDefaults::kLaunchAtLogin)))
        KZTUErrorDelegate::sharedControl().showError(QStringLiteral("login_item_error"), QString(),
                                                     {m_environment.launchAtLogin.autostartFile()});
}

bool KZBWPreferencesWindow::isInstalledStartup() const
{
    return m_environment.launchAtLogin.isInstalledStartup();
}

QString KZBWPreferencesWindow::itemRefInLoginItems() const
{
    return m_environment.launchAtLogin.itemRefInLoginItems();
}

void KZBWPreferencesWindow::doneAction()
{
    setupLaunchAtLogin();
    saveHotKey();
    userDefaults().synchronize();
    // done() ends a modal run as well as closing the window.
    done(QDialog::Accepted);
    KZNotificationCenter::defaultCenter().postNotificationName(
        KZDeleteItems::kStopWorkingNotification);
}

void KZBWPreferencesWindow::restoreAction()
{
    userDefaults().revertToInitialValues();
}

void KZBWPreferencesWindow::checkForUpdates()
{
    (void)goTo(m_environment.releasesURL.toString());
}

bool KZBWPreferencesWindow::goTo(const QString &url)
{
    const QUrl target(url, QUrl::StrictMode);
    if (!target.isValid() || target.isRelative())
        return false;
    return QDesktopServices::openUrl(target);
}
