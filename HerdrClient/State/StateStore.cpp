#include "HerdrClient/State/StateStore.h"

#include <algorithm>
#include <iterator>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

std::vector<QString> setDifference(const std::set<QString>& now, const std::set<QString>& before)
{
    std::vector<QString> result;
    std::set_difference(now.begin(), now.end(), before.begin(), before.end(),
                        std::back_inserter(result));
    return result;
}

template <class Record, class Key>
std::map<QString, Record> keyedBy(const std::vector<Record>& records, Key key)
{
    std::map<QString, Record> result;
    for (const Record& record : records)
        result.insert_or_assign(record.*key, record);
    return result;
}

} // namespace

StateStore::StateStore(std::function<Timestamp()> now, QObject* parent)
    : QObject(parent), m_now(now ? std::move(now) : [] { return std::chrono::system_clock::now(); })
{
}

void StateStore::hydrate(const Snapshot& snapshot)
{
    std::map<QString, PaneInfo> panes;
    for (const PaneInfo& pane : snapshot.uniquePanes())
        panes.emplace(pane.paneID, pane);

    const auto isLive = [&panes](const QString& paneID) { return panes.contains(paneID); };
    std::erase_if(m_finishedUnseen, [&](const QString& id) { return !isLive(id); });
    std::erase_if(m_outputMatched, [&](const QString& id) { return !isLive(id); });
    std::erase_if(m_workingSince, [&](const auto& entry) { return !isLive(entry.first); });
    std::erase_if(m_blockedSince, [&](const auto& entry) { return !isLive(entry.first); });
    for (const auto& [paneID, pane] : panes)
        maintainTimers(paneID, pane.agentStatus);

    m_panes = std::move(panes);
    m_workspaces = keyedBy(snapshot.workspaces, &WorkspaceInfo::workspaceID);
    m_tabs = keyedBy(snapshot.tabs, &TabInfo::tabID);
    m_focusedPaneID = snapshot.focusedPaneID;
    bumpRevision();
}

std::vector<QString> StateStore::reconcile(const Snapshot& snapshot)
{
    return reconcileTransitions(snapshot).newlyBlockedPaneIDs;
}

StateTransitionResult StateStore::reconcileTransitions(const Snapshot& snapshot)
{
    bool changed = false;
    const std::set<QString> finishedBefore = m_finishedUnseen;
    const std::vector<PaneInfo> livePanes = snapshot.uniquePanes();

    std::set<QString> liveIDs;
    for (const PaneInfo& pane : livePanes)
        liveIDs.insert(pane.paneID);
    std::vector<QString> gone;
    for (const auto& [paneID, pane] : m_panes) {
        if (!liveIDs.contains(paneID))
            gone.push_back(paneID);
    }
    for (const QString& paneID : gone)
        remove(paneID);
    changed = changed || !gone.empty();

    if (auto tabs = keyedBy(snapshot.tabs, &TabInfo::tabID); tabs != m_tabs) {
        m_tabs = std::move(tabs);
        changed = true;
    }
    if (auto workspaces = keyedBy(snapshot.workspaces, &WorkspaceInfo::workspaceID);
        workspaces != m_workspaces) {
        m_workspaces = std::move(workspaces);
        changed = true;
    }
    // Focus seen in a poll does not count as the person having looked: only a focus event or an
    // explicit acknowledgement clears a finished pane.
    if (snapshot.focusedPaneID != m_focusedPaneID) {
        m_focusedPaneID = snapshot.focusedPaneID;
        changed = true;
    }

    StateTransitionResult result;
    for (const PaneInfo& pane : livePanes) {
        const auto stored = m_panes.find(pane.paneID);
        std::optional<AgentStatus> previous;
        if (stored != m_panes.end())
            previous = stored->second.agentStatus;
        if (stored == m_panes.end() || stored->second != pane) {
            m_panes.insert_or_assign(pane.paneID, pane);
            changed = true;
        }
        if (previous != pane.agentStatus) {
            applyTransition(pane.paneID, previous, pane.agentStatus);
            if (pane.agentStatus == AgentStatus::blocked)
                result.newlyBlockedPaneIDs.push_back(pane.paneID);
        } else if (pane.agentStatus == AgentStatus::blocked
                   && !m_blockedSince.contains(pane.paneID)) {
            startTimer(m_blockedSince, pane.paneID);
            changed = true;
        } else if (pane.agentStatus == AgentStatus::working
                   && !m_workingSince.contains(pane.paneID)) {
            startTimer(m_workingSince, pane.paneID);
            changed = true;
        }
    }

    if (changed)
        bumpRevision();
    std::sort(result.newlyBlockedPaneIDs.begin(), result.newlyBlockedPaneIDs.end());
    result.newlyFinishedPaneIDs = setDifference(m_finishedUnseen, finishedBefore);
    return result;
}

bool StateStore::apply(const EventEnvelope& event)
{
    return applyEvent(event);
}

StateTransitionResult StateStore::applyTransitions(const EventEnvelope& event)
{
    const std::set<QString> finishedBefore = m_finishedUnseen;
    StateTransitionResult result;
    if (applyEvent(event)) {
        if (auto paneID = event.paneID())
            result.newlyBlockedPaneIDs.push_back(*paneID);
    }
    result.newlyFinishedPaneIDs = setDifference(m_finishedUnseen, finishedBefore);
    return result;
}

void StateStore::acknowledge(const QString& paneID)
{
    clearFinished(paneID);
}

RollupStatus StateStore::derivedStatus(const QString& paneID) const
{
    const auto it = m_panes.find(paneID);
    if (it == m_panes.end())
        return RollupStatus::unknown;
    const AgentStatus status = it->second.agentStatus;
    if ((status == AgentStatus::idle || status == AgentStatus::unknown)
        && m_finishedUnseen.contains(paneID))
        return RollupStatus::done;
    return rollupStatus(status);
}

RollupStatus StateStore::rollupForTab(const QString& tabID) const
{
    return rollupWhere([&tabID](const PaneInfo& pane) { return pane.tabID == tabID; });
}

RollupStatus StateStore::rollupForWorkspace(const QString& workspaceID) const
{
    return rollupWhere(
        [&workspaceID](const PaneInfo& pane) { return pane.workspaceID == workspaceID; });
}

RollupStatus StateStore::overallStatus() const
{
    return rollupWhere([](const PaneInfo&) { return true; });
}

std::vector<PaneInfo> StateStore::blockedPanes() const
{
    std::vector<PaneInfo> result;
    for (const auto& [paneID, pane] : m_panes) {
        if (pane.agentStatus == AgentStatus::blocked)
            result.push_back(pane);
    }
    return result;
}

std::vector<QString> StateStore::possiblyStuckPanes(double thresholdSeconds, Timestamp at) const
{
    std::vector<QString> result;
    for (const auto& [paneID, since] : m_workingSince) {
        if (thresholdSeconds <= secondsBetween(since, at))
            result.push_back(paneID);
    }
    return result;
}

std::vector<Subscription> StateStore::currentSubscriptions(bool includePerPaneStatus) const
{
    std::vector<Subscription> result;
    if (includePerPaneStatus) {
        for (const auto& [paneID, pane] : m_panes)
            result.push_back({u"pane.agent_status_changed"_s, paneID});
    }
    result.push_back({u"pane.agent_detected"_s, std::nullopt});
    result.push_back({u"pane.created"_s, std::nullopt});
    result.push_back({u"pane.exited"_s, std::nullopt});
    // A pane that closes between two polls would otherwise stay in the per-pane list, and herdr
    // rejects the whole next subscription for it.
    result.push_back({u"pane.closed"_s, std::nullopt});
    return result;
}

const PaneInfo* StateStore::pane(const QString& paneID) const
{
    const auto it = m_panes.find(paneID);
    return it == m_panes.end() ? nullptr : &it->second;
}

void StateStore::upsert(const PaneInfo& pane)
{
    m_panes.insert_or_assign(pane.paneID, pane);
    maintainTimers(pane.paneID, pane.agentStatus);
}

void StateStore::remove(const QString& paneID)
{
    m_panes.erase(paneID);
    m_finishedUnseen.erase(paneID);
    m_outputMatched.erase(paneID);
    m_workingSince.erase(paneID);
    m_blockedSince.erase(paneID);
}

void StateStore::clearFinished(const QString& paneID)
{
    if (m_finishedUnseen.erase(paneID) > 0)
        bumpRevision();
}

bool StateStore::applyEvent(const EventEnvelope& event)
{
    const QString& name = event.event;
    // herdr writes per-pane subscription events under their dotted names.
    if (name == u"pane_agent_status_changed" || name == u"pane.agent_status_changed")
        return applyStatusChange(event);

    const std::optional<QString> paneID = event.paneID();
    if (name == u"pane_created" || name == u"pane_focused" || name == u"pane_moved") {
        if (auto pane = event.pane()) {
            // A new subscriber is first sent herdr's old creation events, with records long out
            // of date: a pane held already keeps the record it has.
            if (name != u"pane_created" || !m_panes.contains(pane->paneID))
                upsert(*pane);
        }
        if (name == u"pane_focused" && paneID) {
            m_focusedPaneID = *paneID;
            clearFinished(*paneID);
        }
    } else if (name == u"pane_agent_detected") {
        if (auto pane = event.pane())
            upsert(*pane);
    } else if (name == u"pane_exited" || name == u"pane_closed") {
        if (paneID)
            remove(*paneID);
    } else if (name == u"pane_output_matched" || name == u"pane.output_matched") {
        if (paneID)
            m_outputMatched.insert(*paneID);
    } else {
        return false;
    }
    bumpRevision();
    return false;
}

bool StateStore::applyStatusChange(const EventEnvelope& event)
{
    const std::optional<QString> paneID = event.paneID();
    if (!paneID)
        return false;
    const auto* data = event.data.objectValue();
    if (!data || data->empty())
        return false;
    const std::optional<AgentStatus> to = event.agentStatus();
    if (!to)
        return false;

    std::optional<AgentStatus> from;
    if (auto stored = m_panes.find(*paneID); stored != m_panes.end()) {
        from = stored->second.agentStatus;
        stored->second = stored->second.with(*to);
    }
    applyTransition(*paneID, from, to);
    bumpRevision();
    return *to == AgentStatus::blocked && from != AgentStatus::blocked;
}

void StateStore::applyTransition(const QString& paneID, std::optional<AgentStatus> from,
                                 std::optional<AgentStatus> to)
{
    if (!to) {
        m_workingSince.erase(paneID);
        m_blockedSince.erase(paneID);
        return;
    }
    switch (*to) {
    case AgentStatus::working:
        m_finishedUnseen.erase(paneID);
        m_outputMatched.erase(paneID);
        m_blockedSince.erase(paneID);
        startTimer(m_workingSince, paneID);
        break;
    case AgentStatus::blocked:
        m_finishedUnseen.erase(paneID);
        m_workingSince.erase(paneID);
        startTimer(m_blockedSince, paneID);
        break;
    case AgentStatus::idle:
    case AgentStatus::done:
        m_workingSince.erase(paneID);
        m_blockedSince.erase(paneID);
        // A pane that finishes while the person looks at it has been seen.
        if (from == AgentStatus::working && m_focusedPaneID != paneID)
            m_finishedUnseen.insert(paneID);
        break;
    case AgentStatus::unknown:
        m_workingSince.erase(paneID);
        m_blockedSince.erase(paneID);
        break;
    }
}

void StateStore::maintainTimers(const QString& paneID, AgentStatus status)
{
    if (status == AgentStatus::working) {
        m_blockedSince.erase(paneID);
        startTimer(m_workingSince, paneID);
    } else if (status == AgentStatus::blocked) {
        m_workingSince.erase(paneID);
        startTimer(m_blockedSince, paneID);
    } else {
        m_workingSince.erase(paneID);
        m_blockedSince.erase(paneID);
    }
}

void StateStore::startTimer(std::map<QString, Timestamp>& timers, const QString& paneID)
{
    // The first moment counts: a pane that keeps working keeps its start.
    if (!timers.contains(paneID))
        timers.emplace(paneID, m_now());
}

RollupStatus StateStore::rollupWhere(const std::function<bool(const PaneInfo&)>& include) const
{
    std::vector<RollupStatus> statuses;
    for (const auto& [paneID, pane] : m_panes) {
        if (include(pane))
            statuses.push_back(derivedStatus(paneID));
    }
    return rollup(statuses);
}

void StateStore::bumpRevision()
{
    if (m_revision == std::numeric_limits<qint64>::max())
        qFatal("StateStore revision overflowed");
    ++m_revision;
    Q_EMIT revisionChanged(m_revision);
}
