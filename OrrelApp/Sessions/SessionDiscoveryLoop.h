#pragma once

#include "HerdrClient/Sessions/RemoteHostConfiguration.h"
#include "HerdrClient/Sessions/SessionDirectory.h"
#include "HerdrClient/Support/CancellablePause.h"
#include "HerdrClient/Support/Clock.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>

#include <functional>
#include <vector>

class SessionRegistry;

// Looks for sessions again every ten seconds: the local ones, and those of the configured SSH
// hosts when there is a list of them. The view model owns it while no session is pinned.
//
// Main thread only.
class SessionDiscoveryLoop : public QObject {
    Q_OBJECT
public:
    // The hosts as configured now; read at each turn.
    using RemoteHosts = std::function<std::vector<RemoteHostConfiguration>()>;
    // A directory made afresh for each turn, so that a newly installed herdr is found.
    using MakeDirectory = std::function<SessionDirectory()>;

    static constexpr Seconds period{10.0};

    // Without `remoteHosts` only local sessions are looked for. An empty `makeDirectory` means
    // herdr and ssh as the executable locator finds them, run as child processes; a clock
    // without a sleep means timers of the loop's own.
    SessionDiscoveryLoop(SessionRegistry& registry, RemoteHosts remoteHosts = {},
                         MakeDirectory makeDirectory = {}, Clock clock = {Clock::system().now, {}},
                         QObject* parent = nullptr);
    ~SessionDiscoveryLoop() override;

    // Looks at once, then every period; nothing when it already runs.
    void start();
    // The loop ends at its next look; the registry drops whatever a turn under way finds.
    void stop();
    // Looks again now rather than at the end of the period, as after a change of settings.
    void refreshNow();
    bool isRunning() const { return m_running; }
    // Done once the loop has ended after stop(): a listing that was running has come back and
    // the pause has let go.
    QCoro::Task<> stopped();
    // Turns that have finished, since construction.
    quint64 completedTurns() const { return m_completedTurns; }

Q_SIGNALS:
    void turnFinished();
    // The loop ended after stop().
    void loopEnded();

private:
    QCoro::Task<> run(quint64 generation);
    QCoro::Task<> loop(quint64 generation);
    QCoro::Task<> turn();

    QPointer<SessionRegistry> m_registry;
    RemoteHosts m_remoteHosts;
    MakeDirectory m_makeDirectory;
    CancellablePause m_pause;
    quint64 m_generation = 0;
    quint64 m_completedTurns = 0;
    bool m_running = false;
    bool m_turning = false;
    int m_liveLoops = 0; // a stop ends a loop at its next look, a start may begin another
    bool m_refreshRequested = false;
};
