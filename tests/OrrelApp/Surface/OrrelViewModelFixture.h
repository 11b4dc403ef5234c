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
        model->start({.notifications = &notifications});

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
    bool answer(QCoro::Task<bool> task)
    {
        std::optional<bool> result;
        auto runner = [](QCoro::Task<bool> inner, std::optional<bool>* out) -> QCoro::Task<> {
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
    std::unique_ptr<OrrelViewModel> model;
    std::map<QString, int> observed;
    std::vector<QString> alerts;
};
