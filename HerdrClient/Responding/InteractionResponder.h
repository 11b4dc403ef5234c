#pragma once

#include "HerdrClient/Interaction/InteractionProviding.h"
#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Responding/InteractionResponding.h"
#include "HerdrClient/Responding/InteractionResponsePlanner.h"
#include "HerdrClient/Support/Clock.h"

#include <chrono>

// The last gate between a click and a keystroke. In this order, and no step may move: read the
// pane again, compare the fingerprint with what the person saw, test the intent against the
// prompt's kind, plan on the fresh read, send, and watch the prompt settle.
//
// Stateless between calls, and a call may outlive the responder. A call that outlives the
// provider or the client behind `actions` fails at its next step and sends nothing more.
class InteractionResponder final : public InteractionResponding {
public:
    static constexpr int standardSettleAttempts = 8;
    static constexpr std::chrono::nanoseconds standardSettleDelay{160'000'000};

    struct Settings {
        int settleAttempts = standardSettleAttempts;                // reads per waiting loop
        std::chrono::nanoseconds settleDelay = standardSettleDelay; // pause before each read
    };

    // Only the clock's `sleep` is used.
    InteractionResponder(InteractionProviding& provider, Actions actions, Clock clock,
                         Settings settings);
    InteractionResponder(InteractionProviding& provider, Actions actions, Clock clock);

    using InteractionResponding::respond;
    QCoro::Task<InteractionResponseOutcome> respond(InteractionResponseRequest request,
                                                    InteractionPhaseCallback onPhase) override;

    // The person's own keys for the prompt they saw, as one `pane.send_keys`: read, fingerprint,
    // send, settle. There is no kind test and no plan, since the keys are not chosen here;
    // `request.intent` is not consulted. An empty list sends nothing.
    QCoro::Task<InteractionResponseOutcome> respondWithKeys(InteractionResponseRequest request,
                                                            std::vector<QString> keys,
                                                            InteractionPhaseCallback onPhase = {});

    // Whether the prompt's kind allows the intent at all, whatever the mechanism.
    static bool kindAllows(InteractionKind kind, InteractionResponseIntent::Kind intent);

    const Settings& settings() const { return m_gate.settings; }

    // Everything a call needs, copied into it so that the call does not depend on `this`.
    struct Gate {
        InteractionProviding* provider;
        Lifetime::Guard providerAlive;
        Actions actions;
        InteractionResponsePlanner planner;
        Settings settings;
        std::function<QCoro::Task<>(Seconds)> sleep;
    };

private:
    Gate m_gate;
};
