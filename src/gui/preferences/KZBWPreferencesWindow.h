#pragma once

#include "foundation/KZLaunchAtLogin.h"
#include "gui/platform/KZGlobalShortcuts.h"

#include <QDialog>
#include <QUrl>

class KZHotKeyRecorder;
class KZUserDefaults;
class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

// The preferences window: the two hot keys, launch at login, the confirmation, locked items and
// the erase log. Every control writes its setting the moment it changes and follows the
// setting when something else changes it (Restore, another window). Done also applies the
// login item and writes the hot keys; Restore returns the restorable settings to their
// defaults and leaves the login item as it is. Main thread.
class KZBWPreferencesWindow : public QDialog
{
    Q_OBJECT

public:
    struct Environment
    {
        // The settings store; the shared one when null.
        KZUserDefaults *userDefaults = nullptr;
        KZLaunchAtLogin launchAtLogin;
        // Whether hot keys work in this session, and why not.
        KZGlobalShortcuts::Availability hotKeys{true, {}};
        // Where "Check for Updates" leads.
        QUrl releasesURL;
    };

    // The choices of the log-renewal pop-up, in days.
    static constexpr int kLogRenewalDays[] = {1, 7, 14, 30, 90};

    explicit KZBWPreferencesWindow(Environment environment, QWidget *parent = nullptr);
    ~KZBWPreferencesWindow() override;

    // Modal runs the window until it closes; otherwise it comes to the front and returns.
    void openWindowInModal(bool modal);

    // Applies the login item, writes the hot keys, closes, and posts "stopWorking".
    void doneAction();
    // Every restorable setting back to its default; the login item changes only on Done.
    void restoreAction();
    // Opens the releases page in the browser.
    void checkForUpdates();
    // Opens url (text) with the desktop's handler; false when it is not a URL or nothing opens.
    bool goTo(const QString &url);

    void saveHotKey();
    void setupLaunchAtLogin();
    [[nodiscard]] bool isInstalledStartup() const;
    [[nodiscard]] QString itemRefInLoginItems() const;

    [[nodiscard]] KZHotKeyRecorder *etHotKeyFld() const { return m_etHotKeyFld; }
    [[nodiscard]] KZHotKeyRecorder *smHotKeyFld() const { return m_smHotKeyFld; }
    [[nodiscard]] QCheckBox *launchCheckBtn() const { return m_launchCheckBtn; }
    [[nodiscard]] QCheckBox *showAlertCheckBtn() const { return m_showAlertCheckBtn; }
    [[nodiscard]] QCheckBox *deletelockedCheckBtn() const { return m_deletelockedCheckBtn; }
    [[nodiscard]] QCheckBox *createLogCheckBtn() const { return m_createLogCheckBtn; }
    [[nodiscard]] QComboBox *createLogPopup() const { return m_createLogPopup; }
    [[nodiscard]] QPushButton *doneBtn() const { return m_doneBtn; }
    [[nodiscard]] QPushButton *restoreBtn() const { return m_restoreBtn; }
    [[nodiscard]] QPushButton *checkUpdatesMenuItem() const { return m_checkUpdatesMenuItem; }
    [[nodiscard]] QLabel *hotKeysNote() const { return m_hotKeysNote; }

private:
    [[nodiscard]] KZUserDefaults &userDefaults() const;
    void bindCheckBox(QCheckBox *box, const QString &key);
    void bindRecorder(KZHotKeyRecorder *recorder, const QString &key);
    void bindLogPopup();
    void showLogRenewal(const QVariant &days);

    Environment m_environment;
    KZHotKeyRecorder *m_etHotKeyFld = nullptr;
    KZHotKeyRecorder *m_smHotKeyFld = nullptr;
    QLabel *m_hotKeysNote = nullptr;
    QCheckBox *m_launchCheckBtn = nullptr;
    QCheckBox *m_showAlertCheckBtn = nullptr;
    QCheckBox *m_deletelockedCheckBtn = nullptr;
    QCheckBox *m_createLogCheckBtn = nullptr;
    QComboBox *m_createLogPopup = nullptr;
    QPushButton *m_checkUpdatesMenuItem = nullptr;
    QPushButton *m_restoreBtn = nullptr;
    QPushButton *m_doneBtn = nullptr;
};
