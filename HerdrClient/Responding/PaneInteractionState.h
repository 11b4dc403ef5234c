#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Responding/PaneInteractionDraft.h"
#include "HerdrClient/Support/Clock.h"

#include <QString>

#include <optional>

// Who holds a pane right now: nobody, a read of a pane with nothing on show yet, or an answer.
enum class PaneInteractionPhase { idle, reading, responding, settling };

// Why a pane was read. The order is the order of declaration.
enum class InteractionRefreshReason {
    newlyBlocked,
    selected,
    revisionChanged,
    fallbackCadence,
    explicitSelection,
    responseSettled,
    manualSettled
};

QString toString(PaneInteractionPhase phase);
QString toString(InteractionRefreshReason reason);

// The published record of one pane that waits for a person.
struct PaneInteractionState {
    QString paneID;
    std::optional<QString> agentID;
    std::optional<PendingInteraction> interaction;
    PaneInteractionDraft draft;
    std::optional<quint64> lastRevision; // pane revision at the last install
    std::optional<Timestamp> lastReadAt; // the last install that changed something
    std::optional<InteractionRefreshReason> lastRefreshReason;
    std::optional<QString> error; // shown on the prompt
    PaneInteractionPhase phase = PaneInteractionPhase::idle;
    // The generation of this stay in the blocked state: anything begun under an older number is
    // dropped when it comes back. 0 for a record made only for a manual action.
    quint64 blockedSequence = 0;

    std::optional<InteractionFingerprint> fingerprint() const;

    bool operator==(const PaneInteractionState&) const = default;
};
