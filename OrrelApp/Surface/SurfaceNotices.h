#pragma once

#include "HerdrClient/Support/Clock.h"

#include <QString>

#include <optional>
#include <vector>

// What the person typed toward a hard floor's target, bound to the one ask it was typed for.
struct FloorConfirmation {
    QString askKey;
    QString text;
    bool operator==(const FloorConfirmation&) const = default;
};

// The focused card of a pane that went away, still named as it was last shown.
struct GoneCard {
    QString title;
    QString subtitle;
    bool operator==(const GoneCard&) const = default;
};

// Why a jump did not bring the terminal forward; for a remote session, what to type instead.
struct JumpNotice {
    QString text;
    std::optional<QString> attachCommand;
    bool operator==(const JumpNotice&) const = default;
};

// The order in which a prompt's choices are offered, the agent's recommendation first.
struct RecommendedChoiceOrder {
    std::vector<qint64> order;
    std::optional<qint64> recommended;
    bool operator==(const RecommendedChoiceOrder&) const = default;
};

// A worker's question passed up through its orchestrator, as the card shows it.
struct EscalationCardModel {
    QString questionID;
    QString question;
    std::optional<QString> header;
    std::vector<QString> options;
    std::vector<std::optional<QString>> optionDescriptions;
    QString orchestratorTitle;
    QString orchestratorPaneID;
    QString workerPaneID;
    std::optional<QString> workerTab;
    Timestamp since;
    std::optional<QString> originPaneID;
    bool canAnswer = false;
    QString status;
    std::optional<QString> sentAnswer;
    bool operator==(const EscalationCardModel&) const = default;
};
