#pragma once

#include "HerdrClient/Wire/PaneInfo.h"

#include <optional>

// One line of the event stream: an event name and its data.
struct EventEnvelope {
    QString event;
    JSONValue data;

    // Absent unless `value` is an object with a string `event`.
    static std::optional<EventEnvelope> from(const JSONValue& value);

    // `data.pane_id`, else `data.pane.pane_id`.
    std::optional<QString> paneID() const;
    // `data.agent_status` read with the tolerant status rule; absent when missing or not a string.
    std::optional<AgentStatus> agentStatus() const;
    // `data.pane` as a pane record; absent when missing, null or undecodable.
    std::optional<PaneInfo> pane() const;

    JSONValue asJSONValue() const;
    bool operator==(const EventEnvelope&) const = default;
};

// The typed reading of the data of a status event.
struct PaneAgentStatusChangedEvent {
    QString paneID;
    std::optional<QString> workspaceID;
    AgentStatus agentStatus = AgentStatus::unknown;
    std::optional<QString> agent;
    std::optional<QString> displayAgent;
    std::optional<QString> customStatus;

    static Decoded<PaneAgentStatusChangedEvent> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneAgentStatusChangedEvent&) const = default;
};
