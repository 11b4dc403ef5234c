#pragma once

#include "tests/OrrelApp/Sessions/SessionRuntimeFixture.h"

#include <QCoroTask>

// A session runtime against a herdr that misbehaves. Its requests give up after a short real
// time; its polls sleep on `clock` and its event stream's backoff on `streamClock`, so that each
// drill says exactly how much time passed between the end of a fault and the recovery.
class RuntimeDrill : public SessionRuntimeTest {
protected:
    // Real seconds; generous enough for a loaded machine, short enough for many drills.
    double requestTimeout = 1.0;
    // What a visible local session waits between polls while herdr cannot be reached.
    static constexpr double unavailablePollPeriod = 1.0;

    SessionRuntime& makeDrilled(std::optional<HerdrEndpoint> endpoint = std::nullopt,
                                SessionDescriptor descriptor = SessionDescriptor::localDefault({}))
    {
        SessionRuntime::Dependencies dependencies;
        const HerdrEndpoint at = endpoint.value_or(HerdrEndpoint::unixSocket(server.socketPath()));
        dependencies.client = std::make_unique<HerdrClient>(at, requestTimeout);
        dependencies.clock = clock.clock();
        dependencies.streamOptions = [this] {
            EventStreamOptions options;
            options.sleep = streamClock.blockingSleeper();
            return options;
        };
        runtime = std::make_unique<SessionRuntime>(descriptor, at, std::move(dependencies));
        return *runtime;
    }

    // Polls once, subscribes with each pane's status, and waits until herdr holds the stream.
    void watch()
    {
        makeDrilled().start(&host);
        ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
        ASSERT_EQ(runtime->connection(), SessionRuntime::Connection::connected);
        runtime->startEventTask(true);
        ASSERT_TRUE(server.waitForSubscribers(1, std::chrono::seconds(5)));
    }

    // Lets the pause before the next poll run out and waits until that poll's cycle is over;
    // returns the pause, in seconds.
    double nextPoll()
    {
        EXPECT_TRUE(processEventsUntil([&] { return clock.pendingSleeps() > 0; }));
        const std::size_t asked = clock.requestedSleeps().size();
        const double pause = clock.requestedSleeps().back();
        clock.advance(Seconds(pause));
        EXPECT_TRUE(processEventsUntil([&] { return clock.requestedSleeps().size() > asked; },
                                       std::chrono::seconds(10)))
            << "the poll did not end";
        return pause;
    }

    // Waits for the event stream's next pause after a failure and lets it run out; returns it.
    // Counted from the start: the stream may well ask for a pause before the test looks.
    double nextStreamAttempt()
    {
        if (!streamClock.waitForSleepRequests(streamPausesTaken + 1, std::chrono::seconds(10))) {
            ADD_FAILURE() << "the event stream did not pause";
            return 0;
        }
        const double pause = streamClock.requestedSleeps()[streamPausesTaken++];
        streamClock.advance(Seconds(pause));
        return pause;
    }

    void expectUnreachableButKeepingWhatItKnew()
    {
        EXPECT_EQ(runtime->connection(), SessionRuntime::Connection::unavailable);
        EXPECT_EQ(runtime->errorText(), u"Couldn't reach herdr — is it running?"_s);
        EXPECT_EQ(runtime->store().panes().size(), 3u);
    }

    void expectConnected()
    {
        EXPECT_EQ(runtime->connection(), SessionRuntime::Connection::connected);
        EXPECT_EQ(runtime->error(), std::nullopt);
        EXPECT_EQ(runtime->store().panes().size(), 3u);
    }

    std::size_t keysSent() const
    {
        return requestCount(u"pane.send_keys"_s) + requestCount(u"pane.send_text"_s);
    }

    std::optional<AgentStatus> status(const QString& paneID) const
    {
        const auto& panes = runtime->store().panes();
        const auto found = panes.find(paneID);
        if (found == panes.end())
            return std::nullopt;
        return found->second.agentStatus;
    }

    ManualClock streamClock;
    std::size_t streamPausesTaken = 0;
};
