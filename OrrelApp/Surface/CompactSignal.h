#pragma once

#include "HerdrClient/State/RollupStatus.h"
#include "HerdrClient/Support/Clock.h"

#include <optional>

// Remembers since when the pill has shown its status, and counts the moments it should draw the
// eye again: a new status, or another pane joining a blocked or finished one.
struct CompactSignalTracker {
    std::optional<RollupStatus> status;
    std::optional<Timestamp> enteredAt;
    qint64 triggerRevision = 0;

    void update(RollupStatus overall, bool newlyBlocked, bool newlyFinished, Timestamp now);

    bool operator==(const CompactSignalTracker&) const = default;
};

// What the pill shows at one moment.
struct CompactSignalSnapshot {
    RollupStatus status = RollupStatus::unknown;
    qint64 count = 0;
    std::optional<Timestamp> enteredAt;
    qint64 triggerRevision = 0;

    // `matchingCount` panes have the overall status; when none does, the pill counts all
    // `agentCount` agents. The tracker's time counts only while it tracks the same status.
    static CompactSignalSnapshot make(const CompactSignalTracker& tracker, RollupStatus overall,
                                      qint64 matchingCount, qint64 agentCount);

    bool operator==(const CompactSignalSnapshot&) const = default;
};

// How the pill is drawn: wider with more agents, and faded once a finished or idle state has
// been on show for a while.
struct CompactSignalStyle {
    RollupStatus visualStatus = RollupStatus::unknown;
    double width = 40;
    double opacity = 1.0;

    static CompactSignalStyle resolve(const CompactSignalSnapshot& snapshot, Timestamp now);

    bool operator==(const CompactSignalStyle&) const = default;
};
