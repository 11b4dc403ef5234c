#pragma once

#include "HerdrClient/Support/Environment.h"

#include <QByteArray>
#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QString>

#include <sys/types.h>

#include <expected>
#include <memory>
#include <optional>
#include <vector>

class AutomationTarget;
class QSocketNotifier;

// The environment variable that switches the channel on and names its socket.
inline constexpr auto automationSocketVariable = QLatin1StringView("ORRELSENTRY_AUTOMATION_SOCKET");

// A Unix socket on which scripts drive the application: one JSON object per line in, one reply
// line per request out, `{"ok":true,...}` or `{"ok":false,"error":"..."}`, compact with keys
// sorted. Any number of clients; each client's replies come in the order of its requests.
class AutomationChannel : public QObject {
    Q_OBJECT

public:
    // A request line longer than this is refused and its connection closed.
    static constexpr qsizetype maximumLineBytes = qsizetype(1) << 20;

    explicit AutomationChannel(AutomationTarget& target, QObject* parent = nullptr);
    ~AutomationChannel() override;

    // Listens at `path`, a socket only its owner may use. A socket file nobody answers on is
    // replaced; a live one, or anything else at the path, is left alone and refused. Of the
    // socket's folders only the last is made (mode 0700), when its parent exists.
    std::expected<void, QString> start(const QString& path);
    // Flushes what is queued to each client, closes every connection and removes the socket file
    // when it is still this channel's own.
    void stop();
    bool isListening() const { return m_listenFd >= 0; }
    QString socketPath() const { return m_path; }
    // Clients connected now.
    qsizetype clientCount() const;

    // The socket path the environment asks for: nothing unless the variable is set and not empty.
    static std::optional<QString> socketPathFromEnvironment(const Environment& environment);
    // A started channel when the environment asks for one, null when it does not, or why the
    // socket could not be made.
    static std::expected<std::unique_ptr<AutomationChannel>, QString> fromEnvironment(
        const Environment& environment, AutomationTarget& target);

private:
    class Connection;

    void acceptConnections();
    void receive(Connection* connection);
    QCoro::Task<> serve(QPointer<Connection> connection);
    // The reply line, without its newline, to one request line.
    QCoro::Task<QByteArray> reply(QByteArray line);

    AutomationTarget& m_target;
    QString m_path;
    int m_listenFd = -1;
    dev_t m_socketDevice = 0;
    ino_t m_socketInode = 0;
    QSocketNotifier* m_notifier = nullptr;
    std::vector<QPointer<Connection>> m_connections;
};
