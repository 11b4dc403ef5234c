#pragma once

#include "HerdrClient/Interaction/InteractionFingerprint.h"

#include <QString>

#include <optional>

// A draft turns stale once the prompt on show is another question than the one it was typed
// for; a stale draft is never offered again until the person confirms it.
enum class InteractionDraftState { attached, stale };

QString toString(InteractionDraftState state);
std::optional<InteractionDraftState> interactionDraftStateFromString(const QString& text);

// The answer a person started typing for one pane's prompt, tied to that prompt's fingerprint.
struct PaneInteractionDraft {
    QString text;
    std::optional<InteractionFingerprint> fingerprint;
    InteractionDraftState state = InteractionDraftState::attached;

    bool operator==(const PaneInteractionDraft&) const = default;
};
