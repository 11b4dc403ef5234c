#pragma once

#include "HerdrClient/Support/Clock.h"

// How long to wait before the next try after failures in a row: growing by `multiplier` from
// `base`, never above `max`. All in seconds.
struct BackoffPolicy {
    double base = 0.25;
    double max = 5.0;
    double multiplier = 2.0;

    // 0.25 s doubling up to 5 s: the event stream's reconnects.
    static constexpr BackoffPolicy defaultPolicy() { return {}; }

    // Nothing before the first attempt; then base · multiplier^(attempt − 1), capped at `max`.
    Seconds delay(int attempt) const;

    bool operator==(const BackoffPolicy&) const = default;
};
