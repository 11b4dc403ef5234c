#pragma once

#include <QCoroTask>

#include <chrono>
#include <functional>

using Timestamp = std::chrono::system_clock::time_point;
using Seconds = std::chrono::duration<double>;

// The injected clock: logic asks it for the time and sleeps through it, so that tests can drive
// time by hand instead of waiting for it.
struct Clock {
    std::function<Timestamp()> now;
    std::function<QCoro::Task<>(Seconds)> sleep;

    // The system clock, sleeping on the calling thread's event loop.
    static Clock system();
};

// Seconds between two timestamps, as a double.
inline double secondsBetween(Timestamp from, Timestamp to)
{
    return std::chrono::duration_cast<Seconds>(to - from).count();
}
