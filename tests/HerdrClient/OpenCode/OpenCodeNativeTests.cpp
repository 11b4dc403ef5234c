#include "HerdrClient/OpenCode/OpenCodeHTTPClient.h"
#include "HerdrClient/OpenCode/OpenCodeNativeInteractionProvider.h"
#include "HerdrClient/OpenCode/OpenCodeNativeInteractionResponder.h"
#include "tests/HerdrClient/OpenCode/OpenCodeTestSupport.h"
#include "tests/support/FakeOpenCodeServer.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString paneID = u"w1:p3"_s;
const QString session = u"ses_mine"_s;

JSONValue permission(const QString& id, const QString& sessionID,
                     const QString& pattern = u"git push"_s)
{
    return JSONValue::object({{u"id"_s, id},
                              {u"sessionID"_s, sessionID},
                              {u"permission"_s, u"bash"_s},
                              {u"patterns"_s, JSONValue::array({pattern})},
                              {u"always"_s, JSONValue::array({u"git push *"_s})}});
}

JSONValue userMessage(const QString& text, bool synthetic = false)
{
    return JSONValue::object(
        {{u"info"_s, JSONValue::object({{u"role"_s, u"user"_s}})},
         {u"parts"_s,
          JSONValue::array({JSONValue::object(
              {{u"type"_s, u"text"_s}, {u"text"_s, text}, {u"synthetic"_s, synthetic}})})}});
}

// One opencode server, the pane that names it, and the native pair in front of it. A test that
// wants a silent server to time out shortens the deadline of the reads or of the reply alone, so
// that nothing it expects to succeed runs against a short deadline.
struct NativeFixture {
    explicit NativeFixture(std::chrono::milliseconds readDeadline = 10s,
                           std::chrono::milliseconds replyDeadline = 10s)
        : client(std::make_shared<OpenCodeHTTPClient>(OpenCodeHTTPLimits{readDeadline, 64 * 1024})),
          provider(registry, client),
          responder(provider, std::make_shared<OpenCodeHTTPClient>(
                                  OpenCodeHTTPLimits{replyDeadline, 64 * 1024}))
    {
        EXPECT_TRUE(server.start());
        registry.replace({openCodePane(paneID, server.url(), session)});
    }

    InteractionReadResult read() { return runTask(provider.interaction(paneID, u"opencode"_s, 7)); }

    InteractionResponseOutcome respond(const PendingInteraction& seen,
                                       InteractionResponseIntent intent)
    {
        InteractionResponseRequest request{paneID, u"opencode"_s, 7, seen.fingerprint(),
                                           std::move(intent)};
        return runTask(responder.respond(std::move(request)));
    }

    std::vector<FakeHTTPRequest> posts() const { return server.requests("POST"); }

    // The pane session's one request "per_1", as the person saw it.
    PendingInteraction shown()
    {
        server.setPermissions(JSONValue::array({permission(u"per_1"_s, session)}));
        auto seen = read();
        EXPECT_TRUE(seen);
        return seen.value_or(PendingInteraction{});
    }

    // The same, without asking the server.
    static PendingInteraction shownOffline()
    {
        const auto request = OpenCodePermissionRequest::decode(permission(u"per_1"_s, session));
        return OpenCodeNativeInteractionProvider::approval(*request, paneID, u"opencode"_s, 7,
                                                           std::nullopt);
    }

    FakeOpenCodeServer server;
    OpenCodePaneRegistry registry;
    std::shared_ptr<OpenCodeHTTPClient> client;
    OpenCodeNativeInteractionProvider provider;
    OpenCodeNativeInteractionResponder responder;
};

} // namespace

TEST(OpenCodeNative, PendingPermissionOfThePaneSessionBecomesANativeApproval)
{
    NativeFixture fixture;
    // The other session's request is newer, and still not this pane's.
    fixture.server.setPermissions(JSONValue::array(
        {permission(u"per_old"_s, session, u"rm -rf build"_s), permission(u"per_new"_s, session),
         permission(u"per_other"_s, u"ses_other"_s)}));
    fixture.server.setMessages(session, JSONValue::array({userMessage(u"  push the branch \n"_s),
                                                          userMessage(u"continue"_s, true)}));

    const auto read = fixture.read();
    ASSERT_TRUE(read) << read.error().errorDescription().toStdString();
    EXPECT_EQ(read->interactionID, u"per_new"_s);
    EXPECT_EQ(read->body, u"git push"_s);
    EXPECT_EQ(read->choices.size(), 3u);
    EXPECT_EQ(read->userPromptContext, u"push the branch"_s);

    ASSERT_EQ(fixture.server.requests().size(), 2u);
    const FakeHTTPRequest& list = fixture.server.requests()[0];
    EXPECT_EQ(list.target, "/permission");
    EXPECT_EQ(list.header("accept"), "application/json");
    EXPECT_FALSE(list.header("authorization"));
    EXPECT_EQ(fixture.server.requests()[1].target, "/session/ses_mine/message?limit=100");
}

TEST(OpenCodeNative, ReadWithoutThePaneSessionsRequestIsNoPendingPermission)
{
    NativeFixture fixture;
    fixture.server.setPermissions(JSONValue::array({permission(u"per_other"_s, u"ses_other"_s)}));
    const auto read = fixture.read();
    ASSERT_FALSE(read);
    ASSERT_TRUE(read.error().serverFailure());
    EXPECT_EQ(read.error().serverFailure()->reason(), u"noPendingPermission"_s);
    EXPECT_EQ(read.error().errorDescription(),
              u"opencode has no permission request waiting in pane w1:p3."_s);
}

TEST(OpenCodeNative, UnreadableMessagesLeaveTheApprovalWithoutItsPrompt)
{
    NativeFixture fixture;
    fixture.server.setPermissions(JSONValue::array({permission(u"per_1"_s, session)}));
    fixture.server.setOverride("GET", "/session/ses_mine/message", FakeHTTPReply::html());
    const auto read = fixture.read();
    ASSERT_TRUE(read);
    EXPECT_EQ(read->interactionID, u"per_1"_s);
    EXPECT_FALSE(read->userPromptContext);
}

TEST(OpenCodeNative, AnswersGoBackOverHTTPAsTheChoiceMeans)
{
    struct Case {
        const char* name;
        bool withAlways;
        InteractionResponseIntent intent;
        QByteArray body;
    };
    const Case cases[] = {
        {"approve", true, InteractionResponseIntent::approve(), R"({"reply":"once"})"},
        {"deny", true, InteractionResponseIntent::deny(), R"({"reply":"reject"})"},
        {"first choice", true, InteractionResponseIntent::selectChoice(0), R"({"reply":"once"})"},
        {"middle choice", true, InteractionResponseIntent::selectChoice(1),
         R"({"reply":"always"})"},
        {"last of three", true, InteractionResponseIntent::selectChoice(2),
         R"({"reply":"reject"})"},
        {"last of two", false, InteractionResponseIntent::selectChoice(1), R"({"reply":"reject"})"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        NativeFixture fixture;
        JSONValue::Object request = *permission(u"per/1"_s, session).objectValue();
        if (!c.withAlways)
            request.erase(u"always"_s);
        fixture.server.setPermissions(JSONValue::array({JSONValue(request)}));
        const auto seen = fixture.read();
        ASSERT_TRUE(seen);

        const auto outcome = fixture.respond(*seen, c.intent);
        ASSERT_TRUE(outcome) << outcome.error().refusalSentence().toStdString();
        ASSERT_EQ(fixture.posts().size(), 1u);
        // The id is one path segment, whatever it holds.
        EXPECT_EQ(fixture.posts()[0].target, "/permission/per%2F1/reply");
        EXPECT_EQ(fixture.posts()[0].body, c.body);
        EXPECT_EQ(fixture.posts()[0].header("content-type"), "application/json");
        EXPECT_EQ(outcome->validatedInteraction, *seen);
        // The server took the request, so nothing waits any more.
        EXPECT_FALSE(outcome->settledInteraction);
        EXPECT_TRUE(outcome->sentOperations.empty());
    }
}

TEST(OpenCodeNative, ServerWithoutTheReplyRouteGetsTheOlderOneOnce)
{
    NativeFixture fixture;
    fixture.server.setReplyRouteSupported(false);
    fixture.server.setPermissions(
        JSONValue::array({permission(u"per_1"_s, session), permission(u"per_2"_s, session)}));
    const auto seen = fixture.read();
    ASSERT_TRUE(seen);

    std::vector<InteractionResponsePhase> phases;
    InteractionResponseRequest request{paneID, u"opencode"_s, 7, seen->fingerprint(),
                                       InteractionResponseIntent::approve()};
    const auto outcome = runTask(fixture.responder.respond(
        std::move(request), [&phases](InteractionResponsePhase phase) -> QCoro::Task<> {
            phases.push_back(phase);
            co_return;
        }));
    ASSERT_TRUE(outcome);
    ASSERT_EQ(fixture.posts().size(), 2u);
    EXPECT_EQ(fixture.posts()[0].target, "/permission/per_2/reply");
    EXPECT_EQ(fixture.posts()[1].target, "/session/ses_mine/permissions/per_2");
    EXPECT_EQ(fixture.posts()[1].body, R"({"response":"once"})");
    // The older request is still waiting, and it is the next prompt.
    ASSERT_TRUE(outcome->settledInteraction);
    EXPECT_EQ(outcome->settledInteraction->interactionID, u"per_1"_s);
    EXPECT_EQ(phases,
              (std::vector{InteractionResponsePhase::revalidating,
                           InteractionResponsePhase::sending, InteractionResponsePhase::settling}));
}

TEST(OpenCodeNative, AStaleRequestIsRefusedAndNothingIsSent)
{
    const std::pair<const char*, JSONValue> cases[] = {
        {"replaced by another request", JSONValue::array({permission(u"per_2"_s, session)})},
        {"same id, another command",
         JSONValue::array({permission(u"per_1"_s, session, u"git push -f"_s)})},
        {"answered meanwhile", JSONValue::array({permission(u"per_9"_s, u"ses_other"_s)})},
    };
    for (const auto& [name, pendingAtAnswer] : cases) {
        SCOPED_TRACE(name);
        NativeFixture fixture;
        const PendingInteraction seen = fixture.shown();
        fixture.server.setPermissions(pendingAtAnswer);

        const auto outcome = fixture.respond(seen, InteractionResponseIntent::approve());
        ASSERT_FALSE(outcome);
        EXPECT_TRUE(outcome.error().isStale());
        EXPECT_EQ(outcome.error().refusalSentence(),
                  u"This interaction changed before the response was sent. Nothing was sent."_s);
        EXPECT_TRUE(fixture.posts().empty());
    }
}

TEST(OpenCodeNative, IntentsThatAreNoPermissionAnswerAreRefused)
{
    NativeFixture fixture;
    const PendingInteraction seen = fixture.shown();
    for (const auto& intent :
         {InteractionResponseIntent::selectChoice(3), InteractionResponseIntent::selectChoice(-1),
          InteractionResponseIntent::submit(), InteractionResponseIntent::cancel()}) {
        SCOPED_TRACE(intent.description().toStdString());
        const auto outcome = fixture.respond(seen, intent);
        ASSERT_FALSE(outcome);
        ASSERT_TRUE(outcome.error().responderError());
        EXPECT_EQ(outcome.error().responderError()->kind,
                  InteractionResponderError::Kind::unsupportedIntent);
        EXPECT_EQ(outcome.error().refusalSentence(),
                  u"That response is not supported for this interaction. Nothing was sent."_s);
    }
    EXPECT_TRUE(fixture.posts().empty());
}

// A server that cannot be read gives a failure in words, fast, and no answer goes out.
TEST(OpenCodeNative, BrokenServersEndInWordsWithNothingSent)
{
    struct Case {
        const char* name;
        FakeHTTPReply reply;
        QString reason;
        QString sentence;
    };
    const Case cases[] = {
        {"silent", FakeHTTPReply::silent(), u"timedOut"_s,
         u"opencode's server did not answer in time. Nothing was sent."_s},
        {"html", FakeHTTPReply::html(), u"invalidResponse"_s,
         u"opencode's server gave an answer that could not be read. Nothing was sent."_s},
        {"declared huge",
         FakeHTTPReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 4000000000\r\n\r\n["),
         u"responseTooLarge"_s,
         u"opencode's server sent an answer too large to read. Nothing was sent."_s},
        {"error status", FakeHTTPReply::json(JSONValue::object({}), 500), u"rejectedStatus"_s,
         u"opencode's server answered with HTTP status 500. Nothing was sent."_s},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const bool silent = c.reply.kind == FakeHTTPReply::Kind::silent;
        NativeFixture fixture(silent ? 300ms : 10s);
        fixture.server.setPermissions(JSONValue::array({permission(u"per_1"_s, session)}));
        const PendingInteraction seen = NativeFixture::shownOffline();
        fixture.server.setOverride("GET", "/permission", c.reply);

        const auto read = fixture.read();
        ASSERT_FALSE(read);
        ASSERT_TRUE(read.error().serverFailure());
        EXPECT_EQ(read.error().serverFailure()->reason(), c.reason);
        const auto outcome = fixture.respond(seen, InteractionResponseIntent::approve());
        ASSERT_FALSE(outcome);
        EXPECT_EQ(outcome.error().refusalSentence(), c.sentence);
        EXPECT_TRUE(fixture.posts().empty());
    }
}

TEST(OpenCodeNative, ServerGoneIsUnreachable)
{
    NativeFixture fixture;
    const QString url = fixture.server.url();
    fixture.server.close();
    fixture.registry.replace({openCodePane(paneID, url, session)});
    const auto read = fixture.read();
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().errorDescription(), u"opencode's server could not be reached."_s);
}

// A refusal from the server means the reply was not taken; a silence or a cut connection leaves
// that open, and the sentence must not claim otherwise.
TEST(OpenCodeNative, AFailedReplySaysWhetherItMayHaveBeenTaken)
{
    const std::pair<FakeHTTPReply, QString> cases[] = {
        {FakeHTTPReply::json(JSONValue::object({}), 400),
         u"opencode's server answered with HTTP status 400. Nothing was sent."_s},
        {FakeHTTPReply::silent(),
         u"opencode's server did not answer in time. opencode did not confirm the reply, so "
         "it may have been taken. Nothing more was sent."_s},
        {FakeHTTPReply::raw({}),
         u"opencode's server gave an answer that could not be read. opencode did not confirm "
         "the reply, so it may have been taken. Nothing more was sent."_s},
    };
    for (const auto& [reply, sentence] : cases) {
        SCOPED_TRACE(sentence.toStdString());
        NativeFixture fixture(10s, 300ms);
        const PendingInteraction seen = fixture.shown();
        fixture.server.setOverride("POST", "/permission/per_1/reply", reply);
        const auto outcome = fixture.respond(seen, InteractionResponseIntent::deny());
        ASSERT_FALSE(outcome);
        ASSERT_TRUE(outcome.error().serverReplyFailure());
        EXPECT_EQ(outcome.error().reason(), u"replyFailed"_s);
        EXPECT_EQ(outcome.error().refusalSentence(), sentence);
        // No second try on the older route: only a 404 says the route is unknown.
        EXPECT_EQ(fixture.posts().size(), 1u);
    }
}

TEST(OpenCodeNative, ANonLoopbackEndpointIsNeverDialled)
{
    FakeOpenCodeServer server;
    ASSERT_TRUE(server.start());
    OpenCodeHTTPClient client;
    // The fake listens on this port of loopback; another host with the same port must not reach it.
    OpenCodePaneDescriptor remote{QUrl(u"http://192.0.2.1:%1"_s.arg(server.port())), session,
                                  std::nullopt};
    const auto permissions = runTask(client.pendingPermissions(remote));
    ASSERT_FALSE(permissions);
    EXPECT_EQ(permissions.error().reason(), u"notLoopback"_s);
    const auto sent = runTask(client.reply(remote, u"per_1"_s, OpenCodePermissionReply::once));
    ASSERT_FALSE(sent);
    EXPECT_EQ(sent.error().errorDescription(),
              u"The opencode server's address is not on this machine, so it was not contacted."_s);
    EXPECT_EQ(server.connectionCount(), 0);
}

TEST(OpenCodeNative, ChunkedAnswersOverIPv6AreRead)
{
    FakeOpenCodeServer server{QHostAddress(QHostAddress::LocalHostIPv6)};
    if (!server.start())
        GTEST_SKIP() << "no IPv6 loopback here";
    FakeHTTPReply reply = FakeHTTPReply::json(JSONValue::array({permission(u"per_1"_s, session)}));
    reply.chunked = true;
    server.setOverride("GET", "/permission", reply);
    OpenCodeHTTPClient client({10s, 64 * 1024});
    OpenCodePaneDescriptor descriptor{QUrl(u"http://localhost:%1/"_s.arg(server.port())), session,
                                      std::nullopt};
    const auto permissions = runTask(client.pendingPermissions(descriptor));
    ASSERT_TRUE(permissions) << permissions.error().errorDescription().toStdString();
    ASSERT_EQ(permissions->size(), 1u);
    EXPECT_EQ(permissions->front().id, u"per_1"_s);
    EXPECT_EQ(server.requests().front().header("host"),
              "localhost:" + QByteArray::number(server.port()));
}

namespace {

JSONValue databaseQuestion(const QString& id, const QString& sessionID, bool custom = true)
{
    auto option = [](const QString& label) {
        return JSONValue::object({{u"label"_s, label}, {u"description"_s, label + u" db"_s}});
    };
    JSONValue::Object asked{
        {u"question"_s, u"Which database?"_s},
        {u"header"_s, u"Database"_s},
        {u"options"_s, JSONValue::array({option(u"PostgreSQL"_s), option(u"SQLite"_s)})}};
    if (!custom)
        asked.emplace(u"custom"_s, false);
    return JSONValue::object({{u"id"_s, id},
                              {u"sessionID"_s, sessionID},
                              {u"questions"_s, JSONValue::array({JSONValue(asked)})}});
}

} // namespace

TEST(OpenCodeNative, AQuestionOfThePaneSessionIsReadAndAnsweredThroughItsServer)
{
    NativeFixture fixture;
    fixture.server.setQuestions(JSONValue::array(
        {databaseQuestion(u"que_1"_s, session), databaseQuestion(u"que_2"_s, u"ses_other"_s)}));
    auto seen = fixture.read();
    ASSERT_TRUE(seen) << seen.error().errorDescription().toStdString();
    EXPECT_EQ(seen->kind, InteractionKind::question);
    EXPECT_EQ(seen->interactionID, u"que_1"_s);
    EXPECT_EQ(seen->title, u"Which database?"_s);
    EXPECT_EQ(seen->header, u"Database"_s);
    ASSERT_EQ(seen->choices.size(), 3u);
    EXPECT_EQ(seen->choices[1].description, u"SQLite db"_s);
    EXPECT_EQ(seen->choices[2].kind, InteractionChoiceKind::textEntry);
    EXPECT_EQ(seen->presentation.mechanism, InteractionMechanism::manual);

    const auto answered = fixture.respond(*seen, InteractionResponseIntent::selectChoice(1));
    ASSERT_TRUE(answered);
    ASSERT_EQ(fixture.posts().size(), 1u);
    EXPECT_EQ(fixture.posts()[0].target, "/question/que_1/reply");
    EXPECT_EQ(fixture.posts()[0].body, R"({"answers":[["SQLite"]]})");
    EXPECT_FALSE(answered->settledInteraction);
}

TEST(OpenCodeNative, AQuestionTakesTypedAnswersAndDismissalsButNoOtherIntent)
{
    NativeFixture fixture;
    fixture.server.setQuestions(JSONValue::array({databaseQuestion(u"que_1"_s, session)}));
    auto seen = fixture.read();
    ASSERT_TRUE(seen);
    // A typed answer belongs in the answer row, not on an option.
    EXPECT_FALSE(fixture.respond(*seen, InteractionResponseIntent::submitChoiceText(0, u"x"_s)));
    EXPECT_FALSE(fixture.respond(*seen, InteractionResponseIntent::selectChoice(2)));
    EXPECT_FALSE(fixture.respond(*seen, InteractionResponseIntent::approve()));
    EXPECT_TRUE(fixture.posts().empty());

    ASSERT_TRUE(fixture.respond(
        *seen, InteractionResponseIntent::submitChoiceText(2, u"  CockroachDB "_s)));
    ASSERT_EQ(fixture.posts().size(), 1u);
    EXPECT_EQ(fixture.posts()[0].body, R"({"answers":[["CockroachDB"]]})");

    fixture.server.setQuestions(JSONValue::array({databaseQuestion(u"que_2"_s, session, false)}));
    seen = fixture.read();
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->choices.size(), 2u);
    EXPECT_FALSE(fixture.respond(*seen, InteractionResponseIntent::submitText(u"mine"_s)));
    ASSERT_TRUE(fixture.respond(*seen, InteractionResponseIntent::deny()));
    ASSERT_EQ(fixture.posts().size(), 2u);
    EXPECT_EQ(fixture.posts()[1].target, "/question/que_2/reject");
    EXPECT_TRUE(fixture.server.questions().arrayValue()->empty());
}

TEST(OpenCodeNative, APermissionComesBeforeAQuestionAndAServerWithoutQuestionsHasNone)
{
    NativeFixture fixture;
    fixture.server.setQuestions(JSONValue::array({databaseQuestion(u"que_1"_s, session)}));
    fixture.server.setPermissions(JSONValue::array({permission(u"per_1"_s, session)}));
    auto seen = fixture.read();
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->interactionID, u"per_1"_s);

    fixture.server.setPermissions(JSONValue::array({}));
    fixture.server.setQuestionRoutesSupported(false);
    seen = fixture.read();
    ASSERT_FALSE(seen);
    EXPECT_EQ(seen.error().serverFailure()->reason(), u"noPendingPermission"_s);
}

TEST(OpenCodeNative, ARequestOfSeveralQuestionsIsShownWholeAndCanOnlyBeDismissed)
{
    const auto decoded = OpenCodeQuestionRequest::decode(JSONValue::object(
        {{u"id"_s, u"que_1"_s},
         {u"sessionID"_s, session},
         {u"questions"_s,
          JSONValue::array({JSONValue::object({{u"question"_s, u"First?"_s},
                                               {u"header"_s, u"One"_s},
                                               {u"options"_s, JSONValue::array({})}}),
                            JSONValue::object({{u"question"_s, u"Second?"_s},
                                               {u"options"_s, JSONValue::array({})}})})}}));
    ASSERT_TRUE(decoded);
    const auto shown = OpenCodeNativeInteractionProvider::question(*decoded, paneID, u"opencode"_s,
                                                                   7, std::nullopt);
    EXPECT_EQ(shown.body, u"First?\nSecond?"_s);
    ASSERT_EQ(shown.steps.size(), 2u);
    EXPECT_EQ(shown.steps[1].label, u"Second?"_s);
    EXPECT_TRUE(shown.choices.empty());
    using Responder = OpenCodeNativeInteractionResponder;
    EXPECT_FALSE(Responder::answer(InteractionResponseIntent::submitText(u"a"_s), shown));
    const auto dismissed = Responder::answer(InteractionResponseIntent::cancel(), shown);
    ASSERT_TRUE(dismissed);
    EXPECT_FALSE(dismissed->has_value());
}
