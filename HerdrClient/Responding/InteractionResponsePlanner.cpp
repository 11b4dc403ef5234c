#include "HerdrClient/Responding/InteractionResponsePlanner.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using Keys = std::vector<QString>;
using Mechanism = InteractionMechanism;
using Error = InteractionPlanningError;

// herdr takes no repeat count, so a move of n rows is n keys.
Keys arrowMoves(qint64 from, qint64 to, const QString& backward, const QString& forward)
{
    const qint64 distance = to - from;
    return Keys(std::size_t(distance < 0 ? -distance : distance),
                distance < 0 ? backward : forward);
}

Keys choiceMoves(qint64 from, qint64 to)
{
    return arrowMoves(from, to, u"up"_s, u"down"_s);
}
Keys stepMoves(qint64 from, qint64 to)
{
    return arrowMoves(from, to, u"left"_s, u"right"_s);
}

InteractionResponsePlan keysPlan(Keys keys)
{
    return {{InteractionResponseOperation::sendKeys(std::move(keys))}};
}

InteractionResponsePlan keysPlan(std::initializer_list<QString> keys)
{
    return keysPlan(Keys(keys));
}

bool has(const PendingInteraction& interaction, InteractionCapability capability)
{
    return interaction.capabilities.contains(capability);
}

bool inRange(qint64 index, std::size_t count)
{
    return index >= 0 && index < qint64(count);
}

Keys appended(Keys keys, const QString& key)
{
    keys.push_back(key);
    return keys;
}

std::unexpected<Error> fail(Error error)
{
    return std::unexpected(error);
}

} // namespace

std::expected<Keys, Error> InteractionResponsePlanner::keysToFocusChoice(
    qint64 index, const PendingInteraction& interaction) const
{
    const auto& presentation = interaction.presentation;
    switch (presentation.mechanism) {
    case Mechanism::numberedShortcut:
        // Choice ten and above come out as "10", which herdr rejects as a key; the send then
        // fails as a rejection and nothing of it reaches the terminal.
        return Keys{QString::number(index + 1)};
    case Mechanism::explicitShortcut: {
        if (!inRange(index, interaction.choices.size())
            || interaction.choices[index].shortcutKeys.empty())
            return fail(Error::ambiguousMechanism);
        return interaction.choices[index].shortcutKeys;
    }
    case Mechanism::arrowNavigate:
        if (!presentation.selectedChoiceIndex)
            return fail(Error::missingCursor);
        return choiceMoves(*presentation.selectedChoiceIndex, index);
    case Mechanism::ambiguous: return fail(Error::ambiguousMechanism);
    case Mechanism::multiSelect:
    case Mechanism::textEntry:
    case Mechanism::manual: break;
    }
    return fail(Error::unsupportedIntent);
}

InteractionPlanningResult InteractionResponsePlanner::planChoice(
    qint64 index, const PendingInteraction& interaction, bool toggle) const
{
    if (!inRange(index, interaction.choices.size()))
        return fail(Error::invalidChoice);
    const auto& presentation = interaction.presentation;
    switch (presentation.mechanism) {
    case Mechanism::numberedShortcut:
        if (toggle)
            return fail(Error::unsupportedIntent);
        return keysPlan({QString::number(index + 1), u"enter"_s});
    case Mechanism::explicitShortcut:
        // A shortcut key answers on its own; an Enter behind it would reach the next prompt.
        if (toggle || interaction.choices[index].shortcutKeys.empty())
            return fail(Error::ambiguousMechanism);
        return keysPlan(interaction.choices[index].shortcutKeys);
    case Mechanism::arrowNavigate:
        if (!presentation.selectedChoiceIndex)
            return fail(Error::missingCursor);
        return keysPlan(appended(choiceMoves(*presentation.selectedChoiceIndex, index),
                                 toggle ? u"space"_s : u"enter"_s));
    case Mechanism::multiSelect:
        // In these lists Enter flips the box under the cursor; space would type into a field.
        if (!presentation.selectedChoiceIndex)
            return fail(Error::missingCursor);
        return keysPlan(
            appended(choiceMoves(*presentation.selectedChoiceIndex, index), u"enter"_s));
    case Mechanism::ambiguous: return fail(Error::ambiguousMechanism);
    case Mechanism::textEntry:
    case Mechanism::manual: break;
    }
    return fail(Error::unsupportedIntent);
}

InteractionPlanningResult InteractionResponsePlanner::planFocusTextRow(
    const PendingInteraction& interaction) const
{
    // An approval's text row (claude's plan feedback) is reached like any row, by its number or
    // arrows; Enter on it while empty would answer, so none is pressed.
    const auto& choices = interaction.choices;
    const auto row = std::find_if(choices.begin(), choices.end(), [](const InteractionChoice& c) {
        return c.kind == InteractionChoiceKind::textEntry;
    });
    if (row == choices.end())
        return fail(Error::unsupportedIntent);
    auto keys = keysToFocusChoice(qint64(row - choices.begin()), interaction);
    if (!keys)
        return fail(keys.error());
    if (keys->empty())
        return InteractionResponsePlan::noOp();
    return keysPlan(std::move(*keys));
}

InteractionPlanningResult InteractionResponsePlanner::planCheckedChoice(
    qint64 index, bool checked, const PendingInteraction& interaction) const
{
    if (!has(interaction, InteractionCapability::selectMany)
        || interaction.presentation.mechanism != Mechanism::multiSelect)
        return fail(Error::unsupportedIntent);
    if (!inRange(index, interaction.choices.size()))
        return fail(Error::invalidChoice);
    const auto& ticked = interaction.presentation.checkedChoiceIndexes;
    const bool isChecked = std::find(ticked.begin(), ticked.end(), index) != ticked.end();
    if (isChecked == checked)
        return InteractionResponsePlan::noOp();
    return planChoice(index, interaction, true);
}

InteractionPlanningResult InteractionResponsePlanner::planSubmit(
    const PendingInteraction& interaction) const
{
    const auto& presentation = interaction.presentation;
    switch (presentation.mechanism) {
    case Mechanism::ambiguous: return fail(Error::ambiguousMechanism);
    case Mechanism::multiSelect: {
        if (!has(interaction, InteractionCapability::selectMany) || !presentation.activeStepIndex)
            return fail(Error::unsupportedIntent);
        const auto& steps = interaction.steps;
        const auto target =
            std::find_if(steps.begin(), steps.end(), [](const auto& s) { return s.isSubmit; });
        if (target == steps.end())
            return fail(Error::unsupportedIntent);
        Keys moves = stepMoves(*presentation.activeStepIndex, qint64(target - steps.begin()));
        // Standing on the submit tab already, Enter would confirm a page nobody has seen settle.
        if (moves.empty())
            return fail(Error::unsupportedIntent);
        return keysPlan(appended(std::move(moves), u"enter"_s));
    }
    case Mechanism::textEntry: return keysPlan({u"enter"_s});
    default: break;
    }
    if (interaction.kind == InteractionKind::reviewSubmit)
        return keysPlan({u"enter"_s});
    if (presentation.mechanism == Mechanism::explicitShortcut
        && interaction.kind == InteractionKind::approval && presentation.selectedChoiceIndex)
        return keysPlan({u"enter"_s});
    return fail(Error::unsupportedIntent);
}

InteractionPlanningResult InteractionResponsePlanner::plan(
    const InteractionResponseIntent& intent, const PendingInteraction& interaction) const
{
    using Kind = InteractionResponseIntent::Kind;
    using Capability = InteractionCapability;
    const auto& presentation = interaction.presentation;
    const Mechanism mechanism = presentation.mechanism;

    switch (intent.kind) {
    case Kind::previewChoice: {
        if (!has(interaction, Capability::selectOne) || mechanism != Mechanism::arrowNavigate
            || !presentation.selectedChoicePreview
            || !inRange(intent.index, interaction.choices.size()))
            return fail(Error::unsupportedIntent);
        auto keys = keysToFocusChoice(intent.index, interaction);
        if (!keys)
            return fail(keys.error());
        if (keys->empty())
            return InteractionResponsePlan::noOp();
        return keysPlan(std::move(*keys));
    }
    case Kind::selectChoice:
        if (!has(interaction, Capability::selectOne))
            return fail(Error::unsupportedIntent);
        return planChoice(intent.index, interaction, false);
    case Kind::setChoice: return planCheckedChoice(intent.index, intent.checked, interaction);
    case Kind::enterText:
        if (!has(interaction, Capability::enterText))
            return fail(Error::unsupportedIntent);
        if (intent.text.isEmpty())
            return fail(Error::emptyText);
        return InteractionResponsePlan{{InteractionResponseOperation::sendText(intent.text)}};
    case Kind::submitText:
        if (!has(interaction, Capability::enterText) || mechanism != Mechanism::textEntry)
            return fail(Error::unsupportedIntent);
        if (intent.text.isEmpty())
            return fail(Error::emptyText);
        return InteractionResponsePlan{{InteractionResponseOperation::sendText(intent.text),
                                        InteractionResponseOperation::sendKeys({u"enter"_s})}};
    case Kind::submitChoiceText: {
        if (!has(interaction, Capability::enterText)
            || !inRange(intent.index, interaction.choices.size())
            || interaction.choices[intent.index].kind != InteractionChoiceKind::textEntry)
            return fail(Error::unsupportedIntent);
        if (intent.text.isEmpty())
            return fail(Error::emptyText);
        // Typing over what the person already typed in the terminal would mix two answers.
        if (!interaction.choices[intent.index].draft.value_or(QString()).isEmpty())
            return fail(Error::terminalDraft);
        auto keys = keysToFocusChoice(intent.index, interaction);
        if (!keys)
            return fail(keys.error());
        InteractionResponsePlan plan;
        if (!keys->empty())
            plan.operations.push_back(InteractionResponseOperation::sendKeys(std::move(*keys)));
        plan.operations.push_back(InteractionResponseOperation::sendText(intent.text));
        plan.operations.push_back(InteractionResponseOperation::sendKeys({u"enter"_s}));
        return plan;
    }
    case Kind::navigateToStep:
        if (!has(interaction, Capability::navigateSteps)
            || !inRange(intent.index, interaction.steps.size()) || !presentation.activeStepIndex)
            return fail(Error::unsupportedIntent);
        // An empty move stays one operation, so the responder still watches the screen settle.
        return keysPlan(stepMoves(*presentation.activeStepIndex, intent.index));
    case Kind::beginTextEntry:
        if (!has(interaction, Capability::enterText) || mechanism == Mechanism::textEntry)
            return fail(Error::unsupportedIntent);
        if (interaction.kind == InteractionKind::approval)
            return planFocusTextRow(interaction);
        return keysPlan({u"tab"_s});
    case Kind::clearTextEntry:
        if (mechanism != Mechanism::textEntry)
            return fail(Error::unsupportedIntent);
        if (interaction.kind == InteractionKind::approval) {
            // Tab does nothing in an approval's text row; the cursor leaves it upwards.
            const auto cursor = interaction.presentation.selectedChoiceIndex;
            if (!cursor || *cursor <= 0)
                return fail(Error::missingCursor);
            return keysPlan({u"up"_s});
        }
        return keysPlan({u"tab"_s});
    case Kind::navigatePrevious:
        if (!has(interaction, Capability::navigateSteps))
            return fail(Error::unsupportedIntent);
        return keysPlan({u"left"_s});
    case Kind::navigateNext:
        if (!has(interaction, Capability::navigateSteps))
            return fail(Error::unsupportedIntent);
        return keysPlan({u"right"_s});
    case Kind::submit: return planSubmit(interaction);
    case Kind::approve:
        if (interaction.kind != InteractionKind::approval || !has(interaction, Capability::approve))
            return fail(Error::unsupportedIntent);
        // The first choice of an approval is the approval.
        return planChoice(0, interaction, false);
    case Kind::deny:
        if (interaction.kind != InteractionKind::approval || !has(interaction, Capability::deny))
            return fail(Error::unsupportedIntent);
        return keysPlan({u"esc"_s});
    case Kind::cancel:
        if (!has(interaction, Capability::deny))
            return fail(Error::unsupportedIntent);
        return keysPlan({u"esc"_s});
    }
    return fail(Error::unsupportedIntent);
}
