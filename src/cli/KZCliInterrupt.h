#pragma once

#include <QObject>

#include <functional>

class QSocketNotifier;

// Turns SIGINT, SIGTERM and SIGHUP into a call on the main thread, so that Ctrl-C stops an
// erase the way the progress window's Stop does: the job ends at its next item, the log is
// closed, and whatever was not erased keeps its info file. A second signal ends the process
// at once. One at a time; main thread.
class KZCliInterrupt : public QObject
{
    Q_OBJECT

public:
    explicit KZCliInterrupt(std::function<void(int signal)> handler, QObject *parent = nullptr);
    // Gives the signals back to their previous handlers.
    ~KZCliInterrupt() override;

    // The first signal received, 0 while none was.
    [[nodiscard]] int received() const { return m_received; }

private:
    void readSignal();

    std::function<void(int)> m_handler;
    QSocketNotifier *m_notifier = nullptr;
    int m_received = 0;
};
