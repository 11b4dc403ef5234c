#include "HerdrClient/Support/BackoffPolicy.h"

#include <algorithm>
#include <cmath>

Seconds BackoffPolicy::delay(int attempt) const
{
    if (attempt < 1)
        return Seconds(0);
    // pow of a large attempt is infinite, and min() then gives `max`, as it should.
    return Seconds(std::min(max, base * std::pow(multiplier, attempt - 1)));
}
