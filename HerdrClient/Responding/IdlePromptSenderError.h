#pragma once

#include "HerdrClient/Wire/AgentStatus.h"

#include <QString>

// Why a prompt for an idle agent was refused before anything was typed.
struct IdlePromptSenderError {
    enum class Kind { unreadablePane, paneNoLongerIdle };

    Kind kind = Kind::unreadablePane;
    QString paneID;
    AgentStatus status = AgentStatus::unknown; // paneNoLongerIdle

    static IdlePromptSenderError unreadablePane(QString paneID)
    {
        return {Kind::unreadablePane, std::move(paneID)};
    }
    static IdlePromptSenderError paneNoLongerIdle(QString paneID, AgentStatus status)
    {
        return {Kind::paneNoLongerIdle, std::move(paneID), status};
    }

    QString errorDescription() const;
    bool operator==(const IdlePromptSenderError&) const = default;
};
