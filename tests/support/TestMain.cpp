// Shared main of the test executables: a fixed locale and time zone, and a process-wide
// temporary home, set before Qt or ICU read the environment.
#include "KZTestSandbox.h"

#include <gmock/gmock.h>

#ifdef BINWISE_TEST_GUI
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

#include <QDir>
#include <QFile>

#ifdef BINWISE_TEST_X11
#include "KZXvfb.h"
#include <cstdio>
#include <cstring>
#endif

#include <cstdlib>
#include <ctime>
#include <string>

#if defined(BINWISE_TEST_X11) && defined(__SANITIZE_ADDRESS__)
#include <unistd.h>

// The X client libraries (and libdbus under them) trip the strict string checks and keep caches
// until exit: neither is this program's to fix. The options come from the environment (the test
// preset sets them for every test), which the sanitizer reads before main; so the process starts
// itself again with those two turned off.
static void relaxSanitizerForX11(char **argv)
{
    const char *current = std::getenv("ASAN_OPTIONS");
    const std::string options = current ? current : "";
    const std::string relaxed = ":detect_leaks=0:strict_string_checks=0";
    if (options.size() >= relaxed.size()
        && options.compare(options.size() - relaxed.size(), relaxed.size(), relaxed) == 0)
        return;
    setenv("ASAN_OPTIONS", (options + relaxed).c_str(), 1);
    execv("/proc/self/exe", argv);
}
#endif

int main(int argc, char **argv)
{
#if defined(BINWISE_TEST_X11) && defined(__SANITIZE_ADDRESS__)
    relaxSanitizerForX11(argv);
#endif
    setenv("TZ", "UTC", 1);
    tzset();
    setenv("LC_ALL", "en_US.UTF-8", 1);
    setenv("LANG", "en_US.UTF-8", 1);
    setenv("LANGUAGE", "en_US", 1);
#ifdef BINWISE_TEST_GUI
    // Test discovery runs the executable without the tests' environment; widgets still need a
    // platform there.
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
#endif
#ifdef BINWISE_TEST_X11
    // Windows are tested on a real X server of the process's own; listing the tests needs none.
    bool listing = false;
    for (int i = 1; i < argc; ++i)
        listing = listing || std::strcmp(argv[i], "--gtest_list_tests") == 0;
    if (!listing) {
        QString error;
        if (!KZXvfb::start(&error)) {
            std::fprintf(stderr, "%s\n", qPrintable(error));
            return 1;
        }
    }
    struct StopServer
    {
        ~StopServer() { KZXvfb::stop(); }
    } stopServer;
#endif
    const QString sandbox = KZTestSandbox::isolateProcess();

    TestApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    const int result = RUN_ALL_TESTS();

    // Tests unmount what they mount. Should one be left, the sandbox stays on disk rather than
    // be removed through the mount.
    QFile mounts(QStringLiteral("/proc/self/mountinfo"));
    const bool mountLeft
        = mounts.open(QIODevice::ReadOnly) && mounts.readAll().contains(sandbox.toLocal8Bit());
    if (!mountLeft)
        KZTestSandbox::removeTree(sandbox.toLocal8Bit());
    return result;
}
