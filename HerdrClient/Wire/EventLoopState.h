#pragma once

#include "HerdrClient/Support/Clock.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>

class SocketConnection;

// Blocks the calling thread for a delay, returning early once `token` is stopped.
using BlockingSleep = std::function<void(Seconds delay, std::stop_token token)>;

// What an event loop shares with whoever ends it. The loop owns its connection and closes it
// under the lock, so that `stop` (which only shuts it down, from any thread) never touches a
// descriptor number that another thread may have been handed meanwhile.
class EventLoopState {
public:
    // Sets `stopped` for good, wakes a blocked read or a sleep between attempts.
    void stop();
    bool isStopped() const;

    // Makes `connection` the one `stop` wakes. False when already stopped: the loop then closes
    // it itself, having never exposed it.
    bool adopt(SocketConnection* connection);
    // Forgets `connection` and closes it under the lock.
    void release(SocketConnection* connection);

    // Stopped together with `stopped`, for sleeps that can be cut short.
    std::stop_token stopToken() const { return m_stopSource.get_token(); }

    // The loop calls this as its last act.
    void markFinished();
    bool isFinished() const;
    // Waits until the loop has returned, or the deadline passes.
    bool waitUntilFinished(std::chrono::milliseconds timeout) const;

    // The real-time sleep, cut short by the token.
    static void sleepRealTime(Seconds delay, std::stop_token token);

private:
    mutable std::mutex m_lock;
    mutable std::condition_variable m_finishedChanged;
    bool m_stopped = false;
    bool m_finished = false;
    SocketConnection* m_connection = nullptr;
    std::stop_source m_stopSource;
};
