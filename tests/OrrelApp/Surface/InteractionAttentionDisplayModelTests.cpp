#include "OrrelApp/Surface/InteractionAttentionDisplayModel.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const Timestamp now = Timestamp(std::chrono::seconds(1'800'000'000));

InteractionAttentionDisplayModel::Input input(RollupStatus status,
                                              std::optional<PaneInteractionState> state = {})
{
    InteractionAttentionDisplayModel::Input result;
    result.ref = {u"local:default"_s, u"w1-3"_s};
    result.taskTitle = u"Fix the parser"_s;
    result.agentName = u"claude"_s;
    result.workspaceLabel = u"api"_s;
    result.tabTitle = u"Tab 2"_s;
    result.status = status;
    result.state = std::move(state);
    result.now = now;
    return result;
}

PaneInteractionState stateWith(std::optional<PendingInteraction> interaction = {},
                               PaneInteractionPhase phase = PaneInteractionPhase::idle)
{
    PaneInteractionState state;
    state.paneID = u"w1-3"_s;
    state.interaction = std::move(interaction);
    state.phase = phase;
    return state;
}

PendingInteraction prompt(InteractionKind kind)
{
    PendingInteraction interaction;
    interaction.paneID = u"w1-3"_s;
    interaction.kind = kind;
    interaction.title = u"  Deploy\n now? "_s;
    interaction.body = u"body"_s;
    return interaction;
}

TEST(InteractionAttentionDisplayModel, Duration)
{
    struct Case {
        std::chrono::milliseconds span;
        QString text;
    };
    const std::vector<Case> cases = {
        {0s, u"<1m"_s},       {59s, u"<1m"_s},   {59'999ms, u"<1m"_s}, {-5min, u"<1m"_s},
        {60s, u"1m"_s},       {3599s, u"59m"_s}, {3600s, u"1h"_s},     {3900s, u"1h 5m"_s},
        {7199s, u"1h 59m"_s}, {26h, u"26h"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(InteractionAttentionDisplayModel::duration(now, now + c.span), c.text)
            << c.span.count() << " ms";
}

TEST(InteractionAttentionDisplayModel, ElapsedAndFreshness)
{
    struct Case {
        std::optional<std::chrono::seconds> readAgo;
        std::optional<QString> freshness;
    };
    const std::vector<Case> cases = {
        {std::nullopt, std::nullopt}, {59s, u"fresh <1m"_s},
        {-30s, u"fresh <1m"_s}, // a read stamped in the future, from a clock that jumped
        {60s, u"read 1m ago"_s},      {3900s, u"read 1h 5m ago"_s},
    };
    for (const auto& c : cases) {
        auto state = stateWith();
        if (c.readAgo)
            state.lastReadAt = now - *c.readAgo;
        const auto model = InteractionAttentionDisplayModel::make(input(RollupStatus::idle, state));
        EXPECT_EQ(model.freshnessText, c.freshness)
            << (c.readAgo ? c.readAgo->count() : -1) << " s";
    }
    EXPECT_FALSE(InteractionAttentionDisplayModel::make(input(RollupStatus::idle)).freshnessText);

    auto withSince = input(RollupStatus::working);
    EXPECT_FALSE(InteractionAttentionDisplayModel::make(withSince).elapsedText);
    withSince.activeSince = now - 3900s;
    EXPECT_EQ(InteractionAttentionDisplayModel::make(withSince).elapsedText, u"1h 5m elapsed"_s);
}

TEST(InteractionAttentionDisplayModel, StateTextAndSummaryFirstMatchWins)
{
    using Phase = PaneInteractionPhase;
    const auto question = prompt(InteractionKind::question);
    auto errorState = stateWith(question, Phase::reading);
    errorState.error = u"Pane\n  vanished"_s;
    auto blankError = stateWith();
    blankError.error = u"  "_s;
    auto staleDraft = stateWith(question, Phase::responding);
    staleDraft.draft.state = InteractionDraftState::stale;
    auto withProgress = prompt(InteractionKind::question);
    withProgress.progress = InteractionProgress{1, 3, std::nullopt};
    auto bodyOnly = prompt(InteractionKind::approval);
    bodyOnly.title = u" "_s;
    bodyOnly.body = u"Allow\tbash?"_s;
    auto empty = prompt(InteractionKind::approval);
    empty.title.reset();
    empty.body.reset();

    struct Case {
        const char* name;
        RollupStatus status;
        std::optional<PaneInteractionState> state;
        QString stateText;
        QString summary;
        std::optional<QString> completion = {};
    };
    using enum RollupStatus;
    const auto none = std::nullopt;
    const std::vector<Case> cases = {
        {"error first", blocked, errorState, u"error"_s, u"Pane vanished"_s},
        {"blank error ignored", idle, blankError, u"idle"_s, u"No pending interaction."_s},
        {"stale draft", blocked, staleDraft, u"draft needs review"_s,
         u"The saved draft belongs to an earlier prompt."_s},
        {"reading", blocked, stateWith(question, Phase::reading), u"reading"_s,
         u"Reading the live prompt…"_s},
        {"responding", blocked, stateWith({}, Phase::responding), u"responding"_s,
         u"Revalidating and sending…"_s},
        {"settling", blocked, stateWith({}, Phase::settling), u"settling"_s,
         u"Waiting for the terminal to settle…"_s},
        {"unknown prompt", blocked, stateWith(prompt(InteractionKind::unknown)), u"manual input"_s,
         u"Deploy now?"_s},
        {"progress first", blocked, stateWith(withProgress), u"needs input"_s, u"Question 1/3"_s},
        {"body after blank title", done, stateWith(bodyOnly), u"needs input"_s, u"Allow bash?"_s},
        {"nothing to say", blocked, stateWith(empty), u"needs input"_s,
         u"Prompt is ready for review."_s},
        {"finished with summary", done, stateWith(), u"finished"_s, u"All tests pass"_s,
         u"All\n tests pass"_s},
        {"finished without", done, none, u"finished"_s,
         u"Finished. Jump to review the final output."_s},
        {"idle", idle, none, u"idle"_s, u"No pending interaction."_s},
        {"unknown", unknown, none, u"unknown"_s, u"No pending interaction."_s},
        {"working", working, none, u"working"_s, u"Agent is working — no input needed."_s},
        {"blocked before a read", blocked, stateWith(), u"needs input"_s,
         u"Reading the live prompt…"_s},
    };
    for (const auto& c : cases) {
        auto in = input(c.status, c.state);
        in.completionSummary = c.completion;
        const auto model = InteractionAttentionDisplayModel::make(in);
        EXPECT_EQ(model.stateText, c.stateText) << c.name;
        EXPECT_EQ(model.summary, c.summary) << c.name;
    }
}

TEST(InteractionAttentionDisplayModel, IdentityAndAccessibilityLabel)
{
    auto in = input(RollupStatus::working);
    in.modelName = u"gpt-5"_s;
    in.sessionLabel = u"build box"_s;
    in.activeSince = now - 120s;
    auto state = stateWith();
    state.lastReadAt = now - 10s;
    in.state = state;
    const auto model = InteractionAttentionDisplayModel::make(in);
    EXPECT_EQ(model.id(), u"local:default/w1-3"_s);
    EXPECT_EQ(model.accessibilityLabel(),
              u"claude, in api, Tab 2, gpt-5, session build box, pane w1-3, working, "
              "Agent is working — no input needed., 2m elapsed, fresh <1m"_s);

    const auto bare = InteractionAttentionDisplayModel::make(input(RollupStatus::idle));
    EXPECT_EQ(bare.accessibilityLabel(),
              u"claude, in api, Tab 2, pane w1-3, idle, No pending interaction."_s);
}

} // namespace
