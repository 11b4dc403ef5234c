#pragma once

#include "HerdrClient/Support/Clock.h"
#include "OrrelApp/Shell/SettingsEnums.h"
#include "OrrelApp/Surface/OrrelScreenMetrics.h"

#include <QPointF>
#include <QString>

#include <optional>
#include <vector>

// A display the panel may sit on, as the window system lists it.
struct OrrelDisplay {
    // Stable while the display stays plugged in: the output's name.
    QString number;
    OrrelScreenMetrics metrics;
    bool isPrimary = false;
};

// The display that carries the panel. `focusPoint` is where the person works now (the focused
// window or, failing that, the pointer); `terminalPoint` where the terminal's window is.
std::optional<OrrelDisplay> preferredScreen(DisplayPlacement placement,
                                            const std::vector<OrrelDisplay>& displays,
                                            std::optional<QPointF> focusPoint,
                                            std::optional<QPointF> terminalPoint);

// The user texts of the placements.
QString placementDescription(DisplayPlacement placement);

// Follows a display that keeps changing without moving the panel at each flicker: a new candidate
// must stay the candidate for a second before the panel moves to it.
class OrrelScreenSettling {
public:
    static constexpr Seconds settleDelay{1.0};

    // True when the panel should move to `candidate` now.
    bool screenSelectionMayHaveChanged(const QString& candidate, Timestamp now);
    // Plugging or unplugging a display moves the panel at once.
    void adoptPreferredScreenImmediately(const QString& candidate);

    const std::optional<QString>& currentScreenNumber() const { return m_currentScreenNumber; }
    const std::optional<QString>& pendingScreenNumber() const { return m_pendingScreenNumber; }

private:
    std::optional<QString> m_currentScreenNumber;
    std::optional<QString> m_pendingScreenNumber;
    std::optional<Timestamp> m_pendingScreenSince;
};
