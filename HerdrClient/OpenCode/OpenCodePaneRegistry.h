#pragma once

#include "HerdrClient/OpenCode/OpenCodePaneDescriptor.h"

#include <QString>

#include <map>
#include <optional>
#include <vector>

// Which panes are answered by their opencode server rather than from their screen. Lives on the
// main thread beside the session's other state, so its operations never overlap.
class OpenCodePaneRegistry {
public:
    // Rebuilt whole from a complete list of panes: a pane whose tokens went away is gone.
    void replace(const std::vector<PaneInfo>& panes);

    std::optional<OpenCodePaneDescriptor> descriptor(const QString& paneID) const;
    const std::map<QString, OpenCodePaneDescriptor>& descriptors() const { return m_descriptors; }

private:
    std::map<QString, OpenCodePaneDescriptor> m_descriptors;
};
