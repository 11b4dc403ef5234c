#pragma once

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "tests/OrrelApp/Sessions/SessionRuntimeFixture.h"
#include "tests/support/FakeHerdrCommand.h"

#include <QSet>

// A host that says which sessions follow each pane's status, and hears of removed runtimes.
class RegistryHost : public QObject, public RecordingHost {
public:
    void sessionRuntimeWasRemoved(const QString& sessionID) override
    {
        removed.push_back(sessionID);
    }
    bool usesPerPaneStatusSubscriptions(const SessionRuntime& runtime) const override
    {
        return perPane.contains(runtime.sessionID());
    }

    QSet<QString> perPane;
    std::vector<QString> removed;
};

inline JSONValue quietScenarioJSON()
{
    return JSONValue::parse(R"({"version":"0.8.0","protocol":19,
        "workspaces":[{"workspace_id":"w1","label":"ops"}],
        "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"main"}],
        "panes":[{"pane_id":"w1:p1","agent":"pi","agent_status":"idle"}]})")
        .value();
}

// Two fake herdr sessions, "default" and "work", and a fake `herdr` that lists them.
class SessionRegistryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const JSONValue scenarios[] = {scenarioJSON(), quietScenarioJSON()};
        for (int i = 0; i < 2; ++i) {
            auto loaded = FakeScenario::fromJSON(scenarios[i]);
            ASSERT_TRUE(loaded) << loaded.error().toStdString();
            this->scenarios[i] = *loaded;
            ASSERT_TRUE(servers[i].start()) << servers[i].lastError().toStdString();
            this->scenarios[i].install(servers[i]);
        }
        ASSERT_TRUE(herdr.isValid());
        herdr.list(bothSessions());
    }

    void TearDown() override
    {
        loop.reset();
        registry.reset();
        EXPECT_TRUE(HerdrClient::socketQueue()->waitForDone(5000)) << "a socket thread was left";
        for (int round = 0; round < 3; ++round) {
            QCoreApplication::processEvents();
            clock.advance(std::chrono::hours(1));
        }
        EXPECT_EQ(clock.pendingSleeps(), 0u);
    }

    std::vector<FakeHerdrCommand::Session> bothSessions() const
    {
        return {{u"default"_s, servers[0].socketPath(), true, true},
                {u"work"_s, servers[1].socketPath()}};
    }

    // herdr found first on PATH, as the program finds it.
    SessionDirectory directory(std::optional<QString> sshPath = std::nullopt) const
    {
        Environment environment{{u"PATH"_s, herdr.directory()}, {u"HOME"_s, herdr.directory()}};
        SessionDirectory located =
            SessionDirectory::located(std::make_shared<ProcessCommandRunner>(), environment);
        return SessionDirectory(std::make_shared<ProcessCommandRunner>(), located.herdrPath(),
                                sshPath ? sshPath : located.sshPath(), environment);
    }

    // Runtimes whose clients answer within five seconds and sleep on the test's clock.
    SessionRegistry::Options options()
    {
        SessionRegistry::Options options;
        options.makeDependencies = [this](const ResolvedSession& session) {
            SessionRuntime::Dependencies dependencies;
            dependencies.client = std::make_unique<HerdrClient>(session.endpoint, 5.0);
            dependencies.clock = clock.clock();
            dependencies.environment = {};
            dependencies.streamOptions = [this] {
                EventStreamOptions stream;
                stream.sleep = clock.blockingSleeper();
                return stream;
            };
            return dependencies;
        };
        return options;
    }

    SessionRegistry& makeRegistry(SessionRegistry::Options with)
    {
        registry = std::make_unique<SessionRegistry>(std::move(with));
        return *registry;
    }
    SessionRegistry& makeRegistry() { return makeRegistry(options()); }

    std::vector<QString> runtimeIDs() const
    {
        std::vector<QString> ids;
        for (const SessionRuntime* runtime : registry->runtimes())
            ids.push_back(runtime->sessionID());
        return ids;
    }

    bool allConnected() const
    {
        for (const SessionRuntime* runtime : registry->runtimes()) {
            if (runtime->connection() != SessionRuntime::Connection::connected)
                return false;
        }
        return true;
    }

    ManualClock clock;
    FakeHerdrServer servers[2];
    FakeScenario scenarios[2];
    FakeHerdrCommand herdr;
    RegistryHost host;
    std::unique_ptr<SessionRegistry> registry;
    std::unique_ptr<QObject> loop;
};
