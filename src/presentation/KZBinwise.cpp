#include "KZBinwise.h"

#include "KZStatusMenuFace.h"
#include "KZWebPromoFace.h"
#include "KZWelcomeFace.h"
#include "erase/KZBWAlert.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZEraseRecord.h"
#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "foundation/KZAppGlobals.h"
#include "foundation/KZNotificationCenter.h"
#include "foundation/KZUserDefaults.h"
#include "gui/platform/KZGlobalShortcuts.h"
#include "model/KZFilesUtilities.h"
#include "model/KZPath.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <sys/utsname.h>

#include <cstring>

KZBinwise::KZBinwise(KZStatusMenuFace *face, Environment environment, QObject *parent)
    : QObject(parent)
    , m_face(face)
    , m_environment(std::move(environment))
{
    // The engine's state changes while a menu may be open; the menu follows it at once.
    connect(&engine(), &KZDeleteItems::jobStateChanged, this, &KZBinwise::menuStateChanged);
    connect(&engine(), &KZDeleteItems::jobEnded, this, &KZBinwise::reportJobEnd);
}

void KZBinwise::reportJobEnd(const KZEraseSummary &summary)
{
    KZTUErrorDelegate &messages = presenter();
    // Without this the desktop would report a failed removal by its beep alone.
    if (summary.otherErrorCount != 0 && !summary.failures.isEmpty()) {
        const KZEraseSummary::Failure &first = summary.failures.constFirst();
        const QString name = KZPath::escapedDisplayString(KZPath::fileName(first.path));
        if (summary.otherErrorCount == 1)
            messages.showError(QStringLiteral("notErased_Sing"), QString(), {name, first.reason});
        else
            messages.showError(QStringLiteral("notErased_Plur"), QString(),
                               {KZNumberUtilities::sharedControl().numberToFormatString(
                                    double(summary.otherErrorCount)),
                                name, first.reason});
    }
    if (summary.logWriteError != 0)
        messages.showError(QStringLiteral("log_write_error"), QString(),
                           {KZPath::escapedDisplayString(summary.logFile),
                            QString::fromLocal8Bit(std::strerror(summary.logWriteError))});
}

KZBinwise::~KZBinwise() = default;

KZDeleteItems &KZBinwise::engine() const
{
    return m_environment.engine ? *m_environment.engine : KZDeleteItems::sharedControl();
}

KZUserDefaults &KZBinwise::userDefaults() const
{
    return m_environment.userDefaults ? *m_environment.userDefaults
                                      : KZUserDefaults::sharedControl();
}

KZTUErrorDelegate &KZBinwise::presenter() const
{
    return m_environment.presenter ? *m_environment.presenter : KZTUErrorDelegate::sharedControl();
}

void KZBinwise::applicationDidFinishLaunching()
{
    setIsWorking(false);
    setupSystemVersion();
    userDefaults().setupDefaultsPreferences();
    setupHotKeys();
    m_face->setupStatusMenu([this](bool shown) { statusMenuReady(shown); });
}

void KZBinwise::statusMenuReady(bool shown)
{
    if (!shown) {
        presenter().showError(QStringLiteral("cantCreateMenu"),
                              QStringLiteral("cantCreateMenuMess"));
        Q_EMIT terminateRequested(1);
        return;
    }
    KZNotificationCenter::defaultCenter().addObserver(
        KZDeleteItems::kStopWorkingNotification, nullptr, this,
        [this](const KZNotification &) { stopWorking(); });

    KZUserDefaults &defaults = userDefaults();
    if (defaults.boolForKey(KZUserDefaults::kIsFirstRun)) {
        if (isUserAgree() == KZAlertSecondButtonReturn) {
            // "Is first run" stays set: the next launch asks again.
            Q_EMIT terminateRequested(0);
            return;
        }
        showWelcome();
        defaults.setValue(KZUserDefaults::kIsFirstRun, false);
        // A first run that ends without a clean exit still counts as done.
        defaults.synchronize();
    }

    bool helperAvailable = false;
    if (m_environment.installHelper)
        helperAvailable = m_environment.installHelper();
    KZAppGlobals::setHelperAvailable(helperAvailable);
    checkIfOldBinwiseIsInstalled();
    showInfoWebWindow();
    Q_EMIT launched();
}

quint32 KZBinwise::systemVersionForKernelRelease(const QByteArray &release)
{
    static const QRegularExpression numbers(QStringLiteral("^(\\d+)(?:\\.(\\d+))?(?:\\.(\\d+))?"));
    const QRegularExpressionMatch match = numbers.match(QString::fromLatin1(release));
    const qlonglong major = match.hasMatch() ? match.captured(1).toLongLong() : 0;
    const qlonglong minor = match.captured(2).toLongLong();
    const qlonglong patch = match.captured(3).toLongLong();
    // The digits are joined, not padded: the code is only ever compared with 0x10100.
    const QString text = QStringLiteral("10%1%2%3").arg(major + 10).arg(minor).arg(patch);
    bool ok = false;
    const quint32 code = text.left(8).toUInt(&ok, 16);
    return ok ? code : 0x10100;
}

void KZBinwise::setupSystemVersion()
{
    QByteArray release = m_environment.kernelRelease;
    if (release.isEmpty()) {
        struct utsname names
        {
        };
        if (::uname(&names) == 0)
            release = QByteArray(names.release);
    }
    KZAppGlobals::setSystemVersion(systemVersionForKernelRelease(release));
}

void KZBinwise::setIsWorking(bool working)
{
    if (m_isWorking == working)
        return;
    m_isWorking = working;
    Q_EMIT isWorkingChanged(working);
    Q_EMIT menuStateChanged();
}

KZJobState KZBinwise::jobState() const
{
    return engine().jobState();
}

bool KZBinwise::validateMenuItem() const
{
    return !m_isWorking && engine().jobState() == KZJobState::Idle;
}

bool KZBinwise::isMainMenuItemEnabled(int tag) const
{
    switch (tag) {
    case EmptyAllTrashesTag:
    case SmartDeleteTag:
    case PreferencesTag:
    case ShowPanelTag:
        return validateMenuItem();
    default:
        return true;
    }
}

void KZBinwise::refuse() const
{
    if (const std::shared_ptr<KZAlertBackend> backend = presenter().backend())
        backend->beep();
}

void KZBinwise::mainMenuAction(int tag)
{
    // A menu that was open when the state changed, or an item triggered twice in a row, must
    // not reach a second job.
    if (!isMainMenuItemEnabled(tag)) {
        refuse();
        return;
    }
    switch (tag) {
    case EmptyAllTrashesTag:
        emptyAllTrashesAction();
        setIsWorking(true);
        break;
    case SmartDeleteTag:
        // Without a window nothing would post "stopWorking" to clear the flag again.
        if (!m_environment.smartDeletection)
            break;
        smartDeletection();
        setIsWorking(true);
        break;
    case PreferencesTag:
        openPrefercensPanel();
        break;
    case ShowPanelTag:
        m_face->showPanel();
        break;
    default:
        break;
    }
}

QList<KZTrashLocation> KZBinwise::trashesAndVolumesLocations() const
{
    QList<KZError> problems;
    QList<KZTrashLocation> locations
        = m_environment.locations
              ? m_environment.locations(&problems)
              : KZFilesUtilities::sharedControl().trashesAndVolumesLocations(&problems);
    for (const KZError &problem : std::as_const(problems)) {
        // Every menu refresh reads the Trashes again: one message per problem and run.
        if (m_reportedProblems.contains(problem.localizedDescription))
            continue;
        m_reportedProblems.insert(problem.localizedDescription);
        QTimer::singleShot(kMenuActionDelayMs, this, [this, text = problem.localizedDescription] {
            presenter().showError(text);
        });
    }
    return locations;
}

void KZBinwise::scheduleErase(const QList<KZTrashLocation> &records)
{
    const KZEraseRequest request = KZEraseRecord::fromTrashLocations(records);
    QTimer::singleShot(kMenuActionDelayMs, this, [this, request] {
        // The engine refuses (and beeps) when another entry started a job meanwhile; that job
        // posts "stopWorking" when it ends, which clears isWorking.
        (void)engine().prepareToEraseWithArray(request);
    });
}

void KZBinwise::emptyAllTrashesAction()
{
    scheduleErase(trashesAndVolumesLocations());
}

void KZBinwise::emptyHardDriveTrashesAction(const KZTrashLocation &record)
{
    if (!validateMenuItem()) {
        refuse();
        return;
    }
    scheduleErase({record});
    setIsWorking(true);
}

void KZBinwise::showAboutPanel()
{
    m_face->showAboutPanel();
}

void KZBinwise::stopWorking()
{
    setIsWorking(false);
}

bool KZBinwise::openURL(const QUrl &url) const
{
    return url.isValid() && m_environment.openURL && m_environment.openURL(url);
}

QUrl KZBinwise::newsletterSubscriptionURL()
{
    // The table's text may hold blanks and letters beyond ASCII (a subject line): they are
    // escaped, the characters that give the address its shape are not.
    const QString text = KZLocalizedString(QStringLiteral("newsLetterSubscription"));
    const QUrl url = QUrl::fromEncoded(QUrl::toPercentEncoding(text, "!#$%&'()*+,/:;=?@[]~"),
                                       QUrl::StrictMode);
    if (text.isEmpty() || !url.isValid() || url.scheme().isEmpty())
        return QUrl(kNewsletterFallbackURL);
    return url;
}

void KZBinwise::serviceMenuAction(int tag)
{
    if (!validateMenuItem()) {
        refuse();
        return;
    }
    switch (tag) {
    case WelcomeServiceTag:
        // The window runs modally: from a menu it waits until the menu has closed.
        QTimer::singleShot(kMenuActionDelayMs, this, [this] {
            if (validateMenuItem())
                showWelcome();
        });
        break;
    case SupportServiceTag:
        // An address that nothing opens is not worth a message.
        (void)openURL(QUrl(KZLocalizedString(QStringLiteral("supportEmail"))));
        break;
    case NewsletterServiceTag:
        (void)openURL(newsletterSubscriptionURL());
        userDefaults().setValue(KZUserDefaults::kNewsletterSubscribed, true);
        break;
    default:
        break;
    }
}

int KZBinwise::isUserAgree()
{
    return presenter().askToTheUser(QStringLiteral("disclaimer"), QString(), {},
                                    QStringLiteral("agree_btn"), QStringLiteral("disagree_btn"),
                                    QString());
}

void KZBinwise::checkIfOldBinwiseIsInstalled()
{
    if (!userDefaults().boolForKey(KZUserDefaults::kAskUnistallOldBinwise))
        return;
    const QString uninstaller
        = m_environment.findOldBinwise ? m_environment.findOldBinwise() : QString();
    if (uninstaller.isEmpty())
        return;
    KZBWAlert::Environment environment;
    environment.presenter = &presenter();
    environment.userDefaults = &userDefaults();
    KZBWAlert alert(environment);
    const int answer = alert.askToTheUserWithOption(
        QStringLiteral("old_binwise_was_found"), QStringLiteral("old_binwise_was_found_mess"), {},
        QStringLiteral("dont_unistall_btn"), QStringLiteral("unistall_btn"), QString(),
        KZUserDefaults::kAskUnistallOldBinwise);
    // The uninstaller does the removal on its own; its failure to start is not reported.
    if (answer == KZAlertSecondButtonReturn)
        (void)QProcess::startDetached(uninstaller, {});
}

void KZBinwise::showWelcome()
{
    if (!m_welcomeCntrl) {
        if (!m_environment.makeWelcome)
            return;
        m_welcomeCntrl = m_environment.makeWelcome(this);
        if (!m_welcomeCntrl)
            return;
    }
    m_welcomeIsOpen = true;
    m_welcomeCntrl->showWelcomeInModal(true);
}

void KZBinwise::setWelcomeIsClosed()
{
    m_welcomeIsOpen = false;
}

void KZBinwise::showInfoWebWindow()
{
    KZWebPromoFace *promo = m_environment.webPromo ? m_environment.webPromo() : nullptr;
    if (!promo)
        return;
    m_webPromo = promo;
    // One observation however often the window is asked for.
    QObject::disconnect(m_webPromoObservation);
    m_webPromoObservation = KZNotificationCenter::defaultCenter().addObserver(
        KZWebPromoFace::kWebPromoDidCloseNotification, this, this,
        [this](const KZNotification &) { webPromoDidClose(); });
    promo->showInfoWebWindow();
}

void KZBinwise::webPromoDidClose()
{
    QObject::disconnect(m_webPromoObservation);
    m_webPromoObservation = {};
    m_webPromo = nullptr;
}

void KZBinwise::openPrefercensPanel()
{
    if (m_environment.openPreferences)
        m_environment.openPreferences();
}

void KZBinwise::smartDeletection()
{
    if (m_environment.smartDeletection)
        m_environment.smartDeletection();
}

void KZBinwise::setupHotKeys()
{
    KZGlobalShortcuts *shortcuts = m_environment.globalShortcuts;
    if (!shortcuts)
        return;
    connect(shortcuts, &KZGlobalShortcuts::activated, this, &KZBinwise::hotKeyAction,
            Qt::UniqueConnection);
    for (const QString &key : {KZUserDefaults::kEmptyTrash, KZUserDefaults::kSmartDelete}) {
        const QString keyPath = QStringLiteral("values.") + key;
        userDefaults().observe(
            key, this, [this, keyPath](const QVariant &) { observeValueForKeyPath(keyPath); });
        // The initial registration, from the value the defaults now answer.
        observeValueForKeyPath(keyPath);
    }
}

void KZBinwise::observeValueForKeyPath(const QString &keyPath)
{
    KZGlobalShortcuts *shortcuts = m_environment.globalShortcuts;
    if (!shortcuts || (keyPath != kEmptyTrashKeyPath && keyPath != kSmartDeleteKeyPath))
        return;
    // The old combination goes first, so that it stops working even if the new one is refused.
    shortcuts->unregisterShortcut(keyPath);
    if (keyPath == kSmartDeleteKeyPath && !m_environment.smartDeletection)
        return;
    const QVariantMap hotKey = userDefaults().dictionaryForKey(keyPath.mid(7));
    const int key = hotKey.value(KZUserDefaults::kKeyCode).toInt();
    const auto modifiers
        = Qt::KeyboardModifiers(hotKey.value(KZUserDefaults::kModifierFlags).toInt());
    if (key == 0 || key == Qt::Key_unknown)
        return;
    // A refused combination (another program holds it) leaves the hot key off, silently.
    (void)shortcuts->registerShortcut(keyPath, QKeyCombination(modifiers, Qt::Key(key)));
}

void KZBinwise::hotKeyAction(const QString &keyPath)
{
    if (engine().jobState() != KZJobState::Idle)
        return;
    if (keyPath == kEmptyTrashKeyPath)
        emptyAllTrashesAction();
    else if (keyPath == kSmartDeleteKeyPath)
        smartDeletection();
}
