#pragma once

#include "HerdrClient/Interaction/ScreenAdapterRegistry.h"

// claude, codex and pi, with the generic reading as the fallback. It lives beside the concrete
// readers so that the registry itself knows none of them.
ScreenAdapterRegistry standardScreenAdapters();
