#pragma once

#include "protocol/KZCborValue.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// The real binwise-helper as a child process, spoken to over pipes exactly as the application
// does: frames on its stdin and stdout, diagnostics on stderr. Optionally with the test-only
// pause descriptor, which holds the helper before each batch item until a byte arrives.
class KZHelperProcess
{
public:
    struct Options
    {
        std::vector<std::string> arguments;
        std::vector<std::string> environment; // NAME=VALUE, added to the test's own
        bool withPause = false;
    };

    explicit KZHelperProcess(const Options &options);
    ~KZHelperProcess();
    KZHelperProcess(const KZHelperProcess &) = delete;
    KZHelperProcess &operator=(const KZHelperProcess &) = delete;

    [[nodiscard]] bool isRunning() const { return m_pid > 0; }
    void send(const KZCborValue &message);
    void sendRaw(const std::string &bytes);
    void closeInput();
    // Lets the paused helper take its next batch item.
    void release();
    // The next frame, decoded; nullopt at the end of the output or after timeoutMs.
    [[nodiscard]] std::optional<KZCborValue> receive(int timeoutMs = 20000);
    // Waits until stderr has shown a line containing text.
    [[nodiscard]] bool waitForLog(const std::string &text, int timeoutMs = 20000);
    [[nodiscard]] const std::string &log() const { return m_log; }
    // Waits for the exit; the raw wait status.
    int wait();

    [[nodiscard]] static std::string helperPath();

private:
    bool readSome(int timeoutMs);

    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    int m_err = -1;
    int m_pause = -1;
    std::string m_outBuffer;
    std::string m_log;
};

// Message helpers shared by the helper and client tests.
namespace KZHelperTestMessages {
KZCborValue request(const std::string &name);
std::string text(const KZCborValue &message, const char *key);
std::uint64_t number(const KZCborValue &message, const char *key);
} // namespace KZHelperTestMessages
