#pragma once

#include "HerdrClient/Attention/AttentionPolicy.h"
#include "HerdrClient/Attention/PiHarnessFiles.h"
#include "HerdrClient/Support/Environment.h"

#include <map>
#include <optional>
#include <vector>

// The attention side of one session: its policy, its latest result, the alerts the surface has
// not taken yet and, for the local default session only, the pi harness files. A session
// runtime refreshes it on every cycle.
class SessionAttention {
public:
    static constexpr double grace = AttentionPolicy::defaultGrace;

    // Only the local default session reads the sentinel directory and the ask files; its paths
    // come from `environment`.
    SessionAttention(bool isLocalDefault, const Environment& environment);

    // Rereads the harness files (local default only), builds the agent tree from `panes` and
    // evaluates the policy at `now`. New alerts queue up for `takeNewAlerts`.
    const AttentionSnapshot& refresh(const std::map<QString, PaneInfo>& panes, Timestamp now);

    const AttentionSnapshot& attention() const { return m_attention; }
    const std::vector<AttentionItem>& pendingAlerts() const { return m_pendingAlerts; }
    // The queued alerts whose item still stands in the latest result; the queue empties.
    std::vector<AttentionItem> takeNewAlerts();

    bool isLocalDefault() const { return m_harnessFiles.has_value(); }
    // Absent for any session other than the local default one.
    PiHarnessFiles* harnessFiles() { return m_harnessFiles ? &*m_harnessFiles : nullptr; }
    const AttentionPolicy& policy() const { return m_policy; }

private:
    std::optional<PiHarnessFiles> m_harnessFiles;
    AttentionPolicy m_policy;
    AttentionSnapshot m_attention;
    std::vector<AttentionItem> m_pendingAlerts;
};
