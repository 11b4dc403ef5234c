#include "SSHTunnelTestSupport.h"

#include "HerdrClient/Wire/HerdrClient.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/SSHTestServer.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;
using Kind = SSHTunnelState::Kind;

namespace {

bool acceptsConnections(std::uint16_t port)
{
    const int fd = loopbackSocket(port, false);
    if (fd >= 0)
        ::close(fd);
    return fd >= 0;
}

// A fake herdr on a Unix socket, reached through a real sshd on this machine.
class SSHTunnelThroughOpenSSH : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!QFileInfo(QString::fromLatin1(SSHTestServer::sshdPath)).isExecutable())
            GTEST_SKIP() << "no sshd at " << SSHTestServer::sshdPath;
        ASSERT_TRUE(sshd.start()) << sshd.lastError().toStdString();
        herdr.setHandler(u"ping"_s, [](const FakeRequest&) {
            return FakeReply::result(JSONValue::object({{u"version"_s, u"0.8.0"_s}}));
        });
        ASSERT_TRUE(herdr.start()) << herdr.lastError().toStdString();
        const auto port = SSHTunnel::availableLoopbackPort();
        ASSERT_TRUE(port.has_value());
        configuration = {SSHTestServer::hostAlias(), herdr.socketPath(), *port};
    }

    void TearDown() override
    {
        subject.reset();
        settleEvents();
        clock.advance(Seconds(3600));
        settleEvents();
    }

    // The clock runs ahead while real ssh starts, so only a test about the deadline has one.
    void startTunnel(QString sshPath, double readinessTimeout = 1e6)
    {
        SSHTunnelOptions options;
        options.readinessTimeout = readinessTimeout;
        options.clock = clock.clock();
        subject =
            std::make_unique<SSHTunnel>(configuration, std::move(sshPath), std::move(options));
        subject->start(published.callback());
    }

    bool pingThroughTunnel()
    {
        HerdrClient client(subject->endpoint(), 5.0);
        return runTask(client.ping(), std::chrono::seconds(10));
    }

    SSHTestServer sshd;
    FakeHerdrServer herdr;
    SSHTunnelConfiguration configuration;
    ManualClock clock;
    PublishedStates published;
    std::unique_ptr<SSHTunnel> subject;
};

TEST_F(SSHTunnelThroughOpenSSH, HerdrAnswersThroughTheTunnelAgainAfterSSHIsKilled)
{
    startTunnel(sshd.sshWrapper());
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::up); },
                                   std::chrono::seconds(30), &clock))
        << subject->state().reason.toStdString();
    EXPECT_EQ(published.kinds(), (std::vector{Kind::connecting, Kind::up}));
    herdr.clearRequests();
    EXPECT_TRUE(pingThroughTunnel());
    EXPECT_EQ(herdr.requestsFor(u"ping"_s).size(), 1u);

    ASSERT_TRUE(subject->processID().has_value());
    const pid_t first = *subject->processID();
    ::kill(first, SIGKILL);
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::up, 2); },
                                   std::chrono::seconds(30), &clock))
        << subject->state().reason.toStdString();
    EXPECT_EQ(published.states[2],
              SSHTunnelState::failed(u"The SSH tunnel to tunnel-test-host exited (status 137)."_s));
    EXPECT_NE(*subject->processID(), first);
    EXPECT_TRUE(processIsGone(first));
    EXPECT_TRUE(pingThroughTunnel());

    const pid_t second = *subject->processID();
    subject->stop();
    EXPECT_TRUE(processIsGone(second));
    EXPECT_FALSE(acceptsConnections(configuration.localPort));
}

TEST_F(SSHTunnelThroughOpenSSH, RefusedKeysAndUnknownHostsAreWorded)
{
    struct Case {
        SSHTestServer::ClientKey key;
        SSHTestServer::HostKey host;
        QString reason;
    };
    const Case cases[] = {
        {SSHTestServer::ClientKey::unauthorized, SSHTestServer::HostKey::known,
         u"SSH couldn't authenticate to tunnel-test-host. Load your key with `ssh-add`, or check "
         u"your ~/.ssh/config."_s},
        {SSHTestServer::ClientKey::authorized, SSHTestServer::HostKey::unknown,
         u"SSH tunnel to tunnel-test-host failed: No ED25519 host key is known for "
         u"[127.0.0.1]:%1 and you have requested strict checking.\nHost key verification failed."_s
             .arg(sshd.port())},
    };
    for (const auto& c : cases) {
        published = {};
        startTunnel(sshd.sshWrapper(c.key, c.host));
        ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::failed); },
                                       std::chrono::seconds(30), &clock));
        EXPECT_EQ(subject->state().reason, c.reason);
        EXPECT_FALSE(published.reached(Kind::up));
        subject.reset();
    }
}

TEST_F(SSHTunnelThroughOpenSSH, APortTakenByAnotherProgramFailsTheRunAndTriesAgain)
{
    const int taken = loopbackSocket(configuration.localPort, true);
    ASSERT_GE(taken, 0);

    startTunnel(sshd.sshWrapper());
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::connecting, 2); },
                                   std::chrono::seconds(30), &clock));
    EXPECT_EQ(published.states[1],
              SSHTunnelState::failed(u"SSH connected to tunnel-test-host but couldn't forward the "
                                     u"herdr socket. Is herdr running there?"_s));
    EXPECT_FALSE(published.reached(Kind::up));
    ::close(taken);
}

TEST_F(SSHTunnelThroughOpenSSH, AMissingRemoteSocketEndsAtTheReadinessDeadline)
{
    configuration.remoteSocketPath = sshd.directory() + u"/no-herdr-here.sock"_s;
    startTunnel(sshd.sshWrapper(), 15);
    // Time moves only once ssh forwards, so that the deadline passes with ssh connected.
    ASSERT_TRUE(processEventsUntil([&] { return acceptsConnections(configuration.localPort); },
                                   std::chrono::seconds(30)));
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::failed); },
                                   std::chrono::seconds(30), &clock));
    EXPECT_EQ(subject->state().reason,
              u"SSH connected to tunnel-test-host, but its server or proxy refused Unix-socket "
              u"forwarding."_s);
}

} // namespace
