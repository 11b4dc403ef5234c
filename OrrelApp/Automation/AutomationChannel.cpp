#include "OrrelApp/Automation/AutomationChannel.h"

#include "HerdrClient/Wire/HerdrEndpoint.h"
#include "HerdrClient/Wire/SocketConnection.h"
#include "HerdrClient/Wire/SocketPath.h"
#include "OrrelApp/Automation/AutomationCommand.h"
#include "OrrelApp/Automation/AutomationTarget.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// One client: the requests it has sent and not yet had answered, in order.
class AutomationChannel::Connection : public QObject {
public:
    explicit Connection(QObject* parent) : QObject(parent), socket(new QLocalSocket(this)) {}

    QLocalSocket* socket;
    QByteArray partial; // bytes after the last newline
    std::deque<QByteArray> requests;
    // A line over the bound arrived: it is refused after the requests before it, and the
    // connection then ends; anything more from this client is dropped.
    bool tooLong = false;
    bool serving = false;
};

namespace {

QString systemError(int errorNumber)
{
    return QString::fromLocal8Bit(std::strerror(errorNumber));
}

QByteArray replyLine(const QJsonObject& reply)
{
    // QJsonObject keeps its keys sorted, so the compact form is already canonical.
    return QJsonDocument(reply).toJson(QJsonDocument::Compact);
}

QByteArray errorReply(const QString& sentence)
{
    return replyLine(QJsonObject{{u"ok"_s, false}, {u"error"_s, sentence}});
}

QByteArray successReply(QJsonObject extra)
{
    extra.insert(u"ok"_s, true);
    return replyLine(extra);
}

// Only the socket's own folder is ever made: a path whose grandparent is missing is more likely
// a mistake than a wish for a tree of new folders.
std::expected<void, QString> prepareFolder(const QString& path)
{
    const QFileInfo folder(QFileInfo(path).absolutePath());
    if (folder.isDir())
        return {};
    if (folder.exists())
        return std::unexpected(u"%1 is not a folder."_s.arg(folder.filePath()));
    if (!QFileInfo(folder.absolutePath()).isDir())
        return std::unexpected(u"The folder %1 does not exist."_s.arg(folder.absolutePath()));
    if (::mkdir(QFile::encodeName(folder.filePath()).constData(), 0700) != 0 && errno != EEXIST)
        return std::unexpected(
            u"The folder %1 could not be made: %2."_s.arg(folder.filePath(), systemError(errno)));
    return {};
}

// A socket file whose listener has gone refuses connections: that one is ours to replace.
std::expected<void, QString> clearStaleSocket(const QString& path)
{
    const QByteArray encoded = QFile::encodeName(path);
    struct stat status {};
    if (::lstat(encoded.constData(), &status) != 0) {
        if (errno == ENOENT)
            return {};
        return std::unexpected(u"%1 could not be examined: %2."_s.arg(path, systemError(errno)));
    }
    if (!S_ISSOCK(status.st_mode))
        return std::unexpected(u"%1 exists and is not a socket; it was left alone."_s.arg(path));
    SocketConnection probe(HerdrEndpoint::unixSocket(path), 1.0);
    const auto connected = probe.connect();
    if (connected)
        return std::unexpected(
            u"Another program already listens on %1; it was left alone."_s.arg(path));
    if (connected.error().errorNumber != ECONNREFUSED)
        return std::unexpected(u"The socket %1 could not be tried: %2; it was left alone."_s.arg(
            path, systemError(connected.error().errorNumber)));
    if (::unlink(encoded.constData()) != 0 && errno != ENOENT)
        return std::unexpected(
            u"The stale socket %1 could not be removed: %2."_s.arg(path, systemError(errno)));
    return {};
}

} // namespace

AutomationChannel::AutomationChannel(AutomationTarget& target, QObject* parent)
    : QObject(parent), m_target(target)
{
}

AutomationChannel::~AutomationChannel()
{
    stop();
}

std::expected<void, QString> AutomationChannel::start(const QString& path)
{
    stop();
    if (path.isEmpty())
        return std::unexpected(u"The automation socket path is empty."_s);
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const QByteArray encoded = QFile::encodeName(absolute);
    if (encoded.size() > SocketPath::maximumPathBytes)
        return std::unexpected(
            u"The automation socket path %1 is longer than the %2 bytes a Unix socket allows."_s
                .arg(absolute, QString::number(SocketPath::maximumPathBytes)));
    if (auto folder = prepareFolder(absolute); !folder)
        return folder;
    if (auto cleared = clearStaleSocket(absolute); !cleared)
        return cleared;

    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return std::unexpected(u"No socket could be made: %1."_s.arg(systemError(errno)));
    // On Linux a socket file takes the mode of the socket it is bound from, so the file is made
    // private rather than narrowed after others could already have connected.
    ::fchmod(fd, S_IRUSR | S_IWUSR);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, encoded.constData(), std::size_t(encoded.size()));
    struct stat status {};
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    if (!bound || ::listen(fd, 16) != 0 || ::lstat(encoded.constData(), &status) != 0) {
        const int error = errno;
        ::close(fd);
        if (bound)
            ::unlink(encoded.constData());
        return std::unexpected(u"Couldn't listen on %1: %2."_s.arg(absolute, systemError(error)));
    }
    if ((status.st_mode & 07777) != (S_IRUSR | S_IWUSR))
        ::chmod(encoded.constData(), S_IRUSR | S_IWUSR);

    m_path = absolute;
    m_listenFd = fd;
    m_socketDevice = status.st_dev;
    m_socketInode = status.st_ino;
    m_notifier = new QSocketNotifier(qintptr(fd), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &AutomationChannel::acceptConnections);
    return {};
}

void AutomationChannel::stop()
{
    for (const QPointer<Connection>& connection : std::exchange(m_connections, {})) {
        if (!connection)
            continue;
        // A reply already written, `quit`'s among them, should reach its client.
        connection->socket->flush();
        delete connection.data();
    }
    if (m_listenFd < 0)
        return;
    delete std::exchange(m_notifier, nullptr);
    ::close(std::exchange(m_listenFd, -1));
    // Someone may have replaced the file since: remove it only while it is still ours.
    const QByteArray encoded = QFile::encodeName(m_path);
    struct stat status {};
    if (::lstat(encoded.constData(), &status) == 0 && status.st_dev == m_socketDevice
        && status.st_ino == m_socketInode)
        ::unlink(encoded.constData());
}

qsizetype AutomationChannel::clientCount() const
{
    return std::count_if(m_connections.begin(), m_connections.end(), [](const auto& connection) {
        return connection && connection->socket->state() == QLocalSocket::ConnectedState;
    });
}

std::optional<QString> AutomationChannel::socketPathFromEnvironment(const Environment& environment)
{
    const QString value = environmentValue(environment, QString(automationSocketVariable));
    if (value.isEmpty())
        return std::nullopt;
    return expandTilde(value, environment);
}

std::expected<std::unique_ptr<AutomationChannel>, QString> AutomationChannel::fromEnvironment(
    const Environment& environment, AutomationTarget& target)
{
    const auto path = socketPathFromEnvironment(environment);
    if (!path)
        return std::unique_ptr<AutomationChannel>();
    auto channel = std::make_unique<AutomationChannel>(target);
    if (auto started = channel->start(*path); !started)
        return std::unexpected(started.error());
    return channel;
}

void AutomationChannel::acceptConnections()
{
    std::erase_if(m_connections, [](const QPointer<Connection>& c) { return c.isNull(); });
    for (;;) {
        const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0)
            return; // EAGAIN once the backlog is empty; anything else leaves the client unserved
        auto* connection = new Connection(this);
        if (!connection->socket->setSocketDescriptor(fd)) {
            ::close(fd);
            delete connection;
            continue;
        }
        m_connections.emplace_back(connection);
        connect(connection->socket, &QLocalSocket::readyRead, connection,
                [this, connection] { receive(connection); });
        connect(connection->socket, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
    }
}

void AutomationChannel::receive(Connection* connection)
{
    if (connection->tooLong) {
        connection->socket->readAll();
        return;
    }
    connection->partial += connection->socket->readAll();
    qsizetype start = 0;
    for (;;) {
        const qsizetype newline = connection->partial.indexOf('\n', start);
        if (newline < 0)
            break;
        if (newline - start > maximumLineBytes) {
            connection->tooLong = true;
            break;
        }
        connection->requests.push_back(connection->partial.sliced(start, newline - start));
        start = newline + 1;
    }
    connection->partial.remove(0, start);
    if (connection->partial.size() > maximumLineBytes)
        connection->tooLong = true;
    if (connection->tooLong)
        connection->partial.clear();
    if (!connection->serving)
        serve(connection);
}

// Answers a connection's requests one at a time, so that its replies keep their order however
// long each takes.
QCoro::Task<> AutomationChannel::serve(QPointer<Connection> connection)
{
    const auto connected = [&connection] {
        return connection && connection->socket->state() == QLocalSocket::ConnectedState;
    };
    connection->serving = true;
    while (connected() && !connection->requests.empty()) {
        QByteArray line = std::move(connection->requests.front());
        connection->requests.pop_front();
        const QByteArray answer = co_await reply(std::move(line));
        // The client may have gone, or the channel with it; `this` is not touched past here, and
        // what a departed client queued is not carried out.
        if (!connected())
            co_return;
        connection->socket->write(answer + '\n');
        connection->socket->flush();
    }
    connection->serving = false;
    if (connection->tooLong && connected()) {
        connection->socket->write(
            errorReply(u"The request is longer than %1 bytes; the connection is closed."_s.arg(
                maximumLineBytes))
            + '\n');
        connection->socket->disconnectFromServer();
    }
}

QCoro::Task<QByteArray> AutomationChannel::reply(QByteArray line)
{
    const auto command = AutomationCommand::parse(line);
    if (!command)
        co_return errorReply(command.error());
    if (command->kind == AutomationCommand::Kind::state)
        co_return successReply(QJsonObject{{u"state"_s, m_target.state()}});
    const auto result = co_await m_target.perform(*command);
    co_return result ? successReply(*result) : errorReply(result.error());
}
