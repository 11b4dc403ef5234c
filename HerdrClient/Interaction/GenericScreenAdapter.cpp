#include "HerdrClient/Interaction/GenericScreenAdapter.h"

#include "HerdrClient/Interaction/ScreenText.h"

QString GenericScreenAdapter::adapterID() const
{
    return genericID.toString();
}

std::set<QString> GenericScreenAdapter::agentIDs() const
{
    return {};
}

PendingInteraction GenericScreenAdapter::parse(const ScreenAdapterInput& input) const
{
    return reading(input, adapterID());
}

std::optional<qint64> GenericScreenAdapter::evidenceRevision(const std::optional<quint64>& revision)
{
    ScreenAdapterInput input;
    input.paneRevision = revision;
    return input.evidence({}, InteractionConfidence::fallback, {}).paneRevision;
}

PendingInteraction GenericScreenAdapter::reading(const ScreenAdapterInput& input,
                                                 const QString& providerID)
{
    const QString text = ScreenText::normalizedLineEndings(input.detectionText);
    PendingInteraction interaction;
    interaction.paneID = input.paneID;
    interaction.kind = InteractionKind::unknown;
    interaction.body = text;
    interaction.presentation.mechanism = InteractionMechanism::manual;
    interaction.capabilities = {InteractionCapability::manualTerminal};
    interaction.evidence = input.evidence(providerID, InteractionConfidence::fallback, text);
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}
