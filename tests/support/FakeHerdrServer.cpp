#include "tests/support/FakeHerdrServer.h"

#include "HerdrClient/Wire/EventEnvelope.h"
#include "HerdrClient/Wire/JSONDecoding.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maximumRequestBytes = 1024 * 1024;
constexpr int firstLineDeadlineMs = 5000;
constexpr std::size_t historyLimit = 512;

QByteArray replyLine(const QString& id, const QString& kind, const JSONValue& value)
{
    return JSONValue::object({{u"id"_s, id}, {kind, value}}).serialized() + '\n';
}

QByteArray errorLine(const QString& id, const QString& code, const QString& message)
{
    return replyLine(id, u"error"_s,
                     JSONValue::object({{u"code"_s, code}, {u"message"_s, message}}));
}

// Subscription type of a lifecycle event: "pane_created" is taken by "pane.created".
QString lifecycleType(const QString& event)
{
    QString type = event;
    const qsizetype underscore = type.indexOf(u'_');
    if (underscore > 0)
        type[underscore] = u'.';
    return type;
}

bool isPerPaneType(const QString& type)
{
    return type == u"pane.agent_status_changed" || type == u"pane.scroll_changed"
           || type == u"pane.output_matched";
}

} // namespace

FakeReply FakeReply::ok()
{
    return result(JSONValue::object({{u"type"_s, u"ok"_s}}));
}

struct FakeHerdrServer::Subscriber {
    int fd = -1;
    std::vector<std::pair<QString, QString>> subscriptions; // type, pane id (may be empty)
    bool alive = true;

    bool takes(const QString& type, const QString& paneID) const
    {
        for (const auto& [t, p] : subscriptions) {
            if (t == type && (p.isEmpty() || p == paneID))
                return true;
        }
        return false;
    }
};

FakeHerdrServer::FakeHerdrServer(QString socketPath) : m_socketPath(std::move(socketPath)) {}

FakeHerdrServer::~FakeHerdrServer()
{
    stop();
}

bool FakeHerdrServer::start()
{
    if (m_socketPath.isEmpty()) {
        QByteArray pattern = QDir::tempPath().toUtf8() + "/orrel-fake-XXXXXX";
        if (!::mkdtemp(pattern.data())) {
            m_lastError = u"mkdtemp failed: %1"_s.arg(QString::fromLocal8Bit(std::strerror(errno)));
            return false;
        }
        m_temporaryDirectory = QString::fromUtf8(pattern);
        m_socketPath = m_temporaryDirectory + u"/herdr.sock"_s;
    }
    const QByteArray path = m_socketPath.toUtf8();
    struct stat existing {};
    if (::lstat(path.constData(), &existing) == 0 && S_ISSOCK(existing.st_mode))
        ::unlink(path.constData()); // a stale socket of an earlier run, as herdr removes it
    sockaddr_un address{};
    if (std::size_t(path.size()) >= sizeof address.sun_path) {
        m_lastError = u"socket path too long"_s;
        return false;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    m_listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_listenFd < 0
        || ::bind(m_listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0
        || ::listen(m_listenFd, 64) != 0 || ::pipe2(m_wakePipe, O_CLOEXEC) != 0) {
        m_lastError = QString::fromLocal8Bit(std::strerror(errno));
        if (m_listenFd >= 0)
            ::close(m_listenFd);
        m_listenFd = -1;
        return false;
    }
    ::chmod(path.constData(), 0600);
    {
        std::lock_guard lock(m_mutex);
        m_stopping = false;
    }
    m_acceptThread = std::thread([this] { acceptLoop(); });
    return true;
}

void FakeHerdrServer::stop()
{
    shutDown(false);
}

bool FakeHerdrServer::restart()
{
    shutDown(true);
    return start();
}

void FakeHerdrServer::removeSocketFile()
{
    QFile::remove(m_socketPath);
}

void FakeHerdrServer::shutDown(bool keepPath)
{
    if (m_listenFd < 0)
        return;
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        for (int fd : m_openFds)
            ::shutdown(fd, SHUT_RDWR);
    }
    m_changed.notify_all();
    const char wake = 'x';
    (void)!::write(m_wakePipe[1], &wake, 1);
    if (m_acceptThread.joinable())
        m_acceptThread.join();
    {
        // Connection threads are detached; each one counts itself out as its very last act.
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_activeConnections == 0; });
    }
    ::close(m_listenFd);
    m_listenFd = -1;
    ::close(m_wakePipe[0]);
    ::close(m_wakePipe[1]);
    m_wakePipe[0] = m_wakePipe[1] = -1;
    QFile::remove(m_socketPath);
    if (!keepPath && !m_temporaryDirectory.isEmpty()) {
        QDir(m_temporaryDirectory).removeRecursively();
        m_temporaryDirectory.clear();
        m_socketPath.clear();
    }
    std::lock_guard lock(m_mutex);
    m_subscribers.clear();
    m_openFds.clear();
}

void FakeHerdrServer::setArrivalHook(ArrivalHook hook)
{
    std::lock_guard lock(m_mutex);
    m_arrivalHook = std::move(hook);
}

void FakeHerdrServer::setHandler(const QString& method, Handler handler)
{
    std::lock_guard lock(m_mutex);
    m_handlers[method] = std::move(handler);
}

void FakeHerdrServer::setPaneExists(std::function<bool(const QString&)> paneExists)
{
    std::lock_guard lock(m_mutex);
    m_paneExists = std::move(paneExists);
}

std::vector<FakeRequest> FakeHerdrServer::requests() const
{
    std::lock_guard lock(m_mutex);
    return m_requests;
}

std::vector<QByteArray> FakeHerdrServer::requestLines() const
{
    std::vector<QByteArray> lines;
    for (const auto& r : requests())
        lines.push_back(r.line);
    return lines;
}

std::vector<FakeRequest> FakeHerdrServer::requestsFor(const QString& method) const
{
    std::vector<FakeRequest> result;
    for (const auto& r : requests()) {
        if (r.method == method)
            result.push_back(r);
    }
    return result;
}

void FakeHerdrServer::clearRequests()
{
    std::lock_guard lock(m_mutex);
    m_requests.clear();
}

bool FakeHerdrServer::waitFor(const std::function<bool()>& condition,
                              std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, condition);
}

bool FakeHerdrServer::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const
{
    return waitFor([&] { return m_requests.size() >= count; }, timeout);
}

std::size_t FakeHerdrServer::liveSubscribers() const
{
    return std::size_t(
        std::ranges::count_if(m_subscribers, [](const auto& s) { return s->alive; }));
}

std::size_t FakeHerdrServer::subscriberCount() const
{
    std::lock_guard lock(m_mutex);
    return liveSubscribers();
}

bool FakeHerdrServer::waitForSubscribers(std::size_t count, std::chrono::milliseconds timeout) const
{
    return waitFor([&] { return liveSubscribers() >= count; }, timeout);
}

bool FakeHerdrServer::waitForSubscribersAtMost(std::size_t count,
                                               std::chrono::milliseconds timeout) const
{
    return waitFor([&] { return liveSubscribers() <= count; }, timeout);
}

bool FakeHerdrServer::writeAll(int fd, const QByteArray& bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.constData() + written,
                                 std::size_t(bytes.size() - written), MSG_NOSIGNAL);
        if (n > 0)
            written += n;
        else if (n < 0 && errno == EINTR)
            continue;
        else
            return false;
    }
    return true;
}

void FakeHerdrServer::publish(const QString& event, const JSONValue& data)
{
    const QByteArray line =
        JSONValue::object({{u"event"_s, event}, {u"data"_s, data}}).serialized() + '\n';
    const QString paneID = EventEnvelope{event, data}.paneID().value_or(QString());
    const bool perPane = event.contains(u'.');
    const QString type = perPane ? event : lifecycleType(event);
    std::lock_guard lock(m_mutex);
    if (!perPane) {
        m_history.emplace_back(type, line);
        if (m_history.size() > historyLimit)
            m_history.pop_front();
    }
    for (const auto& s : m_subscribers) {
        if (s->takes(type, perPane ? paneID : QString()))
            sendTo(*s, line);
    }
}

void FakeHerdrServer::publishRaw(const QByteArray& line)
{
    std::lock_guard lock(m_mutex);
    for (const auto& s : m_subscribers)
        sendTo(*s, line.endsWith('\n') ? line : line + '\n');
}

void FakeHerdrServer::dropSubscribers(const QByteArray& lastBytes)
{
    std::lock_guard lock(m_mutex);
    for (const auto& s : m_subscribers) {
        if (!lastBytes.isEmpty())
            sendTo(*s, lastBytes);
        s->alive = false;
        ::shutdown(s->fd, SHUT_RDWR);
    }
}

void FakeHerdrServer::trickle(int fd, const QByteArray& bytes, std::chrono::milliseconds interval)
{
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (i > 0) {
            std::unique_lock lock(m_mutex);
            if (m_changed.wait_for(lock, interval, [&] { return m_stopping; }))
                return;
        }
        if (!writeAll(fd, bytes.mid(i, 1)))
            return; // the client gave up
    }
}

void FakeHerdrServer::sendTo(Subscriber& subscriber, const QByteArray& line)
{
    if (subscriber.alive && !writeAll(subscriber.fd, line)) {
        subscriber.alive = false;
        ::shutdown(subscriber.fd, SHUT_RDWR);
    }
}

void FakeHerdrServer::acceptLoop()
{
    for (;;) {
        pollfd fds[2] = {{m_listenFd, POLLIN, 0}, {m_wakePipe[0], POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents)
            return;
        const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        std::lock_guard lock(m_mutex);
        if (m_stopping) {
            ::close(fd);
            return;
        }
        m_openFds.push_back(fd);
        ++m_activeConnections;
        std::thread([this, fd] {
            serve(fd);
            std::lock_guard done(m_mutex);
            --m_activeConnections;
            m_changed.notify_all();
        }).detach();
    }
}

void FakeHerdrServer::serve(int fd)
{
    QByteArray buffer;
    bool complete = false;
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(firstLineDeadlineMs);
    while (!complete && buffer.size() <= maximumRequestBytes) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, int(left.count())) <= 0)
            continue;
        char chunk[8192];
        const ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n <= 0)
            break;
        buffer.append(chunk, n);
        complete = buffer.contains('\n');
    }

    auto finish = [&] {
        std::lock_guard lock(m_mutex);
        std::erase(m_openFds, fd);
        ::close(fd);
    };
    if (!complete) {
        finish();
        return;
    }
    FakeRequest request;
    request.receivedAt = std::chrono::steady_clock::now();
    request.line = buffer.left(buffer.indexOf('\n'));
    const JSONValue parsed = JSONValue::parse(request.line).value_or(JSONValue());
    RecordReader r(parsed);
    request.id = r.required<QString>(u"id");
    request.method = r.required<QString>(u"method");
    request.params = r.optional<JSONValue>(u"params").value_or(JSONValue(JSONValue::Object{}));
    const bool valid = !r.failed() && request.params.objectValue();
    Handler handler;
    ArrivalHook arrival;
    std::size_t position = 0;
    {
        std::lock_guard lock(m_mutex);
        position = m_requests.size();
        m_requests.push_back(request);
        if (auto it = m_handlers.find(request.method); valid && it != m_handlers.end())
            handler = it->second;
        arrival = m_arrivalHook;
    }
    if (arrival)
        arrival(position, request);
    m_changed.notify_all();

    // herdr answers what it cannot parse, an unknown method among it, with an empty id.
    if (!valid) {
        writeAll(fd, errorLine(QString(), u"invalid_request"_s,
                               u"invalid request: expected an object with string id and method"_s));
    } else if (request.method == u"events.subscribe" && !handler) {
        serveSubscribe(fd, request);
    } else if (!handler) {
        writeAll(fd, errorLine(QString(), u"invalid_request"_s,
                               u"invalid request: unknown variant `%1`"_s.arg(request.method)));
    } else {
        const FakeReply reply = handler(request);
        switch (reply.kind) {
        case FakeReply::Kind::result:
            writeAll(fd, replyLine(reply.replyID.value_or(request.id), u"result"_s, reply.value));
            break;
        case FakeReply::Kind::error:
            writeAll(fd, errorLine(reply.replyID.value_or(request.id), reply.code, reply.message));
            break;
        case FakeReply::Kind::raw: writeAll(fd, reply.bytes); break;
        case FakeReply::Kind::trickle: trickle(fd, reply.bytes, reply.interval); break;
        case FakeReply::Kind::silent: {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_stopping; });
            break;
        }
        case FakeReply::Kind::closeWithoutReply: break;
        }
    }
    finish();
}

void FakeHerdrServer::serveSubscribe(int fd, const FakeRequest& request)
{
    static const QRegularExpression knownType(
        u"^(workspace|worktree|tab|pane|layout)\\.[a-z_]+$"_s);
    auto subscriber = std::make_shared<Subscriber>();
    subscriber->fd = fd;
    const JSONValue* list = request.params.member(u"subscriptions");
    if (!list || !list->arrayValue()) {
        writeAll(fd, errorLine(QString(), u"invalid_request"_s,
                               u"invalid request: missing field `subscriptions`"_s));
        return;
    }
    std::function<bool(const QString&)> paneExists;
    {
        std::lock_guard lock(m_mutex);
        paneExists = m_paneExists;
    }
    for (std::size_t i = 0; i < list->arrayValue()->size(); ++i) {
        const JSONValue& entry = (*list->arrayValue())[i];
        RecordReader r(entry);
        const auto type = r.required<QString>(u"type");
        const auto pane = r.optional<QString>(u"pane_id");
        if (r.failed() || !knownType.match(type).hasMatch() || (isPerPaneType(type) && !pane)) {
            writeAll(fd,
                     errorLine(QString(), u"invalid_request"_s,
                               u"invalid request: bad subscription %1"_s.arg(entry.description())));
            return;
        }
        if (isPerPaneType(type) && paneExists && !paneExists(*pane)) {
            writeAll(fd, errorLine(u"%1:sub:%2:probe"_s.arg(request.id).arg(i), u"pane_not_found"_s,
                                   u"pane %1 not found"_s.arg(*pane)));
            return;
        }
        subscriber->subscriptions.emplace_back(type, pane.value_or(QString()));
    }
    {
        std::lock_guard lock(m_mutex);
        bool ok =
            writeAll(fd, replyLine(request.id, u"result"_s,
                                   JSONValue::object({{u"type"_s, u"subscription_started"_s}})));
        for (const auto& [type, line] : m_history) {
            if (ok && subscriber->takes(type, QString()))
                ok = writeAll(fd, line);
        }
        if (!ok)
            return;
        m_subscribers.push_back(subscriber);
    }
    m_changed.notify_all();
    // Hold the stream until the client goes or the server stops; what the client sends is ignored.
    char sink[1024];
    for (ssize_t n = 1; n > 0 || (n < 0 && errno == EINTR);)
        n = ::recv(fd, sink, sizeof sink, 0);
    {
        std::lock_guard lock(m_mutex);
        subscriber->alive = false;
        std::erase(m_subscribers, subscriber);
    }
    m_changed.notify_all();
}
