#pragma once

#include "HerdrClient/Interaction/InteractionProviding.h"
#include "HerdrClient/OpenCode/OpenCodePaneRegistry.h"

// Reads a pane that names its opencode server from that server, and every other pane from its
// screen. A native pane's failure is passed on and never read from the screen instead: for such
// a pane the screen is not the truth.
//
// The registry and both readers must outlive it; a read in flight depends only on the reader
// that took it.
class RoutedInteractionProvider final : public InteractionProviding {
public:
    RoutedInteractionProvider(const OpenCodePaneRegistry& registry, InteractionProviding& native,
                              InteractionProviding& fallback);

    QCoro::Task<InteractionReadResult> interaction(QString paneID, std::optional<QString> agentID,
                                                   std::optional<quint64> paneRevision) override;

private:
    const OpenCodePaneRegistry& m_registry;
    InteractionProviding& m_native;
    InteractionProviding& m_fallback;
};
