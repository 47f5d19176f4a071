#pragma once

#include "foundation/KZLaunchAtLogin.h"
#include "presentation/KZWelcomeFace.h"

#include <QDialog>
#include <QObject>
#include <QPointer>

class KZBinwise;
class KZUserDefaults;
class QCheckBox;
class QLabel;
class QPushButton;
class QStackedWidget;

// The welcome window: a few pages on what Binwise does, a page counter, back and next, and on
// the last page the launch-at-login box (bound to "launchAtLogin" and applied to the autostart
// entry at once), the newsletter and the
// button that closes it. The application controller makes it once, shows it on the first run
// and again from the services menu, and is told when it closes. Main thread.
class KZWelcomeCntrl : public QObject, public KZWelcomeFace
{
    Q_OBJECT

public:
    // delegate: told setWelcomeIsClosed when the window closes; may be null. userDefaults: the
    // settings the box is bound to; the shared store when null. launchAtLogin: the login item
    // the box turns on and off.
    explicit KZWelcomeCntrl(KZBinwise *delegate, KZUserDefaults *userDefaults = nullptr,
                            KZLaunchAtLogin launchAtLogin = KZLaunchAtLogin(),
                            QObject *parent = nullptr);
    ~KZWelcomeCntrl() override;

    void showWelcomeInModal(bool modal) override;

    // The page before (tag 0) or after (any other tag) the current one.
    void navAction(int tag);
    // The page counter: "2 of 7".
    void setInfoField();
    // Keeps the box's state in "launchAtLogin" and makes the login item follow it now.
    void launchLoginAction();
    void startUsingAction();
    // Closes the window and opens the newsletter subscription in the mail program; unlike the
    // services menu, it leaves "Newsletter Subscribed" alone.
    void subscribeAction();

    [[nodiscard]] QDialog *window() const { return m_window; }
    [[nodiscard]] QStackedWidget *tabView() const { return m_tabView; }
    [[nodiscard]] int maxTabs() const { return m_maxTabs; }
    [[nodiscard]] QPushButton *prevBtn() const { return m_prevBtn; }
    [[nodiscard]] QPushButton *nextBtn() const { return m_nextBtn; }
    [[nodiscard]] QPushButton *startUsingBtn() const { return m_startBtn; }
    [[nodiscard]] QPushButton *subscribeBtn() const { return m_subscribeBtn; }
    [[nodiscard]] QCheckBox *loginLaunchCheck() const { return m_loginLaunchCheck; }
    [[nodiscard]] QLabel *infoFld() const { return m_infoFld; }
    [[nodiscard]] QLabel *firstFld() const { return m_firstFld; }
    [[nodiscard]] QLabel *imageView() const { return m_imageView; }

private:
    void buildPages();
    void updateNavigation();
    void windowWillClose();
    [[nodiscard]] KZUserDefaults &userDefaults() const;

    KZBinwise *m_delegate;
    KZUserDefaults *m_userDefaults;
    KZLaunchAtLogin m_launchAtLogin;
    // Owned here, not by a parent: the controller outlives every showing of the window.
    QPointer<QDialog> m_window;
    QStackedWidget *m_tabView = nullptr;
    QPushButton *m_prevBtn = nullptr;
    QPushButton *m_nextBtn = nullptr;
    QPushButton *m_startBtn = nullptr;
    QPushButton *m_subscribeBtn = nullptr;
    QCheckBox *m_loginLaunchCheck = nullptr;
    QLabel *m_firstFld = nullptr;
    QLabel *m_howToFld = nullptr;
    QLabel *m_imageView = nullptr;
    QLabel *m_infoFld = nullptr;
    int m_maxTabs = 0;
};
