// herdr's event stream: one JSON value a line, each taken into the state store in turn the way
// the event loop does, so that a line can act on the panes the lines before it made.
#include "FuzzSupport.h"

#include "HerdrClient/State/StateStore.h"

#include <chrono>

namespace {

Timestamp fixedNow()
{
    return Timestamp(std::chrono::seconds(1'700'000'000));
}

void applyLine(StateStore& store, QByteArrayView line)
{
    const auto parsed = JSONValue::parse(line);
    if (!parsed)
        return;
    if (const JSONValue* error = parsed->member(u"error"); error && !error->isNull()) {
        (void)error->member(u"message");
        return;
    }
    const auto event = EventEnvelope::from(*parsed);
    if (!event)
        return;
    FuzzSupport::checkRoundTrip<PaneAgentStatusChangedEvent>(event->data);
    (void)event->paneID();
    (void)event->agentStatus();
    if (const auto pane = event->pane())
        (void)pane->asJSONValue();
    (void)store.applyTransitions(*event);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    StateStore store(&fixedNow);
    const QByteArrayView stream(data, qsizetype(size));
    qsizetype start = 0;
    while (start < stream.size()) {
        qsizetype end = stream.indexOf('\n', start);
        if (end < 0)
            end = stream.size();
        applyLine(store, stream.sliced(start, end - start));
        start = end + 1;
    }
    (void)store.overallStatus();
    (void)store.blockedPanes();
    (void)store.possiblyStuckPanes(30, fixedNow() + std::chrono::minutes(5));
    (void)store.currentSubscriptions(true);
    return 0;
}
