#include "tests/OrrelApp/Sessions/SessionRegistryFixture.h"
#include "tests/support/SSHTestServer.h"

#include <QFile>
#include <QFileInfo>

#include <csignal>

namespace {

const QString unreachableHost = u"unreachable-test-host"_s;

// The two fake sessions on the far side of a real sshd on this machine, whose sessions find a
// fake `herdr` of their own first on PATH. Here nothing runs locally.
class SessionRegistryThroughSSH : public SessionRegistryTest {
protected:
    void SetUp() override
    {
        if (!QFileInfo(QString::fromLatin1(SSHTestServer::sshdPath)).isExecutable())
            GTEST_SKIP() << "no sshd at " << SSHTestServer::sshdPath;
        SessionRegistryTest::SetUp();
        herdr.list({});
        remoteHerdr.list(bothSessions());
        sshd.setSessionEnvironment(u"PATH"_s, remoteHerdr.directory() + u":/usr/bin:/bin"_s);
        // bash, started by sshd at the top level, would run the user's ~/.bashrc first; a shell
        // that believes it is nested does not, and the listing depends on nothing of the user's.
        sshd.setSessionEnvironment(u"SHLVL"_s, u"1"_s);
        ASSERT_TRUE(sshd.start()) << sshd.lastError().toStdString();
        ssh = sshWithAnUnreachableHost();
    }

    // The server's client configuration, and a host whose port nobody listens on.
    QString sshWithAnUnreachableHost()
    {
        QFile base(sshd.clientConfiguration(SSHTestServer::ClientKey::authorized,
                                            SSHTestServer::HostKey::known));
        EXPECT_TRUE(base.open(QIODevice::ReadOnly));
        const auto closedPort = SSHTunnel::availableLoopbackPort();
        EXPECT_TRUE(closedPort.has_value());
        const QByteArray config = base.readAll() + "Host " + unreachableHost.toUtf8()
                                  + "\n  HostName 127.0.0.1\n  Port "
                                  + QByteArray::number(closedPort.value_or(1)) + "\n";
        const QString configPath = sshd.directory() + u"/ssh_config_with_unreachable"_s;
        QFile file(configPath);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(config);
        file.close();
        return writeScript(configPath + u".ssh"_s, "exec " + QByteArray(SSHTestServer::sshPath)
                                                       + " -F '" + configPath.toUtf8()
                                                       + "' \"$@\"");
    }

    SessionRegistry& makeRemoteRegistry()
    {
        SessionRegistry::Options with = options();
        with.makeTunnel = [this](const SSHTunnel::Configuration& configuration) {
            return std::make_unique<SSHTunnel>(configuration, ssh);
        };
        makeRegistry(std::move(with)).start(&host);
        return *registry;
    }

    void refresh(std::vector<RemoteHostConfiguration> hosts)
    {
        runTask(registry->refresh(std::move(hosts), directory(ssh)), std::chrono::seconds(60));
    }

    static QString id(const QString& name)
    {
        return u"ssh:"_s + SSHTestServer::hostAlias() + u'/' + name;
    }

    bool reachable(const std::vector<QString>& ids)
    {
        return processEventsUntil([&] { return runtimeIDs() == ids && allConnected(); },
                                  std::chrono::seconds(60));
    }

    SSHTestServer sshd;
    FakeHerdrCommand remoteHerdr;
    QString ssh;
};

TEST_F(SessionRegistryThroughSSH, ARemoteSessionIsWatchedOnceItsTunnelIsUpAndKeepsItsPort)
{
    makeRemoteRegistry();
    refresh({{SSHTestServer::hostAlias(), std::nullopt}});
    ASSERT_EQ(registry->knownRemoteSessions().size(), 2u);
    const std::uint16_t workPort = registry->remotePorts().at(id(u"work"_s));
    EXPECT_NE(registry->remotePorts().at(id(u"default"_s)), workPort);
    EXPECT_EQ(registry->knownRemoteSessions().at(id(u"work"_s)).endpoint,
              HerdrEndpoint::loopbackTCP(workPort));
    EXPECT_FALSE(registry->discoveryError().has_value());

    ASSERT_TRUE(reachable({id(u"default"_s), id(u"work"_s)}));
    EXPECT_EQ(registry->tunnelStates().at(id(u"work"_s)), SSHTunnelState::up());
    EXPECT_EQ(registry->runtime(id(u"work"_s))->endpoint(), HerdrEndpoint::loopbackTCP(workPort));

    // Gone from the listing: no tunnel, no runtime, but the port stays reserved for it.
    remoteHerdr.list({bothSessions()[0]});
    refresh({{SSHTestServer::hostAlias(), std::nullopt}});
    EXPECT_EQ(registry->tunnel(id(u"work"_s)), nullptr);
    EXPECT_FALSE(registry->tunnelStates().contains(id(u"work"_s)));
    EXPECT_EQ(runtimeIDs(), std::vector{id(u"default"_s)});
    EXPECT_EQ(host.removed, std::vector{id(u"work"_s)});

    remoteHerdr.list(bothSessions());
    refresh({{SSHTestServer::hostAlias(), std::nullopt}});
    EXPECT_EQ(registry->remotePorts().at(id(u"work"_s)), workPort);
    ASSERT_TRUE(reachable({id(u"default"_s), id(u"work"_s)}));
    EXPECT_EQ(registry->runtime(id(u"work"_s))->endpoint(), HerdrEndpoint::loopbackTCP(workPort));
}

TEST_F(SessionRegistryThroughSSH, ATunnelThatDropsTakesItsRuntimeAlongUntilItIsBack)
{
    makeRemoteRegistry();
    refresh({{SSHTestServer::hostAlias(), u"work"_s}});
    ASSERT_TRUE(reachable({id(u"work"_s)}));
    SSHTunnel* tunnel = registry->tunnel(id(u"work"_s));
    ASSERT_TRUE(tunnel && tunnel->processID());

    ::kill(*tunnel->processID(), SIGKILL);
    ASSERT_TRUE(processEventsUntil(
        [&] {
            return registry->tunnelStates().at(id(u"work"_s)).kind == SSHTunnelState::Kind::failed;
        },
        std::chrono::seconds(30)));
    EXPECT_TRUE(registry->runtimes().empty());
    EXPECT_EQ(registry->pendingTunnelMessages(),
              QStringList{u"The SSH tunnel to tunnel-test-host exited (status 137)."_s});
    EXPECT_EQ(registry->tunnel(id(u"work"_s)), tunnel);

    ASSERT_TRUE(reachable({id(u"work"_s)}));
    EXPECT_TRUE(registry->pendingTunnelMessages().isEmpty());
}

TEST_F(SessionRegistryThroughSSH, AFailingHostNamesItselfWhileTheOtherKeepsUpdating)
{
    makeRemoteRegistry();
    refresh({{SSHTestServer::hostAlias(), u"work"_s}, {unreachableHost, std::nullopt}});
    EXPECT_EQ(registry->knownRemoteSessions().size(), 1u);
    ASSERT_TRUE(registry->discoveryError().has_value());
    const QString unreachable = *registry->discoveryError();
    EXPECT_TRUE(unreachable.startsWith(unreachableHost + u": "_s)) << unreachable.toStdString();
    EXPECT_TRUE(unreachable.contains(u"Connection refused"_s)) << unreachable.toStdString();
    ASSERT_TRUE(reachable({id(u"work"_s)}));

    // The other host answers with a new list while the first still fails.
    remoteHerdr.list({bothSessions()[0],
                      {u"work"_s, servers[1].socketPath()},
                      {u"extra"_s, servers[0].socketPath(), true}});
    refresh({{SSHTestServer::hostAlias(), std::nullopt}, {unreachableHost, std::nullopt}});
    EXPECT_EQ(registry->knownRemoteSessions().size(), 3u);
    EXPECT_EQ(registry->discoveryError(), unreachable);

    // A host that fails keeps what it had: its sessions, tunnels and runtimes.
    SSHTunnel* work = registry->tunnel(id(u"work"_s));
    remoteHerdr.fail(1, "herdr: the server is restarting\n");
    refresh({{SSHTestServer::hostAlias(), std::nullopt}, {unreachableHost, std::nullopt}});
    EXPECT_EQ(registry->knownRemoteSessions().size(), 3u);
    EXPECT_EQ(registry->tunnel(id(u"work"_s)), work);
    EXPECT_NE(registry->runtime(id(u"work"_s)), nullptr);
    EXPECT_EQ(registry->remoteDiscoveryError(),
              u"tunnel-test-host: herdr: the server is restarting\n"_s + unreachable);

    // A host no longer configured leaves nothing behind.
    refresh({{unreachableHost, std::nullopt}});
    EXPECT_TRUE(registry->knownRemoteSessions().empty());
    EXPECT_TRUE(registry->remotePorts().empty());
    EXPECT_TRUE(registry->tunnelStates().empty());
    EXPECT_TRUE(registry->runtimes().empty());
    EXPECT_EQ(registry->discoveryError(), unreachable);
}

} // namespace
