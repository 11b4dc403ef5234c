#pragma once

#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/EventLoopState.h"

#include <chrono>
#include <condition_variable>
#include <coroutine>
#include <mutex>
#include <stop_token>
#include <vector>

// A clock that moves only when the test says so. Its sleeps, both the coroutine kind (main
// thread) and the blocking kind (any thread, cut short by a stop token), finish when `advance`
// passes their deadline, so a 5-second backoff is tested without waiting for it.
class ManualClock {
public:
    explicit ManualClock(Timestamp start = Timestamp(std::chrono::seconds(1'800'000'000)));
    ManualClock(const ManualClock&) = delete;
    ManualClock& operator=(const ManualClock&) = delete;

    Timestamp now() const;
    // Moves time on. Coroutine sleeps that are due resume here, on the calling thread, in
    // deadline order; sleeps that start while they run wait for the next advance.
    void advance(Seconds by);

    QCoro::Task<> sleep(Seconds duration);
    void blockingSleep(Seconds duration, std::stop_token token);

    // `now` and `sleep` of this clock, for code that takes a Clock.
    Clock clock();
    BlockingSleep blockingSleeper();

    // Every duration asked for so far, in order, by both kinds of sleep.
    std::vector<double> requestedSleeps() const;
    // Sleeps started and not yet finished.
    std::size_t pendingSleeps() const;
    // Waits (in real time, for another thread) until `count` sleeps were asked for in all. A
    // blocking sleep counts only once it waits, so an `advance` after this reaches it.
    bool waitForSleepRequests(std::size_t count, std::chrono::milliseconds timeout) const;

private:
    struct Sleeper {
        Timestamp deadline;
        std::coroutine_handle<> handle;
    };
    struct Awaiter;

    mutable std::mutex m_mutex;
    mutable std::condition_variable_any m_changed;
    Timestamp m_now;
    std::vector<Sleeper> m_sleepers;
    std::size_t m_blockedSleepers = 0;
    std::vector<double> m_requested;
};
