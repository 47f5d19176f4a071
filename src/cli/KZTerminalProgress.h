#pragma once

#include "KZTerminalProgressBar.h"
#include "erase/KZProgressDisplay.h"

#include <memory>

// The erase job's progress display on the command line: hands what the engine shows to the
// run's one terminal line. The engine makes one per job and opens it once the job has run half
// a second. Main thread.
class KZTerminalProgress : public KZProgressDisplay
{
public:
    explicit KZTerminalProgress(std::shared_ptr<KZTerminalProgressBar> bar);
    ~KZTerminalProgress() override;

    void open() override;
    void update(const QString &title, const QString &countText, const QString &sizeText,
                quint64 value, quint64 maximum) override;
    void close() override;

private:
    std::shared_ptr<KZTerminalProgressBar> m_bar;
    bool m_open = false;
};
