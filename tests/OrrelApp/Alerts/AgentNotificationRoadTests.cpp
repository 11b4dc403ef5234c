// From an agent that waits to a desktop notification and back: the real view model over a fake
// herdr, the controller, and the scheduler speaking to a notification server on a private
// session bus (ctest runs this program under dbus-run-session).
#include "OrrelApp/Alerts/AgentNotificationController.h"
#include "OrrelApp/Alerts/AgentNotificationPayloadBuilder.h"
#include "OrrelApp/Alerts/AgentNotificationRouting.h"
#include "OrrelApp/Automation/NotificationAutomation.h"
#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Platform/SystemAgentNotificationScheduler.h"
#include "OrrelApp/Shell/Settings.h"
#include "tests/OrrelApp/Surface/OrrelViewModelFixture.h"
#include "tests/support/FakeNotificationServer.h"

#include <QJsonArray>

namespace {

const AgentRef migrate{u"local:default"_s, u"w1:p1"_s};
// Text as gtest can print it.
std::string text(const QVariant& value)
{
    return value.toString().toStdString();
}
const AgentRef tests{u"local:default"_s, u"w1:p2"_s};

class NotificationRoad : public ViewModelTest {
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            GTEST_SKIP() << "no session bus: ctest runs this under dbus-run-session";
        ViewModelTest::SetUp();
        store = std::make_unique<IniSettingsStore>(home.filePath(u"orrelsentry.conf"_s));
        settings = std::make_unique<Settings>(*store);
        // Short: a reply that goes astray costs a test no more than this.
        scheduler = std::make_unique<SystemAgentNotificationScheduler>(
            QDBusConnection::sessionBus(),
            SystemAgentNotificationScheduler::Options{.callTimeout = 1s});
        controller = std::make_unique<AgentNotificationController>(*settings, *scheduler);
        controller->setActionHandler([this](AgentNotificationResponse response) {
            return routeNotificationResponse(*model, std::move(response));
        });
        notificationSink = controller.get();
    }

    // Two claude panes wait at approvals; both alert once their grace has passed.
    void startWaitingAgents()
    {
        controller->start();
        startModel(R"({"workspaces":[{"workspace_id":"w1","label":"api"}],
            "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"}],
            "panes":[)"
                   + claudePane(migrate.paneID, u"npm run migrate"_s) + ','
                   + claudePane(tests.paneID, u"npm test"_s) + R"(,
            {"pane_id":"w1:idle","agent":"codex","agent_status":"idle"}]})");
        advance(29s);
        advance(8s);
    }

    void TearDown() override
    {
        // The model goes first: it posts to the controller.
        ViewModelTest::TearDown();
        if (controller)
            controller->stop();
        controller.reset();
        scheduler.reset();
    }

    uint shownID(const AgentRef& ref) const
    {
        return scheduler
            ->notificationID(
                AgentNotificationPayloadBuilder::identifier(ref, AgentNotificationKind::blocked))
            .value_or(0);
    }

    std::vector<FakeNotificationServer::Call> notifyCalls() const
    {
        return server.callsOf(u"Notify"_s);
    }

    bool closed(uint id) const
    {
        const auto calls = server.callsOf(u"CloseNotification"_s);
        return std::ranges::any_of(calls, [&](const auto& c) { return c.arguments[0] == id; });
    }

    FakeNotificationServer server;
    std::unique_ptr<IniSettingsStore> store;
    std::unique_ptr<Settings> settings;
    std::unique_ptr<SystemAgentNotificationScheduler> scheduler;
    std::unique_ptr<AgentNotificationController> controller;
};

TEST_F(NotificationRoad, AnAlertIsPostedOnceAndItsJumpReachesTheAgent)
{
    ASSERT_TRUE(server.start());
    startWaitingAgents();
    ASSERT_EQ(alerts.size(), 2u);
    ASSERT_TRUE(processEventsUntil([&] { return controller->openNotifications().size() == 2; }));
    const QVariantList first = notifyCalls().at(0).arguments;
    EXPECT_EQ(text(first[3]), "claude needs input");
    EXPECT_EQ(text(first[4]), "api · default\nDo you want to proceed?");

    // Later cycles see the same agents waiting: nothing is posted again.
    advance(8s);
    EXPECT_EQ(notifyCalls().size(), 2u);

    const QJsonArray state = NotificationAutomation::state(*controller);
    ASSERT_EQ(state.size(), 2);
    const auto entry = std::ranges::find_if(
        state, [](const QJsonValue& v) { return v[u"ref"_s] == migrate.id(); });
    ASSERT_NE(entry, state.end());
    EXPECT_EQ(text((*entry)[u"title"_s].toVariant()), "claude needs input");
    EXPECT_EQ(text((*entry)[u"body"_s].toVariant()), "Do you want to proceed?");
    EXPECT_EQ(text((*entry)[u"kind"_s].toVariant()), "blocked");
    EXPECT_EQ((*entry)[u"id"_s].toString(),
              AgentNotificationPayloadBuilder::identifier(migrate, AgentNotificationKind::blocked));

    const uint id = shownID(migrate);
    server.invokeAction(id, u"orrelsentry.jump"_s);
    ASSERT_TRUE(processEventsUntil([&] { return !a.server.requestsFor(u"pane.focus"_s).empty(); }));
    const JSONValue params = a.server.requestsFor(u"pane.focus"_s).front().params;
    ASSERT_TRUE(params.member(u"pane_id"));
    EXPECT_EQ(params.member(u"pane_id")->stringValue(), migrate.paneID);
    ASSERT_TRUE(processEventsUntil([&] { return closed(id); }));
    EXPECT_EQ(controller->openNotifications().size(), 1u);
}

TEST_F(NotificationRoad, AnAgentThatStopsWaitingHasItsNotificationClosed)
{
    ASSERT_TRUE(server.start());
    startWaitingAgents();
    ASSERT_TRUE(processEventsUntil([&] { return controller->openNotifications().size() == 2; }));
    const uint migrating = shownID(migrate);
    const uint testing = shownID(tests);

    a.scenario.setPaneStatus(migrate.paneID, AgentStatus::working);
    // The next poll sees it, if the event stream has not told it already.
    advance(8s);
    ASSERT_TRUE(processEventsUntil([&] { return closed(migrating); }));
    EXPECT_EQ(server.openIDs(), std::vector{testing});
    EXPECT_FALSE(closed(testing));
}

TEST_F(NotificationRoad, WithoutAServerAlertsStillComeAndALateServerIsUsed)
{
    startWaitingAgents();
    EXPECT_EQ(alerts.size(), 2u);
    EXPECT_EQ(controller->authorization(), AgentNotificationAuthorization::denied);
    EXPECT_TRUE(controller->openNotifications().empty());

    ASSERT_TRUE(server.start());
    ASSERT_TRUE(processEventsUntil(
        [&] { return controller->authorization() == AgentNotificationAuthorization::authorized; }));
    // The agent works, then asks again: a new alert, and now a notification.
    a.scenario.setPaneStatus(migrate.paneID, AgentStatus::working);
    advance(8s);
    a.scenario.setPaneStatus(migrate.paneID, AgentStatus::blocked);
    // Seen by this poll at the latest; the grace runs from there.
    advance(8s);
    advance(29s);
    advance(8s);
    ASSERT_TRUE(processEventsUntil([&] { return controller->openNotifications().size() == 1; }))
        << alerts.size() << " alerts, " << notifyCalls().size() << " Notify calls";
    ASSERT_EQ(notifyCalls().size(), 1u);
    EXPECT_NE(shownID(migrate), 0u);
}

TEST_F(NotificationRoad, TheAutomationChannelAnswersAsTheDesktopWould)
{
    ASSERT_TRUE(server.start());
    startWaitingAgents();
    ASSERT_TRUE(processEventsUntil([&] { return controller->openNotifications().size() == 2; }));

    AutomationCommand open;
    open.kind = AutomationCommand::Kind::notification;
    open.action = u"open"_s;
    open.session = tests.sessionID;
    open.pane = tests.paneID;
    const auto opened = runTask(NotificationAutomation::perform(*controller, open));
    ASSERT_TRUE(opened);
    EXPECT_EQ((*opened)[u"answered"_s].toArray().size(), 1);
    EXPECT_TRUE(model->presentation().isFocused());
    EXPECT_EQ(model->selected(), tests);
    ASSERT_TRUE(processEventsUntil([&] { return server.openIDs().size() == 1; }));

    AutomationCommand gone = open;
    gone.action = u"jump"_s;
    gone.pane = u"w1:gone"_s;
    const auto jumped = runTask(NotificationAutomation::perform(*controller, gone));
    ASSERT_TRUE(jumped);
    EXPECT_TRUE((*jumped)[u"answered"_s].toArray().isEmpty());
    ASSERT_TRUE(model->jumpNotice());
    EXPECT_EQ(model->jumpNotice()->text,
              u"This notification refers to an agent that is no longer available."_s);
    EXPECT_TRUE(a.server.requestsFor(u"pane.focus"_s).empty());
}

} // namespace
