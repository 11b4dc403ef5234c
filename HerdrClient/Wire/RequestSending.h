#pragma once

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
};
