#pragma once

#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <optional>
#include <vector>

// A question a worker raised that its owner agent passed up to the person, as the pi sentinel's
// journal tells it.
struct EscalatedQuestion {
    QString id;
    // The agent that owns the question, and whose pane receives the answer.
    QString ownerPaneID;
    QString childPaneID;
    QString childKind = QStringLiteral("herdr-pane");
    QString question = QStringLiteral("Escalated question");
    Timestamp since;
    std::optional<QString> header;
    std::vector<QString> options;
    // Parallel to `options`.
    std::vector<std::optional<QString>> optionDescriptions;
    // The pane where the worker's work began.
    std::optional<QString> originPaneID;
    // The sentinel recorded that the owner was told.
    bool notificationConfirmed = false;
    // An answer is on its way; until it settles the question must not be answered again.
    bool resolutionStarted = false;

    bool canAnswer() const;
    // "Escalated question", or why it cannot be answered yet.
    QString status() const;

    // For tools: the field names as keys, `since` in seconds since 1970.
    JSONValue asJSONValue() const;

    bool operator==(const EscalatedQuestion&) const = default;
};
