#include "OrrelApp/Sessions/SessionCycle.h"

#include "OrrelApp/Sessions/SessionRuntime.h"

SessionCycle::SessionCycle(SessionRuntime& runtime) : m_runtime(runtime) {}

QCoro::Task<> SessionCycle::react(StateTransitionResult transitions,
                                  std::optional<QString> selected, bool polled)
{
    const auto alive = m_lifetime.guard();
    co_await reconcileInteractions(transitions.newlyBlockedPaneIDs, polled);
    if (!alive)
        co_return;
    co_await reconcileActivity(selected, polled);
    if (!alive)
        co_return;
    if (const auto selectedNow = m_runtime.selectedPaneID(); polled && selectedNow) {
        co_await refreshAgentMode(*selectedNow);
        if (!alive)
            co_return;
    }
    co_await captureCompletionSummaries(transitions.newlyFinishedPaneIDs);
    if (!alive)
        co_return;
    co_await tellHost(std::move(transitions), std::move(selected));
}

QCoro::Task<> SessionCycle::tellHost(StateTransitionResult transitions,
                                     std::optional<QString> selected)
{
    if (SessionRuntimeHost* h = m_runtime.host())
        co_await h->sessionRuntimeDidObserve(&m_runtime, std::move(transitions),
                                             std::move(selected));
}

void SessionCycle::forgetModesOfLeftPanes()
{
    const StateStore& store = m_runtime.m_store;
    if (std::erase_if(m_agentModes,
                      [&](const auto& entry) { return !store.panes().contains(entry.first); }))
        Q_EMIT m_runtime.agentModesChanged();
}

QCoro::Task<> SessionCycle::reconcileInteractions(std::vector<QString> newlyBlocked,
                                                  bool countsTowardFallbackCadence)
{
    const StateStore& store = m_runtime.m_store;
    std::vector<InteractionPaneSnapshot> panes;
    panes.reserve(store.panes().size());
    for (const auto& [paneID, pane] : store.panes()) {
        const RollupStatus status = store.derivedStatus(paneID);
        panes.push_back(InteractionPaneSnapshot{paneID, pane.agent, pane.revision,
                                                status == RollupStatus::blocked,
                                                status == RollupStatus::working});
    }
    SessionRuntimeHost* h = m_runtime.host();
    const bool preserve = h && h->preservesResolvedSelection();
    co_await m_runtime.m_services.interactions.reconcile(std::move(panes), std::move(newlyBlocked),
                                                         preserve, countsTowardFallbackCadence);
}

QCoro::Task<> SessionCycle::reconcileActivity(std::optional<QString> selectedPaneID,
                                              bool countsTowardFallbackCadence)
{
    // herdr's own status: an idle agent the person has not yet seen finish still takes a prompt.
    const StateStore& store = m_runtime.m_store;
    std::vector<PaneActivitySnapshot> panes;
    panes.reserve(store.panes().size());
    for (const auto& [paneID, pane] : store.panes())
        panes.push_back(PaneActivitySnapshot::from(pane));
    co_await m_runtime.m_services.activity.reconcile(std::move(panes), std::move(selectedPaneID),
                                                     countsTowardFallbackCadence);
}

QCoro::Task<> SessionCycle::refreshAgentMode(QString paneID)
{
    const StateStore& store = m_runtime.m_store;
    const auto pane = store.panes().find(paneID);
    if (pane == store.panes().end() || !pane->second.agent
        || !AgentModeCycling::supports(*pane->second.agent))
        co_return;
    const auto alive = m_lifetime.guard();
    const QString agentID = *pane->second.agent;
    const AgentModeReading reading = co_await m_runtime.m_services.modes.mode(paneID, agentID);
    // A failed read keeps what was known.
    if (!alive || !reading)
        co_return;
    const auto known = m_agentModes.find(paneID);
    const std::optional<AgentMode> before =
        known == m_agentModes.end() ? std::nullopt : std::optional(known->second);
    if (before == *reading)
        co_return;
    if (*reading)
        m_agentModes.insert_or_assign(paneID, **reading);
    else
        m_agentModes.erase(paneID);
    Q_EMIT m_runtime.agentModesChanged();
}

QCoro::Task<> SessionCycle::captureCompletionSummaries(std::vector<QString> paneIDs)
{
    const auto alive = m_lifetime.guard();
    const StateStore& store = m_runtime.m_store;
    for (const QString& paneID : paneIDs) {
        const auto pane = store.panes().find(paneID);
        if (pane == store.panes().end())
            continue;
        const PaneInfo before = pane->second;
        const auto summary =
            co_await m_runtime.m_services.completionSummaries.completionSummary(paneID);
        if (!alive)
            co_return;
        // A pane that moved on while it was read may show another turn's text.
        const auto now = store.panes().find(paneID);
        if (summary && now != store.panes().end() && now->second == before)
            m_runtime.m_services.interactions.cacheCompletionSummary(*summary, paneID);
    }
}
