#include "OrrelApp/Surface/CompactSignal.h"

#include <algorithm>

void CompactSignalTracker::update(RollupStatus overall, bool newlyBlocked, bool newlyFinished,
                                  Timestamp now)
{
    const bool changed = status != overall;
    if (changed) {
        status = overall;
        enteredAt = now;
        ++triggerRevision;
    }
    const bool joined = (overall == RollupStatus::blocked && newlyBlocked)
                        || (overall == RollupStatus::done && newlyFinished);
    if (joined) {
        enteredAt = now;
        if (!changed)
            ++triggerRevision;
    }
}

CompactSignalSnapshot CompactSignalSnapshot::make(const CompactSignalTracker& tracker,
                                                  RollupStatus overall, qint64 matchingCount,
                                                  qint64 agentCount)
{
    return CompactSignalSnapshot{overall, matchingCount < 1 ? agentCount : matchingCount,
                                 tracker.status == overall ? tracker.enteredAt : std::nullopt,
                                 tracker.triggerRevision};
}

CompactSignalStyle CompactSignalStyle::resolve(const CompactSignalSnapshot& snapshot, Timestamp now)
{
    if (snapshot.enteredAt) {
        const double elapsed = std::max(0.0, secondsBetween(*snapshot.enteredAt, now));
        const bool faded = (snapshot.status == RollupStatus::done && elapsed >= 60.0)
                           || (snapshot.status == RollupStatus::idle && elapsed >= 10.0);
        if (faded)
            return {snapshot.status, 28, 0.3};
    }
    const auto count = std::clamp<qint64>(snapshot.count, 1, 5);
    return {snapshot.status, 40.0 + 6.0 * double(count - 1), 1.0};
}
