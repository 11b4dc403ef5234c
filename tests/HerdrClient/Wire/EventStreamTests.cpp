#include "HerdrClient/Wire/HerdrClient.h"
#include "HerdrClient/Wire/Subscription.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

TEST(Subscription, PaneIDIsOnTheWireOnlyWhenPresent)
{
    const std::vector<Subscription> list = {{u"pane.agent_status_changed"_s, u"w1:p1"_s},
                                            {u"pane.created"_s, std::nullopt}};
    EXPECT_EQ(
        Subscription::subscribeParams(list).serialized(),
        R"({"subscriptions":[{"pane_id":"w1:p1","type":"pane.agent_status_changed"},{"type":"pane.created"}]})");
    // An empty pane id is still sent: it is not the same as none at all.
    EXPECT_EQ((Subscription{u"pane.created"_s, QString()}).asJSONValue().serialized(),
              R"({"pane_id":"","type":"pane.created"})");
}

// A stream against a fake herdr, with the waits between attempts under the test's control.
class EventStreamTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server.start()) << server.lastError().toStdString(); }

    std::unique_ptr<EventStream> open(const QString& socketPath,
                                      std::vector<Subscription> subscriptions = defaultList())
    {
        EventStreamOptions options;
        options.sleep = clock.blockingSleeper();
        options.debug = [this](const QString& line) {
            std::lock_guard lock(debugMutex);
            debugLines.push_back(line);
        };
        return HerdrClient(HerdrEndpoint::unixSocket(socketPath))
            .events([subscriptions] { return subscriptions; }, BackoffPolicy::defaultPolicy(),
                    std::move(options));
    }

    static std::vector<Subscription> defaultList()
    {
        return {{u"pane.agent_status_changed"_s, u"w1:p1"_s}, {u"pane.created"_s, std::nullopt}};
    }

    // The values that arrive, until `count` came or the stream ended.
    static std::vector<JSONValue> collect(EventStream& stream, std::size_t count)
    {
        return runTask([](EventStream* s, std::size_t n) -> QCoro::Task<std::vector<JSONValue>> {
            std::vector<JSONValue> values;
            while (values.size() < n) {
                auto value = co_await s->next();
                if (!value)
                    break;
                values.push_back(std::move(*value));
            }
            co_return values;
        }(&stream, count));
    }

    std::vector<QString> debugOutput()
    {
        std::lock_guard lock(debugMutex);
        return debugLines;
    }

    ManualClock clock;
    FakeHerdrServer server;
    std::mutex debugMutex;
    std::vector<QString> debugLines;
};

TEST_F(EventStreamTest, SubscribesThenPassesEventsButNotTheAcknowledgement)
{
    server.setPaneExists([](const QString&) { return true; });
    auto stream = open(server.socketPath());
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    EXPECT_EQ(
        server.requestLines(),
        std::vector<QByteArray>{
            R"({"id":"sub","method":"events.subscribe","params":{"subscriptions":[{"pane_id":"w1:p1","type":"pane.agent_status_changed"},{"type":"pane.created"}]}})"});

    server.publish(
        u"pane.agent_status_changed"_s,
        JSONValue::object({{u"pane_id"_s, u"w1:p1"_s}, {u"agent_status"_s, u"blocked"_s}}));
    server.publishRaw("not json at all");
    server.publishRaw(R"({"error":null,"event":"pane_created","data":{}})");
    server.publishRaw("[1,2]");
    const auto values = collect(*stream, 3);
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(
        values[0].serialized(),
        R"({"data":{"agent_status":"blocked","pane_id":"w1:p1"},"event":"pane.agent_status_changed"})");
    EXPECT_EQ(values[1].serialized(), R"({"data":{},"error":null,"event":"pane_created"})");
    EXPECT_EQ(values[2].serialized(), "[1,2]");
    EXPECT_FALSE(stream->take());
    EXPECT_EQ(debugOutput().front(), u"[events] subscribed with 2 subs"_s);
}

// Wherever the loop waits, stop ends it at once.
TEST_F(EventStreamTest, StopEndsEveryWaitAtOnce)
{
    const auto stopsAtOnce = [](EventStream& stream) {
        stream.stop();
        EXPECT_TRUE(stream.waitForLoopExit(100ms));
        EXPECT_FALSE(runTask(stream.next()));
    };
    // Reading events: the socket is closed too, and no new attempt is planned.
    auto reading = open(server.socketPath(), {{u"pane.created"_s, std::nullopt}});
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    stopsAtOnce(*reading);
    EXPECT_TRUE(server.waitForSubscribersAtMost(0, 5s));
    EXPECT_EQ(clock.requestedSleeps(), std::vector<double>{});

    // Waiting for an acknowledgement that never comes.
    server.setHandler(u"events.subscribe"_s,
                      [](const FakeRequest&) { return FakeReply::silent(); });
    auto unanswered = open(server.socketPath());
    ASSERT_TRUE(server.waitForRequests(2, 5s));
    stopsAtOnce(*unanswered);

    // Waiting between attempts on a socket that is not there.
    QTemporaryDir directory;
    auto retrying = open(directory.filePath(u"absent.sock"_s));
    ASSERT_TRUE(clock.waitForSleepRequests(1, 5s));
    stopsAtOnce(*retrying);
    EXPECT_TRUE(HerdrClient::socketQueue()->waitForDone(5000));
}

TEST_F(EventStreamTest, ARejectedSubscriptionYieldsTheMarkerAndEnds)
{
    server.setPaneExists([](const QString& pane) { return pane != u"w1:p1"; });
    auto stream = open(server.socketPath());
    const auto values = collect(*stream, 5);
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(
        values[0].serialized(),
        R"({"data":{"code":"pane_not_found","message":"pane w1:p1 not found"},"event":"__subscribe_error"})");
    EXPECT_TRUE(stream->isAtEnd());
    ASSERT_TRUE(stream->waitForLoopExit(5s));
    // The stream does not try again by itself.
    EXPECT_EQ(server.requestsFor(u"events.subscribe"_s).size(), 1u);
    EXPECT_EQ(clock.requestedSleeps(), std::vector<double>{});
    EXPECT_EQ(debugOutput().back(), u"[events] subscribe rejected: pane w1:p1 not found"_s);
}

TEST_F(EventStreamTest, RetriesAMissingSocketWithBackoffAndConnectsOnceItAppears)
{
    QTemporaryDir directory;
    ASSERT_TRUE(directory.isValid());
    const QString path = directory.filePath(u"herdr.sock"_s);
    auto stream = open(path, {{u"pane.created"_s, std::nullopt}});
    for (std::size_t n = 1; n <= 7; ++n) {
        ASSERT_TRUE(clock.waitForSleepRequests(n, 5s)) << n;
        if (n < 7)
            clock.advance(clock.requestedSleeps().back() * 1s);
    }
    EXPECT_EQ(clock.requestedSleeps(), (std::vector<double>{0.25, 0.5, 1, 2, 4, 5, 5}));

    FakeHerdrServer late(path);
    ASSERT_TRUE(late.start());
    clock.advance(5s);
    EXPECT_TRUE(late.waitForSubscribers(1, 5s));
    EXPECT_EQ(clock.requestedSleeps().size(), 7u);
    stream->stop();
    EXPECT_TRUE(stream->waitForLoopExit(5s));
}

TEST_F(EventStreamTest, AConnectionThatGotAsFarAsSubscribingResetsTheBackoff)
{
    server.setHandler(u"events.subscribe"_s, [](const FakeRequest&) {
        return FakeReply::raw(R"({"id":"sub","result":{"type":"subscription_started"}})"
                              "\n");
    });
    auto stream = open(server.socketPath());
    for (std::size_t n = 1; n <= 3; ++n) {
        ASSERT_TRUE(clock.waitForSleepRequests(n, 5s));
        if (n < 3)
            clock.advance(1s);
    }
    EXPECT_EQ(clock.requestedSleeps(), (std::vector<double>{0.25, 0.25, 0.25}));
    EXPECT_GE(server.requestsFor(u"events.subscribe"_s).size(), 3u);
    stream->stop();
    EXPECT_TRUE(stream->waitForLoopExit(5s));
    const auto lines = debugOutput();
    EXPECT_NE(
        std::find(lines.begin(), lines.end(), u"[events] error: herdr closed the event stream"_s),
        lines.end());
}

TEST_F(EventStreamTest, DebugLinesShowTheFirstEightyCharactersOfEachLine)
{
    auto stream = open(server.socketPath(), {{u"pane.created"_s, std::nullopt}});
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    // Flags are two code points each: characters are what a person counts.
    const QString flags = QString(u"🇫🇷"_s).repeated(100);
    server.publishRaw(JSONValue::object({{u"event"_s, u"x"_s}, {u"data"_s, flags}}).serialized());
    ASSERT_EQ(collect(*stream, 1).size(), 1u);
    const auto lines = debugOutput();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1],
              u"[events] line: {\"id\":\"sub\",\"result\":{\"type\":\"subscription_started\"}}"_s);
    EXPECT_EQ(lines[2], u"[events] line: {\"data\":\""_s + QString(u"🇫🇷"_s).repeated(71));
}

} // namespace
