#pragma once

#include "OrrelApp/Sessions/SessionRuntime.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestSupport.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

struct Cycle {
    StateTransitionResult transitions;
    std::optional<QString> selected;
    SessionRuntime::Connection connection;
    QString error;
};

class RecordingHost : public SessionRuntimeHost {
public:
    QCoro::Task<> sessionRuntimeDidObserve(SessionRuntime* runtime,
                                           StateTransitionResult transitions,
                                           std::optional<QString> selectedPaneID) override
    {
        cycles.push_back({std::move(transitions), std::move(selectedPaneID), runtime->connection(),
                          runtime->errorText()});
        co_return;
    }
    bool usesPerPaneStatusSubscriptions(const SessionRuntime&) const override { return true; }
    bool isVisibleSession(const SessionRuntime&) const override { return visible; }
    bool preservesResolvedSelection() const override { return preserve; }
    bool isSurfaceExpanded() const override { return expanded; }

    std::vector<Cycle> cycles;
    bool visible = true;
    bool expanded = false;
    bool preserve = false; // a surface that keeps a pane open after its prompt is gone
};

class ObjectHost : public QObject, public RecordingHost {};

inline JSONValue scenarioJSON()
{
    return JSONValue::parse(R"({"version":"0.8.0","protocol":19,"focused_pane_id":"w1:p1",
        "workspaces":[{"workspace_id":"w1","label":"api"},{"workspace_id":"w2","label":"web"}],
        "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"},
                {"tab_id":"w2:t1","workspace_id":"w2","label":"main"}],
        "panes":[{"pane_id":"w1:p1","agent":"claude","agent_status":"blocked","focused":true,
                  "screen":{"visible":"─────────────────────────────────────────\n Bash command\n\n   npm run migrate\n   Run the migrations\n\n Do you want to proceed?\n ❯ 1. Yes\n   2. No, and tell Claude what to do differently (esc)\n\n Esc to cancel\n"}},
                 {"pane_id":"w1:p2","agent":"codex","agent_status":"working",
                  "tokens":{"nh_parent":"w1:p1"}},
                 {"pane_id":"w2:p1","agent":"pi","agent_status":"idle"}]})")
        .value();
}

class SessionRuntimeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        auto loaded = FakeScenario::fromJSON(scenarioJSON());
        ASSERT_TRUE(loaded) << loaded.error().toStdString();
        scenario = *loaded;
        ASSERT_TRUE(server.start());
        scenario.install(server);
    }

    void TearDown() override
    {
        runtime.reset();
        EXPECT_TRUE(HerdrClient::socketQueue()->waitForDone(5000)) << "a socket thread was left";
        // What the runtime left suspended (a reply on its way, a sleep on the clock) must see
        // that it is gone and end, rather than outlive the test.
        for (int round = 0; round < 3; ++round) {
            QCoreApplication::processEvents();
            clock.advance(std::chrono::hours(1));
        }
        EXPECT_EQ(clock.pendingSleeps(), 0u);
    }

    SessionRuntime& make(SessionDescriptor descriptor = SessionDescriptor::localDefault({}),
                         double requestTimeout = 5.0, Environment environment = {})
    {
        SessionRuntime::Dependencies dependencies;
        dependencies.environment = std::move(environment);
        const auto endpoint = HerdrEndpoint::unixSocket(server.socketPath());
        dependencies.client = std::make_unique<HerdrClient>(endpoint, requestTimeout);
        dependencies.clock = clock.clock();
        dependencies.streamOptions = [this] {
            EventStreamOptions options;
            options.sleep = clock.blockingSleeper();
            return options;
        };
        runtime = std::make_unique<SessionRuntime>(descriptor, endpoint, std::move(dependencies));
        return *runtime;
    }

    // Starts polling and the event stream, and waits for the first cycle and the subscription.
    void startWatching()
    {
        make().start(&host);
        ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
        runtime->startEventTask(true);
        ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    }

    std::size_t requestCount(const QString& method) const
    {
        return server.requestsFor(method).size();
    }

    ManualClock clock;
    FakeHerdrServer server;
    FakeScenario scenario;
    RecordingHost host;
    std::unique_ptr<SessionRuntime> runtime;
};
