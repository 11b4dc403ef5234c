#pragma once

#include <QString>

#include <vector>

// What one merge into the store changed that someone must react to. Both lists are sorted.
struct StateTransitionResult {
    std::vector<QString> newlyBlockedPaneIDs;
    std::vector<QString> newlyFinishedPaneIDs;

    bool operator==(const StateTransitionResult&) const = default;
};
