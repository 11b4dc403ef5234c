// ping and snapshot: the plainest conversations with herdr.
#include "tools/orrelctl/Command.h"

#include "HerdrClient/Sessions/HerdrPingInfo.h"
#include "HerdrClient/Wire/Snapshot.h"
#include "OrrelApp/Shell/SnapshotTable.h"

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<int> runPing(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    if (!parseArguments(parser, context, u"ping [--socket PATH | --session NAME] [--json]"_s))
        co_return ExitStatus::usage;
    if (!parser.positionalArguments().isEmpty())
        co_return context.fail(
            u"orrelctl ping: unexpected argument %1"_s.arg(parser.positionalArguments().first()),
            ExitStatus::usage);
    const auto client = clientFromOptions(parser, context);
    const auto result = co_await client->request(u"ping"_s, JSONValue(JSONValue::Object{}));
    if (!result)
        co_return failRequest(context, *client, result.error());
    const auto info = HerdrPingInfo::fromResult(*result);
    if (parser.isSet(u"json"_s)) {
        context.printJSON(RecordWriter()
                              .set(u"socket"_s, client->socketPath())
                              .set(u"version"_s, info.version)
                              .set(u"protocol"_s, info.protocolVersion)
                              .set(u"supported"_s, info.isSupported())
                              .value());
    } else {
        QString line = info.summary() + u" at "_s + client->socketPath();
        if (!info.isSupported())
            line +=
                u" (too old: protocol %1 or newer is needed)"_s.arg(HerdrPingInfo::minimumProtocol);
        context.print(line);
    }
    co_return ExitStatus::success;
}

QCoro::Task<int> runSnapshot(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    if (!parseArguments(parser, context, u"snapshot [--socket PATH | --session NAME] [--json]"_s))
        co_return ExitStatus::usage;
    if (!parser.positionalArguments().isEmpty())
        co_return context.fail(u"orrelctl snapshot: unexpected argument %1"_s.arg(
                                   parser.positionalArguments().first()),
                               ExitStatus::usage);
    const auto client = clientFromOptions(parser, context);
    const auto result =
        co_await client->request(u"session.snapshot"_s, JSONValue(JSONValue::Object{}));
    if (!result)
        co_return failRequest(context, *client, result.error());
    const auto snapshot = Snapshot::fromResult(*result);
    if (!snapshot)
        co_return context.fail(
            u"herdr's snapshot could not be read: %1"_s.arg(snapshot.error().errorDescription()));
    if (parser.isSet(u"json"_s))
        context.printJSON(snapshot->asJSONValue());
    else
        context.print(formatSnapshotTable(*snapshot));
    co_return ExitStatus::success;
}

const CommandRegistration pingRegistration{u"ping"_s, u"ask herdr for its version and protocol"_s,
                                           &runPing};
const CommandRegistration snapshotRegistration{
    u"snapshot"_s, u"list the workspaces, tabs, panes and agents of a session"_s, &runSnapshot};

} // namespace
