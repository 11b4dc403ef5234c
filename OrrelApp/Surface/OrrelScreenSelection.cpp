#include "OrrelApp/Surface/OrrelScreenSelection.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

std::optional<OrrelDisplay> containing(const std::vector<OrrelDisplay>& displays,
                                       std::optional<QPointF> point)
{
    if (!point)
        return std::nullopt;
    const auto found = std::ranges::find_if(displays, [&](const OrrelDisplay& display) {
        return display.metrics.frame.contains(*point);
    });
    if (found == displays.end())
        return std::nullopt;
    return *found;
}

std::optional<OrrelDisplay> mainScreen(const std::vector<OrrelDisplay>& displays)
{
    if (displays.empty())
        return std::nullopt;
    const auto primary = std::ranges::find_if(displays, &OrrelDisplay::isPrimary);
    return primary != displays.end() ? *primary : displays.front();
}

} // namespace

std::optional<OrrelDisplay> preferredScreen(DisplayPlacement placement,
                                            const std::vector<OrrelDisplay>& displays,
                                            std::optional<QPointF> focusPoint,
                                            std::optional<QPointF> terminalPoint)
{
    switch (placement) {
    case DisplayPlacement::orrelDisplay: {
        const auto withHousing = std::ranges::find_if(displays, [](const OrrelDisplay& display) {
            return display.metrics.topSafeAreaInset > 0;
        });
        if (withHousing != displays.end())
            return *withHousing;
        return mainScreen(displays);
    }
    case DisplayPlacement::activeDisplay:
        return containing(displays, focusPoint).or_else([&] { return mainScreen(displays); });
    case DisplayPlacement::terminalDisplay:
        return containing(displays, terminalPoint)
            .or_else([&] { return containing(displays, focusPoint); })
            .or_else([&] { return mainScreen(displays); });
    }
    return mainScreen(displays);
}

QString placementDescription(DisplayPlacement placement)
{
    switch (placement) {
    case DisplayPlacement::orrelDisplay:
        // The original names machines without a housing by their maker; no Linux display has one.
        return u"Uses the built-in orrel when available. On displays without one, the pill floats "
               "at the top center."_s;
    case DisplayPlacement::activeDisplay:
    case DisplayPlacement::terminalDisplay:
        return u"Follows the display with keyboard focus. Display changes settle for a moment "
               "before the pill moves."_s;
    }
    return {};
}

bool OrrelScreenSettling::screenSelectionMayHaveChanged(const QString& candidate, Timestamp now)
{
    if (candidate == m_currentScreenNumber) {
        m_pendingScreenNumber.reset();
        m_pendingScreenSince.reset();
        return false;
    }
    if (candidate != m_pendingScreenNumber || !m_pendingScreenSince) {
        m_pendingScreenNumber = candidate;
        m_pendingScreenSince = now;
        return false;
    }
    if (secondsBetween(*m_pendingScreenSince, now) < settleDelay.count())
        return false;
    adoptPreferredScreenImmediately(candidate);
    return true;
}

void OrrelScreenSettling::adoptPreferredScreenImmediately(const QString& candidate)
{
    m_currentScreenNumber = candidate;
    m_pendingScreenNumber.reset();
    m_pendingScreenSince.reset();
}
