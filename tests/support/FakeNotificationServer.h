#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <map>
#include <vector>

// A desktop notification server on the session bus, for tests that run under dbus-run-session.
// It owns org.freedesktop.Notifications on a connection of its own, records every call, and
// plays the person: it invokes actions and closes notifications as a click would. It can also
// be slow (calls wait until `release`) or broken (calls fail).
class FakeNotificationServer : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    enum class Mode { answer, hold, fail };

    struct Call {
        QString method;
        QVariantList arguments;
    };

    struct Notification {
        QString appName;
        uint replacesID = 0;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        bool open = true;
    };

    explicit FakeNotificationServer(QObject* parent = nullptr);
    ~FakeNotificationServer() override;

    bool start();
    void stop();

    QStringList capabilities{QStringLiteral("actions"), QStringLiteral("body"),
                             QStringLiteral("body-markup")};
    Mode mode = Mode::answer;

    const std::vector<Call>& calls() const { return m_calls; }
    std::vector<Call> callsOf(const QString& method) const;
    const std::map<uint, Notification>& notifications() const { return m_notifications; }
    std::vector<uint> openIDs() const;

    // Sends the answers of every held call, in the order the calls came.
    void release();
    qsizetype heldCount() const { return qsizetype(m_held.size()); }

    // What a click does: the action is reported, then the notification closes. Any id may be
    // given, also one this server never showed.
    void invokeAction(uint id, const QString& actionKey);
    // The person closes it.
    void dismiss(uint id);

public Q_SLOTS:
    // The interface, as the desktop's servers have it.
    QStringList GetCapabilities();
    uint Notify(const QString& appName, uint replacesID, const QString& appIcon,
                const QString& summary, const QString& body, const QStringList& actions,
                const QVariantMap& hints, int expireTimeout);
    void CloseNotification(uint id);
    QString GetServerInformation(QString& vendor, QString& version, QString& specVersion);

Q_SIGNALS:
    void NotificationClosed(uint id, uint reason);
    void ActionInvoked(uint id, const QString& actionKey);

private:
    // Answers now, later or with an error, as `mode` says.
    void answer(const QVariant& value);

    QDBusConnection m_bus;
    bool m_started = false;
    std::vector<Call> m_calls;
    std::map<uint, Notification> m_notifications;
    uint m_nextID = 1;
    std::vector<std::pair<QDBusMessage, QVariant>> m_held;
};
