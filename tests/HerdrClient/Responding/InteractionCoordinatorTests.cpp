#include "tests/HerdrClient/Responding/CoordinatorHarness.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString p1 = u"w1:p1"_s;
const QString p2 = u"w1:p2"_s;

TEST(InteractionCoordinatorTest, ReadOfAnOlderGenerationIsDroppedWhenThePaneCameBack)
{
    CoordinatorHarness h;
    h.reader.holdReads = true;
    h.reader.script = {prompt(p1, u"old"_s), prompt(p1, u"new"_s)};
    auto first = h.coordinator->reconcile({blockedPane(p1)}, {p1}, false, true);
    EXPECT_EQ(h.state(p1).phase, PaneInteractionPhase::reading);

    EXPECT_EQ(h.cycle({workingPane(p1)}).removedPaneIDs, std::vector{p1});
    auto second = h.coordinator->reconcile({blockedPane(p1)}, {p1}, false, true);
    EXPECT_EQ(h.state(p1).blockedSequence, 2u);

    h.reader.releaseReads();
    EXPECT_TRUE(runTask(std::move(first)).refreshedPaneIDs.empty());
    EXPECT_EQ(runTask(std::move(second)).refreshedPaneIDs, std::vector{p1});
    EXPECT_EQ(h.state(p1).interaction->title, u"new"_s);
    EXPECT_EQ(h.state(p1).phase, PaneInteractionPhase::idle);
}

TEST(InteractionCoordinatorTest, FailedReadKeepsThePromptOnShowAndAddsTheError)
{
    CoordinatorHarness h;
    h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
    h.reader.screens.clear();
    runTask(h.coordinator->select(p1));

    const PaneInteractionState state = h.state(p1);
    EXPECT_EQ(state.interaction->title, u"Run tests?"_s);
    EXPECT_EQ(state.error, u"Couldn't read the screen of pane w1:p1."_s);
    EXPECT_EQ(state.phase, PaneInteractionPhase::idle);

    // The next good read clears it.
    h.reader.screens[p1] = prompt(p1, u"Run tests?"_s);
    runTask(h.coordinator->select(p1));
    EXPECT_FALSE(h.state(p1).error.has_value());
}

// Which of eight further counted cycles re-read a waiting pane whose revision stays put.
TEST(InteractionCoordinatorTest, FallbackCadenceFollowsRevisionReliability)
{
    struct Case {
        const char* name;
        bool revisionReliable;
        std::optional<quint64> revision;
        int fallbackPollInterval;
        std::size_t expectedReads;
    };
    const Case cases[] = {
        {"herdr revisions (unreliable) still poll", false, 7, 4, 2},
        {"reliable revisions are trusted", true, 7, 4, 0},
        {"no revision means polling", true, std::nullopt, 4, 2},
        {"an interval of 0 is 1", false, 7, 0, 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CoordinatorHarness h({c.fallbackPollInterval, c.revisionReliable, 8, {}});
        h.reader.screens[p1] = prompt(p1, u"Run tests?"_s);
        h.cycle({blockedPane(p1, c.revision)}, {p1});
        h.reader.readPanes.clear();
        for (int i = 0; i < 8; ++i)
            h.cycle({blockedPane(p1, c.revision)});
        EXPECT_EQ(h.reader.readPanes.size(), c.expectedReads);
    }
}

TEST(InteractionCoordinatorTest, RevisionChangeReadsEvenOnACycleThatDoesNotCount)
{
    CoordinatorHarness h({4, true, 8, {}});
    h.reader.screens[p1] = prompt(p1, u"Run tests?"_s);
    h.cycle({blockedPane(p1, 7)}, {p1});
    h.reader.screens[p1] = prompt(p1, u"Deploy?"_s);

    EXPECT_TRUE(h.cycle({blockedPane(p1, 7)}, {}, false).refreshedPaneIDs.empty());
    EXPECT_EQ(h.cycle({blockedPane(p1, 8)}, {}, false).refreshedPaneIDs, std::vector{p1});
    EXPECT_EQ(h.state(p1).lastRefreshReason, InteractionRefreshReason::revisionChanged);
    EXPECT_EQ(h.state(p1).lastRevision, 8u);
}

TEST(InteractionCoordinatorTest,
     SelectedPaneIsReadOnEveryCountedCycleAndAnIdenticalReadChangesNothing)
{
    CoordinatorHarness h({4, true, 8, {}});
    h.reader.screens[p1] = prompt(p1, u"Run tests?"_s);
    h.cycle({blockedPane(p1, 7)}, {p1});
    runTask(h.coordinator->select(p1));
    h.cycle({blockedPane(p1, 7)});
    EXPECT_EQ(h.state(p1).lastRefreshReason, InteractionRefreshReason::selected);
    const PaneInteractionState before = h.state(p1);
    h.clock.advance(Seconds(5));
    int changes = 0;
    QObject::connect(h.coordinator.get(), &InteractionCoordinator::stateChanged,
                     [&] { ++changes; });

    h.reader.readPanes.clear();
    h.cycle({blockedPane(p1, 7)});
    h.cycle({blockedPane(p1, 7)}, {}, false);
    EXPECT_EQ(h.reader.readPanes.size(), 1u);
    EXPECT_EQ(h.state(p1).lastReadAt, before.lastReadAt);
    EXPECT_EQ(changes, 0);
}

TEST(InteractionCoordinatorTest, PaneThatIsRespondingIsNotReadByTheCycle)
{
    CoordinatorHarness h;
    h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
    runTask(h.coordinator->select(p1));
    h.responder.hold = true;
    auto response = h.coordinator->respond(p1, InteractionResponseIntent::approve());
    h.reader.readPanes.clear();
    h.cycle({blockedPane(p1, 99)});
    EXPECT_TRUE(h.reader.readPanes.empty());
    h.responder.release();
    EXPECT_TRUE(runTask(std::move(response)));
}

TEST(InteractionCoordinatorTest, SelectionOfAResolvedPane)
{
    struct Case {
        const char* name;
        bool preserve;
        bool stillPresent;
        bool selectionKept;
    };
    const Case cases[] = {
        {"preserved while present", true, true, true},
        {"cleared when gone although preserved", true, false, false},
        {"cleared without preservation", false, true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CoordinatorHarness h;
        h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
        runTask(h.coordinator->select(p1));
        std::vector<InteractionPaneSnapshot> panes;
        if (c.stillPresent)
            panes.push_back(workingPane(p1));
        const auto result = h.cycle(panes, {}, true, c.preserve);
        EXPECT_EQ(result.removedPaneIDs, std::vector{p1});
        EXPECT_EQ(h.coordinator->selectedPaneID().has_value(), c.selectionKept);
        EXPECT_FALSE(h.coordinator->state(p1).has_value());
    }
}

TEST(InteractionCoordinatorTest, GenerationsFollowTheCallersOrderAndAttentionShowsNewestFirst)
{
    CoordinatorHarness h;
    const QString p3 = u"w1:p3"_s;
    for (const QString& pane : {p1, p2, p3})
        h.reader.screens[pane] = prompt(pane, u"Q"_s);
    // p3 and p1 are named as newly blocked in that order; p2 is found by the walk.
    const auto result = h.cycle({blockedPane(p1), blockedPane(p2), blockedPane(p3)}, {p3, p1, p3});
    EXPECT_EQ(result.refreshedPaneIDs, (std::vector{p3, p1, p2}));
    EXPECT_EQ(h.state(p3).blockedSequence, 1u);
    EXPECT_EQ(h.state(p1).blockedSequence, 2u);
    EXPECT_EQ(h.state(p2).blockedSequence, 3u);
    EXPECT_EQ(h.coordinator->attentionOrder(), (std::vector{p2, p1, p3}));
    runTask(h.coordinator->select(p3));
    EXPECT_EQ(h.coordinator->attentionOrder(), (std::vector{p3, p2, p1}));
}

TEST(InteractionCoordinatorTest, CompletionSummaryIsKeptOnlyForAPaneAtRest)
{
    CoordinatorHarness h;
    h.cycle({{p1, u"claude"_s, std::nullopt, false, false}, workingPane(p2)});
    h.coordinator->cacheCompletionSummary(u"  Done: 3 files changed\n"_s, p1);
    h.coordinator->cacheCompletionSummary(u"Working"_s, p2);
    h.coordinator->cacheCompletionSummary(u"   "_s, u"w1:p9"_s);
    EXPECT_EQ(h.coordinator->completionSummary(p1), u"Done: 3 files changed"_s);
    EXPECT_FALSE(h.coordinator->completionSummary(p2).has_value());

    h.cycle({workingPane(p1)});
    EXPECT_FALSE(h.coordinator->completionSummary(p1).has_value());
}

} // namespace
