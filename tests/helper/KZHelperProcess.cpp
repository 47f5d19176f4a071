#include "KZHelperProcess.h"

#include "protocol/KZCbor.h"
#include "protocol/KZHelperProtocol.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

extern char **environ;

namespace {

void writeAll(int fd, const std::string &bytes)
{
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t written = write(fd, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        done += static_cast<std::size_t>(written);
    }
}

} // namespace

std::string KZHelperProcess::helperPath()
{
    const char *overridden = std::getenv("BINWISE_TEST_HELPER_BINARY");
    return overridden ? overridden : BINWISE_HELPER_BINARY;
}

KZHelperProcess::KZHelperProcess(const Options &options)
{
    int in[2], out[2], err[2], pause[2] = {-1, -1};
    if (pipe2(in, O_CLOEXEC) || pipe2(out, O_CLOEXEC) || pipe2(err, O_CLOEXEC)
        || (options.withPause && pipe2(pause, O_CLOEXEC)))
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    std::vector<std::string> arguments{helperPath()};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    if (options.withPause) {
        posix_spawn_file_actions_adddup2(&actions, pause[0], 3);
        arguments.insert(arguments.end(), {"--test-pause-fd", "3"});
    }
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::vector<std::string> environment;
    for (char **entry = environ; *entry; ++entry)
        environment.emplace_back(*entry);
    environment.insert(environment.end(), options.environment.begin(), options.environment.end());
    std::vector<char *> envp;
    for (std::string &entry : environment)
        envp.push_back(entry.data());
    envp.push_back(nullptr);

    if (posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0)
        m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    close(err[1]);
    m_in = in[1];
    m_out = out[0];
    m_err = err[0];
    if (options.withPause) {
        close(pause[0]);
        m_pause = pause[1];
    }
}

KZHelperProcess::~KZHelperProcess()
{
    closeInput();
    if (m_pause >= 0)
        close(m_pause);
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        (void)wait();
    }
    close(m_out);
    if (m_err >= 0)
        close(m_err);
}

void KZHelperProcess::send(const KZCborValue &message)
{
    sendRaw(KZHelperProtocol::encodeFrame(message));
}

void KZHelperProcess::sendRaw(const std::string &bytes)
{
    writeAll(m_in, bytes);
}

void KZHelperProcess::closeInput()
{
    if (m_in >= 0)
        close(m_in);
    m_in = -1;
}

void KZHelperProcess::release()
{
    writeAll(m_pause, std::string(1, 'g'));
}

bool KZHelperProcess::readSome(int timeoutMs)
{
    pollfd fds[2] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
    if (poll(fds, 2, timeoutMs) <= 0)
        return false;
    char buffer[65536];
    bool any = false;
    for (int i = 0; i < 2; ++i) {
        if (!(fds[i].revents & (POLLIN | POLLHUP)))
            continue;
        const ssize_t got = read(fds[i].fd, buffer, sizeof buffer);
        if (got > 0) {
            (i == 0 ? m_outBuffer : m_log).append(buffer, static_cast<std::size_t>(got));
            any = true;
        } else if (i == 0) {
            return any; // stdout closed
        } else {
            close(m_err); // stderr closed: stop polling it
            m_err = -1;
        }
    }
    return true;
}

std::optional<KZCborValue> KZHelperProcess::receive(int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (m_outBuffer.size() >= KZHelperProtocol::kHeaderSize) {
            const std::uint32_t size = KZHelperProtocol::frameSize(
                reinterpret_cast<const unsigned char *>(m_outBuffer.data()));
            if (m_outBuffer.size() >= KZHelperProtocol::kHeaderSize + size) {
                KZCborValue value;
                const bool ok = KZCbor::decode(
                    std::string_view(m_outBuffer).substr(KZHelperProtocol::kHeaderSize, size),
                    &value, nullptr);
                m_outBuffer.erase(0, KZHelperProtocol::kHeaderSize + size);
                if (!ok)
                    return std::nullopt;
                return value;
            }
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !readSome(static_cast<int>(left.count())))
            return std::nullopt;
    }
}

bool KZHelperProcess::waitForLog(const std::string &text, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (m_log.find(text) == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !readSome(static_cast<int>(left.count())))
            return false;
    }
    return true;
}

int KZHelperProcess::wait()
{
    int status = -1;
    if (m_pid > 0) {
        while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
        m_pid = -1;
    }
    return status;
}

namespace KZHelperTestMessages {

KZCborValue request(const std::string &name)
{
    KZCborValue message = KZCborValue::map();
    message.insert("message", KZCborValue::text(name));
    return message;
}

std::string text(const KZCborValue &message, const char *key)
{
    const KZCborValue *value = message.find(key);
    return value ? value->toString() : std::string();
}

std::uint64_t number(const KZCborValue &message, const char *key)
{
    const KZCborValue *value = message.find(key);
    return value ? value->toUnsigned() : ~std::uint64_t{0};
}

} // namespace KZHelperTestMessages
