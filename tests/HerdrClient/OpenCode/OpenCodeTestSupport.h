#pragma once

#include "HerdrClient/OpenCode/OpenCodePaneRegistry.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <map>
#include <optional>
#include <vector>

// A pane whose agent told herdr how to reach its opencode server.
inline PaneInfo openCodePane(const QString& paneID, std::map<QString, QString> tokens)
{
    PaneInfo pane;
    pane.paneID = paneID;
    pane.agent = QStringLiteral("opencode");
    pane.tokens = std::move(tokens);
    return pane;
}

inline PaneInfo openCodePane(const QString& paneID, const QString& url, const QString& session)
{
    return openCodePane(paneID, {{QStringLiteral("opencode_url"), url},
                                 {QStringLiteral("opencode_session"), session}});
}

inline OpenCodePaneRegistry registryOf(const std::vector<PaneInfo>& panes)
{
    OpenCodePaneRegistry registry;
    registry.replace(panes);
    return registry;
}
