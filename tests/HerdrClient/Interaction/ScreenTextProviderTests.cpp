#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"
#include "HerdrClient/Interaction/ScreenCompletionSummaryProvider.h"
#include "HerdrClient/Interaction/ScreenRecentOutputProvider.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class ScreenTextProviderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        scenario = *FakeScenario::fromJSON(*JSONValue::parse(
            R"({"workspaces":[{"workspace_id":"w1"}],"tabs":[{"tab_id":"w1:t1","workspace_id":"w1"}],"panes":[
            {"pane_id":"w1:p1","tab_id":"w1:t1","agent":"claude","agent_status":"done"}]})"));
        FakeScreen screen;
        screen.visible = u"\x1b[1mtranscript\x1b[0m\n  ⏸ plan mode on (shift+tab to cycle)\n"_s;
        screen.recent = u"old line\n\n● All done: 3 files changed.\n  └ exit 0\n\n❯ \n"_s;
        scenario.setScreen(u"w1:p1"_s, screen);
        scenario.install(server);
        client = std::make_unique<HerdrClient>(HerdrEndpoint::unixSocket(server.socketPath()), 5.0);
    }

    QString lastParams() const
    {
        const auto requests = server.requests();
        return requests.empty() ? QString()
                                : QString::fromUtf8(requests.back().params.serialized());
    }

    FakeHerdrServer server;
    FakeScenario scenario;
    std::unique_ptr<HerdrClient> client;
};

} // namespace

TEST_F(ScreenTextProviderTest, EachReaderAsksHerdrForItsOwnText)
{
    ScreenCompletionSummaryProvider summaries(*client);
    EXPECT_EQ(runTask(summaries.completionSummary(u"w1:p1"_s)), u"All done: 3 files changed."_s);

    ScreenRecentOutputProvider recent(*client, 0, 3, 4096);
    EXPECT_EQ(runTask(recent.recentOutput(u"w1:p1"_s)),
              RecentOutputResult(u"❯ "_s)); // one line asked for
    EXPECT_EQ(
        lastParams(),
        uR"({"format":"text","lines":1,"pane_id":"w1:p1","source":"recent_unwrapped","strip_ansi":true})"_s);

    ScreenAgentModeProvider modes(*client);
    EXPECT_EQ(runTask(modes.mode(u"w1:p1"_s, u"claude"_s)), AgentModeReading(AgentMode::plan));
    server.clearRequests();
    EXPECT_EQ(runTask(modes.mode(u"w1:p1"_s, u"pi"_s)), AgentModeReading(std::nullopt));
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(ScreenTextProviderTest, FailedReads)
{
    // A summary is an extra: no error. Output and mode tell a failure from an empty screen, so
    // that the session can keep what it knew.
    ScreenCompletionSummaryProvider summaries(*client);
    ScreenRecentOutputProvider recent(*client);
    ScreenAgentModeProvider modes(*client);
    EXPECT_EQ(runTask(summaries.completionSummary(u"w1:p9"_s)), std::nullopt);
    const auto gone = runTask(recent.recentOutput(u"w1:p9"_s));
    ASSERT_FALSE(gone);
    EXPECT_EQ(gone.error().herdrError()->code, u"pane_not_found"_s);
    EXPECT_FALSE(runTask(modes.mode(u"w1:p9"_s, u"codex"_s)));

    server.setHandler(u"pane.read"_s, [](const FakeRequest&) {
        return FakeReply::result(JSONValue::object({{u"type"_s, u"pane_read"_s}}));
    });
    EXPECT_EQ(runTask(recent.recentOutput(u"w1:p1"_s)),
              RecentOutputResult(std::unexpected(RequestFailure(HerdrError::malformedResponse(
                  u"pane.read"_s, u"read: required key is missing"_s)))));
}

TEST_F(ScreenTextProviderTest, ReadsOutliveTheirProviderAndClient)
{
    auto summaries = std::make_unique<ScreenCompletionSummaryProvider>(*client);
    auto modes = std::make_unique<ScreenAgentModeProvider>(*client);
    auto summary = summaries->completionSummary(u"w1:p1"_s);
    auto mode = modes->mode(u"w1:p1"_s, u"claude"_s);
    summaries.reset();
    modes.reset();
    EXPECT_EQ(runTask(std::move(summary)), u"All done: 3 files changed."_s);
    EXPECT_EQ(runTask(std::move(mode)), AgentModeReading(AgentMode::plan));

    // Started after the client ended: nothing reaches herdr.
    ScreenRecentOutputProvider late(*client);
    client.reset();
    server.clearRequests();
    EXPECT_FALSE(runTask(late.recentOutput(u"w1:p1"_s)));
    EXPECT_TRUE(server.requests().empty());
}
