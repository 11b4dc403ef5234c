#pragma once

#include <QString>

#include <optional>

// What the session says about one pane in one cycle.
struct InteractionPaneSnapshot {
    QString paneID;
    std::optional<QString> agentID;
    // herdr's revision of the pane. Real herdr moves it with the title and tokens only, never
    // with screen output, so it is a hint and not a proof that the screen is unchanged.
    std::optional<quint64> revision;
    bool isBlocked = false;
    bool isWorking = false;

    bool operator==(const InteractionPaneSnapshot&) const = default;
};
