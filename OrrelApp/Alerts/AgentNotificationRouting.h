#pragma once

#include "OrrelApp/Alerts/AgentNotificationRequest.h"

#include <QCoroTask>

class OrrelViewModel;

// What an answer to a notification does to the surface: "Jump" brings the agent's terminal
// forward (or says that the agent has gone), a click on the notification opens the agent's card,
// and a dismissal does nothing. The model outlives the task.
QCoro::Task<> routeNotificationResponse(OrrelViewModel& model, AgentNotificationResponse response);
