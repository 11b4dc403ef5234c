#include "OrrelApp/Shell/IconArt.h"

#include <QSet>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const RollupStatus statuses[] = {RollupStatus::blocked, RollupStatus::working, RollupStatus::done,
                                 RollupStatus::idle, RollupStatus::unknown};
const TrayIconStyle styles[] = {TrayIconStyle::color, TrayIconStyle::darkPanel,
                                TrayIconStyle::lightPanel};

std::string named(RollupStatus status, TrayIconStyle style)
{
    return (toString(status) + u' ' + toString(style)).toStdString();
}

// A panel's tray is small: at 16 pixels every state still has an icon of its own.
TEST(IconArt, EveryStateLooksDifferentInEveryStyle)
{
    for (const TrayIconStyle style : styles) {
        std::vector<QImage> images;
        for (const RollupStatus status : statuses)
            images.push_back(statusIconArt(status, style).image(16));
        for (std::size_t i = 0; i < images.size(); ++i) {
            for (std::size_t j = i + 1; j < images.size(); ++j)
                EXPECT_NE(images[i], images[j])
                    << named(statuses[i], style) << " and " << named(statuses[j], style);
        }
    }
}

// Monochrome icons draw in one colour, light on a dark panel and dark on a light one; only the
// coverage varies.
TEST(IconArt, MonochromeIconsUseOneGlyphColour)
{
    for (const TrayIconStyle style : {TrayIconStyle::darkPanel, TrayIconStyle::lightPanel}) {
        for (const RollupStatus status : statuses) {
            const QImage image =
                statusIconArt(status, style).image(44).convertToFormat(QImage::Format_ARGB32);
            int painted = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    const QColor pixel = image.pixelColor(x, y);
                    if (pixel.alpha() < 64)
                        continue;
                    ++painted;
                    if (style == TrayIconStyle::darkPanel)
                        ASSERT_GT(pixel.lightness(), 200) << named(status, style) << x << ',' << y;
                    else
                        ASSERT_LT(pixel.lightness(), 60) << named(status, style) << x << ',' << y;
                    ASSERT_LT(pixel.hslSaturation(), 20) << named(status, style);
                }
            }
            EXPECT_GT(painted, 44) << named(status, style);
        }
    }
}

// The colour icon puts a white dot on coral; the monochrome one cuts a hole there instead, so
// that the panel shows through whatever its colour.
TEST(IconArt, BlockedHasADotInColourAndAHoleInMonochrome)
{
    const QImage color = statusIconArt(RollupStatus::blocked, TrayIconStyle::color).image(44);
    EXPECT_EQ(color.pixelColor(22, 22), QColor(Qt::white));
    EXPECT_GT(color.pixelColor(8, 22).red(), 200);
    EXPECT_LT(color.pixelColor(8, 22).blue(), 140);

    const QImage mono = statusIconArt(RollupStatus::blocked, TrayIconStyle::darkPanel).image(44);
    EXPECT_EQ(mono.pixelColor(22, 22).alpha(), 0);
    EXPECT_EQ(mono.pixelColor(8, 22).alpha(), 255);
}

// The files the package installs come from the same layers: an SVG for every state and style,
// with the colours of the raster, under names that never collide.
TEST(IconArt, WritesOneWellFormedSVGPerStateAndStyle)
{
    QSet<QString> names;
    for (const TrayIconStyle style : styles) {
        for (const RollupStatus status : statuses) {
            names.insert(statusIconName(status, style));
            const IconArt art = statusIconArt(status, style);
            QXmlStreamReader reader(art.svg());
            int paths = 0;
            QSet<QString> fills;
            while (!reader.atEnd()) {
                if (reader.readNext() != QXmlStreamReader::StartElement)
                    continue;
                const QXmlStreamAttributes attributes = reader.attributes();
                if (reader.name() == u"svg") {
                    EXPECT_EQ(attributes.value(u"viewBox"_s), u"0 0 128 128");
                }
                if (reader.name() == u"path") {
                    ++paths;
                    fills.insert(attributes.value(u"fill"_s).toString());
                    EXPECT_TRUE(attributes.value(u"d"_s).startsWith(u'M'));
                }
            }
            EXPECT_FALSE(reader.hasError())
                << named(status, style) << ' ' << reader.errorString().toStdString();
            EXPECT_EQ(paths, static_cast<int>(art.layers.size())) << named(status, style);
            for (const auto& layer : art.layers) {
                if (layer.fill.isValid()) {
                    EXPECT_TRUE(fills.contains(layer.fill.name())) << named(status, style);
                }
            }
        }
    }
    EXPECT_EQ(names.size(), 15);
    EXPECT_TRUE(names.contains(u"dev.orrelsentry.OrrelSentry-blocked-dark-panel"_s));
}

TEST(IconArt, StylesAreNamedAsTheEnvironmentGivesThem)
{
    for (const TrayIconStyle style : styles)
        EXPECT_EQ(trayIconStyleFromString(toString(style)), style);
    EXPECT_EQ(trayIconStyleFromString(u"dark-panel"), TrayIconStyle::darkPanel);
    EXPECT_FALSE(trayIconStyleFromString(u"dark"));
    EXPECT_FALSE(trayIconStyleFromString(u"Color"));
    EXPECT_FALSE(trayIconStyleFromString(u""));
}

} // namespace
