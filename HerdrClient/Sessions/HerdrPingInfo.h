#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <optional>

// What herdr says of itself in reply to `ping`.
struct HerdrPingInfo {
    static constexpr const char* minimumVersion = "0.7.4";
    static constexpr qint64 minimumProtocol = 16;

    std::optional<QString> version;
    std::optional<qint64> protocolVersion;

    // Both fields stay absent unless the result is an object.
    static HerdrPingInfo fromResult(const JSONValue& result);

    bool isSupported() const { return protocolVersion && *protocolVersion >= minimumProtocol; }
    // "herdr 0.8.0 · protocol 19", or "herdr (version unknown)".
    QString summary() const;

    bool operator==(const HerdrPingInfo&) const = default;
};
