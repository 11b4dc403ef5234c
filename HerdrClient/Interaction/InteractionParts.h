#pragma once

#include "HerdrClient/Interaction/InteractionEnums.h"

#include <QString>

#include <optional>
#include <vector>

// One thing a prompt can be answered with, in screen order.
struct InteractionChoice {
    InteractionChoiceKind kind = InteractionChoiceKind::option;
    QString label;
    std::optional<QString> description;
    // herdr key names that pick this choice directly; empty when none is known.
    std::vector<QString> shortcutKeys;
    // What already stands in a free-text row on the screen.
    std::optional<QString> draft;

    bool operator==(const InteractionChoice&) const = default;
};

// One tab of a multi-question wizard.
struct InteractionStep {
    QString label;
    bool isAnswered = false;
    bool isSubmit = false;

    bool operator==(const InteractionStep&) const = default;
};

// Place in a wizard; `current` counts from 1.
struct InteractionProgress {
    std::optional<qint64> current;
    std::optional<qint64> total;
    std::optional<qint64> unanswered;

    // A wizard's place from its tabs: the questions are the tabs other than Submit; on the review
    // the place is the last question. Nothing without questions.
    static std::optional<InteractionProgress> ofWizard(const std::vector<InteractionStep>& steps,
                                                       std::optional<qint64> activeStep,
                                                       bool isReview);

    bool operator==(const InteractionProgress&) const = default;
};

// How the screen looks right now and how it is driven. The cursor row and the ticked rows are
// independent facts: a row can be checked and not selected, and the reverse.
struct InteractionPresentation {
    std::optional<qint64> selectedChoiceIndex;
    std::vector<qint64> checkedChoiceIndexes; // ascending
    std::optional<qint64> activeStepIndex;
    InteractionMechanism mechanism = InteractionMechanism::manual;
    std::optional<QString> selectedChoicePreview;

    bool operator==(const InteractionPresentation&) const = default;
};

// Where a reading came from. `capturedText` is the text as read, never a normalised form, so
// that a diagnostic shows what was seen.
struct InteractionEvidence {
    InteractionSourceKind source = InteractionSourceKind::screen;
    QString providerID;
    std::optional<QString> agentID;
    std::optional<qint64> paneRevision;
    InteractionConfidence confidence = InteractionConfidence::fallback;
    std::optional<QString> capturedText;

    bool operator==(const InteractionEvidence&) const = default;
};
