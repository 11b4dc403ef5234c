#include "OrrelApp/Sessions/SessionDiscoveryLoop.h"
#include "tests/OrrelApp/Sessions/SessionRegistryFixture.h"

#include <algorithm>

namespace {

class SessionDiscoveryLoopTest : public SessionRegistryTest {
protected:
    SessionDiscoveryLoop& startLoop(SessionDiscoveryLoop::RemoteHosts remoteHosts = {})
    {
        makeRegistry().start(&host);
        auto made = std::make_unique<SessionDiscoveryLoop>(
            *registry, std::move(remoteHosts), [this] { return directory(); }, clock.clock());
        discovery = made.get();
        loop = std::move(made);
        discovery->start();
        return *discovery;
    }

    bool turnsReach(quint64 count)
    {
        return processEventsUntil([&] { return discovery->completedTurns() >= count; });
    }

    // The loop's pause is the only ten-second sleep on the clock.
    bool loopIsPaused() const
    {
        const auto sleeps = clock.requestedSleeps();
        return std::ranges::count(sleeps, SessionDiscoveryLoop::period.count()) > 0;
    }

    SessionDiscoveryLoop* discovery = nullptr;
};

TEST_F(SessionDiscoveryLoopTest, SessionsThatStopOrStartAreSeenWithinOnePeriod)
{
    startLoop();
    ASSERT_TRUE(turnsReach(1));
    EXPECT_EQ(runtimeIDs(), (std::vector{u"local:default"_s, u"local:work"_s}));
    ASSERT_TRUE(processEventsUntil([&] { return loopIsPaused(); }));

    herdr.list({bothSessions()[0]});
    clock.advance(SessionDiscoveryLoop::period - Seconds(0.5));
    QCoreApplication::processEvents();
    EXPECT_EQ(discovery->completedTurns(), 1u);
    EXPECT_EQ(herdr.runCount(), 1);

    clock.advance(Seconds(0.5));
    ASSERT_TRUE(turnsReach(2));
    EXPECT_EQ(runtimeIDs(), std::vector{u"local:default"_s});
    EXPECT_EQ(host.removed, std::vector{u"local:work"_s});

    herdr.list(bothSessions());
    clock.advance(SessionDiscoveryLoop::period);
    ASSERT_TRUE(turnsReach(3));
    EXPECT_EQ(runtimeIDs(), (std::vector{u"local:default"_s, u"local:work"_s}));
    ASSERT_TRUE(processEventsUntil([&] { return allConnected(); }));
}

TEST_F(SessionDiscoveryLoopTest, RefreshNowLooksAgainWithoutWaitingAndStopEndsTheLoop)
{
    startLoop();
    ASSERT_TRUE(turnsReach(1));
    herdr.list({bothSessions()[1]});
    discovery->refreshNow();
    ASSERT_TRUE(turnsReach(2));
    EXPECT_EQ(runtimeIDs(), std::vector{u"local:work"_s});

    discovery->stop();
    EXPECT_FALSE(discovery->isRunning());
    herdr.list(bothSessions());
    clock.advance(SessionDiscoveryLoop::period * 3);
    QCoreApplication::processEvents();
    EXPECT_EQ(herdr.runCount(), 2);
    EXPECT_EQ(discovery->completedTurns(), 2u);
}

TEST_F(SessionDiscoveryLoopTest, WithAListOfHostsEachTurnAsksThemAfterTheLocalSessions)
{
    int asked = 0;
    startLoop([&] {
        ++asked;
        return std::vector<RemoteHostConfiguration>{{u"-not-a-target"_s, std::nullopt}};
    });
    ASSERT_TRUE(turnsReach(1));
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(runtimeIDs(), (std::vector{u"local:default"_s, u"local:work"_s}));
    EXPECT_EQ(registry->remoteDiscoveryError(), u"Invalid SSH target: -not-a-target"_s);
    EXPECT_EQ(registry->discoveryError(), registry->remoteDiscoveryError());

    herdr.fail(1, "herdr: broken\n");
    clock.advance(SessionDiscoveryLoop::period);
    ASSERT_TRUE(turnsReach(2));
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(registry->discoveryError(), u"herdr: broken\nInvalid SSH target: -not-a-target"_s);
}

} // namespace
