// The two executables as a person runs them, against a fake herdr on a real socket.
#include "HerdrClient/Wire/JSONValue.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/tools/orrelctl/ProgramRun.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString orrelctl = QStringLiteral(ORRELCTL_PATH);

class CommandLineTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        auto loaded = FakeScenario::fromJSON(*JSONValue::parse(R"({
            "version":"0.8.0","protocol":19,"focused_pane_id":"w1:p1",
            "workspaces":[{"workspace_id":"w1","label":"api"}],
            "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"}],
            "panes":[{"pane_id":"w1:p1","tab_id":"w1:t1","agent":"claude","agent_status":"blocked","title":"Auth refactor"},
                     {"pane_id":"w1:p2","tab_id":"w1:t1","agent_status":"unknown"}]})"));
        ASSERT_TRUE(loaded);
        scenario = *loaded;
        scenario.install(server);
    }

    FakeHerdrServer server;
    FakeScenario scenario;
};

TEST_F(CommandLineTest, SnapshotListsThePanesForPeopleAndAsJSONLines)
{
    const ProgramRun table = run(orrelctl, {u"snapshot"_s, u"--socket"_s, server.socketPath()});
    EXPECT_EQ(table.status, 0) << table.err.toStdString();
    EXPECT_TRUE(table.out.contains(u"w1:p1"_s) && table.out.contains(u"blocked"_s)
                && table.out.contains(u"agents (w1:t1)"_s))
        << table.out.toStdString();

    const ProgramRun json =
        run(orrelctl, {u"snapshot"_s, u"--json"_s, u"--socket"_s, server.socketPath()});
    EXPECT_EQ(json.status, 0);
    const QStringList lines = json.out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 1);
    const auto value = JSONValue::parse(lines[0].toUtf8());
    ASSERT_TRUE(value);
    // Keys come out sorted, so the line is its own canonical form.
    EXPECT_EQ(value->serialized(), lines[0].toUtf8());
    EXPECT_EQ(value->member(u"panes")->element(0)->member(u"agent_status")->stringValue(),
              u"blocked"_s);
    EXPECT_EQ(value->member(u"panes")->element(1)->member(u"agent"), nullptr);
}

TEST(CommandLine, UnreachableHerdrIsSaidOnOneLine)
{
    const ProgramRun ping = run(orrelctl, {u"ping"_s});
    EXPECT_EQ(ping.status, 1);
    EXPECT_EQ(ping.err.count(u'\n'), 1);
    EXPECT_TRUE(ping.err.startsWith(u"Couldn't reach herdr — is it running?"_s))
        << ping.err.toStdString();
    EXPECT_TRUE(ping.err.contains(u"/nonexistent/herdr.sock"_s));
}

// A herdr that answers is running: what it refused is told, never a herdr out of reach.
TEST(CommandLine, AnAnsweredErrorIsToldAsHerdrsRefusal)
{
    FakeHerdrServer server;
    ASSERT_TRUE(server.start());
    server.setHandler(u"session.snapshot"_s, [](const FakeRequest&) {
        return FakeReply::error(u"internal_error"_s, u"state lock poisoned"_s);
    });
    for (const ProgramRun& r :
         {run(orrelctl, {u"snapshot"_s, u"--socket"_s, server.socketPath()})}) {
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(
            r.err.startsWith(u"herdr refused the request (internal_error): state lock poisoned"_s))
            << r.err.toStdString();
        EXPECT_FALSE(r.err.contains(u"Couldn't reach"_s));
    }
}

TEST(CommandLine, UsageErrorsExitWithTwo)
{
    for (const QStringList& arguments :
         {QStringList{u"ping"_s, u"--bogus"_s}, QStringList{u"snapshot"_s, u"extra"_s},
          QStringList{u"frobnicate"_s}, QStringList{}, QStringList{u"ping"_s, u"--socket"_s}}) {
        const ProgramRun r = run(orrelctl, arguments);
        EXPECT_EQ(r.status, 2) << arguments.join(u' ').toStdString();
        EXPECT_FALSE(r.err.isEmpty());
    }
}

TEST(CommandLine, BrokenRepliesFailWithOneClearLine)
{
    FakeHerdrServer server;
    ASSERT_TRUE(server.start());
    server.setHandler(u"session.snapshot"_s, [](const FakeRequest&) {
        return FakeReply::result(*JSONValue::parse(
            R"({"type":"session_snapshot","snapshot":{"panes":[{"pane_id":"w1:p1"}]}})"));
    });
    server.setHandler(u"ping"_s,
                      [](const FakeRequest&) { return FakeReply::raw(R"({"id":"1","resu)"); });

    const ProgramRun badPane = run(orrelctl, {u"snapshot"_s, u"--socket"_s, server.socketPath()});
    EXPECT_EQ(badPane.status, 1);
    EXPECT_EQ(badPane.err.count(u'\n'), 1);
    EXPECT_TRUE(badPane.err.contains(u"terminal_id"_s)) << badPane.err.toStdString();

    const ProgramRun cut = run(orrelctl, {u"ping"_s, u"--socket"_s, server.socketPath()});
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.err.count(u'\n'), 1) << cut.err.toStdString();
}

} // namespace
