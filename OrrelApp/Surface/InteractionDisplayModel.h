#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"

#include <QString>

#include <optional>
#include <vector>

// One row of the prompt card, with its selection and tick already decided.
struct InteractionDisplayChoice {
    qint64 index = 0;
    InteractionChoiceKind kind = InteractionChoiceKind::option;
    QString label;
    std::optional<QString> description;
    std::vector<QString> shortcutKeys;
    bool isSelected = false;
    // Only a multi-select prompt has ticks; elsewhere there is nothing to show.
    std::optional<bool> isChecked;

    bool operator==(const InteractionDisplayChoice&) const = default;
};

// How a live prompt is shown and which controls make sense for it. The card binds to these
// values; it never looks at the interaction itself.
struct InteractionDisplayModel {
    std::optional<QString> title;
    std::optional<QString> body;
    std::optional<QString> progressText;
    std::vector<InteractionDisplayChoice> choices;
    bool showsTextEntry = false;
    bool showsBeginTextEntry = false;
    bool choicesAreActionable = false;
    bool showsCancel = false;
    bool showsManualControls = true;
    bool exposesStructuredSubmit = false;
    bool showsExplicitSubmit = false;
    bool approvalOnceAvailable = false;
    std::optional<qint64> approvalPersistChoiceIndex;
    std::optional<QString> supportMessage;
    std::optional<QString> userContextLine;
    std::optional<QString> selectedChoicePreview;

    static InteractionDisplayModel from(const PendingInteraction& interaction);

    // "Question 2/5 (3 unanswered)", "3 unanswered questions", or nothing. Named apart from the
    // field above, which C++ does not let a static function share.
    static std::optional<QString> progressTextFor(
        const std::optional<InteractionProgress>& progress);

    bool operator==(const InteractionDisplayModel&) const = default;
};
