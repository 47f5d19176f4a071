#include "KZTerminalAlertBackend.h"

#include <QEventLoop>
#include <QSocketNotifier>

#include <cerrno>

namespace {

QString choicesLine(const KZAlertRequest &request)
{
    QStringList choices;
    for (qsizetype i = 0; i < request.buttons.size(); ++i) {
        if (!request.buttons.at(i).isEmpty())
            choices.append(QStringLiteral("%1) %2").arg(i + 1).arg(request.buttons.at(i)));
    }
    return choices.join(QStringLiteral("   "));
}

QString titleOf(const KZAlertRequest &request, int answer)
{
    return request.buttons.value(answer - KZAlertFirstButtonReturn);
}

} // namespace

KZTerminalAlertBackend::KZTerminalAlertBackend(int inputFd, int outputFd)
    : m_inputFd(inputFd)
    , m_outputFd(outputFd)
    , m_interactive(isatty(inputFd) == 1)
{}

void KZTerminalAlertBackend::write(const QString &text) const
{
    const QByteArray bytes = text.toUtf8();
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n
            = ::write(m_outputFd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += n;
    }
}

void KZTerminalAlertBackend::showTexts(const KZAlertRequest &request) const
{
    QString text = request.messageText + QLatin1Char('\n');
    if (!request.informativeText.isEmpty())
        text += QStringLiteral("  ") + request.informativeText + QLatin1Char('\n');
    if (request.accessory && !request.accessory->infoText().isEmpty())
        text += QStringLiteral("  ") + request.accessory->infoText() + QLatin1Char('\n');
    write(text);
}

bool KZTerminalAlertBackend::readLine(QByteArray *line)
{
    while (true) {
        const qsizetype newline = m_pending.indexOf('\n');
        if (newline >= 0) {
            *line = m_pending.left(newline);
            m_pending.remove(0, newline + 1);
            return true;
        }
        if (m_inputClosed) {
            if (m_pending.isEmpty())
                return false;
            *line = std::exchange(m_pending, QByteArray());
            return true;
        }
        // Wait in an event loop rather than in read(), so that timers (the confirmation's
        // size calculation) keep running while the user thinks.
        QEventLoop loop;
        QSocketNotifier notifier(m_inputFd, QSocketNotifier::Read);
        QObject::connect(&notifier, &QSocketNotifier::activated, &loop, [&] {
            char buffer[4096];
            const ssize_t n = ::read(m_inputFd, buffer, sizeof buffer);
            if (n > 0)
                m_pending.append(buffer, n);
            else if (n == 0 || (errno != EINTR && errno != EAGAIN))
                m_inputClosed = true;
            loop.quit();
        });
        loop.exec();
    }
}

KZAlertResponse KZTerminalAlertBackend::runModal(const KZAlertRequest &request)
{
    showTexts(request);
    const QString choicesText = choicesLine(request);
    const QString checkBox
        = request.checkBoxTitle.isEmpty()
              ? QString()
              : QStringLiteral(" (add + to tick \u201C%1\u201D)").arg(request.checkBoxTitle);
    const QString prompt = QStringLiteral("  %1\nChoose%2: ").arg(choicesText, checkBox);

    // The accessory signals every change (busy state too): a line is written only when its
    // text is new, and a prompt already on screen is written again below it.
    QString shownInfo = request.accessory ? request.accessory->infoText() : QString();
    bool atPrompt = false;
    QMetaObject::Connection accessoryUpdates;
    if (request.accessory) {
        accessoryUpdates = QObject::connect(
            request.accessory.data(), &KZAlertAccessory::changed, request.accessory.data(), [&] {
                const QString info = request.accessory->infoText();
                if (info == shownInfo || info.isEmpty())
                    return;
                shownInfo = info;
                write(atPrompt ? QStringLiteral("\n  %1\n%2").arg(info, prompt)
                               : QStringLiteral("  %1\n").arg(info));
            });
    }
    const auto finish = [&](KZAlertResponse response) {
        QObject::disconnect(accessoryUpdates);
        return response;
    };

    const int choices = int(request.buttons.size());
    if (choices <= 1) {
        // A plain message: nothing to choose.
        return finish({KZAlertFirstButtonReturn, false});
    }
    if (!m_interactive || m_inputClosed) {
        write(QStringLiteral("  -> %1 (no terminal to ask)\n")
                  .arg(titleOf(request, request.cancelAnswer)));
        return finish({request.cancelAnswer, false});
    }

    while (true) {
        write(prompt);
        atPrompt = true;
        QByteArray line;
        const bool read = readLine(&line);
        atPrompt = false;
        if (!read) {
            write(QStringLiteral("\n  -> %1 (input closed)\n")
                      .arg(titleOf(request, request.cancelAnswer)));
            return finish({request.cancelAnswer, false});
        }
        QString answer = QString::fromUtf8(line).trimmed();
        bool ticked = false;
        if (!request.checkBoxTitle.isEmpty() && answer.endsWith(QLatin1Char('+'))) {
            ticked = true;
            answer.chop(1);
        }
        bool ok = false;
        const int number = answer.trimmed().toInt(&ok);
        if (ok && number >= 1 && number <= choices && !request.buttons.at(number - 1).isEmpty())
            return finish({KZAlertFirstButtonReturn + number - 1, ticked});
        write(QStringLiteral("  Please type the number of one of the choices.\n"));
    }
}

void KZTerminalAlertBackend::beginSheet(const KZAlertRequest &request)
{
    showTexts(request);
}

void KZTerminalAlertBackend::beep()
{
    if (isatty(m_outputFd) == 1)
        write(QStringLiteral("\a"));
}
