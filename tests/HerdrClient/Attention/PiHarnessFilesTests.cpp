#include "HerdrClient/Attention/EpochSeconds.h"
#include "HerdrClient/Attention/EscalationAnswer.h"
#include "HerdrClient/Attention/PiHarnessFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray question =
    R"({"questionId":"q1","owner":{"paneId":"o1"},"child":{"paneId":"w1","kind":"herdr-pane"},)"
    R"("origin":{"paneId":"w1"},"questions":[{"question":"Which DB?","header":"DB","createdAt":1500,)"
    R"("options":[{"label":"pg","description":"Postgres"},{"description":"no label"},{"label":"lite"}]}]})";

QByteArray event(const char* type, const char* id = "q1")
{
    return QByteArray(R"({"questionId":")") + id + R"(","type":")" + type + R"("})";
}

std::vector<QString> ids(const PiHarnessJournal& journal)
{
    std::vector<QString> result;
    for (const auto& q : journal.escalations)
        result.push_back(q.id);
    return result;
}

} // namespace

TEST(PiHarnessJournal, ReadsAQuestion)
{
    const PiHarnessJournal journal(question + '\n' + event("escalated"));
    ASSERT_EQ(journal.escalations.size(), 1u);
    const auto& q = journal.escalations.front();
    EXPECT_EQ(q.ownerPaneID, u"o1"_s);
    EXPECT_EQ(q.childPaneID, u"w1"_s);
    EXPECT_EQ(q.question, u"Which DB?"_s);
    EXPECT_EQ(q.header, u"DB"_s);
    EXPECT_EQ(q.options, (std::vector{u"pg"_s, u"lite"_s}));
    EXPECT_EQ(q.optionDescriptions, (std::vector<std::optional<QString>>{u"Postgres"_s, {}}));
    EXPECT_EQ(epochSeconds(q.since), 1.5);
    EXPECT_EQ(q.originPaneID, u"w1"_s);
    EXPECT_TRUE(q.canAnswer());
    EXPECT_EQ(q.status(), u"Escalated question"_s);
}

TEST(PiHarnessJournal, Events)
{
    struct Case {
        const char* name;
        QByteArray data;
        std::vector<QString> shown;
    };
    const QByteArray subagent =
        R"({"questionId":"q2","owner":{"paneId":"o1"},"child":{"kind":"pi-subagent","id":"sub-7"}})";
    const std::vector<Case> cases{
        {"no event", question, {}},
        {"event first", event("escalate-intent") + "\n" + question, {u"q1"_s}},
        {"answered for good",
         question + "\n" + event("escalated") + "\n" + event("answered") + "\n" + question,
         {}},
        {"resolved",
         question + "\n" + event("escalated") + "\n" + event("escalation-resolved"),
         {}},
        {"unknown event", question + "\n" + event("pondered"), {}},
        {"sorted",
         event("escalated", "q2") + "\n" + subagent + "\n" + question + "\n" + event("escalated"),
         {u"q1"_s, u"q2"_s}},
        {"owner missing",
         event("escalated") + "\n" + QByteArray(question).replace("\"owner\"", "\"boss\""),
         {}},
        {"child without pane",
         event("escalated") + "\n" + QByteArray(question).replace("\"paneId\":\"w1\",", ""),
         {}},
        {"garbage",
         "not json\n[1,2]\n{\"questionId\":7}\n\n" + question + "\n" + event("escalated"),
         {u"q1"_s}},
        {"partial last line",
         question + "\n" + event("escalated") + "\n{\"questionId\":\"q1\",\"ty",
         {u"q1"_s}},
        {"crlf", question + "\r\n" + event("escalated") + "\r\n", {u"q1"_s}},
        {"invalid UTF-8",
         question + "\n{\"questionId\":\"q\xff\",\"type\":\"escalated\"}\n" + event("escalated"),
         {u"q1"_s}},
        {"huge line",
         QByteArray(1024 * 1024, 'x') + "\n" + question + "\n" + event("escalated"),
         {u"q1"_s}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ids(PiHarnessJournal(c.data)), c.shown) << c.name;

    const PiHarnessJournal sub(subagent + "\n" + event("escalate-intent", "q2"));
    ASSERT_EQ(sub.escalations.size(), 1u);
    EXPECT_EQ(sub.escalations[0].childPaneID, u"sub-7"_s);
    EXPECT_EQ(sub.escalations[0].childKind, u"pi-subagent"_s);
    EXPECT_EQ(sub.escalations[0].question, u"Escalated question"_s);
    EXPECT_EQ(sub.escalations[0].status(), u"Escalation delivery unconfirmed"_s);
}

TEST(PiHarnessJournal, StatusAndRebound)
{
    const PiHarnessJournal journal(
        question + "\n" + event("escalated") + "\n"
        + R"({"questionId":"q1","type":"rebound","owner":{"paneId":"o2"}})" + "\n"
        + event("resolve-intent"));
    const auto& q = journal.escalations.at(0);
    EXPECT_EQ(q.ownerPaneID, u"o2"_s);
    EXPECT_FALSE(q.canAnswer());
    EXPECT_EQ(q.status(), u"Answer delivery unconfirmed"_s);

    const PiHarnessJournal noOrigin(QByteArray(question).replace("\"origin\"", "\"place\"") + "\n"
                                    + event("escalated"));
    EXPECT_EQ(noOrigin.escalations.at(0).status(), u"Escalation missing recorded origin"_s);
    const PiHarnessJournal workOrigin(
        QByteArray(question).replace(R"("origin":{"paneId":"w1"})", R"("work":{"originPane":"w5"})")
        + "\n" + event("escalated"));
    EXPECT_EQ(workOrigin.escalations.at(0).originPaneID, u"w5"_s);
}

class SentinelDirectory : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(QDir(dir.path()).mkpath(u"questions"_s)); }

    void write(const QString& name, const QByteArray& data)
    {
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(data), data.size());
    }

    QTemporaryDir dir;
};

TEST_F(SentinelDirectory, RefreshReadsOnlyChanges)
{
    PiHarnessFiles files(dir.path());
    files.refresh();
    EXPECT_TRUE(files.journal().escalations.empty());
    EXPECT_TRUE(files.registry().isEmpty());

    write(PiHarnessFiles::journalFile, question + "\n" + event("escalated") + "\n");
    write(PiHarnessFiles::registryFile, "{\"entries\":[]}");
    files.refresh();
    EXPECT_EQ(ids(files.journal()), std::vector{u"q1"_s});
    EXPECT_EQ(files.registry(), "{\"entries\":[]}");
    EXPECT_EQ(files.changedFile(PiHarnessFiles::journalFile), std::nullopt);

    // Appending changes the size, so the file is read again.
    QFile journal(dir.filePath(PiHarnessFiles::journalFile));
    ASSERT_TRUE(journal.open(QIODevice::Append));
    journal.write(event("answered") + "\n");
    journal.close();
    files.refresh();
    EXPECT_TRUE(files.journal().escalations.empty());

    // A deleted journal empties the list, and is reported so only once.
    write(PiHarnessFiles::journalFile, question + "\n" + event("escalated"));
    files.refresh();
    ASSERT_EQ(files.journal().escalations.size(), 1u);
    ASSERT_TRUE(QFile::remove(journal.fileName()));
    files.refresh();
    EXPECT_TRUE(files.journal().escalations.empty());
    EXPECT_EQ(files.changedFile(PiHarnessFiles::journalFile), std::nullopt);
}

TEST_F(SentinelDirectory, FreshEscalationReadsTheDiskWithoutTouchingState)
{
    PiHarnessFiles files(dir.path());
    write(PiHarnessFiles::journalFile, question + "\n" + event("escalated"));
    files.refresh();
    write(PiHarnessFiles::journalFile,
          question + "\n" + event("escalated") + "\n" + event("resolve-intent"));
    const auto fresh = files.freshEscalation(u"q1"_s);
    ASSERT_TRUE(fresh);
    EXPECT_FALSE(fresh->canAnswer());
    EXPECT_TRUE(files.journal().escalations.at(0).canAnswer());
    EXPECT_EQ(files.freshEscalation(u"q9"_s), std::nullopt);
    EXPECT_EQ(PiHarnessFiles(dir.filePath(u"none"_s)).freshEscalation(u"q1"_s), std::nullopt);
}

TEST(PiHarnessFiles, SentinelDirectoryFromEnvironment)
{
    EXPECT_EQ(PiHarnessFiles::sentinelDirectory({{u"HOME"_s, u"/home/ana"_s}}),
              u"/home/ana/.pi/agent/sentinel"_s);
    EXPECT_EQ(PiHarnessFiles::sentinelDirectory(
                  {{u"HOME"_s, u"/home/ana"_s}, {u"ORREL_PI_SENTINEL_DIR"_s, u""_s}}),
              u"/home/ana/.pi/agent/sentinel"_s);
    EXPECT_EQ(PiHarnessFiles::sentinelDirectory(
                  {{u"HOME"_s, u"/home/ana"_s}, {u"ORREL_PI_SENTINEL_DIR"_s, u"/srv/s"_s}}),
              u"/srv/s"_s);
}

TEST(EscalationAnswer, Message)
{
    EXPECT_EQ(EscalationAnswer::message(u"q1"_s, u"api"_s, u"w1"_s, u"  use\npostgres \t 16\n"_s),
              u"[orrel] Answer for escalated question q1 from worker api (w1): use postgres 16"_s);
    EXPECT_EQ(EscalationAnswer::message(u"q1"_s, std::nullopt, u"w1"_s, u"yes"_s),
              u"[orrel] Answer for escalated question q1 from worker w1 (w1): yes"_s);
}
