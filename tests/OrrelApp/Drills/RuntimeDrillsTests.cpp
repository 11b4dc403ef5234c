// A herdr that fails in the ways a long-running one does, under a running session: its socket
// file goes and comes back, a reply stops mid-line, a reply trickles in a byte at a time, a
// connection is accepted and never answered, a reply belongs to another request. Each time the
// session says that herdr cannot be reached, keeps what it knew, never hangs and never sends a
// key, and is itself again one poll period after the fault ends.
#include "tests/OrrelApp/Drills/DrillFixture.h"

#include "HerdrClient/Responding/InteractionResponseIntent.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QByteArray replyLine(const JSONValue& result)
{
    return JSONValue::object({{u"id"_s, u"1"_s}, {u"result"_s, result}}).serialized() + '\n';
}

QByteArray snapshotReply(const FakeScenario& scenario)
{
    return replyLine(JSONValue::object(
        {{u"type"_s, u"session_snapshot"_s}, {u"snapshot"_s, scenario.snapshotJSON()}}));
}

QByteArray readReply()
{
    return replyLine(JSONValue::object(
        {{u"type"_s, u"pane_read"_s},
         {u"read"_s,
          JSONValue::object({{u"pane_id"_s, u"w1:p1"_s},
                             {u"source"_s, u"detection"_s},
                             {u"format"_s, u"text"_s},
                             {u"text"_s, u" Do you want to proceed?\n ❯ 1. Yes\n   2. No\n"_s},
                             {u"revision"_s, 0},
                             {u"truncated"_s, false}})}}));
}

QCoro::Task<> answer(SessionRuntime* runtime, InteractionResponseIntent intent,
                     std::optional<bool>* answered)
{
    *answered = co_await runtime->interactions().respond(u"w1:p1"_s, intent);
}

class RuntimeDrills : public RuntimeDrill {
protected:
    // The person approves the prompt of w1:p1; true when the answer went out. With `settle`,
    // time on the clock moves while it waits, for the reads that follow a send.
    bool approve(bool settle = false)
    {
        std::optional<bool> answered;
        auto task = answer(runtime.get(), InteractionResponseIntent::approve(), &answered);
        EXPECT_TRUE(processEventsUntil([&] { return answered.has_value(); }, 20s,
                                       settle ? &clock : nullptr, Seconds(0.05)))
            << "the answer never ended";
        return answered.value_or(false);
    }
};

TEST_F(RuntimeDrills, TheSocketFileRemovedAndMadeAgain)
{
    watch();
    server.removeSocketFile();
    nextPoll();
    expectUnreachableButKeepingWhatItKnew();

    // The stream that was open goes on meanwhile.
    scenario.setPaneStatus(u"w1:p2"_s, AgentStatus::idle);
    ASSERT_TRUE(processEventsUntil([&] { return status(u"w1:p2"_s) == AgentStatus::idle; }));

    // herdr makes its socket anew; the connections it had end with it.
    ASSERT_TRUE(server.restart());
    EXPECT_EQ(nextStreamAttempt(), 0.25) << "a stream that had worked is tried again at once";
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    EXPECT_EQ(nextPoll(), unavailablePollPeriod);
    expectConnected();

    scenario.setPaneStatus(u"w1:p2"_s, AgentStatus::working);
    ASSERT_TRUE(processEventsUntil([&] { return status(u"w1:p2"_s) == AgentStatus::working; }));
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(RuntimeDrills, AReplyCutMidLine)
{
    watch();
    const QByteArray whole = snapshotReply(scenario);
    server.setHandler(
        u"session.snapshot"_s,
        [cut = whole.left(whole.size() / 2)](const FakeRequest&) { return FakeReply::raw(cut); });
    nextPoll();
    expectUnreachableButKeepingWhatItKnew();

    // An event line cut short as herdr goes is dropped, and the stream comes back.
    server.dropSubscribers(R"({"event":"pane.agent_status_changed","data":{"pane_id":"w1:p2",)"
                           R"("agent_status":"id)");
    EXPECT_EQ(nextStreamAttempt(), 0.25);
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    EXPECT_EQ(status(u"w1:p2"_s), AgentStatus::working);

    scenario.install(server);
    EXPECT_EQ(nextPoll(), unavailablePollPeriod);
    expectConnected();
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(RuntimeDrills, AReplyOfOneByteEveryTenthOfASecond)
{
    watch();
    // Each byte comes well within the request's timeout; the whole reply would take minutes.
    server.setHandler(u"session.snapshot"_s, [bytes = snapshotReply(scenario)](const FakeRequest&) {
        return FakeReply::trickle(bytes, 100ms);
    });
    nextPoll();
    expectUnreachableButKeepingWhatItKnew();

    scenario.install(server);
    EXPECT_EQ(nextPoll(), unavailablePollPeriod);
    expectConnected();
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(RuntimeDrills, AConnectionAcceptedAndNeverAnswered)
{
    watch();
    server.setHandler(u"session.snapshot"_s,
                      [](const FakeRequest&) { return FakeReply::silent(); });
    nextPoll();
    expectUnreachableButKeepingWhatItKnew();
    scenario.install(server);
    EXPECT_EQ(nextPoll(), unavailablePollPeriod);
    expectConnected();

    // A subscription accepted and never answered holds only its own thread: the polls go on,
    // and the end of the session ends it at once.
    server.setHandler(u"events.subscribe"_s,
                      [](const FakeRequest&) { return FakeReply::silent(); });
    server.dropSubscribers();
    const std::size_t subscribes = requestCount(u"events.subscribe"_s);
    EXPECT_EQ(nextStreamAttempt(), 0.25);
    ASSERT_TRUE(processEventsUntil(
        [&] { return requestCount(u"events.subscribe"_s) == subscribes + 1; }, 5s));
    nextPoll();
    expectConnected();
    runtime->stop();
    EXPECT_TRUE(runtime->waitForEventStreamExit(5s));
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(RuntimeDrills, AReplyToAnotherRequest)
{
    watch();
    // The very answer under another id: one request per connection, so it is taken.
    server.setHandler(u"session.snapshot"_s, [&](const FakeRequest&) {
        return FakeReply::result(JSONValue::object({{u"type"_s, u"session_snapshot"_s},
                                                    {u"snapshot"_s, scenario.snapshotJSON()}}))
            .withID(u"7"_s);
    });
    nextPoll();
    expectConnected();

    // Another request's answer: not a session without panes.
    const StateTransitionResult quiet;
    server.setHandler(u"session.snapshot"_s, [](const FakeRequest&) {
        return FakeReply::result(
                   JSONValue::object(
                       {{u"type"_s, u"pong"_s}, {u"version"_s, u"0.8.0"_s}, {u"protocol"_s, 19}}))
            .withID(u"2"_s);
    });
    nextPoll();
    expectUnreachableButKeepingWhatItKnew();
    server.setHandler(u"session.snapshot"_s, [](const FakeRequest&) {
        return FakeReply::result(JSONValue::object({{u"type"_s, u"ok"_s}})).withID(u"3"_s);
    });
    nextPoll();
    expectUnreachableButKeepingWhatItKnew();

    scenario.install(server);
    EXPECT_EQ(nextPoll(), unavailablePollPeriod);
    expectConnected();
    EXPECT_EQ(host.cycles.back().transitions, quiet) << "no pane came back as new";
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(RuntimeDrills, AnAnswerWhoseReadFailsSendsNoKey)
{
    watch();
    ASSERT_TRUE(runtime->interactions().state(u"w1:p1"_s).has_value());
    const QByteArray whole = readReply();
    const std::vector<std::pair<const char*, FakeReply>> faults = {
        {"cut mid-line", FakeReply::raw(whole.left(whole.size() / 2))},
        {"a byte every 100 ms", FakeReply::trickle(whole, 100ms)},
        {"never answered", FakeReply::silent()},
        {"closed without a reply", FakeReply::closeWithoutReply()},
        {"another request's answer",
         FakeReply::result(JSONValue::object({{u"type"_s, u"session_snapshot"_s},
                                              {u"snapshot"_s, scenario.snapshotJSON()}}))
             .withID(u"2"_s)},
    };
    for (const auto& [name, fault] : faults) {
        server.setHandler(u"pane.read"_s, [fault](const FakeRequest&) { return fault; });
        EXPECT_FALSE(approve()) << name;
        EXPECT_EQ(keysSent(), 0u) << name;
    }

    scenario.install(server);
    EXPECT_TRUE(approve(true));
    const auto sent = server.requestsFor(u"pane.send_keys"_s);
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(sent.front().params.member(u"pane_id")->stringValue(), u"w1:p1"_s);
}

} // namespace
