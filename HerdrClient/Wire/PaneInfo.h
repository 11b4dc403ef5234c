#pragma once

#include "HerdrClient/Wire/AgentStatus.h"
#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <map>
#include <optional>

struct PaneScrollInfo {
    qint64 offsetFromBottom = 0;
    qint64 maxOffsetFromBottom = 0;
    qint64 viewportRows = 0;

    static Decoded<PaneScrollInfo> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneScrollInfo&) const = default;
};

// One terminal pane as herdr reports it: the central record of the program.
struct PaneInfo {
    QString paneID;
    QString terminalID;
    QString workspaceID;
    QString tabID;
    bool focused = false;
    AgentStatus agentStatus = AgentStatus::unknown;
    quint64 revision = 0;
    std::optional<QString> agent;
    std::optional<QString> displayAgent;
    std::optional<QString> customStatus;
    std::optional<QString> label;
    std::optional<QString> title;
    std::optional<QString> cwd;
    std::optional<QString> foregroundCwd;
    std::optional<PaneScrollInfo> scroll;
    std::optional<std::map<QString, QString>> tokens;

    // A copy with only the status replaced.
    PaneInfo with(AgentStatus status) const;
    // The value of a pane token, if the pane has it.
    std::optional<QString> token(const QString& name) const;

    static Decoded<PaneInfo> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneInfo&) const = default;
};
