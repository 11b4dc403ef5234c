#pragma once

#include "HerdrClient/Responding/ActionError.h"

#include <QString>

#include <variant>

// The question on disk is gone, moved to another owner or origin, or can no longer be answered.
struct EscalationChanged {
    QString questionID;

    QString errorDescription() const;
    bool operator==(const EscalationChanged&) const = default;
};

// Why an answer to an escalated question did not go out.
struct EscalationAnswerFailure {
    std::variant<EscalationChanged, ActionFailure> error;

    EscalationAnswerFailure(EscalationChanged e) : error(std::move(e)) {}
    EscalationAnswerFailure(ActionFailure e) : error(std::move(e)) {}

    const EscalationChanged* escalationChanged() const
    {
        return std::get_if<EscalationChanged>(&error);
    }
    QString errorDescription() const;
    bool operator==(const EscalationAnswerFailure&) const = default;
};
