#include "HerdrClient/Responding/InteractionResponseFailure.h"

using namespace Qt::StringLiterals;

namespace {

// herdr refused the request outright, or it never reached herdr: either way none of it was
// written to the pane. A timeout or a dropped connection after the write leaves that open.
bool requestSurelyNotDelivered(const RequestFailure& failure)
{
    if (const HerdrError* herdr = failure.herdrError())
        return herdr->kind == HerdrError::Kind::api;
    if (const SocketError* socket = failure.socketError())
        return socket->kind == SocketError::Kind::connectFailed
               || socket->kind == SocketError::Kind::pathTooLong;
    return false;
}

} // namespace

const AgentServerFailure* InteractionResponseFailure::serverReplyFailure() const
{
    const auto* server = std::get_if<std::shared_ptr<const AgentServerFailure>>(&error);
    return server ? server->get() : nullptr;
}

QString InteractionResponseFailure::errorDescription() const
{
    if (const auto* planning = planningError())
        return ::errorDescription(*planning).value_or(toString(*planning));
    if (const auto* read = readFailure())
        return read->errorDescription();
    if (const auto* responder = responderError())
        return responder->errorDescription();
    if (const auto* send = sendFailure())
        return send->errorDescription();
    return serverReplyFailure()->errorDescription();
}

QString InteractionResponseFailure::refusalSentence() const
{
    // What went out before the stop decides how the sentence ends, never the wording of the cause.
    const bool wentOut = !sentOperations.empty();
    const QString nothingMore = withheldSentence(Withheld::sending, wentOut);
    if (const auto* planning = planningError())
        return refusalCause(*planning) + u' ' + nothingMore;
    if (const auto* responder = responderError())
        return responder->refusalCause() + u' ' + withheldSentence(responder->withheld(), wentOut);
    if (const auto* read = readFailure()) {
        // A failed request is described as a phrase, so that callers can add to it.
        const QString cause =
            read->errorDescription() + (read->requestFailure() ? u"."_s : QString());
        return cause + u' ' + nothingMore;
    }
    if (const AgentServerFailure* reply = serverReplyFailure()) {
        if (!reply->replySurelyNotTaken())
            return u"%1 %2 did not confirm the reply, so it may have been taken. Nothing more was sent."_s
                .arg(reply->errorDescription(), reply->agentName());
        return reply->errorDescription() + u' ' + nothingMore;
    }
    const ActionFailure& send = *sendFailure();
    if (send.isKeysRejected())
        return u"herdr rejected the keys: %1. "_s.arg(send.actionError()->message) + nothingMore;
    // A refusal about the pane's state comes before any send, and says so itself.
    if (const ActionError* refused = send.actionError())
        return refused->errorDescription();
    const RequestFailure& request = *send.requestFailure();
    if (!requestSurelyNotDelivered(request))
        return u"%1. herdr did not confirm the last send, so it may have reached the pane. Nothing more was sent."_s
            .arg(request.errorDescription());
    return request.errorDescription() + u". "_s + nothingMore;
}

QString InteractionResponseFailure::reason() const
{
    if (const auto* planning = planningError())
        return toString(*planning);
    if (const auto* responder = responderError())
        return toString(responder->kind);
    if (const auto* send = sendFailure())
        return send->isKeysRejected() ? u"keysRejected"_s : u"sendFailed"_s;
    if (serverReplyFailure())
        return u"replyFailed"_s;
    return u"unreadable"_s;
}
