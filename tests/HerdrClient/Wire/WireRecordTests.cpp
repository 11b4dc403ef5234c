#include "HerdrClient/Wire/EventEnvelope.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "HerdrClient/Wire/PaneParams.h"
#include "HerdrClient/Wire/Snapshot.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

JSONValue json(const char* text)
{
    auto value = JSONValue::parse(QByteArrayView(text));
    EXPECT_TRUE(value.has_value()) << text;
    return value.value_or(JSONValue());
}

constexpr const char* paneA =
    R"({"pane_id":"a","terminal_id":"t","workspace_id":"w1","tab_id":"w1:t1","focused":false,"agent_status":"idle","revision":1})";

TEST(WireRecords, EmptySnapshotDecodesButOneBadPaneFailsTheWhole)
{
    const auto snapshot = Snapshot::decode(json("{}"));
    ASSERT_TRUE(snapshot);
    EXPECT_TRUE(snapshot->panes.empty() && snapshot->tabs.empty() && snapshot->workspaces.empty()
                && snapshot->agents.empty());
    EXPECT_FALSE(snapshot->version || snapshot->protocol || snapshot->focusedPaneID);

    const auto bad = Snapshot::decode(JSONValue::object(
        {{u"panes"_s, JSONValue::array({json(paneA), json(R"({"pane_id":"b"})")})}}));
    ASSERT_FALSE(bad);
    EXPECT_TRUE(bad.error().message.contains(u"terminal_id"_s));
}

TEST(WireRecords, RealHerdrSnapshotDecodesAndIgnoresUnknownKeys)
{
    const auto result = json(R"({"type":"session_snapshot","snapshot":{
        "version":"0.8.0","protocol":19,"focused_pane_id":"w1:p1",
        "workspaces":[{"workspace_id":"w1","number":1,"label":"api","focused":true,"pane_count":1,"tab_count":1,"active_tab_id":"w1:t1","agent_status":"blocked","worktree":{"repo_key":"k"}}],
        "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","number":1,"label":"agents","focused":true,"pane_count":1,"agent_status":"blocked"}],
        "panes":[{"pane_id":"w1:p1","terminal_id":"term_1","workspace_id":"w1","tab_id":"w1:t1","focused":true,"cwd":"/src","agent":"claude","terminal_title":"✳ x","agent_status":"blocked","scroll":{"offset_from_bottom":0,"max_offset_from_bottom":640,"viewport_rows":42},"revision":4,"tokens":{"nh":"v1:q"},"agent_session":{"kind":"id"}}],
        "layouts":[{"workspace_id":"w1"}],
        "agents":[{"terminal_id":"term_1","agent":"claude","agent_status":"blocked","pane_id":"w1:p1","state_change_seq":41,"revision":4}]}})");
    const auto snapshot = Snapshot::fromResult(result);
    ASSERT_TRUE(snapshot) << snapshot.error().message.toStdString();
    ASSERT_EQ(snapshot->panes.size(), 1u);
    const PaneInfo& pane = snapshot->panes[0];
    EXPECT_EQ(pane.agentStatus, AgentStatus::blocked);
    EXPECT_EQ(pane.revision, 4u);
    EXPECT_EQ(pane.scroll->viewportRows, 42);
    EXPECT_EQ(pane.token(u"nh"_s), u"v1:q"_s);
    EXPECT_EQ(snapshot->agents[0].agent, u"claude"_s);
    EXPECT_EQ(snapshot->workspaces[0].agentStatus, AgentStatus::blocked);
    // Encoding and decoding again keeps the record.
    EXPECT_EQ(Snapshot::decode(snapshot->asJSONValue()), *snapshot);
}

TEST(WireRecords, PaneDecodingIsTolerantOfValuesButNotOfShape)
{
    auto withChange = [](const QString& key, const JSONValue& value) {
        JSONValue::Object pane = *json(paneA).objectValue();
        if (value.kind() == JSONValue::Kind::null && key.startsWith(u'-'))
            pane.erase(key.mid(1));
        else
            pane.insert_or_assign(key, value);
        return PaneInfo::decode(JSONValue(pane));
    };
    EXPECT_EQ(withChange(u"agent_status"_s, u"thinking"_s)->agentStatus, AgentStatus::unknown);
    EXPECT_FALSE(withChange(u"scroll"_s, JSONValue())->scroll.has_value());
    EXPECT_FALSE(withChange(u"agent"_s, JSONValue())->agent.has_value());
    EXPECT_FALSE(withChange(u"-terminal_id"_s, JSONValue()).has_value());
    EXPECT_FALSE(withChange(u"agent_status"_s, 3).has_value());
    EXPECT_FALSE(withChange(u"agent"_s, 3).has_value())
        << "an optional key of the wrong type fails";
    EXPECT_FALSE(withChange(u"revision"_s, -1).has_value());
    EXPECT_FALSE(withChange(u"revision"_s, 1.5).has_value());
    EXPECT_FALSE(withChange(u"tokens"_s, JSONValue::object({{u"nh"_s, 1}})).has_value());
}

TEST(WireRecords, UniquePanesKeepsTheFirstRecordOfEachID)
{
    Snapshot snapshot;
    PaneInfo a = *PaneInfo::decode(json(paneA));
    PaneInfo b = a;
    b.paneID = u"b"_s;
    PaneInfo laterA = a;
    laterA.agentStatus = AgentStatus::blocked;
    snapshot.panes = {a, b, laterA};
    const auto unique = snapshot.uniquePanes();
    ASSERT_EQ(unique.size(), 2u);
    EXPECT_EQ(unique[0], a);
    EXPECT_EQ(unique[1].paneID, u"b"_s);
}

TEST(WireRecords, EnvelopeReadsPaneIDAndStatusFromEitherPlace)
{
    EXPECT_FALSE(EventEnvelope::from(json("[1,2]")));
    EXPECT_FALSE(EventEnvelope::from(json(R"({"event":3})")));
    const auto bare = EventEnvelope::from(json(R"({"event":"pane_exited"})"));
    ASSERT_TRUE(bare);
    EXPECT_TRUE(bare->data.isNull());
    EXPECT_FALSE(bare->paneID());

    EXPECT_EQ(
        EventEnvelope::from(json(R"({"event":"x","data":{"pane":{"pane_id":"p"}}})"))->paneID(),
        u"p"_s);
    EXPECT_EQ(
        EventEnvelope::from(json(R"({"event":"x","data":{"pane_id":"q","pane":{"pane_id":"p"}}})"))
            ->paneID(),
        u"q"_s);
    EXPECT_FALSE(EventEnvelope::from(json(R"({"event":"x","data":"w1:p1"})"))->paneID());

    const auto status = EventEnvelope::from(json(
        R"({"event":"pane.agent_status_changed","data":{"pane_id":"w1:p2","agent_status":"napping"}})"));
    EXPECT_EQ(status->agentStatus(), AgentStatus::unknown);
    EXPECT_FALSE(
        EventEnvelope::from(json(R"({"event":"x","data":{"agent_status":1}})"))->agentStatus());

    // A pane record that does not decode is silently absent.
    EXPECT_FALSE(
        EventEnvelope::from(json(R"({"event":"pane_created","data":{"pane":{"pane_id":"p"}}})"))
            ->pane());
    const auto created = EventEnvelope::from(
        JSONValue::object({{u"event"_s, u"pane_created"_s},
                           {u"data"_s, JSONValue::object({{u"pane"_s, json(paneA)}})}}));
    EXPECT_EQ(created->pane()->paneID, u"a"_s);
}

TEST(WireRecords, ParameterRecordsLeaveAbsentKeysOut)
{
    PaneReadParams detection{u"w1:p1"_s, ReadSource::detection, {}, {}, {}};
    EXPECT_EQ(detection.asJSONValue().serialized(), R"({"pane_id":"w1:p1","source":"detection"})");
    PaneReadParams recent{u"w1:p2"_s, ReadSource::recentUnwrapped, 16, u"text"_s, true};
    EXPECT_EQ(
        recent.asJSONValue().serialized(),
        R"({"format":"text","lines":16,"pane_id":"w1:p2","source":"recent_unwrapped","strip_ansi":true})");
    EXPECT_EQ(PaneReadParams::decode(recent.asJSONValue()), recent);
    EXPECT_EQ((PaneSendKeysParams{u"w1:p1"_s, {u"1"_s, u"enter"_s}}.asJSONValue().serialized()),
              R"({"keys":["1","enter"],"pane_id":"w1:p1"})");
    EXPECT_EQ((PaneSendTextParams{u"p"_s, u"a/b"_s}.asJSONValue().serialized()),
              R"({"pane_id":"p","text":"a/b"})");
}

TEST(WireRecords, ReplyClassification)
{
    struct Case {
        const char* line;
        const char* result; // serialised result, or nullptr for a failure
        const char* code;   // api code of a failure
        const char* messageContains;
    };
    const Case cases[] = {
        {R"({"id":"1","error":null,"result":{"type":"ok"}})", R"({"type":"ok"})", nullptr, nullptr},
        {R"({"id":"1","result":{"type":"pong"}})", R"({"type":"pong"})", nullptr, nullptr},
        {R"({"id":"1"})", "null", nullptr, nullptr},
        {R"([1,2])", "null", nullptr, nullptr},
        {R"({"id":"","error":{"code":"invalid_request","message":"invalid request: x"}})", nullptr,
         "invalid_request", "invalid request: x"},
        {R"({"id":"1","error":{"message":"only a message"}})", nullptr, "unknown",
         "only a message"},
        {R"({"id":"1","error":"plain text"})", nullptr, "unknown", "plain text"},
        {R"({"id":"1","error":{"code":7,"message":{"a":1}}})", nullptr, "unknown", "\"message\""},
    };
    for (const auto& c : cases) {
        const auto reply = HerdrClient::classifyReply(QByteArray(c.line));
        if (c.result) {
            ASSERT_TRUE(reply) << c.line;
            EXPECT_EQ(reply->serialized(), QByteArray(c.result)) << c.line;
        } else {
            ASSERT_FALSE(reply) << c.line;
            const HerdrError* error = reply.error().herdrError();
            ASSERT_NE(error, nullptr) << c.line;
            EXPECT_EQ(error->kind, HerdrError::Kind::api);
            EXPECT_EQ(error->code, QString::fromUtf8(c.code));
            EXPECT_TRUE(error->message.contains(QString::fromUtf8(c.messageContains)))
                << error->message.toStdString();
        }
    }
    const auto notJSON = HerdrClient::classifyReply("{\"id\":\"1\",\"res");
    ASSERT_FALSE(notJSON);
    EXPECT_NE(notJSON.error().parseError(), nullptr);
}

} // namespace
