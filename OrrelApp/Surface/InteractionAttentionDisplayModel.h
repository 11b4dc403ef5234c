#pragma once

#include "HerdrClient/Responding/PaneInteractionState.h"
#include "HerdrClient/State/AgentRef.h"
#include "HerdrClient/State/RollupStatus.h"
#include "HerdrClient/Support/Clock.h"

#include <QString>

#include <optional>

// One row about one agent, its texts decided at the moment it was built.
struct InteractionAttentionDisplayModel {
    // What a row is built from; `now` fixes the moment the elapsed and freshness texts speak of.
    struct Input {
        AgentRef ref;
        std::optional<QString> sessionLabel;
        bool isRemote = false;
        QString taskTitle;
        QString agentName;
        std::optional<QString> modelName;
        QString workspaceLabel;
        QString tabTitle;
        RollupStatus status = RollupStatus::unknown;
        std::optional<PaneInteractionState> state;
        std::optional<QString> completionSummary;
        std::optional<Timestamp> activeSince;
        bool isSelected = false;
        Timestamp now;
    };

    AgentRef ref;
    std::optional<QString> sessionLabel;
    bool isRemote = false;
    QString taskTitle;
    QString agentName;
    std::optional<QString> modelName;
    QString workspaceLabel;
    QString tabTitle;
    RollupStatus status = RollupStatus::unknown;
    QString stateText;
    QString summary;
    std::optional<Timestamp> activeSince;
    std::optional<QString> elapsedText;
    std::optional<QString> freshnessText;
    bool isSelected = false;

    static InteractionAttentionDisplayModel make(const Input& input);

    QString id() const { return ref.id(); }
    QString paneID() const { return ref.paneID; }
    QString sessionID() const { return ref.sessionID; }

    // The row read out as one sentence, absent parts left out.
    QString accessibilityLabel() const;

    // "<1m", "12m", "1h", "1h 5m": whole seconds from `from` to `to`; a negative span is "<1m".
    static QString duration(Timestamp from, Timestamp to);

    bool operator==(const InteractionAttentionDisplayModel&) const = default;
};
