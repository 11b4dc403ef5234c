#include "HerdrClient/Wire/Snapshot.h"

#include <set>

using namespace Qt::StringLiterals;

Decoded<WorkspaceInfo> WorkspaceInfo::decode(const JSONValue& value)
{
    RecordReader r(value);
    WorkspaceInfo w;
    w.workspaceID = r.required<QString>(u"workspace_id");
    w.number = r.optional<qint64>(u"number");
    w.label = r.optional<QString>(u"label");
    w.focused = r.optional<bool>(u"focused");
    w.paneCount = r.optional<qint64>(u"pane_count");
    w.tabCount = r.optional<qint64>(u"tab_count");
    w.activeTabID = r.optional<QString>(u"active_tab_id");
    w.agentStatus = r.optional<AgentStatus>(u"agent_status");
    w.tokens = r.optional<std::map<QString, QString>>(u"tokens");
    return r.finish(w);
}

JSONValue WorkspaceInfo::asJSONValue() const
{
    return RecordWriter()
        .set(u"workspace_id"_s, workspaceID)
        .set(u"number"_s, number)
        .set(u"label"_s, label)
        .set(u"focused"_s, focused)
        .set(u"pane_count"_s, paneCount)
        .set(u"tab_count"_s, tabCount)
        .set(u"active_tab_id"_s, activeTabID)
        .set(u"agent_status"_s, agentStatus)
        .set(u"tokens"_s, tokens)
        .value();
}

Decoded<TabInfo> TabInfo::decode(const JSONValue& value)
{
    RecordReader r(value);
    TabInfo t;
    t.tabID = r.required<QString>(u"tab_id");
    t.workspaceID = r.required<QString>(u"workspace_id");
    t.number = r.optional<qint64>(u"number");
    t.label = r.optional<QString>(u"label");
    t.focused = r.optional<bool>(u"focused");
    t.paneCount = r.optional<qint64>(u"pane_count");
    t.agentStatus = r.optional<AgentStatus>(u"agent_status");
    return r.finish(t);
}

JSONValue TabInfo::asJSONValue() const
{
    return RecordWriter()
        .set(u"tab_id"_s, tabID)
        .set(u"workspace_id"_s, workspaceID)
        .set(u"number"_s, number)
        .set(u"label"_s, label)
        .set(u"focused"_s, focused)
        .set(u"pane_count"_s, paneCount)
        .set(u"agent_status"_s, agentStatus)
        .value();
}

Decoded<AgentInfo> AgentInfo::decode(const JSONValue& value)
{
    RecordReader r(value);
    AgentInfo a;
    a.terminalID = r.optional<QString>(u"terminal_id");
    a.paneID = r.optional<QString>(u"pane_id");
    a.tabID = r.optional<QString>(u"tab_id");
    a.workspaceID = r.optional<QString>(u"workspace_id");
    a.agent = r.optional<QString>(u"agent");
    a.displayAgent = r.optional<QString>(u"display_agent");
    a.agentStatus = r.optional<AgentStatus>(u"agent_status");
    a.customStatus = r.optional<QString>(u"custom_status");
    a.focused = r.optional<bool>(u"focused");
    a.cwd = r.optional<QString>(u"cwd");
    a.foregroundCwd = r.optional<QString>(u"foreground_cwd");
    a.revision = r.optional<quint64>(u"revision");
    return r.finish(a);
}

JSONValue AgentInfo::asJSONValue() const
{
    return RecordWriter()
        .set(u"terminal_id"_s, terminalID)
        .set(u"pane_id"_s, paneID)
        .set(u"tab_id"_s, tabID)
        .set(u"workspace_id"_s, workspaceID)
        .set(u"agent"_s, agent)
        .set(u"display_agent"_s, displayAgent)
        .set(u"agent_status"_s, agentStatus)
        .set(u"custom_status"_s, customStatus)
        .set(u"focused"_s, focused)
        .set(u"cwd"_s, cwd)
        .set(u"foreground_cwd"_s, foregroundCwd)
        .set(u"revision"_s, revision)
        .value();
}

std::vector<PaneInfo> Snapshot::uniquePanes() const
{
    std::vector<PaneInfo> result;
    std::set<QString> seen;
    for (const auto& pane : panes) {
        if (seen.insert(pane.paneID).second)
            result.push_back(pane);
    }
    return result;
}

Decoded<Snapshot> Snapshot::fromResult(const JSONValue& result)
{
    if (const JSONValue* inner = result.member(u"snapshot"))
        return decode(*inner);
    // Without its wrapper, only the pane list (herdr always sends one) tells a snapshot from some
    // other answer, to another request say; taken for a session without panes, that would make
    // every pane vanish and come back as new with the next poll.
    const JSONValue* panes = result.member(u"panes");
    if (!panes || !panes->arrayValue())
        return std::unexpected(DecodingError{u"panes: required key is missing"_s});
    return decode(result);
}

Decoded<Snapshot> Snapshot::decode(const JSONValue& value)
{
    RecordReader r(value);
    Snapshot s;
    s.version = r.optional<QString>(u"version");
    s.protocol = r.optional<qint64>(u"protocol");
    s.focusedWorkspaceID = r.optional<QString>(u"focused_workspace_id");
    s.focusedTabID = r.optional<QString>(u"focused_tab_id");
    s.focusedPaneID = r.optional<QString>(u"focused_pane_id");
    s.workspaces = r.optional<std::vector<WorkspaceInfo>>(u"workspaces")
                       .value_or(std::vector<WorkspaceInfo>{});
    s.tabs = r.optional<std::vector<TabInfo>>(u"tabs").value_or(std::vector<TabInfo>{});
    s.panes = r.optional<std::vector<PaneInfo>>(u"panes").value_or(std::vector<PaneInfo>{});
    s.agents = r.optional<std::vector<AgentInfo>>(u"agents").value_or(std::vector<AgentInfo>{});
    return r.finish(s);
}

JSONValue Snapshot::asJSONValue() const
{
    return RecordWriter()
        .set(u"version"_s, version)
        .set(u"protocol"_s, protocol)
        .set(u"focused_workspace_id"_s, focusedWorkspaceID)
        .set(u"focused_tab_id"_s, focusedTabID)
        .set(u"focused_pane_id"_s, focusedPaneID)
        .set(u"workspaces"_s, workspaces)
        .set(u"tabs"_s, tabs)
        .set(u"panes"_s, panes)
        .set(u"agents"_s, agents)
        .value();
}
