#pragma once

#include "HerdrClient/OpenCode/OpenCodePaneRegistry.h"
#include "HerdrClient/Responding/InteractionResponding.h"

// Answers a pane that names its opencode server through that server, and every other pane with
// keys, choosing as `RoutedInteractionProvider` reads. A native pane is never answered with keys.
//
// The registry and both responders must outlive it.
class RoutedInteractionResponder final : public InteractionResponding {
public:
    RoutedInteractionResponder(const OpenCodePaneRegistry& registry, InteractionResponding& native,
                               InteractionResponding& fallback);

    using InteractionResponding::respond;
    QCoro::Task<InteractionResponseOutcome> respond(InteractionResponseRequest request,
                                                    InteractionPhaseCallback onPhase) override;

private:
    const OpenCodePaneRegistry& m_registry;
    InteractionResponding& m_native;
    InteractionResponding& m_fallback;
};
