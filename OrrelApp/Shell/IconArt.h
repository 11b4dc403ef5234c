#pragma once

#include "HerdrClient/State/RollupStatus.h"

#include <QColor>
#include <QImage>
#include <QPainterPath>
#include <QString>

#include <optional>
#include <vector>

// A drawing the program owns, in a unit square: the tray's status icons and the application's
// icon. The same layers are painted for the tray at run time and written as SVG and PNG files
// for the icon theme at build time, so the two can never drift apart.
struct IconArt {
    struct Layer {
        QPainterPath path;     // in the unit square; the path's fill rule cuts holes
        QColor fill;           // invalid: not filled
        QColor stroke;         // invalid: not stroked
        qreal strokeWidth = 0; // a fraction of the side, never under one pixel when painted
    };
    std::vector<Layer> layers;

    QImage image(int side) const;
    // An SVG document of the layers, 128 units a side.
    QString svg() const;
};

// The tray icon for a panel of unknown colour, or one glyph colour for a dark or a light panel.
// Monochrome icons tell the states apart by shape alone.
enum class TrayIconStyle { color, darkPanel, lightPanel };

// "color", "dark-panel", "light-panel".
QString toString(TrayIconStyle style);
std::optional<TrayIconStyle> trayIconStyleFromString(QStringView text);

IconArt statusIconArt(RollupStatus status, TrayIconStyle style);
IconArt applicationIconArt();

// The icon theme's name of a status icon: "dev.orrelsentry.OrrelSentry-blocked" for colour,
// with "-dark-panel" or "-light-panel" after it for the monochrome ones.
QString statusIconName(RollupStatus status, TrayIconStyle style);
