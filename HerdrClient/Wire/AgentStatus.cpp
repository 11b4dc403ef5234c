#include "HerdrClient/Wire/AgentStatus.h"

using namespace Qt::StringLiterals;

AgentStatus agentStatusFromString(QStringView text)
{
    if (text == u"idle")
        return AgentStatus::idle;
    if (text == u"working")
        return AgentStatus::working;
    if (text == u"blocked")
        return AgentStatus::blocked;
    if (text == u"done")
        return AgentStatus::done;
    return AgentStatus::unknown;
}

QString toString(AgentStatus status)
{
    switch (status) {
    case AgentStatus::idle: return u"idle"_s;
    case AgentStatus::working: return u"working"_s;
    case AgentStatus::blocked: return u"blocked"_s;
    case AgentStatus::done: return u"done"_s;
    case AgentStatus::unknown: break;
    }
    return u"unknown"_s;
}

PaneAgentState paneAgentStateFromString(QStringView text)
{
    if (text == u"idle")
        return PaneAgentState::idle;
    if (text == u"working")
        return PaneAgentState::working;
    if (text == u"blocked")
        return PaneAgentState::blocked;
    return PaneAgentState::unknown;
}

QString toString(PaneAgentState state)
{
    switch (state) {
    case PaneAgentState::idle: return u"idle"_s;
    case PaneAgentState::working: return u"working"_s;
    case PaneAgentState::blocked: return u"blocked"_s;
    case PaneAgentState::unknown: break;
    }
    return u"unknown"_s;
}

QString toString(ReadSource source)
{
    switch (source) {
    case ReadSource::visible: return u"visible"_s;
    case ReadSource::recent: return u"recent"_s;
    case ReadSource::recentUnwrapped: return u"recent_unwrapped"_s;
    case ReadSource::detection: break;
    }
    return u"detection"_s;
}

std::optional<ReadSource> readSourceFromString(QStringView text)
{
    for (auto source : {ReadSource::visible, ReadSource::recent, ReadSource::recentUnwrapped,
                        ReadSource::detection}) {
        if (text == toString(source))
            return source;
    }
    return std::nullopt;
}

Decoded<AgentStatus> JSONCoding<AgentStatus>::decode(const JSONValue& value)
{
    // Never fails on the content of the string, only on a value that is not one.
    if (auto text = value.stringValue())
        return agentStatusFromString(*text);
    return std::unexpected(DecodingError{u"expected a status string"_s});
}

Decoded<ReadSource> JSONCoding<ReadSource>::decode(const JSONValue& value)
{
    if (auto text = value.stringValue()) {
        if (auto source = readSourceFromString(*text))
            return *source;
    }
    return std::unexpected(DecodingError{u"expected a read source"_s});
}
