#include "HerdrClient/Responding/PaneInteractionState.h"

using namespace Qt::StringLiterals;

QString toString(PaneInteractionPhase phase)
{
    switch (phase) {
    case PaneInteractionPhase::idle: return u"idle"_s;
    case PaneInteractionPhase::reading: return u"reading"_s;
    case PaneInteractionPhase::responding: return u"responding"_s;
    case PaneInteractionPhase::settling: break;
    }
    return u"settling"_s;
}

QString toString(InteractionRefreshReason reason)
{
    switch (reason) {
    case InteractionRefreshReason::newlyBlocked: return u"newlyBlocked"_s;
    case InteractionRefreshReason::selected: return u"selected"_s;
    case InteractionRefreshReason::revisionChanged: return u"revisionChanged"_s;
    case InteractionRefreshReason::fallbackCadence: return u"fallbackCadence"_s;
    case InteractionRefreshReason::explicitSelection: return u"explicitSelection"_s;
    case InteractionRefreshReason::responseSettled: return u"responseSettled"_s;
    case InteractionRefreshReason::manualSettled: break;
    }
    return u"manualSettled"_s;
}

std::optional<InteractionFingerprint> PaneInteractionState::fingerprint() const
{
    if (!interaction)
        return std::nullopt;
    return interaction->fingerprint();
}
