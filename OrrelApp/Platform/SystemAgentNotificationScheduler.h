#pragma once

#include "OrrelApp/Platform/AgentNotificationScheduling.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>

#include <chrono>
#include <map>
#include <optional>

// Desktop notifications over org.freedesktop.Notifications. The program may notify while a
// notification server owns that name, and the server's coming and going is watched. Calls to the
// server never block: each is sent asynchronously and given up after `callTimeout`, so a server
// that is slow or broken costs a notification, never the event loop.
//
// The server knows nothing of identifiers or user info, so both are kept here per notification
// id, and only ids in that map are answered: the server's signals go to every client.
class SystemAgentNotificationScheduler : public QObject, public AgentNotificationScheduling {
    Q_OBJECT

public:
    static inline const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
    static inline const QString objectPath = QStringLiteral("/org/freedesktop/Notifications");
    static inline const QString interfaceName = QStringLiteral("org.freedesktop.Notifications");
    static inline const QString defaultAction = QStringLiteral("default");
    static inline const QString jumpAction = QStringLiteral("orrelsentry.jump");
    static inline const QString category = QStringLiteral("orrelsentry.agent-event");
    // NotificationClosed's reason when the person closed it.
    static constexpr uint dismissedByUser = 2;

    struct Options {
        std::chrono::milliseconds callTimeout = std::chrono::seconds(5);
        QString applicationName = QStringLiteral("Orrel Sentry");
        // The desktop file's id, so that the server can show the program's name and icon.
        QString desktopEntry = QStringLiteral("dev.orrelsentry.OrrelSentry");
    };

    explicit SystemAgentNotificationScheduler(QDBusConnection bus, Options options,
                                              QObject* parent = nullptr);
    explicit SystemAgentNotificationScheduler(QDBusConnection bus)
        : SystemAgentNotificationScheduler(std::move(bus), Options())
    {
    }

    // --- AgentNotificationScheduling.
    QCoro::Task<AgentNotificationAuthorization> authorizationStatus() override;
    // There is nothing to ask on this desktop: the answer is whether a server is there.
    QCoro::Task<bool> requestAuthorization() override;
    std::vector<ScheduledAgentNotification> deliveredNotifications() const override;
    std::vector<ScheduledAgentNotification> pendingNotifications() const override;
    QCoro::Task<bool> add(AgentNotificationRequest request) override;
    void removePendingNotifications(const QStringList& identifiers) override;
    void removeDeliveredNotifications(const QStringList& identifiers) override;
    void setResponseHandler(ResponseHandler handler) override;
    void setAuthorizationChangeHandler(std::function<void()> handler) override;

    // The server's capabilities, once read; read again after the server changed.
    const std::optional<QStringList>& capabilities() const { return m_capabilities; }
    // The server's id of the notification shown under `identifier`.
    std::optional<uint> notificationID(const QString& identifier) const;

    // The action a server's action key stands for.
    static AgentNotificationResponseAction responseAction(const QString& actionKey);

private Q_SLOTS:
    void actionInvoked(uint id, const QString& actionKey);
    void notificationClosed(uint id, uint reason);

private:
    struct Shown {
        QString identifier;
        QString title;
        QString subtitle;
        QString body;
        AgentNotificationUserInfo userInfo;

        ScheduledAgentNotification record() const;
    };
    struct Pending {
        AgentNotificationRequest request;
        bool cancelled = false;
    };

    void serverChanged();
    QCoro::Task<> readCapabilities();
    QDBusMessage notifyMessage(const AgentNotificationRequest& request, uint replacesID) const;
    void close(uint id);
    bool isSuperseded(quint64 token, const QString& identifier) const;

    QDBusConnection m_bus;
    Options m_options;
    QDBusServiceWatcher m_watcher;
    std::optional<QStringList> m_capabilities;
    std::map<uint, Shown> m_shown;
    // Notify calls on their way, by the order they were sent in.
    std::map<quint64, Pending> m_pending;
    quint64 m_nextToken = 1;
    ResponseHandler m_responseHandler;
    std::function<void()> m_authorizationChangeHandler;
};
