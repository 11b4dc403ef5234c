#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

// One request as the fake server read it.
struct FakeRequest {
    QByteArray line; // byte for byte, without the newline
    QString id;
    QString method;
    JSONValue params;
    // When the line was read, for timings taken against a server.
    std::chrono::steady_clock::time_point receivedAt;
};

// What the fake server does with one request.
struct FakeReply {
    enum class Kind { result, error, raw, silent, closeWithoutReply, trickle };

    Kind kind = Kind::result;
    JSONValue value;  // result: the result object; error: unused
    QString code;     // error
    QString message;  // error
    QByteArray bytes; // raw, trickle: written as they are, then the connection closes
    std::chrono::milliseconds interval{0}; // trickle: the pause before each byte after the first
    std::optional<QString> replyID;        // result, error: the id to answer with instead

    static FakeReply result(JSONValue value)
    {
        FakeReply reply;
        reply.value = std::move(value);
        return reply;
    }
    // herdr's `{"type":"ok"}`.
    static FakeReply ok();
    static FakeReply error(QString code, QString message)
    {
        FakeReply reply = of(Kind::error);
        reply.code = std::move(code);
        reply.message = std::move(message);
        return reply;
    }
    static FakeReply raw(QByteArray bytes) { return of(Kind::raw, std::move(bytes)); }
    // Accepts and never answers, until the server stops.
    static FakeReply silent() { return of(Kind::silent); }
    static FakeReply closeWithoutReply() { return of(Kind::closeWithoutReply); }
    // `bytes` one at a time, `interval` apart, on the server's own timer; the connection closes
    // after the last one, or as soon as the client or the server goes.
    static FakeReply trickle(QByteArray bytes, std::chrono::milliseconds interval)
    {
        FakeReply reply = of(Kind::trickle, std::move(bytes));
        reply.interval = interval;
        return reply;
    }
    // The same answer under another request id.
    FakeReply withID(QString id) const
    {
        FakeReply reply = *this;
        reply.replyID = std::move(id);
        return reply;
    }

private:
    static FakeReply of(Kind kind, QByteArray bytes = {})
    {
        FakeReply reply;
        reply.kind = kind;
        reply.bytes = std::move(bytes);
        return reply;
    }
};

// A herdr server on a real Unix socket that answers like herdr: one request per connection,
// results tagged with their `type`, errors as objects, and event streams for subscribers.
// Every request line is logged byte for byte. Threads of its own; safe to drive from a test.
class FakeHerdrServer {
public:
    using Handler = std::function<FakeReply(const FakeRequest&)>;

    // Listens at `socketPath`, or at a socket in a fresh temporary directory when empty.
    explicit FakeHerdrServer(QString socketPath = {});
    ~FakeHerdrServer();
    FakeHerdrServer(const FakeHerdrServer&) = delete;
    FakeHerdrServer& operator=(const FakeHerdrServer&) = delete;

    // Binds and starts accepting; false (with `lastError`) when the socket cannot be made.
    bool start();
    // Closes the socket, ends every connection and event stream, and removes the socket file.
    void stop();
    // Stops and starts again at the same path, as a restarted herdr: every connection and event
    // stream ends, the socket file is made anew. Handlers and the request log are kept.
    bool restart();
    // Unlinks the socket file while the server runs: open connections and streams go on, new
    // connections find nothing there until `restart`.
    void removeSocketFile();
    QString socketPath() const { return m_socketPath; }
    QString lastError() const { return m_lastError; }

    // Answers `method` with `handler`, in place of any earlier one. Methods without a handler are
    // answered as herdr answers an unknown method.
    void setHandler(const QString& method, Handler handler);
    // Runs for every request once it is logged at `position` and before it is answered, on the
    // server's thread: the moment to change what the answer will show.
    using ArrivalHook = std::function<void(std::size_t position, const FakeRequest&)>;
    void setArrivalHook(ArrivalHook hook);

    std::vector<FakeRequest> requests() const;
    std::vector<QByteArray> requestLines() const;
    std::vector<FakeRequest> requestsFor(const QString& method) const;
    void clearRequests();

    // Sends an event line to every subscriber whose subscriptions take it. Lifecycle events
    // (underscored names) are also kept, up to 512, and replayed to new subscribers, as herdr does.
    void publish(const QString& event, const JSONValue& data);
    // Writes a line to every subscriber as it is, whatever it subscribed to.
    void publishRaw(const QByteArray& line);
    // Ends every event stream while the server keeps running, after writing `lastBytes` to each
    // as they are (a line cut short, say).
    void dropSubscribers(const QByteArray& lastBytes = {});
    std::size_t subscriberCount() const;
    // Each waits until the count is at least (at most) `count`, or the deadline passes.
    bool waitForSubscribers(std::size_t count, std::chrono::milliseconds timeout) const;
    bool waitForSubscribersAtMost(std::size_t count, std::chrono::milliseconds timeout) const;
    bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;
    // Existence check for per-pane subscriptions; unknown panes reject the subscribe as herdr does.
    void setPaneExists(std::function<bool(const QString&)> paneExists);

private:
    struct Subscriber;
    std::size_t liveSubscribers() const; // with the mutex held
    bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout) const;
    void acceptLoop();
    void serve(int fd);
    void serveSubscribe(int fd, const FakeRequest& request);
    void trickle(int fd, const QByteArray& bytes, std::chrono::milliseconds interval);
    void shutDown(bool keepPath);
    bool writeAll(int fd, const QByteArray& bytes);
    // Writes to a live subscriber, with the mutex held; a failed write ends its stream.
    void sendTo(Subscriber& subscriber, const QByteArray& line);

    QString m_socketPath;
    QString m_temporaryDirectory;
    QString m_lastError;
    int m_listenFd = -1;
    int m_wakePipe[2] = {-1, -1};
    std::thread m_acceptThread;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    bool m_stopping = false;
    std::map<QString, Handler> m_handlers;
    ArrivalHook m_arrivalHook;
    std::function<bool(const QString&)> m_paneExists;
    std::vector<FakeRequest> m_requests;
    std::vector<std::shared_ptr<Subscriber>> m_subscribers;
    std::deque<std::pair<QString, QByteArray>> m_history; // subscription type, line
    std::vector<int> m_openFds;
    int m_activeConnections = 0;
};
