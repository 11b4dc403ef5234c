#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QHash>
#include <QString>

#include <functional>

// One agent across every session: the session it runs in and its pane there.
struct AgentRef {
    QString sessionID;
    QString paneID;

    // "<sessionID>/<paneID>", which is also its text form.
    QString id() const { return sessionID + u'/' + paneID; }
    QString toString() const { return id(); }

    static Decoded<AgentRef> decode(const JSONValue& value);
    // Keys "sessionID" and "paneID".
    JSONValue asJSONValue() const;

    bool operator==(const AgentRef&) const = default;
    bool operator<(const AgentRef& other) const
    {
        return sessionID != other.sessionID ? sessionID < other.sessionID : paneID < other.paneID;
    }
};

inline size_t qHash(const AgentRef& ref, size_t seed = 0)
{
    return qHashMulti(seed, ref.sessionID, ref.paneID);
}

template <>
struct std::hash<AgentRef> {
    size_t operator()(const AgentRef& ref) const noexcept { return qHash(ref); }
};
