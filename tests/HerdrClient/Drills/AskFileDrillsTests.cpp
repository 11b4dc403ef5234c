// The pi extension's files, replaced by their writer while this program reads them: a read sees
// the old file, the new one, or a torn one that is ignored, never a mixture taken for true, and
// the next look after the writer stops shows the file as it now is.
#include "HerdrClient/Attention/NeedsHumanSignal.h"
#include "HerdrClient/Attention/PiHarnessFiles.h"
#include "tests/HerdrClient/Capture/CaptureTestFiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

// Replaces `path` the way its writers do: a whole new file renamed over it, or the same file
// cut and written again.
void replaceAtomically(const QString& path, const QByteArray& bytes)
{
    const QString temporary = path + u".new"_s;
    writeFile(temporary, bytes);
    ASSERT_EQ(
        std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()),
        0);
}

// Writes `bytes` over `path` through a new file that carries the old one's modification time,
// as `cp -p`, rsync and tar do.
void replaceKeepingTime(const QString& path, const QByteArray& bytes)
{
    struct stat old {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &old), 0);
    const QString temporary = path + u".new"_s;
    writeFile(temporary, bytes);
    const timespec times[2] = {old.st_atim, old.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(temporary).constData(), times, 0), 0);
    ASSERT_EQ(
        std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()),
        0);
}

QByteArray askFile(const QString& question)
{
    return (uR"({"v":1,"id":"a1","kind":"approval","q":")"_s + question
            + uR"(","since":1700000000000,"options":["Yes","No"],"rec":0})"_s)
        .toUtf8();
}

QByteArray journal(const char* id)
{
    return QByteArray(R"({"questionId":")") + id
           + R"(","owner":{"paneId":"o1"},"child":{"paneId":"w1","kind":"herdr-pane"},)"
             R"("origin":{"paneId":"w1"},"questions":[{"question":"Which DB?","createdAt":1500}]})"
             "\n{\"questionId\":\""
           + id + R"(","type":"escalated"})" + "\n";
}

std::vector<QString> openEscalations(const PiHarnessFiles& files)
{
    std::vector<QString> ids;
    for (const auto& question : files.journal().escalations)
        ids.push_back(question.id);
    return ids;
}

TEST(AskFileDrills, AnAskFileReplacedWhileItIsReadIsOldNewOrIgnored)
{
    QTemporaryDir asks;
    const QString path = asks.filePath(u"a1.json"_s);
    const QString before = u"Deploy to staging?"_s;
    const QString after = u"Deploy to production, and run the migrations first?"_s;
    writeFile(path, askFile(before));
    const auto read = [&] {
        return NeedsHumanSignal::decode(std::map<QString, QString>{{u"nh"_s, u"v1:a1"_s}},
                                        u"w1:p1"_s, asks.path(), true);
    };

    std::atomic<bool> writing{true};
    std::thread writer([&] {
        for (int round = 0; round < 400; ++round) {
            const QByteArray bytes = askFile(round % 2 ? before : after);
            if (round % 4 < 2)
                replaceAtomically(path, bytes);
            else
                writeFile(path, bytes); // cut to nothing, then written again
        }
        writeFile(path, askFile(after));
        writing = false;
    });
    while (writing) {
        const auto signal = read();
        ASSERT_TRUE(signal.has_value()) << "the token alone still says that the pane asks";
        ASSERT_TRUE(signal->q.isEmpty() || signal->q == before || signal->q == after)
            << signal->q.toStdString();
    }
    writer.join();
    EXPECT_EQ(read()->q, after);
}

TEST(AskFileDrills, AJournalReplacedUnderTheSameSizeAndTimeIsStillSeen)
{
    QTemporaryDir sentinel;
    ASSERT_TRUE(QDir(sentinel.path()).mkpath(u"questions"_s));
    const QString path = sentinel.filePath(PiHarnessFiles::journalFile);
    writeFile(path, journal("q1"));
    writeFile(sentinel.filePath(PiHarnessFiles::registryFile), "{\"panes\":[\"w1\"]}");
    PiHarnessFiles files(sentinel.path());
    files.refresh();
    ASSERT_EQ(openEscalations(files), std::vector<QString>{u"q1"_s});

    // Same length, same modification time, other question: only the file's identity changed.
    ASSERT_EQ(journal("q2").size(), journal("q1").size());
    replaceKeepingTime(path, journal("q2"));
    replaceKeepingTime(sentinel.filePath(PiHarnessFiles::registryFile), "{\"panes\":[\"w2\"]}");
    files.refresh();
    EXPECT_EQ(openEscalations(files), std::vector<QString>{u"q2"_s});
    EXPECT_EQ(files.registry(), "{\"panes\":[\"w2\"]}");
}

TEST(AskFileDrills, TheJournalShowsItsLastStateOnTheFirstLookAfterItsWriterStops)
{
    QTemporaryDir sentinel;
    ASSERT_TRUE(QDir(sentinel.path()).mkpath(u"questions"_s));
    const QString path = sentinel.filePath(PiHarnessFiles::journalFile);
    writeFile(path, journal("q1"));
    PiHarnessFiles files(sentinel.path());

    std::atomic<bool> writing{true};
    std::thread writer([&] {
        for (int round = 0; round < 400; ++round) {
            const QByteArray bytes = round % 3 ? journal("q1") : journal("q1") + journal("q2");
            if (round % 2)
                replaceAtomically(path, bytes);
            else
                writeFile(path, bytes);
        }
        // A size no earlier version had: a rewrite in place within one tick of the file clock
        // and of the same size cannot be told from the file's status alone.
        writeFile(path, journal("q2") + journal("q3") + journal("q4"));
        writing = false;
    });
    while (writing) {
        files.refresh();
        for (const QString& id : openEscalations(files))
            ASSERT_TRUE(id == u"q1" || id == u"q2" || id == u"q3" || id == u"q4")
                << id.toStdString();
    }
    writer.join();
    files.refresh();
    EXPECT_EQ(openEscalations(files), (std::vector<QString>{u"q2"_s, u"q3"_s, u"q4"_s}));
}

} // namespace
