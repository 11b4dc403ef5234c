#include "HerdrClient/Interaction/InteractionProviding.h"

using namespace Qt::StringLiterals;

QString InteractionProviderError::errorDescription() const
{
    return u"Couldn't read the screen of pane %1."_s.arg(paneID);
}

const AgentServerFailure* InteractionReadFailure::serverFailure() const
{
    const auto* server = std::get_if<std::shared_ptr<const AgentServerFailure>>(&error);
    return server ? server->get() : nullptr;
}

QString InteractionReadFailure::errorDescription() const
{
    if (const AgentServerFailure* server = serverFailure())
        return server->errorDescription();
    if (const RequestFailure* request = requestFailure())
        return request->errorDescription();
    return providerError()->errorDescription();
}
