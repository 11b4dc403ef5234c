#pragma once

#include "HerdrClient/OpenCode/OpenCodeNativeInteractionProvider.h"
#include "HerdrClient/Responding/InteractionResponderError.h"
#include "HerdrClient/Responding/InteractionResponding.h"

#include <memory>

// Answers an opencode permission over HTTP instead of with keys. The same gate as on the screen:
// read the request afresh and compare fingerprints (the request id is part of it, so a request
// replaced meanwhile is refused, and so is one answered meanwhile, which leaves none to read),
// map the intent, and only then reply, to the server the fresh read came from.
//
// Stateless, and a call may outlive the responder; a call that outlives the provider reads
// nothing more and, before the reply, sends nothing.
class OpenCodeNativeInteractionResponder final : public InteractionResponding {
public:
    OpenCodeNativeInteractionResponder(OpenCodeNativeInteractionProvider& provider,
                                       std::shared_ptr<OpenCodeNativeRequesting> client);

    using InteractionResponding::respond;
    QCoro::Task<InteractionResponseOutcome> respond(InteractionResponseRequest request,
                                                    InteractionPhaseCallback onPhase) override;

    // Approve and the first choice allow once, deny and the last choice reject, a choice between
    // allows always. Anything else is not an answer to a permission.
    static std::expected<OpenCodePermissionReply, InteractionResponderError> reply(
        const InteractionResponseIntent& intent, const PendingInteraction& interaction);

    // What a question is answered with: the labels of its one question, or nothing to dismiss it.
    using QuestionAnswer = std::optional<std::vector<std::vector<QString>>>;
    // An option answers with its label; text in the answer row, or text submitted on its own,
    // answers with the text; deny and cancel dismiss. A question of several parts can only be
    // dismissed from here.
    static std::expected<QuestionAnswer, InteractionResponderError> answer(
        const InteractionResponseIntent& intent, const PendingInteraction& interaction);

private:
    OpenCodeNativeInteractionProvider* m_provider;
    std::shared_ptr<OpenCodeNativeRequesting> m_client;
};
