#pragma once

#include "OrrelApp/Surface/OrrelScreenMetrics.h"

#include <QSizeF>

// The sizes of the surface on its display, in points.
struct OrrelGeometry {
    double compactWidth = 190;
    double expandedWidth = 520;
    double maximumExpandedHeight = 420;
    double topContentInset = 0;

    // The pill spans the gap between the areas beside a camera housing when there is one of a
    // sensible size; otherwise it floats at the top centre with its standard width. The card keeps
    // a margin on narrow displays.
    static OrrelGeometry measure(const OrrelScreenMetrics& metrics);
    // A display without a camera housing, which is every display Linux reports.
    static OrrelGeometry withoutHousing(QSizeF displaySize);

    // First guesses of the expanded heights, before the views report what they drew.
    double overviewHeight(int agentCount, int bannerCount, bool hasUpdateBanner) const;
    double focusedHeight(int choiceCount, bool hasEvidence, bool hasActionShelf) const;

    // The least height of each expanded shape, never above the maximum.
    double minimumOverviewHeight() const;
    double minimumFocusedHeight() const;
    // `height` rounded to an even number of points, between `minimum` and the maximum.
    double clampedExpandedHeight(double height, double minimum) const;
    static double roundedEven(double value);

    bool operator==(const OrrelGeometry&) const = default;

private:
    double chromeHeight() const;
};
