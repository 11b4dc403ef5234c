#include "HerdrClient/Sessions/SSHTunnelState.h"

using namespace Qt::StringLiterals;

QString SSHTunnelState::toString(Kind kind)
{
    switch (kind) {
    case Kind::idle: return u"idle"_s;
    case Kind::connecting: return u"connecting"_s;
    case Kind::up: return u"up"_s;
    case Kind::failed: return u"failed"_s;
    }
    return u"idle"_s;
}

QString SSHTunnelError::errorDescription() const
{
    return u"Couldn't allocate a private loopback port for the SSH tunnel (errno %1)."_s.arg(
        errorNumber);
}
