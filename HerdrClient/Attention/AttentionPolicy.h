#pragma once

#include "HerdrClient/Attention/AttentionSnapshot.h"
#include "HerdrClient/Attention/PiHarnessJournal.h"
#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/PaneInfo.h"

#include <map>
#include <set>
#include <vector>

// Decides who needs the person, one session at a time. Only roots speak: an ask alerts at once,
// a bare block alerts once it has lasted the grace time, a worker only counts under its root,
// and a worker's escalation reaches the person through its owner once the owner was told.
// The clock is the refresh: nothing fires between two evaluations.
class AttentionPolicy {
public:
    static constexpr double defaultGrace = 30.0;

    // `asksDirectory` is where the asks of `NeedsHumanSignal` are read from.
    explicit AttentionPolicy(QString asksDirectory);

    // Advances the memory of blocked episodes and alerts to `now` and returns who needs the
    // person. `loadAskDetails` reads the ask files (local default session only).
    AttentionSnapshot evaluate(const std::vector<PaneInfo>& panes, const AgentTree& tree,
                               const PiHarnessJournal& journal, Timestamp now, double grace,
                               bool loadAskDetails);

    const std::map<QString, Timestamp>& blockedSince() const { return m_blockedSince; }
    const std::map<QString, qint64>& blockedSequence() const { return m_blockedSequence; }
    const std::set<QString>& alerted() const { return m_alerted; }

private:
    void trackEpisodes(const std::map<QString, const PaneInfo*>& byID, Timestamp now);
    void addEscalations(AttentionSnapshot& snapshot, const PiHarnessJournal& journal) const;
    static RollupStatus overallStatus(const AttentionSnapshot& snapshot,
                                      const std::map<QString, const PaneInfo*>& byID);

    QString m_asksDirectory;
    std::map<QString, Timestamp> m_blockedSince;
    std::map<QString, qint64> m_blockedSequence;
    // Never shrinks: an id alerts once for the life of the policy, even if its pane id returns.
    std::set<QString> m_alerted;
};
