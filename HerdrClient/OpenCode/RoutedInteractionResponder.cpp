#include "HerdrClient/OpenCode/RoutedInteractionResponder.h"

RoutedInteractionResponder::RoutedInteractionResponder(const OpenCodePaneRegistry& registry,
                                                       InteractionResponding& native,
                                                       InteractionResponding& fallback)
    : m_registry(registry), m_native(native), m_fallback(fallback)
{
}

QCoro::Task<InteractionResponseOutcome> RoutedInteractionResponder::respond(
    InteractionResponseRequest request, InteractionPhaseCallback onPhase)
{
    InteractionResponding& responder =
        m_registry.descriptor(request.paneID) ? m_native : m_fallback;
    return responder.respond(std::move(request), std::move(onPhase));
}
