#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <map>
#include <optional>
#include <vector>

// One permission that an opencode session waits for, as its server lists it.
struct OpenCodePermissionRequest {
    QString id;
    QString sessionID;
    QString permission;
    std::optional<QString> title;
    std::vector<QString> patterns;
    std::map<QString, JSONValue> metadata;
    std::vector<QString> always; // what "always" would allow from now on

    // Servers of several ages: `permission` may be `type`, `patterns` a single `pattern`.
    static Decoded<OpenCodePermissionRequest> decode(const JSONValue& value);

    bool operator==(const OpenCodePermissionRequest&) const = default;
};
