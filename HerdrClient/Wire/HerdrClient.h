#pragma once

#include "HerdrClient/Support/Environment.h"
#include "HerdrClient/Wire/EventStream.h"
#include "HerdrClient/Wire/HerdrEndpoint.h"
#include "HerdrClient/Wire/RequestSending.h"

#include <QThreadPool>

#include <optional>

// A herdr server reached by one short connection per request. Immutable after construction and
// safe to share: blocking socket work runs on the socket queue, never on the caller's thread.
class HerdrClient : public RequestSending {
public:
    explicit HerdrClient(HerdrEndpoint endpoint,
                         std::optional<double> requestTimeout = std::nullopt);
    // The endpoint is the resolved socket path for `socketPath` and the environment.
    HerdrClient(const std::optional<QString>& socketPath, std::optional<double> requestTimeout,
                const Environment& environment = processEnvironment());

    const HerdrEndpoint& endpoint() const { return m_endpoint; }
    std::optional<double> requestTimeout() const { return m_requestTimeout; }
    // The path of a Unix endpoint, or "127.0.0.1:" and the port.
    QString socketPath() const { return m_endpoint.description(); }

    using RequestSending::request;
    QCoro::Task<RequestResult> request(QString method, JSONValue params, QString id) override;

    // True when herdr answers `ping`; never fails.
    QCoro::Task<bool> ping();

    // herdr's pushed events, on a connection of their own that comes back after failures.
    std::unique_ptr<EventStream> events(
        SubscriptionsFunction subscriptions, BackoffPolicy backoff,
        EventStreamOptions options =
            EventStreamOptions::fromEnvironment(processEnvironment())) const;

    // The exact bytes of a request frame, without the newline.
    static QByteArray requestFrame(const QString& id, const QString& method,
                                   const JSONValue& params);
    // Turns one reply line into a result or a failure.
    static RequestResult classifyReply(const QByteArray& line);
    // One whole request on the calling thread: connect, write, read, classify, close.
    static RequestResult performBlocking(const HerdrEndpoint& endpoint,
                                         std::optional<double> timeout, const QString& method,
                                         const QByteArray& frame);

    // The pool that runs blocking socket work for every client ("dev.orrelsentry.herdr.socket").
    static QThreadPool* socketQueue();

private:
    HerdrEndpoint m_endpoint;
    std::optional<double> m_requestTimeout;
};
