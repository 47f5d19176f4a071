#include "KZWelcomeCntrl.h"

#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "foundation/KZUserDefaults.h"
#include "presentation/KZBinwise.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QDialog>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

// Logical pixels: the window keeps its proportions at every scale.
constexpr int kIconSide = 128;
constexpr int kTextWidth = 380;
constexpr int kPageHeight = 250;
constexpr int kPageCount = 7;

QLabel *pageText(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    label->setFixedWidth(kTextWidth);
    return label;
}

QString pageKey(int page, const char *part)
{
    return QStringLiteral("welcome_page%1_%2").arg(page).arg(QLatin1String(part));
}

} // namespace

KZWelcomeCntrl::KZWelcomeCntrl(KZBinwise *delegate, KZUserDefaults *userDefaults,
                               KZLaunchAtLogin launchAtLogin, QObject *parent)
    : QObject(parent)
    , m_delegate(delegate)
    , m_userDefaults(userDefaults)
    , m_launchAtLogin(std::move(launchAtLogin))
{
    m_window = new QDialog;
    m_window->setObjectName(QStringLiteral("welcomeWindow"));
    m_window->setWindowTitle(KZLocalizedString(QStringLiteral("welcome_window_title")));

    auto *outer = new QVBoxLayout(m_window);
    outer->setSizeConstraint(QLayout::SetFixedSize);
    outer->setContentsMargins(24, 24, 24, 16);
    outer->setSpacing(16);

    auto *body = new QHBoxLayout;
    body->setSpacing(24);
    m_imageView = new QLabel(m_window);
    m_imageView->setObjectName(QStringLiteral("imageView"));
    m_imageView->setFixedSize(kIconSide, kIconSide);
    const QIcon icon = QIcon::fromTheme(QStringLiteral("org.binwise.Binwise"),
                                        QIcon(QStringLiteral(":/appicon/org.binwise.Binwise.svg")));
    m_imageView->setPixmap(icon.pixmap(QSize(kIconSide, kIconSide), m_window->devicePixelRatio()));
    body->addWidget(m_imageView, 0, Qt::AlignTop);

    m_tabView = new QStackedWidget(m_window);
    m_tabView->setObjectName(QStringLiteral("tabView"));
    m_tabView->setFixedSize(kTextWidth, kPageHeight);
    body->addWidget(m_tabView, 1);
    outer->addLayout(body);

    auto *navigation = new QHBoxLayout;
    m_prevBtn = new QPushButton(KZLocalizedString(QStringLiteral("welcome_back_btn")), m_window);
    m_prevBtn->setObjectName(QStringLiteral("prevBtn"));
    m_nextBtn = new QPushButton(KZLocalizedString(QStringLiteral("welcome_next_btn")), m_window);
    m_nextBtn->setObjectName(QStringLiteral("nextBtn"));
    m_infoFld = new QLabel(m_window);
    m_infoFld->setObjectName(QStringLiteral("infoFld"));
    m_infoFld->setAlignment(Qt::AlignCenter);
    m_infoFld->setForegroundRole(QPalette::PlaceholderText);
    navigation->addWidget(m_prevBtn);
    navigation->addStretch(1);
    navigation->addWidget(m_infoFld);
    navigation->addStretch(1);
    navigation->addWidget(m_nextBtn);
    outer->addLayout(navigation);

    buildPages();

    // Tags as the buttons carry them: 0 goes back, anything else forward.
    connect(m_prevBtn, &QPushButton::clicked, this, [this] { navAction(0); });
    connect(m_nextBtn, &QPushButton::clicked, this, [this] { navAction(1); });
    connect(m_loginLaunchCheck, &QCheckBox::toggled, this, &KZWelcomeCntrl::launchLoginAction);
    connect(m_startBtn, &QPushButton::clicked, this, &KZWelcomeCntrl::startUsingAction);
    connect(m_subscribeBtn, &QPushButton::clicked, this, &KZWelcomeCntrl::subscribeAction);
    // Closed by any means (the button, Escape, the title bar): the dialog finishes.
    connect(m_window, &QDialog::finished, this, &KZWelcomeCntrl::windowWillClose);

    // The box follows the setting when the preferences change it.
    m_loginLaunchCheck->setChecked(this->userDefaults().boolForKey(KZUserDefaults::kLaunchAtLogin));
    this->userDefaults().observe(KZUserDefaults::kLaunchAtLogin, this,
                                 [this](const QVariant &value) {
                                     const QSignalBlocker blocker(m_loginLaunchCheck);
                                     m_loginLaunchCheck->setChecked(value.toBool());
                                 });
}

KZWelcomeCntrl::~KZWelcomeCntrl()
{
    delete m_window;
}

KZUserDefaults &KZWelcomeCntrl::userDefaults() const
{
    return m_userDefaults ? *m_userDefaults : KZUserDefaults::sharedControl();
}

void KZWelcomeCntrl::buildPages()
{
    for (int page = 1; page <= kPageCount; ++page) {
        auto *widget = new QWidget(m_tabView);
        widget->setObjectName(QStringLiteral("welcomePage%1").arg(page));
        auto *column = new QVBoxLayout(widget);
        column->setContentsMargins(0, 0, 0, 0);
        column->setSpacing(12);

        auto *title = new QLabel(KZLocalizedString(pageKey(page, "title")), widget);
        title->setObjectName(QStringLiteral("pageTitle"));
        QFont font = title->font();
        font.setBold(true);
        font.setPointSizeF(font.pointSizeF() * 1.4);
        title->setFont(font);
        title->setWordWrap(true);
        column->addWidget(title);

        QString text = KZLocalizedString(pageKey(page, "text"));
        if (page == 4)
            text = KZLocalizedStrings::replaceContentOfString(
                text, {KZLocalizedString(QStringLiteral("selected"))});
        QLabel *label = pageText(text, widget);
        column->addWidget(label);
        if (page == 2)
            m_howToFld = label;
        else if (page == 4)
            m_firstFld = label;

        if (page == kPageCount) {
            m_loginLaunchCheck
                = new QCheckBox(KZLocalizedString(QStringLiteral("welcome_login_check")), widget);
            m_loginLaunchCheck->setObjectName(QStringLiteral("loginLaunchCheck"));
            column->addSpacing(4);
            column->addWidget(m_loginLaunchCheck);
            column->addStretch(1);

            auto *buttons = new QHBoxLayout;
            m_subscribeBtn = new QPushButton(
                KZLocalizedString(QStringLiteral("welcome_subscribe_btn")), widget);
            m_subscribeBtn->setObjectName(QStringLiteral("subscribeBtn"));
            m_startBtn
                = new QPushButton(KZLocalizedString(QStringLiteral("welcome_start_btn")), widget);
            m_startBtn->setObjectName(QStringLiteral("startUsingBtn"));
            buttons->addWidget(m_subscribeBtn);
            buttons->addStretch(1);
            buttons->addWidget(m_startBtn);
            column->addLayout(buttons);
        } else {
            column->addStretch(1);
        }
        m_tabView->addWidget(widget);
    }
    for (QPushButton *button : {m_prevBtn, m_nextBtn, m_startBtn, m_subscribeBtn})
        button->setAutoDefault(false);
}

void KZWelcomeCntrl::showWelcomeInModal(bool modal)
{
    if (m_window->isVisible()) {
        m_window->raise();
        m_window->activateWindow();
        return;
    }
    m_maxTabs = m_tabView->count();
    m_tabView->setCurrentIndex(0);
    setInfoField();
    updateNavigation();

    m_window->adjustSize();
    if (QScreen *screen = QGuiApplication::primaryScreen()) {
        QRect frame(QPoint(), m_window->size());
        frame.moveCenter(screen->availableGeometry().center());
        m_window->move(frame.topLeft());
    }
    if (modal) {
        m_window->setWindowModality(Qt::ApplicationModal);
        // Asked for from the tray, the window must not open behind another application's.
        m_window->show();
        m_window->raise();
        m_window->activateWindow();
        // Its own event loop: start-up goes on once the window has closed.
        m_window->exec();
        return;
    }
    m_window->setWindowModality(Qt::NonModal);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void KZWelcomeCntrl::navAction(int tag)
{
    const int current = m_tabView->currentIndex();
    const int page = tag == 0 ? current - 1 : current + 1;
    if (page < 0 || page >= m_tabView->count())
        return;
    m_tabView->setCurrentIndex(page);
    updateNavigation();
    setInfoField();
}

void KZWelcomeCntrl::updateNavigation()
{
    const int page = m_tabView->currentIndex();
    m_prevBtn->setEnabled(page > 0);
    m_nextBtn->setEnabled(page + 1 < m_maxTabs);
    // Return moves on through the pages, and on the last one starts using Binwise.
    const bool last = page + 1 >= m_maxTabs;
    m_nextBtn->setDefault(!last);
    m_startBtn->setDefault(last);
}

void KZWelcomeCntrl::setInfoField()
{
    m_infoFld->setText(KZLocalizedFormat(QStringLiteral("of"),
                                         {QString::number(qlonglong(m_tabView->currentIndex() + 1)),
                                          QString::number(qlonglong(m_maxTabs))}));
}

void KZWelcomeCntrl::launchLoginAction()
{
    const bool launch = m_loginLaunchCheck->isChecked();
    userDefaults().setValue(KZUserDefaults::kLaunchAtLogin, launch);
    // An entry that cannot be written leaves the login item as it was, and the user is told;
    // the preferences show the truth the next time they open.
    if (!m_launchAtLogin.setupLaunchAtLogin(launch))
        KZTUErrorDelegate::sharedControl().showError(QStringLiteral("login_item_error"), QString(),
                                                     {m_launchAtLogin.autostartFile()});
}

void KZWelcomeCntrl::startUsingAction()
{
    m_window->close();
}

void KZWelcomeCntrl::subscribeAction()
{
    m_window->close();
    (void)QDesktopServices::openUrl(KZBinwise::newsletterSubscriptionURL());
}

void KZWelcomeCntrl::windowWillClose()
{
    // QDialog ends its own modal run when it finishes; only the delegate needs telling.
    if (m_delegate)
        m_delegate->setWelcomeIsClosed();
}
