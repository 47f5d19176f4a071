#pragma once

#include <unistd.h>

#include <utility>

// Owns one file descriptor and closes it.
class KZHelperFd
{
public:
    KZHelperFd() = default;
    explicit KZHelperFd(int fd)
        : m_fd(fd)
    {}
    KZHelperFd(KZHelperFd &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {}
    KZHelperFd &operator=(KZHelperFd &&other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    KZHelperFd(const KZHelperFd &) = delete;
    KZHelperFd &operator=(const KZHelperFd &) = delete;
    ~KZHelperFd() { reset(); }

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool isValid() const { return m_fd >= 0; }
    void reset(int fd = -1)
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};
