#include "HerdrClient/Attention/EpochSeconds.h"

#include <algorithm>
#include <cmath>

Timestamp timestampFromEpochSeconds(double seconds)
{
    if (!std::isfinite(seconds))
        return Timestamp{};
    // About ±290 years around 1970 fit in the clock's nanoseconds; stay well inside.
    constexpr double limit = 9.0e9;
    const double clamped = std::clamp(seconds, -limit, limit);
    return Timestamp{std::chrono::duration_cast<Timestamp::duration>(Seconds(clamped))};
}

double epochSeconds(Timestamp timestamp)
{
    return std::chrono::duration_cast<Seconds>(timestamp.time_since_epoch()).count();
}
