#pragma once

#include "HerdrClient/Attention/AttentionItem.h"
#include "HerdrClient/Attention/EscalatedQuestion.h"
#include "HerdrClient/State/AgentTree.h"
#include "HerdrClient/State/RollupStatus.h"

#include <map>
#include <set>
#include <vector>

// Who needs the person after one attention refresh of a session.
struct AttentionSnapshot {
    AgentTree tree;
    // Sorted by id.
    std::vector<AttentionItem> items;
    // The items that alerted for the first time at this refresh, in `items` order.
    std::vector<AttentionItem> newlyAlerted;
    // Workers that are blocked or ask, counted under their root.
    std::map<QString, int> hiddenChildAskCount;
    int staleEscalationCount = 0;
    std::vector<EscalatedQuestion> staleEscalations;
    // Working or blocked workers under each root, sorted.
    std::map<QString, std::vector<QString>> activeWorkers;
    RollupStatus overallStatus = RollupStatus::unknown;

    // The roots of all items, in grace or alerted.
    std::set<QString> blockedPaneIDs() const;
    // The alerted items, the earliest of each root, by `since` then id.
    std::vector<AttentionItem> needsYou() const;
    // Items in grace of roots that do not need the person yet, by `since` then id.
    std::vector<AttentionItem> inGrace() const;
    // The root's active workers, unless the root itself waits.
    std::vector<QString> waitingWorkers(const QString& rootPaneID) const;
    // "asking", "blocked-in-grace", "waiting on N worker(s)", "finished", "working" or "unknown".
    QString state(const QString& rootPaneID, const std::map<QString, PaneInfo>& panes) const;

    // For tools: the field names as keys, plus "needsYou" and "inGrace" as item ids.
    JSONValue asJSONValue() const;

    bool operator==(const AttentionSnapshot&) const = default;
};
