#pragma once

#include "KZAlertBackend.h"

#include <QByteArray>

#include <unistd.h>

// Alerts on a terminal: the texts and numbered choices go to the output descriptor, the answer
// is a line read from the input descriptor ("2", or "2+" to also tick the check box). Without
// a terminal to ask, or once the input is closed, the request's cancel answer is taken and said.
class KZTerminalAlertBackend : public KZAlertBackend
{
public:
    explicit KZTerminalAlertBackend(int inputFd = STDIN_FILENO, int outputFd = STDERR_FILENO);

    // Interactive when the input is a terminal, unless set otherwise.
    void setInteractive(bool interactive) { m_interactive = interactive; }
    [[nodiscard]] bool isInteractive() const { return m_interactive; }

    KZAlertResponse runModal(const KZAlertRequest &request) override;
    void beginSheet(const KZAlertRequest &request) override;
    void beep() override;

private:
    void write(const QString &text) const;
    void showTexts(const KZAlertRequest &request) const;
    // Reads one line in a nested event loop; false at end of input.
    bool readLine(QByteArray *line);

    int m_inputFd;
    int m_outputFd;
    bool m_interactive;
    bool m_inputClosed = false;
    QByteArray m_pending;
};
