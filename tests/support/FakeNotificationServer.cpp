#include "tests/support/FakeNotificationServer.h"

#include <QDBusConnectionInterface>

using namespace Qt::StringLiterals;

namespace {
const QString serviceName = u"org.freedesktop.Notifications"_s;
const QString objectPath = u"/org/freedesktop/Notifications"_s;
const QString connectionName = u"fake-notification-server"_s;
// NotificationClosed's reasons.
constexpr uint dismissedByUser = 2;
constexpr uint closedByCall = 3;
} // namespace

FakeNotificationServer::FakeNotificationServer(QObject* parent)
    : QObject(parent),
      m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName))
{
}

FakeNotificationServer::~FakeNotificationServer()
{
    stop();
    m_bus = QDBusConnection(QString());
    QDBusConnection::disconnectFromBus(connectionName);
}

bool FakeNotificationServer::start()
{
    if (m_started)
        return true;
    if (!m_bus.isConnected()
        || !m_bus.registerObject(
            objectPath, this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals))
        return false;
    m_started = m_bus.registerService(serviceName);
    if (!m_started)
        m_bus.unregisterObject(objectPath);
    return m_started;
}

void FakeNotificationServer::stop()
{
    if (!m_started)
        return;
    m_started = false;
    m_bus.unregisterService(serviceName);
    m_bus.unregisterObject(objectPath);
}

std::vector<FakeNotificationServer::Call> FakeNotificationServer::callsOf(
    const QString& method) const
{
    std::vector<Call> matching;
    for (const Call& call : m_calls) {
        if (call.method == method)
            matching.push_back(call);
    }
    return matching;
}

std::vector<uint> FakeNotificationServer::openIDs() const
{
    std::vector<uint> ids;
    for (const auto& [id, notification] : m_notifications) {
        if (notification.open)
            ids.push_back(id);
    }
    return ids;
}

void FakeNotificationServer::answer(const QVariant& value)
{
    if (mode == Mode::fail) {
        sendErrorReply(QDBusError::Failed, u"The server is broken on purpose."_s);
    } else if (mode == Mode::hold) {
        setDelayedReply(true);
        m_held.emplace_back(message(), value);
    }
}

void FakeNotificationServer::release()
{
    for (auto& [call, value] : std::exchange(m_held, {}))
        m_bus.send(call.createReply(value));
}

QStringList FakeNotificationServer::GetCapabilities()
{
    m_calls.push_back({u"GetCapabilities"_s, {}});
    answer(capabilities);
    return capabilities;
}

uint FakeNotificationServer::Notify(const QString& appName, uint replacesID, const QString& appIcon,
                                    const QString& summary, const QString& body,
                                    const QStringList& actions, const QVariantMap& hints,
                                    int expireTimeout)
{
    m_calls.push_back(
        {u"Notify"_s,
         {appName, replacesID, appIcon, summary, body, actions, hints, expireTimeout}});
    if (mode == Mode::fail) {
        answer({});
        return 0;
    }
    // A known id is replaced in place, as the notification interface defines it.
    const bool replaces = m_notifications.contains(replacesID) && m_notifications[replacesID].open;
    const uint id = replaces ? replacesID : m_nextID++;
    m_notifications[id] = {appName, replacesID, summary, body, actions, hints, true};
    answer(id);
    return id;
}

void FakeNotificationServer::CloseNotification(uint id)
{
    m_calls.push_back({u"CloseNotification"_s, {id}});
    const auto notification = m_notifications.find(id);
    if (notification == m_notifications.end() || !notification->second.open) {
        sendErrorReply(QDBusError::InvalidArgs, u"No such notification."_s);
        return;
    }
    notification->second.open = false;
    Q_EMIT NotificationClosed(id, closedByCall);
}

QString FakeNotificationServer::GetServerInformation(QString& vendor, QString& version,
                                                     QString& specVersion)
{
    vendor = u"Orrel Sentry tests"_s;
    version = u"1"_s;
    specVersion = u"1.2"_s;
    return u"fake-notification-server"_s;
}

void FakeNotificationServer::invokeAction(uint id, const QString& actionKey)
{
    Q_EMIT ActionInvoked(id, actionKey);
    if (const auto notification = m_notifications.find(id);
        notification != m_notifications.end() && notification->second.open) {
        notification->second.open = false;
        Q_EMIT NotificationClosed(id, dismissedByUser);
    }
}

void FakeNotificationServer::dismiss(uint id)
{
    if (const auto notification = m_notifications.find(id); notification != m_notifications.end())
        notification->second.open = false;
    Q_EMIT NotificationClosed(id, dismissedByUser);
}
