#pragma once

#include "HerdrClient/OpenCode/OpenCodeNativeProviderError.h"
#include "HerdrClient/OpenCode/OpenCodeTransportError.h"

#include <QString>

#include <variant>

// Whatever made one native reading or reply fail: opencode's answer, or no answer.
struct OpenCodeNativeFailure {
    std::variant<OpenCodeNativeProviderError, OpenCodeTransportError> error;

    OpenCodeNativeFailure(OpenCodeNativeProviderError e) : error(std::move(e)) {}
    OpenCodeNativeFailure(OpenCodeTransportError e) : error(e) {}

    const OpenCodeNativeProviderError* providerError() const
    {
        return std::get_if<OpenCodeNativeProviderError>(&error);
    }
    const OpenCodeTransportError* transportError() const { return std::get_if<OpenCodeTransportError>(&error); }

    bool isNoPendingPermission() const
    {
        return providerError() && providerError()->kind == OpenCodeNativeProviderError::Kind::noPendingPermission;
    }
    // Whether a reply that failed this way surely did not reach opencode: nothing was delivered,
    // or the server answered it with a refusal.
    bool replySurelyNotTaken() const;

    QString errorDescription() const;
    // The case name, for tools.
    QString reason() const;
    bool operator==(const OpenCodeNativeFailure&) const = default;
};
