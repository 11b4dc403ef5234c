#pragma once

#include "HerdrClient/Responding/ActionError.h"
#include "HerdrClient/Responding/IdlePromptSenderError.h"

#include <QCoroTask>
#include <QString>

#include <expected>
#include <variant>

// How a prompt for an idle agent failed: refused by the idle check, or by herdr (refused keys as
// an `ActionError`, any other failure as it came).
struct IdlePromptSendFailure {
    std::variant<IdlePromptSenderError, ActionFailure> error;

    IdlePromptSendFailure(IdlePromptSenderError e) : error(std::move(e)) {}
    IdlePromptSendFailure(ActionFailure e) : error(std::move(e)) {}

    const IdlePromptSenderError* senderError() const
    {
        return std::get_if<IdlePromptSenderError>(&error);
    }
    const ActionFailure* actionFailure() const { return std::get_if<ActionFailure>(&error); }

    QString errorDescription() const
    {
        return std::visit([](const auto& e) { return e.errorDescription(); }, error);
    }
    bool operator==(const IdlePromptSendFailure&) const = default;
};

using IdlePromptSendResult = std::expected<void, IdlePromptSendFailure>;

// Anything that types a new instruction into an idle agent and submits it. A send may outlive
// the sender: an implementation takes what it needs before it first suspends.
class IdlePromptSending {
public:
    virtual ~IdlePromptSending() = default;

    virtual QCoro::Task<IdlePromptSendResult> sendPrompt(QString paneID, QString text) = 0;
};
