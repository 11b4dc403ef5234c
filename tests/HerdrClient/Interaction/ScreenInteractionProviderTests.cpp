#include "HerdrClient/Interaction/GenericScreenAdapter.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <deque>

using namespace Qt::StringLiterals;

namespace {

// Answers each request with the next scripted result and keeps what was asked.
class ScriptedClient final : public RequestSending {
public:
    std::deque<RequestResult> replies;
    std::vector<std::pair<QString, JSONValue>> requests;

    QCoro::Task<RequestResult> request(QString method, JSONValue params, QString) override
    {
        requests.emplace_back(method, params);
        RequestResult reply = std::unexpected(RequestFailure(HerdrError::noResponse(method)));
        if (!replies.empty()) {
            reply = replies.front();
            replies.pop_front();
        }
        co_return reply;
    }
};

RequestResult readReply(const QString& text)
{
    return JSONValue::object(
        {{u"type"_s, u"pane_read"_s}, {u"read"_s, JSONValue::object({{u"text"_s, text}})}});
}

PromptClassifier genericClassifier()
{
    return PromptClassifier(ScreenAdapterRegistry({}, std::make_shared<GenericScreenAdapter>()));
}

} // namespace

TEST(ScreenInteractionProvider, ReadsDetectionThenColouredVisibleText)
{
    ScriptedClient client;
    client.replies = {readReply(u"screen\r\n"_s),
                      readReply(u"□ One  \x1b[48;2;1;2;3m□ Two\x1b[0m  ✔ Submit"_s)};
    ScreenInteractionProvider provider(client, genericClassifier());
    const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, 12));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->body, u"screen\n"_s);
    EXPECT_EQ(result->evidence.paneRevision, 12);
    ASSERT_EQ(client.requests.size(), 2u);
    EXPECT_EQ(client.requests[0].first, u"pane.read"_s);
    EXPECT_EQ(client.requests[0].second.serialized(),
              QByteArray(R"({"pane_id":"w1:p1","source":"detection"})"));
    EXPECT_EQ(
        client.requests[1].second.serialized(),
        QByteArray(R"({"format":"ansi","pane_id":"w1:p1","source":"visible","strip_ansi":false})"));
}

TEST(ScreenInteractionProvider, FailsOnlyAtTheFirstRead)
{
    struct Case {
        const char* name;
        RequestResult detection;
        bool unreadable; // else the request's own failure is passed on
    };
    const std::vector<Case> cases = {
        {"no read member", JSONValue::object({{u"type"_s, u"ok"_s}}), true},
        {"read without text", JSONValue::object({{u"read"_s, JSONValue::object({})}}), true},
        {"not an object", JSONValue(u"text"_s), true},
        {"reply not JSON", std::unexpected(RequestFailure(JSONParseError{u"bad"_s, 3})), true},
        {"herdr error",
         std::unexpected(
             RequestFailure(HerdrError::api(u"pane_not_found"_s, u"pane w1:p9 not found"_s))),
         false},
        {"socket", std::unexpected(RequestFailure(SocketError::timedOut())), false},
    };
    for (const auto& c : cases) {
        ScriptedClient client;
        client.replies = {c.detection};
        ScreenInteractionProvider provider(client, genericClassifier());
        const auto result = runTask(provider.interaction(u"w1:p9"_s, std::nullopt, std::nullopt));
        ASSERT_FALSE(result) << c.name;
        if (c.unreadable) {
            ASSERT_TRUE(result.error().providerError()) << c.name;
            EXPECT_EQ(result.error().providerError()->paneID, u"w1:p9"_s);
        } else {
            ASSERT_TRUE(result.error().requestFailure()) << c.name;
            EXPECT_EQ(*result.error().requestFailure(), c.detection.error()) << c.name;
        }
        EXPECT_EQ(client.requests.size(), 1u) << c.name;
    }
}

TEST(ScreenInteractionProvider, AFailedSecondReadLosesOnlyTheTab)
{
    for (const RequestResult& visible :
         {RequestResult(std::unexpected(RequestFailure(SocketError::timedOut()))),
          RequestResult(JSONValue::object({{u"type"_s, u"ok"_s}}))}) {
        ScriptedClient client;
        client.replies = {readReply(u"text"_s), visible};
        ScreenInteractionProvider provider(client, genericClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, std::nullopt, std::nullopt));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->body, u"text"_s);
        EXPECT_EQ(client.requests.size(), 2u);
    }
}

TEST(ScreenInteractionProvider, CurrentTabLabelComesFromTheLowestHighlightedTabRow)
{
    const QString upper = u"□ Old  \x1b[48;2;1;2;3m□ Stale\x1b[0m  ✔ Submit"_s;
    const QString lower = u"←  □ Database  \x1b[48;2;9;9;9m□ Deploy \x1b[0m  ✔ Submit  →"_s;
    const QString plainRow = u"□ A  □ B  ✔ Submit"_s;
    EXPECT_EQ(
        ScreenInteractionProvider::currentTabLabel(upper + u"\r\n"_s + lower + u"\n"_s + plainRow),
        u"Deploy"_s);
    EXPECT_EQ(ScreenInteractionProvider::currentTabLabel(
                  upper + u"\n\x1b[48;2;1;1;1mHighlighted\x1b[0m"_s),
              u"Stale"_s);
    EXPECT_EQ(ScreenInteractionProvider::currentTabLabel(plainRow), std::nullopt);
}
