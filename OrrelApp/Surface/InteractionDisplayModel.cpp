#include "OrrelApp/Surface/InteractionDisplayModel.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool hasCapability(const PendingInteraction& interaction, InteractionCapability capability)
{
    return interaction.capabilities.contains(capability);
}

// Whether a pick among the choices can be sent as a structured answer rather than typed by hand.
bool choicesAreStructured(const PendingInteraction& interaction, bool native)
{
    const auto& presentation = interaction.presentation;
    switch (presentation.mechanism) {
    case InteractionMechanism::numberedShortcut: return true;
    case InteractionMechanism::explicitShortcut:
        return native || std::ranges::all_of(interaction.choices, [](const auto& choice) {
                   return !choice.shortcutKeys.empty();
               });
    case InteractionMechanism::arrowNavigate:
    case InteractionMechanism::multiSelect:
        return native || presentation.selectedChoiceIndex.has_value();
    case InteractionMechanism::textEntry:
    case InteractionMechanism::ambiguous:
    case InteractionMechanism::manual: return native;
    }
    return native;
}

bool shortcutKeysAre(const InteractionChoice& choice, const QString& key)
{
    return choice.shortcutKeys.size() == 1 && choice.shortcutKeys.front() == key;
}

} // namespace

std::optional<QString> InteractionDisplayModel::progressTextFor(
    const std::optional<InteractionProgress>& progress)
{
    if (!progress)
        return std::nullopt;
    if (progress->current && progress->total) {
        QString text = u"Question %1/%2"_s.arg(*progress->current).arg(*progress->total);
        if (progress->unanswered)
            text += u" (%1 unanswered)"_s.arg(*progress->unanswered);
        return text;
    }
    if (progress->unanswered)
        return u"%1 unanswered questions"_s.arg(*progress->unanswered);
    return std::nullopt;
}

InteractionDisplayModel InteractionDisplayModel::from(const PendingInteraction& interaction)
{
    const auto& presentation = interaction.presentation;
    const auto mechanism = presentation.mechanism;
    const bool native = interaction.evidence.source == InteractionSourceKind::native;
    const bool multiSelectable = hasCapability(interaction, InteractionCapability::selectMany);

    InteractionDisplayModel model;
    model.title = interaction.title;
    model.body = interaction.body;
    model.progressText = progressTextFor(interaction.progress);
    model.selectedChoicePreview = presentation.selectedChoicePreview;
    if (interaction.userPromptContext)
        model.userContextLine = u"You: "_s + interaction.userPromptContext->simplified();

    for (std::size_t position = 0; position < interaction.choices.size(); ++position) {
        const auto& choice = interaction.choices[position];
        const auto index = qint64(position);
        std::optional<bool> checked;
        if (multiSelectable)
            checked = std::ranges::find(presentation.checkedChoiceIndexes, index)
                      != presentation.checkedChoiceIndexes.end();
        model.choices.push_back({index, choice.kind, choice.label, choice.description,
                                 choice.shortcutKeys, presentation.selectedChoiceIndex == index,
                                 checked});
    }

    model.showsManualControls = true;
    model.showsCancel = hasCapability(interaction, InteractionCapability::deny);

    const bool entersText = hasCapability(interaction, InteractionCapability::enterText);
    bool structured = false;
    if (entersText && mechanism == InteractionMechanism::textEntry) {
        // A screen's text field is typed into by hand; only a native provider takes it whole.
        model.showsTextEntry = true;
        structured = native;
    } else {
        // An approval takes text only in a row of its own: claude's plan feedback.
        const bool approvalWithTextRow =
            interaction.kind == InteractionKind::approval
            && std::ranges::any_of(interaction.choices, [](const InteractionChoice& choice) {
                   return choice.kind == InteractionChoiceKind::textEntry;
               });
        model.showsBeginTextEntry =
            entersText && (interaction.kind == InteractionKind::question || approvalWithTextRow);
        structured = choicesAreStructured(interaction, native);
    }

    if (structured) {
        model.choicesAreActionable =
            hasCapability(interaction, InteractionCapability::selectOne) || multiSelectable;
        model.exposesStructuredSubmit = true;
    } else {
        model.choicesAreActionable = false;
        model.exposesStructuredSubmit = mechanism != InteractionMechanism::ambiguous
                                        && mechanism != InteractionMechanism::manual
                                        && interaction.kind != InteractionKind::unknown;
    }

    const bool someStepAnswered = std::ranges::any_of(
        interaction.steps, [](const InteractionStep& step) { return step.isAnswered; });
    model.showsExplicitSubmit =
        interaction.kind == InteractionKind::reviewSubmit
        || (mechanism == InteractionMechanism::multiSelect && someStepAnswered
            && presentation.activeStepIndex.has_value());

    if (interaction.kind == InteractionKind::approval) {
        if (structured) {
            model.approvalOnceAvailable = true;
            // The middle row of a three-way approval is the "always" choice.
            if (interaction.choices.size() >= 3)
                model.approvalPersistChoiceIndex = 1;
        } else if (mechanism == InteractionMechanism::explicitShortcut) {
            model.approvalOnceAvailable = !interaction.choices.empty()
                                          && shortcutKeysAre(interaction.choices.front(), u"y"_s);
            const auto persist = std::ranges::find_if(interaction.choices, [](const auto& choice) {
                return shortcutKeysAre(choice, u"p"_s);
            });
            if (persist != interaction.choices.end())
                model.approvalPersistChoiceIndex = qint64(persist - interaction.choices.begin());
        }
    }

    if (mechanism == InteractionMechanism::ambiguous)
        model.supportMessage = u"Response mechanism is ambiguous — use manual controls."_s;
    else if (interaction.kind == InteractionKind::unknown)
        model.supportMessage = u"Unrecognized prompt — use manual controls."_s;
    else
        model.supportMessage =
            u"Responses are revalidated against the live prompt before sending."_s;
    return model;
}
