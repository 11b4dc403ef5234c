#pragma once

#include "HerdrClient/Wire/PaneInfo.h"

#include <QString>

// What the session says about one pane in one cycle, as far as its activity goes.
struct PaneActivitySnapshot {
    QString paneID;
    AgentStatus agentStatus = AgentStatus::unknown;
    // herdr's revision of the pane; it moves with the title and tokens, not with the screen.
    quint64 revision = 0;

    static PaneActivitySnapshot from(const PaneInfo& pane)
    {
        return {pane.paneID, pane.agentStatus, pane.revision};
    }

    bool operator==(const PaneActivitySnapshot&) const = default;
};
