#pragma once

#include "HerdrClient/Wire/AgentStatus.h"
#include "HerdrClient/Wire/HerdrError.h"

#include <QString>

#include <variant>

// A direct command to a pane that herdr or the pane's state refused.
struct ActionError {
    enum class Kind {
        keysRejected,
        interruptPaneUnreadable,
        interruptPaneNoLongerWorking,
        messagePaneUnreadable,
        messagePaneBlocked
    };

    Kind kind = Kind::keysRejected;
    QString message; // keysRejected: herdr's own words
    QString paneID;
    AgentStatus status = AgentStatus::unknown; // interruptPaneNoLongerWorking

    static ActionError keysRejected(QString message)
    {
        return {Kind::keysRejected, std::move(message), {}};
    }
    static ActionError interruptPaneUnreadable(QString paneID)
    {
        return {Kind::interruptPaneUnreadable, {}, std::move(paneID)};
    }
    static ActionError interruptPaneNoLongerWorking(QString paneID, AgentStatus status)
    {
        return {Kind::interruptPaneNoLongerWorking, {}, std::move(paneID), status};
    }
    static ActionError messagePaneUnreadable(QString paneID)
    {
        return {Kind::messagePaneUnreadable, {}, std::move(paneID)};
    }
    static ActionError messagePaneBlocked(QString paneID)
    {
        return {Kind::messagePaneBlocked, {}, std::move(paneID)};
    }

    QString errorDescription() const;
    bool operator==(const ActionError&) const = default;
};

// How a send to a pane failed: refused keys as an `ActionError`, anything else as it came.
struct ActionFailure {
    std::variant<ActionError, RequestFailure> error;

    ActionFailure(ActionError e) : error(std::move(e)) {}
    ActionFailure(RequestFailure e) : error(std::move(e)) {}

    // herdr parses every key of a `pane.send_*` before it writes any, so a refusal it names as
    // a key problem means that nothing of that request reached the pane.
    static ActionFailure fromRequest(const QString& method, RequestFailure failure);

    const ActionError* actionError() const { return std::get_if<ActionError>(&error); }
    const RequestFailure* requestFailure() const { return std::get_if<RequestFailure>(&error); }
    bool isKeysRejected() const
    {
        return actionError() && actionError()->kind == ActionError::Kind::keysRejected;
    }

    QString errorDescription() const;
    bool operator==(const ActionFailure&) const = default;
};
