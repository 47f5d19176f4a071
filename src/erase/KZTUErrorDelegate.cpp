#include "KZTUErrorDelegate.h"

#include "KZTerminalAlertBackend.h"
#include "format/KZLocalizedStrings.h"
#include "foundation/KZMainThread.h"

#include <QMutexLocker>
#include <QPointer>

namespace {

QString errorsText(const QString &key)
{
    return KZLocalizedStringFromTable(key, KZLocalizedStrings::kErrorsTable);
}

} // namespace

KZTUErrorDelegate &KZTUErrorDelegate::sharedControl()
{
    static KZTUErrorDelegate shared;
    return shared;
}

KZTUErrorDelegate::KZTUErrorDelegate()
    : m_backend(std::make_shared<KZTerminalAlertBackend>())
{}

void KZTUErrorDelegate::setBackend(std::shared_ptr<KZAlertBackend> backend)
{
    QMutexLocker locker(&m_lock);
    m_backend = std::move(backend);
}

std::shared_ptr<KZAlertBackend> KZTUErrorDelegate::backend() const
{
    QMutexLocker locker(&m_lock);
    return m_backend;
}

QVariantMap KZTUErrorDelegate::makeRequest(const QString &key, const QString &keyName,
                                           const QString &message, const QStringList &names,
                                           QObject *window)
{
    QVariantMap request{{keyName, key}, {kMessKey, message}, {kNames, names}};
    if (window)
        request.insert(kWindow, QVariant::fromValue(QPointer<QObject>(window)));
    return request;
}

void KZTUErrorDelegate::showError(const QString &error, const QString &message,
                                  const QStringList &additionalNames)
{
    (void)present(Kind::Error, makeRequest(error, kError, message, additionalNames, nullptr));
}

void KZTUErrorDelegate::showError(const QVariantMap &errorInfo)
{
    showError(errorInfo.value(kError).toString(), errorInfo.value(kMessage).toString(),
              errorInfo.value(kAdditionalName).toStringList());
}

void KZTUErrorDelegate::showErrorForWindow(QObject *window, const QString &infoMessage,
                                           const QString &message,
                                           const QStringList &additionalNames)
{
    (void)present(Kind::Error, makeRequest(infoMessage, kError, message, additionalNames, window));
}

void KZTUErrorDelegate::showInformationalPanelForWindow(QObject *window, const QString &infoMessage,
                                                        const QString &message,
                                                        const QStringList &additionalNames)
{
    (void)present(Kind::Information,
                  makeRequest(infoMessage, kInfo, message, additionalNames, window));
}

int KZTUErrorDelegate::askToTheUser(const QString &info, const QString &message,
                                    const QStringList &additionalNames,
                                    const QString &defaultButton, const QString &alternateButton,
                                    const QString &otherButton)
{
    QVariantMap request = makeRequest(info, kInfo, message, additionalNames, nullptr);
    request.insert(kDButtonName, defaultButton);
    request.insert(kAButtonName, alternateButton);
    request.insert(kOButtonName, otherButton);
    return present(Kind::Question, request);
}

void KZTUErrorDelegate::showInformationalPanelWithView(const QString &, const QString &,
                                                       const QStringList &, const QString &)
{}

int KZTUErrorDelegate::askToTheUserWithView(const QString &, const QString &, const QStringList &,
                                            const QString &, const QString &, const QString &,
                                            const QString &)
{
    return 0;
}

QString KZTUErrorDelegate::replaceContentOfString(const QString &string, const QStringList &names)
{
    return KZLocalizedStrings::replaceContentOfString(string, names);
}

QString KZTUErrorDelegate::lastPrefStringUsed() const
{
    QMutexLocker locker(&m_lock);
    return m_lastPrefStringUsed;
}

int KZTUErrorDelegate::userChoice() const
{
    QMutexLocker locker(&m_lock);
    return m_userChoice;
}

void KZTUErrorDelegate::changeUserWarningVisibility(bool) {}

QString KZTUErrorDelegate::accessoryViewTitle()
{
    return errorsText(QStringLiteral("Do not show me again"));
}

int KZTUErrorDelegate::present(Kind kind, const QVariantMap &request)
{
    const int answer = KZMainThread::run([this, kind, &request] { return show(kind, request); });
    // A caller on another thread reads the answer the main thread stored for it.
    return kind == Kind::Question ? userChoice() : answer;
}

void KZTUErrorDelegate::showInformationalPanelWithView(const QVariantMap &request)
{
    (void)present(Kind::InformationWithBox, request);
}

int KZTUErrorDelegate::askToTheUserWithView(const QVariantMap &request)
{
    return present(Kind::QuestionWithBox, request);
}

int KZTUErrorDelegate::show(Kind kind, const QVariantMap &request)
{
    const bool isQuestion = kind == Kind::Question || kind == Kind::QuestionWithBox;
    const bool hasBox = kind == Kind::InformationWithBox || kind == Kind::QuestionWithBox;
    const QString key = request.value(kind == Kind::Error ? kError : kInfo).toString();

    KZAlertRequest alert;
    alert.identifier = key;
    alert.messageText
        = replaceContentOfString(errorsText(key), request.value(kNames).toStringList());
    const QString messKey = request.value(kMessKey).toString();
    alert.informativeText = messKey.isEmpty() ? QString() : errorsText(messKey);
    alert.style = hasBox ? KZAlertStyle::Informational : KZAlertStyle::Warning;
    if (isQuestion) {
        for (const QString &buttonKey : {kDButtonName, kAButtonName, kOButtonName}) {
            const QString title = request.value(buttonKey).toString();
            alert.buttons.append(title.isEmpty() ? QString() : errorsText(title));
        }
        alert.cancelAnswer = KZAlertSecondButtonReturn;
    }
    if (hasBox) {
        alert.checkBoxTitle = accessoryViewTitle();
        QMutexLocker locker(&m_lock);
        m_lastPrefStringUsed = request.value(kPrefName).toString();
    }
    alert.window = request.value(kWindow).value<QPointer<QObject>>();

    const std::shared_ptr<KZAlertBackend> presenter = backend();
    if (alert.window) {
        presenter->beginSheet(alert);
        return 0;
    }
    const KZAlertResponse response = presenter->runModal(alert);
    if (hasBox)
        changeUserWarningVisibility(response.checkBoxState);
    if (isQuestion) {
        QMutexLocker locker(&m_lock);
        m_userChoice = response.answer;
    }
    return response.answer;
}
