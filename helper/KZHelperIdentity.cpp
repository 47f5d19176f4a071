#include "KZHelperIdentity.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

std::optional<uid_t> KZHelperIdentity::parseUid(const char *text)
{
    if (!text || *text < '0' || *text > '9')
        return std::nullopt;
    errno = 0;
    char *end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    // uid_t(-1) means "no user" to the kernel's *id calls.
    if (errno != 0 || *end != '\0' || value >= static_cast<unsigned long long>(UINT_MAX))
        return std::nullopt;
    return static_cast<uid_t>(value);
}

bool KZHelperIdentity::fromCommandLine(int argc, char **argv, KZHelperIdentity *identity,
                                       std::string *error)
{
    const char *pkexecUid = std::getenv("PKEXEC_UID");
    // Arguments that choose whom to act for are the caller's to give only when the caller is
    // root itself; under pkexec the caller is the user being served.
    const bool startedByRoot = getuid() == 0 && !pkexecUid;
    std::optional<std::string> dataHome;
    std::optional<uid_t> argumentUid;

    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const bool hasValue = i + 1 < argc;
        if (argument == "--version") {
            identity->printVersion = true;
        } else if (argument == "--data-home" && hasValue) {
            dataHome = argv[++i];
        } else if (argument == "--uid" && hasValue) {
            argumentUid = parseUid(argv[++i]);
            if (!argumentUid) {
                *error = "--uid needs a numeric user id";
                return false;
            }
            if (!startedByRoot) {
                *error = "--uid is accepted only from root without pkexec";
                return false;
            }
        } else if (argument == "--test-pause-fd" && hasValue) {
            if (!startedByRoot) {
                *error = "--test-pause-fd is accepted only from root without pkexec";
                return false;
            }
            const auto fd = parseUid(argv[++i]);
            identity->testPauseFd = fd && *fd > 2 ? static_cast<int>(*fd) : -1;
        } else {
            *error = "unknown argument " + argument;
            return false;
        }
    }
    if (identity->printVersion)
        return true;

    if (pkexecUid) {
        identity->uid = parseUid(pkexecUid);
        if (!identity->uid) {
            *error = "PKEXEC_UID is not a user id";
            return false;
        }
    } else if (getuid() == 0) {
        identity->uid = argumentUid;
    } else {
        identity->uid = getuid();
    }

    if (dataHome) {
        identity->dataHome = *dataHome;
    } else if (identity->uid) {
        long size = sysconf(_SC_GETPW_R_SIZE_MAX);
        std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
        passwd entry{};
        passwd *found = nullptr;
        if (getpwuid_r(*identity->uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found
            && found->pw_dir && found->pw_dir[0] == '/')
            identity->dataHome = std::string(found->pw_dir) + "/.local/share";
    }
    return true;
}
