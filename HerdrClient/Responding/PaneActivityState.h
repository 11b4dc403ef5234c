#pragma once

#include "HerdrClient/Support/Clock.h"

#include <QString>

#include <optional>

enum class PaneOutputPhase { idle, reading };
enum class PanePromptPhase { idle, sending };

QString toString(PaneOutputPhase phase);
QString toString(PanePromptPhase phase);

// The published record of one pane: what a working agent printed last, and what a person is
// typing for an idle one.
struct PaneActivityState {
    QString paneID;
    std::optional<QString> recentOutput;
    std::optional<quint64> outputRevision;        // pane revision of the last successful read
    std::optional<quint64> outputAttemptRevision; // pane revision of the last read, good or not
    std::optional<Timestamp> outputReadAt;        // time of the last successful read
    PaneOutputPhase outputPhase = PaneOutputPhase::idle;
    std::optional<QString> outputError; // why the last read failed
    QString promptDraft;
    PanePromptPhase promptPhase = PanePromptPhase::idle;
    std::optional<QString> promptError; // why the last send failed

    bool isBusy() const
    {
        return outputPhase == PaneOutputPhase::reading || promptPhase == PanePromptPhase::sending;
    }

    bool operator==(const PaneActivityState&) const = default;
};
