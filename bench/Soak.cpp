// soak [--minutes N | --seconds N] [--seed S] [--sessions N] ORREL_SENTRY
// The resident application left running against fake herdr sessions that churn once a second,
// from a seeded generator so that a run can be repeated: panes appear and vanish, statuses flip,
// prompts come and go, and now and then a session's server goes away for a few seconds and comes
// back on the same socket, as herdr does when it restarts. Every 10 s it samples the application's
// resident memory, descriptors, threads and CPU; at the end it prints their first and last values
// and their slope per hour. Fails when the application dies, or when its board does not match the
// sessions once the churn stops.
// Needs an X server ($DISPLAY); run it under tests/support/desktop-session on a headless machine.
#include "bench/ResidentApp.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int initialPanes = 12;
constexpr int fewestPanes = 6;
constexpr int mostPanes = 24;
constexpr auto tick = 1s;
constexpr auto samplePeriod = 10s;

[[noreturn]] void fail(const QString& message)
{
    std::fprintf(stderr, "soak: %s\n", qPrintable(message));
    std::exit(1);
}

struct ChurnCounts {
    int statusFlips = 0;
    int panesAdded = 0;
    int panesRemoved = 0;
    int promptsUp = 0;
    int promptsDown = 0;
    int restarts = 0;

    int changes() const
    {
        return statusFlips + panesAdded + panesRemoved + promptsUp + promptsDown;
    }
};

class Random {
public:
    explicit Random(std::uint64_t seed) : m_engine(seed) {}
    // In [0, count); the same sequence for a seed on every standard library.
    int below(int count) { return int(m_engine() % std::uint64_t(count)); }
    bool oneIn(int count) { return below(count) == 0; }

private:
    std::mt19937_64 m_engine;
};

FakeScreen screenFor(const QString& agent, AgentStatus status)
{
    if (status == AgentStatus::working)
        return {agent == u"claude"
                    ? u"● Running the tests\n  ⎿  Running… (4s · esc to interrupt)\n"_s
                    : u"• Working (4s • esc to interrupt)\n"_s,
                {},
                {}};
    return {u"> \n"_s, {}, {}};
}

// One herdr session: its scenario, the server that serves it, and what the churn put on it.
class ChurningSession {
public:
    ChurningSession(QString socketPath, int number) : m_socketPath(std::move(socketPath))
    {
        auto empty = FakeScenario::fromJSON(JSONValue(JSONValue::Object{}));
        if (!empty)
            fail(empty.error());
        m_scenario = *empty;
        m_nextPane = number * 10000;
    }

    void populate(Random& random, ChurnCounts& counts)
    {
        for (int i = 0; i < initialPanes; ++i)
            addPane(random, counts);
    }

    bool start()
    {
        auto server = std::make_unique<FakeHerdrServer>(m_socketPath);
        if (!server->start()) {
            std::fprintf(stderr, "soak: %s: %s\n", qPrintable(m_socketPath),
                         qPrintable(server->lastError()));
            return false;
        }
        m_scenario.install(*server);
        // The stopped server goes only now: until then the scenario still tells it its changes.
        m_server = std::move(server);
        m_down = false;
        return true;
    }

    // Closes the socket and every stream, and removes the socket file, as herdr does on its way
    // out.
    void stop()
    {
        m_server->stop();
        m_down = true;
    }
    bool isDown() const { return m_down; }
    int paneCount() const { return int(m_panes.size()); }

    // One second's changes.
    void churn(Random& random, ChurnCounts& counts, int& promptNumber)
    {
        for (int flips = 1 + random.below(2); flips > 0; --flips)
            flipStatus(random, counts);
        if (random.oneIn(5) && paneCount() < mostPanes)
            addPane(random, counts);
        if (random.oneIn(5) && paneCount() > fewestPanes)
            removePane(random, counts);
        if (random.oneIn(4))
            promptUp(random, counts, ++promptNumber);
        if (random.oneIn(4))
            promptDown(random, counts);
        // The request log would otherwise grow for as long as the soak runs.
        m_server->clearRequests();
    }

private:
    struct Pane {
        QString agent;
        AgentStatus status = AgentStatus::idle;
        bool prompt = false;
    };

    // A pane id, drawn uniformly from those that `take`.
    QString pick(Random& random, const std::function<bool(const Pane&)>& take) const
    {
        std::vector<QString> ids;
        for (const auto& [id, pane] : m_panes) {
            if (take(pane))
                ids.push_back(id);
        }
        return ids.empty() ? QString() : ids[std::size_t(random.below(int(ids.size())))];
    }

    void addPane(Random& random, ChurnCounts& counts)
    {
        const QString id = u"w%1:p%2"_s.arg(1 + random.below(3)).arg(++m_nextPane);
        const Pane pane{random.oneIn(3) ? u"codex"_s : u"claude"_s,
                        random.oneIn(2) ? AgentStatus::working : AgentStatus::idle, false};
        m_scenario.addPane(JSONValue(JSONValue::Object{
                               {u"pane_id"_s, JSONValue(id)},
                               {u"agent"_s, JSONValue(pane.agent)},
                               {u"agent_status"_s, JSONValue(toString(pane.status))},
                               {u"cwd"_s, JSONValue(u"/tmp/orrel-soak/%1"_s.arg(m_nextPane))}}),
                           screenFor(pane.agent, pane.status));
        m_panes.emplace(id, pane);
        ++counts.panesAdded;
    }

    void removePane(Random& random, ChurnCounts& counts)
    {
        const QString id = pick(random, [](const Pane&) { return true; });
        m_scenario.removePane(id);
        m_panes.erase(id);
        ++counts.panesRemoved;
    }

    void flipStatus(Random& random, ChurnCounts& counts)
    {
        const QString id = pick(random, [](const Pane& pane) { return !pane.prompt; });
        if (id.isEmpty())
            return;
        static constexpr AgentStatus statuses[] = {AgentStatus::working, AgentStatus::idle,
                                                   AgentStatus::done};
        Pane& pane = m_panes[id];
        AgentStatus next = pane.status;
        while (next == pane.status)
            next = statuses[random.below(3)];
        pane.status = next;
        m_scenario.setScreen(id, screenFor(pane.agent, next));
        m_scenario.setPaneStatus(id, next);
        ++counts.statusFlips;
    }

    void promptUp(Random& random, ChurnCounts& counts, int number)
    {
        const QString id =
            pick(random, [](const Pane& pane) { return pane.agent == u"claude" && !pane.prompt; });
        if (id.isEmpty())
            return;
        Pane& pane = m_panes[id];
        pane.prompt = true;
        pane.status = AgentStatus::blocked;
        m_scenario.setScreen(
            id, {claudeApprovalScreen(u"npm run migrate -- --step %1"_s.arg(number)), {}, {}});
        m_scenario.setPaneStatus(id, AgentStatus::blocked);
        ++counts.promptsUp;
    }

    // The prompt is answered in the terminal: the agent goes back to work.
    void promptDown(Random& random, ChurnCounts& counts)
    {
        const QString id = pick(random, [](const Pane& pane) { return pane.prompt; });
        if (id.isEmpty())
            return;
        Pane& pane = m_panes[id];
        pane.prompt = false;
        pane.status = AgentStatus::working;
        m_scenario.setScreen(id, screenFor(pane.agent, pane.status));
        m_scenario.setPaneStatus(id, pane.status);
        ++counts.promptsDown;
    }

    QString m_socketPath;
    // Before the server: the handlers it runs belong to the scenario.
    FakeScenario m_scenario;
    std::unique_ptr<FakeHerdrServer> m_server;
    std::map<QString, Pane> m_panes;
    int m_nextPane = 0;
    bool m_down = true;
};

struct Sample {
    double seconds = 0;
    ProcessSample process;
};

// Least squares over the samples, per hour.
double slopePerHour(const std::vector<Sample>& samples, double (*value)(const ProcessSample&))
{
    const double n = double(samples.size());
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (const Sample& s : samples) {
        const double x = s.seconds / 3600, y = value(s.process);
        sx += x;
        sy += y;
        sxx += x * x;
        sxy += x * y;
    }
    const double denominator = n * sxx - sx * sx;
    return samples.size() < 2 || denominator == 0 ? 0 : (n * sxy - sx * sy) / denominator;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    int seconds = 600;
    std::uint64_t seed = 1;
    int sessionCount = 3;
    QString program;
    const QStringList arguments = application.arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const bool hasValue = i + 1 < arguments.size();
        if (arguments[i] == u"--seconds" && hasValue)
            seconds = arguments[++i].toInt();
        else if (arguments[i] == u"--minutes" && hasValue)
            seconds = arguments[++i].toInt() * 60;
        else if (arguments[i] == u"--seed" && hasValue)
            seed = arguments[++i].toULongLong();
        else if (arguments[i] == u"--sessions" && hasValue)
            sessionCount = arguments[++i].toInt();
        else
            program = arguments[i];
    }
    if (program.isEmpty() || seconds < 1 || sessionCount < 1
        || qEnvironmentVariableIsEmpty("DISPLAY"))
        fail(u"usage: soak [--minutes N | --seconds N] [--seed S] [--sessions N] ORREL_SENTRY "
             "(with $DISPLAY)"_s);

    QTemporaryDir directory;
    Random random(seed);
    ChurnCounts counts;
    std::vector<std::unique_ptr<ChurningSession>> sessions;
    std::vector<ListedSession> listed;
    for (int index = 0; index < sessionCount; ++index) {
        const QString name = u"soak%1"_s.arg(index);
        const QString folder = directory.filePath(u"config/herdr/sessions/"_s + name);
        QDir().mkpath(folder);
        sessions.push_back(std::make_unique<ChurningSession>(folder + u"/herdr.sock"_s, index + 1));
        sessions.back()->populate(random, counts);
        if (!sessions.back()->start())
            return 1;
        listed.push_back({name, folder + u"/herdr.sock"_s});
    }
    counts = {};
    auto paneTotal = [&] {
        int total = 0;
        for (const auto& session : sessions)
            total += session->paneCount();
        return total;
    };

    QProcess app;
    app.setProcessEnvironment(residentEnvironment(directory.path(), listed));
    // Its messages go to a file, shown if it dies: an hour of them would bury the figures.
    const QString appLog = directory.filePath(u"orrel-sentry.log"_s);
    app.setStandardOutputFile(appLog);
    app.setStandardErrorFile(appLog, QIODevice::Append);
    app.start(program, {});
    if (!app.waitForStarted(10000))
        fail(u"%1 did not start"_s.arg(program));
    const qint64 pid = app.processId();
    const AutomationChannel channel(directory.filePath(u"automation.sock"_s));
    auto boardMatches = [&](const QJsonObject& state) {
        return state.value(u"agentCount"_s).toInt() == paneTotal();
    };
    if (!channel.waitFor(boardMatches, 60s))
        fail(u"the application never showed the %1 agents"_s.arg(paneTotal()));

    auto died = [&] {
        if (app.state() == QProcess::Running && !app.waitForFinished(0))
            return false;
        QFile log(appLog);
        const QByteArray text = log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
        std::fprintf(stderr, "%s\n", text.right(4000).constData());
        return true;
    };

    std::printf("soak: %d s, seed %llu, %d sessions of %d panes to start with; %s\n", seconds,
                static_cast<unsigned long long>(seed), sessionCount, initialPanes,
                qPrintable(program));
    std::printf("%8s %10s %6s %8s %9s %7s\n", "seconds", "resident", "fds", "threads", "cpu s",
                "agents");
    std::fflush(stdout);
    std::vector<Sample> samples;
    std::map<std::size_t, int> comesBackAt; // session index, tick
    int nextRestart = 20 + random.below(50);
    int promptNumber = 0;
    const auto begin = std::chrono::steady_clock::now();
    const auto end = begin + std::chrono::seconds(seconds);
    auto nextSample = begin;
    for (int ticks = 0;; ++ticks) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= nextSample || now >= end) {
            const Sample sample{std::chrono::duration<double>(now - begin).count(),
                                sampleProcess(pid)};
            samples.push_back(sample);
            const QJsonValue agents = channel.state().value(u"agentCount"_s);
            std::printf("%8.0f %8.1fMB %6d %8d %9.2f %7s\n", sample.seconds,
                        sample.process.residentMegabytes, sample.process.descriptors,
                        sample.process.threads, sample.process.cpuSeconds,
                        agents.isDouble() ? qPrintable(QString::number(agents.toInt())) : "-");
            std::fflush(stdout);
            nextSample += samplePeriod;
        }
        if (died())
            fail(u"the application died after %1 s (exit %2)"_s
                     .arg(std::chrono::duration_cast<std::chrono::seconds>(now - begin).count())
                     .arg(app.exitCode()));
        if (now >= end)
            break;

        for (const auto& session : sessions)
            session->churn(random, counts, promptNumber);
        for (auto it = comesBackAt.begin(); it != comesBackAt.end();) {
            if (it->second > ticks) {
                ++it;
                continue;
            }
            if (!sessions[it->first]->start())
                fail(u"a session's server could not come back"_s);
            it = comesBackAt.erase(it);
        }
        if (ticks >= nextRestart) {
            const auto index = std::size_t(random.below(sessionCount));
            if (!sessions[index]->isDown()) {
                sessions[index]->stop();
                comesBackAt[index] = ticks + 1 + random.below(4);
                ++counts.restarts;
            }
            nextRestart = ticks + 20 + random.below(50);
        }
        std::this_thread::sleep_until(std::min(begin + (ticks + 1) * tick, end));
    }

    // The churn stops with every server up; the board must come to show what they hold.
    for (const auto& [index, at] : comesBackAt) {
        if (!sessions[index]->start())
            fail(u"a session's server could not come back"_s);
    }
    const bool converged = channel.waitFor(boardMatches, 60s);
    const int shown = channel.state().value(u"agentCount"_s).toInt(-1);

    // The second half's slope apart: the first minutes hold the warm-up of caches and pools.
    const std::vector<Sample> laterHalf(samples.begin() + std::ptrdiff_t(samples.size() / 2),
                                        samples.end());
    std::printf("\n%-14s %10s %10s %12s %17s\n", "", "first", "last", "slope/hour",
                "2nd half slope/h");
    auto row = [&](const char* name, double (*value)(const ProcessSample&)) {
        std::printf("%-14s %10.2f %10.2f %+12.2f %+17.2f\n", name, value(samples.front().process),
                    value(samples.back().process), slopePerHour(samples, value),
                    slopePerHour(laterHalf, value));
    };
    row("resident MB", [](const ProcessSample& p) { return p.residentMegabytes; });
    row("descriptors", [](const ProcessSample& p) { return double(p.descriptors); });
    row("threads", [](const ProcessSample& p) { return double(p.threads); });
    row("cpu seconds", [](const ProcessSample& p) { return p.cpuSeconds; });
    const double span = samples.back().seconds - samples.front().seconds;
    if (span > 0)
        std::printf("cpu: %.2f %% of a core on average\n",
                    100 * (samples.back().process.cpuSeconds - samples.front().process.cpuSeconds)
                        / span);
    std::printf("churn: %d changes (%d status flips, %d panes added, %d removed, %d prompts up, "
                "%d down), %d session restarts\n",
                counts.changes(), counts.statusFlips, counts.panesAdded, counts.panesRemoved,
                counts.promptsUp, counts.promptsDown, counts.restarts);
    std::printf("board after the churn: %d agents shown, %d on the servers\n", shown, paneTotal());
    std::fflush(stdout);

    channel.request({{u"cmd"_s, u"quit"_s}});
    if (!app.waitForFinished(15000))
        app.kill();
    if (!converged)
        fail(u"the board did not come to match the sessions within 60 s"_s);
    return 0;
}
