// classify and read: what the program makes of a pane's prompt, from saved text or live.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "tools/orrelctl/Command.h"
#include "tools/orrelctl/InteractionPrinting.h"
#include "tools/orrelctl/PaneReaders.h"

#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "HerdrClient/Wire/PaneInfo.h"
#include "HerdrClient/Wire/PaneParams.h"

#include <QFile>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace {

// Screens are small; anything far larger is not a screen.
constexpr qint64 largestScreenFile = 16 * 1024 * 1024;

std::expected<QString, QString> readScreenFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::unexpected(u"Couldn't read %1: %2"_s.arg(path, file.errorString()));
    if (file.size() > largestScreenFile)
        return std::unexpected(
            u"%1 is larger than %2 bytes and is no screen."_s.arg(path).arg(largestScreenFile));
    const QByteArray bytes = file.read(largestScreenFile + 1);
    if (bytes.size() > largestScreenFile)
        return std::unexpected(
            u"%1 is larger than %2 bytes and is no screen."_s.arg(path).arg(largestScreenFile));
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::unexpected(u"%1 is not valid UTF-8."_s.arg(path));
    return text;
}

QString indented(const QString& text, const QString& prefix)
{
    QStringList lines = text.split(u'\n');
    for (QString& line : lines)
        line = (prefix + line).trimmed().isEmpty() ? QString() : prefix + line;
    return lines.join(u'\n');
}

QString progressText(const InteractionProgress& progress)
{
    QStringList parts;
    if (progress.current && progress.total)
        parts << u"question %1 of %2"_s.arg(*progress.current).arg(*progress.total);
    else if (progress.total)
        parts << u"%1 questions"_s.arg(*progress.total);
    if (progress.unanswered)
        parts << u"%1 unanswered"_s.arg(*progress.unanswered);
    return parts.join(u", "_s);
}

QString contentText(const InteractionContentEvidence& content)
{
    if (const auto* command = content.command()) {
        QString text = u"command: "_s + command->command;
        if (command->environment)
            text += u"\n  environment: "_s + *command->environment;
        if (command->reason)
            text += u"\n  reason: "_s + *command->reason;
        return text;
    }
    const auto* diff = content.diff();
    QStringList lines{u"diff of "_s + diff->filePath + u":"_s};
    for (const auto& line : diff->lines) {
        const QChar sign = line.kind == InteractionDiffLineKind::removal    ? u'-'
                           : line.kind == InteractionDiffLineKind::addition ? u'+'
                                                                            : u' ';
        lines << u"  %1 %2 %3"_s
                     .arg(line.lineNumber ? QString::number(*line.lineNumber) : QString(), 4)
                     .arg(sign)
                     .arg(line.text);
    }
    return lines.join(u'\n');
}

// For people: the prompt as a card would hold it, choices numbered from 1 in screen order.
QString rendering(const PendingInteraction& interaction)
{
    QStringList out;
    out << u"kind: "_s + toString(interaction.kind);
    if (interaction.header)
        out << u"header: "_s + *interaction.header;
    if (interaction.title)
        out << u"title: "_s + *interaction.title;
    if (interaction.progress)
        out << u"progress: "_s + progressText(*interaction.progress);
    if (!interaction.steps.empty()) {
        QStringList steps;
        for (std::size_t i = 0; i < interaction.steps.size(); ++i) {
            const auto& step = interaction.steps[i];
            QString text = (step.isAnswered ? u"[x] "_s : u"[ ] "_s) + step.label;
            if (interaction.presentation.activeStepIndex == qint64(i))
                text += u" (active)"_s;
            steps << text;
        }
        out << u"steps: "_s + steps.join(u" | "_s);
    }
    if (!interaction.choices.empty()) {
        out << u"choices:"_s;
        const auto& checked = interaction.presentation.checkedChoiceIndexes;
        for (std::size_t i = 0; i < interaction.choices.size(); ++i) {
            const auto& choice = interaction.choices[i];
            const bool selected = interaction.presentation.selectedChoiceIndex == qint64(i);
            QString line = u"  %1 %2. "_s.arg(selected ? u"❯"_s : u" "_s).arg(i + 1);
            if (std::find(checked.begin(), checked.end(), qint64(i)) != checked.end())
                line += u"[x] "_s;
            line += choice.label;
            if (choice.kind != InteractionChoiceKind::option)
                line += u"  ("_s + toString(choice.kind) + u")"_s;
            if (!choice.shortcutKeys.empty())
                line += u"  keys: "_s
                        + QStringList(choice.shortcutKeys.begin(), choice.shortcutKeys.end())
                              .join(u", "_s);
            out << line;
            if (choice.description)
                out << indented(*choice.description, u"       "_s);
            if (choice.draft)
                out << u"       draft: "_s + *choice.draft;
        }
    }
    if (interaction.presentation.selectedChoicePreview)
        out << u"preview:"_s << indented(*interaction.presentation.selectedChoicePreview, u"  "_s);
    if (interaction.contentEvidence)
        out << contentText(*interaction.contentEvidence);
    if (interaction.body && interaction.kind != InteractionKind::unknown)
        out << u"body:"_s << indented(*interaction.body, u"  "_s);
    if (interaction.userPromptContext)
        out << u"context: "_s + *interaction.userPromptContext;
    out << u"mechanism: "_s + toString(interaction.presentation.mechanism);
    QStringList capabilities;
    for (const auto capability : interaction.capabilities)
        capabilities << toString(capability);
    out << u"capabilities: "_s + capabilities.join(u", "_s);
    out << u"reader: %1 (%2)"_s.arg(interaction.evidence.providerID,
                                    toString(interaction.evidence.confidence));
    out << u"fingerprint: "_s + interaction.fingerprint().rawValue;
    return out.join(u'\n');
}

} // namespace

void printInteraction(const CommandContext& context, const QCommandLineParser& parser,
                      const PendingInteraction& interaction)
{
    if (parser.isSet(u"json"_s))
        context.printJSON(interaction.asJSONValue());
    else
        context.print(rendering(interaction));
}

namespace {

QCoro::Task<int> runClassify(CommandContext context)
{
    const QString usage =
        u"classify --agent ID --detection FILE [--visible FILE] [--pane ID] [--json]"_s;
    QCommandLineParser parser;
    parser.addOption(QCommandLineOption(u"agent"_s, u"the agent whose reader to use"_s, u"ID"_s));
    parser.addOption(QCommandLineOption(u"detection"_s, u"the detection text"_s, u"FILE"_s));
    parser.addOption(
        QCommandLineOption(u"visible"_s, u"the visible text with colours"_s, u"FILE"_s));
    parser.addOption(
        QCommandLineOption(u"pane"_s, u"the pane id for the fingerprint"_s, u"ID"_s, u"pane"_s));
    addJSONOption(parser);
    if (!parseArguments(parser, context, usage))
        co_return ExitStatus::usage;
    if (!parser.positionalArguments().isEmpty())
        co_return context.fail(u"orrelctl classify: unexpected argument %1"_s.arg(
                                   parser.positionalArguments().first()),
                               ExitStatus::usage);
    if (!parser.isSet(u"agent"_s) || !parser.isSet(u"detection"_s))
        co_return context.fail(
            u"orrelctl classify: --agent and --detection are required\nusage: orrelctl "_s + usage,
            ExitStatus::usage);
    const auto detection = readScreenFile(parser.value(u"detection"_s));
    if (!detection)
        co_return context.fail(detection.error());
    std::optional<QString> visible;
    std::optional<QString> tabLabel;
    if (parser.isSet(u"visible"_s)) {
        const auto read = readScreenFile(parser.value(u"visible"_s));
        if (!read)
            co_return context.fail(read.error());
        visible = *read;
        tabLabel = ScreenInteractionProvider::currentTabLabel(*read);
    }
    const PromptClassifier classifier(standardScreenAdapters());
    printInteraction(context, parser,
                     classifier.classifyInteraction(parser.value(u"pane"_s),
                                                    parser.value(u"agent"_s), *detection, visible,
                                                    std::nullopt, tabLabel));
    co_return ExitStatus::success;
}

Decoded<PaneInfo> paneFromReply(const JSONValue& reply)
{
    const JSONValue* pane = reply.member(u"pane");
    if (!pane)
        return std::unexpected(DecodingError{u"pane: required key is missing"_s});
    return PaneInfo::decode(*pane);
}

QCoro::Task<int> runRead(CommandContext context)
{
    const QString usage = u"read PANE [--socket PATH | --session NAME] [--json]"_s;
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    if (!parseArguments(parser, context, usage))
        co_return ExitStatus::usage;
    if (parser.positionalArguments().size() != 1)
        co_return context.fail(u"orrelctl read: one pane id is needed\nusage: orrelctl "_s + usage,
                               ExitStatus::usage);
    const QString paneID = parser.positionalArguments().first();
    const auto client = clientFromOptions(parser, context);
    // The pane's agent picks the reader; its revision goes into the evidence.
    FocusParams paneParams;
    paneParams.paneID = paneID;
    const auto paneReply = co_await client->request(u"pane.get"_s, paneParams.asJSONValue());
    if (!paneReply) {
        if (const auto* herdr = paneReply.error().herdrError();
            herdr && herdr->kind == HerdrError::Kind::api)
            co_return context.fail(herdr->errorDescription());
        co_return failRequest(context, *client, paneReply.error());
    }
    const auto pane = paneFromReply(*paneReply);
    if (!pane)
        co_return context.fail(u"herdr's answer about pane %1 could not be read: %2"_s.arg(
            paneID, pane.error().errorDescription()));

    PaneReaders readers(*client, *pane);
    const auto interaction =
        co_await readers.provider.interaction(paneID, pane->agent, pane->revision);
    if (!interaction)
        co_return context.fail(interaction.error().errorDescription());
    printInteraction(context, parser, *interaction);
    co_return ExitStatus::success;
}

const CommandRegistration classifyRegistration{
    u"classify"_s, u"read the prompt in saved screen text as the program would"_s, &runClassify};
const CommandRegistration readRegistration{u"read"_s, u"read the prompt that waits in a pane"_s,
                                           &runRead};

} // namespace
