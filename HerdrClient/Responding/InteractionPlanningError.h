#pragma once

#include <QString>

#include <optional>

// Why the planner would not turn an intent into keys. Whatever the case, nothing was sent.
enum class InteractionPlanningError {
    unsupportedIntent,
    invalidChoice,
    missingCursor,
    ambiguousMechanism,
    emptyText,
    terminalDraft
};

// The case name, which callers show when the case has no sentence of its own.
QString toString(InteractionPlanningError error);
// Only `terminalDraft` is worded for a person; the others are staleness or programming faults.
std::optional<QString> errorDescription(InteractionPlanningError error);
// Why, in one sentence, before a refusal says that nothing was sent.
QString refusalCause(InteractionPlanningError error);
