// capture and fixture: saving a pane's screen as a bundle, and cutting bundles into verified,
// content-addressed fixtures that the screen readers are held to.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "tools/orrelctl/Command.h"
#include "tools/orrelctl/InteractionPrinting.h"

#include "HerdrClient/Capture/CaptureFiles.h"
#include "HerdrClient/Capture/InteractionFixtureInspector.h"
#include "HerdrClient/Capture/PaneCaptureWriter.h"
#include "HerdrClient/Capture/PaneCapturer.h"
#include "HerdrClient/Capture/PaneFixtureExtractor.h"

#include <QDateTime>
#include <QDir>

using namespace Qt::StringLiterals;

namespace {

const QString captureUsage =
    u"capture PANE --out DIR [--overwrite] [--captured-at TEXT] [--socket PATH | --session NAME] [--json]"_s;
const QString fixtureUsage = u"fixture extract CAPTURE --annotations FILE --out DIR [--detection "
                             u"FILE] [--visible-ansi FILE]\n"
                             "                 [--start-marker TEXT [--end-marker TEXT]] [--json]\n"
                             "       orrelctl fixture verify FIXTURE [--json]\n"
                             "       orrelctl fixture inspect FIXTURE [--json]"_s;

int failUsage(const CommandContext& context, const QString& message, const QString& usage)
{
    return context.fail(u"orrelctl: %1\nusage: orrelctl %2"_s.arg(message, usage),
                        ExitStatus::usage);
}

// The error on one line, naming the directory it is about when the message does not.
int failCapture(const CommandContext& context, const PaneCaptureError& error,
                const QString& path = {})
{
    const QString message = error.errorDescription();
    if (error.kind == PaneCaptureError::Kind::invalidBundle && !path.isEmpty())
        return context.fail(u"%1: %2"_s.arg(QDir::cleanPath(path), message));
    return context.fail(message);
}

QCoro::Task<int> runCapture(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    parser.addOption(QCommandLineOption(u"out"_s, u"directory for the bundle"_s, u"DIR"_s));
    parser.addOption(QCommandLineOption(u"overwrite"_s, u"replace an existing bundle"_s));
    parser.addOption(
        QCommandLineOption(u"captured-at"_s, u"the capture time as written"_s, u"TEXT"_s));
    if (!parseArguments(parser, context, captureUsage))
        co_return ExitStatus::usage;
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 1)
        co_return failUsage(context, u"capture takes exactly one pane id"_s, captureUsage);
    if (!parser.isSet(u"out"_s))
        co_return failUsage(context, u"--out is required"_s, captureUsage);

    const QString paneID = positional[0];
    const QString capturedAt = parser.isSet(u"captured-at"_s)
                                   ? parser.value(u"captured-at"_s)
                                   : QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    const auto client = clientFromOptions(parser, context);
    PaneCapturer capturer(*client);
    const auto bundle = co_await capturer.capture(paneID, capturedAt);
    if (!bundle) {
        if (bundle.error().failure)
            co_return failRequest(context, *client, *bundle.error().failure);
        co_return failCapture(context, bundle.error());
    }
    const auto path =
        PaneCaptureWriter::write(*bundle, parser.value(u"out"_s), parser.isSet(u"overwrite"_s));
    if (!path)
        co_return failCapture(context, path.error());

    const PaneCaptureMetadata& m = bundle->metadata;
    if (parser.isSet(u"json"_s)) {
        context.printJSON(RecordWriter().set(u"path"_s, *path).set(u"metadata"_s, m).value());
    } else {
        QString line = u"%1 (%2, %3 and %4 bytes)"_s.arg(*path, m.agent.value_or(u"no agent"_s))
                           .arg(m.detectionByteCount)
                           .arg(m.visibleANSIByteCount);
        if (m.paneRevisionBefore != m.paneRevisionAfter
            || m.agentStatusBefore != m.agentStatusAfter)
            line += u"\nThe pane changed while it was read: %1 r%2 before, %3 r%4 after."_s
                        .arg(toString(m.agentStatusBefore))
                        .arg(m.paneRevisionBefore)
                        .arg(toString(m.agentStatusAfter))
                        .arg(m.paneRevisionAfter);
        context.print(line);
    }
    co_return ExitStatus::success;
}

std::expected<PaneFixtureAnnotations, QString> readAnnotations(const QString& path)
{
    const auto bytes = CaptureFiles::readBounded(path, CaptureFiles::maximumMetadataBytes);
    if (!bytes)
        return std::unexpected(bytes.error().errorDescription());
    const auto json = JSONValue::parse(*bytes);
    if (!json)
        return std::unexpected(u"%1: %2"_s.arg(path, json.error().errorDescription()));
    auto annotations = PaneFixtureAnnotations::decode(*json);
    if (!annotations)
        return std::unexpected(u"%1: %2"_s.arg(path, annotations.error().errorDescription()));
    return std::move(*annotations);
}

int runExtract(const CommandContext& context, const QCommandLineParser& parser,
               const QString& captureDirectory)
{
    if (!parser.isSet(u"annotations"_s) || !parser.isSet(u"out"_s))
        return failUsage(context, u"--annotations and --out are required"_s, fixtureUsage);
    if (parser.isSet(u"end-marker"_s) && !parser.isSet(u"start-marker"_s))
        return failUsage(context, u"--end-marker needs --start-marker"_s, fixtureUsage);
    const auto annotations = readAnnotations(parser.value(u"annotations"_s));
    if (!annotations)
        return context.fail(annotations.error());

    std::optional<QByteArray> replacements[2];
    const QString replacementOptions[] = {u"detection"_s, u"visible-ansi"_s};
    for (int i = 0; i < 2; ++i) {
        if (!parser.isSet(replacementOptions[i]))
            continue;
        auto bytes = CaptureFiles::readBounded(parser.value(replacementOptions[i]),
                                               CaptureFiles::maximumTextBytes);
        if (!bytes)
            return context.fail(bytes.error().errorDescription());
        replacements[i] = std::move(*bytes);
    }
    std::optional<PaneFixtureRegion> region;
    if (parser.isSet(u"start-marker"_s)) {
        region = PaneFixtureRegion{parser.value(u"start-marker"_s), std::nullopt};
        if (parser.isSet(u"end-marker"_s))
            region->endMarker = parser.value(u"end-marker"_s);
    }

    const auto fixture =
        PaneFixtureExtractor::extract(captureDirectory, *annotations, parser.value(u"out"_s),
                                      replacements[0], replacements[1], region);
    if (!fixture)
        return failCapture(context, fixture.error(), captureDirectory);
    if (parser.isSet(u"json"_s))
        context.printJSON(JSONValue::object({{u"path"_s, *fixture}}));
    else
        context.print(*fixture);
    return ExitStatus::success;
}

int runVerify(const CommandContext& context, const QCommandLineParser& parser,
              const QString& fixtureDirectory)
{
    const auto metadata = PaneFixtureExtractor::verifyFixture(fixtureDirectory);
    if (!metadata)
        return failCapture(context, metadata.error(), fixtureDirectory);
    if (parser.isSet(u"json"_s)) {
        context.printJSON(JSONValue::object({{u"path"_s, QDir(fixtureDirectory).absolutePath()},
                                             {u"metadata"_s, metadata->asJSONValue()}}));
    } else {
        context.print(u"%1: verified %2 (%3), artifact %4"_s.arg(
            QDir::cleanPath(fixtureDirectory), metadata->annotations.name,
            toString(metadata->sanitization), metadata->artifactSHA256));
    }
    return ExitStatus::success;
}

int runInspect(const CommandContext& context, const QCommandLineParser& parser,
               const QString& fixtureDirectory)
{
    const InteractionFixtureInspector inspector{PromptClassifier(standardScreenAdapters())};
    const auto interaction = inspector.inspect(fixtureDirectory);
    if (!interaction)
        return failCapture(context, interaction.error(), fixtureDirectory);
    printInteraction(context, parser, *interaction);
    return ExitStatus::success;
}

QCoro::Task<int> runFixture(CommandContext context)
{
    QCommandLineParser parser;
    addJSONOption(parser);
    parser.addOption(QCommandLineOption(u"annotations"_s, u"the annotations JSON"_s, u"FILE"_s));
    parser.addOption(QCommandLineOption(u"out"_s, u"directory for the fixture"_s, u"DIR"_s));
    parser.addOption(
        QCommandLineOption(u"detection"_s, u"replacement detection text"_s, u"FILE"_s));
    parser.addOption(
        QCommandLineOption(u"visible-ansi"_s, u"replacement coloured text"_s, u"FILE"_s));
    parser.addOption(QCommandLineOption(u"start-marker"_s, u"first line to keep"_s, u"TEXT"_s));
    parser.addOption(QCommandLineOption(u"end-marker"_s, u"last line to keep"_s, u"TEXT"_s));
    if (!parseArguments(parser, context, fixtureUsage))
        co_return ExitStatus::usage;
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 2)
        co_return failUsage(context, u"fixture takes an action and one directory"_s, fixtureUsage);
    const QString& action = positional[0];
    const QString& directory = positional[1];
    if (action == u"extract")
        co_return runExtract(context, parser, directory);
    if (action != u"verify" && action != u"inspect")
        co_return failUsage(context, u"unknown fixture action %1"_s.arg(action), fixtureUsage);
    for (const auto* option :
         {u"annotations", u"out", u"detection", u"visible-ansi", u"start-marker", u"end-marker"}) {
        if (parser.isSet(QString::fromUtf16(option)))
            co_return failUsage(context, u"--%1 belongs to fixture extract"_s.arg(option),
                                fixtureUsage);
    }
    co_return action == u"verify" ? runVerify(context, parser, directory)
                                  : runInspect(context, parser, directory);
}

const CommandRegistration captureRegistration{
    u"capture"_s, u"save what a pane shows as a verified capture bundle"_s, &runCapture};
const CommandRegistration fixtureRegistration{
    u"fixture"_s, u"extract, verify or inspect content-addressed screen fixtures"_s, &runFixture};

} // namespace
