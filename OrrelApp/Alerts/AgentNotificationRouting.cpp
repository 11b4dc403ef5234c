#include "OrrelApp/Alerts/AgentNotificationRouting.h"

#include "HerdrClient/State/StateStore.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/OrrelViewModel.h"

QCoro::Task<> routeNotificationResponse(OrrelViewModel& model, AgentNotificationResponse response)
{
    if (!response.ref)
        co_return;
    const AgentRef ref = *response.ref;
    switch (response.action) {
    case AgentNotificationResponseAction::jump: co_await model.handleNotificationJump(ref); break;
    case AgentNotificationResponseAction::open: {
        const SessionRuntime* runtime = model.runtime(ref.sessionID);
        if (!runtime || !runtime->store().pane(ref.paneID)) {
            model.showOverview();
            break;
        }
        // Opening the card that is already open would close it again.
        if (!(model.presentation().isFocused() && model.selected() == ref))
            co_await model.selectPane(ref);
        break;
    }
    case AgentNotificationResponseAction::dismiss:
    case AgentNotificationResponseAction::other: break;
    }
}
