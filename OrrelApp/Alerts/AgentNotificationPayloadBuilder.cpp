#include "OrrelApp/Alerts/AgentNotificationPayloadBuilder.h"

#include "HerdrClient/Interaction/ScreenText.h"
#include "OrrelApp/Surface/InteractionAttentionDisplayModel.h"

using namespace Qt::StringLiterals;

namespace AgentNotificationPayloadBuilder {

QString identityToken(const AgentRef& ref)
{
    // The length keeps "ab" + "c" and "a" + "bc" apart.
    const QByteArray session = ref.sessionID.toUtf8();
    const QByteArray identity =
        QByteArray::number(session.size()) + ':' + session + ref.paneID.toUtf8();
    return QString::fromLatin1(
        identity.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QString threadIdentifier(const AgentRef& ref)
{
    return u"orrelsentry.agent."_s + identityToken(ref);
}

QString identifier(const AgentRef& ref, AgentNotificationKind kind)
{
    return threadIdentifier(ref) + u'.' + toString(kind);
}

AgentNotificationRequest request(const InteractionAttentionDisplayModel& item,
                                 AgentNotificationKind kind, bool respectDND,
                                 bool supportsTimeSensitive)
{
    AgentNotificationRequest result;
    result.identifier = identifier(item.ref, kind);
    result.threadIdentifier = threadIdentifier(item.ref);
    result.title = item.agentName
                   + (kind == AgentNotificationKind::blocked ? u" needs input"_s : u" finished"_s);
    result.subtitle = item.workspaceLabel;
    if (item.sessionLabel)
        result.subtitle += u" · "_s + *item.sessionLabel;
    result.body = item.summary;
    if (ScreenText::characterCount(result.body) > longestBody)
        result.body =
            result.body.left(ScreenText::positionOfCharacter(result.body, longestBody - 1)) + u'…';
    result.interruption = supportsTimeSensitive && !respectDND
                              ? AgentNotificationInterruption::timeSensitive
                              : AgentNotificationInterruption::active;
    result.metadata = {item.ref, kind};
    return result;
}

} // namespace AgentNotificationPayloadBuilder
