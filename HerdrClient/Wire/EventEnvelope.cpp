#include "HerdrClient/Wire/EventEnvelope.h"

using namespace Qt::StringLiterals;

std::optional<EventEnvelope> EventEnvelope::from(const JSONValue& value)
{
    const JSONValue* event = value.member(u"event");
    if (!event || !event->stringValue())
        return std::nullopt;
    const JSONValue* data = value.member(u"data");
    return EventEnvelope{*event->stringValue(), data ? *data : JSONValue()};
}

std::optional<QString> EventEnvelope::paneID() const
{
    if (const JSONValue* id = data.member(u"pane_id"); id && id->stringValue())
        return id->stringValue();
    if (const JSONValue* pane = data.member(u"pane")) {
        if (const JSONValue* id = pane->member(u"pane_id"); id && id->stringValue())
            return id->stringValue();
    }
    return std::nullopt;
}

std::optional<AgentStatus> EventEnvelope::agentStatus() const
{
    const JSONValue* status = data.member(u"agent_status");
    if (!status || !status->stringValue())
        return std::nullopt;
    return agentStatusFromString(*status->stringValue());
}

std::optional<PaneInfo> EventEnvelope::pane() const
{
    const JSONValue* pane = data.member(u"pane");
    if (!pane || pane->isNull())
        return std::nullopt;
    auto decoded = PaneInfo::decode(*pane);
    if (!decoded)
        return std::nullopt;
    return std::move(*decoded);
}

JSONValue EventEnvelope::asJSONValue() const
{
    return JSONValue::object({{u"event"_s, event}, {u"data"_s, data}});
}

Decoded<PaneAgentStatusChangedEvent> PaneAgentStatusChangedEvent::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneAgentStatusChangedEvent e;
    e.paneID = r.required<QString>(u"pane_id");
    e.workspaceID = r.optional<QString>(u"workspace_id");
    e.agentStatus = r.required<AgentStatus>(u"agent_status");
    e.agent = r.optional<QString>(u"agent");
    e.displayAgent = r.optional<QString>(u"display_agent");
    e.customStatus = r.optional<QString>(u"custom_status");
    return r.finish(e);
}

JSONValue PaneAgentStatusChangedEvent::asJSONValue() const
{
    return RecordWriter()
        .set(u"pane_id"_s, paneID)
        .set(u"workspace_id"_s, workspaceID)
        .set(u"agent_status"_s, agentStatus)
        .set(u"agent"_s, agent)
        .set(u"display_agent"_s, displayAgent)
        .set(u"custom_status"_s, customStatus)
        .value();
}
