#pragma once

#include "OrrelApp/Alerts/AgentNotificationPosting.h"
#include "OrrelApp/Alerts/AgentNotificationRequest.h"

#include <QCoroTask>
#include <QObject>
#include <QStringList>

#include <functional>
#include <map>
#include <vector>

class AgentNotificationScheduling;
class Settings;

// Decides which desktop notifications to show and which to take back: one per agent that newly
// needs the person, never the same text twice, gone as soon as its agent no longer waits.
// Whether the desktop lets the program notify is read from it, never assumed; what is posted
// before that is known waits, and is dropped when the answer is no.
//
// Main thread only. The settings and the scheduler outlive the controller.
class AgentNotificationController : public QObject, public AgentNotificationPosting {
    Q_OBJECT

public:
    // Carries out what the person asked of a notification; the task ends when that is done.
    using ActionHandler = std::function<QCoro::Task<>(AgentNotificationResponse)>;

    AgentNotificationController(Settings& settings, AgentNotificationScheduling& scheduler,
                                bool supportsTimeSensitive = false, QObject* parent = nullptr);
    ~AgentNotificationController() override;

    // Listens to the desktop's answers and to the settings, and reads the authorization.
    void start();
    // Forgets the action handler and takes back what is shown: once the program has gone, nothing
    // would answer a notification's buttons.
    void stop();
    // Answers that came before the handler are carried out now, in the order they came.
    void setActionHandler(ActionHandler handler);

    // What a setup page's "Allow" does: asks the desktop where it asks, and reads the answer.
    QCoro::Task<AgentNotificationAuthorization> requestFromSetup();
    void refreshAuthorization(bool requestIfNeeded);
    QCoro::Task<AgentNotificationAuthorization> refreshAuthorizationNow(bool requestIfNeeded);
    void settingsDidChange();

    // --- AgentNotificationPosting.
    void post(const InteractionAttentionDisplayModel& item, AgentNotificationKind kind) override;
    // Takes back the `blocked` notifications of the session's agents that are not in
    // `activeRefs`. Records that name no agent are left alone.
    void reconcileBlocked(const QString& sessionID,
                          const std::vector<AgentRef>& activeRefs) override;

    void removeNotifications(const AgentRef& ref);
    void removeNotifications(const QString& sessionID);

    // What the desktop reports the person did; queued while there is no handler.
    QCoro::Task<> respond(AgentNotificationResponse response);

    AgentNotificationAuthorization authorization() const { return m_authorization; }
    const std::map<QString, AgentNotificationRequest>& deferredRequests() const
    {
        return m_deferredRequests;
    }
    const std::vector<AgentNotificationResponse>& queuedActions() const { return m_queuedActions; }
    // The ones shown now.
    std::vector<ScheduledAgentNotification> openNotifications() const;

Q_SIGNALS:
    void authorizationChanged();

private:
    QCoro::Task<> deliver(AgentNotificationRequest request);
    QCoro::Task<> schedule(AgentNotificationRequest request);
    std::vector<ScheduledAgentNotification> knownNotifications() const;
    void remove(const QStringList& identifiers);
    void setAuthorization(AgentNotificationAuthorization authorization);

    Settings& m_settings;
    AgentNotificationScheduling& m_scheduler;
    ActionHandler m_actionHandler;
    std::vector<AgentNotificationResponse> m_queuedActions;
    std::map<QString, AgentNotificationRequest> m_deferredRequests;
    bool m_authorizationRequestInFlight = false;
    bool m_supportsTimeSensitive = false;
    AgentNotificationAuthorization m_authorization = AgentNotificationAuthorization::unknown;
    bool m_started = false;
};
