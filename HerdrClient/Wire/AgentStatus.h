#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

// What herdr says an agent in a pane is doing. Any other wire string reads as `unknown`.
enum class AgentStatus { idle, working, blocked, done, unknown };

AgentStatus agentStatusFromString(QStringView text);
QString toString(AgentStatus status);

// herdr's own four-state view of a pane, used by its agent reports.
enum class PaneAgentState { idle, working, blocked, unknown };

PaneAgentState paneAgentStateFromString(QStringView text);
QString toString(PaneAgentState state);

// Which text `pane.read` returns.
enum class ReadSource { visible, recent, recentUnwrapped, detection };

QString toString(ReadSource source);
std::optional<ReadSource> readSourceFromString(QStringView text);

template <>
struct JSONCoding<AgentStatus> {
    static Decoded<AgentStatus> decode(const JSONValue& value);
    static JSONValue encode(AgentStatus status) { return JSONValue(toString(status)); }
};

template <>
struct JSONCoding<ReadSource> {
    static Decoded<ReadSource> decode(const JSONValue& value);
    static JSONValue encode(ReadSource source) { return JSONValue(toString(source)); }
};
