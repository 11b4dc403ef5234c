#include "OrrelApp/Sessions/SessionDiscoveryLoop.h"

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "OrrelApp/Sessions/SessionRegistry.h"

#include <QCoroSignal>

namespace {
SessionDirectory locatedDirectory()
{
    return SessionDirectory::located(std::make_shared<ProcessCommandRunner>());
}
} // namespace

SessionDiscoveryLoop::SessionDiscoveryLoop(SessionRegistry& registry, RemoteHosts remoteHosts,
                                           MakeDirectory makeDirectory, Clock clock,
                                           QObject* parent)
    // Queued: a stop from inside the registry's signals must not resume the loop on its stack.
    : QObject(parent), m_registry(&registry), m_remoteHosts(std::move(remoteHosts)),
      m_makeDirectory(makeDirectory ? std::move(makeDirectory) : &locatedDirectory),
      m_pause(CancellablePause::OnCancel::resumeQueued, std::move(clock.sleep), this)
{
}

SessionDiscoveryLoop::~SessionDiscoveryLoop()
{
    stop();
}

void SessionDiscoveryLoop::start()
{
    if (m_running)
        return;
    m_running = true;
    // The task runs detached; a new generation is how it is told to end.
    auto task = run(++m_generation);
}

void SessionDiscoveryLoop::stop()
{
    ++m_generation;
    m_running = false;
    m_refreshRequested = false;
    m_pause.cancel();
}

void SessionDiscoveryLoop::refreshNow()
{
    if (!m_running)
        return;
    if (m_turning)
        m_refreshRequested = true;
    else
        m_pause.cancel();
}

QCoro::Task<> SessionDiscoveryLoop::run(quint64 generation)
{
    QPointer self{this};
    ++m_liveLoops;
    co_await loop(generation);
    if (self && --m_liveLoops == 0)
        Q_EMIT loopEnded();
}

QCoro::Task<> SessionDiscoveryLoop::loop(quint64 generation)
{
    QPointer self{this};
    const auto cancelled = [&] { return !self || generation != m_generation || !m_registry; };
    while (!cancelled()) {
        co_await turn();
        if (cancelled())
            co_return;
        ++m_completedTurns;
        Q_EMIT turnFinished();
        if (cancelled())
            co_return;
        if (m_refreshRequested) {
            m_refreshRequested = false;
            continue;
        }
        co_await m_pause.sleep(period);
    }
}

QCoro::Task<> SessionDiscoveryLoop::turn()
{
    QPointer self{this};
    m_turning = true;
    SessionDirectory directory = m_makeDirectory();
    if (m_remoteHosts)
        co_await m_registry->refresh(m_remoteHosts(), std::move(directory));
    else
        co_await m_registry->refreshLocalSessions(std::move(directory));
    if (self)
        m_turning = false;
}

QCoro::Task<> SessionDiscoveryLoop::stopped()
{
    QPointer self{this};
    while (self && m_liveLoops > 0)
        co_await qCoro(this, &SessionDiscoveryLoop::loopEnded);
}
