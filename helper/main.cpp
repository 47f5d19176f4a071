// binwise-helper: erases, as root, the Trash items that the user's own rights cannot remove.
// Started by pkexec (or directly by a root application) and spoken to over stdin and stdout.
#include "KZHelperIdentity.h"
#include "KZHelperTool.h"
#include "protocol/KZHelperProtocol.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <string>

int main(int argc, char **argv)
{
    KZHelperIdentity identity;
    std::string error;
    if (!KZHelperIdentity::fromCommandLine(argc, argv, &identity, &error)) {
        std::fprintf(stderr, "binwise-helper: %s\n", error.c_str());
        return 1;
    }
    if (identity.printVersion) {
        std::printf("%.*s\n", static_cast<int>(KZHelperProtocol::kVersion.size()),
                    KZHelperProtocol::kVersion.data());
        return 0;
    }

    // A write to an application that has gone must fail, not kill the batch half way.
    std::signal(SIGPIPE, SIG_IGN);
    umask(077);
    // A deep folder holds one descriptor per level while it is walked.
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < files.rlim_max) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }

    KZHelperTool tool(0, 1, identity);
    return tool.run();
}
