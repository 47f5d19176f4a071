#include "KZScriptedAlertBackend.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QMutexLocker>
#include <QThread>
#include <QTimer>

void KZScriptedAlertBackend::enqueue(const Answer &answer)
{
    QMutexLocker locker(&m_lock);
    m_queue.append(answer);
}

void KZScriptedAlertBackend::answerAlways(const QString &identifier, const Answer &answer)
{
    QMutexLocker locker(&m_lock);
    for (auto &rule : m_rules) {
        if (rule.first == identifier) {
            rule.second = answer;
            return;
        }
    }
    m_rules.append({identifier, answer});
}

QList<KZScriptedAlertBackend::Shown> KZScriptedAlertBackend::shown() const
{
    QMutexLocker locker(&m_lock);
    return m_shown;
}

QStringList KZScriptedAlertBackend::shownIdentifiers() const
{
    QMutexLocker locker(&m_lock);
    QStringList ids;
    for (const Shown &s : m_shown)
        ids.append(s.request.identifier);
    return ids;
}

int KZScriptedAlertBackend::unexpectedCount() const
{
    QMutexLocker locker(&m_lock);
    return m_unexpected;
}

int KZScriptedAlertBackend::beepCount() const
{
    QMutexLocker locker(&m_lock);
    return m_beeps;
}

void KZScriptedAlertBackend::clear()
{
    QMutexLocker locker(&m_lock);
    m_queue.clear();
    m_rules.clear();
    m_shown.clear();
    m_unexpected = 0;
    m_beeps = 0;
}

KZAlertResponse KZScriptedAlertBackend::answer(const KZAlertRequest &request, bool sheet)
{
    std::optional<Answer> scripted;
    // A message with nothing to choose needs no answer and takes none from the script.
    const bool isQuestion = request.buttons.size() > 1;
    if (isQuestion) {
        QMutexLocker locker(&m_lock);
        if (!m_queue.isEmpty()) {
            scripted = m_queue.takeFirst();
        } else {
            for (const auto &rule : m_rules) {
                if (rule.first == request.identifier)
                    scripted = rule.second;
            }
        }
        if (!scripted)
            ++m_unexpected;
    }

    if (scripted && (scripted->waitUntil || scripted->waitMs > 0)) {
        // Stay "on screen" the way a modal alert does: a nested event loop keeps timers and
        // queued calls running until the condition holds (or a generous time has passed).
        const QDeadlineTimer deadline(scripted->waitUntil ? 30000 : scripted->waitMs);
        const auto done = [&] {
            return deadline.hasExpired() || (scripted->waitUntil && scripted->waitUntil());
        };
        if (!done()) {
            QEventLoop loop;
            QTimer poll;
            QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
                if (done())
                    loop.quit();
            });
            poll.start(5);
            loop.exec();
        }
    }

    KZAlertResponse response;
    if (scripted) {
        response.answer = scripted->answer;
        response.checkBoxState = request.checkBoxTitle.isEmpty() ? false : scripted->checkBoxState;
    } else if (isQuestion) {
        response.answer = request.cancelAnswer;
    }

    QMutexLocker locker(&m_lock);
    m_shown.append({request, request.accessory ? request.accessory->infoText() : QString(), sheet,
                    response.answer, QThread::currentThreadId()});
    return response;
}

KZAlertResponse KZScriptedAlertBackend::runModal(const KZAlertRequest &request)
{
    return answer(request, false);
}

void KZScriptedAlertBackend::beginSheet(const KZAlertRequest &request)
{
    (void)answer(request, true);
}

void KZScriptedAlertBackend::beep()
{
    QMutexLocker locker(&m_lock);
    ++m_beeps;
}
