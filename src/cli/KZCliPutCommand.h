#pragma once

#include "KZCliTrashes.h"
#include "KZCommandLine.h"

// "binwise put": checks every path first (nothing moves when one cannot go: it does not
// exist, it is /, a mount point, a Trash or in one), then moves each into its volume's Trash.
// Silent on success, as trash-put and rm are; --json reports each item. Main thread.
class KZCliPutCommand
{
public:
    KZCliPutCommand(const KZCommandLine::Options &options, KZCliTrashes &trashes);

    // The exit status (KZCliApplication::ExitStatus).
    [[nodiscard]] int run();

private:
    KZCommandLine::Options m_options;
    KZCliTrashes &m_trashes;
};
