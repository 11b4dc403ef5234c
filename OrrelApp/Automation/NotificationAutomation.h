#pragma once

#include "OrrelApp/Automation/AutomationCommand.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QJsonObject>

#include <expected>

class AgentNotificationController;

// The automation channel's side of desktop notifications, for the application's target.
namespace NotificationAutomation {

// The notifications shown now, for "notifications" in `state`: objects with "id", "title",
// "body", "ref" ("<session>/<pane>") and "kind", the last two absent when it names no agent.
QJsonArray state(const AgentNotificationController& controller);

// Carries out `notification` as the desktop would after the person's click: the agent's
// notifications are taken back, and the answer goes to the controller's action handler. The
// task ends when the handler is done with it. The reply names the notifications that were shown.
QCoro::Task<std::expected<QJsonObject, QString>> perform(AgentNotificationController& controller,
                                                         AutomationCommand command);

} // namespace NotificationAutomation
