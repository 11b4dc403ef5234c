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

} // namespace

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
    const auto region = PromptClassifier::latestInteractionRegion(text);
    if (!region)
        return GenericScreenAdapter::reading(input);
    const QString lowered = region->toLower();
    if (!containsAny(lowered, blockMarkers))
        return GenericScreenAdapter::reading(input);
    const auto options = PromptClassifier::parseNumberedOptions(*region);
    if (options.empty())
        return GenericScreenAdapter::reading(input);

    const bool isApproval = containsAny(lowered, approvalMarkers);
    const auto title = PromptClassifier::parseQuestionTitle(*region);
    const auto steps = PromptClassifier::parseWizardSteps(*region, input.currentTabLabel);
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
    // A check box decides over everything else; a cursor without navigation text is not trusted
    // to mean arrows, so the numbers are used.
    PendingInteraction interaction;
    InteractionCapability base = InteractionCapability::selectOne;
    if (any([](const ParsedTerminalOption& o) { return o.isChecked.has_value(); })) {
        interaction.presentation.mechanism = InteractionMechanism::multiSelect;
        base = InteractionCapability::selectMany;
    } else if (containsAny(lowered, navigationMarkers)
               && any([](const ParsedTerminalOption& o) { return o.isSelected; })) {
        interaction.presentation.mechanism = InteractionMechanism::arrowNavigate;
    } else {
        interaction.presentation.mechanism = InteractionMechanism::numberedShortcut;
    }
    interaction.capabilities.insert(base);
    if (containsAny(lowered, denyMarkers))
        interaction.capabilities.insert(InteractionCapability::deny);
    if (any([](const ParsedTerminalOption& o) { return o.isTextEntry; }))
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
    } else {
        interaction.kind = isReview ? InteractionKind::reviewSubmit : InteractionKind::question;
    }

    for (std::size_t i = 0; i < options.size(); ++i) {
        const auto& option = options[i];
        InteractionChoice choice;
        choice.label = option.label;
        choice.description = option.description;
        if (option.isTextEntry)
            choice.kind = InteractionChoiceKind::textEntry;
        else if (isReview && equalsIgnoringCase(option.label, u"Submit answers"))
            choice.kind = InteractionChoiceKind::submit;
        else if (isReview && equalsIgnoringCase(option.label, u"Cancel"))
            choice.kind = InteractionChoiceKind::cancel;
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
