#include "HerdrClient/Wire/EventStream.h"

#include "HerdrClient/Wire/HerdrClient.h"
#include "HerdrClient/Wire/SocketConnection.h"

#include <QPointer>
#include <QTextBoundaryFinder>

#include <cstdio>
#include <deque>
#include <mutex>

using namespace Qt::StringLiterals;

// Values on their way from the loop's thread to the stream's. The stream clears `receiver` under
// the lock before it dies, so the loop never posts to a dead object.
struct EventStream::Channel {
    std::mutex lock;
    std::deque<JSONValue> values;
    bool ended = false;
    bool wakePosted = false;
    EventStream* receiver = nullptr;

    void push(JSONValue value)
    {
        std::lock_guard guard(lock);
        values.push_back(std::move(value));
        postWake();
    }

    void end()
    {
        std::lock_guard guard(lock);
        ended = true;
        postWake();
    }

    void postWake()
    {
        if (wakePosted || !receiver)
            return;
        wakePosted = true;
        EventStream* target = receiver;
        QMetaObject::invokeMethod(
            target, [target] { target->deliver(); }, Qt::QueuedConnection);
    }
};

namespace {

QString firstCharacters(const QString& text, int count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int seen = 0;
    while (seen < count && finder.toNextBoundary() >= 0)
        ++seen;
    return finder.position() < 0 ? text : text.left(finder.position());
}

// The failure of one connection, or nothing when it ended because the stream was stopped.
std::optional<QString> readEvents(SocketConnection& connection, EventLoopState& state,
                                  const std::function<void(JSONValue)>& yield,
                                  const std::function<void(const QString&)>& debug)
{
    for (;;) {
        auto line = connection.readLine();
        if (!line)
            return line.error().errorDescription();
        if (!line->has_value())
            return u"herdr closed the event stream"_s;
        if (debug)
            debug(u"[events] line: "_s + firstCharacters(QString::fromUtf8(**line), 80));
        if (auto parsed = JSONValue::parse(**line)) {
            const JSONValue* error = parsed->member(u"error");
            if (error && !error->isNull()) {
                if (debug) {
                    const JSONValue* message = error->member(u"message");
                    debug(u"[events] subscribe rejected: "_s
                          + (message ? message->stringValue().value_or(QString()) : QString()));
                }
                yield(JSONValue::object({{u"event"_s, EventStream::subscribeErrorEvent.toString()},
                                         {u"data"_s, *error}}));
                // A rejected list would be rejected again; whoever owns the stream decides.
                state.stop();
                return std::nullopt;
            }
            const JSONValue* id = parsed->member(u"id");
            const bool acknowledgement = id && id->stringValue() == u"sub"_s;
            if (!acknowledgement)
                yield(std::move(*parsed));
        }
        if (state.isStopped())
            return std::nullopt;
    }
}

} // namespace

EventStreamOptions EventStreamOptions::fromEnvironment(const Environment& environment)
{
    EventStreamOptions options;
    if (environmentValue(environment, u"HERDR_DEBUG_EVENTS"_s) == u"1") {
        options.debug = [](const QString& line) {
            std::fprintf(stderr, "%s\n", line.toUtf8().constData());
            std::fflush(stderr);
        };
    }
    return options;
}

std::unique_ptr<EventStream> EventStream::open(HerdrEndpoint endpoint,
                                               SubscriptionsFunction subscriptions,
                                               BackoffPolicy backoff, EventStreamOptions options)
{
    auto state = std::make_shared<EventLoopState>();
    auto channel = std::make_shared<Channel>();
    std::unique_ptr<EventStream> stream(new EventStream(state, channel));
    HerdrClient::socketQueue()->start([=]() mutable {
        runLoop(std::move(endpoint), std::move(subscriptions), backoff, std::move(options), state,
                channel);
    });
    return stream;
}

EventStream::EventStream(std::shared_ptr<EventLoopState> state, std::shared_ptr<Channel> channel)
    : m_state(std::move(state)), m_channel(std::move(channel))
{
    std::lock_guard guard(m_channel->lock);
    m_channel->receiver = this;
}

EventStream::~EventStream()
{
    stop();
    std::lock_guard guard(m_channel->lock);
    m_channel->receiver = nullptr;
}

void EventStream::stop()
{
    m_stopped = true;
    m_state->stop();
    m_arrival.cancel();
}

std::optional<JSONValue> EventStream::take()
{
    if (m_stopped)
        return std::nullopt;
    std::lock_guard guard(m_channel->lock);
    if (m_channel->values.empty())
        return std::nullopt;
    JSONValue value = std::move(m_channel->values.front());
    m_channel->values.pop_front();
    return value;
}

bool EventStream::isAtEnd() const
{
    if (m_stopped)
        return true;
    std::lock_guard guard(m_channel->lock);
    return m_channel->ended && m_channel->values.empty();
}

bool EventStream::waitForLoopExit(std::chrono::milliseconds timeout) const
{
    return m_state->waitUntilFinished(timeout);
}

QCoro::Task<std::optional<JSONValue>> EventStream::next()
{
    QPointer self{this};
    for (;;) {
        if (auto value = take())
            co_return value;
        if (isAtEnd())
            co_return std::nullopt;
        Q_ASSERT(!m_arrival.isWaiting());
        co_await m_arrival.wait(m_arrival.nextTicket());
        if (!self)
            co_return std::nullopt;
    }
}

void EventStream::deliver()
{
    bool ended = false;
    {
        std::lock_guard guard(m_channel->lock);
        m_channel->wakePosted = false;
        ended = m_channel->ended;
    }
    QPointer self{this};
    Q_EMIT valuesAvailable();
    if (self && ended && !std::exchange(m_endAnnounced, true))
        Q_EMIT loopEnded();
    if (!self)
        return;
    // Last: the waiter may destroy this stream.
    m_arrival.wake();
}

void EventStream::runLoop(HerdrEndpoint endpoint, SubscriptionsFunction subscriptions,
                          BackoffPolicy backoff, EventStreamOptions options,
                          std::shared_ptr<EventLoopState> state, std::shared_ptr<Channel> channel)
{
    const auto yield = [&channel](JSONValue value) { channel->push(std::move(value)); };
    int attempt = 0;
    while (!state->isStopped()) {
        std::optional<QString> failure;
        {
            SocketConnection connection(endpoint, std::nullopt);
            if (auto connected = connection.connect(); !connected) {
                failure = connected.error().errorDescription();
            } else if (state->adopt(&connection)) {
                const auto list = subscriptions ? subscriptions() : std::vector<Subscription>();
                const QByteArray frame = HerdrClient::requestFrame(
                    u"sub"_s, u"events.subscribe"_s, Subscription::subscribeParams(list));
                // Any connection that got this far was a good one: the next try comes quickly.
                attempt = 0;
                if (auto written = connection.writeLine(frame); !written) {
                    failure = written.error().errorDescription();
                } else {
                    if (options.debug)
                        options.debug(u"[events] subscribed with %1 subs"_s.arg(list.size()));
                    if (!state->isStopped())
                        failure = readEvents(connection, *state, yield, options.debug);
                }
                state->release(&connection);
            }
        }
        if (state->isStopped())
            break;
        if (failure && options.debug)
            options.debug(u"[events] error: "_s + *failure);
        ++attempt;
        if (options.sleep)
            options.sleep(backoff.delay(attempt), state->stopToken());
    }
    channel->end();
    state->markFinished();
}
