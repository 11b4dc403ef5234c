#include "HerdrClient/Adapters/StandardScreenAdapters.h"

#include "HerdrClient/Adapters/ClaudeScreenAdapter.h"
#include "HerdrClient/Adapters/CodexScreenAdapter.h"
#include "HerdrClient/Adapters/PiScreenAdapter.h"
#include "HerdrClient/Interaction/GenericScreenAdapter.h"

ScreenAdapterRegistry standardScreenAdapters()
{
    return ScreenAdapterRegistry({std::make_shared<ClaudeScreenAdapter>(),
                                  std::make_shared<CodexScreenAdapter>(),
                                  std::make_shared<PiScreenAdapter>()},
                                 std::make_shared<GenericScreenAdapter>());
}
