#pragma once

#include "HerdrClient/Support/CancellablePause.h"

#include <QCoroTask>

class SessionRuntime;

// The poll task of a session runtime: a snapshot of the whole session merged into the store,
// the cycle, then a pause as long as the runtime asks for, until stopped. A failed poll keeps
// what was known and makes the session unreachable until the next good one.
class SessionPollLoop {
public:
    explicit SessionPollLoop(SessionRuntime& runtime);

    // Starts the task; nothing when it already runs.
    void start();
    // The task ends at its next look; a pause ends at once.
    void stop();
    bool isRunning() const { return m_running; }

    // One poll cycle, as the task runs it.
    QCoro::Task<> pollOnce();

private:
    QCoro::Task<> run(quint64 generation);
    QCoro::Task<> fail();

    SessionRuntime& m_runtime;
    CancellablePause m_pause;
    quint64 m_generation = 0;
    bool m_running = false;
};
