#pragma once

#include <QString>
#include <QtGlobal>

// How an erase job's progress is drawn: a terminal bar on standard error for the command line,
// a window for the desktop application, nothing at all under test. KZProgressUI keeps the
// state and decides when to show; a display only draws what it is given. Main thread only.
class KZProgressDisplay
{
public:
    virtual ~KZProgressDisplay() = default;

    // The job has run long enough to be worth showing.
    virtual void open() = 0;
    // The current state: title (which Trash is being erased; may be empty), the erased count
    // and size as the user reads them, and the bar (value of maximum; a maximum of 0 means
    // "not known yet"). Called at every timer tick while open.
    virtual void update(const QString &title, const QString &countText, const QString &sizeText,
                        quint64 value, quint64 maximum)
        = 0;
    // The job ended or was stopped. No update follows.
    virtual void close() = 0;
};
