// fake-herdr --socket PATH --scenario FILE [--request-log FILE]
// fake-herdr pane report-metadata PANE --source ID [--token NAME=VALUE]... [--clear-token NAME]...
// A herdr stand-in for people and end-to-end runs: serves a scenario file, and reloads it when it
// changes, telling subscribers what changed as herdr would (status events, creations, closings).
// With a request log, every request line is appended to it as it arrives.
// Panes that are tmux panes are looked at on every turn, so that their statuses follow their
// screens. The second form is herdr's CLI for pane tokens, against the server at
// $HERDR_SOCKET_PATH, so that a program in a pane can publish tokens through it as through herdr.
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"

#include <QFile>
#include <QLocalSocket>
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
    std::fputs("usage: fake-herdr --socket PATH --scenario FILE [--request-log FILE]\n"
               "       fake-herdr pane report-metadata PANE --source ID [--token NAME=VALUE]... "
               "[--clear-token NAME]... [--ttl-ms N] [--seq N]\n",
               stderr);
    return 2;
}

// herdr's CLI: nothing printed on success, the error JSON on standard error and 1 on failure.
int reportMetadata(const QStringList& args)
{
    if (args.size() < 3)
        return usage();
    JSONValue::Object params{{u"pane_id"_s, args[2]}};
    JSONValue::Object tokens;
    for (qsizetype i = 3; i < args.size(); ++i) {
        if (i + 1 >= args.size())
            return usage();
        const QString& option = args[i];
        const QString value = args[++i];
        if (option == u"--source")
            params.insert_or_assign(u"source"_s, value);
        else if (option == u"--token" && value.indexOf(u'=') > 0)
            tokens.insert_or_assign(value.section(u'=', 0, 0), value.section(u'=', 1));
        else if (option == u"--clear-token")
            tokens.insert_or_assign(value, JSONValue());
        else if (option == u"--ttl-ms" || option == u"--seq")
            params.insert_or_assign(option.mid(2).replace(u'-', u'_'), value.toDouble());
        else
            return usage();
    }
    params.insert_or_assign(u"tokens"_s, JSONValue(std::move(tokens)));
    const JSONValue request = JSONValue::object({{u"id"_s, u"1"_s},
                                                 {u"method"_s, u"pane.report_metadata"_s},
                                                 {u"params"_s, JSONValue(std::move(params))}});
    QLocalSocket socket;
    socket.connectToServer(qEnvironmentVariable("HERDR_SOCKET_PATH"));
    if (!socket.waitForConnected(5000)) {
        std::fputs("{\"error\":{\"code\":\"server_not_running\"}}\n", stderr);
        return 1;
    }
    socket.write(request.serialized() + '\n');
    QByteArray reply;
    while (!reply.contains('\n') && socket.waitForReadyRead(5000))
        reply += socket.readAll();
    const auto parsed = JSONValue::parse(reply.trimmed());
    if (!parsed || !parsed->member(u"result")) {
        std::fprintf(stderr, "%s\n", reply.trimmed().constData());
        return 1;
    }
    return 0;
}
} // namespace

int main(int argc, char* argv[])
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    if (args.size() >= 2 && args[0] == u"pane" && args[1] == u"report-metadata")
        return reportMetadata(args);

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
