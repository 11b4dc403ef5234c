#include "OrrelApp/Alerts/AgentNotificationController.h"

#include "OrrelApp/Alerts/AgentNotificationPayloadBuilder.h"
#include "OrrelApp/Platform/AgentNotificationScheduling.h"
#include "OrrelApp/Shell/Settings.h"

#include <QPointer>

#include <algorithm>

AgentNotificationController::AgentNotificationController(Settings& settings,
                                                         AgentNotificationScheduling& scheduler,
                                                         bool supportsTimeSensitive,
                                                         QObject* parent)
    : QObject(parent), m_settings(settings), m_scheduler(scheduler),
      m_supportsTimeSensitive(supportsTimeSensitive)
{
}

AgentNotificationController::~AgentNotificationController()
{
    m_scheduler.setResponseHandler({});
    m_scheduler.setAuthorizationChangeHandler({});
}

void AgentNotificationController::start()
{
    if (m_started)
        return;
    m_started = true;
    QPointer<AgentNotificationController> self{this};
    m_scheduler.setResponseHandler([self](AgentNotificationResponse response) {
        if (self)
            auto task = self->respond(std::move(response));
    });
    m_scheduler.setAuthorizationChangeHandler([self] {
        if (self)
            self->refreshAuthorization(false);
    });
    connect(&m_settings, &Settings::notificationsEnabledChanged, this,
            &AgentNotificationController::settingsDidChange);
    refreshAuthorization(false);
}

void AgentNotificationController::stop()
{
    m_actionHandler = {};
    if (!m_started)
        return;
    m_started = false;
    disconnect(&m_settings, nullptr, this, nullptr);
    m_deferredRequests.clear();
    QStringList all;
    for (const ScheduledAgentNotification& record : knownNotifications())
        all.append(record.identifier);
    remove(all);
}

void AgentNotificationController::setActionHandler(ActionHandler handler)
{
    m_actionHandler = std::move(handler);
    if (!m_actionHandler)
        return;
    for (AgentNotificationResponse& response : std::exchange(m_queuedActions, {}))
        auto task = m_actionHandler(std::move(response));
}

QCoro::Task<> AgentNotificationController::respond(AgentNotificationResponse response)
{
    if (!m_actionHandler) {
        m_queuedActions.push_back(std::move(response));
        co_return;
    }
    // A copy: the handler may be replaced while its task runs.
    const ActionHandler handler = m_actionHandler;
    co_await handler(std::move(response));
}

// --- Authorization.

void AgentNotificationController::setAuthorization(AgentNotificationAuthorization authorization)
{
    if (m_authorization == authorization)
        return;
    m_authorization = authorization;
    Q_EMIT authorizationChanged();
}

void AgentNotificationController::refreshAuthorization(bool requestIfNeeded)
{
    auto task = refreshAuthorizationNow(requestIfNeeded);
}

QCoro::Task<AgentNotificationAuthorization> AgentNotificationController::refreshAuthorizationNow(
    bool requestIfNeeded)
{
    QPointer<AgentNotificationController> self{this};
    AgentNotificationAuthorization status = co_await m_scheduler.authorizationStatus();
    if (!self)
        co_return status;
    // One question to the person at a time, however many alerts wait for its answer.
    if (status == AgentNotificationAuthorization::notDetermined && requestIfNeeded
        && !m_authorizationRequestInFlight) {
        m_authorizationRequestInFlight = true;
        co_await m_scheduler.requestAuthorization();
        if (!self)
            co_return status;
        m_authorizationRequestInFlight = false;
        status = co_await m_scheduler.authorizationStatus();
        if (!self)
            co_return status;
    }
    setAuthorization(status);
    if (status == AgentNotificationAuthorization::authorized) {
        for (auto& [identifier, request] : std::exchange(m_deferredRequests, {}))
            auto task = schedule(std::move(request));
    } else if (status == AgentNotificationAuthorization::denied) {
        m_deferredRequests.clear();
    }
    co_return status;
}

QCoro::Task<AgentNotificationAuthorization> AgentNotificationController::requestFromSetup()
{
    QPointer<AgentNotificationController> self{this};
    if (!m_authorizationRequestInFlight) {
        m_authorizationRequestInFlight = true;
        co_await m_scheduler.requestAuthorization();
        if (!self)
            co_return AgentNotificationAuthorization::unknown;
        m_authorizationRequestInFlight = false;
    }
    co_return co_await refreshAuthorizationNow(false);
}

void AgentNotificationController::settingsDidChange()
{
    if (!m_settings.notificationsEnabled()) {
        m_deferredRequests.clear();
        QStringList all;
        for (const ScheduledAgentNotification& record : knownNotifications())
            all.append(record.identifier);
        remove(all);
    }
    refreshAuthorization(false);
}

// --- Posting.

void AgentNotificationController::post(const InteractionAttentionDisplayModel& item,
                                       AgentNotificationKind kind)
{
    auto task = deliver(AgentNotificationPayloadBuilder::request(
        item, kind, m_settings.respectDND(), m_supportsTimeSensitive));
}

QCoro::Task<> AgentNotificationController::deliver(AgentNotificationRequest request)
{
    if (!m_settings.notificationsEnabled())
        co_return;
    switch (m_authorization) {
    case AgentNotificationAuthorization::unknown:
    case AgentNotificationAuthorization::notDetermined:
        // A later alert of the same agent replaces the one that waits.
        m_deferredRequests.insert_or_assign(request.identifier, request);
        refreshAuthorization(true);
        co_return;
    case AgentNotificationAuthorization::denied: co_return;
    case AgentNotificationAuthorization::authorized: co_await schedule(std::move(request));
    }
}

QCoro::Task<> AgentNotificationController::schedule(AgentNotificationRequest request)
{
    // The same text again would sound again for nothing.
    const auto known = knownNotifications();
    if (std::ranges::any_of(known, [&](const auto& record) { return record.shows(request); }))
        co_return;
    // A refusal is not retried: the pill and the chime still alert.
    co_await m_scheduler.add(std::move(request));
}

// --- Taking back.

std::vector<ScheduledAgentNotification> AgentNotificationController::knownNotifications() const
{
    std::vector<ScheduledAgentNotification> records = m_scheduler.deliveredNotifications();
    std::ranges::move(m_scheduler.pendingNotifications(), std::back_inserter(records));
    return records;
}

std::vector<ScheduledAgentNotification> AgentNotificationController::openNotifications() const
{
    return m_scheduler.deliveredNotifications();
}

void AgentNotificationController::remove(const QStringList& identifiers)
{
    if (identifiers.isEmpty())
        return;
    m_scheduler.removePendingNotifications(identifiers);
    m_scheduler.removeDeliveredNotifications(identifiers);
}

void AgentNotificationController::reconcileBlocked(const QString& sessionID,
                                                   const std::vector<AgentRef>& activeRefs)
{
    QStringList stale;
    for (const ScheduledAgentNotification& record : knownNotifications()) {
        const auto& metadata = record.metadata;
        if (metadata && metadata->ref.sessionID == sessionID
            && metadata->kind == AgentNotificationKind::blocked
            && std::ranges::find(activeRefs, metadata->ref) == activeRefs.end()
            && !stale.contains(record.identifier))
            stale.append(record.identifier);
    }
    remove(stale);
}

void AgentNotificationController::removeNotifications(const AgentRef& ref)
{
    remove({AgentNotificationPayloadBuilder::identifier(ref, AgentNotificationKind::blocked),
            AgentNotificationPayloadBuilder::identifier(ref, AgentNotificationKind::done)});
}

void AgentNotificationController::removeNotifications(const QString& sessionID)
{
    QStringList identifiers;
    for (const ScheduledAgentNotification& record : knownNotifications()) {
        if (record.metadata && record.metadata->ref.sessionID == sessionID
            && !identifiers.contains(record.identifier))
            identifiers.append(record.identifier);
    }
    remove(identifiers);
}
