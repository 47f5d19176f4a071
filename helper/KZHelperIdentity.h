#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

// Whom the helper works for and where that user's home Trash is.
//
// Under pkexec the user is PKEXEC_UID (pkexec sets it and clears everything else from the
// environment). Started directly by root without PKEXEC_UID (a root application, or a test), the
// user is the --uid argument, which is honoured only then. Started by anyone else, the user is
// the caller itself and the helper gains nothing over the caller's own rights.
//
// The data home arrives as --data-home (pkexec leaves no XDG_DATA_HOME); without it the user's
// home from the password database plus /.local/share. Either way it is only a candidate: the
// Trash checks refuse a data home that does not belong to the user.
class KZHelperIdentity
{
public:
    std::optional<uid_t> uid; // none: root started it without --uid; nothing may be erased
    std::string dataHome;
    int testPauseFd = -1; // tests only: wait for one byte here before each batch item
    bool printVersion = false;

    // Reads argv and the environment; false with a reason for a command line it must refuse.
    [[nodiscard]] static bool fromCommandLine(int argc, char **argv, KZHelperIdentity *identity,
                                              std::string *error);
    // A strict decimal user id.
    [[nodiscard]] static std::optional<uid_t> parseUid(const char *text);
};
