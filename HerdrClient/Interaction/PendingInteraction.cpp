#include "HerdrClient/Interaction/PendingInteraction.h"

#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Wire/JSONDecoding.h"

#include <QCryptographicHash>

using namespace Qt::StringLiterals;

namespace {

QString decimal(const std::optional<qint64>& value)
{
    return value ? QString::number(*value) : QString();
}

QString flag(bool value)
{
    return value ? u"1"_s : u"0"_s;
}

// Every part carries its UTF-8 length in front, so no choice of separator can make two lists
// of parts collide.
QByteArray lengthPrefixed(const std::vector<QString>& parts)
{
    QByteArray joined;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const QByteArray bytes = parts[i].toUtf8();
        if (i > 0)
            joined += '|';
        joined += QByteArray::number(bytes.size());
        joined += ':';
        joined += bytes;
    }
    return joined;
}

JSONValue choiceJSON(const InteractionChoice& choice)
{
    return RecordWriter()
        .set(u"kind"_s, toString(choice.kind))
        .set(u"label"_s, choice.label)
        .set(u"description"_s, choice.description)
        .set(u"shortcutKeys"_s, choice.shortcutKeys)
        .set(u"draft"_s, choice.draft)
        .value();
}

JSONValue stepJSON(const InteractionStep& step)
{
    return RecordWriter()
        .set(u"label"_s, step.label)
        .set(u"isAnswered"_s, step.isAnswered)
        .set(u"isSubmit"_s, step.isSubmit)
        .value();
}

JSONValue contentJSON(const InteractionContentEvidence& content)
{
    if (const auto* command = content.command()) {
        return JSONValue::object({{u"command"_s, RecordWriter()
                                                     .set(u"environment"_s, command->environment)
                                                     .set(u"reason"_s, command->reason)
                                                     .set(u"command"_s, command->command)
                                                     .value()}});
    }
    const auto* diff = content.diff();
    JSONValue::Array lines;
    for (const auto& line : diff->lines) {
        lines.push_back(RecordWriter()
                            .set(u"lineNumber"_s, line.lineNumber)
                            .set(u"kind"_s, toString(line.kind))
                            .set(u"text"_s, line.text)
                            .value());
    }
    return JSONValue::object({{u"diff"_s, RecordWriter()
                                              .set(u"filePath"_s, diff->filePath)
                                              .set(u"lines"_s, JSONValue(std::move(lines)))
                                              .value()}});
}

} // namespace

QString PendingInteraction::normalize(const std::optional<QString>& text)
{
    if (!text)
        return {};
    const QString plain = PromptClassifier::stripAnsi(*text);
    QString result;
    result.reserve(plain.size());
    bool pendingBlank = false;
    for (const QChar c : plain) {
        // QChar::isSpace is the Unicode White_Space property, newlines included.
        if (c.isSpace()) {
            pendingBlank = !result.isEmpty();
            continue;
        }
        if (pendingBlank) {
            result += u' ';
            pendingBlank = false;
        }
        result += c;
    }
    return result;
}

InteractionFingerprint PendingInteraction::fingerprint() const
{
    std::vector<QString> parts;
    parts.reserve(16 + 5 * choices.size() + 3 * steps.size());
    parts.push_back(paneID);
    parts.push_back(interactionID.value_or(QString()));
    parts.push_back(toString(kind));
    parts.push_back(normalize(title));
    parts.push_back(normalize(body));
    parts.push_back(progress ? decimal(progress->current) : QString());
    parts.push_back(progress ? decimal(progress->total) : QString());
    parts.push_back(progress ? decimal(progress->unanswered) : QString());
    for (const auto& choice : choices) {
        parts.push_back(toString(choice.kind));
        parts.push_back(normalize(choice.label));
        parts.push_back(normalize(choice.description));
        QStringList keys(choice.shortcutKeys.begin(), choice.shortcutKeys.end());
        parts.push_back(keys.join(QChar(0x1F)));
        parts.push_back(normalize(choice.draft));
    }
    for (const auto& step : steps) {
        parts.push_back(normalize(step.label));
        parts.push_back(flag(step.isAnswered));
        parts.push_back(flag(step.isSubmit));
    }
    if (!contentEvidence) {
        parts.push_back(u"content:none"_s);
    } else if (const auto* diff = contentEvidence->diff()) {
        parts.push_back(u"diff"_s);
        parts.push_back(normalize(diff->filePath));
        for (const auto& line : diff->lines) {
            parts.push_back(decimal(line.lineNumber));
            parts.push_back(toString(line.kind));
            parts.push_back(normalize(line.text));
        }
    } else if (const auto* command = contentEvidence->command()) {
        parts.push_back(u"command"_s);
        parts.push_back(normalize(command->environment));
        parts.push_back(normalize(command->reason));
        parts.push_back(normalize(command->command));
    }
    const QByteArray digest =
        QCryptographicHash::hash(lengthPrefixed(parts), QCryptographicHash::Sha256);
    return InteractionFingerprint(QString::fromLatin1(digest.toHex()));
}

JSONValue PendingInteraction::asJSONValue() const
{
    RecordWriter writer;
    writer.set(u"paneID"_s, paneID)
        .set(u"interactionID"_s, interactionID)
        .set(u"kind"_s, toString(kind))
        .set(u"title"_s, title)
        .set(u"header"_s, header)
        .set(u"body"_s, body);
    if (progress) {
        writer.set(u"progress"_s, RecordWriter()
                                      .set(u"current"_s, progress->current)
                                      .set(u"total"_s, progress->total)
                                      .set(u"unanswered"_s, progress->unanswered)
                                      .value());
    }
    JSONValue::Array choiceValues;
    for (const auto& choice : choices)
        choiceValues.push_back(choiceJSON(choice));
    JSONValue::Array stepValues;
    for (const auto& step : steps)
        stepValues.push_back(stepJSON(step));
    std::vector<QString> capabilityNames;
    for (const auto capability : capabilities)
        capabilityNames.push_back(toString(capability));
    writer.set(u"choices"_s, JSONValue(std::move(choiceValues)))
        .set(u"steps"_s, JSONValue(std::move(stepValues)))
        .set(u"presentation"_s,
             RecordWriter()
                 .set(u"selectedChoiceIndex"_s, presentation.selectedChoiceIndex)
                 .set(u"checkedChoiceIndexes"_s, presentation.checkedChoiceIndexes)
                 .set(u"activeStepIndex"_s, presentation.activeStepIndex)
                 .set(u"mechanism"_s, toString(presentation.mechanism))
                 .set(u"selectedChoicePreview"_s, presentation.selectedChoicePreview)
                 .value())
        .set(u"capabilities"_s, capabilityNames)
        .set(u"evidence"_s, RecordWriter()
                                .set(u"source"_s, toString(evidence.source))
                                .set(u"providerID"_s, evidence.providerID)
                                .set(u"agentID"_s, evidence.agentID)
                                .set(u"paneRevision"_s, evidence.paneRevision)
                                .set(u"confidence"_s, toString(evidence.confidence))
                                .set(u"capturedText"_s, evidence.capturedText)
                                .value())
        .set(u"userPromptContext"_s, userPromptContext)
        .set(u"safetyState"_s, toString(safetyState))
        .set(u"fingerprint"_s, fingerprint().rawValue);
    if (contentEvidence)
        writer.set(u"contentEvidence"_s, contentJSON(*contentEvidence));
    return writer.value();
}
