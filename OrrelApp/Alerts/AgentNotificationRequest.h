#pragma once

#include "HerdrClient/State/AgentRef.h"

#include <QString>

#include <map>
#include <optional>

// Whether the desktop lets this program show notifications. `unknown` until it was asked.
enum class AgentNotificationAuthorization { unknown, notDetermined, denied, authorized };

// `timeSensitive` asks the desktop to show the notification even while it holds others back.
enum class AgentNotificationInterruption { active, timeSensitive };

enum class AgentNotificationKind { blocked, done };

QString toString(AgentNotificationAuthorization authorization);
QString toString(AgentNotificationKind kind);
std::optional<AgentNotificationKind> agentNotificationKindFromString(QStringView text);

// The keys a notification carries so that an answer to it finds its agent again.
using AgentNotificationUserInfo = std::map<QString, QString>;

struct AgentNotificationMetadata {
    static inline const QString sessionIDKey = QStringLiteral("orrelsentry.session-id");
    static inline const QString paneIDKey = QStringLiteral("orrelsentry.pane-id");
    static inline const QString eventKindKey = QStringLiteral("orrelsentry.event-kind");

    AgentRef ref;
    AgentNotificationKind kind = AgentNotificationKind::blocked;

    AgentNotificationUserInfo userInfo() const;
    // Nothing when a key is missing or the kind is unknown: such a record belongs to no agent.
    static std::optional<AgentNotificationMetadata> fromUserInfo(const AgentNotificationUserInfo&);

    bool operator==(const AgentNotificationMetadata&) const = default;
};

// What the program asks the desktop to show.
struct AgentNotificationRequest {
    QString identifier;
    // All notifications of one agent share it, so that the desktop can group them.
    QString threadIdentifier;
    QString title;
    QString subtitle;
    QString body;
    AgentNotificationInterruption interruption = AgentNotificationInterruption::active;
    AgentNotificationMetadata metadata;

    bool operator==(const AgentNotificationRequest&) const = default;
};

// A notification the desktop holds, shown or about to be.
struct ScheduledAgentNotification {
    QString identifier;
    QString title;
    QString subtitle;
    QString body;
    std::optional<AgentNotificationMetadata> metadata;

    // Whether posting `request` would show the person nothing new.
    bool shows(const AgentNotificationRequest& request) const;

    bool operator==(const ScheduledAgentNotification&) const = default;
};

enum class AgentNotificationResponseAction { open, jump, dismiss, other };

QString toString(AgentNotificationResponseAction action);
std::optional<AgentNotificationResponseAction> agentNotificationResponseActionFromString(
    QStringView text);

// What the person did with a notification, and the agent it was about when it named one.
struct AgentNotificationResponse {
    AgentNotificationResponseAction action = AgentNotificationResponseAction::other;
    std::optional<AgentRef> ref;

    bool operator==(const AgentNotificationResponse&) const = default;
};
