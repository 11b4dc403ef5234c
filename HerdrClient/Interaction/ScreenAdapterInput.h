#pragma once

#include "HerdrClient/Interaction/InteractionParts.h"

#include <QString>

#include <optional>

// What a screen reader gets: the detection text decides what the screen is; the coloured text
// of the visible read only tells which wizard tab is highlighted.
struct ScreenAdapterInput {
    QString paneID;
    std::optional<QString> agentID;
    QString detectionText;
    std::optional<QString> visibleANSIText;
    std::optional<quint64> paneRevision;
    std::optional<QString> currentTabLabel;

    // Where a reading of this input came from: a screen, this pane's agent and revision (absent
    // when the revision does not fit a signed 64-bit integer).
    InteractionEvidence evidence(const QString& providerID, InteractionConfidence confidence,
                                 const QString& capturedText) const;

    bool operator==(const ScreenAdapterInput&) const = default;
};
