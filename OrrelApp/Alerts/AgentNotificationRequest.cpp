#include "OrrelApp/Alerts/AgentNotificationRequest.h"

using namespace Qt::StringLiterals;

QString toString(AgentNotificationAuthorization authorization)
{
    switch (authorization) {
    case AgentNotificationAuthorization::unknown: return u"unknown"_s;
    case AgentNotificationAuthorization::notDetermined: return u"notDetermined"_s;
    case AgentNotificationAuthorization::denied: return u"denied"_s;
    case AgentNotificationAuthorization::authorized: return u"authorized"_s;
    }
    return {};
}

QString toString(AgentNotificationKind kind)
{
    return kind == AgentNotificationKind::blocked ? u"blocked"_s : u"done"_s;
}

std::optional<AgentNotificationKind> agentNotificationKindFromString(QStringView text)
{
    if (text == u"blocked")
        return AgentNotificationKind::blocked;
    if (text == u"done")
        return AgentNotificationKind::done;
    return std::nullopt;
}

AgentNotificationUserInfo AgentNotificationMetadata::userInfo() const
{
    return {{sessionIDKey, ref.sessionID}, {paneIDKey, ref.paneID}, {eventKindKey, toString(kind)}};
}

std::optional<AgentNotificationMetadata> AgentNotificationMetadata::fromUserInfo(
    const AgentNotificationUserInfo& userInfo)
{
    const auto session = userInfo.find(sessionIDKey);
    const auto pane = userInfo.find(paneIDKey);
    const auto kindText = userInfo.find(eventKindKey);
    if (session == userInfo.end() || pane == userInfo.end() || kindText == userInfo.end())
        return std::nullopt;
    const auto kind = agentNotificationKindFromString(kindText->second);
    if (!kind)
        return std::nullopt;
    return AgentNotificationMetadata{{session->second, pane->second}, *kind};
}

bool ScheduledAgentNotification::shows(const AgentNotificationRequest& request) const
{
    return identifier == request.identifier && title == request.title
           && subtitle == request.subtitle && body == request.body && metadata == request.metadata;
}

QString toString(AgentNotificationResponseAction action)
{
    switch (action) {
    case AgentNotificationResponseAction::open: return u"open"_s;
    case AgentNotificationResponseAction::jump: return u"jump"_s;
    case AgentNotificationResponseAction::dismiss: return u"dismiss"_s;
    case AgentNotificationResponseAction::other: return u"other"_s;
    }
    return {};
}

std::optional<AgentNotificationResponseAction> agentNotificationResponseActionFromString(
    QStringView text)
{
    for (const auto action :
         {AgentNotificationResponseAction::open, AgentNotificationResponseAction::jump,
          AgentNotificationResponseAction::dismiss, AgentNotificationResponseAction::other}) {
        if (text == toString(action))
            return action;
    }
    return std::nullopt;
}
