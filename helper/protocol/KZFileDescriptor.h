#pragma once

#include <unistd.h>

#include <utility>

// Owns one file descriptor and closes it once. Plain C++, shared by the helper and the
// application.
class KZFileDescriptor
{
public:
    KZFileDescriptor() = default;
    explicit KZFileDescriptor(int fd)
        : m_fd(fd)
    {}
    ~KZFileDescriptor() { reset(); }
    KZFileDescriptor(KZFileDescriptor &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {}
    KZFileDescriptor &operator=(KZFileDescriptor &&other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    KZFileDescriptor(const KZFileDescriptor &) = delete;
    KZFileDescriptor &operator=(const KZFileDescriptor &) = delete;

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool isValid() const { return m_fd >= 0; }
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1)
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};
