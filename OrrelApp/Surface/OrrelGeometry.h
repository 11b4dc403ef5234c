#pragma once

#include <QSizeF>

#include <algorithm>

// The sizes of the surface on its display, in points.
struct OrrelGeometry {
    double compactWidth = 190;
    double expandedWidth = 520;
    double maximumExpandedHeight = 420;
    double topContentInset = 0;

    // A display without a camera housing, which is every display Linux reports: the pill floats
    // at the top centre with its standard width, and the card keeps a margin on narrow displays.
    static OrrelGeometry withoutHousing(QSizeF displaySize)
    {
        return OrrelGeometry{
            190,
            std::max(1.0, std::min(520.0, displaySize.width() - 24)),
            std::max(1.0, std::min(420.0, displaySize.height() * 0.72)),
            0,
        };
    }

    bool operator==(const OrrelGeometry&) const = default;
};
