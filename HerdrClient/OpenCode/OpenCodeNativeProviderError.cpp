#include "HerdrClient/OpenCode/OpenCodeNativeProviderError.h"

using namespace Qt::StringLiterals;

QString OpenCodeNativeProviderError::errorDescription() const
{
    switch (kind) {
    case Kind::descriptorMissing: return u"Pane %1 names no opencode server to ask."_s.arg(paneID);
    case Kind::noPendingPermission:
        return u"opencode has no permission request waiting in pane %1."_s.arg(paneID);
    case Kind::rejectedStatus:
        return u"opencode's server answered with HTTP status %1."_s.arg(status);
    case Kind::invalidResponse: break;
    }
    return u"opencode's server gave an answer that could not be read."_s;
}

QString toString(OpenCodeNativeProviderError::Kind kind)
{
    using Kind = OpenCodeNativeProviderError::Kind;
    switch (kind) {
    case Kind::descriptorMissing: return u"descriptorMissing"_s;
    case Kind::noPendingPermission: return u"noPendingPermission"_s;
    case Kind::rejectedStatus: return u"rejectedStatus"_s;
    case Kind::invalidResponse: break;
    }
    return u"invalidResponse"_s;
}
