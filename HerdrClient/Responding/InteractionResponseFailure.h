#pragma once

#include "HerdrClient/Interaction/InteractionProviding.h"
#include "HerdrClient/Responding/ActionError.h"
#include "HerdrClient/Responding/InteractionPlanningError.h"
#include "HerdrClient/Responding/InteractionResponderError.h"
#include "HerdrClient/Responding/InteractionResponseOperation.h"

#include <QString>

#include <concepts>
#include <memory>
#include <variant>
#include <vector>

// Why an answer did not go out in full: the read, the responder, the planner, herdr, or an
// agent's own server that did not take a reply; and what had already reached the pane when it
// stopped (nothing, unless a send or a wait failed midway).
struct InteractionResponseFailure {
    std::variant<InteractionReadFailure, InteractionResponderError, InteractionPlanningError,
                 ActionFailure, std::shared_ptr<const AgentServerFailure>>
        error;
    std::vector<InteractionResponseOperation> sentOperations;

    InteractionResponseFailure(InteractionReadFailure e) : error(std::move(e)) {}
    InteractionResponseFailure(InteractionResponderError e) : error(std::move(e)) {}
    InteractionResponseFailure(InteractionPlanningError e) : error(e) {}
    InteractionResponseFailure(ActionFailure e) : error(std::move(e)) {}
    // Only for the reply itself; a failed read of the server is an `InteractionReadFailure`.
    template <std::derived_from<AgentServerFailure> Failure>
    InteractionResponseFailure(Failure e) : error(std::make_shared<const Failure>(std::move(e)))
    {
    }

    const InteractionReadFailure* readFailure() const
    {
        return std::get_if<InteractionReadFailure>(&error);
    }
    const InteractionResponderError* responderError() const
    {
        return std::get_if<InteractionResponderError>(&error);
    }
    const InteractionPlanningError* planningError() const
    {
        return std::get_if<InteractionPlanningError>(&error);
    }
    const ActionFailure* sendFailure() const { return std::get_if<ActionFailure>(&error); }
    const AgentServerFailure* serverReplyFailure() const;
    bool isStale() const
    {
        return responderError()
               && responderError()->kind == InteractionResponderError::Kind::staleInteraction;
    }

    // The failure's own sentence; a planning error without one gives its case name.
    QString errorDescription() const;
    // For a person: a sentence that always ends with what did not happen, and that does not claim
    // "Nothing was sent." when herdr may have taken a key before it stopped answering.
    QString refusalSentence() const;
    // A short machine word for tools: the case name of the failure.
    QString reason() const;
};
