#include "OrrelApp/Automation/NotificationAutomation.h"

#include "OrrelApp/Alerts/AgentNotificationController.h"

using namespace Qt::StringLiterals;

namespace NotificationAutomation {

QJsonArray state(const AgentNotificationController& controller)
{
    QJsonArray notifications;
    for (const ScheduledAgentNotification& record : controller.openNotifications()) {
        QJsonObject entry{
            {u"id"_s, record.identifier}, {u"title"_s, record.title}, {u"body"_s, record.body}};
        if (record.metadata) {
            entry.insert(u"ref"_s, record.metadata->ref.id());
            entry.insert(u"kind"_s, toString(record.metadata->kind));
        }
        notifications.append(entry);
    }
    return notifications;
}

QCoro::Task<std::expected<QJsonObject, QString>> perform(AgentNotificationController& controller,
                                                         AutomationCommand command)
{
    const auto action = agentNotificationResponseActionFromString(command.action);
    if (command.kind != AutomationCommand::Kind::notification || !action
        || *action == AgentNotificationResponseAction::other)
        co_return std::unexpected(
            u"A notification is answered with open, jump or dismiss. Nothing was done."_s);
    const AgentRef ref{command.session, command.pane};
    QJsonArray answered;
    for (const ScheduledAgentNotification& record : controller.openNotifications()) {
        if (record.metadata && record.metadata->ref == ref)
            answered.append(record.identifier);
    }
    controller.removeNotifications(ref);
    // Nothing of the controller is touched after this: it may stop while the answer runs.
    co_await controller.respond({*action, ref});
    co_return QJsonObject{{u"answered"_s, answered}};
}

} // namespace NotificationAutomation
