#include "HerdrClient/Interaction/ScreenAdapterRegistry.h"

#include "HerdrClient/Interaction/GenericScreenAdapter.h"

ScreenAdapterRegistry::ScreenAdapterRegistry(
    const std::vector<std::shared_ptr<const ScreenAdapter>>& adapters,
    std::shared_ptr<const ScreenAdapter> fallback)
    : m_fallback(fallback ? std::move(fallback) : std::make_shared<GenericScreenAdapter>())
{
    for (const auto& adapter : adapters) {
        if (!adapter)
            continue;
        for (const auto& agentID : adapter->agentIDs())
            m_adaptersByAgentID.try_emplace(agentID, adapter);
    }
}

const ScreenAdapter& ScreenAdapterRegistry::adapter(const std::optional<QString>& agentID) const
{
    if (agentID) {
        if (const auto found = m_adaptersByAgentID.find(*agentID);
            found != m_adaptersByAgentID.end())
            return *found->second;
    }
    return *m_fallback;
}

PendingInteraction ScreenAdapterRegistry::parse(const ScreenAdapterInput& input) const
{
    return adapter(input.agentID).parse(input);
}

QString ScreenAdapterRegistry::adapterID(const std::optional<QString>& agentID) const
{
    return adapter(agentID).adapterID();
}
