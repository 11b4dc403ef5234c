// fake-herdr --socket PATH --scenario FILE [--request-log FILE]
// A herdr stand-in for people and end-to-end runs: serves a scenario file, and reloads it when it
// changes, telling subscribers what changed as herdr would (status events, creations, closings).
// With a request log, every request line is appended to it as it arrives.
// Panes that are tmux panes are looked at on every turn, so that their statuses follow their
// screens.
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

namespace {
std::atomic<bool> stopRequested{false};

void requestStop(int)
{
    stopRequested = true;
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int usage()
{
    std::fputs("usage: fake-herdr --socket PATH --scenario FILE [--request-log FILE]\n", stderr);
    return 2;
}
} // namespace

int main(int argc, char* argv[])
{
    QString socketPath;
    QString scenarioPath;
    QString requestLogPath;
    for (int i = 1; i < argc; ++i) {
        const QString arg = QString::fromLocal8Bit(argv[i]);
        if (arg == u"--socket" && i + 1 < argc)
            socketPath = QString::fromLocal8Bit(argv[++i]);
        else if (arg == u"--scenario" && i + 1 < argc)
            scenarioPath = QString::fromLocal8Bit(argv[++i]);
        else if (arg == u"--request-log" && i + 1 < argc)
            requestLogPath = QString::fromLocal8Bit(argv[++i]);
        else
            return usage();
    }
    if (socketPath.isEmpty() || scenarioPath.isEmpty())
        return usage();

    auto scenario = FakeScenario::load(scenarioPath);
    if (!scenario) {
        std::fprintf(stderr, "fake-herdr: %s\n", qPrintable(scenario.error()));
        return 1;
    }
    FakeHerdrServer server(socketPath);
    std::mutex logLock;
    if (!requestLogPath.isEmpty()) {
        server.setArrivalHook([&](std::size_t, const FakeRequest& request) {
            std::lock_guard guard(logLock);
            QFile log(requestLogPath);
            if (log.open(QIODevice::WriteOnly | QIODevice::Append))
                log.write(request.line + '\n');
        });
    }
    if (!server.start()) {
        std::fprintf(stderr, "fake-herdr: couldn't listen at %s: %s\n", qPrintable(socketPath),
                     qPrintable(server.lastError()));
        return 1;
    }
    scenario->install(server);
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    std::printf("fake-herdr listening at %s with %zu panes\n", qPrintable(socketPath),
                scenario->paneIDs().size());
    std::fflush(stdout);

    QByteArray seen = contents(scenarioPath);
    std::vector<QString> terminalFailures;
    while (!stopRequested) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        // Told once each, not on every turn, while a tmux pane cannot be read.
        auto failures = scenario->refreshTerminals();
        for (const auto& failure : failures) {
            if (std::ranges::find(terminalFailures, failure) == terminalFailures.end())
                std::fprintf(stderr, "fake-herdr: %s\n", qPrintable(failure));
        }
        terminalFailures = std::move(failures);
        const QByteArray now = contents(scenarioPath);
        if (now.isEmpty() || now == seen)
            continue;
        seen = now;
        auto next = FakeScenario::load(scenarioPath);
        if (!next) {
            std::fprintf(stderr, "fake-herdr: keeping the last scenario: %s\n",
                         qPrintable(next.error()));
            continue;
        }
        scenario->transitionTo(*next);
        std::printf("fake-herdr: reloaded %s\n", qPrintable(scenarioPath));
        std::fflush(stdout);
    }
    server.stop();
    return 0;
}
