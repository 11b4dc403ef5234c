#pragma once

#include "OrrelApp/Alerts/AgentNotificationRequest.h"

struct InteractionAttentionDisplayModel;

// The texts and identities of an agent's notifications. Identities are stable across runs, so
// that a notification left from before still finds its agent, and posting again replaces it.
namespace AgentNotificationPayloadBuilder {

inline constexpr qsizetype longestBody = 240;

// The agent's identity in characters safe for any identifier: base64url, without padding, of
// the UTF-8 length of the session id, ":", the session id and the pane id.
QString identityToken(const AgentRef& ref);
// "orrelsentry.agent.<token>.<kind>".
QString identifier(const AgentRef& ref, AgentNotificationKind kind);
// "orrelsentry.agent.<token>".
QString threadIdentifier(const AgentRef& ref);

AgentNotificationRequest request(const InteractionAttentionDisplayModel& item,
                                 AgentNotificationKind kind, bool respectDND,
                                 bool supportsTimeSensitive);

} // namespace AgentNotificationPayloadBuilder
