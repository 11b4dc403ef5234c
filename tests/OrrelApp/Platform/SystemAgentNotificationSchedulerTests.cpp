// Desktop notifications against a notification server on a private session bus: ctest runs this
// program under dbus-run-session.
#include "OrrelApp/Platform/SystemAgentNotificationScheduler.h"

#include "tests/support/FakeNotificationServer.h"
#include "tests/support/TestSupport.h"

#include <QTimer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

using Authorization = AgentNotificationAuthorization;
using Action = AgentNotificationResponseAction;
using Scheduler = SystemAgentNotificationScheduler;

AgentNotificationRequest request(const QString& pane, const QString& body = u"Run it?"_s)
{
    AgentNotificationRequest r;
    r.identifier = u"orrelsentry.agent."_s + pane + u".blocked"_s;
    r.threadIdentifier = u"orrelsentry.agent."_s + pane;
    r.title = u"Claude needs input"_s;
    r.subtitle = u"api · other"_s;
    r.body = body;
    r.metadata = {{u"local:other"_s, pane}, AgentNotificationKind::blocked};
    return r;
}

// Runs an operation of the scheduler while this thread keeps serving the bus.
template <class T>
T await(QCoro::Task<T> task)
{
    return runTask(std::move(task), 10s);
}

class SchedulerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            GTEST_SKIP() << "no session bus: ctest runs this under dbus-run-session";
        server = std::make_unique<FakeNotificationServer>();
        ASSERT_TRUE(server->start());
        scheduler = std::make_unique<Scheduler>(QDBusConnection::sessionBus(),
                                                Scheduler::Options{.callTimeout = 400ms});
        scheduler->setResponseHandler(
            [this](AgentNotificationResponse response) { responses.push_back(response); });
        scheduler->setAuthorizationChangeHandler([this] { ++authorizationChanges; });
    }

    void TearDown() override
    {
        scheduler.reset();
        server.reset();
    }

    // Shows `r` and returns the server's id for it.
    uint show(const AgentNotificationRequest& r)
    {
        EXPECT_TRUE(await(scheduler->add(r)));
        return scheduler->notificationID(r.identifier).value_or(0);
    }

    bool closeCalledFor(uint id) const
    {
        const auto calls = server->callsOf(u"CloseNotification"_s);
        return std::ranges::any_of(calls, [&](const auto& c) { return c.arguments[0] == id; });
    }

    std::unique_ptr<FakeNotificationServer> server;
    std::unique_ptr<Scheduler> scheduler;
    std::vector<AgentNotificationResponse> responses;
    int authorizationChanges = 0;
};

TEST_F(SchedulerTest, NotifyCarriesActionsHintsAndAnEscapedBody)
{
    const uint id = show(request(u"p1"_s, u"<b>drop</b> & run"_s));
    ASSERT_NE(id, 0u);
    ASSERT_EQ(server->callsOf(u"Notify"_s).size(), 1u);
    const QVariantList args = server->callsOf(u"Notify"_s)[0].arguments;
    EXPECT_EQ(args[0], u"Orrel Sentry"_s);
    EXPECT_EQ(args[1].toUInt(), 0u);
    EXPECT_EQ(args[3], u"Claude needs input"_s);
    EXPECT_EQ(args[4], u"api · other\n&lt;b&gt;drop&lt;/b&gt; &amp; run"_s);
    EXPECT_EQ(args[5].toStringList(),
              (QStringList{u"default"_s, u"Open"_s, u"orrelsentry.jump"_s, u"Jump"_s}));
    const QVariantMap hints = args[6].toMap();
    EXPECT_EQ(hints.value(u"desktop-entry"_s), u"dev.orrelsentry.OrrelSentry"_s);
    EXPECT_EQ(hints.value(u"category"_s), u"orrelsentry.agent-event"_s);
    EXPECT_EQ(hints.value(u"urgency"_s).typeId(), QMetaType::UChar);
    EXPECT_EQ(hints.value(u"urgency"_s).toInt(), 1);
    EXPECT_EQ(args[7].toInt(), -1);

    // A changed text replaces the one shown, in place, and urgently when asked to.
    AgentNotificationRequest changed = request(u"p1"_s, u"Run it now?"_s);
    changed.interruption = AgentNotificationInterruption::timeSensitive;
    EXPECT_EQ(show(changed), id);
    const QVariantList again = server->callsOf(u"Notify"_s)[1].arguments;
    EXPECT_EQ(again[1].toUInt(), id);
    EXPECT_EQ(again[6].toMap().value(u"urgency"_s).toInt(), 2);
    ASSERT_EQ(scheduler->deliveredNotifications().size(), 1u);
    EXPECT_EQ(scheduler->deliveredNotifications()[0].body, u"Run it now?"_s);
    EXPECT_EQ(scheduler->deliveredNotifications()[0].metadata, changed.metadata);
}

TEST_F(SchedulerTest, AServerWithoutActionsOrMarkupGetsPlainText)
{
    server->capabilities = {u"body"_s};
    show(request(u"p1"_s, u"a < b"_s));
    const QVariantList args = server->callsOf(u"Notify"_s)[0].arguments;
    EXPECT_EQ(args[4], u"api · other\na < b"_s);
    EXPECT_TRUE(args[5].toStringList().isEmpty());
    // Read once per server.
    show(request(u"p2"_s));
    EXPECT_EQ(server->callsOf(u"GetCapabilities"_s).size(), 1u);
}

TEST_F(SchedulerTest, AuthorizedWhileAServerOwnsTheName)
{
    EXPECT_EQ(await(scheduler->authorizationStatus()), Authorization::authorized);
    show(request(u"p1"_s));
    server->stop();
    ASSERT_TRUE(processEventsUntil([&] { return authorizationChanges == 1; }));
    EXPECT_EQ(await(scheduler->authorizationStatus()), Authorization::denied);
    EXPECT_FALSE(await(scheduler->requestAuthorization()));
    // What the old server showed went with it.
    EXPECT_TRUE(scheduler->deliveredNotifications().empty());

    ASSERT_TRUE(server->start());
    ASSERT_TRUE(processEventsUntil([&] { return authorizationChanges == 2; }));
    EXPECT_EQ(await(scheduler->authorizationStatus()), Authorization::authorized);
    show(request(u"p1"_s));
    EXPECT_EQ(server->callsOf(u"GetCapabilities"_s).size(), 2u);
}

TEST_F(SchedulerTest, AnswersOfThePersonReachTheHandlerOnlyForOwnNotifications)
{
    const uint jump = show(request(u"p1"_s));
    const uint open = show(request(u"p2"_s));
    const uint dismissed = show(request(u"p3"_s));
    const AgentRef p1{u"local:other"_s, u"p1"_s};

    // Another program's notification, and an id this program never had.
    server->invokeAction(jump + 100, u"orrelsentry.jump"_s);
    server->dismiss(jump + 101);
    server->invokeAction(jump, u"orrelsentry.jump"_s);
    ASSERT_TRUE(processEventsUntil([&] { return !responses.empty(); }));
    EXPECT_EQ(responses, (std::vector<AgentNotificationResponse>{{Action::jump, p1}}));
    // Answered notifications are closed, and the server's closing after the click is no dismissal.
    ASSERT_TRUE(processEventsUntil([&] { return closeCalledFor(jump); }));
    EXPECT_FALSE(scheduler->notificationID(request(u"p1"_s).identifier));

    server->invokeAction(open, u"default"_s);
    server->dismiss(dismissed);
    ASSERT_TRUE(processEventsUntil([&] { return responses.size() == 3; }));
    EXPECT_EQ(responses[1],
              (AgentNotificationResponse{Action::open, AgentRef{u"local:other"_s, u"p2"_s}}));
    EXPECT_EQ(responses[2],
              (AgentNotificationResponse{Action::dismiss, AgentRef{u"local:other"_s, u"p3"_s}}));
    EXPECT_TRUE(scheduler->deliveredNotifications().empty());
    EXPECT_EQ(Scheduler::responseAction(u"orrelsentry.snooze"_s), Action::other);
}

TEST_F(SchedulerTest, TakingBackClosesWhatIsShownAndWhatIsStillOnItsWay)
{
    const uint shown = show(request(u"p1"_s));
    scheduler->removeDeliveredNotifications({request(u"p1"_s).identifier});
    EXPECT_TRUE(scheduler->deliveredNotifications().empty());
    ASSERT_TRUE(processEventsUntil([&] { return closeCalledFor(shown); }));
    EXPECT_TRUE(server->openIDs().empty());

    // Taken back while the server has not answered yet: closed once its id is known.
    server->mode = FakeNotificationServer::Mode::hold;
    std::optional<bool> added;
    auto adding = [](Scheduler* s, AgentNotificationRequest r,
                     std::optional<bool>* out) -> QCoro::Task<> {
        out->emplace(co_await s->add(std::move(r)));
    }(scheduler.get(), request(u"p2"_s), &added);
    ASSERT_TRUE(processEventsUntil([&] { return server->heldCount() == 1; }));
    EXPECT_EQ(scheduler->pendingNotifications().size(), 1u);
    scheduler->removePendingNotifications({request(u"p2"_s).identifier});
    EXPECT_TRUE(scheduler->pendingNotifications().empty());
    server->release();
    ASSERT_TRUE(processEventsUntil([&] { return added.has_value(); }));
    EXPECT_FALSE(*added);
    EXPECT_TRUE(scheduler->deliveredNotifications().empty());
    ASSERT_TRUE(processEventsUntil([&] { return server->openIDs().empty(); }));
}

TEST_F(SchedulerTest, ASlowOrBrokenServerCostsTheNotificationOnly)
{
    // Slow: the call is given up after its timeout, and the event loop runs meanwhile.
    server->mode = FakeNotificationServer::Mode::hold;
    std::optional<bool> added;
    bool loopRan = false;
    auto adding = [](Scheduler* s, AgentNotificationRequest r,
                     std::optional<bool>* out) -> QCoro::Task<> {
        out->emplace(co_await s->add(std::move(r)));
    }(scheduler.get(), request(u"p1"_s), &added);
    QTimer::singleShot(0, [&] { loopRan = true; });
    ASSERT_TRUE(processEventsUntil([&] { return added.has_value(); }));
    EXPECT_TRUE(loopRan);
    EXPECT_FALSE(*added);
    EXPECT_TRUE(scheduler->pendingNotifications().empty());
    EXPECT_TRUE(scheduler->deliveredNotifications().empty());
    // A late answer after the timeout changes nothing.
    server->release();

    server->mode = FakeNotificationServer::Mode::fail;
    EXPECT_FALSE(await(scheduler->add(request(u"p2"_s))));
    EXPECT_TRUE(scheduler->deliveredNotifications().empty());

    server->mode = FakeNotificationServer::Mode::answer;
    EXPECT_TRUE(await(scheduler->add(request(u"p3"_s))));
    EXPECT_EQ(scheduler->deliveredNotifications().size(), 1u);
}

TEST(SystemAgentNotificationScheduler, WithoutABusNothingIsShownAndNothingFails)
{
    const auto nowhere =
        QDBusConnection::connectToBus(u"unix:path=/nonexistent/bus"_s, u"nowhere"_s);
    Scheduler scheduler(nowhere);
    EXPECT_EQ(runTask(scheduler.authorizationStatus()), Authorization::denied);
    EXPECT_FALSE(runTask(scheduler.add(request(u"p1"_s))));
    EXPECT_TRUE(scheduler.deliveredNotifications().empty());
    EXPECT_TRUE(scheduler.pendingNotifications().empty());
}

} // namespace
