#include "HerdrClient/Capture/InteractionFixtureInspector.h"

#include "HerdrClient/Capture/PaneFixtureExtractor.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"

std::expected<PendingInteraction, PaneCaptureError> InteractionFixtureInspector::inspect(
    const QString& directory) const
{
    auto fixture = PaneFixtureExtractor::loadFixture(directory);
    if (!fixture)
        return std::unexpected(fixture.error());
    const PaneCaptureMetadata& source = fixture->metadata.sourceCapture;
    ScreenAdapterInput input;
    input.paneID = source.paneID;
    input.agentID = source.agent;
    input.detectionText = std::move(fixture->detectionText);
    input.currentTabLabel = ScreenInteractionProvider::currentTabLabel(fixture->visibleANSIText);
    input.visibleANSIText = std::move(fixture->visibleANSIText);
    input.paneRevision = source.paneRevisionAfter;
    return m_classifier.registry().parse(input);
}
