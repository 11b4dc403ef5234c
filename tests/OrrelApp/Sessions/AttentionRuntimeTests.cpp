// The attention refresh inside a session's cycle, on the runtime's clock.
#include "tests/HerdrClient/Attention/AttentionTestSupport.h"
#include "tests/OrrelApp/Sessions/SessionRuntimeFixture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {

class RuntimeAttention : public SessionRuntimeTest {
protected:
    void SetUp() override
    {
        SessionRuntimeTest::SetUp();
        scenario.transitionTo(*FakeScenario::fromJSON(*JSONValue::parse(R"({"panes":[
            {"pane_id":"r","agent":"claude","agent_status":"blocked"},
            {"pane_id":"p","agent":"pi","agent_status":"idle","tokens":{"nh":"v1:a1"}},
            {"pane_id":"o","agent":"pi","agent_status":"working"},
            {"pane_id":"w","agent":"pi","agent_status":"blocked","tokens":{"nh_parent":"o"}}]})")));
        ASSERT_TRUE(QDir(home.path()).mkpath(u".pi/agent/orrel/asks"_s));
        QFile ask(home.filePath(u".pi/agent/orrel/asks/a1.json"_s));
        ASSERT_TRUE(ask.open(QIODevice::WriteOnly));
        ask.write(R"({"v":1,"id":"a1","kind":"question","q":"Which port?","since":1800000000000})");
    }

    void poll(SessionDescriptor descriptor)
    {
        make(
            std::move(descriptor), 5.0,
            {{u"HOME"_s, home.path()}, {u"ORREL_PI_SENTINEL_DIR"_s, home.filePath(u"sentinel"_s)}});
        runTask(runtime->pollOnce());
    }

    QTemporaryDir home;
};

TEST_F(RuntimeAttention, GraceThenAlertOnTheRuntimeClock)
{
    poll(SessionDescriptor::localDefault(server.socketPath()));
    const auto& attention = runtime->attention();
    EXPECT_EQ(ids(attention.items), (std::vector{u"blocked:r:1"_s, u"nh:p:a1"_s}));
    EXPECT_EQ(attention.items[1].explicitAsk()->signal.q, u"Which port?"_s);
    EXPECT_EQ(attention.hiddenChildAskCount, (std::map<QString, int>{{u"o"_s, 1}}));
    EXPECT_EQ(ids(runtime->takeNewAlerts()), std::vector{u"nh:p:a1"_s});

    clock.advance(29.9s);
    runTask(runtime->pollOnce());
    EXPECT_TRUE(runtime->takeNewAlerts().empty());
    clock.advance(0.1s);
    runTask(runtime->pollOnce());
    EXPECT_EQ(ids(runtime->takeNewAlerts()), std::vector{u"blocked:r:1"_s});
}

TEST_F(RuntimeAttention, OnlyTheLocalDefaultSessionReadsAsks)
{
    auto descriptor = SessionDescriptor::localDefault(server.socketPath());
    descriptor.kind = SessionDescriptor::Kind::local(u"other"_s);
    poll(descriptor);
    EXPECT_EQ(runtime->attention().items.at(1).explicitAsk()->signal.q, u""_s);
}

} // namespace
