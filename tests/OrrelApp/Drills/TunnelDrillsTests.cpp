// A remote session through a real `ssh` to a real sshd on this machine, whose tunnel fails: its
// ssh is killed, or its loopback port is held by another program. The session says that herdr
// cannot be reached there, never hangs and never sends a key, and is itself again one poll
// period after the tunnel is back.
#include "tests/HerdrClient/Sessions/SSHTunnelTestSupport.h"
#include "tests/OrrelApp/Drills/DrillFixture.h"
#include "tests/support/SSHTestServer.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = SSHTunnelState::Kind;

namespace {

class TunnelDrill : public RuntimeDrill {
protected:
    // What a visible remote session waits between polls while herdr cannot be reached.
    static constexpr double remoteUnavailablePollPeriod = 2.0;

    void SetUp() override
    {
        RuntimeDrill::SetUp();
        requestTimeout = 3.0; // each request is a new connection through ssh and sshd
        if (!QFileInfo(QString::fromLatin1(SSHTestServer::sshdPath)).isExecutable())
            GTEST_SKIP() << "no sshd at " << SSHTestServer::sshdPath;
        ASSERT_TRUE(sshd.start()) << sshd.lastError().toStdString();
        const auto port = SSHTunnel::availableLoopbackPort();
        ASSERT_TRUE(port.has_value());
        configuration = {SSHTestServer::hostAlias(), server.socketPath(), *port};
    }

    void TearDown() override
    {
        tunnel.reset();
        settleEvents();
        tunnelClock.advance(Seconds(3600));
        settleEvents();
        RuntimeDrill::TearDown();
    }

    // The clock runs ahead while ssh starts, so the readiness deadline is out of reach.
    void startTunnel()
    {
        SSHTunnelOptions options;
        options.readinessTimeout = 1e6;
        options.clock = tunnelClock.clock();
        tunnel = std::make_unique<SSHTunnel>(configuration, sshd.sshWrapper(), std::move(options));
        tunnel->start(published.callback());
    }

    bool tunnelReached(Kind kind, std::size_t times = 1)
    {
        return processEventsUntil([&] { return published.reached(kind, times); }, 30s,
                                  &tunnelClock);
    }

    void startSession()
    {
        makeDrilled(tunnel->endpoint(),
                    {SessionDescriptor::Kind::remote(SSHTestServer::hostAlias(), u"default"_s), {}})
            .start(&host);
        ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
        runtime->startEventTask(true);
    }

    void expectUnreachableThere()
    {
        EXPECT_EQ(runtime->connection(), SessionRuntime::Connection::unavailable);
        EXPECT_EQ(runtime->errorText(),
                  u"Couldn't reach herdr on tunnel-test-host — is it running there?"_s);
    }

    SSHTestServer sshd;
    SSHTunnelConfiguration configuration;
    ManualClock tunnelClock;
    PublishedStates published;
    std::unique_ptr<SSHTunnel> tunnel;
};

TEST_F(TunnelDrill, TheTunnelsSSHKilled)
{
    startTunnel();
    ASSERT_TRUE(tunnelReached(Kind::up)) << tunnel->state().reason.toStdString();
    startSession();
    expectConnected();
    ASSERT_TRUE(server.waitForSubscribers(1, 10s));

    ASSERT_TRUE(tunnel->processID().has_value());
    ::kill(*tunnel->processID(), SIGKILL);
    ASSERT_TRUE(server.waitForSubscribersAtMost(0, 10s)) << "the stream through ssh ended";
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::failed); }, 10s));
    // The tunnel waits on its own clock before it tries again: until then nothing listens.
    nextPoll();
    expectUnreachableThere();
    EXPECT_EQ(runtime->store().panes().size(), 3u);

    ASSERT_TRUE(tunnelReached(Kind::up, 2)) << tunnel->state().reason.toStdString();
    EXPECT_EQ(nextPoll(), remoteUnavailablePollPeriod);
    expectConnected();
    EXPECT_EQ(nextStreamAttempt(), 0.25);
    ASSERT_TRUE(server.waitForSubscribers(1, 10s));
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(TunnelDrill, TheTunnelsPortTakenByAnotherProgram)
{
    // Another program listens on the port and never accepts: connections to it hang there.
    const int taken = loopbackSocket(configuration.localPort, true);
    ASSERT_GE(taken, 0);
    startTunnel();
    ASSERT_TRUE(tunnelReached(Kind::failed));
    EXPECT_EQ(tunnel->state().reason,
              u"SSH connected to tunnel-test-host but couldn't forward the herdr socket. Is herdr "
              u"running there?"_s);
    startSession();
    expectUnreachableThere();
    EXPECT_TRUE(runtime->store().panes().empty());

    ::close(taken);
    // The stream that sat on the other program's backlog is cut off; its next try finds nothing
    // there while the tunnel waits out its pause.
    EXPECT_EQ(nextStreamAttempt(), 0.25);
    EXPECT_TRUE(streamClock.waitForSleepRequests(2, 10s));
    ASSERT_TRUE(tunnelReached(Kind::up)) << tunnel->state().reason.toStdString();
    EXPECT_EQ(nextPoll(), remoteUnavailablePollPeriod);
    expectConnected();
    // That poll found panes the running subscription does not follow: the pass ends, and the
    // next one subscribes through the tunnel after its short pause.
    ASSERT_TRUE(processEventsUntil([&] { return server.subscriberCount() == 1; }, 10s, &clock,
                                   Seconds(0.5)));
    EXPECT_EQ(keysSent(), 0u);
}

} // namespace
