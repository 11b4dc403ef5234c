// Codex's edit approval and the dialogs that are no approval of a tool: the plan prompt, the
// folder-trust dialog and the model notice. Each names its keys in its footer, and each answers
// to other keys, so each has its own mechanism (the keys were tried on codex itself).
#include "HerdrClient/Adapters/CodexScreenAdapter.h"

#include "HerdrClient/Adapters/CodexScreenText.h"
#include "HerdrClient/Interaction/ScreenText.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace CodexScreenText;

namespace {

// Rows numbered 1, 2, ... from the first line on, at least two; nothing when a row is missing or
// something other than rows and their wrapped descriptions comes first.
std::optional<std::vector<CodexScreenAdapter::ParsedOption>> numberedRows(const QStringList& lines)
{
    qint64 expected = 1;
    for (const QString& line : lines) {
        if (!CodexScreenAdapter::parseOptionLine(line)) {
            if (expected == 1 && !line.trimmed().isEmpty())
                return std::nullopt;
            continue;
        }
        const auto numbered = numberedText(withoutCursor(line).text);
        if (!numbered || numbered->number != expected)
            return std::nullopt;
        ++expected;
    }
    auto options = CodexScreenAdapter::parseOptions(lines);
    if (options.size() < 2 || qint64(options.size()) != expected - 1)
        return std::nullopt;
    return options;
}

// The last line above `before` that, trimmed, is `text`; -1 when there is none.
qsizetype lastLineAbove(const QStringList& lines, qsizetype before, QStringView text)
{
    for (qsizetype i = before - 1; i >= 0; --i) {
        if (lines[i].trimmed() == text)
            return i;
    }
    return -1;
}

// The index of a dialog's footer: the last line that is not blank, when it is `footer`.
qsizetype footerIndex(const QStringList& lines, QStringView footer)
{
    const qsizetype last = lastNonEmptyLine(lines);
    if (last < 0 || lines[last].trimmed().toLower() != footer)
        return -1;
    return last;
}

PendingInteraction dialogReading(InteractionKind kind, const QString& title,
                                 const std::vector<CodexScreenAdapter::ParsedOption>& options,
                                 InteractionMechanism mechanism, const QString& text,
                                 const ScreenAdapterInput& input)
{
    PendingInteraction interaction;
    interaction.paneID = input.paneID;
    interaction.kind = kind;
    interaction.title = title;
    for (std::size_t i = 0; i < options.size(); ++i) {
        InteractionChoice choice = plainChoice(options[i]);
        if (mechanism == InteractionMechanism::explicitShortcut)
            choice.shortcutKeys = {QString::number(i + 1)};
        interaction.choices.push_back(std::move(choice));
    }
    interaction.presentation.selectedChoiceIndex = firstSelected(options);
    interaction.presentation.mechanism = mechanism;
    interaction.capabilities = {InteractionCapability::selectOne};
    if (kind == InteractionKind::approval) {
        interaction.capabilities.insert(InteractionCapability::approve);
        interaction.capabilities.insert(InteractionCapability::deny);
    }
    interaction.evidence = exactEvidence(input, text);
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}

} // namespace

std::optional<PendingInteraction> CodexScreenAdapter::parseEditApproval(
    const QString& text, const ScreenAdapterInput& input)
{
    static const QRegularExpression shortcut =
        ScreenText::pattern(u"\\((y|a|esc)\\)\\s*$"_s, QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression letter =
        ScreenText::pattern(u"\\s+\\((?:y|a)\\)$"_s, QRegularExpression::CaseInsensitiveOption);
    const QStringList lines = ScreenText::lines(text);
    const QString title = Markers::editApprovalTitle.toString();
    const auto frame = approvalFrame(lines, title, shortcut, {u"y"_s, u"a"_s, u"esc"_s});
    if (!frame)
        return std::nullopt;
    // The rows say what they do; nothing is added to them.
    std::vector<InteractionChoice> choices;
    for (const auto& option : frame->options) {
        InteractionChoice choice;
        choice.kind = InteractionChoiceKind::option;
        choice.label = withoutKeySuffix(option.label, letter);
        choices.push_back(std::move(choice));
    }
    PendingInteraction interaction =
        approvalReading(*frame, title, std::move(choices), text, input);
    if (auto diff =
            parseEditDiff(lines, frame->titleIndex, valueAfter(frame->slice, u"Destination:")))
        interaction.contentEvidence = std::move(*diff);
    return interaction;
}

std::optional<InteractionDiffEvidence> CodexScreenAdapter::parseEditDiff(
    const QStringList& lines, qsizetype titleIndex, const std::optional<QString>& destination)
{
    static const QRegularExpression heading = ScreenText::pattern(
        u"^•\\s+(?:Edited|Added|Deleted)\\s+(.+?)\\s+\\(\\+\\d+\\s+-\\d+\\)$"_s);
    qsizetype i = std::min(titleIndex, lines.size()) - 1;
    while (i >= 0 && lines[i].trimmed().isEmpty())
        --i;
    // Codex collapses every diff to its first lines and offers the rest behind this line.
    if (i >= 0 && lines[i].trimmed() == u"+ Show details")
        --i;
    const qsizetype last = i;
    while (i >= 0 && parseDiffLine(lines[i]))
        --i;
    // A block whose heading scrolled away (or that is no diff) is not known to be this edit's.
    if (i < 0 || i == last)
        return std::nullopt;
    const auto match = heading.match(lines[i].trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    const QString path = match.captured(1);
    if (destination && *destination != path && !destination->endsWith(u'/' + path))
        return std::nullopt;
    InteractionDiffEvidence diff{destination.value_or(path), {}};
    for (qsizetype j = i + 1; j <= last; ++j)
        diff.lines.push_back(*parseDiffLine(lines[j]));
    return diff;
}

std::optional<InteractionDiffLine> CodexScreenAdapter::parseDiffLine(QStringView line)
{
    static const QRegularExpression row = ScreenText::pattern(u"^\\s*(\\d+) ([-+ ])(.*)$"_s);
    const auto match = row.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    const auto number = ScreenText::integerValue(match.capturedView(1));
    if (!number)
        return std::nullopt;
    const QStringView sign = match.capturedView(2);
    return InteractionDiffLine{number,
                               sign == u"-"   ? InteractionDiffLineKind::removal
                               : sign == u"+" ? InteractionDiffLineKind::addition
                                              : InteractionDiffLineKind::context,
                               match.captured(3)};
}

std::optional<PendingInteraction> CodexScreenAdapter::parsePlanPrompt(
    const QString& text, const ScreenAdapterInput& input)
{
    const QStringList lines = ScreenText::lines(text);
    const qsizetype footer = footerIndex(lines, Markers::planFooter);
    if (footer < 0)
        return std::nullopt;
    const qsizetype titleIndex = lastLineAbove(lines, footer, Markers::planTitle);
    if (titleIndex < 0)
        return std::nullopt;
    const auto options = numberedRows(lines.mid(titleIndex + 1, footer - titleIndex - 1));
    if (!options)
        return std::nullopt;
    // Each digit picks its row at once; the cursor row is confirmed with enter.
    PendingInteraction interaction =
        dialogReading(InteractionKind::approval, Markers::planTitle.toString(), *options,
                      InteractionMechanism::explicitShortcut, text, input);
    const qsizetype planIndex = lastLineAbove(lines, titleIndex, u"• Proposed Plan");
    if (planIndex >= 0) {
        QStringList plan;
        for (const QString& line :
             trimmedNonEmpty(lines.mid(planIndex + 1, titleIndex - planIndex - 1))) {
            if (!line.startsWith(u"Worked for "))
                plan << line;
        }
        if (!plan.isEmpty())
            interaction.body = plan.join(u'\n');
    }
    return interaction;
}

std::optional<PendingInteraction> CodexScreenAdapter::parseFolderTrust(
    const QString& text, const ScreenAdapterInput& input)
{
    const QStringList lines = ScreenText::lines(text);
    const qsizetype footer = footerIndex(lines, Markers::trustFooter);
    if (footer < 0)
        return std::nullopt;
    qsizetype titleIndex = -1;
    for (qsizetype i = footer - 1; i >= 0 && titleIndex < 0; --i) {
        if (lines[i].trimmed().startsWith(Markers::trustTitle))
            titleIndex = i;
    }
    if (titleIndex < 0)
        return std::nullopt;
    qsizetype firstOption = -1;
    for (qsizetype i = titleIndex + 1; i < footer && firstOption < 0; ++i) {
        if (isOptionLine(lines[i]))
            firstOption = i;
    }
    if (firstOption < 0)
        return std::nullopt;
    const auto options = numberedRows(lines.mid(firstOption, footer - firstOption));
    if (!options)
        return std::nullopt;
    // The digits do not agree here (2 leaves at once, 1 only moves the cursor): arrows only.
    PendingInteraction interaction =
        dialogReading(InteractionKind::approval, Markers::trustTitle.toString(), *options,
                      InteractionMechanism::arrowNavigate, text, input);
    QStringList body;
    const qsizetype headerIndex = lastLineAbove(lines, titleIndex, Markers::trustHeader);
    if (headerIndex >= 0) {
        interaction.header = Markers::trustHeader.toString();
        body = trimmedNonEmpty(lines.mid(headerIndex + 1, titleIndex - headerIndex - 1));
    }
    QStringList paragraph = trimmedNonEmpty(lines.mid(titleIndex, firstOption - titleIndex));
    paragraph.first() = paragraph.first().mid(Markers::trustTitle.size()).trimmed();
    body << trimmedNonEmpty(paragraph);
    if (!body.isEmpty())
        interaction.body = body.join(u'\n');
    return interaction;
}

std::optional<PendingInteraction> CodexScreenAdapter::parseModelNotice(
    const QString& text, const ScreenAdapterInput& input)
{
    const QStringList lines = ScreenText::lines(text);
    const qsizetype footer = footerIndex(lines, Markers::noticeFooter);
    if (footer < 0)
        return std::nullopt;
    // The notice fills the screen: its first line is its title.
    qsizetype titleIndex = 0;
    while (titleIndex < footer && lines[titleIndex].trimmed().isEmpty())
        ++titleIndex;
    if (titleIndex >= footer || isOptionLine(lines[titleIndex]))
        return std::nullopt;
    qsizetype firstOption = -1;
    for (qsizetype i = titleIndex + 1; i < footer && firstOption < 0; ++i) {
        if (isOptionLine(lines[i]))
            firstOption = i;
    }
    if (firstOption < 0)
        return std::nullopt;
    const auto options = numberedRows(lines.mid(firstOption, footer - firstOption));
    if (!options)
        return std::nullopt;
    // Each digit picks its row at once. Esc confirms the cursor row like enter: it is no way
    // out, so nothing offers to cancel.
    PendingInteraction interaction =
        dialogReading(InteractionKind::question, lines[titleIndex].trimmed(), *options,
                      InteractionMechanism::explicitShortcut, text, input);
    const QStringList body =
        trimmedNonEmpty(lines.mid(titleIndex + 1, firstOption - titleIndex - 1));
    if (!body.isEmpty())
        interaction.body = body.join(u'\n');
    return interaction;
}
