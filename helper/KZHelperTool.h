#pragma once

#include "KZHelperIdentity.h"
#include "KZHelperRequest.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

// The helper's side of the channel: reads frames from one descriptor, answers on another.
// The reading thread answers getVersionWithReply: and setStoppedByUser: at once and hands
// erase and unlock requests, in order, to one worker thread, so that a stop reaches a running
// batch. Anything that is not one of the four requests, well formed, is answered with an error
// and otherwise ignored.
class KZHelperTool
{
public:
    KZHelperTool(int input, int output, KZHelperIdentity identity);
    ~KZHelperTool();
    KZHelperTool(const KZHelperTool &) = delete;
    KZHelperTool &operator=(const KZHelperTool &) = delete;

    // Serves until the input ends; the exit status: 0 at a clean end, 2 when the input ended
    // inside a frame.
    int run();

private:
    // Answers a request that needs no worker, queues the others, refuses anything else.
    void handleFrame(std::string_view payload);

    enum class ReadStatus { Frame, End, Truncated, Oversized };
    ReadStatus readFrame(std::string *payload);

    void send(const KZCborValue &message);
    void sendError(std::string_view message, std::string_view domain, std::int64_t code,
                   const std::string &description);
    void log(const std::string &line);

    void workerLoop();
    void runErase(const KZHelperRequest &request);
    void runUnlock(const KZHelperRequest &request);
    void pauseForTest();

    int m_input;
    int m_output;
    KZHelperIdentity m_identity;
    std::atomic<bool> m_stopped{false};
    std::mutex m_writeLock;

    std::mutex m_queueLock;
    std::condition_variable m_queueChanged;
    std::deque<KZHelperRequest> m_queue;
    bool m_closing = false;
    std::thread m_worker;
};
