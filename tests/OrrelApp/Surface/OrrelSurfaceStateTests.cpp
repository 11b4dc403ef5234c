#include "OrrelApp/Surface/OrrelSurfaceState.h"

#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// A display with a housing, so that the inset shows in every figure.
const OrrelGeometry housing{200, 480, 400, 32};

struct SurfaceStateTest : testing::Test {
    ManualClock clock;
    std::unique_ptr<OrrelSurfaceState> state = make(CompactIndicatorMode::revealOnHover);

    // Ends the sleeps still running, so that none is left suspended.
    void TearDown() override
    {
        state.reset();
        clock.advance(1h);
    }

    std::unique_ptr<OrrelSurfaceState> make(CompactIndicatorMode mode,
                                            OrrelGeometry geometry = housing)
    {
        return std::make_unique<OrrelSurfaceState>(geometry, false, mode, clock.clock());
    }

    // The number of times `signal` fires from now on.
    template <class Signal>
    std::shared_ptr<int> count(Signal signal)
    {
        auto counter = std::make_shared<int>(0);
        QObject::connect(state.get(), signal, [counter] { ++*counter; });
        return counter;
    }
};

TEST(OrrelGeometry, DisplayWithoutHousing)
{
    EXPECT_EQ(OrrelGeometry::withoutHousing({500, 300}), (OrrelGeometry{190, 476, 216, 0}));
    EXPECT_EQ(OrrelGeometry::withoutHousing({1600, 1000}), (OrrelGeometry{190, 520, 420, 0}));
    EXPECT_EQ(OrrelGeometry::withoutHousing({10, 1}), (OrrelGeometry{190, 1, 1, 0}));
}

TEST(OrrelGeometry, ThePillSpansASensibleGapBesideAHousing)
{
    // Areas beside the housing: the left one ends at 700, the right one starts `gap` later.
    const auto withGap = [](double gap, double inset) {
        return OrrelGeometry::measure({QRectF(0, 0, 1512, 982), QRectF(0, 0, 1512, 950), inset,
                                       QRectF(0, 0, 700, 32), QRectF(700 + gap, 0, 300, 32)});
    };
    EXPECT_EQ(withGap(100, 32).compactWidth, 108);
    EXPECT_EQ(withGap(100, 32).topContentInset, 32);
    EXPECT_EQ(withGap(80, 32).compactWidth, 190);
    EXPECT_EQ(withGap(81, 32).compactWidth, 89);
    EXPECT_EQ(withGap(400, 32).compactWidth, 190);
    EXPECT_EQ(withGap(100, 0).compactWidth, 190); // regions without an inset are not a housing
    EXPECT_EQ(withGap(100, -4).topContentInset, 0);
}

TEST(OrrelGeometry, FirstGuessesOfTheExpandedHeights)
{
    const OrrelGeometry flat = OrrelGeometry::withoutHousing({1600, 1000});
    OrrelGeometry housed = flat;
    housed.topContentInset = 32;
    // No agents: placeholder rows of 168 under chrome of 75, rounded to even.
    EXPECT_EQ(flat.overviewHeight(0, 0, false), 244);
    EXPECT_EQ(flat.overviewHeight(1, 1, false), 190); // 184 is below the least height
    EXPECT_EQ(flat.overviewHeight(2, 1, false), 75 + 116 + 44 + 7);
    EXPECT_EQ(flat.overviewHeight(3, 2, true), 420); // at most the maximum
    EXPECT_EQ(housed.overviewHeight(0, 0, false), 104 + 168);
    // A short card is held at its minimum; more than four choices count as four.
    EXPECT_EQ(flat.focusedHeight(2, false, false), 300);
    EXPECT_EQ(housed.focusedHeight(4, true, false), 104 + 176 + 92 + 46);
    EXPECT_EQ(flat.focusedHeight(2, true, true), 360);
    EXPECT_EQ(flat.focusedHeight(9, false, false), flat.focusedHeight(4, false, false));
}

TEST_F(SurfaceStateTest, HoverOutWaitsAndHoverBackCancels)
{
    const auto revealedChanges = count(&OrrelSurfaceState::compactIndicatorRevealedChanged);
    EXPECT_FALSE(state->isCompactIndicatorRevealed());
    EXPECT_EQ(state->visibleSize(), QSizeF(200, 35));

    state->setCompactHovering(true);
    EXPECT_TRUE(state->isCompactIndicatorRevealed());
    EXPECT_EQ(state->visibleSize(), QSizeF(200, 44));
    state->setCompactHovering(false);
    EXPECT_TRUE(state->isHoverCollapsePending());
    clock.advance(Seconds(0.2));
    EXPECT_TRUE(state->isCompactIndicatorRevealed());

    // Back within the delay: the first hover-out must not hide it when its sleep ends.
    state->setCompactHovering(true);
    EXPECT_FALSE(state->isHoverCollapsePending());
    clock.advance(Seconds(0.2));
    EXPECT_TRUE(state->isCompactIndicatorRevealed());
    EXPECT_EQ(*revealedChanges, 1);

    state->setCompactHovering(false);
    clock.advance(Seconds(0.27));
    EXPECT_TRUE(state->isCompactIndicatorRevealed());
    clock.advance(Seconds(0.02));
    EXPECT_FALSE(state->isCompactIndicatorRevealed());
    EXPECT_FALSE(state->isHoverCollapsePending());
    EXPECT_EQ(*revealedChanges, 2);
    EXPECT_EQ(clock.requestedSleeps(), (std::vector<double>{0.28, 0.28}));
}

TEST_F(SurfaceStateTest, HoverOnlyCountsForTheCompactPillInHoverMode)
{
    state->setPresentation(OrrelPresentation::overview());
    state->setCompactHovering(true);
    EXPECT_FALSE(state->isCompactHovered());
    state->setPresentation(OrrelPresentation::compact());

    state->setCompactHovering(true);
    state->setCompactHovering(false);
    // Always showing: a pending hover-out is voided and the hover cleared at once.
    state->updateCompactIndicatorMode(CompactIndicatorMode::alwaysShow);
    EXPECT_FALSE(state->isCompactHovered());
    EXPECT_FALSE(state->isHoverCollapsePending());
    EXPECT_TRUE(state->isCompactIndicatorRevealed());
    state->setCompactHovering(true);
    EXPECT_FALSE(state->isCompactHovered());
    state->updateCompactIndicatorMode(CompactIndicatorMode::revealOnHover);
    EXPECT_FALSE(state->isCompactIndicatorRevealed());

    state->setCompactHovering(true);
    state->clearCompactHover();
    EXPECT_FALSE(state->isCompactIndicatorRevealed());
}

TEST_F(SurfaceStateTest, PendingHoverOutOutlivesTheState)
{
    state->setCompactHovering(true);
    state->setCompactHovering(false);
    state.reset();
    clock.advance(1s); // the sleep ends after its owner; nothing may touch it
    EXPECT_EQ(clock.pendingSleeps(), 0u);
}

TEST_F(SurfaceStateTest, HeightsAreSeededPerIdentityAndReportsFiltered)
{
    // Minimums: inset 32 + 150 is below 190; 32 + 260 below 300.
    EXPECT_EQ(state->minimumOverviewHeight(), 190);
    EXPECT_EQ(state->minimumFocusedHeight(), 300);

    state->setPresentation(OrrelPresentation::overview());
    state->prepareOverview(251);
    EXPECT_EQ(state->sizingIdentity(), u"overview"_s);
    EXPECT_EQ(state->requestedExpandedHeight(), 252);
    EXPECT_EQ(state->renderedExpandedHeight(), 252);
    EXPECT_EQ(state->visibleSize(), QSizeF(480, 252));

    // A second prepare for the same content keeps what the reports made of it.
    state->reportOverviewHeight(300);
    state->prepareOverview(200);
    EXPECT_EQ(state->requestedExpandedHeight(), 300);

    struct Report {
        double height;
        double requested;
    };
    const std::vector<Report> reports = {
        {302, 300}, // 2 points: ignored
        {304, 304}, // 4 points: applied
        {301, 304}, // rounds to 302
        {100, 190}, // clamped to the minimum
        {900, 400}, // and to the maximum
        {397, 400}, // rounds to 398
    };
    for (const auto& report : reports) {
        state->reportOverviewHeight(report.height);
        EXPECT_EQ(state->requestedExpandedHeight(), report.requested) << report.height;
    }
    state->updateRequestedHeight(397);
    EXPECT_EQ(state->requestedExpandedHeight(), 400);
    state->updateRequestedHeight(396);
    EXPECT_EQ(state->requestedExpandedHeight(), 396);

    state->prepareFocused(u"local:default/w1-3"_s, 120);
    EXPECT_EQ(state->sizingIdentity(), u"focused:local:default/w1-3"_s);
    EXPECT_EQ(state->requestedExpandedHeight(), 300);
    // Late reports of content no longer on show.
    state->reportOverviewHeight(360);
    state->reportFocusedHeight(u"local:default/w9-9"_s, 350, 20);
    EXPECT_EQ(state->requestedExpandedHeight(), 300);
    EXPECT_FALSE(state->focusedContentFloor());

    state->reportFocusedHeight(u"local:default/w1-3"_s, 311, 20);
    EXPECT_EQ(state->focusedContentFloor(), 311);
    EXPECT_EQ(state->requestedExpandedHeight(), 332);

    // Back to the overview: the floor of the card goes.
    state->prepareOverview(200);
    EXPECT_FALSE(state->focusedContentFloor());
    EXPECT_EQ(state->requestedExpandedHeight(), 200);
}

TEST_F(SurfaceStateTest, RenderedHeightDrivesTheExpandedSize)
{
    const auto sizeChanges = count(&OrrelSurfaceState::visibleSizeChanged);
    state->setPresentation(OrrelPresentation::focused({OrrelExpansionOrigin::manual, true}));
    EXPECT_EQ(*sizeChanges, 1);
    struct Step {
        double rendered;
        double applied;
        double visibleHeight;
    };
    const std::vector<Step> steps = {
        {0, 0, 1},   // at least 1 point
        {0.5, 0, 1}, // under 1 point: ignored
        {250.6, 250.6, 250}, {251.4, 250.6, 250},
        {251.7, 251.7, 252}, {999, 999, 400}, // at most the maximum
    };
    for (const auto& step : steps) {
        state->setRenderedExpandedHeight(step.rendered);
        EXPECT_EQ(state->renderedExpandedHeight(), step.applied) << step.rendered;
        EXPECT_EQ(state->visibleSize(), QSizeF(480, step.visibleHeight)) << step.rendered;
    }
    EXPECT_EQ(*sizeChanges, 4);

    // Collapsing shows the pill again, whatever height the card had.
    state->setPresentation(OrrelPresentation::compact());
    EXPECT_EQ(state->visibleSize(), QSizeF(200, 35));
    state->updateGeometry(OrrelGeometry::withoutHousing({1920, 1080}));
    EXPECT_EQ(state->visibleSize(), QSizeF(190, 3));
    EXPECT_EQ(*sizeChanges, 6);
}

} // namespace
