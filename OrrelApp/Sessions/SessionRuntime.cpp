#include "OrrelApp/Sessions/SessionRuntime.h"

#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Support/BackoffPolicy.h"
#include "OrrelApp/Sessions/SnapshotPollingPolicy.h"

#include <QCoreApplication>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {
// After a pass of the event task ends, so that a new list of panes takes effect.
constexpr Seconds resubscribePause{0.5};

// The coordinators pause between the reads of a settling prompt; the runtime's own pauses
// may run on timers instead of the clock.
Clock withSleep(Clock clock)
{
    if (!clock.sleep)
        clock.sleep = Clock::system().sleep;
    return clock;
}

JSONValue emptyParams()
{
    return JSONValue(JSONValue::Object{});
}
} // namespace

struct SessionRuntime::PauseAwaiter {
    SessionRuntime* runtime;
    quint64 ticket;
    Loop loop;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle)
    {
        runtime->m_paused.insert_or_assign(ticket, Paused{handle, loop});
    }
    void await_resume() const noexcept {}
};

SessionRuntime::SessionRuntime(SessionDescriptor descriptor, HerdrEndpoint endpoint,
                               Dependencies dependencies, QObject* parent)
    : QObject(parent),
      m_descriptor(std::move(descriptor)),
      m_endpoint(std::move(endpoint)),
      m_client(std::move(dependencies.client)),
      m_clock(std::move(dependencies.clock)),
      m_actions(*m_client, nullptr, withSleep(m_clock)),
      m_openCodeClient(std::make_shared<OpenCodeHTTPClient>()),
      m_screenReader(*m_client, PromptClassifier(standardScreenAdapters())),
      m_nativeReader(m_openCodePanes, m_openCodeClient),
      m_reader(m_openCodePanes, m_nativeReader, m_screenReader),
      m_screenResponder(m_screenReader, m_actions, withSleep(m_clock)),
      m_nativeResponder(m_nativeReader, m_openCodeClient),
      m_responder(m_openCodePanes, m_nativeResponder, m_screenResponder),
      m_interactions(std::make_unique<InteractionCoordinator>(m_reader, m_responder,
                                                              withSleep(m_clock))),
      m_recentOutput(*m_client, 40, 16, 4096),
      m_idlePrompts(*m_client),
      m_activity(std::make_unique<PaneActivityCoordinator>(m_recentOutput, m_idlePrompts, 4,
                                                           m_clock.now)),
      m_completionProvider(*m_client, 80),
      m_modeProvider(*m_client),
      m_streamOptions(std::move(dependencies.streamOptions)),
      m_store(m_clock.now),
      m_attention(m_descriptor.id() == SessionDescriptor::localDefaultID, dependencies.environment)
{
    Q_ASSERT(m_client);
}

SessionRuntime::~SessionRuntime()
{
    stop();
}

QString SessionRuntime::toString(Connection connection)
{
    switch (connection) {
    case Connection::connecting: return u"connecting"_s;
    case Connection::connected: return u"connected"_s;
    case Connection::unavailable: break;
    }
    return u"unavailable"_s;
}

void SessionRuntime::start(SessionRuntimeHost* host)
{
    m_host = host;
    m_hostObject = dynamic_cast<QObject*>(host);
    m_hostIsObject = m_hostObject != nullptr;
    if (m_pollRunning)
        return;
    m_pollRunning = true;
    // The task runs detached; a new generation is how it is told to end.
    auto task = runPolls(++m_pollGeneration);
}

void SessionRuntime::startEventTask(bool includePerPaneStatus)
{
    ++m_eventGeneration;
    if (m_stream)
        m_stream->stop();
    m_stream = nullptr;
    cancelPauses(Loop::events);
    m_eventIncludesPerPaneStatus = includePerPaneStatus;
    auto task = runEvents(m_eventGeneration, includePerPaneStatus);
}

void SessionRuntime::stop()
{
    ++m_pollGeneration;
    ++m_eventGeneration;
    m_pollRunning = false;
    m_eventIncludesPerPaneStatus.reset();
    if (m_stream)
        m_stream->stop();
    m_stream = nullptr;
    cancelPauses(Loop::poll);
    cancelPauses(Loop::events);
}

bool SessionRuntime::waitForEventStreamExit(std::chrono::milliseconds timeout) const
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

SessionRuntimeHost* SessionRuntime::host() const
{
    return m_hostIsObject && !m_hostObject ? nullptr : m_host;
}

void SessionRuntime::setConnection(Connection connection)
{
    if (m_connection == connection)
        return;
    m_connection = connection;
    Q_EMIT connectionChanged(connection);
}

void SessionRuntime::setError(std::optional<QString> error)
{
    if (m_error == error)
        return;
    m_error = std::move(error);
    Q_EMIT errorChanged(errorText());
}

QString SessionRuntime::unreachableMessage() const
{
    if (const auto target = m_descriptor.kind.sshTarget())
        return u"Couldn't reach herdr on "_s + *target + u" — is it running there?"_s;
    return u"Couldn't reach herdr — is it running?"_s;
}

std::vector<QString> SessionRuntime::blockedRootPaneIDs() const
{
    const auto roots = m_attention.attention().blockedPaneIDs();
    return {roots.begin(), roots.end()};
}

bool SessionRuntime::hasWorkingPanes() const
{
    for (const auto& [paneID, pane] : m_store.panes()) {
        if (m_store.derivedStatus(paneID) == RollupStatus::working)
            return true;
    }
    return false;
}

Seconds SessionRuntime::nextPollDelay() const
{
    SessionRuntimeHost* h = host();
    const SnapshotPollingPolicy::SessionContext context{h ? h->isVisibleSession(*this) : true,
                                                        m_descriptor.isRemote()};
    const quint64 nanoseconds = SnapshotPollingPolicy::nanoseconds(
        h ? h->isSurfaceExpanded() : false, !blockedRootPaneIDs().empty(), hasWorkingPanes(),
        m_connection == Connection::unavailable, context);
    return Seconds(double(nanoseconds) / 1e9);
}

// The poll task.

QCoro::Task<> SessionRuntime::runPolls(quint64 generation)
{
    QPointer self{this};
    const auto cancelled = [&] { return !self || generation != m_pollGeneration; };
    while (!cancelled()) {
        co_await pollOnce();
        if (cancelled())
            co_return;
        co_await pause(nextPollDelay(), Loop::poll);
    }
}

QCoro::Task<> SessionRuntime::pollOnce()
{
    QPointer self{this};
    const auto result = co_await m_client->request(u"session.snapshot"_s, emptyParams());
    if (!self)
        co_return;
    std::optional<Snapshot> snapshot;
    if (result) {
        if (auto decoded = Snapshot::fromResult(*result))
            snapshot = std::move(*decoded);
    }
    if (!snapshot) {
        co_await failPoll();
        co_return;
    }
    setConnection(Connection::connected);
    setError(std::nullopt);
    const auto selected = selectedPaneID();
    // Only a whole snapshot tells which panes name an opencode server now.
    m_openCodePanes.replace(snapshot->uniquePanes());
    const StateTransitionResult transitions = m_store.reconcileTransitions(*snapshot);
    refreshAttention(m_clock.now());
    const auto modesBefore = m_agentModesByPane.size();
    std::erase_if(m_agentModesByPane,
                  [&](const auto& entry) { return !m_store.panes().contains(entry.first); });
    if (m_agentModesByPane.size() != modesBefore)
        Q_EMIT agentModesChanged();
    resubscribeIfPanesAreUnwatched();
    co_await react(transitions, selected, Origin::poll);
}

QCoro::Task<> SessionRuntime::react(StateTransitionResult transitions,
                                    std::optional<QString> selected, Origin origin)
{
    QPointer self{this};
    // Only a poll counts towards the coordinators' fallback cadence and refreshes the agent mode.
    const bool polled = origin == Origin::poll;
    co_await reconcileInteractions(transitions.newlyBlockedPaneIDs, polled);
    if (!self)
        co_return;
    co_await reconcileActivity(selected, polled);
    if (!self)
        co_return;
    if (const auto selectedNow = selectedPaneID(); polled && selectedNow) {
        co_await refreshAgentMode(*selectedNow);
        if (!self)
            co_return;
    }
    co_await captureCompletionSummaries(transitions.newlyFinishedPaneIDs);
    if (!self)
        co_return;
    co_await tellHost(std::move(transitions), std::move(selected));
}

void SessionRuntime::resubscribeIfPanesAreUnwatched()
{
    // A pane first seen by a poll (at start, or after a gap in the stream) would get no status
    // events until herdr announces some new pane; ending the pass picks it up now.
    if (!m_stream || m_eventIncludesPerPaneStatus != true)
        return;
    for (const auto& [paneID, pane] : m_store.panes()) {
        if (!m_watchedPanes.contains(paneID)) {
            m_stream->stop();
            return;
        }
    }
}

QCoro::Task<> SessionRuntime::failPoll()
{
    setConnection(Connection::unavailable);
    setError(unreachableMessage());
    // What was known stays shown; the host still hears of the cycle.
    co_await tellHost({}, selectedPaneID());
}

// The event task.

QCoro::Task<> SessionRuntime::runEvents(quint64 generation, bool includePerPaneStatus)
{
    QPointer self{this};
    const auto cancelled = [&] { return !self || generation != m_eventGeneration; };
    while (!cancelled()) {
        const std::vector<Subscription> subscriptions =
            m_store.currentSubscriptions(includePerPaneStatus);
        std::set<QString> watched;
        for (const auto& [paneID, pane] : m_store.panes())
            watched.insert(paneID);
        m_watchedPanes = includePerPaneStatus ? watched : std::set<QString>();

        // Reconnects of this stream keep this list; a new list needs a new pass.
        std::unique_ptr<EventStream> stream = m_client->events(
            [subscriptions] { return subscriptions; }, BackoffPolicy::defaultPolicy(),
            m_streamOptions());
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
        co_await pause(resubscribePause, Loop::events);
    }
}

QCoro::Task<> SessionRuntime::handle(EventEnvelope envelope)
{
    if (envelope.event == EventStream::subscribeErrorEvent) {
        const JSONValue* message = envelope.data.member(u"message");
        const auto text = message ? message->stringValue() : std::nullopt;
        setConnection(Connection::unavailable);
        setError(u"herdr rejected the event subscription: "_s + text.value_or(u"invalid_request"_s));
        co_return;
    }
    const auto selected = selectedPaneID();
    const StateTransitionResult transitions = m_store.applyTransitions(envelope);
    refreshAttention(m_clock.now());
    co_await react(transitions, selected, Origin::event);
}

QCoro::Task<bool> SessionRuntime::liveHasUnwatchedPane(std::set<QString> watched)
{
    const auto result = co_await m_client->request(u"session.snapshot"_s, emptyParams());
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

QCoro::Task<> SessionRuntime::tellHost(StateTransitionResult transitions,
                                       std::optional<QString> selected)
{
    if (SessionRuntimeHost* h = host())
        co_await h->sessionRuntimeDidObserve(this, std::move(transitions), std::move(selected));
}

// Sleeping that stop() can cut short. A timer of the runtime's own, or the injected clock's sleep
// in a detached task, rings the runtime when the time is over; a cancellation resumes the sleeper
// without waiting for the ring.

QCoro::Task<> SessionRuntime::pause(Seconds duration, Loop loop)
{
    const quint64 ticket = ++m_lastTicket;
    if (!m_clock.sleep) {
        const auto milliseconds = std::chrono::milliseconds(qint64(duration.count() * 1000.0));
        QTimer::singleShot(milliseconds, this, [this, ticket] { ring(ticket); });
        co_await PauseAwaiter{this, ticket, loop};
        co_return;
    }
    m_ticketBeingSet = ticket;
    m_rangWhileSetting = false;
    auto alarm = ringAfter(m_clock.sleep, duration, QPointer(this), ticket);
    m_ticketBeingSet = 0;
    if (m_rangWhileSetting)
        co_return;
    co_await PauseAwaiter{this, ticket, loop};
}

QCoro::Task<> SessionRuntime::ringAfter(std::function<QCoro::Task<>(Seconds)> sleep,
                                        Seconds duration, QPointer<SessionRuntime> runtime,
                                        quint64 ticket)
{
    co_await sleep(duration);
    if (runtime)
        runtime->ring(ticket);
}

void SessionRuntime::ring(quint64 ticket)
{
    const auto it = m_paused.find(ticket);
    if (it == m_paused.end()) {
        // A sleep that was over before its sleeper could wait, or one cancelled meanwhile.
        if (ticket == m_ticketBeingSet)
            m_rangWhileSetting = true;
        return;
    }
    const auto handle = it->second.handle;
    m_paused.erase(it);
    handle.resume();
}

void SessionRuntime::cancelPauses(Loop loop)
{
    for (auto it = m_paused.begin(); it != m_paused.end();) {
        if (it->second.loop != loop) {
            ++it;
            continue;
        }
        // Queued: the sleeper may end this runtime, and stop() may run in its destructor.
        const auto handle = it->second.handle;
        it = m_paused.erase(it);
        QMetaObject::invokeMethod(QCoreApplication::instance(), [handle] { handle.resume(); },
                                  Qt::QueuedConnection);
    }
}

// The cycle's reactions.

void SessionRuntime::refreshAttention(Timestamp now)
{
    m_agentTree = m_attention.refresh(m_store.panes(), now).tree;
}

QCoro::Task<> SessionRuntime::select(std::optional<QString> paneID)
{
    if (!paneID) {
        m_interactions->clearSelection();
        m_activity->clearSelection();
        co_return;
    }
    co_await m_interactions->select(*paneID);
}

QCoro::Task<ActionOutcome> SessionRuntime::jump(QString paneID, TerminalPresenting* presenter) const
{
    // The store knows the way to the pane; without it the actions look it up.
    std::optional<QString> workspaceID;
    std::optional<QString> tabID;
    if (const auto pane = m_store.panes().find(paneID); pane != m_store.panes().end()) {
        workspaceID = pane->second.workspaceID;
        tabID = pane->second.tabID;
    }
    return m_actions.jump(std::move(paneID), std::move(workspaceID), std::move(tabID), presenter);
}

QCoro::Task<ActionOutcome> SessionRuntime::reply(QString paneID, QString text, bool submit) const
{
    return m_actions.reply(std::move(paneID), std::move(text), submit);
}

QCoro::Task<ActionOutcome> SessionRuntime::sendRawKeys(QString paneID,
                                                       std::vector<QString> keys) const
{
    return m_actions.sendRawKeys(std::move(paneID), std::move(keys));
}

QCoro::Task<ActionOutcome> SessionRuntime::cycleAgentMode(QString paneID) const
{
    return m_actions.cycleAgentMode(std::move(paneID));
}

QCoro::Task<ActionOutcome> SessionRuntime::interrupt(QString paneID) const
{
    return m_actions.interrupt(std::move(paneID));
}

QCoro::Task<std::expected<void, EscalationAnswerFailure>> SessionRuntime::sendEscalationAnswer(
    QString questionID, QString ownerPaneID, std::optional<QString> originPaneID, QString message)
{
    const PiHarnessFiles* files = harnessFiles();
    const auto fresh = files ? files->freshEscalation(questionID) : std::nullopt;
    if (!fresh || fresh->ownerPaneID != ownerPaneID || fresh->originPaneID != originPaneID ||
        !fresh->canAnswer())
        co_return std::unexpected(EscalationChanged{questionID});
    const Actions actions = m_actions;
    const ActionOutcome sent = co_await actions.sendMessage(ownerPaneID, message);
    if (!sent)
        co_return std::unexpected(sent.error());
    co_return std::expected<void, EscalationAnswerFailure>();
}

std::optional<NeedsHumanSignal> SessionRuntime::signal(const QString& rootPaneID) const
{
    for (const auto& item : attention().items) {
        if (const auto* ask = item.explicitAsk(); ask && item.rootPaneID == rootPaneID)
            return ask->signal;
    }
    return std::nullopt;
}

std::optional<EscalatedQuestion> SessionRuntime::escalation(const QString& questionID)
{
    const PiHarnessFiles* files = harnessFiles();
    if (!files)
        return std::nullopt;
    for (const auto& question : files->journal().escalations) {
        if (question.id == questionID)
            return question;
    }
    return std::nullopt;
}

QCoro::Task<> SessionRuntime::reconcileInteractions(std::vector<QString> newlyBlocked,
                                                    bool countsTowardFallbackCadence)
{
    std::vector<InteractionPaneSnapshot> panes;
    panes.reserve(m_store.panes().size());
    for (const auto& [paneID, pane] : m_store.panes()) {
        const RollupStatus status = m_store.derivedStatus(paneID);
        panes.push_back(InteractionPaneSnapshot{paneID, pane.agent, pane.revision,
                                                status == RollupStatus::blocked,
                                                status == RollupStatus::working});
    }
    SessionRuntimeHost* h = host();
    const bool preserve = h && h->preservesResolvedSelection();
    co_await m_interactions->reconcile(std::move(panes), std::move(newlyBlocked), preserve,
                                       countsTowardFallbackCadence);
}

QCoro::Task<> SessionRuntime::reconcileActivity(std::optional<QString> selectedPaneID,
                                                bool countsTowardFallbackCadence)
{
    // herdr's own status: an idle agent the person has not yet seen finish still takes a prompt.
    std::vector<PaneActivitySnapshot> panes;
    panes.reserve(m_store.panes().size());
    for (const auto& [paneID, pane] : m_store.panes())
        panes.push_back(PaneActivitySnapshot::from(pane));
    co_await m_activity->reconcile(std::move(panes), std::move(selectedPaneID),
                                   countsTowardFallbackCadence);
}

QCoro::Task<> SessionRuntime::refreshAgentMode(QString paneID)
{
    const auto pane = m_store.panes().find(paneID);
    if (pane == m_store.panes().end() || !pane->second.agent ||
        !AgentModeCycling::supports(*pane->second.agent))
        co_return;
    QPointer self{this};
    const QString agentID = *pane->second.agent;
    const AgentModeReading reading = co_await m_modeProvider.mode(paneID, agentID);
    // A failed read keeps what was known.
    if (!self || !reading)
        co_return;
    const auto known = m_agentModesByPane.find(paneID);
    const std::optional<AgentMode> before =
        known == m_agentModesByPane.end() ? std::nullopt : std::optional(known->second);
    if (before == *reading)
        co_return;
    if (*reading)
        m_agentModesByPane.insert_or_assign(paneID, **reading);
    else
        m_agentModesByPane.erase(paneID);
    Q_EMIT agentModesChanged();
}

QCoro::Task<> SessionRuntime::captureCompletionSummaries(std::vector<QString> paneIDs)
{
    QPointer self{this};
    for (const QString& paneID : paneIDs) {
        const auto pane = m_store.panes().find(paneID);
        if (pane == m_store.panes().end())
            continue;
        const PaneInfo before = pane->second;
        const auto summary = co_await m_completionProvider.completionSummary(paneID);
        if (!self)
            co_return;
        // A pane that moved on while it was read may show another turn's text.
        const auto now = m_store.panes().find(paneID);
        if (summary && now != m_store.panes().end() && now->second == before)
            m_interactions->cacheCompletionSummary(*summary, paneID);
    }
}
