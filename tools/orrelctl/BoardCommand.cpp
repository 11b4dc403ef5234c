// board: every session at once, through the registry and the view model the application runs,
// printed as the surface would show it; with --select, one action performed as a person would.
#include "tools/orrelctl/BoardPrinter.h"
#include "tools/orrelctl/Command.h"
#include "tools/orrelctl/InterruptPipe.h"

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "HerdrClient/Responding/TerminalActivator.h"
#include "HerdrClient/Sessions/SessionDirectory.h"
#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Platform/X11DesktopWindows.h"
#include "OrrelApp/Sessions/SessionDiscoveryLoop.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/OrrelViewModel.h"

#include <QCoroSignal>
#include <QCoroTimer>
#include <QPointer>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString usage =
    u"board [--socket PATH | --session NAME | --host TARGET...] [--watch] [--json] "
    "[--select REF [--arm TEXT] (--approve | --deny | --choice N | --reply TEXT | --interrupt | "
    "--jump)]"_s;

// How long a one-shot board waits for discovery and the first cycle of every session.
constexpr auto settleDeadline = 15s;
// How long one request to a herdr server may take.
constexpr double requestTimeout = 5.0;

enum class BoardAction { approve, deny, choice, reply, interrupt, jump };

struct BoardArguments {
    bool watch = false;
    bool json = false;
    std::optional<ResolvedSession> pinned;
    std::vector<RemoteHostConfiguration> hosts;
    std::optional<QString> select;
    std::optional<BoardAction> action;
    qint64 choice = 0;
    QString reply;
    std::optional<QString> arm;
};

std::expected<BoardArguments, QString> boardArguments(const QCommandLineParser& parser,
                                                      const Environment& environment)
{
    if (!parser.positionalArguments().isEmpty())
        return std::unexpected(u"unexpected argument "_s + parser.positionalArguments().first());
    BoardArguments arguments;
    arguments.watch = parser.isSet(u"watch"_s);
    arguments.json = parser.isSet(u"json"_s);
    const bool pinned = parser.isSet(u"socket"_s) || parser.isSet(u"session"_s);
    if (pinned && parser.isSet(u"host"_s))
        return std::unexpected(u"--host discovers sessions; it does not go with --socket or "
                               "--session"_s);
    if (pinned)
        arguments.pinned = Settings::resolveSession(
            parser.isSet(u"socket"_s) ? std::optional(parser.value(u"socket"_s)) : std::nullopt,
            parser.isSet(u"session"_s) ? std::optional(parser.value(u"session"_s)) : std::nullopt,
            environment);
    for (const QString& target : parser.values(u"host"_s))
        arguments.hosts.push_back({target, std::nullopt});

    const std::vector<std::pair<QString, BoardAction>> actions{
        {u"approve"_s, BoardAction::approve},     {u"deny"_s, BoardAction::deny},
        {u"choice"_s, BoardAction::choice},       {u"reply"_s, BoardAction::reply},
        {u"interrupt"_s, BoardAction::interrupt}, {u"jump"_s, BoardAction::jump}};
    for (const auto& [name, action] : actions) {
        if (!parser.isSet(name))
            continue;
        if (arguments.action)
            return std::unexpected(u"give one action at a time"_s);
        arguments.action = action;
    }
    if (parser.isSet(u"select"_s))
        arguments.select = parser.value(u"select"_s);
    if (arguments.action && !arguments.select)
        return std::unexpected(u"an action needs --select REF"_s);
    if (arguments.select && !arguments.action)
        return std::unexpected(u"--select needs an action"_s);
    if (arguments.select && arguments.watch)
        return std::unexpected(u"--select performs one action and ends; it does not go with "
                               "--watch"_s);
    if (parser.isSet(u"arm"_s)) {
        if (!arguments.action)
            return std::unexpected(u"--arm goes before an action"_s);
        arguments.arm = parser.value(u"arm"_s);
    }
    if (arguments.action == BoardAction::choice) {
        bool ok = false;
        const qint64 number = parser.value(u"choice"_s).toLongLong(&ok);
        if (!ok || number < 1)
            return std::unexpected(u"--choice takes the choice's number as the screen shows it, "
                                   "from 1"_s);
        arguments.choice = number - 1;
    }
    if (arguments.action == BoardAction::reply)
        arguments.reply = parser.value(u"reply"_s);
    return arguments;
}

// "local:default/w1:p1", or a bare pane id when exactly one session is watched.
std::expected<AgentRef, QString> resolveRef(const QString& text, const OrrelViewModel& model)
{
    const qsizetype slash = text.lastIndexOf(u'/');
    if (slash > 0) {
        AgentRef ref{text.left(slash), text.mid(slash + 1)};
        if (!model.runtime(ref.sessionID))
            return std::unexpected(u"no session %1 is watched"_s.arg(ref.sessionID));
        return ref;
    }
    const auto runtimes = model.runtimes();
    if (runtimes.size() != 1)
        return std::unexpected(
            u"%1 sessions are watched: name the agent as SESSION/PANE, e.g. local:default/%2"_s
                .arg(runtimes.size())
                .arg(text));
    return AgentRef{runtimes.front()->sessionID(), text};
}

bool isSettled(const OrrelViewModel& model, const SessionDiscoveryLoop* discovery)
{
    if (discovery && discovery->completedTurns() == 0)
        return false;
    return std::ranges::none_of(model.runtimes(), [](const SessionRuntime* runtime) {
        return runtime->connection() == SessionRuntime::Connection::connecting;
    });
}

QCoro::Task<bool> waitUntilSettled(const OrrelViewModel& model,
                                   const SessionDiscoveryLoop* discovery)
{
    const auto deadline = std::chrono::steady_clock::now() + settleDeadline;
    while (!isSettled(model, discovery)) {
        if (std::chrono::steady_clock::now() > deadline)
            co_return false;
        co_await QCoro::sleepFor(50ms);
    }
    co_return true;
}

// Runs the action on the selected agent; the view model's refusal is the person's answer.
QCoro::Task<int> perform(OrrelViewModel& model, const BoardArguments& arguments, AgentRef ref,
                         const CommandContext& context)
{
    const std::optional<AgentRef> target = ref;
    co_await model.select(target);
    const SessionRuntime* runtime = model.runtime(ref.sessionID);
    if (!runtime || !runtime->store().pane(ref.paneID))
        co_return context.fail(
            u"orrelctl board: no agent %1 in session %2"_s.arg(ref.paneID, ref.sessionID));
    // A poll cycle that overtook the selection's own read leaves the prompt to the next read:
    // wait for it, as a person waits for the card to fill, before deciding anything.
    const auto readDeadline = std::chrono::steady_clock::now() + settleDeadline;
    while (model.selectedStatus() == RollupStatus::blocked
           && !(model.selectedState() && model.selectedState()->interaction)
           && std::chrono::steady_clock::now() < readDeadline)
        co_await QCoro::sleepFor(50ms);
    if (arguments.arm)
        model.setSelectedFloorText(*arguments.arm);
    bool done = false;
    switch (*arguments.action) {
    case BoardAction::approve: done = co_await model.approveSelected(); break;
    case BoardAction::deny: done = co_await model.denySelected(); break;
    case BoardAction::choice: done = co_await model.answerSelected(arguments.choice); break;
    case BoardAction::reply: done = co_await model.replySelected(arguments.reply); break;
    case BoardAction::interrupt:
        done = co_await model.interrupt(ref);
        if (!done)
            co_return context.fail(model.interruptError(ref).value_or(u"Nothing was sent."_s),
                                   ExitStatus::refused);
        context.print(u"Interrupted %1."_s.arg(ref.id()));
        co_return ExitStatus::success;
    case BoardAction::jump:
        done = co_await model.jump(ref);
        if (const auto notice = model.jumpNotice()) {
            QString text = notice->text;
            if (notice->attachCommand)
                text += u"\nTo attach: "_s + *notice->attachCommand;
            co_return context.fail(text, ExitStatus::refused);
        }
        context.print(u"Jumped to %1."_s.arg(ref.id()));
        co_return ExitStatus::success;
    }
    if (!done)
        co_return context.fail(model.failureSentence(ref), ExitStatus::refused);
    const SentReceipt receipt = model.selectedReceipt().value_or(SentReceipt{});
    if (arguments.json)
        context.printJSON(receipt.asJSONValue());
    else
        context.print(u"%1\n%2\n%3"_s.arg(receipt.headline, receipt.detail, receipt.footnote));
    co_return ExitStatus::success;
}

QCoro::Task<int> runBoard(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    parser.addOption(QCommandLineOption(u"host"_s, u"an SSH host to discover"_s, u"TARGET"_s));
    parser.addOption(QCommandLineOption(u"watch"_s, u"print every cycle until Ctrl-C"_s));
    parser.addOption(QCommandLineOption(u"select"_s, u"the agent to act on"_s, u"REF"_s));
    parser.addOption(QCommandLineOption(u"arm"_s, u"type the hard floor's target"_s, u"TEXT"_s));
    parser.addOption(QCommandLineOption(u"approve"_s, u"approve the prompt"_s));
    parser.addOption(QCommandLineOption(u"deny"_s, u"deny the prompt"_s));
    parser.addOption(QCommandLineOption(u"choice"_s, u"pick a choice, from 1"_s, u"N"_s));
    parser.addOption(QCommandLineOption(u"reply"_s, u"answer with text"_s, u"TEXT"_s));
    parser.addOption(QCommandLineOption(u"interrupt"_s, u"interrupt a working agent"_s));
    parser.addOption(QCommandLineOption(u"jump"_s, u"bring the agent's terminal forward"_s));
    if (!parseArguments(parser, context, usage))
        co_return ExitStatus::usage;
    const auto arguments = boardArguments(parser, context.environment);
    if (!arguments)
        co_return context.fail(
            u"orrelctl board: %1\nusage: orrelctl %2"_s.arg(arguments.error(), usage),
            ExitStatus::usage);

    // The application's own settings: the hosts to discover unless --host names them, and the
    // session names to leave out.
    IniSettingsStore store(IniSettingsStore::defaultPath(context.environment));
    Settings settings(store);
    // A server that takes the connection and never answers must not keep the command from ending.
    SessionRegistry::Options options;
    options.makeDependencies = [environment = context.environment](const ResolvedSession& session) {
        SessionRuntime::Dependencies dependencies;
        dependencies.client = std::make_unique<HerdrClient>(session.endpoint, requestTimeout);
        dependencies.environment = environment;
        dependencies.streamOptions = [environment] {
            return EventStreamOptions::fromEnvironment(environment);
        };
        return dependencies;
    };
    auto registry = std::make_unique<SessionRegistry>(options);
    SessionRegistry* registryPointer = registry.get();
    OrrelViewModel model(std::move(registry), Clock::system(), arguments->pinned);
    SessionDiscoveryLoop* discovery = nullptr;
    if (!arguments->pinned) {
        auto hosts = [&settings, given = arguments->hosts] {
            return given.empty() ? settings.remoteHosts() : given;
        };
        auto loop = std::make_unique<SessionDiscoveryLoop>(
            *registryPointer, hosts, [environment = context.environment] {
                return SessionDirectory::located(std::make_shared<ProcessCommandRunner>(),
                                                 environment);
            });
        discovery = loop.get();
        model.setDiscovery(std::move(loop));
    }
    X11DesktopWindows desktop;
    TerminalActivator terminal(settings.terminalSelection(), desktop);
    model.start({.settings = &settings, .terminal = &terminal});

    BoardPrinter printer(context, arguments->json, arguments->watch);
    int status = ExitStatus::success;
    if (arguments->watch) {
        InterruptPipe interrupt;
        if (!interrupt.isReady())
            co_return context.fail(u"orrelctl board: couldn't set up the interrupt handler"_s);
        const auto print = [&] { printer.print(model, model.now()); };
        QObject::connect(&model, &OrrelViewModel::observed, &model, print);
        QObject::connect(registryPointer, &SessionRegistry::runtimesChanged, &model, print);
        QObject::connect(registryPointer, &SessionRegistry::discoveryErrorChanged, &model, print);
        co_await qCoro(&interrupt, &InterruptPipe::interrupted);
    } else {
        if (!co_await waitUntilSettled(model, discovery))
            context.fail(u"orrelctl board: some sessions did not answer within %1 s"_s.arg(
                std::chrono::seconds(settleDeadline).count()));
        if (arguments->select) {
            const auto ref = resolveRef(*arguments->select, model);
            if (ref)
                status = co_await perform(model, *arguments, *ref, context);
            else
                status = context.fail(u"orrelctl board: "_s + ref.error(), ExitStatus::usage);
        } else {
            printer.print(model, model.now());
            // Nothing to show because no session could be found or reached is a failure a script
            // must see.
            const auto runtimes = model.runtimes();
            const bool noneConnected = std::ranges::none_of(runtimes, [](SessionRuntime* r) {
                return r->connection() == SessionRuntime::Connection::connected;
            });
            if (noneConnected && (!runtimes.empty() || model.registry().discoveryError()))
                status = ExitStatus::failure;
        }
    }
    model.stop();
    // The sessions' tasks end before the program does.
    co_await model.stopped();
    co_return status;
}

const CommandRegistration boardRegistration{
    u"board"_s, u"every session at once, as the surface shows it; act on one agent"_s, &runBoard};

} // namespace
