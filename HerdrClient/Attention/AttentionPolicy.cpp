#include "HerdrClient/Attention/AttentionPolicy.h"

#include "HerdrClient/Attention/EpochSeconds.h"

#include <algorithm>

using namespace Qt::StringLiterals;

AttentionPolicy::AttentionPolicy(QString asksDirectory) : m_asksDirectory(std::move(asksDirectory))
{
}

void AttentionPolicy::trackEpisodes(const std::map<QString, const PaneInfo*>& byID, Timestamp now)
{
    std::erase_if(m_blockedSince, [&](const auto& entry) {
        const auto pane = byID.find(entry.first);
        return pane == byID.end() || pane->second->agentStatus != AgentStatus::blocked;
    });
    for (const auto& [id, pane] : byID) {
        if (pane->agentStatus == AgentStatus::blocked && !m_blockedSince.contains(id)) {
            m_blockedSince.emplace(id, now);
            ++m_blockedSequence[id];
        }
    }
}

AttentionSnapshot AttentionPolicy::evaluate(const std::vector<PaneInfo>& panes,
                                            const AgentTree& tree, const PiHarnessJournal& journal,
                                            Timestamp now, double grace, bool loadAskDetails)
{
    std::map<QString, const PaneInfo*> byID;
    for (const auto& pane : panes)
        byID.emplace(pane.paneID, &pane);
    trackEpisodes(byID, now);

    AttentionSnapshot snapshot;
    snapshot.tree = tree;
    for (const auto& pane : panes) {
        const QString root = tree.root(pane.paneID);
        if (root != pane.paneID) {
            // Only the presence of a worker's ask matters, and that is in its token alone.
            const bool asks =
                NeedsHumanSignal::decode(pane.tokens, pane.paneID, m_asksDirectory, false)
                    .has_value();
            const bool blocked = pane.agentStatus == AgentStatus::blocked;
            if (blocked || pane.agentStatus == AgentStatus::working)
                snapshot.activeWorkers[root].push_back(pane.paneID);
            if (blocked || asks)
                ++snapshot.hiddenChildAskCount[root];
            continue;
        }
        auto signal =
            NeedsHumanSignal::decode(pane.tokens, pane.paneID, m_asksDirectory, loadAskDetails);
        if (signal) {
            const Timestamp since = timestampFromEpochSeconds(signal->since / 1000.0);
            snapshot.items.push_back(AttentionItem{u"nh:"_s + pane.paneID + u':' + signal->id,
                                                   pane.paneID, pane.paneID,
                                                   AttentionItem::ExplicitAsk{std::move(*signal)},
                                                   since, AttentionItem::Phase::alerted});
        } else if (pane.agentStatus == AgentStatus::blocked) {
            const auto sequence = m_blockedSequence.find(pane.paneID);
            const auto started = m_blockedSince.find(pane.paneID);
            const Timestamp since = started == m_blockedSince.end() ? now : started->second;
            const auto phase = grace <= secondsBetween(since, now) ? AttentionItem::Phase::alerted
                                                                   : AttentionItem::Phase::grace;
            snapshot.items.push_back(AttentionItem{
                u"blocked:"_s + pane.paneID + u':'
                    + QString::number(sequence == m_blockedSequence.end() ? 0 : sequence->second),
                pane.paneID, pane.paneID, AttentionItem::RootBlocked{}, since, phase});
        }
    }
    addEscalations(snapshot, journal);

    std::stable_sort(snapshot.items.begin(), snapshot.items.end(),
                     [](const auto& a, const auto& b) { return a.id < b.id; });
    for (auto& [root, workers] : snapshot.activeWorkers)
        std::sort(workers.begin(), workers.end());
    for (const auto& item : snapshot.items) {
        if (item.phase == AttentionItem::Phase::alerted && !m_alerted.contains(item.id))
            snapshot.newlyAlerted.push_back(item);
    }
    for (const auto& item : snapshot.newlyAlerted)
        m_alerted.insert(item.id);
    // A pane id that comes back counts its episodes from 1 again; its old "blocked:" ids stay in
    // `m_alerted`, so a returning pane never alerts twice for the same id.
    std::erase_if(m_blockedSequence,
                  [&](const auto& entry) { return !tree.livePanes().contains(entry.first); });
    snapshot.overallStatus = overallStatus(snapshot, byID);
    return snapshot;
}

void AttentionPolicy::addEscalations(AttentionSnapshot& snapshot,
                                     const PiHarnessJournal& journal) const
{
    const auto& live = snapshot.tree.livePanes();
    for (const auto& question : journal.escalations) {
        if (question.childKind == u"herdr-pane"_s && !live.contains(question.childPaneID))
            continue;
        if (!question.notificationConfirmed || !live.contains(question.ownerPaneID)) {
            snapshot.staleEscalations.push_back(question);
            ++snapshot.staleEscalationCount;
            continue;
        }
        const bool surfaced = std::any_of(snapshot.items.begin(), snapshot.items.end(),
                                          [&](const AttentionItem& item) {
                                              const auto* ask = item.explicitAsk();
                                              return ask && ask->signal.id == question.id;
                                          });
        if (surfaced)
            continue;
        snapshot.items.push_back(
            AttentionItem{u"escalation:"_s + question.id, question.ownerPaneID,
                          snapshot.tree.root(question.ownerPaneID),
                          AttentionItem::Escalation{question.id, question.childPaneID},
                          question.since, AttentionItem::Phase::alerted});
    }
}

RollupStatus AttentionPolicy::overallStatus(const AttentionSnapshot& snapshot,
                                            const std::map<QString, const PaneInfo*>& byID)
{
    const auto blocked = snapshot.blockedPaneIDs();
    std::vector<RollupStatus> statuses;
    for (const auto& root : snapshot.tree.roots()) {
        if (blocked.contains(root)) {
            statuses.push_back(RollupStatus::blocked);
        } else if (const auto workers = snapshot.activeWorkers.find(root);
                   workers != snapshot.activeWorkers.end() && !workers->second.empty()) {
            statuses.push_back(RollupStatus::working);
        } else if (const auto pane = byID.find(root); pane != byID.end()) {
            statuses.push_back(rollupStatus(pane->second->agentStatus));
        }
    }
    return rollup(statuses);
}
