#include "OrrelApp/Platform/SystemAgentNotificationScheduler.h"

#include <QCoroDBusPendingCall>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QPointer>
#include <QVariantMap>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// The urgency hint's levels.
constexpr uchar normalUrgency = 1;
constexpr uchar criticalUrgency = 2;

bool isReply(const QDBusMessage& reply)
{
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty();
}

} // namespace

ScheduledAgentNotification SystemAgentNotificationScheduler::Shown::record() const
{
    return {identifier, title, subtitle, body, AgentNotificationMetadata::fromUserInfo(userInfo)};
}

SystemAgentNotificationScheduler::SystemAgentNotificationScheduler(QDBusConnection bus,
                                                                   Options options, QObject* parent)
    : QObject(parent), m_bus(std::move(bus)), m_options(std::move(options)),
      m_watcher(serviceName, m_bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    connect(&m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            &SystemAgentNotificationScheduler::serverChanged);
    // Sent to the name, so that another client cannot speak for the server.
    m_bus.connect(serviceName, objectPath, interfaceName, u"ActionInvoked"_s, this,
                  SLOT(actionInvoked(uint, QString)));
    m_bus.connect(serviceName, objectPath, interfaceName, u"NotificationClosed"_s, this,
                  SLOT(notificationClosed(uint, uint)));
}

void SystemAgentNotificationScheduler::serverChanged()
{
    // What the old server showed went with it; a new one may do other things.
    m_capabilities.reset();
    m_shown.clear();
    if (m_authorizationChangeHandler)
        m_authorizationChangeHandler();
}

// --- Authorization.

QCoro::Task<AgentNotificationAuthorization> SystemAgentNotificationScheduler::authorizationStatus()
{
    if (!m_bus.isConnected())
        co_return AgentNotificationAuthorization::denied;
    auto call =
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                       u"org.freedesktop.DBus"_s, u"NameHasOwner"_s);
    call << serviceName;
    // Named: g++ 12 mishandles temporaries that live across a co_await.
    const QDBusPendingCall pending = m_bus.asyncCall(call, int(m_options.callTimeout.count()));
    const QDBusMessage reply = co_await pending;
    const bool owned = isReply(reply) && reply.arguments().constFirst().toBool();
    co_return owned ? AgentNotificationAuthorization::authorized
                    : AgentNotificationAuthorization::denied;
}

QCoro::Task<bool> SystemAgentNotificationScheduler::requestAuthorization()
{
    co_return co_await authorizationStatus() == AgentNotificationAuthorization::authorized;
}

QCoro::Task<> SystemAgentNotificationScheduler::readCapabilities()
{
    QPointer<SystemAgentNotificationScheduler> self{this};
    const auto call = QDBusMessage::createMethodCall(serviceName, objectPath, interfaceName,
                                                     u"GetCapabilities"_s);
    const QDBusPendingCall pending = m_bus.asyncCall(call, int(m_options.callTimeout.count()));
    const QDBusMessage reply = co_await pending;
    // Without an answer the notification goes out plain, and the next one asks again.
    if (self && isReply(reply))
        m_capabilities = reply.arguments().constFirst().toStringList();
}

// --- What is shown.

std::vector<ScheduledAgentNotification> SystemAgentNotificationScheduler::deliveredNotifications()
    const
{
    std::vector<ScheduledAgentNotification> records;
    for (const auto& [id, shown] : m_shown)
        records.push_back(shown.record());
    return records;
}

std::vector<ScheduledAgentNotification> SystemAgentNotificationScheduler::pendingNotifications()
    const
{
    std::vector<ScheduledAgentNotification> records;
    for (const auto& [token, pending] : m_pending) {
        if (pending.cancelled)
            continue;
        const AgentNotificationRequest& request = pending.request;
        records.push_back(
            {request.identifier, request.title, request.subtitle, request.body, request.metadata});
    }
    return records;
}

std::optional<uint> SystemAgentNotificationScheduler::notificationID(
    const QString& identifier) const
{
    for (const auto& [id, shown] : m_shown) {
        if (shown.identifier == identifier)
            return id;
    }
    return std::nullopt;
}

QDBusMessage SystemAgentNotificationScheduler::notifyMessage(
    const AgentNotificationRequest& request, uint replacesID) const
{
    const QStringList capabilities = m_capabilities.value_or(QStringList());
    // The server has no subtitle: it leads the body.
    QStringList lines;
    for (const QString& line : {request.subtitle, request.body}) {
        if (!line.isEmpty())
            lines.append(capabilities.contains(u"body-markup"_s) ? line.toHtmlEscaped() : line);
    }
    QStringList actions;
    if (capabilities.contains(u"actions"_s))
        actions = {defaultAction, u"Open"_s, jumpAction, u"Jump"_s};
    const QVariantMap hints{
        {u"desktop-entry"_s, m_options.desktopEntry},
        {u"category"_s, category},
        {u"urgency"_s,
         QVariant::fromValue(request.interruption == AgentNotificationInterruption::timeSensitive
                                 ? criticalUrgency
                                 : normalUrgency)},
    };
    auto call = QDBusMessage::createMethodCall(serviceName, objectPath, interfaceName, u"Notify"_s);
    call << m_options.applicationName << replacesID << QString() << request.title
         << lines.join(u'\n') << actions << hints << -1;
    return call;
}

bool SystemAgentNotificationScheduler::isSuperseded(quint64 token, const QString& identifier) const
{
    return std::ranges::any_of(m_pending, [&](const auto& entry) {
        return entry.first > token && !entry.second.cancelled
               && entry.second.request.identifier == identifier;
    });
}

QCoro::Task<bool> SystemAgentNotificationScheduler::add(AgentNotificationRequest request)
{
    QPointer<SystemAgentNotificationScheduler> self{this};
    const quint64 token = m_nextToken++;
    m_pending.emplace(token, Pending{request});
    if (!m_capabilities) {
        co_await readCapabilities();
        if (!self)
            co_return false;
    }
    if (m_pending.at(token).cancelled) {
        m_pending.erase(token);
        co_return false;
    }
    const uint replacesID = notificationID(request.identifier).value_or(0);
    const QDBusPendingCall notifying =
        m_bus.asyncCall(notifyMessage(request, replacesID), int(m_options.callTimeout.count()));
    const QDBusMessage reply = co_await notifying;
    if (!self)
        co_return false;
    const Pending pending = m_pending.extract(token).mapped();
    if (!isReply(reply)) {
        qWarning("The notification server did not show a notification: %s",
                 qPrintable(reply.errorMessage()));
        co_return false;
    }
    const uint id = reply.arguments().constFirst().toUInt();
    // Taken back, or replaced by a later one, while the server was being asked.
    if (pending.cancelled || isSuperseded(token, request.identifier)) {
        m_shown.erase(id);
        close(id);
        co_return !pending.cancelled;
    }
    // One notification per identifier, even when the server chose a new id over replacing.
    for (auto shown = m_shown.begin(); shown != m_shown.end();) {
        if (shown->first != id && shown->second.identifier == request.identifier) {
            close(shown->first);
            shown = m_shown.erase(shown);
        } else {
            ++shown;
        }
    }
    m_shown.insert_or_assign(id, Shown{request.identifier, request.title, request.subtitle,
                                       request.body, request.metadata.userInfo()});
    co_return true;
}

void SystemAgentNotificationScheduler::removePendingNotifications(const QStringList& identifiers)
{
    for (auto& [token, pending] : m_pending) {
        if (identifiers.contains(pending.request.identifier))
            pending.cancelled = true;
    }
}

void SystemAgentNotificationScheduler::removeDeliveredNotifications(const QStringList& identifiers)
{
    for (auto shown = m_shown.begin(); shown != m_shown.end();) {
        if (identifiers.contains(shown->second.identifier)) {
            close(shown->first);
            shown = m_shown.erase(shown);
        } else {
            ++shown;
        }
    }
}

void SystemAgentNotificationScheduler::close(uint id)
{
    // Nothing waits for the answer: a server that has already closed it says so, which is fine.
    auto call = QDBusMessage::createMethodCall(serviceName, objectPath, interfaceName,
                                               u"CloseNotification"_s);
    call << id;
    m_bus.send(call);
}

// --- Answers.

void SystemAgentNotificationScheduler::setResponseHandler(ResponseHandler handler)
{
    m_responseHandler = std::move(handler);
}

void SystemAgentNotificationScheduler::setAuthorizationChangeHandler(std::function<void()> handler)
{
    m_authorizationChangeHandler = std::move(handler);
}

AgentNotificationResponseAction SystemAgentNotificationScheduler::responseAction(const QString& key)
{
    if (key == defaultAction)
        return AgentNotificationResponseAction::open;
    if (key == jumpAction)
        return AgentNotificationResponseAction::jump;
    return AgentNotificationResponseAction::other;
}

void SystemAgentNotificationScheduler::actionInvoked(uint id, const QString& actionKey)
{
    const auto shown = m_shown.find(id);
    if (shown == m_shown.end())
        return;
    const auto metadata = AgentNotificationMetadata::fromUserInfo(shown->second.userInfo);
    // Answered: some servers keep it in their list otherwise.
    m_shown.erase(shown);
    close(id);
    if (m_responseHandler)
        m_responseHandler(
            {responseAction(actionKey), metadata ? std::optional(metadata->ref) : std::nullopt});
}

void SystemAgentNotificationScheduler::notificationClosed(uint id, uint reason)
{
    const auto shown = m_shown.find(id);
    if (shown == m_shown.end())
        return;
    const auto metadata = AgentNotificationMetadata::fromUserInfo(shown->second.userInfo);
    m_shown.erase(shown);
    if (reason == dismissedByUser && m_responseHandler)
        m_responseHandler({AgentNotificationResponseAction::dismiss,
                           metadata ? std::optional(metadata->ref) : std::nullopt});
}
