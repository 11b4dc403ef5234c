// herdr killed and started again while the session's event stream is open: a real fake-herdr
// process, killed outright, so that its socket file stays behind and refuses connections until
// the new process takes it over.
#include "tests/OrrelApp/Drills/DrillFixture.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class RestartDrill : public RuntimeDrill {
protected:
    void SetUp() override
    {
        RuntimeDrill::SetUp();
        ASSERT_TRUE(folder.isValid());
        writeScenario(scenarioJSON().serialized());
    }

    void TearDown() override
    {
        RuntimeDrill::TearDown();
        stopHerdr();
    }

    QString socketPath() const { return folder.filePath(u"herdr.sock"_s); }
    QString scenarioPath() const { return folder.filePath(u"scenario.json"_s); }
    QString logPath() const { return folder.filePath(u"requests.log"_s); }

    void writeScenario(const QByteArray& bytes)
    {
        QFile file(scenarioPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }

    // Starts fake-herdr and waits until it listens.
    void startHerdr()
    {
        herdr = std::make_unique<QProcess>();
        herdr->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        herdr->start(QStringLiteral(FAKE_HERDR_PATH),
                     {u"--socket"_s, socketPath(), u"--scenario"_s, scenarioPath(),
                      u"--request-log"_s, logPath()});
        ASSERT_TRUE(herdr->waitForStarted(10'000));
        QByteArray output;
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!output.contains("listening at") && std::chrono::steady_clock::now() < deadline) {
            herdr->waitForReadyRead(100);
            output += herdr->readAllStandardOutput();
        }
        ASSERT_TRUE(output.contains("listening at")) << output.toStdString();
    }

    void killHerdr()
    {
        herdr->kill();
        ASSERT_TRUE(herdr->waitForFinished(10'000));
    }

    void stopHerdr()
    {
        if (herdr && herdr->state() != QProcess::NotRunning) {
            herdr->terminate();
            if (!herdr->waitForFinished(10'000))
                herdr->kill();
            herdr->waitForFinished(10'000);
        }
    }

    // The methods of every request both processes logged, in order.
    QStringList loggedMethods() const
    {
        QFile log(logPath());
        QStringList methods;
        if (!log.open(QIODevice::ReadOnly))
            return methods;
        for (const QByteArray& line : log.readAll().split('\n')) {
            if (const auto request = JSONValue::parse(line)) {
                if (const JSONValue* method = request->member(u"method"))
                    methods << method->stringValue().value_or(QString());
            }
        }
        return methods;
    }

    QTemporaryDir folder;
    std::unique_ptr<QProcess> herdr;
};

TEST_F(RestartDrill, HerdrKilledAndStartedAgainWhileTheStreamIsOpen)
{
    startHerdr();
    makeDrilled(HerdrEndpoint::unixSocket(socketPath())).start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    runtime->startEventTask(true);
    ASSERT_TRUE(
        processEventsUntil([&] { return loggedMethods().count(u"events.subscribe"_s) == 1; }, 10s));

    killHerdr();
    ASSERT_TRUE(QFileInfo::exists(socketPath())) << "a killed herdr leaves its socket behind";
    // The stream comes back quickly after a good connection, then backs off while nothing
    // answers.
    EXPECT_EQ(nextStreamAttempt(), 0.25);
    EXPECT_EQ(nextStreamAttempt(), 0.5);
    nextPoll();
    expectUnreachableButKeepingWhatItKnew();

    startHerdr();
    EXPECT_EQ(nextPoll(), unavailablePollPeriod);
    expectConnected();
    EXPECT_EQ(nextStreamAttempt(), 1.0);
    ASSERT_TRUE(
        processEventsUntil([&] { return loggedMethods().count(u"events.subscribe"_s) == 2; }, 10s));

    // What the new herdr tells its subscribers reaches the session without a poll.
    QByteArray changed = scenarioJSON().serialized();
    ASSERT_EQ(changed.count(R"("agent_status":"working")"), 1);
    changed.replace(R"("agent_status":"working")", R"("agent_status":"idle")");
    writeScenario(changed);
    ASSERT_TRUE(processEventsUntil([&] { return status(u"w1:p2"_s) == AgentStatus::idle; }, 10s));

    const QStringList methods = loggedMethods();
    EXPECT_FALSE(methods.contains(u"pane.send_keys"_s));
    EXPECT_FALSE(methods.contains(u"pane.send_text"_s));
}

} // namespace
