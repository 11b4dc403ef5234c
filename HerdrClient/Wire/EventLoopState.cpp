#include "HerdrClient/Wire/EventLoopState.h"

#include "HerdrClient/Wire/SocketConnection.h"

#include <condition_variable>

void EventLoopState::stop()
{
    {
        std::lock_guard lock(m_lock);
        m_stopped = true;
        if (m_connection)
            m_connection->interrupt();
    }
    m_stopSource.request_stop();
}

bool EventLoopState::isStopped() const
{
    std::lock_guard lock(m_lock);
    return m_stopped;
}

bool EventLoopState::adopt(SocketConnection* connection)
{
    std::lock_guard lock(m_lock);
    if (m_stopped)
        return false;
    m_connection = connection;
    return true;
}

void EventLoopState::release(SocketConnection* connection)
{
    std::lock_guard lock(m_lock);
    if (m_connection == connection)
        m_connection = nullptr;
    connection->close();
}

void EventLoopState::markFinished()
{
    {
        std::lock_guard lock(m_lock);
        m_finished = true;
    }
    m_finishedChanged.notify_all();
}

bool EventLoopState::isFinished() const
{
    std::lock_guard lock(m_lock);
    return m_finished;
}

bool EventLoopState::waitUntilFinished(std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(m_lock);
    return m_finishedChanged.wait_for(lock, timeout, [this] { return m_finished; });
}

void EventLoopState::sleepRealTime(Seconds delay, std::stop_token token)
{
    std::mutex mutex;
    std::condition_variable_any woken;
    std::unique_lock lock(mutex);
    woken.wait_for(lock, token, std::chrono::duration_cast<std::chrono::nanoseconds>(delay),
                   [] { return false; });
}
