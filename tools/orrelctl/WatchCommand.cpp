// watch: one session runtime, printed cycle by cycle until Ctrl-C.
#include "tools/orrelctl/Command.h"

#include "HerdrClient/Wire/SocketPath.h"
#include "OrrelApp/Sessions/SessionRuntime.h"

#include <QCoroSignal>
#include <QCoroTimer>
#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QStringList>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// Ctrl-C and SIGTERM reach the Qt loop through a pipe: writing a byte is all a handler may do.
class InterruptPipe : public QObject {
    Q_OBJECT
public:
    InterruptPipe()
    {
        if (::pipe2(s_fds, O_CLOEXEC | O_NONBLOCK) != 0)
            return;
        struct sigaction action{};
        action.sa_handler = &InterruptPipe::onSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGINT, &action, &m_previousInt);
        ::sigaction(SIGTERM, &action, &m_previousTerm);
        m_notifier = std::make_unique<QSocketNotifier>(s_fds[0], QSocketNotifier::Read);
        // Relayed: awaiting the notifier's own signal trips over its private tag argument.
        connect(m_notifier.get(), &QSocketNotifier::activated, this, &InterruptPipe::interrupted);
    }

    ~InterruptPipe() override
    {
        if (!m_notifier)
            return;
        ::sigaction(SIGINT, &m_previousInt, nullptr);
        ::sigaction(SIGTERM, &m_previousTerm, nullptr);
        m_notifier.reset();
        ::close(s_fds[0]);
        ::close(s_fds[1]);
        s_fds[0] = s_fds[1] = -1;
    }

    bool isReady() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void interrupted();

private:
    static void onSignal(int)
    {
        const int saved = errno;
        const char byte = 1;
        (void)!::write(s_fds[1], &byte, 1);
        errno = saved;
    }

    static inline int s_fds[2] = {-1, -1};
    struct sigaction m_previousInt{};
    struct sigaction m_previousTerm{};
    std::unique_ptr<QSocketNotifier> m_notifier;
};

QString listOrNone(const std::vector<QString>& ids)
{
    return ids.empty() ? u"none"_s : QStringList(ids.begin(), ids.end()).join(u", "_s);
}

// Prints each cycle: the connection, the error, what became blocked or finished, and the
// roots of the agent tree with their workers.
class WatchHost : public SessionRuntimeHost {
public:
    WatchHost(const CommandContext& context, bool json) : m_context(context), m_json(json)
    {
        m_clock.start();
    }

    QCoro::Task<> sessionRuntimeDidObserve(SessionRuntime* runtime,
                                           StateTransitionResult transitions,
                                           std::optional<QString>) override
    {
        printState(*runtime, transitions);
        co_return;
    }

    // A change outside a cycle, such as a rejected subscription.
    void errorChanged(const SessionRuntime& runtime)
    {
        if (runtime.errorText() != m_lastPrintedError && runtime.error())
            printState(runtime, {});
    }

    bool usesPerPaneStatusSubscriptions(const SessionRuntime&) const override { return true; }
    bool isVisibleSession(const SessionRuntime&) const override { return true; }
    bool preservesResolvedSelection() const override { return false; }
    bool isSurfaceExpanded() const override { return false; }

private:
    void printState(const SessionRuntime& runtime, const StateTransitionResult& transitions)
    {
        m_lastPrintedError = runtime.errorText();
        const double elapsed = double(m_clock.elapsed()) / 1000.0;
        const AgentTree& tree = runtime.agentTree();
        const StateStore& store = runtime.store();
        if (m_json) {
            JSONValue::Array roots;
            for (const auto& root : tree.roots()) {
                roots.push_back(JSONValue::object(
                    {{u"paneID"_s, root},
                     {u"status"_s, toString(store.derivedStatus(root))},
                     {u"workers"_s, JSONValue::fromStrings(tree.children(root))}}));
            }
            m_context.printJSON(withRoots(runtime, elapsed, transitions, std::move(roots)));
            return;
        }
        QStringList roots;
        for (const auto& root : tree.roots()) {
            QString text = root + u" ("_s + toString(store.derivedStatus(root)) + u')';
            if (const auto workers = tree.children(root); !workers.empty())
                text += u" with "_s + listOrNone(workers);
            roots << text;
        }
        QString line = u"+%1s %2"_s.arg(elapsed, 0, 'f', 3).arg(
            SessionRuntime::toString(runtime.connection()));
        if (runtime.error())
            line += u": "_s + *runtime.error();
        line += u"; newly blocked: "_s + listOrNone(transitions.newlyBlockedPaneIDs);
        line += u"; newly finished: "_s + listOrNone(transitions.newlyFinishedPaneIDs);
        line += u"; roots: "_s + (roots.isEmpty() ? u"none"_s : roots.join(u", "_s));
        m_context.print(line);
    }

    static JSONValue withRoots(const SessionRuntime& runtime, double elapsed,
                               const StateTransitionResult& transitions, JSONValue::Array roots)
    {
        return RecordWriter()
            .set(u"sessionID"_s, runtime.sessionID())
            .set(u"elapsed"_s, elapsed)
            .set(u"connection"_s, SessionRuntime::toString(runtime.connection()))
            .set(u"error"_s, runtime.error())
            .set(u"newlyBlockedPaneIDs"_s, transitions.newlyBlockedPaneIDs)
            .set(u"newlyFinishedPaneIDs"_s, transitions.newlyFinishedPaneIDs)
            .set(u"roots"_s, JSONValue(std::move(roots)))
            .value();
    }

    CommandContext m_context;
    bool m_json = false;
    QElapsedTimer m_clock;
    QString m_lastPrintedError;
};

QCoro::Task<int> runWatch(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    if (!parseArguments(parser, context, u"watch [--socket PATH | --session NAME] [--json]"_s))
        co_return ExitStatus::usage;
    if (!parser.positionalArguments().isEmpty())
        co_return context.fail(u"orrelctl watch: unexpected argument %1"_s.arg(
                                   parser.positionalArguments().first()),
                               ExitStatus::usage);

    auto client = clientFromOptions(parser, context);
    const HerdrEndpoint endpoint = client->endpoint();
    SessionDescriptor descriptor = SessionDescriptor::localDefault(client->socketPath());
    if (parser.isSet(u"session"_s)) {
        descriptor.kind = SessionDescriptor::Kind::local(parser.value(u"session"_s));
        descriptor.isDefault = false;
    }
    SessionRuntime::Dependencies dependencies;
    dependencies.client = std::move(client);
    dependencies.streamOptions = [environment = context.environment] {
        return EventStreamOptions::fromEnvironment(environment);
    };

    InterruptPipe interrupt;
    if (!interrupt.isReady())
        co_return context.fail(u"orrelctl watch: couldn't set up the interrupt handler"_s);
    WatchHost host(context, parser.isSet(u"json"_s));
    SessionRuntime runtime(descriptor, endpoint, std::move(dependencies));
    QObject::connect(&runtime, &SessionRuntime::errorChanged, &runtime,
                     [&host, &runtime] { host.errorChanged(runtime); }, Qt::QueuedConnection);
    runtime.start(&host);
    runtime.startEventTask(host.usesPerPaneStatusSubscriptions(runtime));

    co_await qCoro(&interrupt, &InterruptPipe::interrupted);
    runtime.stop();
    // Let the stopped tasks see it and end, rather than leave them suspended at exit.
    co_await QCoro::sleepFor(std::chrono::milliseconds(0));
    co_await QCoro::sleepFor(std::chrono::milliseconds(0));
    // The stream's socket is closed by its own thread; wait for that before saying goodbye.
    if (!runtime.waitForEventStreamExit(std::chrono::seconds(2)))
        co_return context.fail(u"orrelctl watch: the event stream did not close in time"_s);
    co_return ExitStatus::success;
}

const CommandRegistration watchRegistration{
    u"watch"_s, u"follow a session live: connection, new blocks and finishes, agent roots"_s,
    &runWatch};

} // namespace

#include "WatchCommand.moc"
