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
        scenario = *FakeScenario::fromJSON(*JSONValue::parse(R"({"workspaces":[{"workspace_id":"w1"}],"tabs":[{"tab_id":"w1:t1","workspace_id":"w1"}],"panes":[
            {"pane_id":"w1:p1","tab_id":"w1:t1","agent":"claude","agent_status":"done"},
            {"pane_id":"w1:p2","tab_id":"w1:t1","agent":"pi","agent_status":"working"}]})"));
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
        return requests.empty() ? QString() : QString::fromUtf8(requests.back().params.serialized());
    }

    FakeHerdrServer server;
    FakeScenario scenario;
    std::unique_ptr<HerdrClient> client;
};

} // namespace

TEST_F(ScreenTextProviderTest, CompletionSummaryReadsRecentUnwrappedText)
{
    ScreenCompletionSummaryProvider provider(*client);
    EXPECT_EQ(runTask(provider.completionSummary(u"w1:p1"_s)), u"All done: 3 files changed."_s);
    EXPECT_EQ(lastParams(),
              uR"({"format":"text","lines":80,"pane_id":"w1:p1","source":"recent_unwrapped","strip_ansi":true})"_s);

    ScreenCompletionSummaryProvider oneLine(*client, 0);
    EXPECT_EQ(oneLine.lineLimit(), 1);
    EXPECT_EQ(runTask(oneLine.completionSummary(u"w1:p1"_s)), std::nullopt); // only the input box
    EXPECT_TRUE(lastParams().contains(u"\"lines\":1,"_s));

    // A failed read is no summary, and no error.
    EXPECT_EQ(runTask(provider.completionSummary(u"w1:p9"_s)), std::nullopt);
}

TEST_F(ScreenTextProviderTest, RecentOutputIsCutForThePreview)
{
    ScreenRecentOutputProvider provider(*client, 40, 3, 4096);
    const auto output = runTask(provider.recentOutput(u"w1:p1"_s));
    ASSERT_TRUE(output);
    EXPECT_EQ(*output, u"  └ exit 0\n\n❯ "_s);
    EXPECT_EQ(lastParams(),
              uR"({"format":"text","lines":40,"pane_id":"w1:p1","source":"recent_unwrapped","strip_ansi":true})"_s);

    ScreenRecentOutputProvider clamped(*client, 0, -1, 0);
    EXPECT_EQ(std::tuple(clamped.requestLineLimit(), clamped.displayLineLimit(), clamped.characterLimit()),
              std::tuple(1, 1, 1));
}

TEST_F(ScreenTextProviderTest, RecentOutputFailuresCarryHerdrsReason)
{
    ScreenRecentOutputProvider provider(*client);
    const auto gone = runTask(provider.recentOutput(u"w1:p9"_s));
    ASSERT_FALSE(gone);
    ASSERT_NE(gone.error().herdrError(), nullptr);
    EXPECT_EQ(gone.error().herdrError()->code, u"pane_not_found"_s);

    server.setHandler(u"pane.read"_s, [](const FakeRequest&) {
        return FakeReply::result(JSONValue::object({{u"type"_s, u"pane_read"_s}}));
    });
    const auto empty = runTask(provider.recentOutput(u"w1:p1"_s));
    ASSERT_FALSE(empty);
    EXPECT_EQ(empty.error(), RequestFailure(HerdrError::malformedResponse(u"pane.read"_s)));
}

TEST_F(ScreenTextProviderTest, AgentModeReadsTheBottomOfTheVisibleScreen)
{
    ScreenAgentModeProvider provider(*client);
    const auto plan = runTask(provider.mode(u"w1:p1"_s, u"claude"_s));
    ASSERT_TRUE(plan);
    EXPECT_EQ(*plan, AgentMode::plan);
    EXPECT_EQ(lastParams(), uR"({"lines":16,"pane_id":"w1:p1","source":"visible"})"_s);

    // pi has no mode to read: no request at all.
    server.clearRequests();
    const auto pi = runTask(provider.mode(u"w1:p2"_s, u"pi"_s));
    ASSERT_TRUE(pi);
    EXPECT_EQ(*pi, std::nullopt);
    EXPECT_TRUE(server.requests().empty());

    // A screen without a mode and a failed read differ: the session forgets a mode only for
    // the first.
    FakeScreen plain;
    plain.visible = u"? for shortcuts"_s;
    scenario.setScreen(u"w1:p1"_s, plain);
    const auto none = runTask(provider.mode(u"w1:p1"_s, u"claude"_s));
    ASSERT_TRUE(none);
    EXPECT_EQ(*none, std::nullopt);
    EXPECT_FALSE(runTask(provider.mode(u"w1:p9"_s, u"codex"_s)));
}

TEST_F(ScreenTextProviderTest, ReadsOutliveTheirProviderAndClient)
{
    // Under way when the provider ends: the read finishes on what it took along.
    auto recent = std::make_unique<ScreenRecentOutputProvider>(*client, 40, 1, 4096);
    auto summary = std::make_unique<ScreenCompletionSummaryProvider>(*client);
    auto mode = std::make_unique<ScreenAgentModeProvider>(*client);
    auto output = recent->recentOutput(u"w1:p1"_s);
    auto summaryRead = summary->completionSummary(u"w1:p1"_s);
    auto modeRead = mode->mode(u"w1:p1"_s, u"claude"_s);
    recent.reset();
    summary.reset();
    mode.reset();
    EXPECT_EQ(runTask(std::move(output)), RecentOutputResult(u"❯ "_s));
    EXPECT_EQ(runTask(std::move(summaryRead)), u"All done: 3 files changed."_s);
    EXPECT_EQ(runTask(std::move(modeRead)), AgentModeReading(AgentMode::plan));

    // Started after the client ended: nothing reaches herdr.
    ScreenRecentOutputProvider late(*client);
    client.reset();
    server.clearRequests();
    EXPECT_FALSE(runTask(late.recentOutput(u"w1:p1"_s)));
    EXPECT_TRUE(server.requests().empty());
}
