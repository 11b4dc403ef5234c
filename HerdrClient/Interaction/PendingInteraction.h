#pragma once

#include "HerdrClient/Interaction/InteractionContentEvidence.h"
#include "HerdrClient/Interaction/InteractionEnums.h"
#include "HerdrClient/Interaction/InteractionFingerprint.h"
#include "HerdrClient/Interaction/InteractionParts.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <optional>
#include <set>
#include <vector>

// The one structured record of a prompt that waits for the human. Every reader produces it and
// every consumer works from it, never from terminal text. Build it with aggregate
// initialisation, fields in the order below.
struct PendingInteraction {
    QString paneID;
    // Set by native providers only; screen readers leave it absent.
    std::optional<QString> interactionID;
    InteractionKind kind = InteractionKind::unknown;
    std::optional<QString> title;
    std::optional<QString> header;
    std::optional<QString> body;
    std::optional<InteractionProgress> progress;
    std::vector<InteractionChoice> choices;
    std::vector<InteractionStep> steps;
    InteractionPresentation presentation;
    std::set<InteractionCapability> capabilities;
    InteractionEvidence evidence;
    std::optional<InteractionContentEvidence> contentEvidence;
    std::optional<QString> userPromptContext;
    InteractionSafetyState safetyState = InteractionSafetyState::fresh;

    // The identity of the prompt. Wrapping, indentation and colour of a redraw, the cursor, the
    // ticks, the header and the evidence do not change it.
    InteractionFingerprint fingerprint() const;

    // The form of one text inside the fingerprint: colour removed, every run of white space
    // (newlines included) one blank, nothing at either end. Absent gives the empty text.
    static QString normalize(const std::optional<QString>& text);

    // For tools: the field names as keys, absent optionals left out, enumerations as their text,
    // content evidence as {"command":{...}} or {"diff":{...}}, plus "fingerprint".
    JSONValue asJSONValue() const;

    bool operator==(const PendingInteraction&) const = default;
};
