#pragma once

#include "model/KZFileManager.h"

#include <QByteArray>
#include <QMutex>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <optional>

// The erase log of one job: a start line, one line per item erased, an end line with the total
// size, appended to the newest file of the job kind's folder until that file is a set number
// of days old. Files live in $XDG_STATE_HOME/Binwise/Logs/<job kind>/, UTF-8, one line per
// item: a path that holds a line break or other control characters (or is not UTF-8) is written
// escaped. Lines are buffered and reach the file in whole lines; the end of the session
// flushes. Item lines may come from the walker thread or the helper's callbacks while the main
// thread flushes: every entry is thread-safe.
class KZLogController
{
public:
    // Settings dictionary keys.
    static inline const QString kStartStr = QStringLiteral("startStr");
    static inline const QString kEndStr = QStringLiteral("endStr");
    static inline const QString kPartialLogName = QStringLiteral("partialLogName");
    static inline const QString kGapTime = QStringLiteral("gapTime");

    // $XDG_STATE_HOME/Binwise/Logs (else ~/.local/state/Binwise/Logs), read now.
    [[nodiscard]] static QByteArray defaultLogsFolder();

    // dictionary: the settings above (copied). logsFolder: where the job-kind folders go;
    // empty means defaultLogsFolder(). The log's folders and file are made, opened and written
    // through fileManager, which must outlive the controller.
    KZLogController(const QVariantMap &dictionary, const QByteArray &logsFolder,
                    KZFileManager &fileManager);
    ~KZLogController();
    KZLogController(const KZLogController &) = delete;
    KZLogController &operator=(const KZLogController &) = delete;

    // Finds the newest log file of the job kind that may still be used, or makes a new one,
    // and opens it for appending. False when the folder or a new file cannot be made (also
    // true when an existing file was found but could not be opened: writes then do nothing,
    // and writeError tells why).
    bool openLogFile();
    // The job kind's folder, made (0700, with the folders above it) when missing; empty on
    // failure. A "/" in the name, which no Linux file name can hold, is written as ":".
    [[nodiscard]] QUrl urlWithFolderName(const QString &name);
    // Picks the newest visible, non-folder entry of the folder (by creation date, else the
    // modification date where the file system keeps none) as currLogURL, and answers whether
    // it is younger than days.
    [[nodiscard]] bool searchLogFileWithURL(const QUrl &folder, qint16 days);

    // The three kinds of line; each does nothing without an open file.
    void writeStartSession();
    void writeEntryWithPath(const QByteArray &path, quint64 itemSize);
    void writeEndSessionAndCloseFile();
    // A line of its own about the session (a stop, an item not erased), written as one line
    // whatever the text holds; it takes no item number. Nothing without an open file.
    void writeNote(const QString &text);
    // Writes buffered lines out now (the engine does so at each progress tick).
    void flush();

    [[nodiscard]] QUrl currLogURL() const;
    // The errno of the first failure to open or write the log file since it was opened (lines
    // were lost from then on), or 0. Lines are lost, never the erase.
    [[nodiscard]] int writeError() const;
    [[nodiscard]] bool isOpen() const;
    [[nodiscard]] quint64 totSize() const;
    [[nodiscard]] quint64 itemsCount() const;
    [[nodiscard]] QVariantMap infoDict() const;

    // Seconds since 1970 now; tests move the clock to age a log file.
    void setClock(std::function<double()> now);

private:
    void writeLocked(const QByteArray &bytes);
    // The running item number as the locale writes it.
    void appendCount(quint64 count);
    void flushLocked();
    [[nodiscard]] QString text(const QString &key) const;

    mutable QMutex m_lock;
    QVariantMap m_infoDict;
    QByteArray m_logsFolder;
    quint64 m_totSize = 0;
    quint64 m_itemsCount = 0;
    QUrl m_currLogURL;
    int m_currLogHandle = -1;
    int m_writeError = 0;
    KZFileManager &m_fileManager;
    QByteArray m_buffer;
    std::function<double()> m_now;
    std::optional<QByteArray> m_grouping; // the group separator, once known
};
