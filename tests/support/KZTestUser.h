#pragma once

#include <functional>

#include <sys/types.h>

// Runs code as another user, for permission scenarios that root (as CI runs) would ignore.
class KZTestUser
{
public:
    static constexpr uid_t kNobody = 65534;

    // Forks; the child drops to uid/gid (no supplementary groups), runs body and exits with
    // its answer. Answers the child's exit status, or -1 when it could not drop privileges or
    // died from a signal. Only root can drop to another user: check canSwitchUser() first.
    static int runAs(uid_t uid, const std::function<int()> &body);
    [[nodiscard]] static bool canSwitchUser();
    // Lets every user pass through the folders above path (o+x on those the caller owns), so
    // that a dropped child can reach it at all.
    static void makeTraversable(const char *path);
};
