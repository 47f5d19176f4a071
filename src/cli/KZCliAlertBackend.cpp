#include "KZCliAlertBackend.h"

#include "KZCliApplication.h"
#include "erase/KZBWAlert.h"
#include "erase/KZDeleteItems.h"
#include "format/KZLocalizedStrings.h"

#include <unistd.h>

namespace {

bool isConfirmation(const KZAlertRequest &request)
{
    return request.identifier == KZBWAlert::kConfirmationIdentifier;
}

// The questions about one item put "Skip" first and "Erase" second.
std::optional<KZAlertResponse> answerFor(KZCommandLine::Answer answer)
{
    switch (answer) {
    case KZCommandLine::Answer::Skip:
        return KZAlertResponse{KZAlertFirstButtonReturn, true};
    case KZCommandLine::Answer::Erase:
        return KZAlertResponse{KZAlertSecondButtonReturn, true};
    case KZCommandLine::Answer::Ask:
        break;
    }
    return std::nullopt;
}

QString optionText(const char *option, KZCommandLine::Answer answer)
{
    return QStringLiteral("%1=%2").arg(QLatin1String(option), answer == KZCommandLine::Answer::Skip
                                                                  ? QStringLiteral("skip")
                                                                  : QStringLiteral("erase"));
}

} // namespace

KZCliAlertBackend::KZCliAlertBackend(const Policy &policy,
                                     std::shared_ptr<KZTerminalAlertBackend> terminal,
                                     std::shared_ptr<KZTerminalProgressBar> progress)
    : m_policy(policy)
    , m_terminal(std::move(terminal))
    , m_progress(std::move(progress))
{}

std::optional<KZAlertResponse> KZCliAlertBackend::scripted(const KZAlertRequest &request,
                                                           QString *because) const
{
    if (isConfirmation(request) && m_policy.yes) {
        *because = m_policy.secure ? QStringLiteral("--yes --secure") : QStringLiteral("--yes");
        return KZAlertResponse{
            m_policy.secure ? KZAlertSecondButtonReturn : KZAlertFirstButtonReturn, false};
    }
    if (request.identifier == KZDeleteItems::kLockedQuestionIdentifier) {
        *because = optionText("--locked", m_policy.locked);
        return answerFor(m_policy.locked);
    }
    if (request.identifier == KZDeleteItems::kNoPermissionsQuestionIdentifier) {
        *because = optionText("--no-permission", m_policy.noPermission);
        return answerFor(m_policy.noPermission);
    }
    return std::nullopt;
}

void KZCliAlertBackend::say(const KZAlertRequest &request, int answer, const QString &because) const
{
    QString title = request.buttons.value(answer - KZAlertFirstButtonReturn);
    // Without the helper the question shows Skip alone; an erase asked for on the command
    // line is still tried with the user's own rights.
    if (title.isEmpty() && answer == KZAlertSecondButtonReturn)
        title = KZLocalizedString(QStringLiteral("erase"));
    KZCliApplication::writeTo(
        STDERR_FILENO,
        QStringLiteral("%1\n  -> %2 (%3)\n").arg(request.messageText, title, because).toUtf8());
}

KZAlertResponse KZCliAlertBackend::runModal(const KZAlertRequest &request)
{
    m_progress->suspend();
    QString because;
    KZAlertResponse response;
    if (const std::optional<KZAlertResponse> given = scripted(request, &because)) {
        response = *given;
        say(request, response.answer, because);
    } else if (isConfirmation(request) && m_policy.secure) {
        // --secure without --yes: the plain erase is not offered.
        KZAlertRequest secureOnly = request;
        secureOnly.buttons[0].clear();
        response = m_terminal->runModal(secureOnly);
    } else {
        response = m_terminal->runModal(request);
    }
    if (isConfirmation(request)) {
        m_confirmationAnswer = response.answer;
        if (response.answer != KZAlertThirdButtonReturn && m_confirmed)
            m_confirmed();
    }
    m_progress->resume();
    return response;
}

void KZCliAlertBackend::beginSheet(const KZAlertRequest &request)
{
    m_progress->suspend();
    m_terminal->beginSheet(request);
    m_progress->resume();
}

void KZCliAlertBackend::beep()
{
    m_terminal->beep();
}
