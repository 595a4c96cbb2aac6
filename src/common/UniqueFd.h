#pragma once

#include <unistd.h>
#include <utility>

// Owns a POSIX file descriptor.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    // Closes what it held and takes `fd`; false when that close failed, which for a file just
    // written means its data may not have reached the disk.
    bool reset(int fd = -1)
    {
        const int old = std::exchange(m_fd, fd);
        return old < 0 || ::close(old) == 0;
    }

private:
    int m_fd = -1;
};
