// The whole cycle of a session, from a poll or an event to attention, prompts, activity,
// agent modes and completion summaries.
#include "tests/OrrelApp/Sessions/SessionRuntimeFixture.h"
#include "tests/support/FakeOpenCodeServer.h"

namespace {

const QString codexWorking =
    u"• Running the test suite\n  └ 12 passed\n\n› Find and fix a bug in @filename\n\n"
    u"  ⏵⏵ accept edits on (shift+tab to cycle)\n"_s;
const QString codexFinished =
    u"• Ran npm test\n  └ 12 passed\n\n• All twelve tests pass and the build is green.\n\n"
    u"› Find and fix a bug in @filename\n"_s;

class SessionReactionTest : public SessionRuntimeTest {
protected:
    // The agent mode is read from the last 16 visible lines; no other read asks for those.
    std::size_t modeReads() const
    {
        std::size_t count = 0;
        for (const auto& request : server.requestsFor(u"pane.read"_s)) {
            const JSONValue* lines = request.params.member(u"lines");
            if (lines && lines->intValue() == 16)
                ++count;
        }
        return count;
    }
};

TEST_F(SessionReactionTest, APollRunsEveryReactionBeforeTheHostHears)
{
    scenario.setScreen(u"w1:p2"_s, FakeScreen{codexWorking, {}, {}});
    SessionRuntime& r = make();
    host.preserve = true;
    runTask(r.select(u"w1:p2"_s), 5s);
    r.start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));

    const auto prompt = r.interactions().state(u"w1:p1"_s);
    ASSERT_TRUE(prompt && prompt->interaction);
    EXPECT_EQ(prompt->interaction->kind, InteractionKind::approval);
    const auto activity = r.activity().state(u"w1:p2"_s);
    ASSERT_TRUE(activity && activity->recentOutput);
    EXPECT_TRUE(activity->recentOutput->contains(u"12 passed"_s));
    EXPECT_EQ(r.agentModesByPane(),
              (std::map<QString, AgentMode>{{u"w1:p2"_s, AgentMode::acceptEdits}}));
    EXPECT_FALSE(r.activity().state(u"w2:p1"_s)) << "only the selected pane is read";

    // The agent finishes: the next poll keeps the sentence it ended its turn with.
    scenario.setScreen(u"w1:p2"_s, FakeScreen{codexFinished, {}, {}});
    scenario.setPaneStatus(u"w1:p2"_s, AgentStatus::done);
    clock.advance(0.65s);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 2; }));
    EXPECT_EQ(host.cycles[1].transitions.newlyFinishedPaneIDs, std::vector<QString>{u"w1:p2"_s});
    EXPECT_EQ(r.interactions().completionSummary(u"w1:p2"_s),
              u"All twelve tests pass and the build is green."_s);
    EXPECT_EQ(requestCount(u"pane.send_keys"_s) + requestCount(u"pane.send_text"_s), 0u);
}

TEST_F(SessionReactionTest, AStatusEventIsACycleOfItsOwnThatReadsPromptsAndSummariesButNoMode)
{
    scenario.setScreen(u"w1:p2"_s, FakeScreen{codexWorking, {}, {}});
    make();
    host.preserve = true;
    runTask(runtime->select(u"w1:p2"_s), 5s);
    runtime->start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));
    runtime->startEventTask(true);
    ASSERT_TRUE(server.waitForSubscribers(1, 5s));
    ASSERT_EQ(runtime->agentModesByPane().size(), 1u);
    const std::size_t modesRead = modeReads();
    const std::size_t polls = requestCount(u"session.snapshot"_s);

    scenario.setScreen(u"w1:p2"_s, FakeScreen{codexFinished, {}, {}});
    scenario.setPaneStatus(u"w1:p2"_s, AgentStatus::done);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 2; }));
    EXPECT_EQ(host.cycles[1].transitions.newlyFinishedPaneIDs, std::vector<QString>{u"w1:p2"_s});
    EXPECT_EQ(runtime->interactions().completionSummary(u"w1:p2"_s),
              u"All twelve tests pass and the build is green."_s);

    scenario.setScreen(u"w2:p1"_s,
                       FakeScreen{u"Allow the agent to run `rm -rf build`?\n"_s, {}, {}});
    scenario.setPaneStatus(u"w2:p1"_s, AgentStatus::blocked);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 3; }));
    EXPECT_EQ(host.cycles[2].transitions.newlyBlockedPaneIDs, std::vector<QString>{u"w2:p1"_s});
    EXPECT_EQ(runtime->blockedRootPaneIDs(), (std::vector<QString>{u"w1:p1"_s, u"w2:p1"_s}));
    EXPECT_TRUE(runtime->interactions().state(u"w2:p1"_s)) << "a newly blocked pane is read";
    EXPECT_EQ(requestCount(u"session.snapshot"_s), polls) << "the events alone ran the cycles";
    EXPECT_EQ(modeReads(), modesRead);
}

TEST_F(SessionReactionTest, AnOpenCodePaneIsReadFromItsOwnServerAndNeverFromItsScreen)
{
    FakeOpenCodeServer openCode;
    ASSERT_TRUE(openCode.start());
    openCode.setPermissions(JSONValue::array(
        {JSONValue::object({{u"id"_s, u"per_1"_s},
                            {u"sessionID"_s, u"ses_1"_s},
                            {u"permission"_s, u"bash"_s},
                            {u"patterns"_s, JSONValue::array({u"git push"_s})},
                            {u"always"_s, JSONValue::array({u"git push *"_s})}})}));
    scenario.addPane(JSONValue::object(
        {{u"pane_id"_s, u"w2:p2"_s},
         {u"agent"_s, u"opencode"_s},
         {u"agent_status"_s, u"blocked"_s},
         {u"tokens"_s, JSONValue::object({{u"opencode_url"_s, openCode.url()},
                                          {u"opencode_session"_s, u"ses_1"_s}})}}));
    make().start(&host);
    ASSERT_TRUE(processEventsUntil([&] { return host.cycles.size() == 1; }));

    const auto native = runtime->interactions().state(u"w2:p2"_s);
    ASSERT_TRUE(native && native->interaction);
    EXPECT_EQ(native->interaction->evidence.source, InteractionSourceKind::native);
    for (const auto& read : server.requestsFor(u"pane.read"_s))
        EXPECT_NE(read.params.member(u"pane_id")->stringValue(), u"w2:p2"_s);
    // The screen panes keep their screen path.
    const auto screen = runtime->interactions().state(u"w1:p1"_s);
    ASSERT_TRUE(screen && screen->interaction);
    EXPECT_EQ(screen->interaction->evidence.source, InteractionSourceKind::screen);
}

} // namespace
