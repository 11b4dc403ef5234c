#include "HerdrClient/Attention/AttentionPolicy.h"
#include "HerdrClient/Attention/EpochSeconds.h"
#include "tests/HerdrClient/Attention/AttentionTestSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Phase = AttentionItem::Phase;

namespace {

PaneInfo worker(const QString& id, const QString& owner, AgentStatus status,
                std::map<QString, QString> tokens = {})
{
    tokens.emplace(u"nh_parent"_s, owner);
    return pane(id, status, std::move(tokens));
}

class Policy : public ::testing::Test {
protected:
    AttentionSnapshot evaluate(const std::vector<PaneInfo>& panes, Seconds at,
                               const PiHarnessJournal& journal = {}, bool loadAskDetails = true)
    {
        return policy.evaluate(panes, AgentTree(panes, {}, false), journal,
                               start + std::chrono::duration_cast<Timestamp::duration>(at),
                               AttentionPolicy::defaultGrace, loadAskDetails);
    }

    QTemporaryDir asks;
    AttentionPolicy policy{asks.path()};
    const Timestamp start = timestampFromEpochSeconds(1'800'000'000);
};

} // namespace

TEST_F(Policy, GraceClock)
{
    const std::vector blocked{pane(u"r"_s, AgentStatus::blocked)};
    auto snapshot = evaluate(blocked, 0s);
    ASSERT_EQ(ids(snapshot.items), std::vector{u"blocked:r:1"_s});
    EXPECT_EQ(snapshot.items[0].phase, Phase::grace);
    EXPECT_EQ(snapshot.overallStatus, RollupStatus::blocked);
    EXPECT_EQ(snapshot.state(u"r"_s, {}), u"blocked-in-grace"_s);

    snapshot = evaluate(blocked, 29.9s);
    EXPECT_EQ(snapshot.items[0].phase, Phase::grace);
    EXPECT_TRUE(snapshot.newlyAlerted.empty());

    snapshot = evaluate(blocked, 30s);
    EXPECT_EQ(snapshot.items[0].phase, Phase::alerted);
    EXPECT_EQ(ids(snapshot.newlyAlerted), std::vector{u"blocked:r:1"_s});
    EXPECT_EQ(snapshot.items[0].since, start);

    snapshot = evaluate(blocked, 31s);
    EXPECT_EQ(snapshot.items[0].phase, Phase::alerted);
    EXPECT_TRUE(snapshot.newlyAlerted.empty());

    // An unblock ends the episode; a new block opens another with a fresh 30 seconds.
    snapshot = evaluate({pane(u"r"_s, AgentStatus::working)}, 40s);
    EXPECT_TRUE(snapshot.items.empty());
    EXPECT_TRUE(policy.blockedSince().empty());
    snapshot = evaluate(blocked, 50s);
    EXPECT_EQ(ids(snapshot.items), std::vector{u"blocked:r:2"_s});
    EXPECT_EQ(snapshot.items[0].phase, Phase::grace);
    EXPECT_TRUE(evaluate(blocked, 79.9s).newlyAlerted.empty());
    EXPECT_EQ(ids(evaluate(blocked, 80s).newlyAlerted), std::vector{u"blocked:r:2"_s});
}

TEST_F(Policy, AReturningPaneIDNeverAlertsTwice)
{
    const std::vector blocked{pane(u"r"_s, AgentStatus::blocked)};
    evaluate(blocked, 0s);
    EXPECT_EQ(evaluate(blocked, 30s).newlyAlerted.size(), 1u);
    auto snapshot = evaluate({}, 31s);
    EXPECT_TRUE(snapshot.items.empty());
    EXPECT_EQ(snapshot.overallStatus, RollupStatus::unknown);
    EXPECT_TRUE(policy.blockedSince().empty());
    EXPECT_TRUE(policy.blockedSequence().empty());

    evaluate(blocked, 40s);
    snapshot = evaluate(blocked, 80s);
    EXPECT_EQ(ids(snapshot.items), std::vector{u"blocked:r:1"_s});
    EXPECT_EQ(snapshot.items[0].phase, Phase::alerted);
    EXPECT_TRUE(snapshot.newlyAlerted.empty());
}

TEST_F(Policy, AnAskAlertsAtOnceAndReplacesTheBlock)
{
    QFile file(asks.filePath(u"a1.json"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"v":1,"id":"a1","kind":"question","q":"Which port?","since":1799999990000})");
    file.close();
    const std::vector panes{pane(u"r"_s, AgentStatus::blocked, {{u"nh"_s, u"v1:a1"_s}})};
    auto snapshot = evaluate(panes, 0s);
    ASSERT_EQ(ids(snapshot.items), std::vector{u"nh:r:a1"_s});
    const auto& item = snapshot.items[0];
    EXPECT_EQ(item.phase, Phase::alerted);
    EXPECT_EQ(item.explicitAsk()->signal.q, u"Which port?"_s);
    EXPECT_EQ(item.since, start - 10s);
    EXPECT_EQ(ids(snapshot.newlyAlerted), std::vector{u"nh:r:a1"_s});
    EXPECT_EQ(snapshot.state(u"r"_s, {}), u"asking"_s);

    // Without details only the token speaks, and the status is not consulted.
    snapshot = evaluate(panes, 1s, {}, false);
    EXPECT_EQ(snapshot.items.at(0).explicitAsk()->signal.q, u""_s);
    EXPECT_TRUE(snapshot.newlyAlerted.empty());

    // When the token goes, so does the item; the block underneath was timed all along.
    snapshot = evaluate({pane(u"r"_s, AgentStatus::blocked)}, 31s);
    EXPECT_EQ(ids(snapshot.items), std::vector{u"blocked:r:1"_s});
    EXPECT_EQ(snapshot.items[0].phase, Phase::alerted);
}

TEST_F(Policy, WorkersOnlyCountUnderTheirRoot)
{
    const std::vector panes{
        pane(u"r"_s, AgentStatus::idle),
        worker(u"w1"_s, u"r"_s, AgentStatus::blocked, {{u"nh"_s, u"v1:x"_s}}),
        worker(u"w2"_s, u"w1"_s, AgentStatus::working),
        worker(u"w3"_s, u"r"_s, AgentStatus::idle, {{u"nh"_s, u"v1:y"_s}}),
        worker(u"w4"_s, u"r"_s, AgentStatus::done),
    };
    auto snapshot = evaluate(panes, 0s);
    EXPECT_TRUE(snapshot.items.empty());
    EXPECT_EQ(snapshot.hiddenChildAskCount, (std::map<QString, int>{{u"r"_s, 2}}));
    EXPECT_EQ(snapshot.activeWorkers.at(u"r"_s), (std::vector{u"w1"_s, u"w2"_s}));
    EXPECT_EQ(snapshot.waitingWorkers(u"r"_s), (std::vector{u"w1"_s, u"w2"_s}));
    EXPECT_EQ(snapshot.overallStatus, RollupStatus::working);
    EXPECT_EQ(snapshot.state(u"r"_s, {}), u"waiting on 2 workers"_s);
    EXPECT_TRUE(evaluate(panes, 60s).newlyAlerted.empty());
}

TEST_F(Policy, States)
{
    std::map<QString, PaneInfo> panes;
    for (const auto status :
         {AgentStatus::idle, AgentStatus::working, AgentStatus::done, AgentStatus::unknown})
        panes.emplace(toString(status), pane(toString(status), status));
    AttentionSnapshot snapshot;
    snapshot.activeWorkers[u"idle"_s] = {u"w"_s};
    EXPECT_EQ(snapshot.state(u"idle"_s, panes), u"waiting on 1 worker"_s);
    snapshot.activeWorkers.clear();
    EXPECT_EQ(snapshot.state(u"idle"_s, panes), u"finished"_s);
    EXPECT_EQ(snapshot.state(u"working"_s, panes), u"working"_s);
    EXPECT_EQ(snapshot.state(u"done"_s, panes), u"unknown"_s);
    EXPECT_EQ(snapshot.state(u"gone"_s, panes), u"unknown"_s);
}

TEST_F(Policy, NeedsYouKeepsTheEarliestItemOfEachRoot)
{
    const auto item = [](QString id, QString root, Seconds since, Phase phase) {
        return AttentionItem{id,
                             root,
                             root,
                             AttentionItem::RootBlocked{},
                             Timestamp{std::chrono::duration_cast<Timestamp::duration>(since)},
                             phase};
    };
    AttentionSnapshot snapshot;
    snapshot.items = {
        item(u"a"_s, u"r1"_s, 5s, Phase::alerted), item(u"b"_s, u"r1"_s, 3s, Phase::alerted),
        item(u"c"_s, u"r2"_s, 3s, Phase::alerted), item(u"d"_s, u"r2"_s, 3s, Phase::alerted),
        item(u"e"_s, u"r2"_s, 1s, Phase::grace),   item(u"f"_s, u"r3"_s, 2s, Phase::grace)};
    EXPECT_EQ(ids(snapshot.needsYou()), (std::vector{u"b"_s, u"c"_s}));
    EXPECT_EQ(ids(snapshot.inGrace()), std::vector{u"f"_s});
    EXPECT_TRUE(snapshot.waitingWorkers(u"r3"_s).empty());
}

TEST_F(Policy, Escalations)
{
    const QByteArray record =
        R"({"questionId":"%1","owner":{"paneId":"%2"},"child":{"paneId":"%3","kind":"%4"},)"
        R"("origin":{"paneId":"%3"},"questions":[{"question":"?","createdAt":1799999995000}]})";
    const auto line = [&](const char* id, const char* owner, const char* child, const char* kind,
                          const char* type) {
        return QString::fromUtf8(record)
                   .arg(QString::fromUtf8(id), QString::fromUtf8(owner), QString::fromUtf8(child),
                        QString::fromUtf8(kind))
                   .toUtf8()
               + "\n{\"questionId\":\"" + id + "\",\"type\":\"" + type + "\"}\n";
    };
    const PiHarnessJournal journal(line("e1", "w", "c", "herdr-pane", "escalated")
                                   + line("e2", "w", "c", "herdr-pane", "escalate-intent")
                                   + line("e3", "gone", "c", "herdr-pane", "escalated")
                                   + line("e4", "w", "gone", "herdr-pane", "escalated")
                                   + line("e5", "w", "gone", "pi-subagent", "escalated")
                                   + line("a1", "r", "c", "herdr-pane", "escalated"));
    const std::vector panes{
        pane(u"r"_s, AgentStatus::idle, {{u"nh"_s, u"v1:a1"_s}}),
        worker(u"w"_s, u"r"_s, AgentStatus::working),
        worker(u"c"_s, u"w"_s, AgentStatus::blocked),
    };
    const auto snapshot = evaluate(panes, 0s, journal, false);
    EXPECT_EQ(ids(snapshot.items),
              (std::vector{u"escalation:e1"_s, u"escalation:e5"_s, u"nh:r:a1"_s}));
    const auto& escalation = snapshot.items[0];
    EXPECT_EQ(escalation.paneID, u"w"_s);
    EXPECT_EQ(escalation.rootPaneID, u"r"_s);
    EXPECT_EQ(escalation.escalation()->worker, u"c"_s);
    EXPECT_EQ(escalation.since, start - 5s);
    EXPECT_EQ(escalation.phase, Phase::alerted);
    EXPECT_EQ(snapshot.staleEscalationCount, 2);
    EXPECT_EQ(snapshot.staleEscalations.at(0).id, u"e2"_s);
    EXPECT_EQ(snapshot.staleEscalations.at(1).id, u"e3"_s);
    EXPECT_EQ(snapshot.waitingWorkers(u"r"_s), std::vector<QString>{});
    EXPECT_EQ(snapshot.overallStatus, RollupStatus::blocked);
}
