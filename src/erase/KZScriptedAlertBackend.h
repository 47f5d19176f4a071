#pragma once

#include "KZAlertBackend.h"

#include <QList>
#include <QMutex>

#include <functional>

// Answers alerts from a script given in advance and records everything it was shown. Tests use
// it in place of a person; the command line uses it to answer questions from its options.
class KZScriptedAlertBackend : public KZAlertBackend
{
public:
    struct Answer
    {
        Answer(int button = KZAlertFirstButtonReturn, bool checkBox = false)
            : answer(button)
            , checkBoxState(checkBox)
        {}

        int answer = KZAlertFirstButtonReturn;
        bool checkBoxState = false;
        // Keep the alert up (nested event loop) until this holds, e.g. until a background
        // calculation has finished, or until waitMs have passed.
        std::function<bool()> waitUntil;
        int waitMs = 0;
    };

    // What one alert showed, with the accessory line as it read when the alert closed.
    struct Shown
    {
        KZAlertRequest request;
        QString accessoryTextAtAnswer;
        bool wasSheet = false;
        int answer = 0;
        Qt::HANDLE thread = nullptr; // the thread it was shown on
    };

    // Answers the next alert, whichever it is, in the order enqueued.
    void enqueue(const Answer &answer);
    // Answers every alert with this identifier (the message's string-table key) once the
    // queue is empty; a later rule for the same identifier replaces the earlier one.
    void answerAlways(const QString &identifier, const Answer &answer);
    // A question with neither a queued answer nor a rule takes its cancel answer and counts
    // as unexpected. Messages (one button or none) answer 1000 and take nothing.

    [[nodiscard]] QList<Shown> shown() const;
    [[nodiscard]] QStringList shownIdentifiers() const;
    [[nodiscard]] int unexpectedCount() const;
    [[nodiscard]] int beepCount() const;
    void clear();

    KZAlertResponse runModal(const KZAlertRequest &request) override;
    void beginSheet(const KZAlertRequest &request) override;
    void beep() override;

private:
    KZAlertResponse answer(const KZAlertRequest &request, bool sheet);

    mutable QMutex m_lock;
    QList<Answer> m_queue;
    QList<std::pair<QString, Answer>> m_rules;
    QList<Shown> m_shown;
    int m_unexpected = 0;
    int m_beeps = 0;
};
