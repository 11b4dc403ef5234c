#include "tests/support/ManualClock.h"

#include <algorithm>

struct ManualClock::Awaiter {
    ManualClock* clock;
    Timestamp deadline;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle)
    {
        {
            std::lock_guard lock(clock->m_mutex);
            clock->m_sleepers.push_back({deadline, handle});
        }
        clock->m_changed.notify_all();
    }
    void await_resume() const noexcept {}
};

namespace {
Timestamp::duration toDuration(Seconds seconds)
{
    return std::chrono::duration_cast<Timestamp::duration>(seconds);
}
} // namespace

ManualClock::ManualClock(Timestamp start) : m_now(start) {}

Timestamp ManualClock::now() const
{
    std::lock_guard lock(m_mutex);
    return m_now;
}

void ManualClock::advance(Seconds by)
{
    std::vector<Sleeper> due;
    {
        std::lock_guard lock(m_mutex);
        m_now += toDuration(by);
        auto firstLater =
            std::stable_partition(m_sleepers.begin(), m_sleepers.end(),
                                  [&](const Sleeper& s) { return s.deadline <= m_now; });
        due.assign(m_sleepers.begin(), firstLater);
        m_sleepers.erase(m_sleepers.begin(), firstLater);
    }
    m_changed.notify_all();
    std::stable_sort(due.begin(), due.end(),
                     [](const Sleeper& a, const Sleeper& b) { return a.deadline < b.deadline; });
    for (const auto& sleeper : due)
        sleeper.handle.resume();
}

QCoro::Task<> ManualClock::sleep(Seconds duration)
{
    Timestamp deadline;
    {
        std::lock_guard lock(m_mutex);
        m_requested.push_back(duration.count());
        deadline = m_now + toDuration(duration);
    }
    co_await Awaiter{this, deadline};
}

void ManualClock::blockingSleep(Seconds duration, std::stop_token token)
{
    std::unique_lock lock(m_mutex);
    m_requested.push_back(duration.count());
    const Timestamp deadline = m_now + toDuration(duration);
    ++m_blockedSleepers;
    m_changed.notify_all();
    m_changed.wait(lock, token, [&] { return m_now >= deadline; });
    --m_blockedSleepers;
    m_changed.notify_all();
}

Clock ManualClock::clock()
{
    return Clock{[this] { return now(); }, [this](Seconds duration) { return sleep(duration); }};
}

BlockingSleep ManualClock::blockingSleeper()
{
    return [this](Seconds duration, std::stop_token token) { blockingSleep(duration, token); };
}

std::vector<double> ManualClock::requestedSleeps() const
{
    std::lock_guard lock(m_mutex);
    return m_requested;
}

std::size_t ManualClock::pendingSleeps() const
{
    std::lock_guard lock(m_mutex);
    return m_sleepers.size() + m_blockedSleepers;
}

bool ManualClock::waitForSleepRequests(std::size_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_requested.size() >= count; });
}
