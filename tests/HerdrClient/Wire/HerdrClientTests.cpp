#include "HerdrClient/Wire/HerdrClient.h"
#include "HerdrClient/Wire/Snapshot.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class HerdrClientTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server.start()) << server.lastError().toStdString(); }

    RequestResult send(const QString& method, JSONValue params = JSONValue(JSONValue::Object{}),
                       std::optional<double> timeout = 5.0)
    {
        HerdrClient client(HerdrEndpoint::unixSocket(server.socketPath()), timeout);
        return runTask(client.request(method, std::move(params)));
    }

    FakeHerdrServer server;
};

TEST_F(HerdrClientTest, SendsOneByteExactLinePerRequest)
{
    server.setHandler(u"session.snapshot"_s, [](const FakeRequest&) {
        return FakeReply::result(JSONValue::object(
            {{u"type"_s, u"session_snapshot"_s}, {u"snapshot"_s, JSONValue(JSONValue::Object{})}}));
    });
    const auto first = send(u"session.snapshot"_s);
    const auto second = send(u"session.snapshot"_s);
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(Snapshot::fromResult(*first).has_value());
    const auto lines = server.requestLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], R"({"id":"1","method":"session.snapshot","params":{}})");
    EXPECT_EQ(lines[1], lines[0]);
}

TEST_F(HerdrClientTest, ReadsTheReplyLineWhateverFollowsOrLacksIt)
{
    struct Case {
        QByteArray bytes;
        const char* expected;
    };
    const Case cases[] = {
        {R"({"id":"1","result":{"type":"pong","version":"0.8.0"}})",
         R"({"type":"pong","version":"0.8.0"})"},
        {"{\"id\":\"1\",\"result\":1}\n{\"id\":\"1\",\"result\":2}\n", "1"},
    };
    for (const auto& c : cases) {
        server.setHandler(u"ping"_s,
                          [bytes = c.bytes](const FakeRequest&) { return FakeReply::raw(bytes); });
        const auto reply = send(u"ping"_s);
        ASSERT_TRUE(reply) << c.bytes.toStdString();
        EXPECT_EQ(reply->serialized(), QByteArray(c.expected));
    }
}

TEST_F(HerdrClientTest, EachBrokenReplyHasItsTypedFailure)
{
    server.setHandler(u"closes"_s,
                      [](const FakeRequest&) { return FakeReply::closeWithoutReply(); });
    server.setHandler(u"half"_s,
                      [](const FakeRequest&) { return FakeReply::raw(R"({"id":"1","res)"); });
    server.setHandler(u"garbage"_s,
                      [](const FakeRequest&) { return FakeReply::raw("{\"id\":\"\xff\xfe\"}\n"); });
    server.setHandler(u"refused"_s, [](const FakeRequest&) {
        return FakeReply::error(u"pane_not_found"_s, u"pane w9:p1 not found"_s);
    });

    const auto closed = send(u"closes"_s);
    ASSERT_FALSE(closed);
    ASSERT_NE(closed.error().herdrError(), nullptr);
    EXPECT_EQ(*closed.error().herdrError(), HerdrError::noResponse(u"closes"_s));

    for (const auto* method : {u"half", u"garbage"}) {
        const auto broken = send(QString::fromUtf16(method));
        ASSERT_FALSE(broken);
        EXPECT_NE(broken.error().parseError(), nullptr);
    }

    const auto refused = send(u"refused"_s);
    ASSERT_FALSE(refused);
    EXPECT_EQ(*refused.error().herdrError(),
              HerdrError::api(u"pane_not_found"_s, u"pane w9:p1 not found"_s));

    // herdr answers an unknown method with an empty id; the id of a reply is never compared.
    const auto unknown = send(u"pane.frobnicate"_s);
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.error().herdrError()->code, u"invalid_request"_s);
}

TEST_F(HerdrClientTest, HandlesAReplyOfSeveralMegabytes)
{
    const QString text(3 * 1024 * 1024, u'x');
    server.setHandler(u"pane.read"_s, [text](const FakeRequest&) {
        return FakeReply::result(
            JSONValue::object({{u"read"_s, JSONValue::object({{u"text"_s, text}})}}));
    });
    const auto reply = send(u"pane.read"_s);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->member(u"read")->member(u"text")->stringValue()->size(), text.size());
}

TEST_F(HerdrClientTest, ASilentServerTimesOut)
{
    server.setHandler(u"ping"_s, [](const FakeRequest&) { return FakeReply::silent(); });
    const auto reply = send(u"ping"_s, JSONValue(JSONValue::Object{}), 0.2);
    ASSERT_FALSE(reply);
    ASSERT_NE(reply.error().socketError(), nullptr);
    EXPECT_EQ(reply.error().socketError()->kind, SocketError::Kind::timedOut);
}

TEST_F(HerdrClientTest, ManyRequestsRunAtOnceEachOnItsOwnConnection)
{
    FakeScenario scenario = *FakeScenario::fromJSON(JSONValue::object(
        {{u"panes"_s, JSONValue::array({JSONValue::object({{u"pane_id"_s, u"w1:p1"_s}})})}}));
    scenario.install(server);
    HerdrClient client(HerdrEndpoint::unixSocket(server.socketPath()), 5.0);
    auto many = [](HerdrClient* c) -> QCoro::Task<int> {
        std::vector<QCoro::Task<RequestResult>> tasks;
        for (int i = 0; i < 16; ++i)
            tasks.push_back(c->request(u"session.snapshot"_s, JSONValue(JSONValue::Object{})));
        int ok = 0;
        for (auto& t : tasks)
            ok += (co_await std::move(t)).has_value() ? 1 : 0;
        co_return ok;
    };
    EXPECT_EQ(runTask(many(&client)), 16);
    EXPECT_EQ(server.requestsFor(u"session.snapshot"_s).size(), 16u);
}

TEST(HerdrClientConnect, UnreachableSocketsFailToConnectAndPingSaysFalse)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(u"regular"_s);
    QFile(file).open(QIODevice::WriteOnly);
    for (const QString& path : {dir.filePath(u"absent.sock"_s), dir.path(), file}) {
        HerdrClient client(HerdrEndpoint::unixSocket(path), 1.0);
        const auto reply = runTask(client.request(u"ping"_s, JSONValue(JSONValue::Object{})));
        ASSERT_FALSE(reply) << path.toStdString();
        ASSERT_NE(reply.error().socketError(), nullptr);
        EXPECT_EQ(reply.error().socketError()->kind, SocketError::Kind::connectFailed);
        EXPECT_EQ(reply.error().socketError()->path, path);
        EXPECT_FALSE(runTask(client.ping()));
    }
}

TEST(HerdrClientConnect, PathsOver103BytesAreRefusedBeforeConnecting)
{
    const QString base = u"/tmp/"_s;
    const QString at103 = base + QString(103 - base.size(), u'a');
    const QString at104 = base + QString(104 - base.size(), u'a');
    // Two-byte characters count as two: the limit is on UTF-8 bytes.
    const QString wide = base + QString(50, u'é');

    auto failure = [](const QString& path) {
        HerdrClient client(HerdrEndpoint::unixSocket(path), 1.0);
        return runTask(client.request(u"ping"_s, JSONValue(JSONValue::Object{}))).error();
    };
    EXPECT_EQ(failure(at103).socketError()->kind, SocketError::Kind::connectFailed);
    EXPECT_EQ(*failure(at104).socketError(), SocketError::pathTooLong(at104));
    EXPECT_EQ(failure(wide).socketError()->kind, SocketError::Kind::pathTooLong);
}

TEST(HerdrClientConnect, LoopbackEndpointsDescribeThemselvesByPort)
{
    HerdrClient client(HerdrEndpoint::loopbackTCP(1), 1.0);
    EXPECT_EQ(client.socketPath(), u"127.0.0.1:1"_s);
    const auto reply = runTask(client.request(u"ping"_s, JSONValue(JSONValue::Object{})));
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error().socketError()->path, u"127.0.0.1:1"_s);
}

} // namespace
