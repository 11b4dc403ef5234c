#include "OrrelApp/Sessions/SessionServices.h"

#include "HerdrClient/Adapters/StandardScreenAdapters.h"

namespace {
Clock withSleep(Clock clock)
{
    if (!clock.sleep)
        clock.sleep = Clock::system().sleep;
    return clock;
}
} // namespace

SessionServices::SessionServices(std::unique_ptr<HerdrClient> herdr, Clock runtimeClock)
    : client(std::move(herdr)), clock(std::move(runtimeClock)),
      actions(*client, nullptr, withSleep(clock)),
      openCodeClient(std::make_shared<OpenCodeHTTPClient>()),
      screenReader(*client, PromptClassifier(standardScreenAdapters())),
      nativeReader(openCodePanes, openCodeClient),
      reader(openCodePanes, nativeReader, screenReader),
      screenResponder(screenReader, actions, withSleep(clock)),
      nativeResponder(nativeReader, openCodeClient),
      responder(openCodePanes, nativeResponder, screenResponder),
      interactions(reader, responder, withSleep(clock)), recentOutput(*client),
      idlePrompts(*client),
      activity(recentOutput, idlePrompts, PaneActivityCoordinator::standardFallbackPollInterval,
               clock.now),
      completionSummaries(*client), modes(*client)
{
    Q_ASSERT(client);
}
