#include "HerdrClient/Wire/HerdrClient.h"

#include "HerdrClient/Wire/SocketConnection.h"
#include "HerdrClient/Wire/SocketPath.h"

#include <QCoroFuture>
#include <QtConcurrent/QtConcurrentRun>

using namespace Qt::StringLiterals;

HerdrClient::HerdrClient(HerdrEndpoint endpoint, std::optional<double> requestTimeout)
    : m_endpoint(std::move(endpoint)), m_requestTimeout(requestTimeout)
{
}

HerdrClient::HerdrClient(const std::optional<QString>& socketPath,
                         std::optional<double> requestTimeout, const Environment& environment)
    : HerdrClient(HerdrEndpoint::unixSocket(SocketPath::resolve(socketPath, environment)),
                  requestTimeout)
{
}

QThreadPool* HerdrClient::socketQueue()
{
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool();
        p->setObjectName(u"dev.orrelsentry.herdr.socket"_s);
        // Every open event stream holds a thread for its life, so leave room beyond the cores.
        p->setMaxThreadCount(64);
        p->setExpiryTimeout(30'000);
        return p;
    }();
    return pool;
}

QByteArray HerdrClient::requestFrame(const QString& id, const QString& method,
                                     const JSONValue& params)
{
    return JSONValue::object({{u"id"_s, id}, {u"method"_s, method}, {u"params"_s, params}})
        .serialized();
}

RequestResult HerdrClient::classifyReply(const QByteArray& line)
{
    auto parsed = JSONValue::parse(line);
    if (!parsed)
        return std::unexpected(RequestFailure(parsed.error()));
    if (!parsed->objectValue())
        return JSONValue();
    if (const JSONValue* error = parsed->member(u"error"); error && !error->isNull()) {
        const JSONValue* code = error->member(u"code");
        const JSONValue* message = error->member(u"message");
        return std::unexpected(RequestFailure(HerdrError::api(
            code && code->stringValue() ? *code->stringValue() : u"unknown"_s,
            message && message->stringValue() ? *message->stringValue() : error->description())));
    }
    if (const JSONValue* result = parsed->member(u"result"))
        return *result;
    return JSONValue();
}

RequestResult HerdrClient::performBlocking(const HerdrEndpoint& endpoint,
                                           std::optional<double> timeout, const QString& method,
                                           const QByteArray& frame)
{
    SocketConnection connection(endpoint, timeout);
    if (auto connected = connection.connect(); !connected)
        return std::unexpected(RequestFailure(connected.error()));
    if (auto written = connection.writeLine(frame); !written)
        return std::unexpected(RequestFailure(written.error()));
    auto line = connection.readLine();
    if (!line)
        return std::unexpected(RequestFailure(line.error()));
    if (!line->has_value())
        return std::unexpected(RequestFailure(HerdrError::noResponse(method)));
    return classifyReply(**line);
}

QCoro::Task<RequestResult> HerdrClient::request(QString method, JSONValue params, QString id)
{
    const QByteArray frame = requestFrame(id, method, params);
    // Copies only: the client may be gone by the time the work item runs.
    co_return co_await QtConcurrent::run(socketQueue(), &HerdrClient::performBlocking, m_endpoint,
                                         m_requestTimeout, method, frame);
}

QCoro::Task<bool> HerdrClient::ping()
{
    const auto result = co_await request(u"ping"_s, JSONValue(JSONValue::Object{}));
    co_return result.has_value();
}

std::unique_ptr<EventStream> HerdrClient::events(SubscriptionsFunction subscriptions,
                                                 BackoffPolicy backoff,
                                                 EventStreamOptions options) const
{
    return EventStream::open(m_endpoint, std::move(subscriptions), backoff, std::move(options));
}
