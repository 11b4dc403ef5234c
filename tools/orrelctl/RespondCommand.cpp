// respond: answers the prompt in a pane, but only the prompt the caller saw. The fingerprint that
// `orrelctl read` printed is compared with a fresh read before any key goes out.
#include "tools/orrelctl/Command.h"
#include "tools/orrelctl/PaneReaders.h"

#include "HerdrClient/OpenCode/OpenCodeNativeInteractionResponder.h"
#include "HerdrClient/OpenCode/RoutedInteractionResponder.h"

#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "HerdrClient/Responding/InteractionResponder.h"
#include "HerdrClient/Responding/SentReceipt.h"
#include "HerdrClient/Wire/PaneInfo.h"
#include "HerdrClient/Wire/PaneParams.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

const QString usage =
    u"respond PANE --fingerprint FP (--choice N | --approve | --deny | --text T [--submit] | "
    "--choice N --text T | --keys K...) [--socket PATH | --session NAME] [--json]"_s;

struct RespondArguments {
    QString paneID;
    InteractionFingerprint fingerprint;
    std::optional<InteractionResponseIntent> intent; // absent: raw keys
    std::vector<QString> keys;
};

std::expected<RespondArguments, QString> respondArguments(const QCommandLineParser& parser)
{
    const QStringList positional = parser.positionalArguments();
    const bool keys = parser.isSet(u"keys"_s);
    if (positional.isEmpty())
        return std::unexpected(u"one pane id is needed"_s);
    if (positional.size() > 1 && !keys)
        return std::unexpected(u"unexpected argument %1"_s.arg(positional[1]));
    RespondArguments arguments;
    arguments.paneID = positional.first();

    static const QRegularExpression hex64(u"^[0-9a-f]{64}$"_s);
    const QString fingerprint = parser.value(u"fingerprint"_s);
    if (!hex64.match(fingerprint).hasMatch())
        return std::unexpected(
            u"--fingerprint takes the 64 hexadecimal characters that `orrelctl read` prints"_s);
    arguments.fingerprint = InteractionFingerprint(fingerprint);

    const bool choice = parser.isSet(u"choice"_s);
    const bool text = parser.isSet(u"text"_s);
    const int modes = int(choice || text) + int(parser.isSet(u"approve"_s))
                      + int(parser.isSet(u"deny"_s)) + int(keys);
    if (modes != 1)
        return std::unexpected(
            u"give exactly one of --choice, --approve, --deny, --text or --keys"_s);
    if (parser.isSet(u"submit"_s) && (!text || choice))
        return std::unexpected(u"--submit goes with --text alone"_s);

    std::optional<qint64> choiceIndex;
    if (choice) {
        bool ok = false;
        const qint64 number = parser.value(u"choice"_s).toLongLong(&ok);
        if (!ok)
            return std::unexpected(
                u"--choice takes the choice's number as the screen shows it, from 1"_s);
        choiceIndex = number - 1;
    }
    if (keys) {
        for (const QString& key : parser.values(u"keys"_s) + positional.mid(1))
            arguments.keys.push_back(key);
    } else if (choiceIndex && text) {
        arguments.intent =
            InteractionResponseIntent::submitChoiceText(*choiceIndex, parser.value(u"text"_s));
    } else if (choiceIndex) {
        arguments.intent = InteractionResponseIntent::selectChoice(*choiceIndex);
    } else if (text) {
        const QString value = parser.value(u"text"_s);
        arguments.intent = parser.isSet(u"submit"_s) ? InteractionResponseIntent::submitText(value)
                                                     : InteractionResponseIntent::enterText(value);
    } else {
        arguments.intent = parser.isSet(u"approve"_s) ? InteractionResponseIntent::approve()
                                                      : InteractionResponseIntent::deny();
    }
    return arguments;
}

JSONValue operationsJSON(const std::vector<InteractionResponseOperation>& operations)
{
    JSONValue::Array array;
    for (const auto& operation : operations)
        array.push_back(operation.asJSONValue());
    return JSONValue(std::move(array));
}

// What the person asked for, as the receipt's headline names it.
InteractionResponseIntent receiptIntent(const RespondArguments& arguments)
{
    return arguments.intent.value_or(InteractionResponseIntent::submit());
}

void printReceipt(const CommandContext& context, bool json, const RespondArguments& arguments,
                  const InteractionResponseResult& result)
{
    SentReceipt receipt = SentReceipt::make(receiptIntent(arguments), result.validatedInteraction,
                                            result.sentOperations);
    if (!arguments.intent)
        receipt.headline = u"Keys"_s;
    if (json) {
        JSONValue::Object object{
            {u"receipt"_s, receipt.asJSONValue()},
            {u"sent"_s, operationsJSON(result.sentOperations)},
            {u"validatedFingerprint"_s, result.validatedInteraction.fingerprint().rawValue}};
        if (result.settledInteraction)
            object.emplace(u"settledInteraction"_s, result.settledInteraction->asJSONValue());
        context.printJSON(JSONValue(std::move(object)));
        return;
    }
    QStringList lines{receipt.headline, receipt.detail, receipt.footnote};
    if (result.settledInteraction) {
        const auto& next = *result.settledInteraction;
        lines << u"Now: %1%2"_s.arg(toString(next.kind),
                                    next.title ? u" \u2014 "_s + *next.title : QString());
    }
    context.print(lines.join(u'\n'));
}

int printRefusal(const CommandContext& context, const InteractionResponseFailure& failure)
{
    if (!failure.sentOperations.empty()) {
        QStringList sent;
        for (const auto& operation : failure.sentOperations)
            sent << operation.description();
        *context.err << u"Already sent before stopping: "_s << sent.join(u", "_s) << '\n';
    }
    // A refusal is the gate working; a read or a send that failed is herdr failing.
    const bool herdrFailed = failure.readFailure()
                             || (failure.sendFailure() && !failure.sendFailure()->isKeysRejected());
    return context.fail(failure.refusalSentence(),
                        herdrFailed ? ExitStatus::failure : ExitStatus::refused);
}

QCoro::Task<int> runRespond(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    parser.addOption(
        QCommandLineOption(u"fingerprint"_s, u"the fingerprint of the prompt you saw"_s, u"FP"_s));
    parser.addOption(QCommandLineOption(u"choice"_s, u"the choice's number, from 1"_s, u"N"_s));
    parser.addOption(QCommandLineOption(u"approve"_s, u"approve an approval prompt"_s));
    parser.addOption(QCommandLineOption(u"deny"_s, u"deny an approval prompt"_s));
    parser.addOption(QCommandLineOption(u"text"_s, u"text for the prompt's field"_s, u"T"_s));
    parser.addOption(QCommandLineOption(u"submit"_s, u"press Enter after the text"_s));
    parser.addOption(QCommandLineOption(u"keys"_s, u"herdr key names, sent as they are"_s, u"K"_s));
    if (!parseArguments(parser, context, usage))
        co_return ExitStatus::usage;
    const auto arguments = respondArguments(parser);
    if (!arguments)
        co_return context.fail(
            u"orrelctl respond: %1\nusage: orrelctl %2"_s.arg(arguments.error(), usage),
            ExitStatus::usage);

    const auto client = clientFromOptions(parser, context);
    // The pane's agent picks the reader, exactly as `orrelctl read` picked it.
    FocusParams paneParams;
    paneParams.paneID = arguments->paneID;
    const auto paneReply = co_await client->request(u"pane.get"_s, paneParams.asJSONValue());
    if (!paneReply) {
        if (const auto* herdr = paneReply.error().herdrError();
            herdr && herdr->kind == HerdrError::Kind::api)
            co_return printRefusal(context, InteractionReadFailure(paneReply.error()));
        co_return failRequest(context, *client, paneReply.error());
    }
    const JSONValue* paneRecord = paneReply->member(u"pane");
    const auto pane = paneRecord
                          ? PaneInfo::decode(*paneRecord)
                          : Decoded<PaneInfo>(std::unexpected(DecodingError{u"no pane record"_s}));
    if (!pane)
        co_return context.fail(
            u"herdr's answer about pane %1 could not be read: %2. Nothing was sent."_s.arg(
                arguments->paneID, pane.error().errorDescription()));

    // A pane that names its opencode server is answered there, never with keys.
    PaneReaders readers(*client, *pane);
    InteractionResponder responder(readers.screen, Actions(*client), Clock::system());
    OpenCodeNativeInteractionResponder native(readers.native, readers.openCode);
    RoutedInteractionResponder routed(readers.registry, native, responder);
    InteractionResponseRequest request{arguments->paneID, pane->agent, pane->revision,
                                       arguments->fingerprint, receiptIntent(*arguments)};
    // Two statements, not one conditional: g++ 12 destroys the result of a co_await inside ?:
    // too early.
    InteractionResponseOutcome outcome =
        std::unexpected(InteractionResponseFailure(InteractionPlanningError::unsupportedIntent));
    if (arguments->intent)
        outcome = co_await routed.respond(request);
    else
        outcome = co_await responder.respondWithKeys(request, arguments->keys);
    if (!outcome)
        co_return printRefusal(context, outcome.error());
    printReceipt(context, parser.isSet(u"json"_s), *arguments, *outcome);
    co_return ExitStatus::success;
}

const CommandRegistration respondRegistration{
    u"respond"_s, u"answer the prompt in a pane, if it is still the one you read"_s, &runRespond};

} // namespace
