#include "KZCliInterrupt.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

int s_pipe[2] = {-1, -1};
volatile sig_atomic_t s_count = 0;
struct sigaction s_previous[kSignals.size()];

extern "C" void onSignal(int signal)
{
    const sig_atomic_t earlier = s_count;
    s_count = earlier + 1;
    if (earlier > 0) {
        // Asked twice: no more waiting for the job to wind down.
        ::signal(signal, SIG_DFL);
        ::raise(signal);
        return;
    }
    const int saved = errno;
    const auto byte = static_cast<unsigned char>(signal);
    (void)!::write(s_pipe[1], &byte, 1);
    errno = saved;
}

} // namespace

KZCliInterrupt::KZCliInterrupt(std::function<void(int)> handler, QObject *parent)
    : QObject(parent)
    , m_handler(std::move(handler))
{
    if (::pipe2(s_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    s_count = 0;
    m_notifier = new QSocketNotifier(s_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &KZCliInterrupt::readSignal);
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (size_t i = 0; i < kSignals.size(); ++i)
        ::sigaction(kSignals[i], &action, &s_previous[i]);
}

KZCliInterrupt::~KZCliInterrupt()
{
    if (!m_notifier)
        return;
    for (size_t i = 0; i < kSignals.size(); ++i)
        ::sigaction(kSignals[i], &s_previous[i], nullptr);
    delete m_notifier;
    ::close(s_pipe[0]);
    ::close(s_pipe[1]);
    s_pipe[0] = s_pipe[1] = -1;
}

void KZCliInterrupt::readSignal()
{
    unsigned char byte = 0;
    while (::read(s_pipe[0], &byte, 1) == 1) {
        if (m_received == 0) {
            m_received = byte;
            if (m_handler)
                m_handler(byte);
        }
    }
}
