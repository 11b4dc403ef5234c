#pragma once

#include "HerdrClient/Support/Clock.h"

// Seconds since 1970 as a timestamp. Files of other programs may hold any number: a value that is
// not finite counts as 1970, and one beyond the clock's range is held at its edge.
Timestamp timestampFromEpochSeconds(double seconds);

// The timestamp as seconds since 1970.
double epochSeconds(Timestamp timestamp);
