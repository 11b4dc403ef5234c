// What to post and what to take back, against a scheduler that keeps its records in memory.
#include "OrrelApp/Alerts/AgentNotificationController.h"

#include "OrrelApp/Alerts/AgentNotificationPayloadBuilder.h"
#include "OrrelApp/Platform/AgentNotificationScheduling.h"
#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/InteractionAttentionDisplayModel.h"
#include "tests/support/TestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <coroutine>

using namespace Qt::StringLiterals;

namespace {

using Authorization = AgentNotificationAuthorization;
using Action = AgentNotificationResponseAction;
namespace Builder = AgentNotificationPayloadBuilder;

InteractionAttentionDisplayModel item(const QString& session, const QString& pane,
                                      const QString& summary = u"Run npm test?"_s)
{
    InteractionAttentionDisplayModel row;
    row.ref = {session, pane};
    row.agentName = u"Claude"_s;
    row.workspaceLabel = u"api"_s;
    row.summary = summary;
    return row;
}

// Calls that wait on the desktop until the test lets them finish.
class Gate {
public:
    bool closed = false;

    auto wait()
    {
        struct Awaiter {
            Gate* gate;
            bool await_ready() const noexcept { return !gate->closed; }
            void await_suspend(std::coroutine_handle<> waiting)
            {
                gate->m_waiting.push_back(waiting);
            }
            void await_resume() const noexcept {}
        };
        return Awaiter{this};
    }

    void open()
    {
        closed = false;
        for (std::coroutine_handle<> waiting : std::exchange(m_waiting, {}))
            waiting.resume();
    }

    qsizetype waiting() const { return qsizetype(m_waiting.size()); }

private:
    std::vector<std::coroutine_handle<>> m_waiting;
};

class MemoryScheduler : public AgentNotificationScheduling {
public:
    Authorization status = Authorization::authorized;
    // What the person answers when asked.
    Authorization answer = Authorization::authorized;
    Gate statusGate;
    Gate requestGate;
    int requests = 0;
    std::vector<AgentNotificationRequest> added;
    std::vector<ScheduledAgentNotification> delivered;
    std::vector<ScheduledAgentNotification> pending;
    QStringList removedPending;
    QStringList removedDelivered;
    ResponseHandler responseHandler;
    std::function<void()> changeHandler;

    ~MemoryScheduler() override
    {
        statusGate.open();
        requestGate.open();
    }

    QCoro::Task<Authorization> authorizationStatus() override
    {
        co_await statusGate.wait();
        co_return status;
    }
    QCoro::Task<bool> requestAuthorization() override
    {
        ++requests;
        co_await requestGate.wait();
        status = answer;
        co_return status == Authorization::authorized;
    }
    std::vector<ScheduledAgentNotification> deliveredNotifications() const override
    {
        return delivered;
    }
    std::vector<ScheduledAgentNotification> pendingNotifications() const override
    {
        return pending;
    }
    QCoro::Task<bool> add(AgentNotificationRequest request) override
    {
        std::erase_if(delivered, [&](const auto& r) { return r.identifier == request.identifier; });
        delivered.push_back(
            {request.identifier, request.title, request.subtitle, request.body, request.metadata});
        added.push_back(std::move(request));
        co_return true;
    }
    void removePendingNotifications(const QStringList& identifiers) override
    {
        removedPending += identifiers;
        std::erase_if(pending, [&](const auto& r) { return identifiers.contains(r.identifier); });
    }
    void removeDeliveredNotifications(const QStringList& identifiers) override
    {
        removedDelivered += identifiers;
        std::erase_if(delivered, [&](const auto& r) { return identifiers.contains(r.identifier); });
    }
    void setResponseHandler(ResponseHandler handler) override
    {
        responseHandler = std::move(handler);
    }
    void setAuthorizationChangeHandler(std::function<void()> handler) override
    {
        changeHandler = std::move(handler);
    }
};

class AgentNotificationControllerTest : public ::testing::Test {
protected:
    AgentNotificationControllerTest()
        : store(directory.filePath(u"orrelsentry.conf"_s)), settings(store),
          controller(settings, scheduler)
    {
    }

    QString identifier(const QString& session, const QString& pane,
                       AgentNotificationKind kind = AgentNotificationKind::blocked) const
    {
        return Builder::identifier({session, pane}, kind);
    }

    QTemporaryDir directory;
    IniSettingsStore store;
    Settings settings;
    MemoryScheduler scheduler;
    AgentNotificationController controller;
};

} // namespace

TEST(AgentNotificationPayloadBuilder, IdentityTokensAreUrlSafeAndKeepSplitsApart)
{
    EXPECT_EQ(Builder::identityToken({u"local:default"_s, u"w1:p1"_s}),
              u"MTM6bG9jYWw6ZGVmYXVsdHcxOnAx"_s);
    // The same characters split differently; the padding of both is dropped.
    EXPECT_EQ(Builder::identityToken({u"ab"_s, u"c"_s}), u"MjphYmM"_s);
    EXPECT_EQ(Builder::identityToken({u"a"_s, u"bc"_s}), u"MTphYmM"_s);
    // The length counts UTF-8 bytes; "+" and "/" become "-" and "_".
    EXPECT_EQ(Builder::identityToken({u"ssh:host/é"_s, u"w1:>>>?"_s}),
              u"MTE6c3NoOmhvc3Qvw6l3MTo-Pj4_"_s);
    EXPECT_EQ(Builder::identifier({u"ab"_s, u"c"_s}, AgentNotificationKind::done),
              u"orrelsentry.agent.MjphYmM.done"_s);
    EXPECT_EQ(Builder::threadIdentifier({u"ab"_s, u"c"_s}), u"orrelsentry.agent.MjphYmM"_s);
}

TEST(AgentNotificationPayloadBuilder, TextsOfARequest)
{
    InteractionAttentionDisplayModel row = item(u"local:other"_s, u"w1:p1"_s);
    const auto blocked = Builder::request(row, AgentNotificationKind::blocked, true, true);
    EXPECT_EQ(blocked.title, u"Claude needs input"_s);
    EXPECT_EQ(blocked.subtitle, u"api"_s);
    EXPECT_EQ(blocked.body, u"Run npm test?"_s);
    EXPECT_EQ(blocked.identifier, u"orrelsentry.agent.MTE6bG9jYWw6b3RoZXJ3MTpwMQ.blocked"_s);
    EXPECT_EQ(blocked.metadata,
              (AgentNotificationMetadata{row.ref, AgentNotificationKind::blocked}));

    row.sessionLabel = u"other"_s;
    const auto done = Builder::request(row, AgentNotificationKind::done, true, false);
    EXPECT_EQ(done.title, u"Claude finished"_s);
    EXPECT_EQ(done.subtitle, u"api · other"_s);

    // Bodies are cut by the characters a person sees, a flag being one.
    const QString flag = u"🇳🇴"_s;
    const std::pair<QString, QString> bodies[] = {
        {QString(240, u'a'), QString(240, u'a')},
        {QString(241, u'a'), QString(239, u'a') + u'…'},
        {QString(238, u'a') + flag + flag + flag, QString(238, u'a') + flag + u'…'},
        {QString(239, u'a') + flag, QString(239, u'a') + flag},
    };
    for (const auto& [summary, body] : bodies) {
        row.summary = summary;
        EXPECT_EQ(Builder::request(row, AgentNotificationKind::blocked, true, false).body, body)
            << summary.size();
    }

    using Interruption = AgentNotificationInterruption;
    // {respectDND, supportsTimeSensitive}: only a desktop that can, told to, breaks through.
    EXPECT_EQ(Builder::request(row, AgentNotificationKind::blocked, false, true).interruption,
              Interruption::timeSensitive);
    for (const auto& [respect, supports] : {std::pair{true, true}, {true, false}, {false, false}})
        EXPECT_EQ(
            Builder::request(row, AgentNotificationKind::blocked, respect, supports).interruption,
            Interruption::active);
}

TEST(AgentNotificationMetadata, UserInfoRoundTripsAndIncompleteRecordsNameNoAgent)
{
    const AgentNotificationMetadata metadata{{u"local:a"_s, u"w1:p1"_s},
                                             AgentNotificationKind::done};
    EXPECT_EQ(AgentNotificationMetadata::fromUserInfo(metadata.userInfo()), metadata);
    AgentNotificationUserInfo oldRecord = metadata.userInfo();
    oldRecord.erase(AgentNotificationMetadata::eventKindKey);
    EXPECT_FALSE(AgentNotificationMetadata::fromUserInfo(oldRecord));
    AgentNotificationUserInfo unknownKind = metadata.userInfo();
    unknownKind[AgentNotificationMetadata::eventKindKey] = u"approved"_s;
    EXPECT_FALSE(AgentNotificationMetadata::fromUserInfo(unknownKind));
}

TEST_F(AgentNotificationControllerTest, PostsEachTextOnceAndAChangedTextInPlace)
{
    controller.start();
    ASSERT_EQ(controller.authorization(), Authorization::authorized);
    controller.post(item(u"s"_s, u"p"_s), AgentNotificationKind::blocked);
    controller.post(item(u"s"_s, u"p"_s), AgentNotificationKind::blocked);
    ASSERT_EQ(scheduler.added.size(), 1u);

    // One still on its way counts as well.
    scheduler.pending = std::exchange(scheduler.delivered, {});
    controller.post(item(u"s"_s, u"p"_s), AgentNotificationKind::blocked);
    EXPECT_EQ(scheduler.added.size(), 1u);

    controller.post(item(u"s"_s, u"p"_s, u"Run npm test again?"_s), AgentNotificationKind::blocked);
    controller.post(item(u"s"_s, u"p"_s), AgentNotificationKind::done);
    ASSERT_EQ(scheduler.added.size(), 3u);
    EXPECT_EQ(scheduler.added[1].identifier, scheduler.added[0].identifier);
    EXPECT_EQ(scheduler.added[1].body, u"Run npm test again?"_s);
    EXPECT_EQ(scheduler.added[2].identifier,
              identifier(u"s"_s, u"p"_s, AgentNotificationKind::done));
}

TEST_F(AgentNotificationControllerTest, AlertsBeforeTheAnswerWaitAndTheLatestOfAnAgentIsPosted)
{
    scheduler.status = Authorization::notDetermined;
    scheduler.statusGate.closed = true;
    scheduler.requestGate.closed = true;
    controller.start();
    controller.post(item(u"s"_s, u"p1"_s, u"first"_s), AgentNotificationKind::blocked);
    controller.post(item(u"s"_s, u"p1"_s, u"second"_s), AgentNotificationKind::blocked);
    controller.post(item(u"s"_s, u"p2"_s), AgentNotificationKind::blocked);
    EXPECT_EQ(controller.deferredRequests().size(), 2u);
    EXPECT_EQ(controller.authorization(), Authorization::unknown);

    scheduler.statusGate.open();
    // Every read saw "not asked yet"; the person is asked once.
    EXPECT_EQ(scheduler.requests, 1);
    EXPECT_EQ(controller.authorization(), Authorization::notDetermined);
    EXPECT_TRUE(scheduler.added.empty());
    EXPECT_EQ(scheduler.requestGate.waiting(), 1);

    scheduler.requestGate.open();
    EXPECT_EQ(controller.authorization(), Authorization::authorized);
    EXPECT_TRUE(controller.deferredRequests().empty());
    ASSERT_EQ(scheduler.added.size(), 2u);
    const auto first = std::ranges::find(scheduler.added, identifier(u"s"_s, u"p1"_s),
                                         &AgentNotificationRequest::identifier);
    ASSERT_NE(first, scheduler.added.end());
    EXPECT_EQ(first->body, u"second"_s);
}

TEST_F(AgentNotificationControllerTest, ARefusalDropsWhatWaitedAndAServerThatAppearsIsUsed)
{
    scheduler.status = Authorization::notDetermined;
    scheduler.answer = Authorization::denied;
    scheduler.requestGate.closed = true;
    controller.start();
    controller.post(item(u"s"_s, u"p"_s), AgentNotificationKind::blocked);
    scheduler.requestGate.open();
    EXPECT_EQ(controller.authorization(), Authorization::denied);
    EXPECT_TRUE(controller.deferredRequests().empty());
    controller.post(item(u"s"_s, u"p"_s), AgentNotificationKind::blocked);
    EXPECT_TRUE(scheduler.added.empty());
    EXPECT_EQ(scheduler.requests, 1);

    int changes = 0;
    QObject::connect(&controller, &AgentNotificationController::authorizationChanged,
                     [&] { ++changes; });
    scheduler.status = Authorization::authorized;
    scheduler.changeHandler();
    EXPECT_EQ(controller.authorization(), Authorization::authorized);
    EXPECT_EQ(changes, 1);
    controller.post(item(u"s"_s, u"p"_s), AgentNotificationKind::blocked);
    EXPECT_EQ(scheduler.added.size(), 1u);
}

TEST_F(AgentNotificationControllerTest, SwitchedOffNothingIsPostedAndWhatIsShownGoes)
{
    controller.start();
    controller.post(item(u"s"_s, u"p1"_s), AgentNotificationKind::blocked);
    scheduler.pending.push_back({u"in-flight"_s, {}, {}, {}, std::nullopt});
    settings.setNotificationsEnabled(false);
    EXPECT_TRUE(scheduler.delivered.empty());
    EXPECT_TRUE(scheduler.pending.empty());
    controller.post(item(u"s"_s, u"p2"_s), AgentNotificationKind::blocked);
    EXPECT_EQ(scheduler.added.size(), 1u);

    // Alerts waiting for the desktop's answer are dropped too.
    settings.setNotificationsEnabled(true);
    scheduler.statusGate.closed = true;
    AgentNotificationController waiting(settings, scheduler);
    waiting.start();
    waiting.post(item(u"s"_s, u"p3"_s), AgentNotificationKind::blocked);
    ASSERT_EQ(waiting.deferredRequests().size(), 1u);
    settings.setNotificationsEnabled(false);
    EXPECT_TRUE(waiting.deferredRequests().empty());
    scheduler.statusGate.open();
    EXPECT_EQ(scheduler.added.size(), 1u);
}

TEST_F(AgentNotificationControllerTest, TakesBackOnlyWhatNoLongerWaits)
{
    controller.start();
    for (const QString& pane : {u"p1"_s, u"p2"_s})
        controller.post(item(u"s"_s, pane), AgentNotificationKind::blocked);
    controller.post(item(u"s"_s, u"p3"_s), AgentNotificationKind::done);
    controller.post(item(u"t"_s, u"p1"_s), AgentNotificationKind::blocked);
    // A record from before the user info names no agent.
    scheduler.delivered.push_back({u"old"_s, u"Claude needs input"_s, {}, {}, std::nullopt});

    controller.reconcileBlocked(u"s"_s, {{u"s"_s, u"p2"_s}});
    EXPECT_EQ(scheduler.removedDelivered, QStringList{identifier(u"s"_s, u"p1"_s)});
    EXPECT_EQ(scheduler.removedPending, scheduler.removedDelivered);
    EXPECT_EQ(scheduler.delivered.size(), 4u);

    scheduler.removedDelivered.clear();
    controller.removeNotifications(AgentRef{u"s"_s, u"p3"_s});
    EXPECT_EQ(scheduler.removedDelivered,
              (QStringList{identifier(u"s"_s, u"p3"_s),
                           identifier(u"s"_s, u"p3"_s, AgentNotificationKind::done)}));
    controller.removeNotifications(u"t"_s);
    ASSERT_EQ(scheduler.delivered.size(), 2u);
    EXPECT_EQ(scheduler.delivered[0].identifier, identifier(u"s"_s, u"p2"_s));
    EXPECT_EQ(scheduler.delivered[1].identifier, u"old"_s);

    // Stopping takes back everything: nothing would answer a click any more.
    controller.stop();
    EXPECT_TRUE(scheduler.delivered.empty());
}

TEST_F(AgentNotificationControllerTest, AnswersWaitForTheHandlerAndKeepTheirOrder)
{
    controller.start();
    const AgentRef ref{u"s"_s, u"p"_s};
    scheduler.responseHandler({Action::jump, ref});
    scheduler.responseHandler({Action::open, std::nullopt});
    EXPECT_EQ(controller.queuedActions().size(), 2u);

    std::vector<AgentNotificationResponse> handled;
    controller.setActionHandler([&](AgentNotificationResponse response) -> QCoro::Task<> {
        handled.push_back(response);
        co_return;
    });
    EXPECT_EQ(handled, (std::vector<AgentNotificationResponse>{{Action::jump, ref},
                                                               {Action::open, std::nullopt}}));
    EXPECT_TRUE(controller.queuedActions().empty());
    scheduler.responseHandler({Action::dismiss, ref});
    EXPECT_EQ(handled.size(), 3u);

    controller.stop();
    scheduler.responseHandler({Action::jump, ref});
    EXPECT_EQ(handled.size(), 3u);
    EXPECT_EQ(controller.queuedActions().size(), 1u);
}
