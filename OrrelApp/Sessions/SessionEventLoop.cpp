#include "OrrelApp/Sessions/SessionEventLoop.h"

#include "HerdrClient/Support/BackoffPolicy.h"
#include "OrrelApp/Sessions/SessionCycle.h"
#include "OrrelApp/Sessions/SessionRuntime.h"

using namespace Qt::StringLiterals;

namespace {
// After a pass ends, so that a new list of panes takes effect.
constexpr Seconds resubscribePause{0.5};
} // namespace

SessionEventLoop::SessionEventLoop(SessionRuntime& runtime,
                                   std::function<EventStreamOptions()> streamOptions)
    // Queued: the sleeper may end the runtime, and stop() may run in its destructor.
    : m_runtime(runtime), m_streamOptions(std::move(streamOptions)),
      m_pause(CancellablePause::OnCancel::resumeQueued, runtime.m_services.clock.sleep, &runtime)
{
}

void SessionEventLoop::start(bool includePerPaneStatus)
{
    ++m_generation;
    endStream();
    m_pause.cancel();
    m_includesPerPaneStatus = includePerPaneStatus;
    auto task = m_runtime.track(run(m_generation, includePerPaneStatus));
}

void SessionEventLoop::stop()
{
    ++m_generation;
    m_includesPerPaneStatus.reset();
    endStream();
    m_pause.cancel();
}

void SessionEventLoop::endStream()
{
    if (m_stream)
        m_stream->stop();
    m_stream = nullptr;
}

bool SessionEventLoop::waitForStreamExit(std::chrono::milliseconds timeout) const
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (const auto& loop : m_streamLoops) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (!loop->waitUntilFinished(std::max(left, std::chrono::milliseconds(0))))
            return false;
    }
    return true;
}

QCoro::Task<> SessionEventLoop::run(quint64 generation, bool includePerPaneStatus)
{
    QPointer self{&m_runtime};
    const auto cancelled = [&] { return !self || generation != m_generation; };
    const StateStore& store = m_runtime.m_store;
    while (!cancelled()) {
        const std::vector<Subscription> subscriptions =
            store.currentSubscriptions(includePerPaneStatus);
        std::set<QString> watched;
        for (const auto& [paneID, pane] : store.panes())
            watched.insert(paneID);
        m_watchedPanes = includePerPaneStatus ? watched : std::set<QString>();

        // Reconnects of this stream keep this list; a new list needs a new pass.
        std::unique_ptr<EventStream> stream =
            m_runtime.client().events([subscriptions] { return subscriptions; },
                                      BackoffPolicy::defaultPolicy(), m_streamOptions());
        std::erase_if(m_streamLoops, [](const auto& loop) { return loop->isFinished(); });
        m_streamLoops.push_back(stream->loopState());
        m_stream = stream.get();

        for (;;) {
            auto value = co_await stream->next();
            if (cancelled())
                co_return;
            if (!value)
                break;
            auto envelope = EventEnvelope::from(*value);
            if (!envelope)
                continue;
            co_await handle(*envelope);
            if (cancelled())
                co_return;
            const auto paneID = envelope->paneID();
            const bool announcesPane =
                envelope->event == u"pane_created" || envelope->event == u"pane_agent_detected";
            if (announcesPane && paneID && !watched.contains(*paneID)) {
                const bool unwatched = co_await liveHasUnwatchedPane(watched);
                if (cancelled())
                    co_return;
                if (unwatched)
                    break;
            }
        }
        m_stream = nullptr;
        stream.reset();
        co_await m_pause.sleep(resubscribePause);
    }
}

QCoro::Task<> SessionEventLoop::handle(EventEnvelope envelope)
{
    SessionRuntime& runtime = m_runtime;
    if (envelope.event == EventStream::subscribeErrorEvent) {
        const JSONValue* message = envelope.data.member(u"message");
        const auto text = message ? message->stringValue() : std::nullopt;
        runtime.setConnection(SessionRuntime::Connection::unavailable);
        runtime.setError(u"herdr rejected the event subscription: "_s
                         + text.value_or(u"invalid_request"_s));
        co_return;
    }
    const auto selected = runtime.selectedPaneID();
    const StateTransitionResult transitions = runtime.m_store.applyTransitions(envelope);
    runtime.refreshAttention();
    co_await runtime.m_cycle->react(transitions, selected, false);
}

QCoro::Task<bool> SessionEventLoop::liveHasUnwatchedPane(std::set<QString> watched)
{
    const auto result =
        co_await m_runtime.client().request(u"session.snapshot"_s, JSONValue(JSONValue::Object{}));
    if (!result)
        co_return false;
    const auto snapshot = Snapshot::fromResult(*result);
    if (!snapshot)
        co_return false;
    for (const auto& pane : snapshot->uniquePanes()) {
        if (!watched.contains(pane.paneID))
            co_return true;
    }
    co_return false;
}

void SessionEventLoop::resubscribeIfPanesAreUnwatched()
{
    if (!m_stream || m_includesPerPaneStatus != true)
        return;
    for (const auto& [paneID, pane] : m_runtime.m_store.panes()) {
        if (!m_watchedPanes.contains(paneID)) {
            m_stream->stop();
            return;
        }
    }
}
