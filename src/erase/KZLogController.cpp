#include "KZLogController.h"

#include "format/KZDateUtilities.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "model/KZItemAttributes.h"
#include "model/KZPath.h"
#include "protocol/KZFileDescriptor.h"

#include <QDateTime>
#include <QMutexLocker>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Enough lines to make each write worth it, few enough that a tick's flush stays short.
constexpr qsizetype kBufferLimit = 64 * 1024;

// Makes every missing folder of path, 0700 as XDG state folders are; true when path is a
// folder at the end.
bool makeFolders(const QByteArray &path, KZFileManager &fm)
{
    for (qsizetype at = 1; at <= path.size(); ++at) {
        if (at < path.size() && path[at] != '/')
            continue;
        const QByteArray part = path.left(at);
        if (fm.mkdirat(AT_FDCWD, part.constData(), 0700) != 0 && errno != EEXIST)
            return false;
    }
    struct statx st = {};
    return fm.statx(AT_FDCWD, path.constData(), 0, STATX_TYPE, &st) == 0 && S_ISDIR(st.stx_mode);
}

// A folder or file name made from a volume name or a date: "/" cannot be in a Linux name and
// stands as ":" (the way volume names are shown elsewhere); a name of dots alone would mean
// another folder.
QString fileSystemName(const QString &name)
{
    QString out = name;
    out.replace(QLatin1Char('/'), QLatin1Char(':'));
    if (out == QLatin1String(".") || out == QLatin1String(".."))
        out.replace(QLatin1Char('.'), QLatin1Char(':'));
    return out;
}

// The creation date of the file at path in seconds since 1970, else its modification date
// where the file system keeps no creation date; nothing when it cannot be read.
std::optional<double> creationDate(const QByteArray &path)
{
    const auto st = KZItemAttributes::statItem(path, STATX_TYPE | STATX_MTIME | STATX_BTIME);
    if (!st)
        return std::nullopt;
    const struct statx_timestamp &stamp
        = (st->stx_mask & STATX_BTIME) ? st->stx_btime : st->stx_mtime;
    return double(stamp.tv_sec) + stamp.tv_nsec / 1e9;
}

// Printable ASCII without a backslash: written as it is, escaped or not.
bool isPlainText(const QByteArray &bytes)
{
    for (const char c : bytes) {
        if (c < 0x20 || c > 0x7e || c == '\\')
            return false;
    }
    return true;
}

double systemNow()
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

} // namespace

QByteArray KZLogController::defaultLogsFolder()
{
    QByteArray state = qgetenv("XDG_STATE_HOME");
    if (!state.startsWith('/'))
        state = KZPath::join(qgetenv("HOME"), ".local/state");
    return KZPath::join(state, "Binwise/Logs");
}

KZLogController::KZLogController(const QVariantMap &dictionary, const QByteArray &logsFolder,
                                 KZFileManager &fileManager)
    : m_infoDict(dictionary)
    , m_logsFolder(logsFolder.isEmpty() ? defaultLogsFolder() : logsFolder)
    , m_fileManager(fileManager)
    , m_now(systemNow)
{}

KZLogController::~KZLogController()
{
    QMutexLocker locker(&m_lock);
    flushLocked();
    if (m_currLogHandle >= 0)
        m_fileManager.close(m_currLogHandle);
}

QString KZLogController::text(const QString &key) const
{
    // Values are keys or finished texts (a volume name); a text that is not a key stays.
    return KZLocalizedString(key);
}

bool KZLogController::openLogFile()
{
    const QString name = text(m_infoDict.value(kPartialLogName).toString());
    const QUrl folder = urlWithFolderName(name);
    if (folder.isEmpty())
        return false;
    const auto days = qint16(m_infoDict.value(kGapTime).toInt());
    if (!searchLogFileWithURL(folder, days)) {
        const double now = m_now();
        const QString date = KZDateUtilities::sharedControl().stringWithSeconds(
            now - double(KZDateUtilities::kSeconds1970To2001), KZDateUtilities::LongStyle, true,
            true);
        const QString fileName = fileSystemName(
            name
            + KZLocalizedStrings::replaceContentOfString(text(QStringLiteral("log_name")), {date}));
        const QByteArray path = KZPath::join(KZPath::pathFromURL(folder), fileName.toUtf8());
        // Two jobs in one second name the same file: the second appends rather than wipe it.
        const KZFileDescriptor created(m_fileManager.openat(
            AT_FDCWD, path.constData(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!created.isValid())
            return false;
        QMutexLocker locker(&m_lock);
        m_currLogURL = KZPath::urlFromPath(path);
    }
    QMutexLocker locker(&m_lock);
    const QByteArray path = KZPath::pathFromURL(m_currLogURL);
    if (m_currLogHandle >= 0)
        m_fileManager.close(m_currLogHandle);
    m_currLogHandle = m_fileManager.openat(
        AT_FDCWD, path.constData(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, 0);
    m_writeError = m_currLogHandle < 0 ? errno : 0;
    m_totSize = 0;
    m_itemsCount = 0;
    m_buffer.clear();
    return true;
}

QUrl KZLogController::urlWithFolderName(const QString &name)
{
    const QByteArray folder = KZPath::join(m_logsFolder, fileSystemName(name).toUtf8());
    if (!makeFolders(m_logsFolder, m_fileManager) || !makeFolders(folder, m_fileManager))
        return {};
    return KZPath::urlFromPath(folder);
}

bool KZLogController::searchLogFileWithURL(const QUrl &folder, qint16 days)
{
    const QByteArray folderPath = KZPath::pathFromURL(folder);
    const KZFileDescriptor fd(m_fileManager.openat(
        AT_FDCWD, folderPath.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW, 0));
    if (!fd.isValid())
        return false;
    DIR *dir = ::fdopendir(::dup(fd.get()));
    if (!dir)
        return false;
    std::optional<double> newest;
    QByteArray newestPath;
    errno = 0;
    while (const struct dirent *entry = ::readdir(dir)) {
        const QByteArray entryName(entry->d_name);
        if (entryName.startsWith('.'))
            continue; // hidden, and "." and ".."
        const QByteArray path = KZPath::join(folderPath, entryName);
        if (KZItemAttributes::isListedInHiddenFile(path))
            continue;
        const auto st = KZItemAttributes::statItem(path, STATX_TYPE);
        if (!st || S_ISDIR(st->stx_mode))
            continue;
        const auto created = creationDate(path);
        if (created && (!newest || *created > *newest)) {
            newest = created;
            newestPath = path;
        }
    }
    ::closedir(dir);
    if (!newest)
        return false;
    QMutexLocker locker(&m_lock);
    m_currLogURL = KZPath::urlFromPath(newestPath);
    return double(days) * 60 * 60 * 24 > m_now() - *newest;
}

void KZLogController::writeStartSession()
{
    QMutexLocker locker(&m_lock);
    if (m_currLogHandle < 0)
        return;
    const QString date = KZDateUtilities::sharedControl().stringWithSeconds(
        m_now() - double(KZDateUtilities::kSeconds1970To2001), KZDateUtilities::FullStyle, true,
        true);
    const QString line = date + QLatin1Char(' ') + text(m_infoDict.value(kStartStr).toString())
                         + QLatin1Char('\n');
    writeLocked(line.toUtf8());
}

void KZLogController::writeEntryWithPath(const QByteArray &path, quint64 itemSize)
{
    QMutexLocker locker(&m_lock);
    if (m_currLogHandle < 0)
        return;
    m_totSize += itemSize;
    ++m_itemsCount;
    // One line per item whatever the name holds: a line break in a name is written escaped.
    appendCount(m_itemsCount);
    m_buffer.append(' ');
    if (isPlainText(path))
        m_buffer.append(path); // what escaping would give, without the detour
    else
        m_buffer.append(KZPath::escapedDisplayString(path).toUtf8());
    m_buffer.append('\n');
    if (m_buffer.size() >= kBufferLimit)
        flushLocked();
}

void KZLogController::writeNote(const QString &text)
{
    QMutexLocker locker(&m_lock);
    if (m_currLogHandle < 0)
        return;
    // Names in it come escaped already; a stray control character only becomes a space.
    QByteArray line = text.toUtf8();
    for (char &c : line) {
        if (static_cast<unsigned char>(c) < 0x20)
            c = ' ';
    }
    m_buffer.append(line);
    m_buffer.append('\n');
    if (m_buffer.size() >= kBufferLimit)
        flushLocked();
}

void KZLogController::writeEndSessionAndCloseFile()
{
    QMutexLocker locker(&m_lock);
    if (m_currLogHandle >= 0) {
        const QString size
            = KZNumberUtilities::sharedControl().sizeToFormatString(m_totSize, 4, true);
        const QString date = KZDateUtilities::sharedControl().stringWithSeconds(
            m_now() - double(KZDateUtilities::kSeconds1970To2001), KZDateUtilities::FullStyle, true,
            true);
        const QString line
            = KZLocalizedFormat(QStringLiteral("items_erased"),
                                {size, date, text(m_infoDict.value(kEndStr).toString())});
        writeLocked(line.toUtf8());
        flushLocked();
        m_fileManager.close(m_currLogHandle);
    }
    m_currLogHandle = -1;
    m_currLogURL.clear();
    m_infoDict.clear();
}

void KZLogController::flush()
{
    QMutexLocker locker(&m_lock);
    flushLocked();
}

void KZLogController::appendCount(quint64 count)
{
    if (!m_grouping) {
        // Where the locale writes Latin digits in groups of three (most do), a count is
        // written here as the number formatter would, without its cost on every line.
        m_grouping = QByteArray();
        const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
        const QString sample = numbers.numberToFormatString(1234567.0);
        const QString separator = sample.mid(1, sample.size() - 7).left((sample.size() - 7) / 2);
        const QString expected = QLatin1Char('1') + separator + QLatin1String("234") + separator
                                 + QLatin1String("567");
        if (sample == expected && numbers.numberToFormatString(999.0) == QLatin1String("999")
            && numbers.numberToFormatString(12345.0)
                   == QLatin1String("12") + separator + QLatin1String("345")) {
            m_grouping = separator.toUtf8();
        } else {
            m_grouping = QByteArray("\0", 1); // not possible: ask the formatter every time
        }
    }
    if (*m_grouping == QByteArray("\0", 1)) {
        m_buffer.append(
            KZNumberUtilities::sharedControl().numberToFormatString(double(count)).toUtf8());
        return;
    }
    char digits[24];
    int size = 0;
    do {
        digits[size++] = char('0' + count % 10);
        count /= 10;
    } while (count != 0);
    for (int i = size - 1; i >= 0; --i) {
        m_buffer.append(digits[i]);
        if (i > 0 && i % 3 == 0 && !m_grouping->isEmpty())
            m_buffer.append(*m_grouping);
    }
}

void KZLogController::writeLocked(const QByteArray &bytes)
{
    m_buffer.append(bytes);
}

void KZLogController::flushLocked()
{
    qsizetype written = 0;
    while (m_currLogHandle >= 0 && written < m_buffer.size()) {
        const ssize_t n = m_fileManager.write(m_currLogHandle, m_buffer.constData() + written,
                                              size_t(m_buffer.size() - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            // A full disk loses log lines, never the erase; the end of the job says so.
            if (m_writeError == 0)
                m_writeError = n < 0 ? errno : ENOSPC;
            break;
        }
        written += n;
    }
    m_buffer.resize(0); // keeps its room for the next lines
}

int KZLogController::writeError() const
{
    QMutexLocker locker(&m_lock);
    return m_writeError;
}

QUrl KZLogController::currLogURL() const
{
    QMutexLocker locker(&m_lock);
    return m_currLogURL;
}

bool KZLogController::isOpen() const
{
    QMutexLocker locker(&m_lock);
    return m_currLogHandle >= 0;
}

quint64 KZLogController::totSize() const
{
    QMutexLocker locker(&m_lock);
    return m_totSize;
}

quint64 KZLogController::itemsCount() const
{
    QMutexLocker locker(&m_lock);
    return m_itemsCount;
}

QVariantMap KZLogController::infoDict() const
{
    QMutexLocker locker(&m_lock);
    return m_infoDict;
}

void KZLogController::setClock(std::function<double()> now)
{
    QMutexLocker locker(&m_lock);
    m_now = now ? std::move(now) : std::function<double()>(systemNow);
}
