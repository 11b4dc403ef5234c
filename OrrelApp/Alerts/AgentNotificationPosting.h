#pragma once

#include "HerdrClient/State/AgentRef.h"
#include "OrrelApp/Alerts/AgentNotificationRequest.h"

#include <QString>

#include <vector>

struct InteractionAttentionDisplayModel;

// What the surface asks of desktop notifications: post one for an agent that newly needs the
// person, and take back those of a session's agents that no longer do. AgentNotificationController
// is the one that speaks to the desktop.
class AgentNotificationPosting {
public:
    virtual ~AgentNotificationPosting() = default;

    virtual void post(const InteractionAttentionDisplayModel& item, AgentNotificationKind kind) = 0;
    virtual void reconcileBlocked(const QString& sessionID,
                                  const std::vector<AgentRef>& blocked) = 0;
};

// Without a notification controller (no desktop session, or a test), alerts are the pill and the
// chime.
class NoAgentNotifications final : public AgentNotificationPosting {
public:
    void post(const InteractionAttentionDisplayModel&, AgentNotificationKind) override {}
    void reconcileBlocked(const QString&, const std::vector<AgentRef>&) override {}
};
