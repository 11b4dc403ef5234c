#include "HerdrClient/Attention/AttentionSnapshot.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

void sortBySinceThenID(std::vector<AttentionItem>& items)
{
    std::stable_sort(items.begin(), items.end(), [](const auto& a, const auto& b) {
        return a.since != b.since ? a.since < b.since : a.id < b.id;
    });
}

JSONValue itemIDs(const std::vector<AttentionItem>& items)
{
    JSONValue::Array ids;
    for (const auto& item : items)
        ids.emplace_back(item.id);
    return JSONValue(std::move(ids));
}

} // namespace

std::set<QString> AttentionSnapshot::blockedPaneIDs() const
{
    std::set<QString> roots;
    for (const auto& item : items)
        roots.insert(item.rootPaneID);
    return roots;
}

std::vector<AttentionItem> AttentionSnapshot::needsYou() const
{
    // The first item of each root wins among equal `since`, so insertion order matters.
    std::vector<AttentionItem> earliest;
    for (const auto& item : items) {
        if (item.phase != AttentionItem::Phase::alerted)
            continue;
        const auto same = std::find_if(earliest.begin(), earliest.end(), [&](const auto& kept) {
            return kept.rootPaneID == item.rootPaneID;
        });
        if (same == earliest.end())
            earliest.push_back(item);
        else if (item.since < same->since)
            *same = item;
    }
    sortBySinceThenID(earliest);
    return earliest;
}

std::vector<AttentionItem> AttentionSnapshot::inGrace() const
{
    std::set<QString> alertedRoots;
    for (const auto& item : needsYou())
        alertedRoots.insert(item.rootPaneID);
    std::vector<AttentionItem> waiting;
    for (const auto& item : items) {
        if (item.phase == AttentionItem::Phase::grace && !alertedRoots.contains(item.rootPaneID))
            waiting.push_back(item);
    }
    sortBySinceThenID(waiting);
    return waiting;
}

std::vector<QString> AttentionSnapshot::waitingWorkers(const QString& rootPaneID) const
{
    if (blockedPaneIDs().contains(rootPaneID))
        return {};
    const auto workers = activeWorkers.find(rootPaneID);
    return workers == activeWorkers.end() ? std::vector<QString>{} : workers->second;
}

QString AttentionSnapshot::state(const QString& rootPaneID,
                                 const std::map<QString, PaneInfo>& panes) const
{
    const bool asking = std::any_of(items.begin(), items.end(), [&](const auto& item) {
        return item.rootPaneID == rootPaneID && item.phase == AttentionItem::Phase::alerted;
    });
    if (asking)
        return u"asking"_s;
    if (blockedPaneIDs().contains(rootPaneID))
        return u"blocked-in-grace"_s;
    if (const auto workers = activeWorkers.find(rootPaneID); workers != activeWorkers.end()) {
        if (workers->second.size() == 1)
            return u"waiting on 1 worker"_s;
        if (workers->second.size() > 1)
            return u"waiting on %1 workers"_s.arg(workers->second.size());
    }
    const auto pane = panes.find(rootPaneID);
    if (pane == panes.end())
        return u"unknown"_s;
    // `done` reads as "unknown" on purpose: only a pane back at its prompt counts as finished.
    switch (pane->second.agentStatus) {
    case AgentStatus::idle: return u"finished"_s;
    case AgentStatus::working: return u"working"_s;
    default: return u"unknown"_s;
    }
}

JSONValue AttentionSnapshot::asJSONValue() const
{
    JSONValue::Array stale;
    for (const auto& question : staleEscalations)
        stale.push_back(question.asJSONValue());
    return RecordWriter()
        .set(u"items"_s, items)
        .set(u"newlyAlerted"_s, itemIDs(newlyAlerted))
        .set(u"needsYou"_s, itemIDs(needsYou()))
        .set(u"inGrace"_s, itemIDs(inGrace()))
        .set(u"hiddenChildAskCount"_s,
             [this] {
                 std::map<QString, qint64> counts;
                 for (const auto& [root, count] : hiddenChildAskCount)
                     counts.emplace(root, count);
                 return counts;
             }())
        .set(u"staleEscalationCount"_s, qint64(staleEscalationCount))
        .set(u"staleEscalations"_s, JSONValue(std::move(stale)))
        .set(u"activeWorkers"_s, activeWorkers)
        .set(u"overallStatus"_s, toString(overallStatus))
        .value();
}
