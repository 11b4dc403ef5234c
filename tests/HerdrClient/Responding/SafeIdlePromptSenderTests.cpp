#include "HerdrClient/Responding/SafeIdlePromptSender.h"
#include "tests/HerdrClient/Responding/ResponderHarness.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <future>

using namespace Qt::StringLiterals;

namespace {

using Sends = std::vector<std::pair<QString, JSONValue>>;

class SafeIdlePromptSenderTest : public ::testing::Test {
protected:
    void SetUp() override { herdr.scenario.setPaneStatus(pane, AgentStatus::idle); }

    void answerPaneGet(JSONValue result)
    {
        herdr.server.setHandler(u"pane.get"_s,
                                [result](const FakeRequest&) { return FakeReply::result(result); });
    }

    const QString pane = u"w1:p1"_s;
    FakeHerdrPane herdr;
};

} // namespace

TEST_F(SafeIdlePromptSenderTest,
       TypesAndSubmitsOnlyAfterHerdrConfirmsIdleEvenIfTheSenderEndedMeanwhile)
{
    auto sender = std::make_unique<SafeIdlePromptSender>(*herdr.client);
    auto sending = sender->sendPrompt(pane, u"Write the changelog"_s);
    sender.reset();
    EXPECT_TRUE(runTask(std::move(sending)).has_value());
    EXPECT_EQ(herdr.methods(),
              (std::vector<QString>{u"pane.get"_s, u"pane.send_text"_s, u"pane.send_keys"_s}));
    EXPECT_EQ(herdr.sends(), (Sends{{u"pane.send_text"_s, textParams(u"Write the changelog"_s)},
                                    {u"pane.send_keys"_s, keysParams({u"enter"_s})}}));
}

TEST_F(SafeIdlePromptSenderTest, RefusalsSendNothing)
{
    struct Case {
        const char* name;
        std::function<void()> arrange;
        QString message;
        std::vector<QString> methods = {u"pane.get"_s};
    };
    const auto status = [this](AgentStatus s) {
        return [this, s] { herdr.scenario.setPaneStatus(pane, s); };
    };
    const auto get = [this](const char* result) {
        return [this, result] { answerPaneGet(*JSONValue::parse(result)); };
    };
    const QString unreadable =
        u"Couldn't confirm that pane w1:p1 is still idle. Nothing was sent."_s;
    const std::vector<Case> cases = {
        {"began working", status(AgentStatus::working),
         u"This agent is now working. Nothing was sent."_s},
        {"turned blocked", status(AgentStatus::blocked),
         u"This agent is now blocked. Nothing was sent."_s},
        {"done is not idle", status(AgentStatus::done),
         u"This agent is now done. Nothing was sent."_s},
        {"no pane key", get(R"({"type":"pane_info"})"), unreadable},
        {"pane record without an id", get(R"({"pane":{"agent_status":"idle"}})"), unreadable},
        // Text refused: Enter never follows, or it would submit whatever stood in the input.
        {"text refused",
         [this] {
             herdr.server.setHandler(u"pane.send_text"_s, [](const FakeRequest&) {
                 return FakeReply::error(u"invalid_text"_s, u"unsupported key in text"_s);
             });
         },
         u"unsupported key in text"_s,
         {u"pane.get"_s, u"pane.send_text"_s}},
        {"pane gone (last: it stays gone)", [this] { herdr.scenario.removePane(pane); },
         u"herdr refused the request (pane_not_found): pane w1:p1 not found"_s},
    };
    for (const auto& c : cases) {
        herdr.server.clearRequests();
        c.arrange();
        const auto refused = runTask(SafeIdlePromptSender(*herdr.client).sendPrompt(pane, u"go"_s));
        ASSERT_FALSE(refused) << c.name;
        EXPECT_EQ(refused.error().errorDescription(), c.message) << c.name;
        EXPECT_EQ(herdr.methods(), c.methods) << c.name;
        herdr.scenario.install(herdr.server); // herdr's own answers again
        herdr.scenario.setPaneStatus(pane, AgentStatus::idle);
    }
}

// The client ends while herdr answers the check: the answer says idle, yet nothing is typed.
TEST_F(SafeIdlePromptSenderTest, ASendDoesNotOutliveItsClient)
{
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    const JSONValue idlePane = *JSONValue::parse(
        R"({"type":"pane_info","pane":{"pane_id":"w1:p1","terminal_id":"t1","workspace_id":"w1","tab_id":"w1:t1","focused":false,"agent_status":"idle","revision":0}})");
    herdr.server.setHandler(u"pane.get"_s, [released, idlePane](const FakeRequest&) {
        released.wait_for(std::chrono::seconds(5));
        return FakeReply::result(idlePane);
    });
    SafeIdlePromptSender late(*herdr.client);
    auto pending = late.sendPrompt(pane, u"go"_s);
    ASSERT_TRUE(herdr.server.waitForRequests(1, std::chrono::seconds(5)));
    herdr.client.reset();
    release.set_value();
    const auto result = runTask(std::move(pending));
    EXPECT_EQ(result, IdlePromptSendResult(
                          std::unexpected(ActionFailure(RequestFailure(SocketError::closed())))));
    EXPECT_EQ(herdr.methods(), std::vector<QString>{u"pane.get"_s});
}
