#pragma once

#include "OrrelApp/Automation/AutomationTarget.h"

#include <functional>

class AgentNotificationController;
class OrrelSurfaceModel;
class OrrelViewModel;
class OrrelWindowController;

// The running application as the automation channel drives it: every command takes the surface
// model's road, the one a click takes, so a script meets the same refusals a person does.
class SurfaceAutomationTarget : public AutomationTarget {
public:
    // `quit` is called on a later turn of the event loop, after the reply went out.
    SurfaceAutomationTarget(OrrelViewModel& model, OrrelSurfaceModel& surface,
                            OrrelWindowController& window, std::function<void()> quit);

    // The desktop notifications that `state` lists and `notification` answers; absent when the
    // application runs without them. The controller outlives the target, or is cleared first.
    void setNotifications(AgentNotificationController* notifications)
    {
        m_notifications = notifications;
    }

    QJsonObject state() override;
    QCoro::Task<std::expected<QJsonObject, QString>> perform(AutomationCommand command) override;

    // The agent hot keys under "hotkeys" in `state`; null while absent.
    std::function<QJsonObject()> hotKeys;

private:
    std::expected<QJsonObject, QString> screenshot(const QString& path);

    OrrelViewModel& m_model;
    OrrelSurfaceModel& m_surface;
    OrrelWindowController& m_window;
    std::function<void()> m_quit;
    AgentNotificationController* m_notifications = nullptr;
};
