#include "HerdrClient/OpenCode/OpenCodeTransportError.h"

using namespace Qt::StringLiterals;

QString OpenCodeTransportError::errorDescription() const
{
    switch (kind) {
    case Kind::notLoopback:
        return u"The opencode server's address is not on this machine, so it was not contacted."_s;
    case Kind::connectionRefused: return u"opencode's server could not be reached."_s;
    case Kind::connectionLost: return u"The connection to opencode's server broke off."_s;
    case Kind::timedOut: return u"opencode's server did not answer in time."_s;
    case Kind::responseTooLarge: break;
    }
    return u"opencode's server sent an answer too large to read."_s;
}

QString toString(OpenCodeTransportError::Kind kind)
{
    using Kind = OpenCodeTransportError::Kind;
    switch (kind) {
    case Kind::notLoopback: return u"notLoopback"_s;
    case Kind::connectionRefused: return u"connectionRefused"_s;
    case Kind::connectionLost: return u"connectionLost"_s;
    case Kind::timedOut: return u"timedOut"_s;
    case Kind::responseTooLarge: break;
    }
    return u"responseTooLarge"_s;
}
