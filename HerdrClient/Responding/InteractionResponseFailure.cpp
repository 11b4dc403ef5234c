#include "HerdrClient/Responding/InteractionResponseFailure.h"

using namespace Qt::StringLiterals;

namespace {

// Sentences for the planner's cases that carry none of their own.
QString planningSentence(InteractionPlanningError error)
{
    switch (error) {
    case InteractionPlanningError::unsupportedIntent:
        return u"That response is not supported for this interaction."_s;
    case InteractionPlanningError::invalidChoice: return u"The prompt has no such choice."_s;
    case InteractionPlanningError::missingCursor: return u"The prompt's cursor could not be found on the screen."_s;
    case InteractionPlanningError::ambiguousMechanism:
        return u"It is not clear which keys answer this prompt safely; answer it in the terminal."_s;
    case InteractionPlanningError::emptyText: return u"The text is empty."_s;
    case InteractionPlanningError::terminalDraft: break;
    }
    return *errorDescription(InteractionPlanningError::terminalDraft);
}

bool endsWithWhatDidNotHappen(const QString& sentence)
{
    return sentence.endsWith(u"Nothing was sent."_s) || sentence.endsWith(u"Nothing was selected."_s)
           || sentence.endsWith(u"Nothing was submitted."_s);
}

// herdr refused the request outright, or it never reached herdr: either way none of it was
// written to the pane. A timeout or a dropped connection after the write leaves that open.
bool requestSurelyNotDelivered(const RequestFailure& failure)
{
    if (const HerdrError* herdr = failure.herdrError())
        return herdr->kind == HerdrError::Kind::api;
    if (const SocketError* socket = failure.socketError())
        return socket->kind == SocketError::Kind::connectFailed || socket->kind == SocketError::Kind::pathTooLong;
    return false;
}

} // namespace

QString InteractionResponseFailure::errorDescription() const
{
    if (const auto* planning = planningError())
        return ::errorDescription(*planning).value_or(toString(*planning));
    return std::visit(
        [](const auto& e) -> QString {
            if constexpr (std::is_same_v<std::decay_t<decltype(e)>, InteractionPlanningError>)
                return {};
            else
                return e.errorDescription();
        },
        error);
}

QString InteractionResponseFailure::refusalSentence() const
{
    QString sentence = planningError() ? planningSentence(*planningError()) : errorDescription();
    if (const ActionFailure* send = sendFailure()) {
        const RequestFailure* request = send->requestFailure();
        if (send->isKeysRejected())
            sentence = u"herdr rejected the keys: %1."_s.arg(sentence);
        else if (request && !requestSurelyNotDelivered(*request))
            return u"%1. herdr did not confirm the last send, so it may have reached the pane. Nothing more was sent."_s
                .arg(sentence);
        else
            sentence += u'.';
    } else if (const OpenCodeNativeFailure* reply = nativeReplyFailure(); reply && !reply->replySurelyNotTaken()) {
        return u"%1 opencode did not confirm the reply, so it may have been taken. Nothing more was sent."_s.arg(
            sentence);
    } else if (readFailure() && !sentence.endsWith(u'.')) {
        sentence += u'.';
    }
    if (endsWithWhatDidNotHappen(sentence))
        return sentence;
    return sentence + (sentOperations.empty() ? u" Nothing was sent."_s : u" Nothing more was sent."_s);
}

QString InteractionResponseFailure::reason() const
{
    if (const auto* planning = planningError())
        return toString(*planning);
    if (const auto* responder = responderError())
        return toString(responder->kind);
    if (const auto* send = sendFailure())
        return send->isKeysRejected() ? u"keysRejected"_s : u"sendFailed"_s;
    if (nativeReplyFailure())
        return u"replyFailed"_s;
    return u"unreadable"_s;
}
