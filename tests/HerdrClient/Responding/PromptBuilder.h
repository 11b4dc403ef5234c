#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"

#include <QString>

#include <functional>
#include <optional>
#include <set>

// Prompts for tests, built field by field: `prompt(...)` gives a screen prompt with numbered
// choices "Choice 1" ... and the cursor on the first, and the `with` helpers change one thing.
inline PendingInteraction prompt(InteractionKind kind, InteractionMechanism mechanism,
                                 std::set<InteractionCapability> capabilities, int choices = 3,
                                 QString paneID = QStringLiteral("w1:p1"))
{
    PendingInteraction interaction;
    interaction.paneID = std::move(paneID);
    interaction.kind = kind;
    interaction.title = QStringLiteral("Which one?");
    for (int i = 0; i < choices; ++i)
        interaction.choices.push_back(
            {InteractionChoiceKind::option, QStringLiteral("Choice %1").arg(i + 1), {}, {}, {}});
    interaction.presentation.mechanism = mechanism;
    if (choices > 0)
        interaction.presentation.selectedChoiceIndex = 0;
    interaction.capabilities = std::move(capabilities);
    interaction.evidence = {InteractionSourceKind::screen, QStringLiteral("test-screen"),
                            QStringLiteral("claude"),      std::nullopt,
                            InteractionConfidence::exact,  std::nullopt};
    return interaction;
}

inline PendingInteraction with(PendingInteraction interaction,
                               const std::function<void(PendingInteraction&)>& change)
{
    change(interaction);
    return interaction;
}

inline PendingInteraction withCursor(PendingInteraction interaction, std::optional<qint64> cursor)
{
    interaction.presentation.selectedChoiceIndex = cursor;
    return interaction;
}

// Wizard tabs: the labels given, the last one the submit tab; `active` is the highlighted one.
inline PendingInteraction withSteps(PendingInteraction interaction, std::vector<QString> labels,
                                    std::optional<qint64> active)
{
    interaction.steps.clear();
    for (std::size_t i = 0; i < labels.size(); ++i)
        interaction.steps.push_back({labels[i], false, i + 1 == labels.size()});
    interaction.presentation.activeStepIndex = active;
    return interaction;
}
