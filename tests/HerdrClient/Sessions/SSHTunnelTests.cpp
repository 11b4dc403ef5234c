#include "SSHTunnelTestSupport.h"

#include "HerdrClient/Sessions/SSHTunnelReasons.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using Kind = SSHTunnelState::Kind;

namespace {

const SSHTunnelConfiguration boxConfiguration{u"box"_s, u"/run/herdr.sock"_s, 41234};

const QString authenticationReason =
    u"SSH couldn't authenticate to box. Load your key with `ssh-add`, or check your "
    u"~/.ssh/config."_s;
const QString forwardReason =
    u"SSH connected to box but couldn't forward the herdr socket. Is herdr running there?"_s;

// A forward must not ride on or leave behind a shared connection, nor run the user's local
// commands, whatever their ssh configuration says.
TEST(SSHTunnelArguments, OverrideTheOptionsThatWouldShareOrRunCommands)
{
    const QStringList arguments = boxConfiguration.arguments();
    for (const QString& option : {u"ControlMaster=no"_s, u"ControlPath=none"_s,
                                  u"PermitLocalCommand=no"_s, u"BatchMode=yes"_s}) {
        const auto at = arguments.indexOf(option);
        ASSERT_GT(at, 0) << option.toStdString();
        EXPECT_EQ(arguments[at - 1], u"-o"_s);
    }
    EXPECT_EQ(arguments.last(), u"box"_s);
}

TEST(SSHTunnelReasons, ExplainTakesTheFirstMatchingRule)
{
    struct Case {
        const char* standardError;
        qint32 status;
        QString reason;
    };
    const Case cases[] = {
        {"ana@box: Permission denied (publickey).", 255, authenticationReason},
        // A refused key also ends the forward; the key is what to fix.
        {"Could not request local forwarding.\nana@box: PUBLICKEY refused", 255,
         authenticationReason},
        {"ssh: Could not resolve hostname box: Name or service not known", 255,
         u"SSH couldn't resolve box. Check the host name."_s},
        {"ssh: connect to host box port 22: Name or service not known", 255,
         u"SSH couldn't resolve box. Check the host name."_s},
        {"ssh: connect to host box port 22: Connection refused", 255,
         u"Couldn't reach box over SSH."_s},
        {"ssh: connect to host box port 22: Connection timed out", 255,
         u"Couldn't reach box over SSH."_s},
        {"ssh: connect to host box port 22: Operation timed out", 255,
         u"Couldn't reach box over SSH."_s},
        {"bind [127.0.0.1]:41234: Address already in use\nCould not request local forwarding.", 255,
         forwardReason},
        {"Host key verification failed.", 255,
         u"SSH tunnel to box failed: Host key verification failed."_s},
        {"", 143, u"The SSH tunnel to box exited (status 143)."_s},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SSHTunnelReasons::explain(QString::fromUtf8(c.standardError), c.status, u"box"_s),
                  c.reason)
            << c.standardError;
    }
}

TEST(SSHTunnelReasons, ReadinessFailureNamesTheRemoteSocket)
{
    struct Case {
        const char* standardError;
        QString reason;
    };
    const Case cases[] = {
        {"channel 2: open failed: administratively prohibited: open failed",
         u"SSH connected to box, but its server or proxy refused Unix-socket forwarding."_s},
        {"channel 1: open failed: connect failed: open failed",
         u"SSH connected to box, but its server or proxy refused Unix-socket forwarding."_s},
        {"connect to /run/herdr.sock: No such file or directory",
         u"SSH connected to box, but the remote herdr socket does not exist at "
         u"/run/herdr.sock."_s},
        {"connect to /run/herdr.sock: Permission denied",
         u"SSH connected to box, but it cannot access the remote herdr socket at "
         u"/run/herdr.sock."_s},
        {"", u"SSH connected to box, but herdr did not answer through /run/herdr.sock."_s},
        {"debug1: something else",
         u"SSH connected to box, but herdr did not answer through /run/herdr.sock. SSH reported: "
         u"debug1: something else"_s},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SSHTunnelReasons::readinessFailure(QString::fromUtf8(c.standardError),
                                                     boxConfiguration),
                  c.reason)
            << c.standardError;
    }
}

TEST(SSHTunnelPort, IsAFreeLoopbackPortThatCanBeBound)
{
    const auto port = SSHTunnel::availableLoopbackPort();
    ASSERT_TRUE(port.has_value()) << port.error().errorDescription().toStdString();
    EXPECT_NE(*port, 0);
    const int fd = loopbackSocket(*port, true);
    EXPECT_GE(fd, 0);
    ::close(fd);
    EXPECT_EQ(SSHTunnelError::portAllocationFailed(24).errorDescription(),
              u"Couldn't allocate a private loopback port for the SSH tunnel (errno 24)."_s);
}

// Stand-ins for ssh: shell scripts that say what ssh says and behave as it would.
class SSHTunnelSupervision : public ::testing::Test {
protected:
    QString script(const QString& name, const QByteArray& body)
    {
        return writeScript(m_folder.filePath(name), body);
    }

    std::unique_ptr<SSHTunnel> tunnel(std::optional<QString> sshPath, bool probeAnswers,
                                      double readinessTimeout = 600,
                                      SSHTunnelConfiguration configuration = boxConfiguration)
    {
        SSHTunnelOptions options;
        options.readinessTimeout = readinessTimeout;
        options.readinessProbe = answeringProbe(probeAnswers);
        options.clock = clock.clock();
        return std::make_unique<SSHTunnel>(std::move(configuration), std::move(sshPath),
                                           std::move(options));
    }

    // The backoff sleeps asked for so far, without the pauses between probes.
    std::vector<double> backoffSleeps() const
    {
        std::vector<double> result;
        for (const double seconds : clock.requestedSleeps()) {
            if (seconds != SSHTunnel::probeInterval.count())
                result.push_back(seconds);
        }
        return result;
    }

    void TearDown() override
    {
        settleEvents();
        clock.advance(Seconds(3600)); // ends the sleeps that a stop left behind
        settleEvents();
    }

    QTemporaryDir m_folder;
    ManualClock clock;
    PublishedStates published;
};

TEST_F(SSHTunnelSupervision, RunsThatCannotStartFailWithoutAProcessAndRetry)
{
    const QString marker = m_folder.filePath(u"ran"_s);
    const QString recordingSSH = script(u"ssh"_s, "touch '" + marker.toUtf8() + "'");
    struct Case {
        QString target;
        std::optional<QString> sshPath;
        QString reason;
    };
    const Case cases[] = {
        {u"box"_s, std::nullopt, u"Couldn't find the ssh command."_s},
        {u"-oProxyCommand=touch"_s, recordingSSH, u"Invalid SSH target: -oProxyCommand=touch"_s},
        {u"two words"_s, recordingSSH, u"Invalid SSH target: two words"_s},
    };
    for (const auto& c : cases) {
        PublishedStates states;
        auto configuration = boxConfiguration;
        configuration.target = c.target;
        auto subject = tunnel(c.sshPath, true, 600, configuration);
        subject->start(states.callback());
        const std::size_t sleepsBefore = backoffSleeps().size();
        ASSERT_TRUE(processEventsUntil([&] { return backoffSleeps().size() >= sleepsBefore + 3; },
                                       std::chrono::seconds(10), &clock, Seconds(1)));
        // The same reason again is not news: one publication for all the runs.
        ASSERT_EQ(states.states.size(), 1u) << c.reason.toStdString();
        EXPECT_EQ(states.states.front(), SSHTunnelState::failed(c.reason));
        EXPECT_FALSE(subject->processID().has_value());
        subject->stop();
        EXPECT_EQ(states.kinds(), (std::vector{Kind::failed, Kind::idle}));
    }
    EXPECT_FALSE(QFile::exists(marker));
}

TEST_F(SSHTunnelSupervision, AnSSHThatCannotBeStartedIsReportedWithTheSystemsWords)
{
    auto subject = tunnel(m_folder.filePath(u"missing-ssh"_s), true);
    subject->start(published.callback());
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::failed); }));
    EXPECT_EQ(published.kinds(), (std::vector{Kind::connecting, Kind::failed}));
    EXPECT_EQ(subject->state().reason, u"Couldn't start ssh: No such file or directory"_s);
}

TEST_F(SSHTunnelSupervision, AnSSHThatExitsAtOnceIsExplainedAndRetriedWithGrowingPauses)
{
    auto subject = tunnel(script(u"ssh"_s, "echo 'ana@box: Permission denied (publickey).' >&2\n"
                                           "echo 'Could not request local forwarding.' >&2\n"
                                           "exit 255"),
                          false);
    subject->start(published.callback());
    ASSERT_TRUE(processEventsUntil([&] { return backoffSleeps().size() >= 7; },
                                   std::chrono::seconds(30), &clock, Seconds(1)));
    EXPECT_EQ(backoffSleeps(), (std::vector<double>{1, 2, 4, 8, 16, 30, 30}));
    ASSERT_GE(published.states.size(), 4u);
    EXPECT_EQ(published.states[0], SSHTunnelState::connecting());
    EXPECT_EQ(published.states[1], SSHTunnelState::failed(authenticationReason));
    EXPECT_EQ(published.states[2], SSHTunnelState::connecting());
    EXPECT_EQ(published.states[3], SSHTunnelState::failed(authenticationReason));
    EXPECT_FALSE(published.reached(Kind::up));
}

TEST_F(SSHTunnelSupervision, AForwardLostAfterWorkingComesBackAfterOneSecond)
{
    auto subject = tunnel(script(u"ssh"_s, "exec /bin/sleep 1000"), true);
    subject->start(published.callback());
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::up, round); }));
        ASSERT_TRUE(subject->processID().has_value());
        const pid_t pid = *subject->processID();
        ::kill(pid, SIGKILL);
        ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::failed, round); }));
        EXPECT_EQ(subject->state(),
                  SSHTunnelState::failed(u"The SSH tunnel to box exited (status 137)."_s));
        EXPECT_TRUE(processIsGone(pid));
        // The run had come up, so the count starts again: one second, every time.
        EXPECT_EQ(backoffSleeps(), std::vector<double>(std::size_t(round), 1.0));
        clock.advance(Seconds(1));
    }
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::up, 3); }));
    EXPECT_EQ(published.kinds(),
              (std::vector{Kind::connecting, Kind::up, Kind::failed, Kind::connecting, Kind::up,
                           Kind::failed, Kind::connecting, Kind::up}));
    const pid_t last = *subject->processID();
    subject->stop();
    EXPECT_EQ(subject->state(), SSHTunnelState::idle());
    EXPECT_TRUE(processIsGone(last));
}

TEST_F(SSHTunnelSupervision, ARunThatNeverAnswersEndsAtTheReadinessDeadline)
{
    auto subject = tunnel(script(u"ssh"_s, "exec /bin/sleep 1000"), false, 15);
    subject->start(published.callback());
    ASSERT_TRUE(subject->processID().has_value());
    const pid_t pid = *subject->processID();
    ASSERT_TRUE(processEventsUntil([&] { return published.reached(Kind::failed); },
                                   std::chrono::seconds(20), &clock));
    EXPECT_EQ(subject->state().reason,
              u"SSH connected to box, but herdr did not answer through /run/herdr.sock."_s);
    EXPECT_TRUE(processIsGone(pid));
    // About 15 seconds of probes, 0.15 apart.
    const auto probes = clock.requestedSleeps().size() - backoffSleeps().size();
    EXPECT_GE(probes, 99u);
    EXPECT_LE(probes, 101u);
}

TEST_F(SSHTunnelSupervision, StopDuringTheReadinessWaitEndsSSHAndPublishesNoFailure)
{
    auto subject = tunnel(script(u"ssh"_s, "exec /bin/sleep 1000"), false, 15);
    subject->start(published.callback());
    ASSERT_TRUE(subject->processID().has_value());
    const pid_t pid = *subject->processID();
    ASSERT_TRUE(processEventsUntil([&] { return clock.requestedSleeps().size() >= 3; },
                                   std::chrono::seconds(10), &clock));
    subject->stop();
    EXPECT_TRUE(processIsGone(pid));
    EXPECT_FALSE(subject->processID().has_value());
    EXPECT_FALSE(subject->isSupervising());
    settleEvents();
    clock.advance(Seconds(60));
    settleEvents();
    EXPECT_EQ(published.kinds(), (std::vector{Kind::connecting, Kind::idle}));

    // A stopped tunnel starts again from the beginning.
    subject->start(published.callback());
    EXPECT_EQ(published.kinds(), (std::vector{Kind::connecting, Kind::idle, Kind::connecting}));
    ASSERT_TRUE(subject->processID().has_value());
    const pid_t second = *subject->processID();
    subject.reset();
    EXPECT_TRUE(processIsGone(second));
}

} // namespace
