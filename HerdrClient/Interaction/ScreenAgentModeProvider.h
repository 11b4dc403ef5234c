#pragma once

#include "HerdrClient/Interaction/AgentMode.h"
#include "HerdrClient/Interaction/PaneTextReader.h"

#include <expected>
#include <optional>

// What a read of an agent's mode gave: a mode, no mode on the screen, or a failed read. The
// session keeps the last mode it knew when a read fails, and forgets it when the screen shows
// none.
using AgentModeReading = std::expected<std::optional<AgentMode>, RequestFailure>;

// The permission mode an agent shows in its status line, read from the bottom of its screen.
// A read may outlive the provider; once the client has ended it fails as a closed connection.
class ScreenAgentModeProvider {
public:
    explicit ScreenAgentModeProvider(RequestSending& client) : m_reader(client) {}

    // Reads nothing for an agent whose screen names no mode (see `detectMode`).
    QCoro::Task<AgentModeReading> mode(QString paneID, QString agentID) const;

    // Only the agents of `AgentModeCycling` name their mode. The lowest line that names one wins:
    // the status line stands at the bottom, and transcript text above it may quote any mode.
    static std::optional<AgentMode> detectMode(QStringView agentID, const QString& terminalText);

private:
    PaneTextReader m_reader;
};
