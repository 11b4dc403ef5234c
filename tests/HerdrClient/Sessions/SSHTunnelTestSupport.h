#pragma once

#include "HerdrClient/Sessions/SSHTunnel.h"
#include "tests/support/ManualClock.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <chrono>
#include <csignal>
#include <functional>
#include <vector>

// Every state a tunnel published, in order.
struct PublishedStates {
    std::vector<SSHTunnelState> states;

    SSHTunnel::StateCallback callback()
    {
        return [this](const SSHTunnelState& state) { states.push_back(state); };
    }
    bool reached(SSHTunnelState::Kind kind, std::size_t times = 1) const
    {
        std::size_t seen = 0;
        for (const auto& state : states)
            seen += state.kind == kind ? 1 : 0;
        return seen >= times;
    }
    std::vector<SSHTunnelState::Kind> kinds() const
    {
        std::vector<SSHTunnelState::Kind> result;
        for (const auto& state : states)
            result.push_back(state.kind);
        return result;
    }
};

// Runs the event loop until `condition` holds or the deadline passes. With a clock, time on it
// moves by `step` whenever something sleeps on it, so backoffs and probe pauses pass at once.
inline bool processEventsUntil(const std::function<bool()>& condition,
                               std::chrono::milliseconds timeout = std::chrono::seconds(20),
                               ManualClock* clock = nullptr, Seconds step = Seconds(0.15))
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
        if (clock && !condition() && clock->pendingSleeps() > 0)
            clock->advance(step);
    }
    return true;
}

// Lets the waits that a stop or a destruction cut short see it and end.
inline void settleEvents()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

inline bool processIsGone(pid_t pid)
{
    return ::kill(pid, 0) != 0 && errno == ESRCH;
}

inline SSHTunnelOptions::ReadinessProbe answeringProbe(bool answer)
{
    if (answer)
        return [](HerdrEndpoint) -> QCoro::Task<bool> { co_return true; };
    return [](HerdrEndpoint) -> QCoro::Task<bool> { co_return false; };
}
