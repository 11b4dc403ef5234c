#pragma once

#include "HerdrClient/Support/Lifetime.h"
#include "HerdrClient/Wire/HerdrError.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QCoroTask>
#include <QString>

#include <expected>

using RequestResult = std::expected<JSONValue, RequestFailure>;

// The one way logic talks to herdr, so that it can run against a fake.
class RequestSending {
public:
    virtual ~RequestSending() = default;

    // One request and its reply. Ordinary requests use the id "1".
    virtual QCoro::Task<RequestResult> request(QString method, JSONValue params, QString id) = 0;

    QCoro::Task<RequestResult> request(QString method, JSONValue params)
    {
        return request(std::move(method), std::move(params), QStringLiteral("1"));
    }

    // Expires when this sender ends.
    Lifetime::Guard lifetime() const { return m_lifetime.guard(); }

private:
    Lifetime m_lifetime;
};

// A sender as a call that may outlive it holds it: once the sender has ended, every request
// fails as a closed connection, and nothing is sent.
class RequestSendingHandle {
public:
    explicit RequestSendingHandle(RequestSending& client)
        : m_client(&client), m_alive(client.lifetime())
    {
    }

    QCoro::Task<RequestResult> request(QString method, JSONValue params) const;
    bool isAlive() const { return bool(m_alive); }

private:
    RequestSending* m_client;
    Lifetime::Guard m_alive;
};
