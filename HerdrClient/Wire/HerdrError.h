#pragma once

#include "HerdrClient/Wire/JSONValue.h"
#include "HerdrClient/Wire/SocketError.h"

#include <QString>

#include <variant>

// A failure that herdr's answer (or its silence) made.
struct HerdrError {
    enum class Kind { api, noResponse, malformedResponse };

    Kind kind = Kind::noResponse;
    QString code;    // api
    QString message; // api: herdr's words; malformedResponse: what did not decode
    QString method;  // noResponse, malformedResponse

    static HerdrError api(QString code, QString message)
    {
        return {Kind::api, std::move(code), std::move(message), {}};
    }
    static HerdrError noResponse(QString method)
    {
        return {Kind::noResponse, {}, {}, std::move(method)};
    }
    static HerdrError malformedResponse(QString method, QString whatDidNotDecode)
    {
        return {Kind::malformedResponse, {}, std::move(whatDidNotDecode), std::move(method)};
    }

    QString errorDescription() const;
    bool operator==(const HerdrError&) const = default;
};

// Whatever made one request fail: the socket, herdr's answer, or a reply that is not JSON.
struct RequestFailure {
    std::variant<SocketError, HerdrError, JSONParseError> error;

    RequestFailure(SocketError e) : error(std::move(e)) {}
    RequestFailure(HerdrError e) : error(std::move(e)) {}
    RequestFailure(JSONParseError e) : error(std::move(e)) {}

    const SocketError* socketError() const { return std::get_if<SocketError>(&error); }
    const HerdrError* herdrError() const { return std::get_if<HerdrError>(&error); }
    const JSONParseError* parseError() const { return std::get_if<JSONParseError>(&error); }
    // Nothing was heard from herdr: no socket, a refused connection, or no answer in time. Any
    // other failure is herdr (or whatever listens there) answering, and has words of its own.
    bool isUnreachable() const;

    QString errorDescription() const;
    bool operator==(const RequestFailure&) const = default;
};
