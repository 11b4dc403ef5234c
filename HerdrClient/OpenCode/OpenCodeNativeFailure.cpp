#include "HerdrClient/OpenCode/OpenCodeNativeFailure.h"

bool OpenCodeNativeFailure::replySurelyNotTaken() const
{
    if (const auto* transport = transportError())
        return transport->requestSurelyNotDelivered();
    return providerError()->kind != OpenCodeNativeProviderError::Kind::invalidResponse;
}

QString OpenCodeNativeFailure::errorDescription() const
{
    return std::visit([](const auto& e) { return e.errorDescription(); }, error);
}

QString OpenCodeNativeFailure::reason() const
{
    return std::visit([](const auto& e) { return toString(e.kind); }, error);
}

QString OpenCodeNativeFailure::agentName() const
{
    return QStringLiteral("opencode");
}
