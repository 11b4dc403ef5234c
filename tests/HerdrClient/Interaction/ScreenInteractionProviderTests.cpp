#include "HerdrClient/Adapters/StandardScreenAdapters.h"
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

TEST(ScreenInteractionProvider, ReadsDetectionThenColouredVisibleTextThenDetectionAgain)
{
    ScriptedClient client;
    client.replies = {readReply(u"screen\r\n"_s),
                      readReply(u"□ One  \x1b[48;2;1;2;3m□ Two\x1b[0m  ✔ Submit"_s),
                      readReply(u"screen\r\n"_s)};
    ScreenInteractionProvider provider(client, genericClassifier());
    const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, 12));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->body, u"screen\n"_s);
    EXPECT_EQ(result->evidence.paneRevision, 12);
    ASSERT_EQ(client.requests.size(), 3u);
    EXPECT_EQ(client.requests[0].first, u"pane.read"_s);
    EXPECT_EQ(client.requests[0].second.serialized(),
              QByteArray(R"({"pane_id":"w1:p1","source":"detection"})"));
    EXPECT_EQ(
        client.requests[1].second.serialized(),
        QByteArray(R"({"format":"ansi","pane_id":"w1:p1","source":"visible","strip_ansi":false})"));
    EXPECT_EQ(client.requests[2].second.serialized(), client.requests[0].second.serialized());
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
        client.replies = {readReply(u"text"_s), visible, readReply(u"text"_s)};
        ScreenInteractionProvider provider(client, genericClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, std::nullopt, std::nullopt));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->body, u"text"_s);
        EXPECT_EQ(client.requests.size(), 3u);
    }
}

namespace {

QString approvalScreen(const QString& command, int cursor)
{
    QString text = QString(80, u'─')
                   + u"\n Bash command\n\n   %1\n\n Do you want to proceed?\n"_s.arg(command);
    const QStringList choices{u"Yes"_s, u"Yes, and don't ask again"_s, u"No"_s};
    for (int i = 0; i < choices.size(); ++i)
        text += u" %1 %2. %3\n"_s.arg(i == cursor ? u"❯"_s : u" "_s).arg(i + 1).arg(choices[i]);
    return text + u"\n Esc to cancel\n"_s;
}

PromptClassifier standardClassifier()
{
    return PromptClassifier(standardScreenAdapters());
}

} // namespace

// The last read before any key must be one the look compared: a screen that moves between the
// two detection reads is looked at again, and one that never holds still is no ground for keys.
TEST(ScreenInteractionProvider, APromptThatMovesDuringTheLookIsLookedAtAgain)
{
    const QString rm = approvalScreen(u"rm -rf build"_s, 0);
    const QString push = approvalScreen(u"git push --force"_s, 0);
    {
        ScriptedClient client;
        client.replies = {readReply(rm),   readReply(rm),   readReply(push),
                          readReply(push), readReply(push), readReply(push)};
        ScreenInteractionProvider provider(client, standardClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, std::nullopt));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->evidence.capturedText, push);
        EXPECT_NE(result->presentation.mechanism, InteractionMechanism::manual);
        EXPECT_EQ(client.requests.size(), 6u);
    }
    {
        // The cursor alone moved: the fingerprint holds, but the keys would not.
        ScriptedClient client;
        client.replies = {readReply(rm), readReply(rm),
                          readReply(approvalScreen(u"rm -rf build"_s, 1))};
        for (int i = 0; i < 3; ++i)
            client.replies.push_back(readReply(approvalScreen(u"rm -rf build"_s, 1)));
        ScreenInteractionProvider provider(client, standardClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, std::nullopt));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->presentation.selectedChoiceIndex, 1);
        EXPECT_EQ(client.requests.size(), 6u);
    }
    {
        // Only the text around the prompt moved: the later reading stands without another look.
        ScriptedClient client;
        client.replies = {readReply(u"● Working\n  ⎿  done\n\n"_s + rm), readReply(rm),
                          readReply(u"● Still working\n  ⎿  done\n\n"_s + rm)};
        ScreenInteractionProvider provider(client, standardClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, std::nullopt));
        ASSERT_TRUE(result);
        EXPECT_NE(result->presentation.mechanism, InteractionMechanism::manual);
        EXPECT_TRUE(result->evidence.capturedText.value_or(QString()).contains(u"Still working"_s));
        EXPECT_EQ(client.requests.size(), 3u);
    }
    {
        ScriptedClient client;
        for (int i = 0; i < 3; ++i)
            client.replies.insert(client.replies.end(),
                                  {readReply(rm), readReply(rm), readReply(push)});
        ScreenInteractionProvider provider(client, standardClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, std::nullopt));
        ASSERT_FALSE(result);
        ASSERT_TRUE(result.error().providerError());
        EXPECT_EQ(client.requests.size(), 9u);
    }
    {
        // Nothing to press: a restless screen is still shown as last read.
        ScriptedClient client;
        for (int i = 0; i < 3; ++i)
            client.replies.insert(client.replies.end(),
                                  {readReply(u"output %1\n"_s.arg(i)), readReply(u""_s),
                                   readReply(u"output %1+\n"_s.arg(i))});
        ScreenInteractionProvider provider(client, standardClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, std::nullopt));
        ASSERT_TRUE(result);
        EXPECT_EQ(result->presentation.mechanism, InteractionMechanism::manual);
        EXPECT_EQ(result->evidence.capturedText, u"output 2+\n"_s);
    }
    {
        ScriptedClient client;
        client.replies = {readReply(rm), readReply(rm),
                          std::unexpected(RequestFailure(SocketError::timedOut()))};
        ScreenInteractionProvider provider(client, standardClassifier());
        const auto result = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, std::nullopt));
        ASSERT_FALSE(result);
        EXPECT_TRUE(result.error().requestFailure());
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
