// orrelctl board as a person runs it: sessions found through a `herdr` on PATH, and one action
// through the view model, whose refusals are what the person reads.
#include "HerdrClient/Wire/JSONValue.h"
#include "tests/support/FakeHerdrCommand.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/tools/orrelctl/ProgramRun.h"

#include <QTemporaryDir>

#include <deque>
#include <set>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString orrelctl = QStringLiteral(ORRELCTL_PATH);

QString bashPrompt(const QString& command)
{
    return u"─────────────────────────────────────────\n Bash command\n\n   %1\n   Run it\n\n Do "
           "you want to proceed?\n ❯ 1. Yes\n   2. No, and tell Claude what to do differently "
           "(esc)\n\n Esc to cancel\n"_s.arg(command);
}

JSONValue claudePane(const QString& paneID, const QString& command,
                     std::optional<QString> parent = std::nullopt)
{
    JSONValue::Object pane{{u"pane_id"_s, JSONValue(paneID)},
                           {u"agent"_s, JSONValue(u"claude"_s)},
                           {u"agent_status"_s, JSONValue(u"blocked"_s)},
                           {u"screen"_s, JSONValue(JSONValue::Object{
                                             {u"visible"_s, JSONValue(bashPrompt(command))}})}};
    if (parent)
        pane.emplace(u"tokens"_s,
                     JSONValue(JSONValue::Object{{u"nh_parent"_s, JSONValue(*parent)}}));
    return JSONValue(std::move(pane));
}

class BoardCommandTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(home.isValid() && herdr.isValid());
        for (auto* server : {&first, &second})
            ASSERT_TRUE(server->start());
        serve(first, {claudePane(u"w1:p1"_s, u"psql -c 'DROP TABLE users'"_s),
                      claudePane(u"w1:p2"_s, u"ls"_s, u"w1:p1"_s)});
        serve(second, {claudePane(u"w1:p1"_s, u"npm test"_s)});
        herdr.list({{u"default"_s, first.socketPath(), true, true},
                    {u"docs"_s, second.socketPath(), true, false}});
        environment.insert(u"PATH"_s, herdr.directory() + u':' + qEnvironmentVariable("PATH"));
        environment.insert(u"HOME"_s, home.path());
        environment.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u"config"_s));
    }

    void serve(FakeHerdrServer& server, JSONValue::Array panes)
    {
        JSONValue::Object scenario{
            {u"workspaces"_s,
             JSONValue(JSONValue::Array{JSONValue(JSONValue::Object{
                 {u"workspace_id"_s, JSONValue(u"w1"_s)}, {u"label"_s, JSONValue(u"api"_s)}})})},
            {u"panes"_s, JSONValue(std::move(panes))}};
        auto loaded = FakeScenario::fromJSON(JSONValue(std::move(scenario)));
        ASSERT_TRUE(loaded) << loaded.error().toStdString();
        scenarios.push_back(*loaded);
        scenarios.back().install(server);
    }

    ProgramRun board(QStringList arguments) const
    {
        return run(orrelctl, QStringList{u"board"_s} + arguments, {}, environment);
    }

    QTemporaryDir home;
    FakeHerdrCommand herdr;
    FakeHerdrServer first;
    FakeHerdrServer second;
    std::deque<FakeScenario> scenarios; // installed handlers hold their scenario by address
    QProcessEnvironment environment;
};

TEST_F(BoardCommandTest, DiscoversEverySessionAndPrintsOneRecordPerCycle)
{
    const ProgramRun json = board({u"--json"_s});
    ASSERT_EQ(json.status, 0) << json.err.toStdString();
    const QStringList lines = json.out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 1);
    const auto record = JSONValue::parse(lines[0].toUtf8());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->serialized(), lines[0].toUtf8()); // keys sorted
    const JSONValue* sessions = record->member(u"sessions");
    ASSERT_TRUE(sessions);
    EXPECT_EQ(sessions->element(0)->member(u"id")->stringValue(), u"local:default"_s);
    EXPECT_EQ(sessions->element(1)->member(u"id")->stringValue(), u"local:docs"_s);
    EXPECT_EQ(sessions->element(1)->member(u"connection")->stringValue(), u"connected"_s);
    // Both roots wait out their grace, in the order they were first seen blocked; the worker is
    // counted under its root, not listed.
    const JSONValue* grace = record->member(u"board")->member(u"grace");
    ASSERT_TRUE(grace && grace->element(1) && !grace->element(2));
    const std::set<QString> refs{
        grace->element(0)->member(u"ref")->stringValue().value_or(QString()),
        grace->element(1)->member(u"ref")->stringValue().value_or(QString())};
    EXPECT_EQ(refs, (std::set{u"local:default/w1:p1"_s, u"local:docs/w1:p1"_s}));
    EXPECT_EQ(record->member(u"pill")->member(u"status")->stringValue(), u"blocked"_s);

    const ProgramRun text = board({});
    EXPECT_EQ(text.status, 0);
    EXPECT_TRUE(text.out.contains(u"session local:docs  connected"_s)) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(u"Grace (2)"_s)) << text.out.toStdString();

    herdr.printGarbage("not json");
    const ProgramRun broken = board({});
    EXPECT_EQ(broken.status, 1);
    EXPECT_TRUE(broken.out.contains(u"discovery: "_s)) << broken.out.toStdString();
    EXPECT_TRUE(broken.out.contains(u"no sessions"_s));
}

TEST_F(BoardCommandTest, AnActionGoesThroughTheViewModelsRefusals)
{
    const QStringList root{u"--select"_s, u"local:default/w1:p1"_s};
    const ProgramRun worker = board({u"--select"_s, u"local:default/w1:p2"_s, u"--approve"_s});
    EXPECT_EQ(worker.status, 3);
    EXPECT_EQ(worker.err.trimmed(),
              u"A worker's question goes to its orchestrator, not to you. Use Jump to watch it. "
              "Nothing was sent."_s);

    const ProgramRun unarmed = board(root + QStringList{u"--approve"_s});
    EXPECT_EQ(unarmed.status, 3);
    EXPECT_EQ(unarmed.err.trimmed(),
              u"Type api-delete to arm this Destructive action. Nothing was sent."_s);
    const ProgramRun mistyped =
        board(root + QStringList{u"--arm"_s, u"api-delet"_s, u"--choice"_s, u"1"_s});
    EXPECT_EQ(mistyped.status, 3);
    EXPECT_TRUE(first.requestsFor(u"pane.send_keys"_s).empty());

    const ProgramRun armed = board(root + QStringList{u"--arm"_s, u"api-delete"_s, u"--approve"_s});
    EXPECT_EQ(armed.status, 0) << armed.err.toStdString();
    EXPECT_TRUE(armed.out.startsWith(u"Allow Once\n"_s)) << armed.out.toStdString();
    EXPECT_TRUE(armed.out.contains(u"Your answer reached the pane."_s));
    EXPECT_EQ(first.requestsFor(u"pane.send_keys"_s).size(), 1u);
}

TEST(BoardCommand, ASessionThatCannotBeReachedIsSaidAndFails)
{
    const ProgramRun board = run(orrelctl, {u"board"_s, u"--socket"_s, u"/nonexistent/h.sock"_s});
    EXPECT_EQ(board.status, 1);
    EXPECT_TRUE(board.out.contains(
        u"session local:custom  unavailable  Couldn't reach herdr — is it running?"_s))
        << board.out.toStdString();
}

TEST(BoardCommand, UsageErrorsExitWithTwo)
{
    for (const QStringList& arguments :
         {QStringList{u"--approve"_s}, QStringList{u"--select"_s, u"w1:p1"_s},
          QStringList{u"--arm"_s, u"x"_s},
          QStringList{u"--select"_s, u"w1:p1"_s, u"--approve"_s, u"--deny"_s},
          QStringList{u"--select"_s, u"w1:p1"_s, u"--choice"_s, u"0"_s},
          QStringList{u"--socket"_s, u"/x"_s, u"--host"_s, u"h"_s}}) {
        const ProgramRun refused = run(orrelctl, QStringList{u"board"_s} + arguments);
        EXPECT_EQ(refused.status, 2) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(refused.err.contains(u"usage: orrelctl board"_s));
    }
}

} // namespace
