// The view model's two speed targets, on real runtimes over fake herdr servers:
// - the board and the list of agents, computed at each redraw, over 3 sessions of 20 panes;
// - a status event written by a server, to the needs-you list of the view model updated.
#include "HerdrClient/Wire/HerdrClient.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "bench/BenchScenario.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// The system clock, moved forward on demand: a blocked root can be taken past its grace at once.
std::atomic<std::chrono::seconds::rep> clockOffset{0};

Clock offsetClock()
{
    Clock clock = Clock::system();
    clock.now = [] { return Clock::system().now() + std::chrono::seconds(clockOffset.load()); };
    return clock;
}

bool processEventsUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > limit.count())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

struct BenchSession {
    FakeHerdrServer server;
    FakeScenario scenario;
};

// Real runtimes of the registry, polling and following events, for as long as the benchmark runs.
struct Sessions {
    std::vector<std::unique_ptr<BenchSession>> sessions;
    std::unique_ptr<OrrelViewModel> model;
    int observed = 0;

    bool start(int sessionCount, int paneCount)
    {
        std::vector<ResolvedSession> resolved;
        for (int index = 0; index < sessionCount; ++index) {
            auto session = std::make_unique<BenchSession>();
            auto scenario = FakeScenario::fromJSON(sessionScenario(paneCount));
            if (!scenario || !session->server.start())
                return false;
            session->scenario = *scenario;
            session->scenario.install(session->server);
            SessionDescriptor descriptor{
                SessionDescriptor::Kind::local(index == 0 ? u"default"_s : u"s%1"_s.arg(index)),
                session->server.socketPath(), index == 0, true};
            resolved.push_back(
                {descriptor, HerdrEndpoint::unixSocket(session->server.socketPath())});
            sessions.push_back(std::move(session));
        }
        SessionRegistry::Options options;
        options.makeDependencies = [](const ResolvedSession& session) {
            SessionRuntime::Dependencies dependencies;
            dependencies.client = std::make_unique<HerdrClient>(session.endpoint, 5.0);
            dependencies.clock = offsetClock();
            dependencies.environment = {};
            return dependencies;
        };
        model = std::make_unique<OrrelViewModel>(std::make_unique<SessionRegistry>(options),
                                                 offsetClock());
        QObject::connect(model.get(), &OrrelViewModel::observed, model.get(),
                         [this] { ++observed; });
        model->start();
        model->registry().apply(resolved);
        return processEventsUntil([&] { return observed >= sessionCount; }, 10s);
    }
};

void BM_AttentionBoard(benchmark::State& state)
{
    Sessions sessions;
    if (!sessions.start(3, 20)) {
        state.SkipWithError("the fake sessions did not start");
        return;
    }
    for (auto _ : state) {
        const Timestamp now = sessions.model->now();
        benchmark::DoNotOptimize(sessions.model->attentionItems(now));
        benchmark::DoNotOptimize(sessions.model->attentionBoard(now));
    }
    state.counters["panes"] = double(sessions.model->agentCount());
}
BENCHMARK(BM_AttentionBoard)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly();

// Each trial takes a root into a new blocked stay, moves the clock past its grace, and then times
// a status event of another pane: the cycle it starts must bring the root to "needs you".
void BM_StatusEventToNeedsYou(benchmark::State& state)
{
    Sessions sessions;
    if (!sessions.start(1, 20)) {
        state.SkipWithError("the fake session did not start");
        return;
    }
    OrrelViewModel& model = *sessions.model;
    FakeScenario& scenario = sessions.sessions.front()->scenario;
    const AgentRef root{u"local:default"_s, u"w1:p2"_s};
    const auto needsRoot = [&] {
        const auto refs = model.needsYouRefs();
        return std::ranges::find(refs, root) != refs.end();
    };
    SessionRuntime* runtime = model.runtimes().front();
    bool flip = false;
    for (auto _ : state) {
        state.PauseTiming();
        scenario.setPaneStatus(root.paneID, AgentStatus::working);
        processEventsUntil(
            [&] {
                return !needsRoot() && !runtime->attention().blockedPaneIDs().contains(root.paneID);
            },
            10s);
        scenario.setPaneStatus(root.paneID, AgentStatus::blocked);
        processEventsUntil(
            [&] { return runtime->attention().blockedPaneIDs().contains(root.paneID); }, 10s);
        clockOffset += 31;
        state.ResumeTiming();
        flip = !flip;
        const int before = sessions.observed;
        scenario.setPaneStatus(u"w1:p0"_s, flip ? AgentStatus::idle : AgentStatus::working);
        // Done when the view model lists the root and its reaction to the cycle has run.
        if (!processEventsUntil([&] { return needsRoot() && sessions.observed > before; }, 10s)) {
            state.SkipWithError("the root never reached needs-you");
            return;
        }
    }
}
BENCHMARK(BM_StatusEventToNeedsYou)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(40)
    ->Repetitions(3)
    ->UseRealTime()
    ->ReportAggregatesOnly();

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    HerdrClient::socketQueue()->waitForDone(5000);
    return 0;
}
