#pragma once

#include "KZCommandLine.h"
#include "KZTerminalProgressBar.h"
#include "erase/KZAlertBackend.h"
#include "erase/KZTerminalAlertBackend.h"

#include <functional>
#include <memory>

// How the command line answers the engine: the options answer the confirmation (--yes, with
// --secure the secure erase) and the two questions about locked items and items without
// permission (skip or erase, with "Apply to all" ticked); everything else, and what the options
// leave to "ask", goes to the terminal. The progress line is cleared while anything is shown.
// Main thread.
class KZCliAlertBackend : public KZAlertBackend
{
public:
    struct Policy
    {
        bool yes = false;
        bool secure = false;
        KZCommandLine::Answer locked = KZCommandLine::Answer::Ask;
        KZCommandLine::Answer noPermission = KZCommandLine::Answer::Ask;
    };

    KZCliAlertBackend(const Policy &policy, std::shared_ptr<KZTerminalAlertBackend> terminal,
                      std::shared_ptr<KZTerminalProgressBar> progress);

    // Called once the confirmation is answered with an erase, before the answer goes back to
    // the engine (the helper is checked there: after the user said yes, before the job starts).
    void setConfirmedHook(std::function<void()> hook) { m_confirmed = std::move(hook); }

    // The confirmation's answer, 0 when none was shown.
    [[nodiscard]] int confirmationAnswer() const { return m_confirmationAnswer; }

    KZAlertResponse runModal(const KZAlertRequest &request) override;
    void beginSheet(const KZAlertRequest &request) override;
    void beep() override;

private:
    // The answer the options give, if they give one.
    [[nodiscard]] std::optional<KZAlertResponse> scripted(const KZAlertRequest &request,
                                                          QString *because) const;
    void say(const KZAlertRequest &request, int answer, const QString &because) const;

    Policy m_policy;
    std::shared_ptr<KZTerminalAlertBackend> m_terminal;
    std::shared_ptr<KZTerminalProgressBar> m_progress;
    std::function<void()> m_confirmed;
    int m_confirmationAnswer = 0;
};
