#include "KZXvfb.h"

#include <QByteArray>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {
pid_t s_server = 0;
}

bool KZXvfb::start(QString *error)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        *error = QStringLiteral("pipe failed");
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // The write end must survive exec: dup it onto a descriptor without close-on-exec.
    posix_spawn_file_actions_adddup2(&actions, fds[1], 9);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const char *argv[] = {"Xvfb",         "-displayfd", "9",   "-screen",  "0",
                          "2400x1600x24", "-nolisten",  "tcp", "-noreset", nullptr};
    pid_t pid = 0;
    const int spawned
        = posix_spawnp(&pid, "Xvfb", &actions, nullptr, const_cast<char **>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (spawned != 0) {
        ::close(fds[0]);
        *error = QStringLiteral("Xvfb could not be started (is the xvfb package installed?)");
        return false;
    }
    // Xvfb writes the display number once it accepts connections.
    QByteArray number;
    pollfd wait{fds[0], POLLIN, 0};
    while (::poll(&wait, 1, 10000) > 0) {
        char c = 0;
        const ssize_t got = ::read(fds[0], &c, 1);
        if (got <= 0 || c == '\n')
            break;
        number.append(c);
    }
    ::close(fds[0]);
    if (number.isEmpty()) {
        ::kill(pid, SIGTERM);
        ::waitpid(pid, nullptr, 0);
        *error = QStringLiteral("Xvfb did not report a display");
        return false;
    }
    s_server = pid;
    ::setenv("DISPLAY", (":" + number).constData(), 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::unsetenv("WAYLAND_DISPLAY");
    return true;
}

void KZXvfb::stop()
{
    if (s_server == 0)
        return;
    ::kill(s_server, SIGTERM);
    while (::waitpid(s_server, nullptr, 0) < 0 && errno == EINTR) {
    }
    s_server = 0;
}
