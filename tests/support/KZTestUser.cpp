#include "KZTestUser.h"

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

int KZTestUser::runAs(uid_t uid, const std::function<int()> &body)
{
    const pid_t pid = ::fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setgid(uid) != 0 || ::setuid(uid) != 0)
            ::_exit(255);
        ::_exit(body() & 0xff);
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) == 255)
        return -1;
    return WEXITSTATUS(status);
}

bool KZTestUser::canSwitchUser()
{
    return ::geteuid() == 0;
}

void KZTestUser::makeTraversable(const char *path)
{
    std::string folder(path);
    while (!folder.empty()) {
        const size_t slash = folder.rfind('/');
        folder = slash == 0 || slash == std::string::npos ? std::string() : folder.substr(0, slash);
        const std::string current = folder.empty() ? "/" : folder;
        struct stat st = {};
        if (::stat(current.c_str(), &st) == 0 && st.st_uid == ::geteuid())
            ::chmod(current.c_str(), (st.st_mode & 07777) | S_IXOTH | S_IXGRP);
    }
}
