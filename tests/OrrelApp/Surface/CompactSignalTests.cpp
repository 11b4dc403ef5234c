#include "OrrelApp/Surface/CompactSignal.h"
#include "OrrelApp/Surface/OrrelPresentation.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

const Timestamp start = Timestamp(std::chrono::seconds(1'800'000'000));

TEST(OrrelPresentation, ShapesCompareByContext)
{
    const auto manual = OrrelPresentation::focused({OrrelExpansionOrigin::manual, true});
    const auto automatic = OrrelPresentation::focused({OrrelExpansionOrigin::automatic, false});
    EXPECT_EQ(OrrelPresentation(), OrrelPresentation::compact());
    EXPECT_EQ(manual, OrrelPresentation::focused({OrrelExpansionOrigin::manual, true}));
    EXPECT_NE(manual, automatic);
    EXPECT_NE(manual, OrrelPresentation::focused({OrrelExpansionOrigin::manual, false}));
    EXPECT_NE(OrrelPresentation::overview(), OrrelPresentation::compact());

    EXPECT_FALSE(OrrelPresentation::compact().isExpanded());
    EXPECT_TRUE(automatic.isExpanded());
    EXPECT_EQ(automatic.focusContext()->origin, OrrelExpansionOrigin::automatic);
    EXPECT_FALSE(OrrelPresentation::overview().focusContext());
}

TEST(CompactSignalTracker, EachNewReasonToLookRaisesTheRevisionOnce)
{
    using enum RollupStatus;
    CompactSignalTracker tracker;
    tracker.update(working, false, false, start);
    EXPECT_EQ(tracker.status, working);
    EXPECT_EQ(tracker.enteredAt, start);
    EXPECT_EQ(tracker.triggerRevision, 1);

    // Nothing new: the time since entering keeps counting.
    tracker.update(working, true, true, start + 5s);
    EXPECT_EQ(tracker.enteredAt, start);
    EXPECT_EQ(tracker.triggerRevision, 1);

    // Turning blocked with the pane that did it counts once, not twice.
    tracker.update(blocked, true, false, start + 10s);
    EXPECT_EQ(tracker.enteredAt, start + 10s);
    EXPECT_EQ(tracker.triggerRevision, 2);

    // A second pane turning blocked while already blocked.
    tracker.update(blocked, true, false, start + 20s);
    EXPECT_EQ(tracker.enteredAt, start + 20s);
    EXPECT_EQ(tracker.triggerRevision, 3);
    tracker.update(blocked, false, true, start + 30s);
    EXPECT_EQ(tracker.enteredAt, start + 20s);
    EXPECT_EQ(tracker.triggerRevision, 3);

    tracker.update(done, false, true, start + 40s);
    tracker.update(done, false, true, start + 50s);
    EXPECT_EQ(tracker.enteredAt, start + 50s);
    EXPECT_EQ(tracker.triggerRevision, 5);
    tracker.update(done, true, false, start + 55s);
    EXPECT_EQ(tracker.triggerRevision, 5);
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
