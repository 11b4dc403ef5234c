#include "OrrelApp/Surface/OrrelGeometry.h"

#include <algorithm>
#include <cmath>

OrrelGeometry OrrelGeometry::measure(const OrrelScreenMetrics& metrics)
{
    OrrelGeometry geometry;
    geometry.topContentInset = std::max(0.0, metrics.topSafeAreaInset);
    geometry.compactWidth = 190;
    if (geometry.topContentInset > 0 && metrics.topLeftArea && metrics.topRightArea) {
        const double gap = metrics.topRightArea->left() - metrics.topLeftArea->right();
        if (gap > 80 && gap < 400)
            geometry.compactWidth = gap + 8;
    }
    geometry.expandedWidth = std::clamp(metrics.frame.width() - 24, 1.0, 520.0);
    geometry.maximumExpandedHeight = std::clamp(metrics.frame.height() * 0.72, 1.0, 420.0);
    return geometry;
}

OrrelGeometry OrrelGeometry::withoutHousing(QSizeF displaySize)
{
    return measure({QRectF(QPointF(0, 0), displaySize), QRectF(QPointF(0, 0), displaySize), 0,
                    std::nullopt, std::nullopt});
}

double OrrelGeometry::chromeHeight() const
{
    return topContentInset + (topContentInset > 0 ? 5 : 8) + 39 + 28;
}

double OrrelGeometry::roundedEven(double value)
{
    return 2 * std::round(value / 2);
}

double OrrelGeometry::minimumOverviewHeight() const
{
    return std::min(maximumExpandedHeight, std::max(topContentInset + 150, 190.0));
}

double OrrelGeometry::minimumFocusedHeight() const
{
    return std::min(maximumExpandedHeight, std::max(topContentInset + 260, 300.0));
}

double OrrelGeometry::clampedExpandedHeight(double height, double minimum) const
{
    return std::min(maximumExpandedHeight, std::max(minimum, roundedEven(height)));
}

double OrrelGeometry::overviewHeight(int agentCount, int bannerCount, bool hasUpdateBanner) const
{
    const double rows = agentCount > 0 ? 58.0 * agentCount : 168;
    const double banners = 44.0 * bannerCount + (hasUpdateBanner ? 104 : 0);
    const int sections = (bannerCount > 0 ? 1 : 0) + (hasUpdateBanner ? 1 : 0) + 1;
    const double spacing = std::max(0, 7 * (sections - 1));
    return clampedExpandedHeight(chromeHeight() + rows + banners + spacing,
                                 minimumOverviewHeight());
}

double OrrelGeometry::focusedHeight(int choiceCount, bool hasEvidence, bool hasActionShelf) const
{
    const double body =
        44.0 * std::min(choiceCount, 4) + 92 + (hasEvidence ? 46 : 0) + (hasActionShelf ? 58 : 0);
    return clampedExpandedHeight(chromeHeight() + body, minimumFocusedHeight());
}
