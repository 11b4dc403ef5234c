#include "HerdrClient/Interaction/GenericScreenAdapter.h"

#include "HerdrClient/Interaction/ScreenText.h"

#include <limits>

QString GenericScreenAdapter::adapterID() const { return genericID.toString(); }

std::set<QString> GenericScreenAdapter::agentIDs() const { return {}; }

PendingInteraction GenericScreenAdapter::parse(const ScreenAdapterInput& input) const
{
    return reading(input, adapterID());
}

std::optional<qint64> GenericScreenAdapter::evidenceRevision(const std::optional<quint64>& revision)
{
    if (!revision || *revision > quint64(std::numeric_limits<qint64>::max()))
        return std::nullopt;
    return qint64(*revision);
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
    interaction.evidence = InteractionEvidence{
        .source = InteractionSourceKind::screen,
        .providerID = providerID,
        .agentID = input.agentID,
        .paneRevision = evidenceRevision(input.paneRevision),
        .confidence = InteractionConfidence::fallback,
        .capturedText = text,
    };
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}
