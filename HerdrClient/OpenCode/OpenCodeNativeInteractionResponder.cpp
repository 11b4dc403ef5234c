#include "HerdrClient/OpenCode/OpenCodeNativeInteractionResponder.h"

namespace {

using Intent = InteractionResponseIntent::Kind;

QCoro::Task<> tellPhase(InteractionPhaseCallback onPhase, InteractionResponsePhase phase)
{
    if (onPhase)
        co_await onPhase(phase);
}

OpenCodeNativeFailure providerGone(const QString& paneID)
{
    return OpenCodeNativeProviderError::descriptorMissing(paneID);
}

// The request the person saw was answered or withdrawn meanwhile: as stale as a replaced one,
// only with nothing in its place.
InteractionResponderError goneMeanwhile(InteractionFingerprint expected)
{
    InteractionResponderError error;
    error.kind = InteractionResponderError::Kind::staleInteraction;
    error.expected = std::move(expected);
    return error;
}

QCoro::Task<InteractionResponseOutcome> respondNatively(
    OpenCodeNativeInteractionProvider* provider, Lifetime::Guard providerAlive,
    std::shared_ptr<OpenCodeNativeRequesting> client, InteractionResponseRequest request,
    InteractionPhaseCallback onPhase)
{
    co_await tellPhase(onPhase, InteractionResponsePhase::revalidating);
    if (!providerAlive)
        co_return std::unexpected(InteractionReadFailure(providerGone(request.paneID)));
    auto fresh = co_await provider->read(request.paneID, request.agentID, request.paneRevision);
    if (!fresh && fresh.error().isNoPendingPermission())
        co_return std::unexpected(goneMeanwhile(request.expectedFingerprint));
    if (!fresh)
        co_return std::unexpected(InteractionReadFailure(fresh.error()));
    const PendingInteraction validated = fresh->interaction;
    if (validated.fingerprint() != request.expectedFingerprint)
        co_return std::unexpected(
            InteractionResponderError::staleInteraction(request.expectedFingerprint, validated));
    const QString requestID = validated.interactionID.value_or(QString());
    OpenCodeNativeRequesting::Result<void> sent;
    if (validated.kind == InteractionKind::question) {
        const auto answer = OpenCodeNativeInteractionResponder::answer(request.intent, validated);
        if (!answer)
            co_return std::unexpected(answer.error());
        co_await tellPhase(onPhase, InteractionResponsePhase::sending);
        if (*answer)
            sent = co_await client->answerQuestion(fresh->descriptor, requestID, **answer);
        else
            sent = co_await client->rejectQuestion(fresh->descriptor, requestID);
    } else {
        const auto reply = OpenCodeNativeInteractionResponder::reply(request.intent, validated);
        if (!reply)
            co_return std::unexpected(reply.error());
        co_await tellPhase(onPhase, InteractionResponsePhase::sending);
        sent = co_await client->reply(fresh->descriptor, requestID, *reply);
    }
    if (!sent)
        co_return std::unexpected(InteractionResponseFailure(sent.error()));

    // One read tells what became of the request; a request still waiting is no new prompt.
    co_await tellPhase(onPhase, InteractionResponsePhase::settling);
    InteractionResponseResult result{validated, std::nullopt, {}};
    if (!providerAlive)
        co_return result;
    const auto after =
        co_await provider->read(request.paneID, request.agentID, request.paneRevision);
    if (after && after->interaction.fingerprint() != validated.fingerprint())
        result.settledInteraction = after->interaction;
    co_return result;
}

} // namespace

OpenCodeNativeInteractionResponder::OpenCodeNativeInteractionResponder(
    OpenCodeNativeInteractionProvider& provider, std::shared_ptr<OpenCodeNativeRequesting> client)
    : m_provider(&provider), m_client(std::move(client))
{
}

QCoro::Task<InteractionResponseOutcome> OpenCodeNativeInteractionResponder::respond(
    InteractionResponseRequest request, InteractionPhaseCallback onPhase)
{
    return respondNatively(m_provider, m_provider->lifetime(), m_client, std::move(request),
                           std::move(onPhase));
}

std::expected<OpenCodePermissionReply, InteractionResponderError>
OpenCodeNativeInteractionResponder::reply(const InteractionResponseIntent& intent,
                                          const PendingInteraction& interaction)
{
    const qint64 last = qint64(interaction.choices.size()) - 1;
    switch (intent.kind) {
    case Intent::approve: return OpenCodePermissionReply::once;
    case Intent::deny: return OpenCodePermissionReply::reject;
    case Intent::selectChoice:
        if (intent.index < 0 || intent.index > last)
            break;
        if (intent.index == 0)
            return OpenCodePermissionReply::once;
        return intent.index == last ? OpenCodePermissionReply::reject
                                    : OpenCodePermissionReply::always;
    default: break;
    }
    return std::unexpected(InteractionResponderError::unsupportedIntent(interaction.kind, intent));
}

std::expected<OpenCodeNativeInteractionResponder::QuestionAnswer, InteractionResponderError>
OpenCodeNativeInteractionResponder::answer(const InteractionResponseIntent& intent,
                                           const PendingInteraction& interaction)
{
    const auto unsupported =
        std::unexpected(InteractionResponderError::unsupportedIntent(interaction.kind, intent));
    const auto choiceOf = [&](qint64 index) -> const InteractionChoice* {
        if (index < 0 || index >= qint64(interaction.choices.size()))
            return nullptr;
        return &interaction.choices[std::size_t(index)];
    };
    const auto typed = [](const QString& text) -> QuestionAnswer {
        return std::vector<std::vector<QString>>{{text.trimmed()}};
    };
    const auto* answerRow = [&]() -> const InteractionChoice* {
        for (const auto& choice : interaction.choices) {
            if (choice.kind == InteractionChoiceKind::textEntry)
                return &choice;
        }
        return nullptr;
    }();

    switch (intent.kind) {
    case Intent::deny:
    case Intent::cancel: return QuestionAnswer{};
    case Intent::selectChoice:
        if (const auto* choice = choiceOf(intent.index);
            choice && choice->kind == InteractionChoiceKind::option)
            return QuestionAnswer{std::vector<std::vector<QString>>{{choice->label}}};
        break;
    case Intent::submitChoiceText:
        if (const auto* choice = choiceOf(intent.index);
            choice && choice == answerRow && !intent.text.trimmed().isEmpty())
            return typed(intent.text);
        break;
    case Intent::submitText:
        if (answerRow && !intent.text.trimmed().isEmpty())
            return typed(intent.text);
        break;
    default: break;
    }
    return unsupported;
}
