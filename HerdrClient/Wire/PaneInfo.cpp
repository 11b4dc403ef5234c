#include "HerdrClient/Wire/PaneInfo.h"

using namespace Qt::StringLiterals;

Decoded<PaneScrollInfo> PaneScrollInfo::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneScrollInfo s;
    s.offsetFromBottom = r.required<qint64>(u"offset_from_bottom");
    s.maxOffsetFromBottom = r.required<qint64>(u"max_offset_from_bottom");
    s.viewportRows = r.required<qint64>(u"viewport_rows");
    return r.finish(s);
}

JSONValue PaneScrollInfo::asJSONValue() const
{
    return RecordWriter()
        .set(u"offset_from_bottom"_s, offsetFromBottom)
        .set(u"max_offset_from_bottom"_s, maxOffsetFromBottom)
        .set(u"viewport_rows"_s, viewportRows)
        .value();
}

PaneInfo PaneInfo::with(AgentStatus status) const
{
    PaneInfo copy = *this;
    copy.agentStatus = status;
    return copy;
}

std::optional<QString> PaneInfo::token(const QString& name) const
{
    if (!tokens)
        return std::nullopt;
    const auto it = tokens->find(name);
    if (it == tokens->end())
        return std::nullopt;
    return it->second;
}

Decoded<PaneInfo> PaneInfo::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneInfo p;
    p.paneID = r.required<QString>(u"pane_id");
    p.terminalID = r.required<QString>(u"terminal_id");
    p.workspaceID = r.required<QString>(u"workspace_id");
    p.tabID = r.required<QString>(u"tab_id");
    p.focused = r.required<bool>(u"focused");
    p.agentStatus = r.required<AgentStatus>(u"agent_status");
    p.revision = r.required<quint64>(u"revision");
    p.agent = r.optional<QString>(u"agent");
    p.displayAgent = r.optional<QString>(u"display_agent");
    p.customStatus = r.optional<QString>(u"custom_status");
    p.label = r.optional<QString>(u"label");
    p.title = r.optional<QString>(u"title");
    p.cwd = r.optional<QString>(u"cwd");
    p.foregroundCwd = r.optional<QString>(u"foreground_cwd");
    p.scroll = r.optional<PaneScrollInfo>(u"scroll");
    p.tokens = r.optional<std::map<QString, QString>>(u"tokens");
    return r.finish(p);
}

JSONValue PaneInfo::asJSONValue() const
{
    return RecordWriter()
        .set(u"pane_id"_s, paneID)
        .set(u"terminal_id"_s, terminalID)
        .set(u"workspace_id"_s, workspaceID)
        .set(u"tab_id"_s, tabID)
        .set(u"focused"_s, focused)
        .set(u"agent_status"_s, agentStatus)
        .set(u"revision"_s, revision)
        .set(u"agent"_s, agent)
        .set(u"display_agent"_s, displayAgent)
        .set(u"custom_status"_s, customStatus)
        .set(u"label"_s, label)
        .set(u"title"_s, title)
        .set(u"cwd"_s, cwd)
        .set(u"foreground_cwd"_s, foregroundCwd)
        .set(u"scroll"_s, scroll)
        .set(u"tokens"_s, tokens)
        .value();
}
