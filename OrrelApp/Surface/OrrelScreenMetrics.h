#pragma once

#include <QRectF>

#include <optional>

// A display as the surface measures it: its frame, the part windows may use, and the space beside
// a camera housing at its top when it has one. Linux reports no housing, so the regions stay
// absent there; the measuring still runs on this record so that it can be tested with one.
struct OrrelScreenMetrics {
    QRectF frame;
    QRectF visibleFrame;
    double topSafeAreaInset = 0;
    // The areas left and right of the housing.
    std::optional<QRectF> topLeftArea;
    std::optional<QRectF> topRightArea;

    bool operator==(const OrrelScreenMetrics&) const = default;
};
