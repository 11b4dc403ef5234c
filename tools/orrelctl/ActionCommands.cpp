// interrupt, send and jump: direct commands to a pane, each refused when the pane no longer fits.
#include "tools/orrelctl/Command.h"

#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Responding/TerminalActivator.h"
#include "OrrelApp/Platform/X11DesktopWindows.h"

using namespace Qt::StringLiterals;

namespace {

// Refusals of the program's own say that nothing was sent (exit 3); herdr's failures exit 1.
int failAction(const CommandContext& context, const HerdrClient& client,
               const ActionFailure& failure)
{
    if (const ActionError* refused = failure.actionError())
        return context.fail(refused->errorDescription(),
                            refused->kind == ActionError::Kind::keysRejected ? ExitStatus::failure
                                                                             : ExitStatus::refused);
    return failRequest(context, client, *failure.requestFailure());
}

struct Parsed {
    QCommandLineParser parser;
    QStringList positional;
};

bool parsePane(Parsed& parsed, const CommandContext& context, const QString& usage, qsizetype count)
{
    addConnectionOptions(parsed.parser);
    addJSONOption(parsed.parser);
    if (!parseArguments(parsed.parser, context, usage))
        return false;
    parsed.positional = parsed.parser.positionalArguments();
    if (parsed.positional.size() != count) {
        context.fail(
            u"orrelctl: expected %1 argument(s)\nusage: orrelctl %2"_s.arg(count).arg(usage),
            ExitStatus::usage);
        return false;
    }
    return true;
}

// What a plain send says: the pane and "sent", or a sentence for people.
int reportSent(const CommandContext& context, const Parsed& parsed, const QString& sentence)
{
    if (parsed.parser.isSet(u"json"_s))
        context.printJSON(
            JSONValue::object({{u"paneID"_s, parsed.positional[0]}, {u"result"_s, u"sent"_s}}));
    else
        context.print(sentence);
    return ExitStatus::success;
}

QCoro::Task<int> runInterrupt(CommandContext context)
{
    Parsed parsed;
    if (!parsePane(parsed, context, u"interrupt PANE [--socket PATH | --session NAME] [--json]"_s,
                   1))
        co_return ExitStatus::usage;
    const auto client = clientFromOptions(parsed.parser, context);
    const QString pane = parsed.positional[0];
    const auto outcome = co_await Actions(*client).interrupt(pane);
    if (!outcome)
        co_return failAction(context, *client, outcome.error());
    co_return reportSent(context, parsed, u"Sent Escape to %1."_s.arg(pane));
}

QCoro::Task<int> runSend(CommandContext context)
{
    Parsed parsed;
    if (!parsePane(parsed, context, u"send PANE TEXT [--socket PATH | --session NAME] [--json]"_s,
                   2))
        co_return ExitStatus::usage;
    const auto client = clientFromOptions(parsed.parser, context);
    const QString pane = parsed.positional[0];
    const auto outcome = co_await Actions(*client).sendMessage(pane, parsed.positional[1]);
    if (!outcome)
        co_return failAction(context, *client, outcome.error());
    co_return reportSent(context, parsed, u"Sent to %1."_s.arg(pane));
}

QCoro::Task<int> runJump(CommandContext context)
{
    Parsed parsed;
    parsed.parser.addOption(QCommandLineOption(u"terminal"_s, u"a terminal profile id"_s, u"ID"_s));
    const QString usage = u"jump PANE [--terminal ID] [--socket PATH | --session NAME] [--json]"_s;
    if (!parsePane(parsed, context, usage, 1))
        co_return ExitStatus::usage;
    TerminalActivator::Selection selection = TerminalActivator::Automatic{};
    if (parsed.parser.isSet(u"terminal"_s)) {
        const auto profile = TerminalProfile::withID(parsed.parser.value(u"terminal"_s));
        if (!profile) {
            QStringList ids;
            for (const auto& p : TerminalProfile::supported())
                ids << p.id;
            co_return context.fail(u"orrelctl: unknown terminal %1 (one of: %2)"_s.arg(
                                       parsed.parser.value(u"terminal"_s), ids.join(u", "_s)),
                                   ExitStatus::usage);
        }
        selection = TerminalActivator::Preferred{*profile};
    }
    const auto client = clientFromOptions(parsed.parser, context);
    X11DesktopWindows desktop;
    TerminalActivator activator(selection, desktop);
    const QString pane = parsed.positional[0];
    const auto outcome = co_await Actions(*client, &activator).jump(pane);
    if (!outcome)
        co_return failAction(context, *client, outcome.error());
    if (outcome->kind == ActionResult::Kind::needsAttach)
        co_return context.fail(
            u"herdr focused nothing: no terminal is attached to this session."_s);
    const TerminalPresentation& shown = *outcome->terminal;
    if (parsed.parser.isSet(u"json"_s)) {
        RecordWriter writer;
        writer.set(u"paneID"_s, pane)
            .set(u"result"_s, u"jumped"_s)
            .set(u"presented"_s, shown.presentedAppName);
        if (shown.failure)
            writer.set(u"notice"_s, jumpFailureMessage(*shown.failure));
        context.printJSON(writer.value());
    } else {
        context.print(shown.failure ? jumpFailureMessage(*shown.failure)
                                    : u"Focused %1 in %2."_s.arg(pane, *shown.presentedAppName));
    }
    co_return ExitStatus::success;
}

const CommandRegistration interruptRegistration{
    u"interrupt"_s, u"send one Escape to a pane that is still working"_s, &runInterrupt};
const CommandRegistration sendRegistration{
    u"send"_s, u"send a message and Enter to a pane that shows no prompt"_s, &runSend};
const CommandRegistration jumpRegistration{
    u"jump"_s, u"focus a pane in herdr and bring its terminal forward"_s, &runJump};

} // namespace
