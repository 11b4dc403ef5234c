#include "OrrelApp/Surface/OrrelScreenSelection.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

OrrelDisplay display(const QString& number, QRectF frame, bool primary = false, double inset = 0)
{
    return {number, {frame, frame, inset, std::nullopt, std::nullopt}, primary};
}

const std::vector<OrrelDisplay> twoDisplays{
    display(u"DP-1"_s, {0, 0, 1920, 1080}),
    display(u"HDMI-1"_s, {1920, 0, 2560, 1440}, true),
};

QString numberOf(const std::optional<OrrelDisplay>& chosen)
{
    return chosen ? chosen->number : u"none"_s;
}

} // namespace

TEST(OrrelScreenSelection, ChoosesTheDisplayByPlacement)
{
    // Without a housing anywhere, the built-in placement falls back to the primary display.
    EXPECT_EQ(numberOf(preferredScreen(DisplayPlacement::orrelDisplay, twoDisplays, QPointF(5, 5),
                                       std::nullopt)),
              u"HDMI-1"_s);
    auto withHousing = twoDisplays;
    withHousing.push_back(display(u"eDP-1"_s, {0, 1080, 1512, 982}, false, 32));
    EXPECT_EQ(numberOf(preferredScreen(DisplayPlacement::orrelDisplay, withHousing, std::nullopt,
                                       std::nullopt)),
              u"eDP-1"_s);

    EXPECT_EQ(numberOf(preferredScreen(DisplayPlacement::activeDisplay, twoDisplays,
                                       QPointF(100, 100), QPointF(3000, 10))),
              u"DP-1"_s);
    EXPECT_EQ(numberOf(preferredScreen(DisplayPlacement::terminalDisplay, twoDisplays,
                                       QPointF(100, 100), QPointF(3000, 10))),
              u"HDMI-1"_s);
    // A terminal that cannot be found leaves the focused display; a point on no display, the main.
    EXPECT_EQ(numberOf(preferredScreen(DisplayPlacement::terminalDisplay, twoDisplays,
                                       QPointF(100, 100), std::nullopt)),
              u"DP-1"_s);
    EXPECT_EQ(numberOf(preferredScreen(DisplayPlacement::activeDisplay, twoDisplays,
                                       QPointF(-50, -50), std::nullopt)),
              u"HDMI-1"_s);
    EXPECT_FALSE(preferredScreen(DisplayPlacement::activeDisplay, {}, QPointF(1, 1), std::nullopt));
}

TEST(OrrelScreenSelection, ANewDisplaySettlesForASecondBeforeThePanelMoves)
{
    OrrelScreenSettling settling;
    settling.adoptPreferredScreenImmediately(u"DP-1"_s);
    const Timestamp start{};

    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"HDMI-1"_s, start));
    EXPECT_EQ(settling.pendingScreenNumber(), u"HDMI-1"_s);
    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"HDMI-1"_s, start + 999ms));
    EXPECT_TRUE(settling.screenSelectionMayHaveChanged(u"HDMI-1"_s, start + 1s));
    EXPECT_EQ(settling.currentScreenNumber(), u"HDMI-1"_s);
    EXPECT_FALSE(settling.pendingScreenNumber());

    // A flip back to the current display within the second leaves the panel where it is.
    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"DP-1"_s, start + 2s));
    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"HDMI-1"_s, start + 2500ms));
    EXPECT_FALSE(settling.pendingScreenNumber());
    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"DP-1"_s, start + 3600ms));
    EXPECT_EQ(settling.currentScreenNumber(), u"HDMI-1"_s);

    // Another candidate restarts the wait.
    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"DP-2"_s, start + 4s));
    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"DP-1"_s, start + 4800ms));
    EXPECT_FALSE(settling.screenSelectionMayHaveChanged(u"DP-1"_s, start + 5500ms));
    EXPECT_TRUE(settling.screenSelectionMayHaveChanged(u"DP-1"_s, start + 5800ms));
}
