#include "tests/HerdrClient/Responding/ResponderHarness.h"

#include "HerdrClient/Wire/PaneParams.h"

using namespace Qt::StringLiterals;

namespace {
QCoro::Task<> wakeAtOnce(InstantSleeper* sleeper, Seconds duration)
{
    sleeper->requested.push_back(duration);
    if (sleeper->beforeWake)
        sleeper->beforeWake();
    co_return;
}

QCoro::Task<> nothing()
{
    co_return;
}
} // namespace

Clock InstantSleeper::clock()
{
    return Clock{[] { return Timestamp{}; },
                 [this](Seconds duration) { return wakeAtOnce(this, duration); }};
}

QCoro::Task<InteractionReadResult> ScriptedProvider::interaction(QString paneID,
                                                                 std::optional<QString> agentID,
                                                                 std::optional<quint64>)
{
    ++reads;
    paneIDs.push_back(paneID);
    agentIDs.push_back(agentID);
    if (readings.empty())
        co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
    InteractionReadResult next = std::move(readings.front());
    readings.pop_front();
    co_return next;
}

FakeHerdrPane::FakeHerdrPane(const QString& screen, std::optional<double> requestTimeout)
{
    const auto loaded = FakeScenario::fromJSON(JSONValue::object(
        {{u"panes"_s, JSONValue::array({JSONValue::object(
                          {{u"pane_id"_s, u"w1:p1"_s},
                           {u"agent"_s, u"claude"_s},
                           {u"agent_status"_s, u"blocked"_s},
                           {u"screen"_s, JSONValue::object({{u"visible"_s, screen}})}})})}}));
    scenario = *loaded;
    server.start();
    scenario.install(server);
    client = std::make_unique<HerdrClient>(HerdrEndpoint::unixSocket(server.socketPath()),
                                           requestTimeout);
}

std::vector<std::pair<QString, JSONValue>> FakeHerdrPane::sends() const
{
    std::vector<std::pair<QString, JSONValue>> out;
    for (const auto& request : server.requests()) {
        if (request.method.startsWith(u"pane.send"))
            out.emplace_back(request.method, request.params);
    }
    return out;
}

std::vector<QString> FakeHerdrPane::methods() const
{
    std::vector<QString> out;
    for (const auto& request : server.requests())
        out.push_back(request.method);
    return out;
}

JSONValue keysParams(std::vector<QString> keys, const QString& pane)
{
    return PaneSendKeysParams{pane, std::move(keys)}.asJSONValue();
}

JSONValue textParams(const QString& text, const QString& pane)
{
    return PaneSendTextParams{pane, text}.asJSONValue();
}

InteractionPhaseCallback PhaseLog::callback()
{
    return [this](InteractionResponsePhase phase) {
        phases.push_back(phase);
        return nothing();
    };
}
