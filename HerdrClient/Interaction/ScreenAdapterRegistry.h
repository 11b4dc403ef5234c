#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"

#include <map>
#include <memory>
#include <vector>

// Picks the reader for an agent. The match on the agent id is exact and case-sensitive; an
// agent nobody claims goes to the fallback.
class ScreenAdapterRegistry {
public:
    // Adapters are walked in the order given; the first that claims an agent id keeps it.
    ScreenAdapterRegistry(const std::vector<std::shared_ptr<const ScreenAdapter>>& adapters,
                          std::shared_ptr<const ScreenAdapter> fallback);

    PendingInteraction parse(const ScreenAdapterInput& input) const;
    // The id of the adapter that would parse for `agentID`.
    QString adapterID(const std::optional<QString>& agentID) const;

    const std::map<QString, std::shared_ptr<const ScreenAdapter>>& adaptersByAgentID() const
    {
        return m_adaptersByAgentID;
    }
    const ScreenAdapter& fallback() const { return *m_fallback; }

private:
    const ScreenAdapter& adapter(const std::optional<QString>& agentID) const;

    std::map<QString, std::shared_ptr<const ScreenAdapter>> m_adaptersByAgentID;
    std::shared_ptr<const ScreenAdapter> m_fallback;
};
