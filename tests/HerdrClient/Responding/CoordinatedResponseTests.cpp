#include "tests/HerdrClient/Responding/CoordinatorHarness.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace Qt::StringLiterals;

namespace {

const QString p1 = u"w1:p1"_s;
const QString staleMessage =
    u"This interaction changed before the response was sent. Nothing was sent."_s;

QCoro::Task<ActionSendResult> sendSucceeds()
{
    co_return {};
}

QCoro::Task<ActionSendResult> sendFails()
{
    co_return std::unexpected(ActionFailure(ActionError::interruptPaneUnreadable(u"w1:p1"_s)));
}

InteractionResponseOutcome success(std::optional<PendingInteraction> settled)
{
    return InteractionResponseResult{prompt(p1, u"Run tests?"_s), std::move(settled), {}};
}

InteractionResponseOutcome stale(const PendingInteraction& actual)
{
    return std::unexpected(InteractionResponseFailure(InteractionResponderError::staleInteraction(
        prompt(p1, u"Run tests?"_s).fingerprint(), actual)));
}

TEST(CoordinatedResponseTest, SecondClickWhileAResponseIsUnderWayIsRefusedSilently)
{
    CoordinatorHarness h;
    h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
    h.responder.hold = true;
    auto first = h.coordinator->respond(p1, InteractionResponseIntent::approve());
    EXPECT_EQ(h.state(p1).phase, PaneInteractionPhase::responding);

    EXPECT_FALSE(runTask(h.coordinator->respond(p1, InteractionResponseIntent::deny())));
    EXPECT_FALSE(h.state(p1).error.has_value());
    EXPECT_FALSE(runTask(h.coordinator->performManualAction(p1, [] { return sendSucceeds(); })));
    EXPECT_EQ(h.responder.requests.size(), 1u);

    h.responder.release();
    EXPECT_TRUE(runTask(std::move(first)));
    EXPECT_EQ(h.state(p1).phase, PaneInteractionPhase::idle);
}

TEST(CoordinatedResponseTest, RequestCarriesWhatThePersonSaw)
{
    CoordinatorHarness h;
    h.reader.screens[p1] = prompt(p1, u"Run tests?"_s);
    h.cycle({blockedPane(p1, 12)}, {p1});
    EXPECT_TRUE(runTask(h.coordinator->respond(p1, InteractionResponseIntent::selectChoice(1))));
    EXPECT_EQ(h.responder.requests,
              (std::vector{InteractionResponseRequest{
                  p1, u"claude"_s, 12, prompt(p1, u"Run tests?"_s).fingerprint(),
                  InteractionResponseIntent::selectChoice(1)}}));
}

// Whatever the outcome, a response that ends after the pane left and came back touches nothing
// of the new stay.
TEST(CoordinatedResponseTest, ResponseFinishingUnderANewGenerationChangesNothing)
{
    const std::pair<const char*, InteractionResponseOutcome> outcomes[] = {
        {"success with a settled prompt", success(prompt(p1, u"Settled"_s))},
        {"stale", stale(prompt(p1, u"Elsewhere"_s))},
        {"refused",
         std::unexpected(InteractionResponseFailure(InteractionPlanningError::missingCursor))},
    };
    for (const auto& [name, outcome] : outcomes) {
        SCOPED_TRACE(name);
        CoordinatorHarness h;
        h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
        ASSERT_TRUE(h.coordinator->setDraftText(u"typed"_s, p1));
        h.responder.hold = true;
        h.responder.outcome = outcome;
        auto response = h.coordinator->respond(p1, InteractionResponseIntent::approve());

        h.cycle({workingPane(p1)});
        h.reader.screens[p1] = prompt(p1, u"Second stay"_s);
        h.cycle({blockedPane(p1)}, {p1});
        const PaneInteractionState fresh = h.state(p1);
        ASSERT_EQ(fresh.blockedSequence, 2u);
        h.reader.readPanes.clear();

        h.responder.release();
        runTask(std::move(response));
        EXPECT_EQ(h.state(p1), fresh);
        EXPECT_TRUE(h.reader.readPanes.empty());
    }
}

TEST(CoordinatedResponseTest, PhaseReportForAnotherFingerprintIsIgnored)
{
    CoordinatorHarness h;
    h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
    std::vector<PaneInteractionPhase> seen;
    h.responder.afterPhase = [&](InteractionResponsePhase) { seen.push_back(h.state(p1).phase); };
    h.responder.outcome = success(prompt(p1, u"Next question"_s));
    h.reader.screens[p1] = prompt(p1, u"Next question"_s);
    EXPECT_TRUE(runTask(h.coordinator->respond(p1, InteractionResponseIntent::approve())));
    EXPECT_EQ(seen, (std::vector{PaneInteractionPhase::responding, PaneInteractionPhase::responding,
                                 PaneInteractionPhase::settling}));

    // A report that comes late, when the pane already shows the next prompt.
    runTask(h.responder.lastOnPhase(InteractionResponsePhase::settling));
    EXPECT_EQ(h.state(p1).phase, PaneInteractionPhase::idle);
    EXPECT_EQ(h.state(p1).interaction->title, u"Next question"_s);
}

TEST(CoordinatedResponseTest, StaleResponseShowsTheFreshPromptAndKeepsTheMessageThroughTheRefresh)
{
    CoordinatorHarness h;
    h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
    ASSERT_TRUE(h.coordinator->setDraftText(u"only for the tests"_s, p1));
    const PendingInteraction changed = prompt(p1, u"Deploy to production?"_s);
    h.responder.outcome = stale(changed);
    h.reader.screens[p1] = changed;
    h.reader.readPanes.clear();

    EXPECT_FALSE(runTask(h.coordinator->respond(p1, InteractionResponseIntent::approve())));
    const PaneInteractionState state = h.state(p1);
    EXPECT_EQ(state.interaction, changed);
    EXPECT_EQ(state.error, staleMessage);
    EXPECT_EQ(state.phase, PaneInteractionPhase::idle);
    EXPECT_EQ(h.reader.readPanes.size(), 1u); // the refresh did run
    EXPECT_EQ(state.draft.state, InteractionDraftState::stale);
    EXPECT_FALSE(h.coordinator->draftText(p1).has_value());
}

// A refused answer and a failed manual action both keep the prompt and the draft and say why.
TEST(CoordinatedResponseTest, FailuresLeaveThePromptAndDraftAndSayWhy)
{
    const auto respond = [](InteractionCoordinator& c) {
        return c.respond(p1, InteractionResponseIntent::approve());
    };
    // An opencode request answered meanwhile is stale with nothing in its place to show.
    InteractionResponderError answeredMeanwhile;
    answeredMeanwhile.expected = prompt(p1, u"Run tests?"_s).fingerprint();
    const std::tuple<std::function<QCoro::Task<bool>(InteractionCoordinator&)>,
                     InteractionResponseFailure, QString>
        cases[] = {
            {respond, InteractionPlanningError::terminalDraft,
             u"There's a draft in the terminal; answer there or clear it. Nothing was sent."_s},
            {respond, answeredMeanwhile, staleMessage},
            {[](InteractionCoordinator& c) {
                 return c.performManualAction(p1, [] { return sendFails(); });
             },
             InteractionPlanningError::terminalDraft,
             u"Couldn't confirm that pane w1:p1 is still working. Nothing was sent."_s},
        };
    for (const auto& [act, failure, message] : cases) {
        CoordinatorHarness h;
        h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
        ASSERT_TRUE(h.coordinator->setDraftText(u"typed"_s, p1));
        h.responder.outcome = std::unexpected(failure);
        EXPECT_FALSE(runTask(act(*h.coordinator)));
        EXPECT_EQ(h.state(p1).error, message);
        EXPECT_EQ(h.state(p1).interaction, prompt(p1, u"Run tests?"_s));
        EXPECT_EQ(h.state(p1).phase, PaneInteractionPhase::idle);
        EXPECT_EQ(h.coordinator->draftText(p1), u"typed"_s);
    }
}

TEST(CoordinatedResponseTest, OnlyAPreviewKeepsTheDraft)
{
    const std::pair<InteractionResponseIntent, std::optional<QString>> cases[] = {
        {InteractionResponseIntent::previewChoice(1), u"typed"_s},
        {InteractionResponseIntent::selectChoice(1), u""_s},
    };
    for (const auto& [intent, draft] : cases) {
        SCOPED_TRACE(intent.description().toStdString());
        CoordinatorHarness h;
        h.showPrompt(p1, prompt(p1, u"Run tests?"_s));
        ASSERT_TRUE(h.coordinator->setDraftText(u"typed"_s, p1));
        EXPECT_TRUE(runTask(h.coordinator->respond(p1, intent)));
        EXPECT_EQ(h.coordinator->draftText(p1), draft);
    }
}

TEST(CoordinatedResponseTest,
     ManualActionOnAPaneThatIsNotBlockedUsesGenerationZeroAndLeavesNoRecord)
{
    CoordinatorHarness h;
    h.cycle({workingPane(p1)});
    std::optional<PaneInteractionState> during;
    InteractionCoordinator* coordinator = h.coordinator.get();
    const bool done = runTask(h.coordinator->performManualAction(p1, [&during, coordinator] {
        during = coordinator->state(u"w1:p1"_s);
        return sendSucceeds();
    }));
    EXPECT_TRUE(done);
    ASSERT_TRUE(during.has_value());
    EXPECT_EQ(during->blockedSequence, 0u);
    EXPECT_EQ(during->phase, PaneInteractionPhase::responding);
    EXPECT_FALSE(h.coordinator->state(p1).has_value());
    EXPECT_TRUE(h.reader.readPanes.empty());

    // A later real stay still starts at generation 1.
    h.reader.screens[p1] = prompt(p1, u"Q"_s);
    h.cycle({blockedPane(p1)}, {p1});
    EXPECT_EQ(h.state(p1).blockedSequence, 1u);

    EXPECT_FALSE(
        runTask(h.coordinator->performManualAction(u"w1:p9"_s, [] { return sendSucceeds(); })));
}

TEST(CoordinatedResponseTest, ManualActionWithNothingOnShowSettlesOnTheSecondIdenticalRead)
{
    CoordinatorHarness h({4, false, 8, std::chrono::milliseconds(160)});
    h.cycle({blockedPane(p1)}, {p1}); // the first read fails: nothing on show
    ASSERT_FALSE(h.state(p1).interaction.has_value());

    h.reader.screens[p1] = prompt(p1, u"After the key"_s);
    h.reader.readPanes.clear();
    h.sleeps = 0;
    EXPECT_TRUE(runTask(h.coordinator->performManualAction(p1, [] { return sendSucceeds(); })));
    EXPECT_EQ(h.reader.readPanes.size(), 2u);
    EXPECT_EQ(h.sleeps, 2);
    EXPECT_EQ(h.state(p1).interaction->title, u"After the key"_s);
    EXPECT_EQ(h.state(p1).lastRefreshReason, InteractionRefreshReason::manualSettled);
    EXPECT_EQ(h.state(p1).phase, PaneInteractionPhase::idle);
}

} // namespace
