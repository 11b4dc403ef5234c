// fake-herdr panes that are real terminals: tmux panes on a private tmux server, read, typed into
// and watched through the fake server, and answered with orrelctl as a person would.
#include "HerdrClient/Commands/ExecutableLocator.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "HerdrClient/Wire/PaneParams.h"
#include "HerdrClient/Wire/Subscription.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/tools/orrelctl/ProgramRun.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString fixtureSources = QStringLiteral(ORREL_SOURCE_DIR "/tests/fixtures/sources/");

class TmuxPaneTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(directory.isValid());
        ASSERT_TRUE(tmuxPath) << "tmux is needed: scripts/install-deps installs it";
        socket = directory.filePath(u"tmux.sock"_s);
    }

    void TearDown() override
    {
        server.stop();
        if (started)
            tmux({u"kill-server"_s});
    }

    CommandResult tmux(const QStringList& arguments)
    {
        return ProcessCommandRunner().run(*tmuxPath, QStringList{u"-S"_s, socket} + arguments,
                                          10.0);
    }

    // A session on the private server running `command` in sh, without anyone's tmux settings.
    void start(const QString& name, const QString& command, int width = 80, int height = 12)
    {
        const auto result = tmux({u"-f"_s, u"/dev/null"_s, u"new-session"_s, u"-d"_s, u"-s"_s, name,
                                  u"-x"_s, QString::number(width), u"-y"_s, QString::number(height),
                                  u"sh"_s, u"-c"_s, command});
        ASSERT_TRUE(result && result->status == 0)
            << (result ? result->errorMessage() : result.error().errorDescription()).toStdString();
        started = true;
    }

    TmuxPane pane(const QString& name) const
    {
        return TmuxPane(name, TmuxPane::Server{.socketName = {}, .socketPath = socket});
    }

    // The visible text once `condition` holds of it, or what it was at the deadline.
    static QString waitForScreen(const TmuxPane& pane,
                                 const std::function<bool(const QString&)>& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        QString screen;
        while (std::chrono::steady_clock::now() < deadline) {
            screen = pane.read(ReadSource::visible, false).value_or(QString());
            if (condition(screen))
                break;
            std::this_thread::sleep_for(20ms);
        }
        return screen;
    }
    static QString waitForText(const TmuxPane& pane, const QString& text)
    {
        return waitForScreen(pane, [&](const QString& s) { return s.contains(text); });
    }

    // Serves a scenario of one pane, w1:p1, that is the tmux session `name`.
    void serve(const QString& name, const QString& extraKeys = {})
    {
        const QString json =
            uR"({"panes":[{"pane_id":"w1:p1","agent":"claude","tmux":"%1","tmux_socket_path":"%2"%3}]})"_s
                .arg(name, socket, extraKeys);
        auto loaded = FakeScenario::fromJSON(JSONValue::parse(json.toUtf8()).value_or(JSONValue()));
        ASSERT_TRUE(loaded) << loaded.error().toStdString();
        scenario = std::move(*loaded);
        scenario.install(server);
        ASSERT_TRUE(server.start()) << server.lastError().toStdString();
    }

    JSONValue request(const QString& method, const JSONValue& params)
    {
        HerdrClient client(HerdrEndpoint::unixSocket(server.socketPath()));
        auto reply = runTask(client.request(method, params));
        EXPECT_TRUE(reply) << method.toStdString() << ": "
                           << reply.error().errorDescription().toStdString();
        return reply.value_or(JSONValue());
    }

    PaneReadResult read(ReadSource source, std::optional<qint64> lines = {},
                        const QString& format = u"text"_s)
    {
        PaneReadParams params;
        params.paneID = u"w1:p1"_s;
        params.source = source;
        params.lines = lines;
        params.format = format;
        return PaneReadResult::fromResult(request(u"pane.read"_s, params.asJSONValue()))
            .value_or(PaneReadResult{});
    }

    QString status()
    {
        const JSONValue reply =
            request(u"pane.get"_s, JSONValue::object({{u"pane_id"_s, u"w1:p1"_s}}));
        const JSONValue* pane = reply.member(u"pane");
        const JSONValue* value = pane ? pane->member(u"agent_status") : nullptr;
        return value && value->stringValue() ? *value->stringValue() : QString();
    }

    QTemporaryDir directory;
    std::optional<QString> tmuxPath = ExecutableLocator::locate(u"tmux"_s, processEnvironment());
    QString socket;
    bool started = false;
    FakeHerdrServer server;
    FakeScenario scenario;
};

TEST_F(TmuxPaneTest, KeysArriveAsTheTerminalEncodesThem)
{
    // A raw terminal shows every byte it gets, control bytes as ^X.
    start(u"keys"_s, u"stty raw -echo; printf ready; exec cat -vT"_s);
    const TmuxPane keys = pane(u"keys"_s);
    ASSERT_TRUE(waitForText(keys, u"ready"_s).contains(u"ready"_s));

    ASSERT_TRUE(
        keys.sendKeys({u"x"_s, u"tab"_s, u"Escape"_s, u"ctrl+c"_s, u"shift+tab"_s, u"semicolon"_s,
                       u"alt+b"_s, u"f5"_s, u"up"_s, u"C-a"_s, u"Enter"_s}));
    // Text goes as it is, a semicolon at its end and a leading dash included.
    ASSERT_TRUE(keys.sendText(u"-l a;b ends;"_s));
    // A key tmux has no name for fails the whole list before anything is typed.
    const auto unsendable = keys.sendKeys({u"y"_s, u"cmd+x"_s});
    ASSERT_FALSE(unsendable);
    EXPECT_EQ(unsendable.error(), u"tmux has no modifier for cmd+x"_s);
    EXPECT_FALSE(keys.sendKeys({u"f13"_s}));
    ASSERT_TRUE(keys.sendText(u"!"_s));

    const QString expected = u"readyx^I^[^C^[[Z;^[b^[[15~^[[A^A^M-l a;b ends;!"_s;
    const QString screen = waitForText(keys, expected);
    EXPECT_TRUE(screen.contains(expected)) << screen.toStdString();
}

TEST_F(TmuxPaneTest, ReadsAsHerdrReads)
{
    // 40 columns: sixty numbered rows, one row of a hundred characters that wraps over three, and
    // a coloured row last, with the cursor on the row below.
    start(u"screen"_s,
          u"seq 1 60; printf '%0100d\\n' 7; printf '\\033[31mred\\033[0m text\\n'; exec cat"_s, 40,
          10);
    ASSERT_TRUE(waitForText(pane(u"screen"_s), u"red text"_s).contains(u"red text"_s));
    serve(u"screen"_s);

    const PaneReadResult visible = read(ReadSource::visible);
    QStringList rows = visible.text.split(u'\n');
    ASSERT_EQ(rows.takeLast(), QString()); // the text ends with a newline
    ASSERT_EQ(rows.size(), 10);
    EXPECT_EQ(rows[0], u"56"_s);
    EXPECT_EQ(rows[8], u"red text"_s);
    EXPECT_FALSE(visible.text.contains(u'\x1b'));
    EXPECT_EQ(read(ReadSource::detection, {}, u"ansi"_s).text, visible.text);
    const QString coloured = read(ReadSource::visible, {}, u"ansi"_s).text;
    EXPECT_TRUE(coloured.contains(u"\x1b[31mred"_s)) << coloured.toStdString();

    // The recent rows reach into the history: 60 + 3 + 1 + the cursor's row.
    const QStringList recent = read(ReadSource::recent).text.split(u'\n');
    EXPECT_EQ(recent.size() - 1, 65);
    EXPECT_EQ(recent.first(), u"1"_s);
    PaneReadParams last20;
    last20.paneID = u"w1:p1"_s;
    last20.source = ReadSource::recent;
    last20.lines = 20;
    const JSONValue reply = request(u"pane.read"_s, last20.asJSONValue());
    const JSONValue* truncated =
        reply.member(u"read") ? reply.member(u"read")->member(u"truncated") : nullptr;
    ASSERT_TRUE(truncated && truncated->boolValue());
    EXPECT_TRUE(*truncated->boolValue());
    EXPECT_TRUE(PaneReadResult::fromResult(reply)->text.startsWith(u"46\n"_s));
    // Unwrapped, the long row is one line again.
    const QString unwrapped = read(ReadSource::recentUnwrapped).text;
    EXPECT_TRUE(unwrapped.contains(u'\n' + QString(99, u'0') + u"7\n"_s))
        << unwrapped.toStdString();

    // A terminal that went away is an error, not an empty screen.
    ASSERT_TRUE(tmux({u"kill-session"_s, u"-t"_s, u"screen"_s}));
    HerdrClient client(HerdrEndpoint::unixSocket(server.socketPath()));
    PaneReadParams params;
    params.paneID = u"w1:p1"_s;
    const auto gone = runTask(client.request(u"pane.read"_s, params.asJSONValue()));
    ASSERT_FALSE(gone);
    ASSERT_TRUE(gone.error().herdrError());
}

TEST_F(TmuxPaneTest, StatusFollowsTheScreenAndIsToldToSubscribers)
{
    start(u"agent"_s, u"printf 'working\\n'; read a; printf 'Proceed? [y/n]\\n'; read b; clear; "
                      "printf 'done\\n'; exec cat"_s);
    const TmuxPane agent = pane(u"agent"_s);
    ASSERT_TRUE(waitForText(agent, u"working"_s).contains(u"working"_s));
    serve(u"agent"_s, uR"(,"agent_status":"working","blocked_when":"^Proceed\\?")"_s);
    auto events =
        HerdrClient(HerdrEndpoint::unixSocket(server.socketPath()))
            .events(
                [] {
                    return std::vector<Subscription>{{u"pane.agent_status_changed"_s, u"w1:p1"_s}};
                },
                BackoffPolicy::defaultPolicy(), EventStreamOptions{});
    ASSERT_TRUE(server.waitForSubscribers(1, 10s));

    EXPECT_TRUE(scenario.refreshTerminals().empty());
    EXPECT_EQ(status(), u"working"_s);

    request(u"pane.send_text"_s,
            JSONValue::object({{u"pane_id"_s, u"w1:p1"_s}, {u"text"_s, u"go"_s}}));
    request(u"pane.send_keys"_s,
            JSONValue::object({{u"pane_id"_s, u"w1:p1"_s},
                               {u"keys"_s, JSONValue(JSONValue::Array{JSONValue(u"enter"_s)})}}));
    ASSERT_TRUE(waitForText(agent, u"Proceed?"_s).contains(u"Proceed?"_s));
    EXPECT_TRUE(scenario.refreshTerminals().empty());
    EXPECT_EQ(status(), u"blocked"_s);

    request(u"pane.send_keys"_s,
            JSONValue::object({{u"pane_id"_s, u"w1:p1"_s},
                               {u"keys"_s, JSONValue(JSONValue::Array{JSONValue(u"y"_s),
                                                                      JSONValue(u"enter"_s)})}}));
    ASSERT_TRUE(waitForScreen(agent, [](const QString& s) {
                    return s.contains(u"done"_s) && !s.contains(u"Proceed"_s);
                }).contains(u"done"_s));
    EXPECT_TRUE(scenario.refreshTerminals().empty());
    EXPECT_EQ(status(), u"working"_s);

    // Each change was told once, in order; the first look, which changed nothing, told nothing.
    std::vector<QString> told;
    while (told.size() < 2) {
        const auto event = runTask(events->next());
        ASSERT_TRUE(event);
        const JSONValue* data = event->member(u"data");
        ASSERT_TRUE(data && data->member(u"agent_status"));
        told.push_back(data->member(u"agent_status")->stringValue().value_or(QString()));
    }
    EXPECT_EQ(told, (std::vector<QString>{u"blocked"_s, u"working"_s}));

    // A terminal that cannot be read is named, and its pane keeps its status.
    ASSERT_TRUE(tmux({u"kill-session"_s, u"-t"_s, u"agent"_s}));
    const auto failures = scenario.refreshTerminals();
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_TRUE(failures.front().startsWith(u"w1:p1 (tmux agent): "_s))
        << failures.front().toStdString();
    EXPECT_EQ(status(), u"working"_s);
    events->stop();
}

TEST(TmuxScenario, RefusesTerminalPanesItCannotUse)
{
    auto load = [](const QString& keys) {
        return FakeScenario::fromJSON(
            JSONValue::parse((uR"({"panes":[{"pane_id":"w1:p1")"_s + keys + u"}]}"_s).toUtf8())
                .value_or(JSONValue()));
    };
    EXPECT_TRUE(load(uR"(,"tmux":"a","tmux_socket":"lab","blocked_when":"^x")"_s));
    EXPECT_FALSE(load(uR"(,"tmux":"a","blocked_when":"(")"_s));
    EXPECT_FALSE(load(uR"(,"tmux":"")"_s));
    EXPECT_FALSE(load(uR"(,"tmux":3)"_s));
    EXPECT_FALSE(load(uR"(,"tmux_socket":"lab")"_s));
    EXPECT_FALSE(load(uR"(,"tmux":"a","tmux_socket":"lab","tmux_socket_path":"/tmp/s")"_s));
    // The tmux keys are the fake's own, not herdr's: they stay out of the pane's record.
    auto loaded = load(uR"(,"tmux":"a","tmux_socket":"lab")"_s);
    ASSERT_TRUE(loaded);
    const JSONValue snapshot = loaded->snapshotJSON();
    const JSONValue& record = (*snapshot.member(u"panes")->arrayValue())[0];
    EXPECT_FALSE(record.member(u"tmux"));
    EXPECT_FALSE(record.member(u"tmux_socket"));
}

TEST_F(TmuxPaneTest, OrrelctlReadsAndAnswersAPromptOnARealTerminal)
{
    // A real claude approval as it was captured, drawn by a terminal that then shows the bytes it
    // is sent.
    start(u"claude"_s,
          u"cat '%1'; stty raw -echo; exec cat -vT"_s.arg(
              fixtureSources + u"claude-real-approval-bash-rm-rf-build/visible.ansi"_s),
          120, 42);
    ASSERT_TRUE(waitForText(pane(u"claude"_s), u"4. No"_s).contains(u"4. No"_s));
    serve(u"claude"_s);

    const ProgramRun reading = run(QStringLiteral(ORRELCTL_PATH),
                                   {u"read"_s, u"w1:p1"_s, u"--json"_s}, server.socketPath());
    ASSERT_EQ(reading.status, 0) << reading.err.toStdString();
    const JSONValue interaction =
        JSONValue::parse(reading.out.trimmed().toUtf8()).value_or(JSONValue());
    EXPECT_EQ(interaction.member(u"kind")->stringValue(), u"approval"_s);
    const QString fingerprint =
        interaction.member(u"fingerprint")->stringValue().value_or(QString());

    const ProgramRun answer =
        run(QStringLiteral(ORRELCTL_PATH),
            {u"respond"_s, u"w1:p1"_s, u"--fingerprint"_s, fingerprint, u"--approve"_s},
            server.socketPath());
    ASSERT_EQ(answer.status, 0) << answer.err.toStdString() << answer.out.toStdString();
    // "Yes" is already under the cursor: Enter alone approves, and only Enter arrived.
    EXPECT_TRUE(answer.out.contains(u"Keys: enter"_s)) << answer.out.toStdString();
    const QString screen = pane(u"claude"_s).read(ReadSource::visible, false).value_or(QString());
    EXPECT_TRUE(screen.trimmed().endsWith(u"^M"_s)) << screen.toStdString();
    EXPECT_EQ(screen.count(u"^"_s), 1);
}

} // namespace
