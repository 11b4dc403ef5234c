#pragma once

#include "HerdrClient/Interaction/AgentServerFailure.h"
#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Support/Lifetime.h"
#include "HerdrClient/Wire/HerdrError.h"

#include <QCoroTask>
#include <QString>

#include <concepts>
#include <expected>
#include <memory>
#include <optional>
#include <variant>

// The screen reader's own failure: the pane's text could not be had.
struct InteractionProviderError {
    enum class Kind { unreadablePane };

    Kind kind = Kind::unreadablePane;
    QString paneID;

    static InteractionProviderError unreadablePane(QString paneID)
    {
        return {Kind::unreadablePane, std::move(paneID)};
    }

    QString errorDescription() const;
    bool operator==(const InteractionProviderError&) const = default;
};

// Why a prompt could not be read: the screen reader's own failure, a failed herdr request passed
// on as it came, or what an agent's own server answered (or did not).
struct InteractionReadFailure {
    std::variant<InteractionProviderError, RequestFailure,
                 std::shared_ptr<const AgentServerFailure>>
        error;

    InteractionReadFailure(InteractionProviderError e) : error(std::move(e)) {}
    InteractionReadFailure(RequestFailure e) : error(std::move(e)) {}
    template <std::derived_from<AgentServerFailure> Failure>
    InteractionReadFailure(Failure e) : error(std::make_shared<const Failure>(std::move(e)))
    {
    }

    const InteractionProviderError* providerError() const
    {
        return std::get_if<InteractionProviderError>(&error);
    }
    const RequestFailure* requestFailure() const { return std::get_if<RequestFailure>(&error); }
    const AgentServerFailure* serverFailure() const;

    QString errorDescription() const;
};

using InteractionReadResult = std::expected<PendingInteraction, InteractionReadFailure>;

// Anything that turns a pane into the prompt that waits in it.
class InteractionProviding {
public:
    virtual ~InteractionProviding() = default;

    virtual QCoro::Task<InteractionReadResult> interaction(QString paneID,
                                                           std::optional<QString> agentID,
                                                           std::optional<quint64> paneRevision) = 0;

    // Expires when this reader ends: a read that outlives it gives up at its next step.
    Lifetime::Guard lifetime() const { return m_lifetime.guard(); }

private:
    Lifetime m_lifetime;
};
