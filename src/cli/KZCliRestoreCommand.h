#pragma once

#include "KZCliTrashes.h"
#include "KZCommandLine.h"

#include <QByteArray>
#include <QUrl>

#include <optional>

// "binwise restore": finds every named item first (nothing is put back when one cannot be
// found), then puts each back where it came from, or into --to's folder. Prints the path each
// item now has, or with --json one object per item. Main thread.
class KZCliRestoreCommand
{
public:
    KZCliRestoreCommand(const KZCommandLine::Options &options, KZCliTrashes &trashes);

    // The exit status (KZCliApplication::ExitStatus).
    [[nodiscard]] int run();

    // The item in one of the Trashes whose info file names path as its original place; the
    // one put there last when several came from the same place.
    [[nodiscard]] std::optional<QUrl> newestItemFrom(const QByteArray &path);

private:
    KZCommandLine::Options m_options;
    KZCliTrashes &m_trashes;
};
