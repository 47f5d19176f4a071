#include "KZHelperTool.h"

#include "KZHelperEraser.h"
#include "KZHelperTrashAccess.h"
#include "protocol/KZCbor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

namespace P = KZHelperProtocol;

namespace {

// Reads up to size bytes; fewer only at the end of the input.
std::size_t readFull(int fd, void *buffer, std::size_t size)
{
    auto *bytes = static_cast<char *>(buffer);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = read(fd, bytes + done, size - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

KZCborValue messageNamed(std::string_view name)
{
    KZCborValue message = KZCborValue::map();
    message.insert(std::string(P::kMessage), KZCborValue::text(std::string(name)));
    return message;
}

std::size_t depthOf(const std::string &path)
{
    return static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string percentDecoded(std::string_view text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() + 0 && hexValue(text[i + 1]) >= 0
            && hexValue(text[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
            i += 2;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

// Drops the lines of erased folders from the Trash's size cache ("size mtime name" lines, the
// name percent-encoded) through a temporary file and an atomic rename, keeping the owner and
// mode the user's.
void dropDirectorySizes(const KZHelperTrash &trash)
{
    if (trash.erasedNames.empty())
        return;
    KZFileDescriptor in(openat(trash.trash.get(), "directorysizes",
                               O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat st
    {
    };
    if (!in.isValid() || fstat(in.get(), &st) != 0 || !S_ISREG(st.st_mode)
        || st.st_size > (64 << 20))
        return;
    std::string content(static_cast<std::size_t>(st.st_size), '\0');
    content.resize(readFull(in.get(), content.data(), content.size()));

    const std::set<std::string> erased(trash.erasedNames.begin(), trash.erasedNames.end());
    std::string kept;
    bool dropped = false;
    std::size_t start = 0;
    while (start < content.size()) {
        std::size_t end = content.find('\n', start);
        end = end == std::string::npos ? content.size() : end + 1;
        const std::string_view line(content.data() + start, end - start);
        start = end;
        const std::size_t first = line.find(' ');
        const std::size_t second
            = first == std::string_view::npos ? first : line.find(' ', first + 1);
        if (second != std::string_view::npos) {
            std::string_view name = line.substr(second + 1);
            if (!name.empty() && name.back() == '\n')
                name.remove_suffix(1);
            if (erased.count(percentDecoded(name))) {
                dropped = true;
                continue;
            }
        }
        kept.append(line);
    }
    if (!dropped)
        return;

    const std::string temporary = "directorysizes.binwise-" + std::to_string(getpid());
    KZFileDescriptor out(openat(trash.trash.get(), temporary.c_str(),
                                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!out.isValid())
        return;
    bool ok
        = fchown(out.get(), st.st_uid, st.st_gid) == 0 && fchmod(out.get(), st.st_mode & 0777) == 0;
    for (std::size_t done = 0; ok && done < kept.size();) {
        const ssize_t written = write(out.get(), kept.data() + done, kept.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        ok = written > 0;
        done += ok ? static_cast<std::size_t>(written) : 0;
    }
    ok = ok && fsync(out.get()) == 0;
    if (!ok || renameat(trash.trash.get(), temporary.c_str(), trash.trash.get(), "directorysizes"))
        unlinkat(trash.trash.get(), temporary.c_str(), 0);
}

} // namespace

KZHelperTool::KZHelperTool(int input, int output, KZHelperIdentity identity)
    : m_input(input)
    , m_output(output)
    , m_identity(std::move(identity))
{
    m_worker = std::thread([this] { workerLoop(); });
}

KZHelperTool::~KZHelperTool()
{
    {
        std::lock_guard locker(m_queueLock);
        m_closing = true;
    }
    m_queueChanged.notify_all();
    if (m_worker.joinable())
        m_worker.join();
}

int KZHelperTool::run()
{
    int status = 0;
    std::string payload;
    for (bool reading = true; reading;) {
        switch (readFrame(&payload)) {
        case ReadStatus::Frame:
            handleFrame(payload);
            break;
        case ReadStatus::Oversized:
            sendError(P::kProtocolErrorMessage, P::kHelperDomain,
                      static_cast<std::int64_t>(P::HelperError::OversizedFrame),
                      "The message is larger than " + std::to_string(P::kMaxFrameSize) + " bytes.");
            break;
        case ReadStatus::Truncated:
            sendError(P::kProtocolErrorMessage, P::kHelperDomain,
                      static_cast<std::int64_t>(P::HelperError::TruncatedFrame),
                      "The input ended inside a message.");
            status = 2;
            reading = false;
            break;
        case ReadStatus::End:
            reading = false;
            break;
        }
    }
    // The application has gone: nobody can see progress or stop us any more, so a running
    // batch ends at its next item and leaves the rest as it is.
    m_stopped = true;
    {
        std::lock_guard locker(m_queueLock);
        m_closing = true;
        m_queue.clear();
    }
    m_queueChanged.notify_all();
    if (m_worker.joinable())
        m_worker.join();
    return status;
}

KZHelperTool::ReadStatus KZHelperTool::readFrame(std::string *payload)
{
    unsigned char header[P::kHeaderSize];
    const std::size_t got = readFull(m_input, header, sizeof header);
    if (got == 0)
        return ReadStatus::End;
    if (got < sizeof header)
        return ReadStatus::Truncated;
    const std::uint32_t size = P::frameSize(header);
    if (size > P::kMaxFrameSize) {
        // Skip the declared bytes so that the next frame is read from its start.
        char sink[65536];
        for (std::uint64_t left = size; left > 0;) {
            const std::size_t chunk
                = static_cast<std::size_t>(std::min<std::uint64_t>(left, sizeof sink));
            const std::size_t skipped = readFull(m_input, sink, chunk);
            if (skipped < chunk)
                return ReadStatus::Truncated;
            left -= skipped;
        }
        return ReadStatus::Oversized;
    }
    payload->resize(size);
    if (readFull(m_input, payload->data(), size) < size)
        return ReadStatus::Truncated;
    return ReadStatus::Frame;
}

void KZHelperTool::handleFrame(std::string_view payload)
{
    KZHelperRequest request;
    KZHelperRequest::Failure failure;
    if (!KZHelperRequest::parse(payload, &request, &failure)) {
        log("refused a message: " + failure.description);
        const bool known = failure.code == P::HelperError::BadArguments;
        if (known && failure.message == P::kEraseMessage) {
            KZCborValue finished = messageNamed(P::kFinishedMessage);
            finished.insert(std::string(P::kNonErasedCount),
                            KZCborValue::number(failure.itemCount));
            send(finished);
        }
        sendError(known ? std::string_view(failure.message) : P::kProtocolErrorMessage,
                  P::kHelperDomain, static_cast<std::int64_t>(failure.code), failure.description);
        return;
    }
    switch (request.kind) {
    case KZHelperRequest::Kind::GetVersion: {
        KZCborValue reply = messageNamed(P::kGetVersionMessage);
        reply.insert(std::string(P::kReply), KZCborValue::text(std::string(P::kVersion)));
        send(reply);
        return;
    }
    case KZHelperRequest::Kind::SetStopped:
        m_stopped = request.stopped;
        // Tests wait for this line before they let a paused batch go on.
        log(request.stopped ? "stop requested by the user" : "stop withdrawn");
        return;
    case KZHelperRequest::Kind::Erase:
    case KZHelperRequest::Kind::UnlockItems:
        break;
    }
    {
        std::lock_guard locker(m_queueLock);
        m_queue.push_back(std::move(request));
    }
    m_queueChanged.notify_one();
}

void KZHelperTool::workerLoop()
{
    for (;;) {
        KZHelperRequest request;
        {
            std::unique_lock locker(m_queueLock);
            m_queueChanged.wait(locker, [this] { return m_closing || !m_queue.empty(); });
            if (m_queue.empty())
                return;
            request = std::move(m_queue.front());
            m_queue.pop_front();
        }
        if (request.kind == KZHelperRequest::Kind::Erase)
            runErase(request);
        else
            runUnlock(request);
    }
}

void KZHelperTool::send(const KZCborValue &message)
{
    const std::string frame = P::encodeFrame(message);
    if (frame.empty()) {
        log("a reply could not be encoded");
        return;
    }
    std::lock_guard locker(m_writeLock);
    for (std::size_t done = 0; done < frame.size();) {
        const ssize_t written = write(m_output, frame.data() + done, frame.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            // The application stopped listening: stop rather than erase unseen.
            m_stopped = true;
            return;
        }
        done += static_cast<std::size_t>(written);
    }
}

void KZHelperTool::sendError(std::string_view message, std::string_view domain, std::int64_t code,
                             const std::string &description)
{
    KZCborValue reply = messageNamed(message);
    reply.insert(std::string(P::kError), P::errorValue(domain, code, description));
    send(reply);
}

void KZHelperTool::log(const std::string &line)
{
    // stderr is the application's diagnostics pipe; one line per event.
    std::string text = "binwise-helper: " + line;
    std::replace(text.begin(), text.end(), '\n', ' ');
    text.push_back('\n');
    (void)!write(STDERR_FILENO, text.data(), text.size());
}

void KZHelperTool::pauseForTest()
{
    if (m_identity.testPauseFd < 0)
        return;
    char byte = 0;
    while (read(m_identity.testPauseFd, &byte, 1) < 0 && errno == EINTR) {
    }
}

void KZHelperTool::runErase(const KZHelperRequest &request)
{
    std::uint64_t nonErased = 0;
    auto finish = [&] {
        KZCborValue finished = messageNamed(P::kFinishedMessage);
        finished.insert(std::string(P::kNonErasedCount), KZCborValue::number(nonErased));
        send(finished);
    };
    const std::uint64_t total = request.unlockItems.size() + request.permissionsItems.size();
    if (request.authorization.size() != P::kAuthorizationSize) {
        nonErased = total;
        finish();
        sendError(P::kEraseMessage, P::kOSStatusDomain, P::kAuthorizationInvalidRef,
                  "The authorization is not valid.");
        return;
    }
    if (!m_identity.uid) {
        nonErased = total;
        finish();
        sendError(P::kEraseMessage, P::kOSStatusDomain, P::kAuthorizationDenied,
                  "The helper does not know whom it works for.");
        return;
    }

    KZHelperTrashAccess access(*m_identity.uid, m_identity.dataHome);
    KZHelperEraser eraser(&m_stopped);
    std::uint64_t count = request.erasedCount;
    std::uint64_t size = request.erasedSize;
    std::set<std::string> erasedPaths;

    auto report = [&](const std::string &path, std::uint64_t itemSize) {
        KZCborValue message = messageNamed(P::kItemsErasedMessage);
        message.insert(std::string(P::kCount), KZCborValue::number(count));
        message.insert(std::string(P::kTotSize), KZCborValue::number(size));
        message.insert(std::string(P::kItemSize), KZCborValue::number(itemSize));
        message.insert(std::string(P::kItemPath), KZCborValue::bytes(path));
        send(message);
    };
    // A top-level item takes its info file and its size-cache line along, once it is gone.
    auto forgetTopLevel = [](KZHelperItem &item) {
        struct stat st
        {
        };
        if (!item.topLevel
            || fstatat(item.parent.get(), item.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0
            || errno != ENOENT)
            return;
        KZFileDescriptor info(
            openat(item.trash->trash.get(), "info", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (info.isValid())
            unlinkat(info.get(), (item.name + ".trashinfo").c_str(), 0);
        item.trash->erasedNames.push_back(item.name);
    };

    struct Entry
    {
        const std::string *path;
        bool unlock;
    };
    std::vector<Entry> entries;
    for (const std::string &path : request.unlockItems)
        entries.push_back({&path, true});
    for (const std::string &path : request.permissionsItems)
        entries.push_back({&path, false});

    for (std::size_t i = 0; i < entries.size(); ++i) {
        pauseForTest();
        const std::string &path = *entries[i].path;
        if (m_stopped) {
            nonErased += entries.size() - i;
            break;
        }
        // A locked item that also failed its permission check comes twice; once is enough.
        if (erasedPaths.count(path))
            continue;
        std::string reason;
        std::optional<KZHelperItem> item = access.locate(path, &reason);
        if (!item) {
            log("refused " + path + ": " + reason);
            ++nonErased;
            continue;
        }
        const KZHelperEraser::Result result
            = eraser.removeItem(item->parent.get(), item->name, item->trash->mountId,
                                {entries[i].unlock, request.eraseSecurely});
        if (result.erased) {
            count += result.count;
            size += result.bytes;
            erasedPaths.insert(path);
            forgetTopLevel(*item);
            report(path, result.bytes);
        } else if (!result.vanished) {
            log("not erased " + path + ": " + result.failure);
            ++nonErased;
        }
        if (result.stopped) {
            nonErased += entries.size() - i - 1;
            break;
        }
    }

    // Folders the application left because they held what the helper has now erased: the
    // deepest first, and only when they have become empty.
    std::vector<std::string> folders = request.notTrashed;
    std::stable_sort(
        folders.begin(), folders.end(),
        [](const std::string &a, const std::string &b) { return depthOf(a) > depthOf(b); });
    for (const std::string &path : folders) {
        if (m_stopped)
            break;
        std::string reason;
        std::optional<KZHelperItem> item = access.locate(path, &reason);
        if (!item) {
            log("refused " + path + ": " + reason);
            continue;
        }
        if (eraser.removeEmptyFolder(item->parent.get(), item->name, &reason)) {
            ++count;
            forgetTopLevel(*item);
            report(path, 0);
        }
    }

    for (KZHelperTrash *trash : access.openedTrashes())
        dropDirectorySizes(*trash);
    finish();
    send(messageNamed(P::kEraseMessage)); // the reply, without an error
}

void KZHelperTool::runUnlock(const KZHelperRequest &request)
{
    KZCborValue unlocked = KZCborValue::array();
    if (m_identity.uid) {
        KZHelperTrashAccess access(*m_identity.uid, m_identity.dataHome);
        KZHelperEraser eraser(&m_stopped);
        for (const std::string &path : request.unlockArray) {
            std::string reason;
            std::optional<KZHelperItem> item = access.locate(path, &reason);
            if (item
                && eraser.unlockItem(item->parent.get(), item->name, item->trash->mountId, &reason))
                unlocked.append(KZCborValue::bytes(path));
            else
                log("not unlocked " + path + ": " + reason);
        }
    }
    KZCborValue reply = messageNamed(P::kUnlockItemsMessage);
    reply.insert(std::string(P::kReply), std::move(unlocked));
    send(reply);
}
