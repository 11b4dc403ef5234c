// The read side of the view model: the merged list of agents, the overview's board and the
// figures of the compact pill. All of it is computed on demand; nothing here is cached.
#include "OrrelApp/Surface/OrrelViewModel.h"

#include "HerdrClient/Attention/HardFloor.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/PaneDisplayIdentity.h"

#include <algorithm>
#include <chrono>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

// A pane with an agent; shells and editors are not the surface's business.
bool isDisplayable(const PaneInfo& pane)
{
    return pane.agent && !pane.agent->trimmed().isEmpty();
}

qint64 wholeSecondsBetween(Timestamp from, Timestamp to)
{
    return std::chrono::duration_cast<std::chrono::seconds>(to - from).count();
}

QString workerPhrase(int count)
{
    return count == 1 ? u"1 worker"_s : u"%1 workers"_s.arg(count);
}

std::optional<Timestamp> lookUp(const std::map<QString, Timestamp>& timers, const QString& paneID)
{
    const auto found = timers.find(paneID);
    return found == timers.end() ? std::nullopt : std::optional(found->second);
}

AttentionBoardRow rowOf(const InteractionAttentionDisplayModel& item)
{
    AttentionBoardRow row;
    row.item = item;
    return row;
}

} // namespace

std::optional<QString> OrrelViewModel::workspaceLabel(const StateStore& store, const PaneInfo& pane)
{
    const auto workspace = store.workspaces().find(pane.workspaceID);
    return workspace == store.workspaces().end() ? std::nullopt : workspace->second.label;
}

QString OrrelViewModel::taskTitle(const StateStore& store, const PaneInfo& pane)
{
    return PaneDisplayIdentity::taskTitle(pane, workspaceLabel(store, pane));
}

QString OrrelViewModel::projectTitle(const StateStore& store, const PaneInfo& pane)
{
    return PaneDisplayIdentity::projectTitle(pane, workspaceLabel(store, pane), true);
}

InteractionAttentionDisplayModel OrrelViewModel::displayItem(const SessionRuntime& runtime,
                                                             const PaneInfo& pane,
                                                             Timestamp at) const
{
    const StateStore& store = runtime.store();
    const AttentionSnapshot& attention = runtime.attention();
    const auto tab = store.tabs().find(pane.tabID);
    const RollupStatus status = store.derivedStatus(pane.paneID);

    std::optional<Timestamp> activeSince;
    if (attention.blockedPaneIDs().contains(pane.paneID))
        activeSince = lookUp(store.blockedSince(), pane.paneID);
    else if (!attention.waitingWorkers(pane.paneID).empty())
        activeSince = lookUp(store.workingSince(), pane.paneID);
    else if (status == RollupStatus::blocked)
        activeSince = lookUp(store.blockedSince(), pane.paneID);
    else if (status == RollupStatus::working)
        activeSince = lookUp(store.workingSince(), pane.paneID);

    const AgentRef ref{runtime.sessionID(), pane.paneID};
    InteractionAttentionDisplayModel::Input input;
    input.ref = ref;
    input.sessionLabel = runtime.descriptor().label();
    input.isRemote = runtime.descriptor().isRemote();
    input.taskTitle = taskTitle(store, pane);
    input.agentName = pane.displayAgent.value_or(pane.agent.value_or(QString()));
    input.modelName = PaneDisplayIdentity::modelBadge(pane);
    input.workspaceLabel = projectTitle(store, pane);
    input.tabTitle = tab == store.tabs().end()
                         ? PaneDisplayIdentity::tabTitle(std::nullopt, std::nullopt)
                         : PaneDisplayIdentity::tabTitle(tab->second.label, tab->second.number);
    input.status = status;
    input.state = runtime.interactions().state(pane.paneID);
    input.completionSummary = runtime.interactions().completionSummary(pane.paneID);
    input.activeSince = activeSince;
    input.isSelected = m_selected == ref;
    input.now = at;
    return InteractionAttentionDisplayModel::make(std::move(input));
}

std::vector<InteractionAttentionDisplayModel> OrrelViewModel::attentionItems(Timestamp at) const
{
    std::vector<std::pair<int, InteractionAttentionDisplayModel>> ranked;
    for (SessionRuntime* runtime : runtimes()) {
        const std::vector<QString> order = runtime->interactions().attentionOrder();
        for (const auto& [paneID, pane] : runtime->store().panes()) {
            if (!isDisplayable(pane))
                continue;
            const auto position = std::ranges::find(order, paneID);
            const int rank = position == order.end() ? std::numeric_limits<int>::max()
                                                     : int(position - order.begin());
            ranked.emplace_back(rank, displayItem(*runtime, pane, at));
        }
    }
    std::ranges::stable_sort(ranked, {}, &decltype(ranked)::value_type::first);
    std::vector<InteractionAttentionDisplayModel> items;
    items.reserve(ranked.size());
    for (auto& entry : ranked)
        items.push_back(std::move(entry.second));
    return items;
}

RollupStatus OrrelViewModel::overallStatus() const
{
    std::vector<RollupStatus> statuses;
    for (SessionRuntime* runtime : runtimes())
        statuses.push_back(runtime->attention().overallStatus);
    return rollup(statuses);
}

int OrrelViewModel::agentCount() const
{
    int count = 0;
    for (SessionRuntime* runtime : runtimes())
        count += int(std::ranges::count_if(runtime->store().panes(), [](const auto& entry) {
            return isDisplayable(entry.second);
        }));
    return count;
}

std::vector<AgentRef> OrrelViewModel::needsYouRefs() const
{
    std::vector<std::pair<Timestamp, AgentRef>> refs;
    for (SessionRuntime* runtime : runtimes())
        for (const AttentionItem& item : runtime->attention().needsYou())
            refs.emplace_back(item.since, AgentRef{runtime->sessionID(), item.paneID});
    std::ranges::sort(refs, [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first < b.first : a.second.id() < b.second.id();
    });
    std::vector<AgentRef> result;
    for (auto& entry : refs)
        result.push_back(std::move(entry.second));
    return result;
}

bool OrrelViewModel::isRoot(const AgentRef& ref) const
{
    const Located located = locate(ref);
    return located.runtime && located.runtime->attention().tree.root(ref.paneID) == ref.paneID;
}

void OrrelViewModel::toggleRootExpansion(const AgentRef& ref)
{
    if (!m_expandedRoots.erase(ref))
        m_expandedRoots.insert(ref);
    notifyChanged();
}

CompactSignalSnapshot OrrelViewModel::compactSignalSnapshot() const
{
    const RollupStatus overall = overallStatus();
    qint64 matching = 0;
    for (SessionRuntime* runtime : runtimes())
        for (const auto& [paneID, pane] : runtime->store().panes())
            if (runtime->store().derivedStatus(paneID) == overall)
                ++matching;
    return CompactSignalSnapshot::make(m_compactSignalTracker, overall, matching, agentCount());
}

QString OrrelViewModel::needsYouSummary(SessionRuntime& runtime, const QString& base,
                                        const AttentionItem& item) const
{
    if (const auto* escalation = item.escalation()) {
        const std::optional<EscalatedQuestion> question =
            runtime.escalation(escalation->questionID);
        const StateStore& store = runtime.store();
        const PaneInfo* worker =
            question ? store.pane(question->childPaneID) : store.pane(escalation->worker);
        const QString workerTitle = worker ? taskTitle(store, *worker) : escalation->worker;
        return u"Escalated from worker \u201c%1\u201d: %2"_s.arg(
            workerTitle, question ? question->question : u"Escalated question"_s);
    }
    if (const auto* ask = item.explicitAsk(); ask && ask->signal.floor) {
        const PaneInfo* pane = runtime.store().pane(item.paneID);
        const QString project = pane ? projectTitle(runtime.store(), *pane) : QString();
        if (const auto verdict = HardFloor::classify(nullptr, &ask->signal, project))
            return title(verdict->category) + u" · "_s + base;
    }
    return base;
}

std::optional<AttentionBoardRow> OrrelViewModel::childRow(const AgentRef& ref,
                                                          const SessionRuntime& runtime,
                                                          Timestamp at) const
{
    const PaneInfo* pane = runtime.store().pane(ref.paneID);
    if (!pane)
        return std::nullopt;
    const RollupStatus status = runtime.store().derivedStatus(ref.paneID);
    const bool asks =
        status == RollupStatus::blocked || (pane->tokens && pane->tokens->contains(u"nh"_s));
    AttentionBoardRow row = rowOf(displayItem(runtime, *pane, at));
    row.isChild = true;
    if (asks) {
        row.summary = u"Asks its orchestrator · not shown to you"_s;
        row.stateText = u"asks parent"_s;
        row.tone = AttentionBoardRow::Tone::quiet;
    } else if (status == RollupStatus::working) {
        row.summary = u"Working"_s;
        row.stateText = u"working"_s;
        row.tone = AttentionBoardRow::Tone::amber;
    } else {
        row.summary = u"Finished"_s;
        row.stateText = u"finished"_s;
        row.tone = AttentionBoardRow::Tone::green;
    }
    return row;
}

AttentionBoard OrrelViewModel::attentionBoard(Timestamp at) const
{
    AttentionBoard board;
    std::map<AgentRef, InteractionAttentionDisplayModel> items;
    for (auto& item : attentionItems(at))
        items.emplace(item.ref, item);
    std::set<AgentRef> seen;

    for (SessionRuntime* runtime : runtimes()) {
        const AttentionSnapshot& attention = runtime->attention();
        for (const AttentionItem& item : attention.needsYou()) {
            const AgentRef ref{runtime->sessionID(), item.paneID};
            const auto found = items.find(ref);
            if (found == items.end())
                continue;
            seen.insert(ref);
            AttentionBoardRow row = rowOf(found->second);
            row.summary = needsYouSummary(*runtime, found->second.summary, item);
            // An ask that came without its file has no start of its own: no age rather than
            // one counted from 1970.
            const QString age =
                item.since > Timestamp{}
                    ? u" · "_s + ageText(std::max<qint64>(0, wholeSecondsBetween(item.since, at)))
                    : QString();
            row.meta = (item.escalation() ? u"orchestrator"_s : found->second.tabTitle) + age;
            row.stateText = u"needs you"_s;
            row.tone = AttentionBoardRow::Tone::hot;
            row.workerCount = int(attention.tree.children(item.paneID).size());
            row.since = item.since;
            board.needsYou.push_back(std::move(row));
        }
        for (const AttentionItem& item : attention.inGrace()) {
            const AgentRef ref{runtime->sessionID(), item.paneID};
            const auto found = items.find(ref);
            if (found == items.end() || !seen.insert(ref).second)
                continue;
            AttentionBoardRow row = rowOf(found->second);
            row.summary = u"started by hand · blocked %1s · alerts at 30s if still blocked"_s.arg(
                std::max<qint64>(0, wholeSecondsBetween(item.since, at)));
            row.meta = found->second.tabTitle + u" · herdr-detected"_s;
            row.stateText = u"no sound yet"_s;
            row.tone = AttentionBoardRow::Tone::quiet;
            row.since = item.since;
            board.grace.push_back(std::move(row));
        }
        for (const EscalatedQuestion& question : attention.staleEscalations) {
            const PaneInfo* owner = runtime->store().pane(question.ownerPaneID);
            const PaneInfo* worker = runtime->store().pane(question.childPaneID);
            QString reason;
            if (!attention.tree.livePanes().contains(question.ownerPaneID))
                reason = u"owner pane %1 closed"_s.arg(question.ownerPaneID);
            else if (question.resolutionStarted)
                reason = u"Answer delivery unconfirmed"_s;
            else if (!question.notificationConfirmed)
                reason = u"Escalation delivery unconfirmed"_s;
            else
                reason = u"Escalation missing recorded origin"_s;
            const QString workerName = question.childKind == u"herdr-pane"_s
                                           ? (worker ? taskTitle(runtime->store(), *worker)
                                                     : u"worker "_s + question.childPaneID)
                                           : question.childKind + u' ' + question.childPaneID;
            board.stale.push_back({runtime->sessionID() + u':' + question.id,
                                   owner ? taskTitle(runtime->store(), *owner)
                                         : u"orchestrator "_s + question.ownerPaneID,
                                   workerName + u" · unknown / unanswerable · "_s + reason});
        }
    }

    const auto bySince = [](const AttentionBoardRow& a, const AttentionBoardRow& b) {
        return a.since != b.since ? a.since < b.since : a.item.id() < b.item.id();
    };
    std::ranges::sort(board.needsYou, bySince);
    std::ranges::sort(board.grace, bySince);
    board.rootCount = int(board.needsYou.size() + board.grace.size());

    for (const auto& [ref, item] : items) {
        if (seen.contains(ref))
            continue;
        SessionRuntime* runtime = locate(ref).runtime;
        if (!runtime || runtime->attention().tree.root(ref.paneID) != ref.paneID)
            continue;
        const std::vector<QString> workers = runtime->attention().waitingWorkers(ref.paneID);
        const bool expanded = m_expandedRoots.contains(ref);
        AttentionBoardRow row = rowOf(item);
        ++board.rootCount;
        if (workers.empty()) {
            row.summary = item.summary;
            // A root's own state: only working and finished draw the eye.
            row.stateText =
                item.status == RollupStatus::done ? u"finished"_s : toString(item.status);
            row.tone = item.status == RollupStatus::working ? AttentionBoardRow::Tone::amber
                       : item.status == RollupStatus::done  ? AttentionBoardRow::Tone::green
                                                            : AttentionBoardRow::Tone::quiet;
            board.rest.push_back(std::move(row));
            continue;
        }
        const int count = int(workers.size());
        row.summary = u"Waiting on "_s + workerPhrase(count) + (expanded ? u""_s : u" ›"_s);
        row.meta = u"orchestrator · "_s + workerPhrase(count);
        row.stateText = u"waiting on %1"_s.arg(count);
        row.tone = AttentionBoardRow::Tone::amber;
        row.workerCount = count;
        board.rest.push_back(std::move(row));
        if (!expanded) {
            board.hiddenWorkers += count;
            continue;
        }
        for (const QString& worker : workers)
            if (auto child = childRow({ref.sessionID, worker}, *runtime, at))
                board.rest.push_back(std::move(*child));
    }
    return board;
}
