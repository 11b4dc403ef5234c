#include "tests/OrrelApp/Sessions/SessionRuntimeFixture.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <future>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

TEST_F(SessionRuntimeTest, APollMergesBuildsTheTreeAndTellsTheHost)
{
    SessionRuntime& r = make();
    EXPECT_EQ(r.connection(), SessionRuntime::Connection::connecting);
    runTask(r.select(u"w2:p1"_s), 5s);
    r.start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    const Cycle& cycle = host.cycles.front();
    EXPECT_EQ(cycle.connection, SessionRuntime::Connection::connected);
    EXPECT_EQ(cycle.error, QString());
    EXPECT_EQ(cycle.selected, u"w2:p1"_s);
    EXPECT_EQ(cycle.transitions.newlyBlockedPaneIDs, std::vector<QString>{u"w1:p1"_s});
    EXPECT_EQ(r.store().panes().size(), 3u);
    EXPECT_EQ(r.agentTree().roots(), (std::vector<QString>{u"w1:p1"_s, u"w2:p1"_s}));
    EXPECT_EQ(r.agentTree().children(u"w1:p1"_s), std::vector<QString>{u"w1:p2"_s});
    // A blocked root keeps a visible local session at the fast rate.
    EXPECT_EQ(clock.requestedSleeps(), std::vector<double>{0.65});

    // The next poll comes when the clock says so, and not before.
    EXPECT_EQ(requestCount(u"session.snapshot"_s), 1u);
    clock.advance(0.65s);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 2; }));
    EXPECT_EQ(host.cycles[1].transitions, StateTransitionResult{});
    EXPECT_EQ(requestCount(u"session.snapshot"_s), 2u);
    runTask(r.select(std::nullopt), 5s);
    EXPECT_EQ(r.selectedPaneID(), std::nullopt);
}

TEST_F(SessionRuntimeTest, AFailingPollSetsTheErrorOnceAndTellsTheHostEachTime)
{
    server.setHandler(u"session.snapshot"_s, [](const FakeRequest&) {
        return FakeReply::error(u"internal_error"_s, u"boom"_s);
    });
    SessionRuntime& r = make();
    int errors = 0;
    int connections = 0;
    QObject::connect(&r, &SessionRuntime::errorChanged, [&] { ++errors; });
    QObject::connect(&r, &SessionRuntime::connectionChanged, [&] { ++connections; });
    r.start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    clock.advance(1s);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 2; }));
    for (const Cycle& cycle : host.cycles) {
        EXPECT_EQ(cycle.connection, SessionRuntime::Connection::unavailable);
        EXPECT_EQ(cycle.error, u"Couldn't reach herdr — is it running?"_s);
        EXPECT_EQ(cycle.transitions, StateTransitionResult{});
    }
    EXPECT_EQ(errors, 1);
    EXPECT_EQ(connections, 1);
    EXPECT_EQ(clock.requestedSleeps(), (std::vector<double>{1.0, 1.0}));

    scenario.install(server);
    clock.advance(1s);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 3; }));
    EXPECT_EQ(r.connection(), SessionRuntime::Connection::connected);
    EXPECT_EQ(r.error(), std::nullopt);
    EXPECT_EQ(errors, 2);
}

TEST_F(SessionRuntimeTest, WhatHerdrAnswersDecidesTheConnection)
{
    struct Case {
        const char* name;
        FakeReply reply;
        SessionRuntime::Connection expected;
    };
    const JSONValue bareSnapshot = scenario.snapshotJSON();
    const std::vector<Case> cases = {
        {"snapshot without a snapshot member", FakeReply::result(bareSnapshot),
         SessionRuntime::Connection::connected},
        {"not JSON", FakeReply::raw("{{{\n"), SessionRuntime::Connection::unavailable},
        {"a pane that does not decode",
         FakeReply::result(JSONValue::object(
             {{u"snapshot"_s, JSONValue::object({{u"panes"_s, JSONValue::array({JSONValue(
                                                                  JSONValue::Object{})})}})}})),
         SessionRuntime::Connection::unavailable},
        {"closed without a reply", FakeReply::closeWithoutReply(),
         SessionRuntime::Connection::unavailable},
        {"never answers", FakeReply::silent(), SessionRuntime::Connection::unavailable},
    };
    for (const auto& c : cases) {
        server.setHandler(u"session.snapshot"_s,
                          [reply = c.reply](const FakeRequest&) { return reply; });
        SessionRuntime& r = make(SessionDescriptor::localDefault({}), 0.2);
        runTask(r.pollOnce());
        EXPECT_EQ(r.connection(), c.expected) << c.name;
    }
}

TEST_F(SessionRuntimeTest, AQuietRemoteSessionOutOfSightPollsEverySevenAndAHalfSeconds)
{
    scenario.transitionTo(*FakeScenario::fromJSON(JSONValue(JSONValue::Object{})));
    host.visible = false;
    SessionRuntime& r = make({SessionDescriptor::Kind::remote(u"build-box"_s, u"default"_s), {}});
    r.start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    EXPECT_EQ(clock.requestedSleeps(), std::vector<double>{7.5});
    EXPECT_EQ(r.unreachableMessage(),
              u"Couldn't reach herdr on build-box — is it running there?"_s);
}

TEST_F(SessionRuntimeTest, ANewPaneLeadsToASubscriptionThatIncludesIt)
{
    startWatching();
    // A replayed creation of a pane already watched changes nothing.
    server.publish(
        u"pane_created"_s,
        JSONValue::object({{u"pane"_s, *scenario.snapshotJSON().member(u"panes")->element(0)}}));
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 2; }));
    EXPECT_EQ(clock.requestedSleeps().size(), 1u) << "no pause of the event task";

    scenario.addPane(JSONValue::object({{u"pane_id"_s, u"w1:p9"_s}, {u"agent"_s, u"claude"_s}}));
    ASSERT_TRUE(processEventsUntil([&] {
        const auto sleeps = clock.requestedSleeps();
        return std::count(sleeps.begin(), sleeps.end(), 0.5) == 1;
    }));
    clock.advance(0.5s);
    ASSERT_TRUE(processEventsUntil([&] { return requestCount(u"events.subscribe"_s) == 2; }));
    const auto second = server.requestsFor(u"events.subscribe"_s).back().line;
    EXPECT_TRUE(second.contains(R"({"pane_id":"w1:p9","type":"pane.agent_status_changed"})"))
        << second.toStdString();
    EXPECT_TRUE(server.waitForSubscribers(1, 5s));

    scenario.setPaneStatus(u"w1:p9"_s, AgentStatus::blocked);
    ASSERT_TRUE(processEventsUntil([&] {
        return host.cycles.back().transitions.newlyBlockedPaneIDs
               == std::vector<QString>{u"w1:p9"_s};
    }));
}

TEST_F(SessionRuntimeTest, PanesFirstSeenByAPollAreSubscribedTo)
{
    // Both tasks at once, as at program start: the first list knows no panes yet.
    make().startEventTask(true);
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    runtime->start(&host);
    // The next pass starts from what the store knows once the poll has merged.
    ASSERT_TRUE(processEventsUntil([&] {
        const auto sleeps = clock.requestedSleeps();
        return std::count(sleeps.begin(), sleeps.end(), 0.5) >= 1
               && runtime->store().panes().size() == 3;
    }));
    clock.advance(0.5s);
    const QByteArray withEveryPane =
        R"({"subscriptions":[{"pane_id":"w1:p1","type":"pane.agent_status_changed"},)"
        R"({"pane_id":"w1:p2","type":"pane.agent_status_changed"},)"
        R"({"pane_id":"w2:p1","type":"pane.agent_status_changed"},)"
        R"({"type":"pane.agent_detected"},{"type":"pane.created"},{"type":"pane.exited"},)"
        R"({"type":"pane.closed"}]})";
    EXPECT_TRUE(processEventsUntil([&] {
        const auto subscriptions = server.requestsFor(u"events.subscribe"_s);
        return std::any_of(subscriptions.begin(), subscriptions.end(), [&](const auto& request) {
            return request.params.serialized() == withEveryPane;
        });
    }));
}

TEST_F(SessionRuntimeTest, ARejectedSubscriptionIsShownUntilTheNextGoodPoll)
{
    make().start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    const auto prompt = runtime->interactions().state(u"w1:p1"_s);
    ASSERT_TRUE(prompt && prompt->interaction);
    const auto attention = runtime->attention();
    server.setPaneExists([](const QString& pane) { return pane != u"w1:p2"; });
    runtime->startEventTask(true);
    ASSERT_TRUE(processEventsUntil([&] { return runtime->error().has_value(); }));
    EXPECT_EQ(runtime->connection(), SessionRuntime::Connection::unavailable);
    EXPECT_EQ(runtime->errorText(),
              u"herdr rejected the event subscription: pane w1:p2 not found"_s);
    // A rejection is no cycle, and what the poll found stays.
    EXPECT_EQ(host.cycles.size(), 1u);
    EXPECT_EQ(runtime->interactions().state(u"w1:p1"_s), prompt);
    EXPECT_EQ(runtime->attention(), attention);
    EXPECT_EQ(runtime->store().panes().size(), 3u);

    // A good poll clears it while the stream is still down.
    runTask(runtime->pollOnce());
    EXPECT_EQ(runtime->connection(), SessionRuntime::Connection::connected);
    EXPECT_EQ(runtime->error(), std::nullopt);
    EXPECT_EQ(server.subscriberCount(), 0u);

    // The event task tries again after its pause, with the list of the moment.
    server.setPaneExists([](const QString&) { return true; });
    ASSERT_TRUE(processEventsUntil([&] {
        const auto sleeps = clock.requestedSleeps();
        return std::count(sleeps.begin(), sleeps.end(), 0.5) == 1;
    }));
    clock.advance(0.5s);
    EXPECT_TRUE(server.waitForSubscribers(1, 5s));
    EXPECT_EQ(requestCount(u"events.subscribe"_s), 2u);
}

TEST_F(SessionRuntimeTest, MalformedEventsLeaveTheStoreAsItWas)
{
    startWatching();
    const qint64 revision = runtime->store().revision();
    for (const char* line :
         {R"({"event":"pane.agent_status_changed","data":{}})",
          R"({"event":"pane.agent_status_changed","data":{"agent_status":"blocked"}})",
          R"({"event":"pane.agent_status_changed"})", R"({"event":5,"data":{"pane_id":"w1:p1"}})",
          R"("just a string")", "garbage"}) {
        server.publishRaw(line);
    }
    // A status outside herdr's list reads as unknown.
    server.publishRaw(
        R"({"event":"pane.agent_status_changed","data":{"pane_id":"w1:p1","agent_status":"sleeping"}})");
    ASSERT_TRUE(processEventsUntil([&] { return runtime->store().revision() != revision; }));
    EXPECT_EQ(runtime->store().revision(), revision + 1);
    EXPECT_EQ(runtime->store().pane(u"w1:p1"_s)->agentStatus, AgentStatus::unknown);
    EXPECT_EQ(runtime->connection(), SessionRuntime::Connection::connected);
}

QCoro::Task<> markStopped(SessionRuntime& runtime, bool* stopped)
{
    co_await runtime.stopped();
    *stopped = true;
}

TEST_F(SessionRuntimeTest, StopClosesTheStreamAndEndsTheSleeps)
{
    startWatching();
    bool stopped = false;
    auto waiting = markStopped(*runtime, &stopped);
    QCoreApplication::processEvents();
    EXPECT_FALSE(stopped);
    runtime->stop();
    // Both tasks end without the clock moving on.
    ASSERT_TRUE(processEventsUntil([&] { return stopped; }));
    EXPECT_TRUE(runtime->waitForEventStreamExit(1s));
    EXPECT_TRUE(server.waitForSubscribersAtMost(0, 5s));
    clock.advance(60s);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_EQ(host.cycles.size(), 1u);
    EXPECT_EQ(clock.pendingSleeps(), 0u);
}

TEST_F(SessionRuntimeTest, ARuntimeOnItsOwnTimersEndsWhileItSleeps)
{
    SessionRuntime::Dependencies dependencies;
    const auto endpoint = HerdrEndpoint::unixSocket(server.socketPath());
    dependencies.client = std::make_unique<HerdrClient>(endpoint, 5.0);
    runtime = std::make_unique<SessionRuntime>(SessionDescriptor::localDefault({}), endpoint,
                                               std::move(dependencies));
    runtime->start(&host);
    runtime->startEventTask(false);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    bool stopped = false;
    auto waiting = markStopped(*runtime, &stopped);
    runtime.reset();
    EXPECT_TRUE(server.waitForSubscribersAtMost(0, 5s));
    QCoreApplication::processEvents();
    EXPECT_EQ(host.cycles.size(), 1u);
    // Whoever waited for the tasks is not left waiting on a runtime that is gone.
    EXPECT_TRUE(stopped);
}

TEST_F(SessionRuntimeTest, AHostThatIsGoneIsNotTold)
{
    auto objectHost = std::make_unique<ObjectHost>();
    make().start(objectHost.get());
    ASSERT_TRUE(processEventsUntil([&] { return objectHost->cycles.size() == 1; }));
    objectHost.reset();
    clock.advance(0.65s);
    ASSERT_TRUE(processEventsUntil([&] { return requestCount(u"session.snapshot"_s) == 2; }));
    // Without a host the runtime polls as for a visible session with the surface closed.
    ASSERT_TRUE(processEventsUntil([&] { return clock.requestedSleeps().size() == 2; }));
    EXPECT_EQ(clock.requestedSleeps().back(), 0.65);
}

TEST_F(SessionRuntimeTest, ARuntimeEndedWhileItReadsAPromptLeavesNothingBehind)
{
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    server.setHandler(u"pane.read"_s, [released](const FakeRequest&) {
        released.wait();
        // A good answer, so that the reader would go on to its second read.
        return FakeReply::result(JSONValue::object(
            {{u"read"_s, JSONValue::object({{u"text"_s, u" Do you want to proceed?"_s}})}}));
    });
    make().start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return !server.requestsFor(u"pane.read"_s).empty(); }));
    runtime.reset();
    release.set_value();
    // TearDown lets the read come back to a runtime that is gone.
    EXPECT_TRUE(HerdrClient::socketQueue()->waitForDone(5000));
    QCoreApplication::processEvents();
    EXPECT_TRUE(host.cycles.empty());
    EXPECT_EQ(server.requestsFor(u"pane.read"_s).size(), 1u);
}

TEST_F(SessionRuntimeTest, AnEscalationAnswerGoesOutOnlyWhileTheQuestionStands)
{
    QTemporaryDir sentinel;
    ASSERT_TRUE(QDir(sentinel.path()).mkpath(u"questions"_s));
    const auto writeJournal = [&](const QByteArray& extra) {
        QFile file(sentinel.filePath(u"questions/questions.jsonl"_s));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(R"({"questionId":"q1","owner":{"paneId":"w2:p1"},"child":{"paneId":"w1:p2"},)"
                   R"("origin":{"paneId":"w1:p1"},"questions":[{"question":"Which DB?"}]})"
                   "\n"
                   R"({"questionId":"q1","type":"escalated"})"
                   "\n"
                   + extra);
    };
    writeJournal({});
    SessionRuntime& r = make(SessionDescriptor::localDefault({}), 5.0,
                             Environment{{u"ORREL_PI_SENTINEL_DIR"_s, sentinel.path()}});
    r.start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    ASSERT_TRUE(r.escalation(u"q1"_s));
    const QString message = u"[orrel] Answer for escalated question q1: pg"_s;

    // The surface showed another origin: nothing goes out.
    auto sent = runTask(r.sendEscalationAnswer(u"q1"_s, u"w2:p1"_s, u"w9"_s, message), 5s);
    ASSERT_FALSE(sent);
    EXPECT_TRUE(sent.error().escalationChanged());
    EXPECT_TRUE(server.requestsFor(u"pane.send_text"_s).empty());

    sent = runTask(r.sendEscalationAnswer(u"q1"_s, u"w2:p1"_s, u"w1:p1"_s, message), 5s);
    ASSERT_TRUE(sent) << sent.error().errorDescription().toStdString();
    ASSERT_EQ(server.requestsFor(u"pane.send_text"_s).size(), 1u);
    EXPECT_EQ(server.requestsFor(u"pane.send_text"_s)[0].params.member(u"text")->stringValue(),
              message);

    // An answer on its way makes the question unanswerable until the journal settles it.
    writeJournal(R"({"questionId":"q1","type":"resolve-intent"})");
    sent = runTask(r.sendEscalationAnswer(u"q1"_s, u"w2:p1"_s, u"w1:p1"_s, message), 5s);
    ASSERT_FALSE(sent);
    EXPECT_EQ(
        sent.error().errorDescription(),
        u"Escalation changed or delivery is unconfirmed. Nothing was sent; re-read its status."_s);
    EXPECT_EQ(server.requestsFor(u"pane.send_text"_s).size(), 1u);
}

} // namespace
