#pragma once

#include <QString>

// What opencode's own answers made of a native reading or reply.
struct OpenCodeNativeProviderError {
    enum class Kind { descriptorMissing, noPendingPermission, rejectedStatus, invalidResponse };

    Kind kind = Kind::invalidResponse;
    QString paneID; // descriptorMissing, noPendingPermission
    int status = 0; // rejectedStatus

    static OpenCodeNativeProviderError descriptorMissing(QString paneID)
    {
        return {Kind::descriptorMissing, std::move(paneID), 0};
    }
    static OpenCodeNativeProviderError noPendingPermission(QString paneID)
    {
        return {Kind::noPendingPermission, std::move(paneID), 0};
    }
    static OpenCodeNativeProviderError rejectedStatus(int status)
    {
        return {Kind::rejectedStatus, {}, status};
    }
    static OpenCodeNativeProviderError invalidResponse() { return {Kind::invalidResponse, {}, 0}; }

    QString errorDescription() const;
    bool operator==(const OpenCodeNativeProviderError&) const = default;
};

QString toString(OpenCodeNativeProviderError::Kind kind);
