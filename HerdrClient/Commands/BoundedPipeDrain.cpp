#include "HerdrClient/Commands/BoundedPipeDrain.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {
constexpr qsizetype chunkBytes = 16384;
constexpr auto closeGrace = std::chrono::milliseconds(250);
} // namespace

BoundedPipeDrain::BoundedPipeDrain(int fd, qsizetype maximumBytes)
    : m_fd(fd), m_maximumBytes(std::max<qsizetype>(0, maximumBytes))
{
    if (::pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0)
        m_wake[0] = m_wake[1] = -1;
}

BoundedPipeDrain::~BoundedPipeDrain()
{
    stopReading();
    if (m_thread.joinable())
        m_thread.join();
    for (int fd : {m_fd, m_wake[0], m_wake[1]}) {
        if (fd >= 0)
            ::close(fd);
    }
}

void BoundedPipeDrain::start()
{
    std::lock_guard guard(m_lock);
    if (m_didStart)
        return;
    m_didStart = true;
    m_thread = std::thread([this] { readLoop(); });
}

QByteArray BoundedPipeDrain::finish(double timeoutSeconds)
{
    std::unique_lock guard(m_lock);
    const auto timeout = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(std::max(0.0, timeoutSeconds)));
    const auto isDone = [this] { return m_done || !m_didStart; };
    if (!m_completion.wait_for(guard, timeout, isDone)) {
        guard.unlock();
        stopReading();
        guard.lock();
        m_completion.wait_for(guard, closeGrace, isDone);
    }
    return m_captured;
}

void BoundedPipeDrain::stopReading()
{
    if (m_wake[1] >= 0) {
        const char byte = 0;
        [[maybe_unused]] const ssize_t written = ::write(m_wake[1], &byte, 1);
    }
}

void BoundedPipeDrain::readLoop()
{
    char buffer[chunkBytes];
    while (m_fd >= 0) {
        pollfd fds[2] = {{m_fd, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        const int ready = ::poll(fds, m_wake[0] >= 0 ? 2 : 1, -1);
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (fds[1].revents != 0)
            break;
        const ssize_t count = ::read(m_fd, buffer, sizeof buffer);
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (count <= 0)
            break;
        std::lock_guard guard(m_lock);
        m_captured.append(buffer, count);
        if (m_captured.size() > m_maximumBytes)
            m_captured.remove(0, m_captured.size() - m_maximumBytes);
    }
    std::lock_guard guard(m_lock);
    m_done = true;
    m_completion.notify_all();
}
