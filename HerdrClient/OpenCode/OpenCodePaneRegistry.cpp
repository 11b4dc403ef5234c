#include "HerdrClient/OpenCode/OpenCodePaneRegistry.h"

void OpenCodePaneRegistry::replace(const std::vector<PaneInfo>& panes)
{
    std::map<QString, OpenCodePaneDescriptor> descriptors;
    for (const PaneInfo& pane : panes) {
        if (auto descriptor = OpenCodePaneDescriptor::fromPane(pane))
            descriptors.insert_or_assign(pane.paneID, std::move(*descriptor));
    }
    m_descriptors = std::move(descriptors);
}

std::optional<OpenCodePaneDescriptor> OpenCodePaneRegistry::descriptor(const QString& paneID) const
{
    const auto found = m_descriptors.find(paneID);
    if (found == m_descriptors.end())
        return std::nullopt;
    return found->second;
}
