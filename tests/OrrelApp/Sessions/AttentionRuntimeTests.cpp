// The attention refresh inside a session's cycle, against a fake herdr and a manual clock.
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "tests/HerdrClient/Attention/AttentionTestSupport.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class RuntimeAttention : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto loaded = FakeScenario::fromJSON(*JSONValue::parse(R"({"panes":[
            {"pane_id":"r","agent":"claude","agent_status":"blocked"},
            {"pane_id":"p","agent":"pi","agent_status":"idle","tokens":{"nh":"v1:a1"}},
            {"pane_id":"o","agent":"pi","agent_status":"working"},
            {"pane_id":"w","agent":"pi","agent_status":"blocked","tokens":{"nh_parent":"o"}}]})"));
        ASSERT_TRUE(loaded) << loaded.error().toStdString();
        scenario = *loaded;
        ASSERT_TRUE(server.start());
        scenario.install(server);
        ASSERT_TRUE(QDir(home.path()).mkpath(u".pi/agent/orrel/asks"_s));
        QFile ask(home.filePath(u".pi/agent/orrel/asks/a1.json"_s));
        ASSERT_TRUE(ask.open(QIODevice::WriteOnly));
        ask.write(R"({"v":1,"id":"a1","kind":"question","q":"Which port?","since":1800000000000})");
    }

    void TearDown() override
    {
        runtime.reset();
        EXPECT_TRUE(HerdrClient::socketQueue()->waitForDone(5000));
    }

    SessionRuntime& make(SessionDescriptor descriptor)
    {
        SessionRuntime::Dependencies dependencies;
        const auto endpoint = HerdrEndpoint::unixSocket(server.socketPath());
        dependencies.client = std::make_unique<HerdrClient>(endpoint, 5.0);
        dependencies.clock = clock.clock();
        dependencies.environment = {{u"HOME"_s, home.path()},
                                    {u"ORREL_PI_SENTINEL_DIR"_s, home.filePath(u"sentinel"_s)}};
        runtime = std::make_unique<SessionRuntime>(descriptor, endpoint, std::move(dependencies));
        return *runtime;
    }

    void poll() { runTask(runtime->pollOnce()); }

    QTemporaryDir home;
    ManualClock clock;
    FakeHerdrServer server;
    FakeScenario scenario;
    std::unique_ptr<SessionRuntime> runtime;
};

} // namespace

TEST_F(RuntimeAttention, GraceThenAlertOnTheRuntimeClock)
{
    make(SessionDescriptor::localDefault(server.socketPath()));
    poll();
    const auto& attention = runtime->attention();
    EXPECT_EQ(ids(attention.items), (std::vector{u"blocked:r:1"_s, u"nh:p:a1"_s}));
    EXPECT_EQ(attention.items[1].explicitAsk()->signal.q, u"Which port?"_s);
    EXPECT_EQ(ids(attention.inGrace()), std::vector{u"blocked:r:1"_s});
    EXPECT_EQ(attention.hiddenChildAskCount, (std::map<QString, int>{{u"o"_s, 1}}));
    EXPECT_EQ(ids(runtime->takeNewAlerts()), std::vector{u"nh:p:a1"_s});

    clock.advance(29.9s);
    poll();
    EXPECT_TRUE(runtime->takeNewAlerts().empty());
    clock.advance(0.1s);
    poll();
    EXPECT_EQ(ids(runtime->takeNewAlerts()), std::vector{u"blocked:r:1"_s});
}

TEST_F(RuntimeAttention, OnlyTheLocalDefaultSessionReadsAsks)
{
    auto descriptor = SessionDescriptor::localDefault(server.socketPath());
    descriptor.kind = SessionDescriptor::Kind::local(u"other"_s);
    make(descriptor);
    poll();
    EXPECT_EQ(runtime->attention().items.at(1).explicitAsk()->signal.q, u""_s);
}
