#pragma once

#include "HerdrClient/Wire/PaneInfo.h"

#include <vector>

struct WorkspaceInfo {
    QString workspaceID;
    std::optional<qint64> number;
    std::optional<QString> label;
    std::optional<bool> focused;
    std::optional<qint64> paneCount;
    std::optional<qint64> tabCount;
    std::optional<QString> activeTabID;
    std::optional<AgentStatus> agentStatus;
    std::optional<std::map<QString, QString>> tokens;

    static Decoded<WorkspaceInfo> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const WorkspaceInfo&) const = default;
};

struct TabInfo {
    QString tabID;
    QString workspaceID;
    std::optional<qint64> number;
    std::optional<QString> label;
    std::optional<bool> focused;
    std::optional<qint64> paneCount;
    std::optional<AgentStatus> agentStatus;

    static Decoded<TabInfo> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const TabInfo&) const = default;
};

// herdr's view of one agent terminal; every key is optional, so a bare object decodes.
struct AgentInfo {
    std::optional<QString> terminalID;
    std::optional<QString> paneID;
    std::optional<QString> tabID;
    std::optional<QString> workspaceID;
    std::optional<QString> agent;
    std::optional<QString> displayAgent;
    std::optional<AgentStatus> agentStatus;
    std::optional<QString> customStatus;
    std::optional<bool> focused;
    std::optional<QString> cwd;
    std::optional<QString> foregroundCwd;
    std::optional<quint64> revision;

    static Decoded<AgentInfo> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const AgentInfo&) const = default;
};

// The reply of `session.snapshot`. One bad pane fails the whole snapshot, by design of the wire:
// a half-read session would look like panes that went away.
struct Snapshot {
    std::optional<QString> version;
    std::optional<qint64> protocol;
    std::optional<QString> focusedWorkspaceID;
    std::optional<QString> focusedTabID;
    std::optional<QString> focusedPaneID;
    std::vector<WorkspaceInfo> workspaces;
    std::vector<TabInfo> tabs;
    std::vector<PaneInfo> panes;
    std::vector<AgentInfo> agents;

    // The panes in order, keeping the first record of each pane id.
    std::vector<PaneInfo> uniquePanes() const;

    // Decodes the result of `session.snapshot`: its `snapshot` member when present, else the whole
    // result, which must then hold the pane list.
    static Decoded<Snapshot> fromResult(const JSONValue& result);
    static Decoded<Snapshot> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const Snapshot&) const = default;
};
