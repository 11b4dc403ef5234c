#pragma once

#include "HerdrClient/Attention/AttentionItem.h"
#include "HerdrClient/Wire/PaneInfo.h"

#include <map>
#include <vector>

// A pane with just what attention looks at; no tokens at all when `tokens` is empty.
inline PaneInfo pane(const QString& id, AgentStatus status, std::map<QString, QString> tokens = {})
{
    PaneInfo info;
    info.paneID = id;
    info.agentStatus = status;
    if (!tokens.empty())
        info.tokens = std::move(tokens);
    return info;
}

inline std::vector<QString> ids(const std::vector<AttentionItem>& items)
{
    std::vector<QString> result;
    for (const auto& item : items)
        result.push_back(item.id);
    return result;
}
