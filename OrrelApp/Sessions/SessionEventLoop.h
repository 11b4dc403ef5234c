#pragma once

#include "HerdrClient/Support/CancellablePause.h"
#include "HerdrClient/Wire/EventEnvelope.h"
#include "HerdrClient/Wire/EventStream.h"

#include <QCoroTask>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

class SessionRuntime;

// The event task of a session runtime: herdr's pushed events, each merged into the store and
// followed by the cycle. A pass subscribes with the panes known when it began; reconnects keep
// that list, so a pane that turns up later ends the pass, and the next one follows it too.
class SessionEventLoop {
public:
    SessionEventLoop(SessionRuntime& runtime, std::function<EventStreamOptions()> streamOptions);

    // Starts a new task in place of any running one.
    void start(bool includePerPaneStatus);
    // The stream's socket closes, a pause ends at once, and the task ends at its next look.
    void stop();
    // Whether the running task follows each pane's status; nothing when none runs.
    std::optional<bool> includesPerPaneStatus() const { return m_includesPerPaneStatus; }

    // One event cycle, as the task runs it for each value of the stream.
    QCoro::Task<> handle(EventEnvelope envelope);
    // True when herdr now has a pane outside `watched`; any failure counts as no.
    QCoro::Task<bool> liveHasUnwatchedPane(std::set<QString> watched);
    // A pane first seen by a poll would get no status events until herdr announces some new
    // pane: the running pass ends now, and the next one follows it.
    void resubscribeIfPanesAreUnwatched();
    // Blocks until every stream's thread let go of its socket, or the deadline passes.
    bool waitForStreamExit(std::chrono::milliseconds timeout) const;

private:
    QCoro::Task<> run(quint64 generation, bool includePerPaneStatus);
    void endStream();

    SessionRuntime& m_runtime;
    std::function<EventStreamOptions()> m_streamOptions;
    CancellablePause m_pause;
    quint64 m_generation = 0;
    std::optional<bool> m_includesPerPaneStatus;
    EventStream* m_stream = nullptr;  // owned by the running task
    std::set<QString> m_watchedPanes; // whose status the running pass follows
    std::vector<std::shared_ptr<const EventLoopState>> m_streamLoops; // not yet seen to end
};
