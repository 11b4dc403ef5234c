#include "HerdrClient/State/StateStore.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

PaneInfo makePane(const QString& id, AgentStatus status, const QString& tab = u"w1:t1"_s)
{
    PaneInfo pane;
    pane.paneID = id;
    pane.workspaceID = tab.section(u':', 0, 0);
    pane.tabID = tab;
    pane.agentStatus = status;
    return pane;
}

Snapshot makeSnapshot(std::vector<PaneInfo> panes, std::optional<QString> focused = std::nullopt)
{
    Snapshot snapshot;
    snapshot.panes = std::move(panes);
    snapshot.focusedPaneID = std::move(focused);
    return snapshot;
}

EventEnvelope statusEvent(const QString& paneID, const QString& status,
                          const QString& name = u"pane.agent_status_changed"_s)
{
    return {name, JSONValue::object({{u"pane_id"_s, paneID}, {u"agent_status"_s, status}})};
}

EventEnvelope paneEvent(const QString& name, const PaneInfo& pane)
{
    return {name, JSONValue::object({{u"type"_s, name}, {u"pane"_s, pane.asJSONValue()}})};
}

EventEnvelope idEvent(const QString& name, const QString& paneID)
{
    return {name, JSONValue::object({{u"type"_s, name}, {u"pane_id"_s, paneID}})};
}

class StateStoreTest : public ::testing::Test {
protected:
    Timestamp current = Timestamp(1'000'000s);
    StateStore store{[this] { return current; }};
};

TEST_F(StateStoreTest, OnlyWorkingStraightToIdleOrDoneIsAFinish)
{
    using enum RollupStatus;
    struct Case {
        bool focused;
        std::vector<const char16_t*> statuses;
        bool reported; // some step listed the pane as newly finished
        bool finished; // still finished and unseen at the end
        RollupStatus derived;
    };
    const std::vector<Case> cases = {
        {false, {u"working", u"done"}, true, true, done},
        {false, {u"working", u"idle"}, true, true, done},
        {true, {u"working", u"done"}, false, false, done},
        {true, {u"working", u"idle"}, false, false, idle},
        {false, {u"blocked", u"idle"}, false, false, idle},
        {false, {u"working", u"blocked", u"idle"}, false, false, idle},
        {false, {u"working", u"unknown"}, false, false, unknown},
        {false, {u"working", u"paused"}, false, false, unknown},
        {false, {u"idle", u"done"}, false, false, done},
        {false, {u"working", u"idle", u"working"}, true, false, working},
        {false, {u"working", u"idle", u"blocked"}, true, false, blocked},
        {false, {u"working", u"idle", u"unknown"}, true, true, done},
    };
    for (const Case& c : cases) {
        StateStore store([this] { return current; });
        store.hydrate(
            makeSnapshot({makePane(u"p"_s, AgentStatus::idle)}, c.focused ? u"p"_s : u"q"_s));
        std::vector<QString> reported;
        QString trace;
        for (const char16_t* status : c.statuses) {
            trace += QString::fromUtf16(status) + u' ';
            const auto result =
                store.applyTransitions(statusEvent(u"p"_s, QString::fromUtf16(status)));
            reported.insert(reported.end(), result.newlyFinishedPaneIDs.begin(),
                            result.newlyFinishedPaneIDs.end());
            EXPECT_FALSE(store.workingSince().contains(u"p"_s)
                         && store.blockedSince().contains(u"p"_s));
        }
        SCOPED_TRACE(trace.toStdString() + (c.focused ? "(focused)" : ""));
        EXPECT_EQ(reported, c.reported ? std::vector<QString>{u"p"_s} : std::vector<QString>{});
        EXPECT_EQ(store.finishedUnseen().contains(u"p"_s), c.finished);
        EXPECT_EQ(store.derivedStatus(u"p"_s), c.derived);
    }
}

TEST_F(StateStoreTest, EventsRaiseTheRevisionOnlyWhenHandled)
{
    store.hydrate(makeSnapshot({makePane(u"p"_s, AgentStatus::working)}));
    const PaneInfo pane = makePane(u"n"_s, AgentStatus::idle);
    const std::vector<std::pair<EventEnvelope, qint64>> events = {
        {{u"pane.agent_status_changed"_s, JSONValue::object({{u"agent_status"_s, u"idle"_s}})}, 0},
        {{u"pane.agent_status_changed"_s, JSONValue(JSONValue::Object{})}, 0},
        {{u"pane.agent_status_changed"_s, JSONValue::object({{u"pane_id"_s, u"p"_s}})}, 0},
        {{u"pane.agent_status_changed"_s,
          JSONValue::object({{u"pane_id"_s, u"p"_s}, {u"agent_status"_s, 3}})},
         0},
        {statusEvent(u"p"_s, u"blocked"_s, u"pane_agent_status_changed"_s), 1},
        {statusEvent(u"p"_s, u"working"_s), 1},
        {paneEvent(u"pane_created"_s, pane), 1},
        {paneEvent(u"pane_moved"_s, pane), 1},
        {idEvent(u"pane_agent_detected"_s, u"p"_s), 1},
        {idEvent(u"pane.output_matched"_s, u"p"_s), 1},
        {idEvent(u"pane_output_matched"_s, u"n"_s), 1},
        {statusEvent(u"p"_s, u"working"_s), 1},
        {idEvent(u"pane_exited"_s, u"nobody"_s), 1},
        {{u"pane_closed"_s, JSONValue(JSONValue::Object{})}, 1},
        {idEvent(u"pane_updated"_s, u"p"_s), 0},
        {idEvent(u"pane.created"_s, u"p"_s), 0},
    };
    for (const auto& [event, rise] : events) {
        SCOPED_TRACE(event.asJSONValue().description().toStdString());
        const qint64 before = store.revision();
        store.apply(event);
        EXPECT_EQ(store.revision() - before, rise);
    }
    EXPECT_EQ(store.pane(u"p"_s)->agentStatus, AgentStatus::working);
    EXPECT_EQ(store.outputMatched(), std::set<QString>{u"n"_s}) << "working again forgets a match";
}

TEST_F(StateStoreTest, StatusOfAPaneWithoutARecordStillRunsTheTransition)
{
    EXPECT_EQ(store.applyTransitions(statusEvent(u"ghost"_s, u"blocked"_s)).newlyBlockedPaneIDs,
              std::vector<QString>{u"ghost"_s});
    EXPECT_EQ(store.pane(u"ghost"_s), nullptr);
    EXPECT_EQ(store.blockedSince().at(u"ghost"_s), current);
    // Without a stored status every blocked report counts; a held pane reports once.
    EXPECT_TRUE(store.apply(statusEvent(u"ghost"_s, u"blocked"_s)));
    store.hydrate(makeSnapshot({makePane(u"held"_s, AgentStatus::blocked)}));
    EXPECT_FALSE(store.apply(statusEvent(u"held"_s, u"blocked"_s)));
    EXPECT_FALSE(store.apply(statusEvent(u"held"_s, u"working"_s)));
    EXPECT_TRUE(store.apply(statusEvent(u"held"_s, u"blocked"_s)));
}

TEST_F(StateStoreTest, FocusEventClearsAFinishedPaneAndCountsTwice)
{
    store.hydrate(makeSnapshot({makePane(u"p"_s, AgentStatus::working)}));
    store.apply(statusEvent(u"p"_s, u"done"_s));
    ASSERT_TRUE(store.finishedUnseen().contains(u"p"_s));
    std::vector<qint64> signalled;
    QObject::connect(&store, &StateStore::revisionChanged,
                     [&signalled](qint64 revision) { signalled.push_back(revision); });
    const qint64 before = store.revision();
    store.apply(idEvent(u"pane_focused"_s, u"p"_s));
    EXPECT_EQ(signalled, (std::vector<qint64>{before + 1, before + 2}));
    EXPECT_EQ(store.focusedPaneID(), u"p"_s);
    EXPECT_TRUE(store.finishedUnseen().empty());
    store.acknowledge(u"p"_s);
    EXPECT_EQ(store.revision(), before + 2) << "nothing left to acknowledge";
}

TEST_F(StateStoreTest, TimersKeepTheFirstMomentAndRestartAfterAPause)
{
    store.hydrate(makeSnapshot({makePane(u"p"_s, AgentStatus::idle)}));
    const Timestamp started = current;
    store.apply(statusEvent(u"p"_s, u"working"_s));
    current += 30s;
    store.apply(statusEvent(u"p"_s, u"working"_s));
    store.reconcile(makeSnapshot({makePane(u"p"_s, AgentStatus::working)}));
    EXPECT_EQ(store.workingSince().at(u"p"_s), started);
    EXPECT_EQ(store.possiblyStuckPanes(30, current), std::vector<QString>{u"p"_s});
    EXPECT_TRUE(store.possiblyStuckPanes(30.5, current).empty());

    current += 5s;
    store.apply(statusEvent(u"p"_s, u"blocked"_s));
    EXPECT_FALSE(store.workingSince().contains(u"p"_s));
    EXPECT_EQ(store.blockedSince().at(u"p"_s), current);
    current += 5s;
    store.apply(statusEvent(u"p"_s, u"idle"_s));
    store.apply(statusEvent(u"p"_s, u"working"_s));
    EXPECT_EQ(store.workingSince().at(u"p"_s), current);
    EXPECT_TRUE(store.blockedSince().empty());
}

TEST_F(StateStoreTest, ReconcileReportsPassagesOnceAndCountsOneRevision)
{
    const Snapshot first = makeSnapshot({makePane(u"b"_s, AgentStatus::blocked),
                                         makePane(u"a"_s, AgentStatus::blocked),
                                         makePane(u"w"_s, AgentStatus::working)});
    EXPECT_EQ(store.reconcile(first), (std::vector<QString>{u"a"_s, u"b"_s}));
    EXPECT_TRUE(store.reconcile(first).empty());
    EXPECT_EQ(store.revision(), 1) << "an identical poll changes nothing";

    // w finishes unfocused while b goes away, then a poll focuses w: it is still unseen.
    auto result = store.reconcileTransitions(makeSnapshot(
        {makePane(u"a"_s, AgentStatus::blocked), makePane(u"w"_s, AgentStatus::done)}));
    EXPECT_EQ(result.newlyFinishedPaneIDs, std::vector<QString>{u"w"_s});
    EXPECT_EQ(store.revision(), 2);
    EXPECT_EQ(store.pane(u"b"_s), nullptr);
    EXPECT_FALSE(store.blockedSince().contains(u"b"_s));
    store.reconcile(makeSnapshot(
        {makePane(u"a"_s, AgentStatus::blocked), makePane(u"w"_s, AgentStatus::done)}, u"w"_s));
    EXPECT_TRUE(store.finishedUnseen().contains(u"w"_s));

    // A pane that finishes in the same poll that focuses it was seen.
    result = store.reconcileTransitions(makeSnapshot(
        {makePane(u"a"_s, AgentStatus::working), makePane(u"w"_s, AgentStatus::done)}, u"a"_s));
    result = store.reconcileTransitions(makeSnapshot(
        {makePane(u"a"_s, AgentStatus::idle), makePane(u"w"_s, AgentStatus::done)}, u"a"_s));
    EXPECT_EQ(result, StateTransitionResult{});

    // Tabs and workspaces alone count as a change too, once.
    Snapshot renamed = makeSnapshot(
        {makePane(u"a"_s, AgentStatus::idle), makePane(u"w"_s, AgentStatus::done)}, u"a"_s);
    renamed.tabs = {TabInfo{u"w1:t1"_s, u"w1"_s, 1, u"renamed"_s, {}, {}, {}}};
    renamed.workspaces = {WorkspaceInfo{u"w1"_s, 1, u"api"_s, {}, {}, {}, {}, {}, {}}};
    const qint64 before = store.revision();
    store.reconcile(renamed);
    EXPECT_EQ(store.revision(), before + 1);
    EXPECT_EQ(store.tabs().at(u"w1:t1"_s).label, u"renamed"_s);
    EXPECT_EQ(store.workspaces().at(u"w1"_s).label, u"api"_s);
}

TEST_F(StateStoreTest, ReplayedCreationDoesNotOverwriteALivePane)
{
    store.reconcile(makeSnapshot({makePane(u"p"_s, AgentStatus::blocked)}));
    const Timestamp blockedAt = current;
    current += 10s;
    store.apply(paneEvent(u"pane_created"_s, makePane(u"p"_s, AgentStatus::unknown)));
    EXPECT_EQ(store.pane(u"p"_s)->agentStatus, AgentStatus::blocked);
    EXPECT_EQ(store.blockedSince().at(u"p"_s), blockedAt);
    EXPECT_TRUE(store.reconcile(makeSnapshot({makePane(u"p"_s, AgentStatus::blocked)})).empty())
        << "no repeat alert after a replay";

    // A creation for a pane not held yet is taken, and so is a move of a held one.
    store.apply(paneEvent(u"pane_created"_s, makePane(u"n"_s, AgentStatus::working)));
    EXPECT_EQ(store.workingSince().at(u"n"_s), current);
    store.apply(paneEvent(u"pane_moved"_s, makePane(u"p"_s, AgentStatus::idle, u"w2:t1"_s)));
    EXPECT_EQ(store.pane(u"p"_s)->tabID, u"w2:t1"_s);
    EXPECT_FALSE(store.blockedSince().contains(u"p"_s));
    store.apply(idEvent(u"pane_closed"_s, u"n"_s));
    EXPECT_FALSE(store.workingSince().contains(u"n"_s));
}

TEST_F(StateStoreTest, HydrateRaisesNoPassagesAndKeepsOnlyLivePanes)
{
    store.hydrate(makeSnapshot(
        {makePane(u"a"_s, AgentStatus::working), makePane(u"b"_s, AgentStatus::working)}));
    store.apply(statusEvent(u"a"_s, u"idle"_s));
    store.apply(statusEvent(u"b"_s, u"idle"_s));
    store.apply(statusEvent(u"ghost"_s, u"working"_s));
    current += 1s;
    const Snapshot snapshot =
        makeSnapshot({makePane(u"a"_s, AgentStatus::idle), makePane(u"c"_s, AgentStatus::blocked),
                      makePane(u"c"_s, AgentStatus::working)},
                     u"c"_s);
    const qint64 before = store.revision();
    store.hydrate(snapshot);
    store.hydrate(snapshot);
    EXPECT_EQ(store.revision(), before + 2) << "hydrate always counts";
    EXPECT_EQ(store.finishedUnseen(), std::set<QString>{u"a"_s});
    EXPECT_TRUE(store.workingSince().empty()) << "the first record of a pane id wins";
    EXPECT_EQ(store.blockedSince().at(u"c"_s), current);
    EXPECT_EQ(store.focusedPaneID(), u"c"_s);
}

TEST_F(StateStoreTest, RollupsRankBlockedWorkingDoneIdleUnknown)
{
    using enum RollupStatus;
    EXPECT_EQ(store.overallStatus(), unknown);
    EXPECT_EQ(rollup(std::vector{unknown, idle, unknown}), idle);
    EXPECT_EQ(rollup(std::vector{idle, done}), done);
    EXPECT_EQ(rollup(std::vector{done, working, idle}), working);
    EXPECT_EQ(rollup(std::vector{working, blocked, unknown}), blocked);

    store.hydrate(makeSnapshot({
        makePane(u"a"_s, AgentStatus::done, u"w1:t1"_s),
        makePane(u"b"_s, AgentStatus::unknown, u"w1:t1"_s),
        makePane(u"c"_s, AgentStatus::working, u"w1:t2"_s),
        makePane(u"d"_s, AgentStatus::blocked, u"w2:t1"_s),
    }));
    EXPECT_EQ(store.derivedStatus(u"a"_s), done) << "done needs no finished mark";
    EXPECT_EQ(store.rollupForTab(u"w1:t1"_s), done);
    EXPECT_EQ(store.rollupForWorkspace(u"w1"_s), working);
    EXPECT_EQ(store.rollupForTab(u"nowhere"_s), unknown);
    EXPECT_EQ(store.overallStatus(), blocked);
    ASSERT_EQ(store.blockedPanes().size(), 1u);
    EXPECT_EQ(store.blockedPanes().front().paneID, u"d"_s);
}

TEST_F(StateStoreTest, SubscriptionsFollowTheHeldPanes)
{
    store.hydrate(makeSnapshot(
        {makePane(u"w1:p2"_s, AgentStatus::idle), makePane(u"w1:p10"_s, AgentStatus::idle)}));
    const auto wire = [](const std::vector<Subscription>& list) {
        JSONValue::Array array;
        for (const Subscription& s : list)
            array.push_back(s.asJSONValue());
        return JSONValue(array).serialized();
    };
    const QByteArray lifecycle = R"({"type":"pane.agent_detected"},{"type":"pane.created"},)"
                                 R"({"type":"pane.exited"},{"type":"pane.closed"}])";
    EXPECT_EQ(wire(store.currentSubscriptions(true)),
              R"([{"pane_id":"w1:p10","type":"pane.agent_status_changed"},)"
              R"({"pane_id":"w1:p2","type":"pane.agent_status_changed"},)"
                  + lifecycle);
    EXPECT_EQ(wire(store.currentSubscriptions(false)), "[" + lifecycle);
}

} // namespace
