#include "HerdrClient/Interaction/ScreenAdapterInput.h"

#include <limits>

InteractionEvidence ScreenAdapterInput::evidence(const QString& providerID,
                                                 InteractionConfidence confidence,
                                                 const QString& capturedText) const
{
    std::optional<qint64> revision;
    if (paneRevision && *paneRevision <= quint64(std::numeric_limits<qint64>::max()))
        revision = qint64(*paneRevision);
    return InteractionEvidence{
        .source = InteractionSourceKind::screen,
        .providerID = providerID,
        .agentID = agentID,
        .paneRevision = revision,
        .confidence = confidence,
        .capturedText = capturedText,
    };
}
