#pragma once

#include <QString>

// Why a request to an opencode server got no answer at all.
struct OpenCodeTransportError {
    enum class Kind {
        notLoopback,       // refused before any connection was tried
        connectionRefused, // nothing reached the server
        connectionLost,    // the request may have reached it
        timedOut,          // the request may have reached it
        responseTooLarge   // the server answered; the answer was not read
    };

    Kind kind = Kind::connectionRefused;

    // Whether the server cannot have seen the request.
    bool requestSurelyNotDelivered() const
    {
        return kind == Kind::notLoopback || kind == Kind::connectionRefused;
    }

    QString errorDescription() const;
    bool operator==(const OpenCodeTransportError&) const = default;
};

QString toString(OpenCodeTransportError::Kind kind);
