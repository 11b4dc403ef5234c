#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class CountingPresenter : public TerminalPresenting {
public:
    int calls = 0;
    TerminalPresentation present() override
    {
        ++calls;
        return TerminalPresentation::presented(u"XTerm"_s);
    }
};

QCoro::Task<> noSleep(Seconds)
{
    co_return;
}

class ActionsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        scenario = *FakeScenario::fromJSON(*JSONValue::parse(
            R"({"workspaces":[{"workspace_id":"w1"}],"tabs":[{"tab_id":"w1:t1","workspace_id":"w1"}],"panes":[
            {"pane_id":"w1:p1","tab_id":"w1:t1","agent":"claude","agent_status":"working"},
            {"pane_id":"w1:p2","tab_id":"w1:t1","agent":"pi","agent_status":"blocked"},
            {"pane_id":"w1:p3","tab_id":"w1:t1","agent":"codex","agent_status":"idle"}]})"));
        scenario.install(server);
        client = std::make_unique<HerdrClient>(HerdrEndpoint::unixSocket(server.socketPath()), 5.0);
    }

    // Methods and params of every request after the first `skip`, as compact text.
    std::vector<QString> sent(std::size_t skip = 0) const
    {
        std::vector<QString> lines;
        const auto requests = server.requests();
        for (std::size_t i = skip; i < requests.size(); ++i)
            lines.push_back(requests[i].method + u' '
                            + QString::fromUtf8(requests[i].params.serialized()));
        return lines;
    }

    FakeHerdrServer server;
    FakeScenario scenario;
    CountingPresenter presenter;
    std::unique_ptr<HerdrClient> client;
    Actions actions() { return Actions(*client, &presenter, Clock{Clock::system().now, &noSleep}); }
};

TEST_F(ActionsTest, InterruptSendsOneEscapeOnlyToAWorkingPane)
{
    EXPECT_TRUE(runTask(actions().interrupt(u"w1:p1"_s)).has_value());
    EXPECT_EQ(sent(),
              (std::vector<QString>{uR"(pane.get {"pane_id":"w1:p1"})"_s,
                                    uR"(pane.send_keys {"keys":["esc"],"pane_id":"w1:p1"})"_s}));

    server.clearRequests();
    const auto idle = runTask(actions().interrupt(u"w1:p3"_s));
    ASSERT_FALSE(idle);
    EXPECT_EQ(idle.error().errorDescription(), u"This agent is now idle. Nothing was sent."_s);

    const auto gone = runTask(actions().interrupt(u"w1:p9"_s));
    ASSERT_FALSE(gone);
    ASSERT_NE(gone.error().requestFailure(), nullptr);
    EXPECT_EQ(gone.error().requestFailure()->herdrError()->code, u"pane_not_found"_s);
    EXPECT_EQ(sent(), (std::vector<QString>{uR"(pane.get {"pane_id":"w1:p3"})"_s,
                                            uR"(pane.get {"pane_id":"w1:p9"})"_s}));
}

TEST_F(ActionsTest, MessagesGoOnlyToPanesWithoutAPromptOfTheirOwn)
{
    const auto blocked = runTask(actions().sendMessage(u"w1:p2"_s, u"hello"_s));
    ASSERT_FALSE(blocked);
    EXPECT_EQ(
        blocked.error().errorDescription(),
        u"The orchestrator is showing its own prompt. Answer it or Jump first. Nothing was sent."_s);
    EXPECT_EQ(sent().size(), 1u);

    EXPECT_TRUE(runTask(actions().sendMessage(u"w1:p3"_s, u"go on"_s)).has_value());
    EXPECT_EQ(sent(1),
              (std::vector<QString>{uR"(pane.get {"pane_id":"w1:p3"})"_s,
                                    uR"(pane.send_text {"pane_id":"w1:p3","text":"go on"})"_s,
                                    uR"(pane.send_keys {"keys":["enter"],"pane_id":"w1:p3"})"_s}));
}

TEST_F(ActionsTest, JumpFocusesTwiceAroundTheTerminal)
{
    const auto jumped = runTask(actions().jump(u"w1:p3"_s));
    ASSERT_TRUE(jumped);
    EXPECT_EQ(jumped->kind, ActionResult::Kind::jumped);
    EXPECT_EQ(jumped->terminal, TerminalPresentation::presented(u"XTerm"_s));
    EXPECT_EQ(presenter.calls, 1);
    const QString workspace = uR"(workspace.focus {"workspace_id":"w1"})"_s;
    const QString tab = uR"(tab.focus {"tab_id":"w1:t1"})"_s;
    const QString focus = uR"(pane.focus {"pane_id":"w1:p3"})"_s;
    EXPECT_EQ(sent(), (std::vector{uR"(pane.get {"pane_id":"w1:p3"})"_s, workspace, tab, focus,
                                   workspace, tab, focus}));

    // Both ids given: no look-up.
    server.clearRequests();
    EXPECT_TRUE(runTask(actions().jump(u"w1:p3"_s, u"w1"_s, u"w1:t1"_s)).has_value());
    EXPECT_EQ(sent().front(), workspace);
}

TEST_F(ActionsTest, JumpIntoADetachedSessionNeedsAttachAndShowsNoTerminal)
{
    server.setHandler(u"pane.focus"_s, [](const FakeRequest&) {
        return FakeReply::error(u"session_detached"_s, u"no client attached"_s);
    });
    const auto jumped = runTask(actions().jump(u"w1:p1"_s, u"w1"_s, u"w1:t1"_s));
    ASSERT_TRUE(jumped);
    EXPECT_EQ(jumped->kind, ActionResult::Kind::needsAttach);
    EXPECT_EQ(presenter.calls, 0);

    server.setHandler(u"pane.focus"_s, [](const FakeRequest&) {
        return FakeReply::error(u"pane_not_found"_s, u"pane w1:p1 not found"_s);
    });
    EXPECT_FALSE(runTask(actions().jump(u"w1:p1"_s, u"w1"_s, u"w1:t1"_s)).has_value());
    EXPECT_EQ(presenter.calls, 0);
}

} // namespace
