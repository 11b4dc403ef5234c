#include "HerdrClient/OpenCode/RoutedInteractionProvider.h"

RoutedInteractionProvider::RoutedInteractionProvider(const OpenCodePaneRegistry& registry,
                                                     InteractionProviding& native,
                                                     InteractionProviding& fallback)
    : m_registry(registry), m_native(native), m_fallback(fallback)
{
}

QCoro::Task<InteractionReadResult> RoutedInteractionProvider::interaction(
    QString paneID, std::optional<QString> agentID, std::optional<quint64> paneRevision)
{
    InteractionProviding& reader = m_registry.descriptor(paneID) ? m_native : m_fallback;
    return reader.interaction(std::move(paneID), std::move(agentID), paneRevision);
}
