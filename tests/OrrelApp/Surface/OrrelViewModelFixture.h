#pragma once

#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// A claude Bash approval of a command, as the screen draws it.
inline const char* const migratePrompt =
    "─────────────────────────────────────────\n Bash command\n\n   %1\n   Run it\n\n"
    " Do you want to proceed?\n ❯ 1. Yes\n   2. No, and tell Claude what to do differently "
    "(esc)\n\n Esc to cancel\n";

inline FakeScreen bashPrompt(const QString& command)
{
    FakeScreen screen;
    screen.visible = QString::fromUtf8(migratePrompt).arg(command);
    return screen;
}

// A claude pane waiting at a Bash approval of `command`; a worker of `parent` when given.
inline QByteArray claudePane(const QString& paneID, const QString& command,
                             const std::optional<QString>& parent = std::nullopt)
{
    JSONValue::Object screen{
        {u"visible"_s, JSONValue(QString::fromUtf8(migratePrompt).arg(command))}};
    JSONValue::Object pane{{u"pane_id"_s, JSONValue(paneID)},
                           {u"agent"_s, JSONValue(u"claude"_s)},
                           {u"agent_status"_s, JSONValue(u"blocked"_s)},
                           {u"screen"_s, JSONValue(screen)}};
    if (parent)
        pane.emplace(u"tokens"_s,
                     JSONValue(JSONValue::Object{{u"nh_parent"_s, JSONValue(*parent)}}));
    return JSONValue(pane).serialized();
}

// Notifications as the view model asks for them.
class RecordingNotifications : public AgentNotificationPosting {
public:
    void post(const InteractionAttentionDisplayModel& item, AgentNotificationKind) override
    {
        posted.push_back(item.ref.id());
    }
    void reconcileBlocked(const QString& sessionID, const std::vector<AgentRef>& blocked) override
    {
        lastBlocked[sessionID] = blocked;
    }

    std::vector<QString> posted;
    std::map<QString, std::vector<AgentRef>> lastBlocked;
};

// One herdr session served by a fake server.
struct FakeSession {
    FakeHerdrServer server;
    FakeScenario scenario;

    bool start(const QByteArray& scenarioJSON)
    {
        auto loaded = FakeScenario::fromJSON(*JSONValue::parse(scenarioJSON));
        if (!loaded || !server.start())
            return false;
        scenario = *loaded;
        scenario.install(server);
        return true;
    }
};

// A view model over two fake sessions, "local:default" and "local:other", on a manual clock.
// The home folder holds the asks of the pi extension.
class ViewModelTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(QDir(home.path()).mkpath(u".pi/agent/orrel/asks"_s)); }

    void startModel(const QByteArray& first, const QByteArray& second = {})
    {
        ASSERT_TRUE(a.start(first));
        if (!second.isEmpty()) {
            ASSERT_TRUE(b.start(second));
        }

        SessionRegistry::Options options;
        options.makeDependencies = [this](const ResolvedSession& session) {
            SessionRuntime::Dependencies dependencies;
            dependencies.client = std::make_unique<HerdrClient>(session.endpoint, 5.0);
            dependencies.clock = clock.clock();
            dependencies.streamOptions = [this] {
                EventStreamOptions stream;
                stream.sleep = clock.blockingSleeper();
                return stream;
            };
            dependencies.environment = {{u"HOME"_s, home.path()},
                                        {u"ORREL_PI_SENTINEL_DIR"_s, home.filePath(u"sentinel"_s)}};
            return dependencies;
        };
        model = std::make_unique<OrrelViewModel>(std::make_unique<SessionRegistry>(options),
                                                 clock.clock());
        QObject::connect(model.get(), &OrrelViewModel::observed, model.get(),
                         [this](const QString& sessionID) { ++observed[sessionID]; });
        QObject::connect(model.get(), &OrrelViewModel::alerted, model.get(),
                         [this](const AgentRef& ref) { alerts.push_back(ref.id()); });
        model->start({.notifications = notificationSink ? notificationSink : &notifications});

        std::vector<ResolvedSession> sessions{
            {SessionDescriptor::localDefault(a.server.socketPath()),
             HerdrEndpoint::unixSocket(a.server.socketPath())}};
        if (!second.isEmpty()) {
            SessionDescriptor other{SessionDescriptor::Kind::local(u"other"_s),
                                    b.server.socketPath(), false, true};
            sessions.push_back({other, HerdrEndpoint::unixSocket(b.server.socketPath())});
        }
        model->registry().apply(sessions);
        ASSERT_TRUE(processEventsUntil([&] { return observed.size() == sessions.size(); }));
    }

    void writeAsk(const QString& id, const QByteArray& json)
    {
        QFile ask(home.filePath(u".pi/agent/orrel/asks/%1.json"_s.arg(id)));
        ASSERT_TRUE(ask.open(QIODevice::WriteOnly));
        ask.write(json);
    }

    // Lets every poll loop run once more on the manual clock; `by` must reach past the longest
    // poll delay, 7.5 s.
    void advance(std::chrono::milliseconds by)
    {
        // Every poll loop is asleep on the clock before it moves, so that each wakes exactly once.
        ASSERT_TRUE(processEventsUntil([&] { return clock.pendingSleeps() >= observed.size(); }));
        std::map<QString, int> before = observed;
        clock.advance(by);
        ASSERT_TRUE(processEventsUntil([&] {
            return std::ranges::all_of(
                before, [&](const auto& entry) { return observed[entry.first] > entry.second; });
        }));
    }

    // Runs an answer to its end: the responder's settle pauses sleep on the manual clock, which
    // moves in small steps meanwhile.
    template <class T>
    T answer(QCoro::Task<T> task)
    {
        std::optional<T> result;
        auto runner = [](QCoro::Task<T> inner, std::optional<T>* out) -> QCoro::Task<> {
            out->emplace(co_await std::move(inner));
        }(std::move(task), &result);
        if (!processEventsUntil([&] { return result.has_value(); }, 20s, &clock, 0.16s)) {
            std::fprintf(stderr, "An answer did not finish.\n");
            std::abort(); // the suspended coroutine points into this frame
        }
        return *result;
    }

    void TearDown() override
    {
        if (model)
            model->stop();
        model.reset();
        EXPECT_TRUE(HerdrClient::socketQueue()->waitForDone(5000));
        for (int round = 0; round < 3; ++round) {
            QCoreApplication::processEvents();
            clock.advance(std::chrono::hours(1));
        }
    }

    QString key(const QString& paneID, const QString& session = u"local:default"_s) const
    {
        return session + u'/' + paneID;
    }

    ManualClock clock;
    QTemporaryDir home;
    FakeSession a;
    FakeSession b;
    RecordingNotifications notifications;
    // Where the model posts instead, when a test sets it before `startModel`.
    AgentNotificationPosting* notificationSink = nullptr;
    std::unique_ptr<OrrelViewModel> model;
    std::map<QString, int> observed;
    std::vector<QString> alerts;
};

// Session "local:default": a root waiting by hand, a worker of it, a pi agent whose ask carries a
// destructive floor, and an orchestrator with two workers of its own.
inline QByteArray firstSession()
{
    return R"({"workspaces":[{"workspace_id":"w1","label":"api"},{"workspace_id":"w2","label":"web"}],
        "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"},
                {"tab_id":"w2:t1","workspace_id":"w2","label":"tab3"}],
        "panes":[)"
           + claudePane(u"w1:p1"_s, u"npm run migrate"_s) + R"(,
            {"pane_id":"w1:p2","agent":"codex","agent_status":"working","tokens":{"nh_parent":"w1:p1"}},
            {"pane_id":"w1:p3","agent":"pi","agent_status":"idle","tokens":{"nh":"v1:a1"}},
            {"pane_id":"w2:p1","tab_id":"w2:t1","workspace_id":"w2","agent":"claude","agent_status":"working"},
            {"pane_id":"w2:p2","tab_id":"w2:t1","workspace_id":"w2","agent":"pi","agent_status":"blocked","tokens":{"nh_parent":"w2:p1"}},
            {"pane_id":"w2:p3","tab_id":"w2:t1","workspace_id":"w2","agent":"pi","agent_status":"working","tokens":{"nh_parent":"w2:p1"}},
            {"pane_id":"w2:p4","tab_id":"w2:t1","workspace_id":"w2"}]})";
}

inline QByteArray secondSession()
{
    return R"({"workspaces":[{"workspace_id":"w1","label":"docs"}],
        "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"7"}],
        "panes":[{"pane_id":"w1:p1","agent":"codex","agent_status":"done"}]})";
}

class ViewModelBoard : public ViewModelTest {
protected:
    void SetUp() override
    {
        ViewModelTest::SetUp();
        writeAsk(u"a1"_s, R"({"v":1,"id":"a1","kind":"approval","q":"Drop the users table?",
                              "since":1799999990000,"floor":"destructive"})");
        startModel(firstSession(), secondSession());
    }
};

// A worker's question reaches the person through its orchestrator, from the pi sentinel's journal.
class ViewModelEscalations : public ViewModelTest {
protected:
    void SetUp() override
    {
        ViewModelTest::SetUp();
        ASSERT_TRUE(QDir(home.path()).mkpath(u"sentinel/questions"_s));
        writeJournal({});
        startModel(R"({"workspaces":[{"workspace_id":"w1","label":"api"}],
            "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"}],
            "panes":[{"pane_id":"w1:o","agent":"pi","agent_status":"working","title":"planner"},
                     {"pane_id":"w1:w","agent":"pi","agent_status":"blocked","title":"migrations",
                      "tokens":{"nh_parent":"w1:o"}}]})");
    }

    // q1 waits on the live orchestrator; q2's owner has closed.
    void writeJournal(const QByteArray& origin)
    {
        QFile journal(home.filePath(u"sentinel/questions/questions.jsonl"_s));
        ASSERT_TRUE(journal.open(QIODevice::WriteOnly));
        journal.write(
            R"({"questionId":"q1","owner":{"paneId":"w1:o"},"child":{"paneId":"w1:w"},)" + origin
            + R"("questions":[{"question":"Which database?"}]})"
              "\n"
              R"({"questionId":"q1","type":"escalated"})"
              "\n"
              R"({"questionId":"q2","owner":{"paneId":"w1:gone"},"child":{"paneId":"w1:w"},)"
              R"("questions":[{"question":"Old one"}]})"
              "\n"
              R"({"questionId":"q2","type":"escalated"})"
              "\n");
    }
};

// Answers through the view model: what is refused, and what goes out.
class ViewModelActions : public ViewModelTest {
protected:
    void SetUp() override
    {
        ViewModelTest::SetUp();
        startModel(R"({"workspaces":[{"workspace_id":"w1","label":"api"}],
            "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"}],
            "panes":[)"
                   + claudePane(u"w1:root"_s, u"psql -c 'DROP TABLE users'"_s) + ','
                   + claudePane(u"w1:calm"_s, u"npm test"_s) + ','
                   + claudePane(u"w1:worker"_s, u"ls"_s, u"w1:calm"_s) + R"(,
            {"pane_id":"w1:idle","agent":"codex","agent_status":"idle"}]})");
    }

    bool select(const QString& paneID)
    {
        runTask(model->select(AgentRef{u"local:default"_s, paneID}));
        return model->selectedState() && model->selectedState()->interaction;
    }

    std::size_t keysSent() const { return a.server.requestsFor(u"pane.send_keys"_s).size(); }

    AgentRef ref(const QString& paneID) const { return {u"local:default"_s, paneID}; }
};
