#include "HerdrClient/Adapters/CodexScreenAdapter.h"

#include "HerdrClient/Adapters/CodexScreenText.h"
#include "HerdrClient/Interaction/GenericScreenAdapter.h"
#include "HerdrClient/Interaction/ScreenText.h"

#include <QRegularExpression>

#include <algorithm>
#include <set>

using namespace Qt::StringLiterals;

using namespace CodexScreenText;

namespace {

qsizetype leadingBlanks(QStringView line)
{
    qsizetype count = 0;
    while (count < line.size() && line[count] == u' ')
        ++count;
    return count;
}

QString withoutShortcutSuffix(const QString& label)
{
    static const QRegularExpression letter =
        ScreenText::pattern(u"\\s+\\((?:y|p)\\)$"_s, QRegularExpression::CaseInsensitiveOption);
    return withoutKeySuffix(label, letter);
}

// The key a command approval's row names at its end.
const QRegularExpression& commandShortcut()
{
    static const QRegularExpression shortcut =
        ScreenText::pattern(u"\\((y|p|esc)\\)\\s*$"_s, QRegularExpression::CaseInsensitiveOption);
    return shortcut;
}

} // namespace

const std::vector<std::vector<QStringView>>& CodexScreenAdapter::questionFooters()
{
    static const std::vector<std::vector<QStringView>> footers{
        {u"tab to add notes", u"enter to submit answer"},
        {u"tab to add notes", u"enter to submit all"},
        {u"tab or esc to clear notes", u"enter to submit all"},
        {u"tab or esc to clear notes", u"enter to submit answer"},
    };
    return footers;
}

QString CodexScreenAdapter::adapterID() const
{
    return codexAdapterID.toString();
}

std::set<QString> CodexScreenAdapter::agentIDs() const
{
    return {u"codex"_s};
}

PendingInteraction CodexScreenAdapter::parse(const ScreenAdapterInput& input) const
{
    const QString text = ScreenText::normalizedLineEndings(input.detectionText);
    const QString lowered = text.toLower();
    std::optional<PendingInteraction> reading;
    if (lowered.contains(Markers::approvalTitle.toString().toLower())
        && lowered.contains(Markers::approvalFooter))
        reading = parseApproval(text, input);
    else if (lowered.contains(Markers::editApprovalTitle.toString().toLower())
             && lowered.contains(Markers::approvalFooter))
        reading = parseEditApproval(text, input);
    else if (lowered.contains(Markers::reviewTitle.toString().toLower())
             && lowered.contains(Markers::reviewFooter))
        reading = parseReview(text, input);
    else if (hasQuestionFooter(lowered))
        reading = parseQuestion(text, input);
    else if (lowered.contains(Markers::planFooter))
        reading = parsePlanPrompt(text, input);
    else if (lowered.contains(Markers::trustFooter))
        reading = parseFolderTrust(text, input);
    else if (lowered.contains(Markers::noticeFooter))
        reading = parseModelNotice(text, input);
    if (!reading)
        return GenericScreenAdapter::reading(input);
    return std::move(*reading);
}

std::set<QString> CodexScreenAdapter::footerSegments(const QString& lowered)
{
    std::set<QString> segments;
    for (const QString& line : ScreenText::lines(lowered)) {
        for (const QString& piece : line.split(u" | "_s))
            segments.insert(piece.trimmed());
    }
    return segments;
}

bool CodexScreenAdapter::hasQuestionFooter(const QString& lowered)
{
    const std::set<QString> segments = footerSegments(lowered);
    return std::any_of(questionFooters().begin(), questionFooters().end(), [&](const auto& footer) {
        return std::all_of(footer.begin(), footer.end(), [&](QStringView segment) {
            return segments.contains(segment.toString());
        });
    });
}

std::optional<CodexScreenAdapter::ParsedOption> CodexScreenAdapter::parseOptionLine(
    QStringView line)
{
    const CursorLine cursor = withoutCursor(line);
    const auto numbered = numberedText(cursor.text);
    if (!numbered)
        return std::nullopt;
    ParsedOption option;
    option.selected = cursor.selected;
    static const QRegularExpression gap = ScreenText::pattern(u"\\s{2,}"_s);
    const auto match = gap.match(numbered->remainder);
    if (!match.hasMatch()) {
        option.label = numbered->remainder;
        return option;
    }
    option.label = numbered->remainder.left(match.capturedStart()).trimmed();
    const QString description = numbered->remainder.mid(match.capturedEnd()).trimmed();
    if (!description.isEmpty())
        option.description = description;
    return option;
}

std::vector<CodexScreenAdapter::ParsedOption> CodexScreenAdapter::parseOptions(
    const QStringList& lines)
{
    std::vector<ParsedOption> options;
    // Where the last option's description begins: a wrapped description continues there.
    std::optional<qsizetype> continuationColumn;
    for (const QString& line : lines) {
        if (auto option = parseOptionLine(line)) {
            continuationColumn.reset();
            if (option->description) {
                const qsizetype at = line.lastIndexOf(*option->description);
                if (at >= 0)
                    continuationColumn = ScreenText::characterIndexAt(line, at);
            }
            options.push_back(std::move(*option));
            continue;
        }
        if (!continuationColumn)
            continue;
        const QString trimmed = line.trimmed();
        if (trimmed.isEmpty() || leadingBlanks(line) != *continuationColumn) {
            continuationColumn.reset();
            continue;
        }
        options.back().description = *options.back().description + u' ' + trimmed;
    }
    return options;
}

bool CodexScreenAdapter::isOptionLine(QStringView line)
{
    const CursorLine cursor = withoutCursor(line);
    const qsizetype dot = cursor.text.indexOf(u'.');
    return dot >= 0 && ScreenText::integerValue(QStringView(cursor.text).first(dot)).has_value();
}

std::optional<QString> CodexScreenAdapter::commandPrefix(const QString& label)
{
    const qsizetype open = label.indexOf(u'`');
    if (open < 0)
        return std::nullopt;
    const qsizetype close = label.indexOf(u'`', open + 1);
    if (close < 0 || close == open + 1)
        return std::nullopt;
    return label.mid(open + 1, close - open - 1);
}

std::vector<CodexScreenAdapter::ParsedOption> CodexScreenAdapter::parseApprovalOptions(
    const QStringList& lines)
{
    return parseApprovalOptions(lines, commandShortcut());
}

std::vector<CodexScreenAdapter::ParsedOption> CodexScreenAdapter::parseApprovalOptions(
    const QStringList& lines, const QRegularExpression& shortcut)
{
    struct Start {
        qsizetype lineIndex = 0;
        qint64 number = 0;
        bool selected = false;
        QString remainder;
    };
    std::vector<Start> starts;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const CursorLine cursor = withoutCursor(lines[i]);
        if (auto numbered = numberedText(cursor.text))
            starts.push_back(
                {i, numbered->number, cursor.selected, std::move(numbered->remainder)});
    }
    if (starts.size() != 3 || starts[0].number != 1 || starts[1].number != 2
        || starts[2].number != 3)
        return {};

    std::vector<ParsedOption> options;
    for (std::size_t s = 0; s < starts.size(); ++s) {
        qsizetype end = lines.size();
        if (s + 1 < starts.size()) {
            end = starts[s + 1].lineIndex;
        } else {
            for (qsizetype i = starts[s].lineIndex + 1; i < lines.size(); ++i) {
                if (lines[i].toLower().contains(Markers::approvalFooter)) {
                    end = i;
                    break;
                }
            }
        }
        QString text = starts[s].remainder;
        for (qsizetype i = starts[s].lineIndex + 1; i < end; ++i) {
            const QString piece = lines[i].trimmed();
            if (piece.isEmpty())
                continue;
            // Inside an open backtick run the wrap has split a command: no blank goes between.
            if (text.count(u'`') % 2 == 1)
                text += piece;
            else
                text += u' ' + piece;
        }
        ParsedOption option;
        option.selected = starts[s].selected;
        if (const auto match = shortcut.match(text); match.hasMatch())
            option.shortcutKey = match.captured(1).toLower();
        option.label = std::move(text);
        options.push_back(std::move(option));
    }
    return options;
}

std::optional<CodexScreenAdapter::ApprovalFrame> CodexScreenAdapter::approvalFrame(
    const QStringList& lines, QStringView title, const QRegularExpression& shortcut,
    const std::vector<QString>& keys)
{
    qsizetype titleIndex = -1;
    for (qsizetype i = lines.size() - 1; i >= 0 && titleIndex < 0; --i) {
        if (lines[i].trimmed().toLower() == title.toString().toLower())
            titleIndex = i;
    }
    if (titleIndex < 0)
        return std::nullopt;
    qsizetype footerIndex = -1;
    for (qsizetype i = titleIndex; i < lines.size() && footerIndex < 0; ++i) {
        if (lines[i].toLower().contains(Markers::approvalFooter))
            footerIndex = i;
    }
    if (footerIndex < 0)
        return std::nullopt;
    ApprovalFrame frame;
    frame.titleIndex = titleIndex;
    frame.slice = lines.mid(titleIndex, footerIndex - titleIndex + 1);
    frame.options = parseApprovalOptions(frame.slice, shortcut);
    if (frame.options.size() != keys.size())
        return std::nullopt;
    frame.hasAllShortcuts = true;
    for (std::size_t i = 0; i < keys.size(); ++i)
        frame.hasAllShortcuts = frame.hasAllShortcuts && frame.options[i].shortcutKey == keys[i];

    qsizetype firstOption = -1;
    for (qsizetype i = 1; i < frame.slice.size() && firstOption < 0; ++i) {
        if (isOptionLine(frame.slice[i]))
            firstOption = i;
    }
    if (firstOption < 0)
        return std::nullopt;
    frame.bodyLines = trimmedNonEmpty(frame.slice.mid(1, firstOption - 1));
    return frame;
}

PendingInteraction CodexScreenAdapter::approvalReading(const ApprovalFrame& frame,
                                                       const QString& title,
                                                       std::vector<InteractionChoice> choices,
                                                       const QString& text,
                                                       const ScreenAdapterInput& input)
{
    PendingInteraction interaction;
    interaction.paneID = input.paneID;
    interaction.kind = InteractionKind::approval;
    interaction.title = title;
    if (!frame.bodyLines.isEmpty())
        interaction.body = frame.bodyLines.join(u'\n');
    for (std::size_t i = 0; i < choices.size(); ++i) {
        if (frame.hasAllShortcuts)
            choices[i].shortcutKeys = {*frame.options[i].shortcutKey};
    }
    interaction.choices = std::move(choices);
    interaction.presentation.selectedChoiceIndex = firstSelected(frame.options);
    // When a redraw has lost the letters, numbers are never pressed into an approval.
    interaction.presentation.mechanism = frame.hasAllShortcuts
                                             ? InteractionMechanism::explicitShortcut
                                             : InteractionMechanism::ambiguous;
    interaction.capabilities = {InteractionCapability::approve, InteractionCapability::deny,
                                InteractionCapability::selectOne};
    interaction.evidence = exactEvidence(input, text);
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}

std::optional<PendingInteraction> CodexScreenAdapter::parseApproval(const QString& text,
                                                                    const ScreenAdapterInput& input)
{
    const QString title = Markers::approvalTitle.toString();
    const auto frame = approvalFrame(ScreenText::lines(text), title, commandShortcut(),
                                     {u"y"_s, u"p"_s, u"esc"_s});
    if (!frame)
        return std::nullopt;
    const auto& options = frame->options;
    const QString persistLabel = options[1].label;
    const qsizetype cut = persistLabel.indexOf(u" for commands that start with"_s);
    const auto prefix = commandPrefix(persistLabel);
    const QString descriptions[] = {
        u"Run once."_s,
        prefix ? u"Persist approval for commands starting with `%1`."_s.arg(*prefix)
               : u"Persist approval for the exact command prefix."_s,
        u"Deny and return feedback to Codex."_s,
    };
    std::vector<InteractionChoice> choices;
    for (std::size_t i = 0; i < options.size(); ++i) {
        InteractionChoice choice;
        choice.kind = InteractionChoiceKind::option;
        choice.label =
            withoutShortcutSuffix(i == 1 && cut >= 0 ? persistLabel.left(cut) : options[i].label);
        choice.description = descriptions[i];
        choices.push_back(std::move(choice));
    }
    PendingInteraction interaction =
        approvalReading(*frame, title, std::move(choices), text, input);
    if (auto command = valueAfter(frame->slice, u"$ ")) {
        interaction.contentEvidence =
            InteractionCommandEvidence{valueAfter(frame->slice, u"Environment:"),
                                       valueAfter(frame->slice, u"Reason:"), std::move(*command)};
    }
    return interaction;
}

std::optional<PendingInteraction> CodexScreenAdapter::parseQuestion(const QString& text,
                                                                    const ScreenAdapterInput& input)
{
    static const QRegularExpression header =
        ScreenText::pattern(Markers::questionHeader.toString());
    static const QRegularExpression counts =
        ScreenText::pattern(u"Question\\s+(\\d+)/(\\d+)(?:\\s+\\((\\d+)\\s+unanswered\\))?"_s);
    if (!header.isValid() || !counts.isValid())
        return std::nullopt;
    const QStringList lines = ScreenText::lines(text);
    qsizetype headerIndex = -1;
    for (qsizetype i = lines.size() - 1; i >= 0 && headerIndex < 0; --i) {
        if (header.match(lines[i]).hasMatch())
            headerIndex = i;
    }
    if (headerIndex < 0)
        return std::nullopt;
    const auto match = counts.match(lines[headerIndex]);
    const auto integerCapture = [&](int group) -> std::optional<qint64> {
        if (match.capturedStart(group) < 0)
            return std::nullopt;
        return ScreenText::integerValue(match.capturedView(group));
    };
    const auto current = integerCapture(1);
    const auto total = integerCapture(2);
    if (!match.hasMatch() || !current || !total)
        return std::nullopt;
    const auto unanswered = integerCapture(3);
    if (match.capturedStart(3) >= 0 && !unanswered)
        return std::nullopt;

    const QStringList below = lines.mid(headerIndex + 1);
    std::optional<QString> title;
    for (const QString& line : below) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty() && !trimmed.startsWith(u"›")) {
            title = trimmed;
            break;
        }
    }
    if (!title)
        return std::nullopt;
    const auto options = parseOptions(below);
    if (options.empty())
        return std::nullopt;

    const QString lowered = text.toLower();
    // The placeholder names the open field only while it is empty; its footer names it always.
    const bool notesFocused = lowered.contains(Markers::notesFocus)
                              || footerSegments(lowered).contains(Markers::clearNotes.toString());
    PendingInteraction interaction;
    interaction.paneID = input.paneID;
    interaction.kind = !unanswered && lowered.contains(Markers::submitAll)
                           ? InteractionKind::reviewSubmit
                           : InteractionKind::question;
    interaction.title = title;
    interaction.progress = InteractionProgress{current, total, unanswered};
    for (const auto& option : options)
        interaction.choices.push_back(plainChoice(option));
    interaction.presentation.selectedChoiceIndex = firstSelected(options);
    interaction.presentation.mechanism =
        notesFocused ? InteractionMechanism::textEntry : InteractionMechanism::arrowNavigate;
    interaction.capabilities = {InteractionCapability::selectOne, InteractionCapability::deny};
    if (lowered.contains(Markers::addNotes) || notesFocused)
        interaction.capabilities.insert(InteractionCapability::enterText);
    if (*total >= 2)
        interaction.capabilities.insert(InteractionCapability::navigateSteps);
    interaction.evidence = exactEvidence(input, text);
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}

std::optional<PendingInteraction> CodexScreenAdapter::parseReview(const QString& text,
                                                                  const ScreenAdapterInput& input)
{
    const QStringList lines = ScreenText::lines(text);
    const auto options = parseOptions(lines);
    if (options.size() != 2)
        return std::nullopt;
    std::optional<qint64> unanswered;
    for (const QString& line : lines) {
        const QStringList pieces = line.trimmed().split(u' ', Qt::SkipEmptyParts);
        if (pieces.size() == 3 && pieces[1] == u"unanswered" && pieces[2] == u"questions") {
            unanswered = ScreenText::integerValue(pieces[0]);
            break;
        }
    }

    PendingInteraction interaction;
    interaction.paneID = input.paneID;
    interaction.kind = InteractionKind::reviewSubmit;
    interaction.title = Markers::reviewTitle.toString();
    interaction.progress = InteractionProgress{std::nullopt, std::nullopt, unanswered};
    // The two rows keep their own words; the planner drives them with arrows.
    for (const auto& option : options)
        interaction.choices.push_back(plainChoice(option));
    interaction.presentation.selectedChoiceIndex = firstSelected(options);
    interaction.presentation.mechanism = InteractionMechanism::arrowNavigate;
    interaction.capabilities = {InteractionCapability::selectOne, InteractionCapability::deny};
    interaction.evidence = exactEvidence(input, text);
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}
