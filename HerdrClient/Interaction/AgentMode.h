#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// The permission mode an agent shows in its status line. `auto_` and `default_` carry a mark
// only because their words are C++ keywords; their text values are "auto" and "default".
enum class AgentMode { manual, acceptEdits, plan, auto_, dontAsk, bypassPermissions, default_ };

// The text value ("acceptEdits") and the name a person reads ("Accept Edits").
QString toString(AgentMode mode);
QString displayName(AgentMode mode);
std::optional<AgentMode> agentModeFromString(QStringView text);

// Which agents have a mode that the back-tab key cycles, and whose status line names it.
struct AgentModeCycling {
    static constexpr QStringView supportedAgentIDs[] = {u"claude", u"codex"};

    // For an agent id as herdr reports it: trimmed and lower-cased first.
    static bool supports(QStringView agentID);
};
