#include "OrrelApp/Sessions/SessionPollLoop.h"

#include "OrrelApp/Sessions/SessionCycle.h"
#include "OrrelApp/Sessions/SessionEventLoop.h"
#include "OrrelApp/Sessions/SessionRuntime.h"

using namespace Qt::StringLiterals;

SessionPollLoop::SessionPollLoop(SessionRuntime& runtime)
    // Queued: the sleeper may end the runtime, and stop() may run in its destructor.
    : m_runtime(runtime),
      m_pause(CancellablePause::OnCancel::resumeQueued, runtime.m_services.clock.sleep, &runtime)
{
}

void SessionPollLoop::start()
{
    if (m_running)
        return;
    m_running = true;
    // The task runs detached; a new generation is how it is told to end.
    auto task = m_runtime.track(run(++m_generation));
}

void SessionPollLoop::stop()
{
    ++m_generation;
    m_running = false;
    m_pause.cancel();
}

QCoro::Task<> SessionPollLoop::run(quint64 generation)
{
    QPointer self{&m_runtime};
    const auto cancelled = [&] { return !self || generation != m_generation; };
    while (!cancelled()) {
        co_await pollOnce();
        if (cancelled())
            co_return;
        co_await m_pause.sleep(m_runtime.nextPollDelay());
    }
}

QCoro::Task<> SessionPollLoop::pollOnce()
{
    SessionRuntime& runtime = m_runtime;
    QPointer self{&runtime};
    const auto result =
        co_await runtime.client().request(u"session.snapshot"_s, JSONValue(JSONValue::Object{}));
    if (!self)
        co_return;
    std::optional<Snapshot> snapshot;
    if (result) {
        if (auto decoded = Snapshot::fromResult(*result))
            snapshot = std::move(*decoded);
    }
    if (!snapshot) {
        co_await fail();
        co_return;
    }
    runtime.setConnection(SessionRuntime::Connection::connected);
    runtime.setError(std::nullopt);
    const auto selected = runtime.selectedPaneID();
    // Only a whole snapshot tells which panes name an opencode server now.
    runtime.m_services.openCodePanes.replace(snapshot->uniquePanes());
    const StateTransitionResult transitions = runtime.m_store.reconcileTransitions(*snapshot);
    runtime.refreshAttention();
    runtime.m_cycle->forgetModesOfLeftPanes();
    runtime.m_events->resubscribeIfPanesAreUnwatched();
    co_await runtime.m_cycle->react(transitions, selected, true);
}

QCoro::Task<> SessionPollLoop::fail()
{
    m_runtime.setConnection(SessionRuntime::Connection::unavailable);
    m_runtime.setError(m_runtime.unreachableMessage());
    // What was known stays shown; the host still hears of the cycle.
    co_await m_runtime.m_cycle->tellHost({}, m_runtime.selectedPaneID());
}
