#pragma once

#include "HerdrClient/Sessions/SessionDescriptor.h"
#include "HerdrClient/Wire/HerdrEndpoint.h"

// A session and where to reach it now: its socket here, or the local end of its SSH forward.
struct ResolvedSession {
    SessionDescriptor descriptor;
    HerdrEndpoint endpoint;

    bool operator==(const ResolvedSession&) const = default;
};
