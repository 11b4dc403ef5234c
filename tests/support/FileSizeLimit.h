#pragma once

#include <csignal>
#include <sys/resource.h>

// A full disk for the whole process while it lives: no regular file can grow past `bytes`, and
// a write that would is refused with EFBIG instead of killing the process with SIGXFSZ. Unlike a
// read-only folder, root cannot write past it. Only the soft limit moves, so it comes back.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        m_previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        m_applied = ::getrlimit(RLIMIT_FSIZE, &m_previous) == 0;
        if (m_applied) {
            rlimit limited = m_previous;
            limited.rlim_cur = bytes;
            m_applied = ::setrlimit(RLIMIT_FSIZE, &limited) == 0;
        }
    }
    ~FileSizeLimit()
    {
        if (m_applied)
            ::setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    bool isApplied() const { return m_applied; }

private:
    rlimit m_previous{};
    bool m_applied = false;
    void (*m_previousHandler)(int) = SIG_DFL;
};
