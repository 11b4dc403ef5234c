#pragma once

#include "HerdrClient/Support/BackoffPolicy.h"
#include "HerdrClient/Support/CancellablePause.h"
#include "HerdrClient/Support/Environment.h"
#include "HerdrClient/Wire/EventLoopState.h"
#include "HerdrClient/Wire/HerdrEndpoint.h"
#include "HerdrClient/Wire/JSONValue.h"
#include "HerdrClient/Wire/Subscription.h"

#include <QCoroTask>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

// The list to subscribe with, asked afresh for each connection. Called on the loop's thread.
using SubscriptionsFunction = std::function<std::vector<Subscription>()>;

struct EventStreamOptions {
    // The wait between attempts; it must return early when the token stops.
    BlockingSleep sleep = &EventLoopState::sleepRealTime;
    // Receives each debug line (without newline), on the loop's thread; empty means silence.
    std::function<void(const QString&)> debug;

    // Debug lines on standard error when HERDR_DEBUG_EVENTS is "1".
    static EventStreamOptions fromEnvironment(const Environment& environment);
};

// herdr's pushed events, read by a blocking loop on one thread of the socket queue and handed to
// the main thread in order, without bound. The loop reconnects by itself after failures and ends
// only when stopped: by `stop`, by dropping the stream, or by herdr rejecting the subscription,
// which is passed on as `{"event":"__subscribe_error","data":<error>}` before the end.
class EventStream : public QObject {
    Q_OBJECT
public:
    static std::unique_ptr<EventStream> open(HerdrEndpoint endpoint,
                                             SubscriptionsFunction subscriptions,
                                             BackoffPolicy backoff, EventStreamOptions options);
    ~EventStream() override;

    // The next value, waiting for one; nothing once the stream has ended or was stopped. One
    // waiter at a time.
    QCoro::Task<std::optional<JSONValue>> next();
    // The next value that has arrived, without waiting.
    std::optional<JSONValue> take();
    // Ends the stream: wakes the loop wherever it blocks, and a waiting `next`.
    void stop();
    // The loop has ended and every value was taken.
    bool isAtEnd() const;
    // Blocks until the loop's thread has let go of the stream (its socket closed), or the
    // deadline passes.
    bool waitForLoopExit(std::chrono::milliseconds timeout) const;
    // The loop's shared state, which outlives the stream until the loop has returned.
    std::shared_ptr<const EventLoopState> loopState() const { return m_state; }

    static constexpr QStringView subscribeErrorEvent = u"__subscribe_error";

Q_SIGNALS:
    // Queued to the stream's thread: values can be taken.
    void valuesAvailable();
    // The loop ended; values may still wait to be taken.
    void loopEnded();

private:
    struct Channel;

    EventStream(std::shared_ptr<EventLoopState> state, std::shared_ptr<Channel> channel);
    void deliver();

    static void runLoop(HerdrEndpoint endpoint, SubscriptionsFunction subscriptions,
                        BackoffPolicy backoff, EventStreamOptions options,
                        std::shared_ptr<EventLoopState> state, std::shared_ptr<Channel> channel);

    std::shared_ptr<EventLoopState> m_state;
    std::shared_ptr<Channel> m_channel;
    // Where `next` waits for a value. Never resumed from inside stop(): the waiter may well
    // destroy this stream.
    CancellablePause m_arrival{CancellablePause::OnCancel::resumeQueued};
    bool m_stopped = false;
    bool m_endAnnounced = false;
};
