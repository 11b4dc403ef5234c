#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Responding/InteractionResponseFailure.h"
#include "HerdrClient/Responding/InteractionResponseIntent.h"

#include <QCoroTask>
#include <QString>

#include <expected>
#include <functional>
#include <optional>
#include <vector>

// How far an answer has come. Each call walks them in this order and may end in any of them.
enum class InteractionResponsePhase { revalidating, sending, settling };

QString toString(InteractionResponsePhase phase);

// A person's answer to the prompt they saw.
struct InteractionResponseRequest {
    QString paneID;
    std::optional<QString> agentID;
    std::optional<quint64> paneRevision;        // the revision the shown prompt was read at
    InteractionFingerprint expectedFingerprint; // of what the person saw
    InteractionResponseIntent intent;

    bool operator==(const InteractionResponseRequest&) const = default;
};

struct InteractionResponseResult {
    // The fresh read that the keys were planned on.
    PendingInteraction validatedInteraction;
    // The next prompt, seen unchanged on two reads in a row and different from the answered one.
    std::optional<PendingInteraction> settledInteraction;
    // What herdr accepted, in order: the receipt names these.
    std::vector<InteractionResponseOperation> sentOperations;

    bool operator==(const InteractionResponseResult&) const = default;
};

using InteractionResponseOutcome =
    std::expected<InteractionResponseResult, InteractionResponseFailure>;
// Told each phase as it begins; the responder waits for it before it goes on.
using InteractionPhaseCallback = std::function<QCoro::Task<>(InteractionResponsePhase)>;

// What the coordinator answers through: the screen responder, or a native one.
class InteractionResponding {
public:
    virtual ~InteractionResponding() = default;

    // `onPhase` may be empty.
    virtual QCoro::Task<InteractionResponseOutcome> respond(InteractionResponseRequest request,
                                                            InteractionPhaseCallback onPhase) = 0;

    QCoro::Task<InteractionResponseOutcome> respond(InteractionResponseRequest request)
    {
        return respond(std::move(request), InteractionPhaseCallback{});
    }
};
