#include "tests/OrrelApp/Sessions/SessionRegistryFixture.h"

namespace {

ResolvedSession local(const QString& name, bool isDefault = false)
{
    const QString path = u"/nowhere/"_s + name + u".sock"_s;
    return {{SessionDescriptor::Kind::local(name), path, isDefault, true},
            HerdrEndpoint::unixSocket(path)};
}

ResolvedSession remote(const QString& target, const QString& name, std::uint16_t port)
{
    return {{SessionDescriptor::Kind::remote(target, name), u"/remote/herdr.sock"_s,
             name == u"default"_s, true},
            HerdrEndpoint::loopbackTCP(port)};
}

QCoro::Task<> refreshThenMark(SessionRegistry& registry, SessionDirectory directory, bool& finished)
{
    co_await registry.refreshLocalSessions(std::move(directory));
    finished = true;
}

TEST_F(SessionRegistryTest, DiscoveryFindsTheRunningSessionsAndTheirRuntimesConnect)
{
    auto sessions = bothSessions();
    sessions.push_back({u"stopped"_s, u"/nowhere/stopped.sock"_s, false});
    herdr.list(sessions);
    makeRegistry().start(&host);
    int changed = 0;
    QObject::connect(registry.get(), &SessionRegistry::runtimesChanged, [&] { ++changed; });

    runTask(registry->refreshLocalSessions(directory()));

    EXPECT_EQ(runtimeIDs(), (std::vector{u"local:default"_s, u"local:work"_s}));
    EXPECT_EQ(changed, 1);
    EXPECT_FALSE(registry->discoveryError().has_value());
    ASSERT_EQ(registry->localSessions().size(), 2u);
    EXPECT_EQ(registry->localSessions()[1].endpoint,
              HerdrEndpoint::unixSocket(servers[1].socketPath()));
    ASSERT_TRUE(processEventsUntil([&] { return allConnected(); }, std::chrono::seconds(20)));
    for (auto& server : servers)
        EXPECT_TRUE(server.waitForSubscribers(1, std::chrono::seconds(5)));

    // The same listing again changes nothing: the runtimes stay, with what they know.
    SessionRuntime* first = registry->runtime(u"local:default"_s);
    runTask(registry->refreshLocalSessions(directory()));
    EXPECT_EQ(registry->runtime(u"local:default"_s), first);
    EXPECT_EQ(changed, 1);
    EXPECT_TRUE(host.removed.empty());
}

TEST_F(SessionRegistryTest, AnIgnoredSessionLosesItsRuntimeAndGetsItBackWhenNoLongerIgnored)
{
    makeRegistry().start(&host);
    registry->setIgnoredLocalSessionNames({u"work"_s});
    runTask(registry->refreshLocalSessions(directory()));
    EXPECT_EQ(runtimeIDs(), std::vector{u"local:default"_s});

    registry->setIgnoredLocalSessionNames({});
    EXPECT_EQ(runtimeIDs(), (std::vector{u"local:default"_s, u"local:work"_s}));

    registry->setIgnoredLocalSessionNames({u"work"_s});
    EXPECT_EQ(runtimeIDs(), std::vector{u"local:default"_s});
    EXPECT_EQ(host.removed, std::vector{u"local:work"_s});
}

TEST_F(SessionRegistryTest, AFailedListingIsWordedAndKeepsTheSessionsKnownBefore)
{
    makeRegistry().start(&host);
    runTask(registry->refreshLocalSessions(directory()));
    ASSERT_EQ(registry->runtimes().size(), 2u);
    int errors = 0;
    QObject::connect(registry.get(), &SessionRegistry::discoveryErrorChanged, [&] { ++errors; });

    struct Case {
        std::function<void()> breakHerdr;
        QString error;
    };
    const QString herdrPath = herdr.path();
    const std::vector<Case> cases = {
        {[&] { herdr.printGarbage("Segmentation fault\n"); },
         u"Unexpected session list output: Segmentation fault"_s},
        {[&] { herdr.printGarbage(R"({"version":"0.8.0"})"); },
         u"Unexpected session list output: no \"sessions\" array in output"_s},
        {[&] { herdr.fail(1, "error: config file is not valid TOML\n"); },
         u"error: config file is not valid TOML"_s},
        {[&] { herdr.fail(3, ""); }, u"exited with status 3"_s},
        {[&] { herdr.hang(); },
         u"Couldn't run %1: it did not finish within 0.5 seconds and was stopped."_s.arg(
             herdrPath)},
    };
    for (const Case& c : cases) {
        c.breakHerdr();
        SessionDirectory impatient(std::make_shared<ProcessCommandRunner>(), herdrPath,
                                   std::nullopt, {}, SessionListingDeadlines{0.5, 0.5});
        runTask(registry->refreshLocalSessions(impatient));
        EXPECT_EQ(registry->discoveryError(), c.error);
        EXPECT_EQ(registry->localDiscoveryError(), c.error);
        EXPECT_EQ(runtimeIDs(), (std::vector{u"local:default"_s, u"local:work"_s}));
        EXPECT_EQ(registry->localSessions().size(), 2u);
    }
    EXPECT_EQ(errors, int(cases.size()));
    EXPECT_TRUE(host.removed.empty());

    SessionDirectory withoutHerdr(std::make_shared<ProcessCommandRunner>(), std::nullopt,
                                  std::nullopt, {});
    runTask(registry->refreshLocalSessions(withoutHerdr));
    EXPECT_EQ(registry->discoveryError(),
              u"Couldn't find the herdr command. Check that it's installed."_s);

    herdr.list(bothSessions());
    runTask(registry->refreshLocalSessions(directory()));
    EXPECT_FALSE(registry->discoveryError().has_value());
    EXPECT_EQ(errors, int(cases.size()) + 2);
}

TEST_F(SessionRegistryTest, ASessionThatStopsLosesItsRuntimeAndTheHostIsTold)
{
    makeRegistry().start(&host);
    runTask(registry->refreshLocalSessions(directory()));
    auto sessions = bothSessions();
    sessions[1].running = false;
    herdr.list(sessions);
    runTask(registry->refreshLocalSessions(directory()));
    EXPECT_EQ(runtimeIDs(), std::vector{u"local:default"_s});
    EXPECT_EQ(host.removed, std::vector{u"local:work"_s});
    // The ended runtime lets go of its stream.
    EXPECT_TRUE(servers[1].waitForSubscribersAtMost(0, std::chrono::seconds(5)));
}

TEST_F(SessionRegistryTest, RuntimesAreSortedLocalFirstWithTheDefaultOneAhead)
{
    makeRegistry().apply({remote(u"box"_s, u"zz"_s, 4001), local(u"zeta"_s),
                          remote(u"alpha"_s, u"default"_s, 4002), local(u"default"_s, true),
                          local(u"beta"_s)});
    EXPECT_EQ(runtimeIDs(), (std::vector{u"local:default"_s, u"local:beta"_s, u"local:zeta"_s,
                                         u"ssh:alpha/default"_s, u"ssh:box/zz"_s}));
    // A runtime that was not started has no tasks to stop.
    for (const SessionRuntime* runtime : registry->runtimes())
        EXPECT_FALSE(runtime->isPolling());
}

TEST_F(SessionRegistryTest, ApplyReplacesARuntimeWhoseEndpointMovedAndAnEmptyListEndsAll)
{
    makeRegistry().start(&host);
    registry->apply({local(u"default"_s, true), remote(u"box"_s, u"work"_s, 4001)});
    SessionRuntime* before = registry->runtime(u"ssh:box/work"_s);
    ASSERT_NE(before, nullptr);
    EXPECT_TRUE(before->isPolling());

    registry->apply({local(u"default"_s, true), remote(u"box"_s, u"work"_s, 4002)});
    const SessionRuntime* after = registry->runtime(u"ssh:box/work"_s);
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(after->endpoint(), HerdrEndpoint::loopbackTCP(4002));
    EXPECT_TRUE(after->isPolling());
    EXPECT_EQ(host.removed, std::vector{u"ssh:box/work"_s});

    int changed = 0;
    QObject::connect(registry.get(), &SessionRegistry::runtimesChanged, [&] { ++changed; });
    registry->apply({});
    EXPECT_TRUE(registry->runtimes().empty());
    EXPECT_EQ(registry->runtime(u"local:default"_s), nullptr);
    EXPECT_EQ(changed, 1);
    std::ranges::sort(host.removed);
    EXPECT_EQ(host.removed,
              (std::vector{u"local:default"_s, u"ssh:box/work"_s, u"ssh:box/work"_s}));
}

TEST_F(SessionRegistryTest, OnlyTheSessionInFrontFollowsEachPaneWhenSeveralAreOpen)
{
    makeRegistry().start(&host);
    registry->apply({local(u"default"_s, true)});
    // Alone, a session follows each pane whatever the host says.
    EXPECT_EQ(registry->runtime(u"local:default"_s)->eventIncludesPerPaneStatus(), true);

    registry->apply({local(u"default"_s, true), local(u"work"_s)});
    EXPECT_EQ(registry->runtime(u"local:default"_s)->eventIncludesPerPaneStatus(), false);
    EXPECT_EQ(registry->runtime(u"local:work"_s)->eventIncludesPerPaneStatus(), false);

    host.perPane = {u"local:work"_s};
    registry->refreshEventSubscriptionPolicies();
    EXPECT_EQ(registry->runtime(u"local:default"_s)->eventIncludesPerPaneStatus(), false);
    EXPECT_EQ(registry->runtime(u"local:work"_s)->eventIncludesPerPaneStatus(), true);

    host.perPane = {};
    registry->apply({local(u"work"_s)});
    EXPECT_EQ(registry->runtime(u"local:work"_s)->eventIncludesPerPaneStatus(), true);
}

TEST_F(SessionRegistryTest, StartBeginsTheRuntimesMadeBeforeAndStopEndsThemAll)
{
    makeRegistry();
    runTask(registry->refreshLocalSessions(directory()));
    ASSERT_EQ(registry->runtimes().size(), 2u);
    EXPECT_FALSE(registry->runtimes()[0]->isPolling());

    registry->start(&host);
    EXPECT_TRUE(registry->isStarted());
    for (const SessionRuntime* runtime : registry->runtimes()) {
        EXPECT_TRUE(runtime->isPolling());
        EXPECT_EQ(runtime->eventIncludesPerPaneStatus(), false);
    }
    ASSERT_TRUE(processEventsUntil([&] { return allConnected(); }, std::chrono::seconds(20)));

    registry->stop();
    EXPECT_FALSE(registry->isStarted());
    EXPECT_TRUE(registry->runtimes().empty());
    for (auto& server : servers)
        EXPECT_TRUE(server.waitForSubscribersAtMost(0, std::chrono::seconds(5)));
}

TEST_F(SessionRegistryTest, ARefreshThatOverlapsStopAppliesNothing)
{
    makeRegistry().start(&host);
    herdr.hang();
    SessionDirectory slow(std::make_shared<ProcessCommandRunner>(), herdr.path(), std::nullopt, {},
                          SessionListingDeadlines{0.5, 0.5});
    bool finished = false;
    auto refreshing = refreshThenMark(*registry, slow, finished);
    ASSERT_TRUE(processEventsUntil([&] { return herdr.runCount() == 1; }));
    registry->stop();
    ASSERT_TRUE(processEventsUntil([&] { return finished; }));
    EXPECT_FALSE(registry->discoveryError().has_value());
    EXPECT_TRUE(registry->runtimes().empty());
}

TEST_F(SessionRegistryTest, ARemoteSessionKeepsItsPortAndNoFreePortIsWorded)
{
    SessionRegistry::Options with = options();
    std::vector<std::uint16_t> offered = {5001, 5001, 5002};
    with.allocatePort = [&]() -> std::expected<std::uint16_t, SSHTunnelError> {
        const std::uint16_t port = offered.empty() ? 5001 : offered.front();
        if (!offered.empty())
            offered.erase(offered.begin());
        return port;
    };
    makeRegistry(std::move(with));
    const auto box = remote(u"box"_s, u"default"_s, 0).descriptor;
    const auto work = remote(u"box"_s, u"work"_s, 0).descriptor;
    const auto other = remote(u"box"_s, u"other"_s, 0).descriptor;

    EXPECT_EQ(registry->resolvedRemoteSession(box)->endpoint, HerdrEndpoint::loopbackTCP(5001));
    // A port already given to another session is skipped.
    EXPECT_EQ(registry->resolvedRemoteSession(work)->endpoint, HerdrEndpoint::loopbackTCP(5002));
    EXPECT_EQ(registry->resolvedRemoteSession(box)->endpoint, HerdrEndpoint::loopbackTCP(5001));

    const auto exhausted = registry->resolvedRemoteSession(other);
    ASSERT_FALSE(exhausted.has_value());
    EXPECT_EQ(exhausted.error().errorDescription(),
              u"Couldn't allocate a private loopback port for the SSH tunnel (errno 48)."_s);
    EXPECT_FALSE(registry->remotePorts().contains(other.id()));
}

TEST_F(SessionRegistryTest, TunnelsFollowTheirSessionsAndLateWordFromAReplacedOneIsIgnored)
{
    SessionRegistry::Options with = options();
    std::vector<SSHTunnel::Configuration> made;
    // Without ssh every run fails at once, with its reason, and no process.
    with.makeTunnel = [&](const SSHTunnel::Configuration& configuration) {
        made.push_back(configuration);
        return std::make_unique<SSHTunnel>(configuration, std::nullopt);
    };
    makeRegistry(std::move(with)).start(&host);
    const ResolvedSession work = remote(u"box"_s, u"work"_s, 5001);
    const QString id = work.descriptor.id();

    registry->reconcileTunnels({work});
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0], (SSHTunnel::Configuration{u"box"_s, u"/remote/herdr.sock"_s, 5001}));
    EXPECT_EQ(registry->tunnelStates().at(id), SSHTunnelState::connecting());
    ASSERT_TRUE(processEventsUntil([&] { return !registry->pendingTunnelMessages().isEmpty(); }));
    EXPECT_EQ(registry->pendingTunnelMessages(), QStringList{u"Couldn't find the ssh command."_s});

    // The same session: the same tunnel. A moved socket: a new one.
    SSHTunnel* first = registry->tunnel(id);
    registry->reconcileTunnels({work});
    EXPECT_EQ(registry->tunnel(id), first);
    ResolvedSession moved = work;
    moved.descriptor.serverSocketPath = u"/elsewhere/herdr.sock"_s;
    registry->reconcileTunnels({moved});
    ASSERT_EQ(made.size(), 2u);
    EXPECT_EQ(registry->tunnelStates().at(id), SSHTunnelState::connecting());

    registry->tunnelDidChangeState(id, first, SSHTunnelState::up());
    EXPECT_EQ(registry->tunnelStates().at(id), SSHTunnelState::connecting());
    EXPECT_TRUE(registry->runtimes().empty());
    ASSERT_TRUE(processEventsUntil([&] { return !registry->pendingTunnelMessages().isEmpty(); }));

    // Only an up tunnel brings its session's runtime; a session no longer known loses both.
    registry->tunnelDidChangeState(id, registry->tunnel(id), SSHTunnelState::up());
    EXPECT_TRUE(registry->runtimes().empty()); // not a known remote session
    registry->reconcileTunnels({});
    EXPECT_EQ(registry->tunnel(id), nullptr);
    EXPECT_TRUE(registry->tunnelStates().empty());
}

} // namespace
