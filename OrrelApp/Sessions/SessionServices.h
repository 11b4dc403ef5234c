#pragma once

#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"
#include "HerdrClient/Interaction/ScreenCompletionSummaryProvider.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "HerdrClient/Interaction/ScreenRecentOutputProvider.h"
#include "HerdrClient/OpenCode/OpenCodeHTTPClient.h"
#include "HerdrClient/OpenCode/OpenCodeNativeInteractionProvider.h"
#include "HerdrClient/OpenCode/OpenCodeNativeInteractionResponder.h"
#include "HerdrClient/OpenCode/OpenCodePaneRegistry.h"
#include "HerdrClient/OpenCode/RoutedInteractionProvider.h"
#include "HerdrClient/OpenCode/RoutedInteractionResponder.h"
#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Responding/InteractionCoordinator.h"
#include "HerdrClient/Responding/InteractionResponder.h"
#include "HerdrClient/Responding/PaneActivityCoordinator.h"
#include "HerdrClient/Responding/SafeIdlePromptSender.h"
#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Support/Environment.h"
#include "HerdrClient/Wire/EventStream.h"
#include "HerdrClient/Wire/HerdrClient.h"

#include <functional>
#include <memory>

// What a session runtime is given.
struct SessionDependencies {
    std::unique_ptr<HerdrClient> client;
    // An empty `sleep` means timers of the runtime's own, which die with it; an injected sleep
    // that is cut short leaves its task running until the clock ends it.
    Clock clock = {Clock::system().now, {}};
    // How each event stream waits between reconnects and where its debug text goes.
    std::function<EventStreamOptions()> streamOptions = [] {
        return EventStreamOptions::fromEnvironment(processEnvironment());
    };
    // Where the local default session finds the ask files and the pi sentinel directory.
    Environment environment = processEnvironment();
};

// What a session runtime works with, built in one place, each with its own standard limits.
// Declared after what they use, so that they end before it. Panes that name their opencode server
// are read and answered through it, all others through their screens.
struct SessionServices {
    // `clock` without a sleep is kept as it is for the runtime's own pauses; the collaborators
    // that pause between the reads of a settling prompt sleep on the system clock instead.
    SessionServices(std::unique_ptr<HerdrClient> client, Clock clock);
    SessionServices(const SessionServices&) = delete;
    SessionServices& operator=(const SessionServices&) = delete;

    std::unique_ptr<HerdrClient> client;
    Clock clock;
    Actions actions;
    OpenCodePaneRegistry openCodePanes;
    std::shared_ptr<OpenCodeHTTPClient> openCodeClient;
    ScreenInteractionProvider screenReader;
    OpenCodeNativeInteractionProvider nativeReader;
    RoutedInteractionProvider reader;
    InteractionResponder screenResponder;
    OpenCodeNativeInteractionResponder nativeResponder;
    RoutedInteractionResponder responder;
    InteractionCoordinator interactions;
    ScreenRecentOutputProvider recentOutput;
    SafeIdlePromptSender idlePrompts;
    PaneActivityCoordinator activity;
    ScreenCompletionSummaryProvider completionSummaries;
    ScreenAgentModeProvider modes;
};
