// resident-bench [--seconds N] [--answers N] ORREL_SENTRY
// The resident application's two targets, measured on the real program over fake herdr servers:
// - idle CPU and resident memory with 3 sessions of 20 panes, over N seconds (60 by default);
// - an answer sent over the automation channel to the last key the server receives, settle loop
//   excluded, as the median of N answers (30 by default).
// Needs an X server ($DISPLAY); run it under tests/support/desktop-session on a headless machine.
#include "bench/BenchScenario.h"
#include "bench/ResidentApp.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int sessionCount = 3;
constexpr int panesPerSession = 20;
const QString promptPane = u"w9:p99"_s;

QString fail(const QString& message)
{
    std::fprintf(stderr, "resident-bench: %s\n", qPrintable(message));
    std::exit(1);
}

// A claude approval whose command names the round, so that each round is a new prompt.
QJsonObject promptPaneRecord(int round)
{
    const QString working = u"● Running the migration\n  ⎿  Running… (1s · esc to interrupt)\n"_s;
    const QJsonObject workingScreen{{u"visible"_s, working}};
    QJsonArray reactions;
    for (const QJsonArray& keys :
         {QJsonArray{u"1"_s}, QJsonArray{u"enter"_s}, QJsonArray{u"1"_s, u"enter"_s}})
        reactions.append(QJsonObject{
            {u"keys"_s, keys}, {u"agent_status"_s, u"working"_s}, {u"screen"_s, workingScreen}});
    const QString screen = claudeApprovalScreen(u"npm run migrate -- --step %1"_s.arg(round));
    return {{u"pane_id"_s, promptPane},        {u"agent"_s, u"claude"_s},
            {u"agent_status"_s, u"blocked"_s}, {u"revision"_s, 100 + round},
            {u"cwd"_s, u"/tmp/orrel-bench"_s}, {u"screen"_s, QJsonObject{{u"visible"_s, screen}}},
            {u"after_keys"_s, reactions}};
}

FakeScenario scenarioFor(int session, int round)
{
    QJsonObject scenario =
        QJsonDocument::fromJson(sessionScenario(panesPerSession).serialized()).object();
    if (session == 0) {
        QJsonArray panes = scenario.value(u"panes"_s).toArray();
        panes.append(promptPaneRecord(round));
        scenario.insert(u"panes"_s, panes);
    }
    const auto value = JSONValue::parse(QJsonDocument(scenario).toJson(QJsonDocument::Compact));
    auto made = FakeScenario::fromJSON(value.value_or(JSONValue()));
    if (!made)
        fail(made.error());
    return *made;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    int idleSeconds = 60;
    int answers = 30;
    QString program;
    const QStringList arguments = application.arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == u"--seconds" && i + 1 < arguments.size())
            idleSeconds = arguments[++i].toInt();
        else if (arguments[i] == u"--answers" && i + 1 < arguments.size())
            answers = arguments[++i].toInt();
        else
            program = arguments[i];
    }
    if (program.isEmpty() || qEnvironmentVariableIsEmpty("DISPLAY"))
        fail(u"usage: resident-bench [--seconds N] [--answers N] ORREL_SENTRY (with $DISPLAY)"_s);

    QTemporaryDir directory;
    std::vector<std::unique_ptr<FakeHerdrServer>> servers;
    std::vector<FakeScenario> scenarios(sessionCount);
    std::vector<ListedSession> listed;
    for (int index = 0; index < sessionCount; ++index) {
        const QString name = u"bench%1"_s.arg(index);
        const QString folder = directory.filePath(u"config/herdr/sessions/"_s + name);
        QDir().mkpath(folder);
        servers.push_back(std::make_unique<FakeHerdrServer>(folder + u"/herdr.sock"_s));
        if (!servers.back()->start())
            fail(servers.back()->lastError());
        scenarios[index] = scenarioFor(index, 0);
        scenarios[index].install(*servers.back());
        listed.push_back({name, servers.back()->socketPath()});
    }
    const QProcessEnvironment environment = residentEnvironment(directory.path(), listed);
    QProcess app;
    app.setProcessEnvironment(environment);
    app.setProcessChannelMode(QProcess::ForwardedChannels);
    app.start(program, {});
    if (!app.waitForStarted(10000))
        fail(u"%1 did not start"_s.arg(program));
    const AutomationChannel channel(directory.filePath(u"automation.sock"_s));
    const int expectedAgents = sessionCount * panesPerSession + 1;
    if (!channel.waitFor(
            [&](const QJsonObject& state) {
                return state.value(u"agentCount"_s).toInt() >= expectedAgents;
            },
            60s))
        fail(u"the application never saw the %1 agents"_s.arg(expectedAgents));

    // Idle: nothing changes on the servers; the sessions poll and follow their event streams.
    std::this_thread::sleep_for(5s);
    const ProcessSample first = sampleProcess(app.processId());
    ProcessSample last = first;
    double peakMemory = first.residentMegabytes;
    for (int elapsed = 0; elapsed < idleSeconds; elapsed += 10) {
        std::this_thread::sleep_for(std::chrono::seconds(std::min(10, idleSeconds - elapsed)));
        last = sampleProcess(app.processId());
        peakMemory = std::max(peakMemory, last.residentMegabytes);
    }
    const double cpuPercent = 100 * (last.cpuSeconds - first.cpuSeconds) / idleSeconds;
    std::printf("idle over %d s with %d agents: CPU %.2f %% of a core; resident memory %.1f MB "
                "(peak %.1f MB); %d descriptors, %d threads\n",
                idleSeconds, expectedAgents, cpuPercent, last.residentMegabytes, peakMemory,
                last.descriptors, last.threads);

    // Answers: each round puts a new prompt on the pane and times one answer to its last key.
    const QString ref = u"local:bench0/"_s + promptPane;
    std::vector<double> latencies;
    for (int round = 1; round <= answers; ++round) {
        scenarios[0].transitionTo(scenarioFor(0, round));
        channel.request(
            {{u"cmd"_s, u"select"_s}, {u"session"_s, u"local:bench0"_s}, {u"pane"_s, promptPane}});
        const QString step = u"--step %1"_s.arg(round);
        if (!channel.waitFor(
                [&](const QJsonObject& state) {
                    const QJsonObject card = state.value(u"card"_s).toObject();
                    return state.value(u"selected"_s).toString() == ref
                           && card.value(u"choices"_s).toArray().size() == 3
                           && QJsonDocument(card).toJson().contains(step.toUtf8());
                },
                20s))
            fail(u"round %1: the card never showed the new prompt"_s.arg(round));
        const auto sent = std::chrono::steady_clock::now();
        const QJsonObject reply = channel.request({{u"cmd"_s, u"answer"_s}, {u"index"_s, 0}});
        if (!reply.value(u"ok"_s).toBool())
            fail(u"round %1: %2"_s.arg(round).arg(reply.value(u"error"_s).toString()));
        std::chrono::steady_clock::time_point lastKey{};
        for (const FakeRequest& request : servers[0]->requestsFor(u"pane.send_keys"_s)) {
            if (request.receivedAt >= sent)
                lastKey = std::max(lastKey, request.receivedAt);
        }
        if (lastKey == std::chrono::steady_clock::time_point{})
            fail(u"round %1: no key reached the server"_s.arg(round));
        latencies.push_back(std::chrono::duration<double, std::milli>(lastKey - sent).count());
    }
    std::ranges::sort(latencies);
    if (!latencies.empty())
        std::printf(
            "answer to last key over %zu answers: median %.1f ms, p90 %.1f ms, max %.1f ms\n",
            latencies.size(), latencies[latencies.size() / 2], latencies[latencies.size() * 9 / 10],
            latencies.back());

    channel.request({{u"cmd"_s, u"quit"_s}});
    if (!app.waitForFinished(15000))
        app.kill();
    return 0;
}
