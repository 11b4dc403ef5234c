#pragma once

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

    bool operator==(const ScreenAdapterInput&) const = default;
};
