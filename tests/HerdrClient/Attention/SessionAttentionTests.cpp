#include "HerdrClient/Attention/EpochSeconds.h"
#include "HerdrClient/Attention/SessionAttention.h"
#include "tests/HerdrClient/Attention/AttentionTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

class SessionAttentionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir(home.path()).mkpath(u".pi/agent/orrel/asks"_s));
        ASSERT_TRUE(QDir(home.path()).mkpath(u"sentinel/questions"_s));
        write(u".pi/agent/orrel/asks/a1.json"_s,
              R"({"v":1,"id":"a1","kind":"question","q":"Merge it?","since":1800000000000})");
        write(u"sentinel/registry.json"_s,
              R"({"entries":[{"kind":"pane","child":"w","owner":"r"}]})");
        write(u"sentinel/questions/questions.jsonl"_s,
              R"({"questionId":"e1","owner":{"paneId":"r"},"child":{"paneId":"w"}})"
              "\n"
              R"({"questionId":"e1","type":"escalated"})");
    }

    void write(const QString& name, const QByteArray& data)
    {
        QFile file(home.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(data);
    }

    Environment environment() const
    {
        return {{u"HOME"_s, home.path()},
                {u"ORREL_PI_SENTINEL_DIR"_s, home.filePath(u"sentinel"_s)}};
    }

    QTemporaryDir home;
    const Timestamp start = timestampFromEpochSeconds(1'800'000'000);
    const std::map<QString, PaneInfo> panes{
        {u"r"_s, pane(u"r"_s, AgentStatus::idle)},
        {u"w"_s, pane(u"w"_s, AgentStatus::blocked)},
        {u"s"_s, pane(u"s"_s, AgentStatus::blocked, {{u"nh"_s, u"v1:a1"_s}})},
    };
};

} // namespace

TEST_F(SessionAttentionTest, TheLocalDefaultSessionReadsItsFiles)
{
    SessionAttention attention(true, environment());
    const auto& snapshot = attention.refresh(panes, start);
    EXPECT_EQ(ids(snapshot.items), (std::vector{u"escalation:e1"_s, u"nh:s:a1"_s}));
    EXPECT_EQ(snapshot.items[1].explicitAsk()->signal.q, u"Merge it?"_s);
    EXPECT_EQ(snapshot.hiddenChildAskCount.at(u"r"_s), 1);
    EXPECT_EQ(ids(attention.pendingAlerts()), ids(snapshot.items));
}

TEST_F(SessionAttentionTest, OtherSessionsNeverTouchTheSentinelOrTheAsks)
{
    SessionAttention attention(false, environment());
    EXPECT_EQ(attention.harnessFiles(), nullptr);
    const auto& snapshot = attention.refresh(panes, start);
    // Without the registry "w" is a root of its own; the ask shows only its token.
    EXPECT_EQ(ids(snapshot.items), (std::vector{u"blocked:w:1"_s, u"nh:s:a1"_s}));
    EXPECT_EQ(snapshot.items[1].explicitAsk()->signal.q, u""_s);
}

TEST_F(SessionAttentionTest, TakeNewAlertsDropsWhatHasGone)
{
    SessionAttention attention(true, environment());
    attention.refresh(panes, start);
    auto later = panes;
    later.erase(u"s"_s);
    later.at(u"w"_s) = pane(u"w"_s, AgentStatus::working);
    attention.refresh(later, start + 1s);
    EXPECT_EQ(ids(attention.takeNewAlerts()), std::vector{u"escalation:e1"_s});
    EXPECT_TRUE(attention.takeNewAlerts().empty());
}
