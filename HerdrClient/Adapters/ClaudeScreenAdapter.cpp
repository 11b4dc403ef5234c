#include "HerdrClient/Adapters/ClaudeScreenAdapter.h"

#include "HerdrClient/Interaction/GenericScreenAdapter.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Interaction/ScreenText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView blockMarkers[] = {
    u"do you want to proceed?", u"do you want to make this edit", u"esc to cancel",
    u"enter to select",         u"tab/arrow keys to navigate",    u"enter to select ·",
    u"ready to submit",         u"you have not answered"};
constexpr QStringView approvalMarkers[] = {u"do you want to"};
constexpr QStringView denyMarkers[] = {u"esc to cancel", u"(esc)"};
constexpr QStringView navigationMarkers[] = {u"to navigate", u"↑/↓", u"tab to amend"};

// Plan mode's two confirmations carry no footer; their question marks them. Esc rejects the plan
// in both, which the screen does not say.
constexpr QStringView planMarkers[] = {u"claude has written up a plan and is ready to execute",
                                       u"claude wants to exit plan mode"};
// The review tab of a wizard has no footer either; its heading counts only under a tab row.
constexpr QStringView reviewHeading = u"review your answers";
constexpr QStringView planHeading = u"Ready to code?";
constexpr QStringView feedbackHint = u"shift+tab to approve with this feedback";
constexpr QStringView feedbackPlaceholder = u"Tell Claude what to change";

// Dialogs whose rows carry no numbers: a digit closes them and lands in the input, so only
// arrows answer them. Known by their question; Esc keeps things as they are.
constexpr QStringView cursorDialogTitles[] = {u"make auto mode your default permission mode?"};

template <std::size_t N>
bool containsAny(const QString& lowered, const QStringView (&markers)[N])
{
    return std::any_of(std::begin(markers), std::end(markers),
                       [&](QStringView marker) { return lowered.contains(marker); });
}

bool isDiffFrame(const QString& line)
{
    const QString trimmed = line.trimmed();
    return ScreenText::consistsOf(trimmed, u"\u254C") && ScreenText::characterCount(trimmed) >= 8;
}

bool equalsIgnoringCase(const QString& text, QStringView other)
{
    return text.compare(other, Qt::CaseInsensitive) == 0;
}

const QStringView cursorGlyph = ScreenText::cursorGlyphs[0];

// A row of a dialog without numbers: the label starts at `column`; in front of it only blanks,
// or the cursor glyph on the row under the cursor.
std::optional<QString> cursorDialogRow(const QString& line, qsizetype column, bool& selected)
{
    if (line.size() <= column || line[column].isSpace())
        return std::nullopt;
    const QString lead = line.first(column).trimmed();
    if (!lead.isEmpty() && lead != cursorGlyph)
        return std::nullopt;
    selected = !lead.isEmpty();
    return line.sliced(column).trimmed();
}

// The lines of the plan that the approval stands under: between the two dashed frames below
// "Ready to code?", above the question.
std::optional<QString> planText(const QStringList& lines, const QString& questionLine)
{
    qsizetype question = -1;
    for (qsizetype i = lines.size() - 1; i >= 0 && question < 0; --i) {
        if (lines[i].trimmed() == questionLine)
            question = i;
    }
    qsizetype heading = -1;
    for (qsizetype i = question - 1; i >= 0 && heading < 0; --i) {
        if (lines[i].trimmed() == planHeading)
            heading = i;
    }
    if (heading < 0)
        return std::nullopt;
    std::vector<qsizetype> frames;
    for (qsizetype i = heading + 1; i < question && frames.size() < 2; ++i) {
        if (isDiffFrame(lines[i]))
            frames.push_back(i);
    }
    if (frames.size() < 2)
        return std::nullopt;
    QStringList plan;
    for (qsizetype i = frames[0] + 1; i < frames[1]; ++i)
        plan.push_back(lines[i].trimmed());
    while (!plan.isEmpty() && plan.last().isEmpty())
        plan.removeLast();
    while (!plan.isEmpty() && plan.first().isEmpty())
        plan.removeFirst();
    if (plan.isEmpty())
        return std::nullopt;
    return plan.join(u'\n');
}

} // namespace

std::optional<PendingInteraction> ClaudeScreenAdapter::parseCursorDialog(
    const ScreenAdapterInput& input, const QString& text)
{
    const QStringList lines = ScreenText::lines(text);
    qsizetype title = -1;
    for (qsizetype i = lines.size() - 1; i >= 0 && title < 0; --i) {
        const QString lowered = lines[i].trimmed().toLower();
        if (std::any_of(std::begin(cursorDialogTitles), std::end(cursorDialogTitles),
                        [&](QStringView known) { return lowered == known; }))
            title = i;
    }
    if (title < 0)
        return std::nullopt;
    qsizetype cursor = -1;
    for (qsizetype i = title + 1; i < lines.size() && cursor < 0; ++i) {
        if (ScreenText::startsWithCharacter(lines[i].trimmed(), cursorGlyph))
            cursor = i;
    }
    if (cursor < 0)
        return std::nullopt;
    const QString& cursorLine = lines[cursor];
    const qsizetype glyph = cursorLine.indexOf(cursorGlyph);
    qsizetype column = glyph + cursorGlyph.size();
    while (column < cursorLine.size() && cursorLine[column] == u' ')
        ++column;

    // The rows stand together, aligned with the cursor's label, and nothing is drawn below them.
    qsizetype first = cursor;
    bool selected = false;
    while (first - 1 > title && cursorDialogRow(lines[first - 1], column, selected))
        --first;
    qsizetype end = cursor + 1;
    while (end < lines.size() && cursorDialogRow(lines[end], column, selected))
        ++end;
    for (qsizetype i = end; i < lines.size(); ++i) {
        if (!lines[i].trimmed().isEmpty())
            return std::nullopt;
    }
    if (end - first < 2)
        return std::nullopt;

    PendingInteraction interaction;
    interaction.paneID = input.paneID;
    interaction.kind = InteractionKind::question;
    interaction.title = lines[title].trimmed();
    for (qsizetype i = first; i < end; ++i) {
        const auto label = cursorDialogRow(lines[i], column, selected);
        if (!label || (selected && i != cursor))
            return std::nullopt;
        InteractionChoice choice;
        choice.label = *label;
        interaction.choices.push_back(std::move(choice));
    }
    interaction.presentation.selectedChoiceIndex = qint64(cursor - first);
    interaction.presentation.mechanism = InteractionMechanism::arrowNavigate;
    interaction.capabilities = {InteractionCapability::selectOne, InteractionCapability::deny};
    interaction.evidence =
        input.evidence(claudeAdapterID.toString(), InteractionConfidence::exact, text);
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}

QString ClaudeScreenAdapter::adapterID() const
{
    return claudeAdapterID.toString();
}

std::set<QString> ClaudeScreenAdapter::agentIDs() const
{
    return {u"claude"_s};
}

PendingInteraction ClaudeScreenAdapter::parse(const ScreenAdapterInput& input) const
{
    const QString text = ScreenText::normalizedLineEndings(input.detectionText);
    if (auto dialog = parseCursorDialog(input, text))
        return std::move(*dialog);
    const auto region = PromptClassifier::latestInteractionRegion(text);
    if (!region)
        return GenericScreenAdapter::reading(input);
    const QString lowered = region->toLower();
    const auto steps = PromptClassifier::parseWizardSteps(*region, input.currentTabLabel);
    // The sentence must be the question itself: the transcript may quote it in prose.
    const auto questionLine = PromptClassifier::parseQuestionTitle(*region);
    const bool isPlan =
        questionLine
        && std::any_of(std::begin(planMarkers), std::end(planMarkers), [&](QStringView marker) {
               return questionLine->toLower().startsWith(marker);
           });
    const bool isReviewTab = steps.size() >= 2 && lowered.contains(reviewHeading);
    if (!containsAny(lowered, blockMarkers) && !isPlan && !isReviewTab)
        return GenericScreenAdapter::reading(input);
    const auto options = PromptClassifier::parseNumberedOptions(*region);
    if (options.empty())
        return GenericScreenAdapter::reading(input);

    const bool isApproval = containsAny(lowered, approvalMarkers) || isPlan;
    // The review tab's heading stands above the answers, which are no question; a review that
    // asks "Ready to submit your answers?" keeps that question.
    std::optional<QString> title = questionLine;
    if (isReviewTab && !lowered.contains(u"ready to submit")) {
        for (const QString& line : ScreenText::lines(*region)) {
            if (equalsIgnoringCase(line.trimmed(), reviewHeading)) {
                title = line.trimmed();
                break;
            }
        }
    }
    const auto current = std::find_if(steps.begin(), steps.end(),
                                      [](const ParsedTerminalStep& s) { return s.isCurrent; });
    const std::optional<qint64> currentIndex =
        current == steps.end() ? std::nullopt : std::optional<qint64>(current - steps.begin());
    const bool isReview =
        currentIndex && current->isSubmit
        && std::any_of(options.begin(), options.end(), [](const ParsedTerminalOption& o) {
               return equalsIgnoringCase(o.label, u"Submit answers");
           });

    const auto any = [&](auto predicate) {
        return std::any_of(options.begin(), options.end(), predicate);
    };
    // The plan approval's last row is a text field: its label is a placeholder until the person
    // types, and once the cursor stands on it a digit is typed there instead of picking a row.
    const auto isFeedbackRow = [&](const ParsedTerminalOption& o) {
        return isPlan && o.description
               && o.description->startsWith(feedbackHint, Qt::CaseInsensitive);
    };
    const bool inFeedbackRow =
        any([&](const ParsedTerminalOption& o) { return isFeedbackRow(o) && o.isSelected; });
    // A check box decides over everything else; a cursor without navigation text is not trusted
    // to mean arrows, so the numbers are used.
    PendingInteraction interaction;
    InteractionCapability base = InteractionCapability::selectOne;
    if (any([](const ParsedTerminalOption& o) { return o.isChecked.has_value(); })) {
        interaction.presentation.mechanism = InteractionMechanism::multiSelect;
        base = InteractionCapability::selectMany;
    } else if (inFeedbackRow) {
        interaction.presentation.mechanism = InteractionMechanism::textEntry;
    } else if (containsAny(lowered, navigationMarkers)
               && any([](const ParsedTerminalOption& o) { return o.isSelected; })) {
        interaction.presentation.mechanism = InteractionMechanism::arrowNavigate;
    } else {
        interaction.presentation.mechanism = InteractionMechanism::numberedShortcut;
    }
    interaction.capabilities.insert(base);
    if (containsAny(lowered, denyMarkers) || isPlan)
        interaction.capabilities.insert(InteractionCapability::deny);
    if (any([&](const ParsedTerminalOption& o) { return o.isTextEntry || isFeedbackRow(o); }))
        interaction.capabilities.insert(InteractionCapability::enterText);
    if (steps.size() >= 2)
        interaction.capabilities.insert(InteractionCapability::navigateSteps);
    if (isApproval)
        interaction.capabilities.insert(InteractionCapability::approve);

    interaction.paneID = input.paneID;
    interaction.title = title;
    if (isApproval) {
        interaction.kind = InteractionKind::approval;
        interaction.body = PromptClassifier::interactionBody(*region, title);
        // What a plan approval approves is the plan drawn above the question.
        if (auto plan = isPlan && title ? planText(ScreenText::lines(text), *title) : std::nullopt)
            interaction.body = std::move(plan);
    } else {
        interaction.kind = isReview ? InteractionKind::reviewSubmit : InteractionKind::question;
    }

    for (std::size_t i = 0; i < options.size(); ++i) {
        const auto& option = options[i];
        InteractionChoice choice;
        choice.label = option.label;
        choice.description = option.description;
        if (isFeedbackRow(option)) {
            choice.kind = InteractionChoiceKind::textEntry;
            if (!equalsIgnoringCase(option.label, feedbackPlaceholder)) {
                choice.draft = option.label;
                choice.label = feedbackPlaceholder.toString();
            }
        } else if (option.isTextEntry) {
            choice.kind = InteractionChoiceKind::textEntry;
        } else if (isReview && equalsIgnoringCase(option.label, u"Submit answers")) {
            choice.kind = InteractionChoiceKind::submit;
        } else if (isReview && equalsIgnoringCase(option.label, u"Cancel")) {
            choice.kind = InteractionChoiceKind::cancel;
        }
        interaction.choices.push_back(std::move(choice));
        if (option.isSelected && !interaction.presentation.selectedChoiceIndex)
            interaction.presentation.selectedChoiceIndex = qint64(i);
        if (option.isChecked.value_or(false))
            interaction.presentation.checkedChoiceIndexes.push_back(qint64(i));
    }
    for (const auto& step : steps)
        interaction.steps.push_back(InteractionStep{step.label, step.isAnswered, step.isSubmit});
    interaction.progress = InteractionProgress::ofWizard(interaction.steps, currentIndex, isReview);
    interaction.presentation.activeStepIndex = currentIndex;
    interaction.presentation.selectedChoicePreview =
        PromptClassifier::selectedChoicePreview(*region);

    interaction.evidence = input.evidence(adapterID(), InteractionConfidence::exact, text);
    if (auto diff = parseDiffEvidence(*region))
        interaction.contentEvidence = std::move(*diff);
    // An approval whose subject is off the screen (its frame scrolled away) looks the same for
    // every command, so its fingerprint could not tell one from another: nothing is pressed for it.
    if (interaction.kind == InteractionKind::approval && !interaction.body
        && !interaction.contentEvidence)
        return GenericScreenAdapter::reading(input);
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}

std::optional<InteractionDiffEvidence> ClaudeScreenAdapter::parseDiffEvidence(const QString& region)
{
    const QStringList lines = region.split(u'\n');
    qsizetype heading = -1;
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        if (lines[i].trimmed() == u"Edit file") {
            heading = i;
            break;
        }
    }
    if (heading < 0 || heading + 1 >= lines.size())
        return std::nullopt;
    const QString filePath = lines[heading + 1].trimmed();
    if (filePath.isEmpty())
        return std::nullopt;
    qsizetype top = -1;
    for (qsizetype i = heading + 2; i < lines.size() && top < 0; ++i) {
        if (isDiffFrame(lines[i]))
            top = i;
    }
    if (top < 0)
        return std::nullopt;
    qsizetype bottom = -1;
    for (qsizetype i = top + 1; i < lines.size() && bottom < 0; ++i) {
        if (isDiffFrame(lines[i]))
            bottom = i;
    }
    if (bottom < 0)
        return std::nullopt;

    InteractionDiffEvidence diff{filePath, {}};
    bool changes = false;
    for (qsizetype i = top + 1; i < bottom; ++i) {
        if (auto line = parseDiffLine(lines[i])) {
            changes = changes || line->kind != InteractionDiffLineKind::context;
            diff.lines.push_back(std::move(*line));
        }
    }
    if (!changes)
        return std::nullopt;
    return diff;
}

std::optional<InteractionDiffLine> ClaudeScreenAdapter::parseDiffLine(const QString& line)
{
    // One per thread: the readers run on any thread, and a compiled pattern is not shared.
    thread_local const QRegularExpression row =
        ScreenText::pattern(u"^\\s*(\\d+)\\s+([+-]?)(.*)$"_s);
    if (!row.isValid())
        return std::nullopt;
    const auto match = row.match(line, 0, QRegularExpression::NormalMatch,
                                 QRegularExpression::AnchorAtOffsetMatchOption);
    if (!match.hasMatch())
        return std::nullopt;
    InteractionDiffLine diffLine;
    bool ok = false;
    const qint64 number = match.captured(1).toLongLong(&ok);
    if (ok)
        diffLine.lineNumber = number;
    const QString sign = match.captured(2);
    diffLine.kind = sign == u"-"   ? InteractionDiffLineKind::removal
                    : sign == u"+" ? InteractionDiffLineKind::addition
                                   : InteractionDiffLineKind::context;
    diffLine.text = match.captured(3);
    return diffLine;
}
