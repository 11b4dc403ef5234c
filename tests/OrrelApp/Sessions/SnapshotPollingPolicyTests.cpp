#include "OrrelApp/Sessions/SnapshotPollingPolicy.h"

#include <gtest/gtest.h>

namespace {

TEST(SnapshotPollingPolicy, FirstMatchingSituationDecides)
{
    using Context = SnapshotPollingPolicy::SessionContext;
    const Context visibleLocal = Context::visibleLocal();
    const Context visibleRemote{true, true};
    const Context hiddenLocal{false, false};
    const Context hiddenRemote{false, true};
    struct Case {
        bool expanded, blocked, working, unavailable;
        Context context;
        quint64 nanoseconds;
    };
    const std::vector<Case> cases = {
        {false, false, false, false, hiddenRemote, 7'500'000'000},
        {false, false, false, false, hiddenLocal, 5'000'000'000},
        {false, false, false, false, visibleRemote, 5'000'000'000},
        {false, false, false, false, visibleLocal, 2'500'000'000},
        {true, true, true, true, visibleLocal, 1'000'000'000},
        {false, false, false, true, visibleRemote, 2'000'000'000},
        {false, false, false, true, hiddenLocal, 2'000'000'000},
        {false, true, true, true, hiddenRemote, 3'000'000'000},
        // Expanded speeds up a visible session even with nothing blocked...
        {true, false, false, false, visibleLocal, 650'000'000},
        {true, false, true, false, visibleRemote, 1'300'000'000},
        // ...and changes nothing for one out of sight.
        {true, false, false, false, hiddenLocal, 5'000'000'000},
        {true, false, true, false, hiddenRemote, 3'600'000'000},
        {false, true, true, false, visibleLocal, 650'000'000},
        {false, true, false, false, hiddenLocal, 1'300'000'000},
        {false, true, false, false, hiddenRemote, 1'950'000'000},
        {false, false, true, false, visibleLocal, 1'200'000'000},
        {false, false, true, false, visibleRemote, 2'400'000'000},
        {false, false, true, false, hiddenLocal, 2'400'000'000},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SnapshotPollingPolicy::nanoseconds(c.expanded, c.blocked, c.working,
                                                     c.unavailable, c.context),
                  c.nanoseconds)
            << c.expanded << c.blocked << c.working << c.unavailable << " visible "
            << c.context.isVisible << " remote " << c.context.isRemote;
    }
}

} // namespace
