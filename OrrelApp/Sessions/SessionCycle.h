#pragma once

#include "HerdrClient/Interaction/AgentMode.h"
#include "HerdrClient/State/StateTransitionResult.h"
#include "HerdrClient/Support/Lifetime.h"

#include <QCoroTask>
#include <QString>

#include <map>
#include <optional>
#include <vector>

class SessionRuntime;

// What follows each merge into a session's store, whichever task made it: the prompts of waiting
// panes, the selected working pane's output, the selected pane's permission mode, the summaries
// of panes that just finished, in that order; then the host hears of it.
class SessionCycle {
public:
    explicit SessionCycle(SessionRuntime& runtime);

    // Only a poll counts towards the coordinators' fallback cadence and refreshes the mode.
    QCoro::Task<> react(StateTransitionResult transitions, std::optional<QString> selected,
                        bool polled);
    // The runtime may be gone when this returns.
    QCoro::Task<> tellHost(StateTransitionResult transitions, std::optional<QString> selected);

    // The permission mode each pane showed when it was last read.
    const std::map<QString, AgentMode>& agentModes() const { return m_agentModes; }
    // After a whole snapshot: the modes of panes that left are forgotten.
    void forgetModesOfLeftPanes();

private:
    QCoro::Task<> reconcileInteractions(std::vector<QString> newlyBlocked,
                                        bool countsTowardFallbackCadence);
    QCoro::Task<> reconcileActivity(std::optional<QString> selectedPaneID,
                                    bool countsTowardFallbackCadence);
    QCoro::Task<> refreshAgentMode(QString paneID);
    QCoro::Task<> captureCompletionSummaries(std::vector<QString> paneIDs);

    SessionRuntime& m_runtime;
    std::map<QString, AgentMode> m_agentModes;
    Lifetime m_lifetime;
};
