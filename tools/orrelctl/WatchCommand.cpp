// watch: one session runtime, printed cycle by cycle until Ctrl-C.
#include "tools/orrelctl/Command.h"
#include "tools/orrelctl/InterruptPipe.h"
#include "tools/orrelctl/RemoteSessionEndpoint.h"
#include "tools/orrelctl/WatchHost.h"

#include "HerdrClient/Wire/SocketPath.h"
#include "OrrelApp/Sessions/SessionRuntime.h"

#include <QCoroSignal>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<int> runWatch(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    RemoteSessionEndpoint::addOptions(parser);
    addJSONOption(parser);
    if (!parseArguments(
            parser, context,
            u"watch [--socket PATH | --session NAME | --host TARGET [--session NAME]] [--json]"_s))
        co_return ExitStatus::usage;
    if (!parser.positionalArguments().isEmpty())
        co_return context.fail(
            u"orrelctl watch: unexpected argument %1"_s.arg(parser.positionalArguments().first()),
            ExitStatus::usage);

    const auto remote = co_await RemoteSessionEndpoint::openIfRequested(parser, context);
    if (remote.failureStatus)
        co_return *remote.failureStatus;
    auto client = remote.session ? std::make_unique<HerdrClient>(remote.session->endpoint(), 5.0)
                                 : clientFromOptions(parser, context);
    const HerdrEndpoint endpoint = client->endpoint();
    SessionDescriptor descriptor = SessionDescriptor::localDefault(client->socketPath());
    if (remote.session) {
        descriptor = remote.session->descriptor();
    } else if (parser.isSet(u"session"_s)) {
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
    QObject::connect(
        &runtime, &SessionRuntime::errorChanged, &runtime,
        [&host, &runtime] { host.errorChanged(runtime); }, Qt::QueuedConnection);
    runtime.start(&host);
    runtime.startEventTask(host.usesPerPaneStatusSubscriptions(runtime));

    co_await qCoro(&interrupt, &InterruptPipe::interrupted);
    runtime.stop();
    // The stopped tasks end rather than stay suspended at exit.
    co_await runtime.stopped();
    // The stream's socket is closed by its own thread; wait for that before saying goodbye.
    if (!runtime.waitForEventStreamExit(std::chrono::seconds(2)))
        co_return context.fail(u"orrelctl watch: the event stream did not close in time"_s);
    co_return ExitStatus::success;
}

const CommandRegistration watchRegistration{
    u"watch"_s, u"follow a session live: connection, new blocks and finishes, agent roots"_s,
    &runWatch};

} // namespace
