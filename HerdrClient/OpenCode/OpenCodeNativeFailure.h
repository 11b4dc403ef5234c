#pragma once

#include "HerdrClient/Interaction/AgentServerFailure.h"
#include "HerdrClient/OpenCode/OpenCodeNativeProviderError.h"
#include "HerdrClient/OpenCode/OpenCodeTransportError.h"

#include <QString>

#include <variant>

// Whatever made one native reading or reply fail: opencode's answer, or no answer.
struct OpenCodeNativeFailure final : AgentServerFailure {
    std::variant<OpenCodeNativeProviderError, OpenCodeTransportError> error;

    OpenCodeNativeFailure(OpenCodeNativeProviderError e) : error(std::move(e)) {}
    OpenCodeNativeFailure(OpenCodeTransportError e) : error(e) {}

    const OpenCodeNativeProviderError* providerError() const
    {
        return std::get_if<OpenCodeNativeProviderError>(&error);
    }
    const OpenCodeTransportError* transportError() const
    {
        return std::get_if<OpenCodeTransportError>(&error);
    }

    bool isNoPendingPermission() const
    {
        return providerError()
               && providerError()->kind == OpenCodeNativeProviderError::Kind::noPendingPermission;
    }
    // Nothing was delivered, or the server answered the reply with a refusal.
    bool replySurelyNotTaken() const override;

    QString errorDescription() const override;
    QString reason() const override;
    QString agentName() const override;
    bool operator==(const OpenCodeNativeFailure& other) const { return error == other.error; }
};
