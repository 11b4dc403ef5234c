#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Responding/InteractionPlanningError.h"
#include "HerdrClient/Responding/InteractionResponseIntent.h"
#include "HerdrClient/Responding/InteractionResponsePlan.h"

#include <expected>
#include <vector>

using InteractionPlanningResult = std::expected<InteractionResponsePlan, InteractionPlanningError>;

// Turns an intent into the keys and text that answer one prompt as it stands now. Pure and
// stateless: it is asked again on every fresh read, and a refusal here means nothing reached the
// terminal. Every judgement of which keystroke is safe for a mechanism lives here.
class InteractionResponsePlanner {
public:
    InteractionPlanningResult plan(const InteractionResponseIntent& intent,
                                   const PendingInteraction& interaction) const;

private:
    // The responder's two-phase sends strip the final key off these plans and wait in between,
    // so their shapes (movement keys, then one confirming key) must stay as they are.
    std::expected<std::vector<QString>, InteractionPlanningError> keysToFocusChoice(
        qint64 index, const PendingInteraction& interaction) const;
    InteractionPlanningResult planChoice(qint64 index, const PendingInteraction& interaction,
                                         bool toggle) const;
    InteractionPlanningResult planCheckedChoice(qint64 index, bool checked,
                                                const PendingInteraction& interaction) const;
    InteractionPlanningResult planSubmit(const PendingInteraction& interaction) const;
    InteractionPlanningResult planFocusTextRow(const PendingInteraction& interaction) const;
};
