#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QHash>
#include <QString>

#include <optional>

// An SSH host whose herdr sessions are watched: all of them, or the one named.
struct RemoteHostConfiguration {
    QString target;
    std::optional<QString> sessionName;

    // The target, or the target, "/" and the session name.
    QString id() const;

    // {"target": ..., "sessionName": ...}; the name is left out when absent.
    JSONValue asJSONValue() const;
    static Decoded<RemoteHostConfiguration> decode(const JSONValue& value);

    bool operator==(const RemoteHostConfiguration&) const = default;
};

inline size_t qHash(const RemoteHostConfiguration& host, size_t seed = 0)
{
    return qHashMulti(seed, host.target, host.sessionName.value_or(QString()),
                      host.sessionName.has_value());
}
