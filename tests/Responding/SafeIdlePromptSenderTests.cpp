#include "HerdrClient/Responding/SafeIdlePromptSender.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <future>

using namespace Qt::StringLiterals;

namespace {

class SafeIdlePromptSenderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        scenario = *FakeScenario::fromJSON(*JSONValue::parse(R"({"workspaces":[{"workspace_id":"w1"}],"tabs":[{"tab_id":"w1:t1","workspace_id":"w1"}],"panes":[
            {"pane_id":"w1:p1","tab_id":"w1:t1","agent":"claude","agent_status":"idle"}]})"));
        scenario.install(server);
        client = std::make_unique<HerdrClient>(HerdrEndpoint::unixSocket(server.socketPath()), 5.0);
    }

    std::vector<QString> sent() const
    {
        std::vector<QString> lines;
        for (const FakeRequest& request : server.requests())
            lines.push_back(request.method + u' ' + QString::fromUtf8(request.params.serialized()));
        return lines;
    }

    FakeHerdrServer server;
    FakeScenario scenario;
    std::unique_ptr<HerdrClient> client;
};

const QString paneGet = uR"(pane.get {"pane_id":"w1:p1"})"_s;

} // namespace

TEST_F(SafeIdlePromptSenderTest, TypesAndSubmitsOnlyAfterHerdrConfirmsIdle)
{
    SafeIdlePromptSender sender(*client);
    EXPECT_TRUE(runTask(sender.sendPrompt(u"w1:p1"_s, u"Write the changelog"_s)).has_value());
    EXPECT_EQ(sent(), (std::vector<QString>{paneGet,
                                            uR"(pane.send_text {"pane_id":"w1:p1","text":"Write the changelog"})"_s,
                                            uR"(pane.send_keys {"keys":["enter"],"pane_id":"w1:p1"})"_s}));
}

TEST_F(SafeIdlePromptSenderTest, RefusalsSendNothing)
{
    struct Case {
        const char* name;
        std::function<void(FakeScenario&, FakeHerdrServer&)> arrange;
        QString message;
    };
    const auto status = [](AgentStatus s) {
        return [s](FakeScenario& scenario, FakeHerdrServer&) { scenario.setPaneStatus(u"w1:p1"_s, s); };
    };
    const auto getAnswers = [](FakeReply reply) {
        return [reply](FakeScenario&, FakeHerdrServer& server) {
            server.setHandler(u"pane.get"_s, [reply](const FakeRequest&) { return reply; });
        };
    };
    const QString unreadable = u"Couldn't confirm that pane w1:p1 is still idle. Nothing was sent."_s;
    const std::vector<Case> cases = {
        {"began working", status(AgentStatus::working), u"This agent is now working. Nothing was sent."_s},
        {"turned blocked", status(AgentStatus::blocked), u"This agent is now blocked. Nothing was sent."_s},
        {"done is not idle", status(AgentStatus::done), u"This agent is now done. Nothing was sent."_s},
        {"status unknown", status(AgentStatus::unknown), u"This agent is now unknown. Nothing was sent."_s},
        {"no pane key", getAnswers(FakeReply::result(JSONValue::object({{u"type"_s, u"pane_info"_s}}))), unreadable},
        {"pane not a record", getAnswers(FakeReply::result(JSONValue::object({{u"pane"_s, u"w1:p1"_s}}))), unreadable},
        {"pane record without an id",
         getAnswers(FakeReply::result(JSONValue::object({{u"pane"_s, JSONValue::object({{u"agent_status"_s, u"idle"_s}})}}))),
         unreadable},
    };
    for (const auto& c : cases) {
        server.clearRequests();
        c.arrange(scenario, server);
        SafeIdlePromptSender sender(*client);
        const auto refused = runTask(sender.sendPrompt(u"w1:p1"_s, u"go"_s));
        ASSERT_FALSE(refused) << c.name;
        ASSERT_NE(refused.error().senderError(), nullptr) << c.name;
        EXPECT_EQ(refused.error().errorDescription(), c.message) << c.name;
        EXPECT_EQ(sent(), std::vector<QString>{paneGet}) << c.name;
        scenario.install(server); // herdr's own answers again
        scenario.setPaneStatus(u"w1:p1"_s, AgentStatus::idle);
    }
}

TEST_F(SafeIdlePromptSenderTest, HerdrFailuresPassOnAndStopTheSend)
{
    SafeIdlePromptSender sender(*client);
    // Gone before the check: herdr's own error, nothing typed.
    const auto gone = runTask(sender.sendPrompt(u"w1:p9"_s, u"go"_s));
    ASSERT_FALSE(gone);
    ASSERT_NE(gone.error().actionFailure(), nullptr);
    ASSERT_NE(gone.error().actionFailure()->requestFailure(), nullptr);
    EXPECT_EQ(gone.error().actionFailure()->requestFailure()->herdrError()->code, u"pane_not_found"_s);
    EXPECT_EQ(sent(), std::vector<QString>{uR"(pane.get {"pane_id":"w1:p9"})"_s});

    // Text refused: Enter never follows, or it would submit whatever stood in the input.
    server.clearRequests();
    server.setHandler(u"pane.send_text"_s, [](const FakeRequest&) {
        return FakeReply::error(u"invalid_text"_s, u"text contains an unsupported key"_s);
    });
    const auto refused = runTask(sender.sendPrompt(u"w1:p1"_s, u"go"_s));
    ASSERT_FALSE(refused);
    ASSERT_NE(refused.error().actionFailure(), nullptr);
    EXPECT_TRUE(refused.error().actionFailure()->isKeysRejected());
    EXPECT_EQ(sent().size(), 2u);
    EXPECT_EQ(sent().back().left(14), u"pane.send_text"_s);
}

TEST_F(SafeIdlePromptSenderTest, ASendOutlivesItsSenderButNotItsClient)
{
    auto sender = std::make_unique<SafeIdlePromptSender>(*client);
    auto sending = sender->sendPrompt(u"w1:p1"_s, u"go"_s);
    sender.reset();
    EXPECT_TRUE(runTask(std::move(sending)).has_value());
    EXPECT_EQ(sent().size(), 3u);

    // The client ends while herdr answers the check: the answer says idle, yet nothing is typed.
    server.clearRequests();
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    server.setHandler(u"pane.get"_s, [released](const FakeRequest&) {
        released.wait_for(std::chrono::seconds(5));
        return FakeReply::result(*JSONValue::parse(
            R"({"type":"pane_info","pane":{"pane_id":"w1:p1","terminal_id":"t1","workspace_id":"w1","tab_id":"w1:t1","focused":false,"agent_status":"idle","revision":0}})"));
    });
    SafeIdlePromptSender late(*client);
    auto pending = late.sendPrompt(u"w1:p1"_s, u"go"_s);
    ASSERT_TRUE(server.waitForRequests(1, std::chrono::seconds(5)));
    client.reset();
    release.set_value();
    const auto result = runTask(std::move(pending));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), IdlePromptSendFailure(ActionFailure(RequestFailure(SocketError::closed()))));
    EXPECT_EQ(sent(), std::vector<QString>{paneGet});
}
