#include "OrrelApp/Platform/AgentHotKeyBackends.h"

#include "OrrelApp/Platform/PortalAgentHotKeyBackend.h"
#include "OrrelApp/Platform/X11AgentHotKeyBackend.h"

std::unique_ptr<AgentHotKeyRegistering> makeAgentHotKeyBackend(QDBusConnection bus)
{
    if (auto x11 = X11AgentHotKeyBackend::forApplication())
        return x11;
    return std::make_unique<PortalAgentHotKeyBackend>(std::move(bus));
}
