#include "OrrelApp/Surface/CompactSignal.h"
#include "OrrelApp/Surface/OrrelPresentation.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

const Timestamp start = Timestamp(std::chrono::seconds(1'800'000'000));

TEST(OrrelPresentation, DefaultsToThePillAndOnlyACardHasAContext)
{
    EXPECT_EQ(OrrelPresentation(), OrrelPresentation::compact());
    const OrrelFocusContext automatic{OrrelExpansionOrigin::automatic, false};
    EXPECT_EQ(OrrelPresentation::focused(automatic).focusContext(), automatic);
    EXPECT_FALSE(OrrelPresentation::overview().focusContext());
}

TEST(CompactSignalTracker, EachNewReasonToLookRaisesTheRevisionOnce)
{
    using enum RollupStatus;
    struct Step {
        RollupStatus status;
        bool newlyBlocked;
        bool newlyFinished;
        std::chrono::seconds at;
        std::chrono::seconds enteredAt;
        qint64 revision;
    };
    const std::vector<Step> steps = {
        {working, false, false, 0s, 0s, 1},
        {working, true, true, 5s, 0s, 1},    // nothing new: the time since entering keeps counting
        {blocked, true, false, 10s, 10s, 2}, // turning blocked with the pane that did it: once
        {blocked, true, false, 20s, 20s, 3}, // a second pane turning blocked
        {blocked, false, true, 30s, 20s, 3},
        {done, false, true, 40s, 40s, 4},
        {done, false, true, 50s, 50s, 5},
        {done, true, false, 55s, 50s, 5},
    };
    CompactSignalTracker tracker;
    for (const auto& step : steps) {
        tracker.update(step.status, step.newlyBlocked, step.newlyFinished, start + step.at);
        EXPECT_EQ(tracker.status, step.status) << step.at.count() << " s";
        EXPECT_EQ(tracker.enteredAt, start + step.enteredAt) << step.at.count() << " s";
        EXPECT_EQ(tracker.triggerRevision, step.revision) << step.at.count() << " s";
    }
}

TEST(CompactSignalSnapshot, CountAndTimeFollowTheCurrentStatus)
{
    CompactSignalTracker tracker;
    tracker.update(RollupStatus::blocked, true, false, start);
    EXPECT_EQ(CompactSignalSnapshot::make(tracker, RollupStatus::blocked, 2, 5),
              (CompactSignalSnapshot{RollupStatus::blocked, 2, start, 1}));
    // The tracker lags behind a status it has not seen yet: no time to fade by.
    EXPECT_EQ(CompactSignalSnapshot::make(tracker, RollupStatus::idle, 0, 3),
              (CompactSignalSnapshot{RollupStatus::idle, 3, std::nullopt, 1}));
}

TEST(CompactSignalStyle, WidthGrowsWithCountAndQuietStatesFade)
{
    struct Case {
        RollupStatus status;
        qint64 count;
        std::optional<Seconds> elapsed;
        double width;
        double opacity;
    };
    using enum RollupStatus;
    const std::vector<Case> cases = {
        {blocked, 0, 0s, 40, 1.0},    {blocked, 1, 0s, 40, 1.0},
        {blocked, 2, 0s, 46, 1.0},    {blocked, 3, 0s, 52, 1.0},
        {blocked, 4, 0s, 58, 1.0},    {blocked, 5, 0s, 64, 1.0},
        {blocked, 6, 0s, 64, 1.0},    {done, 2, Seconds(59.9), 46, 1.0},
        {done, 2, 60s, 28, 0.3},      {idle, 1, Seconds(9.9), 40, 1.0},
        {idle, 1, 10s, 28, 0.3},      {idle, 1, std::nullopt, 40, 1.0},
        {idle, 1, -30s, 40, 1.0}, // entered in the future counts as just now
        {blocked, 1, 3600s, 40, 1.0}, {working, 3, 3600s, 52, 1.0},
        {unknown, 1, 3600s, 40, 1.0},
    };
    for (const auto& c : cases) {
        CompactSignalSnapshot snapshot{c.status, c.count, std::nullopt, 0};
        const Timestamp now = start + 1h;
        if (c.elapsed)
            snapshot.enteredAt = now - std::chrono::duration_cast<Timestamp::duration>(*c.elapsed);
        const auto style = CompactSignalStyle::resolve(snapshot, now);
        EXPECT_EQ(style, (CompactSignalStyle{c.status, c.width, c.opacity}))
            << toString(c.status).toStdString() << " count " << c.count << " after "
            << (c.elapsed ? c.elapsed->count() : -1.0);
    }
}

} // namespace
