#pragma once

#include "HerdrClient/Attention/NeedsHumanSignal.h"
#include "HerdrClient/Support/Clock.h"

#include <QString>

#include <variant>

// One reason to call for the person, stable across refreshes by its `id`:
// "blocked:<pane>:<episode>", "escalation:<question>" or "nh:<pane>:<ask>".
struct AttentionItem {
    // The agent asked through its extension.
    struct ExplicitAsk {
        NeedsHumanSignal signal;
        bool operator==(const ExplicitAsk&) const = default;
    };
    // A worker's question, passed up by its owner.
    struct Escalation {
        QString questionID;
        QString worker;
        bool operator==(const Escalation&) const = default;
    };
    // herdr says the root waits, and nothing speaks for it.
    struct RootBlocked {
        bool operator==(const RootBlocked&) const = default;
    };
    using Reason = std::variant<ExplicitAsk, Escalation, RootBlocked>;

    enum class Phase { grace, alerted };

    QString id;
    QString paneID;
    QString rootPaneID;
    Reason reason;
    Timestamp since;
    Phase phase = Phase::grace;

    const ExplicitAsk* explicitAsk() const { return std::get_if<ExplicitAsk>(&reason); }
    const Escalation* escalation() const { return std::get_if<Escalation>(&reason); }
    bool isRootBlocked() const { return std::holds_alternative<RootBlocked>(reason); }

    // For tools: the field names as keys, `reason` as "explicitAsk", "escalation" or
    // "rootBlocked" with its payload beside it ("signal", or "questionID" and "worker"),
    // `since` in seconds since 1970.
    JSONValue asJSONValue() const;

    bool operator==(const AttentionItem&) const = default;
};

QString toString(AttentionItem::Phase phase);
// "explicitAsk", "escalation" or "rootBlocked".
QString reasonName(const AttentionItem::Reason& reason);
