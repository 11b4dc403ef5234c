#pragma once

#include "OrrelApp/Alerts/AgentNotificationRequest.h"

#include <QCoroTask>
#include <QStringList>

#include <functional>
#include <vector>

// The desktop's notification service, as the notification logic needs it. Everything runs on
// the main thread; what waits on the desktop is a task that never blocks the event loop.
class AgentNotificationScheduling {
public:
    using ResponseHandler = std::function<void(AgentNotificationResponse)>;

    virtual ~AgentNotificationScheduling() = default;

    virtual QCoro::Task<AgentNotificationAuthorization> authorizationStatus() = 0;
    // Asks the person where the desktop does; true when notifications may be shown afterwards.
    virtual QCoro::Task<bool> requestAuthorization() = 0;

    // Shown, and on their way to being shown.
    virtual std::vector<ScheduledAgentNotification> deliveredNotifications() const = 0;
    virtual std::vector<ScheduledAgentNotification> pendingNotifications() const = 0;

    // Shows `request`, in place of one with the same identifier; false when the desktop refused
    // or did not answer in time.
    virtual QCoro::Task<bool> add(AgentNotificationRequest request) = 0;
    virtual void removePendingNotifications(const QStringList& identifiers) = 0;
    virtual void removeDeliveredNotifications(const QStringList& identifiers) = 0;

    // What the person did with one of this program's notifications.
    virtual void setResponseHandler(ResponseHandler handler) = 0;
    // Called when the answer of `authorizationStatus` may have changed by itself.
    virtual void setAuthorizationChangeHandler(std::function<void()> handler) = 0;
};
