#pragma once

#include <QMutex>
#include <QStringList>
#include <QtGlobal>

// Collects the Qt log messages of this process, from any thread, while it lives (one at a
// time). Made and read on the main thread.
class KZTestMessages
{
public:
    KZTestMessages()
    {
        s_lines.clear();
        m_previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &message) {
                QMutexLocker locker(&s_lock);
                s_lines.append(message);
            });
    }
    ~KZTestMessages() { qInstallMessageHandler(m_previous); }
    KZTestMessages(const KZTestMessages &) = delete;
    KZTestMessages &operator=(const KZTestMessages &) = delete;

    [[nodiscard]] static QStringList lines()
    {
        QMutexLocker locker(&s_lock);
        return s_lines;
    }

private:
    QtMessageHandler m_previous = nullptr;
    static inline QMutex s_lock;
    static inline QStringList s_lines;
};
