#pragma once

#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "HerdrClient/OpenCode/OpenCodeHTTPClient.h"
#include "HerdrClient/OpenCode/OpenCodeNativeInteractionProvider.h"
#include "HerdrClient/OpenCode/RoutedInteractionProvider.h"
#include "HerdrClient/Wire/PaneInfo.h"

#include <memory>

// How `read` and `respond` read one pane, as the program does: from the opencode server the
// pane's tokens name, otherwise from its screen. Built in place; its parts refer to each other.
struct PaneReaders {
    PaneReaders(HerdrClient& client, const PaneInfo& pane)
        : registry(registryOf(pane)), openCode(std::make_shared<OpenCodeHTTPClient>()),
          screen(client, PromptClassifier(standardScreenAdapters())), native(registry, openCode),
          provider(registry, native, screen)
    {
    }
    PaneReaders(const PaneReaders&) = delete;
    PaneReaders& operator=(const PaneReaders&) = delete;

    OpenCodePaneRegistry registry;
    std::shared_ptr<OpenCodeHTTPClient> openCode;
    ScreenInteractionProvider screen;
    OpenCodeNativeInteractionProvider native;
    RoutedInteractionProvider provider;

private:
    static OpenCodePaneRegistry registryOf(const PaneInfo& pane)
    {
        OpenCodePaneRegistry registry;
        registry.replace({pane});
        return registry;
    }
};
