#pragma once

#include <QStringList>
#include <QtGlobal>

// Collects the Qt log messages of this process while it lives (one at a time). Main thread.
class KZTestMessages
{
public:
    KZTestMessages()
    {
        s_lines.clear();
        m_previous
            = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &,
                                        const QString &message) { s_lines.append(message); });
    }
    ~KZTestMessages() { qInstallMessageHandler(m_previous); }
    KZTestMessages(const KZTestMessages &) = delete;
    KZTestMessages &operator=(const KZTestMessages &) = delete;

    [[nodiscard]] static QStringList lines() { return s_lines; }

private:
    QtMessageHandler m_previous = nullptr;
    static inline QStringList s_lines;
};
