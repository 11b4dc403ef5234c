#include "HerdrClient/Capture/PaneCaptureBundle.h"
#include "HerdrClient/Capture/PaneCaptureWriter.h"
#include "HerdrClient/Capture/PaneCapturer.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "tests/HerdrClient/Capture/CaptureTestFiles.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/TestSupport.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

const QString colouredScreen =
    u"  \x1b[1mWould you like to run the following command?\x1b[0m\n\n  $ git push\n"_s;

JSONValue scenarioJSON(qint64 revision, const QString& status = u"blocked"_s)
{
    return JSONValue::object(
        {{u"version"_s, u"0.8.0"_s},
         {u"protocol"_s, 19},
         {u"panes"_s,
          JSONValue::array({JSONValue::object(
              {{u"pane_id"_s, u"w1:p2"_s},
               {u"agent"_s, u"codex"_s},
               {u"agent_status"_s, status},
               {u"revision"_s, revision},
               {u"screen"_s, JSONValue::object({{u"visible"_s, colouredScreen},
                                                {u"detection"_s, u"detected ✓\n"_s}})}})})}});
}

class PaneCaptureTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start()) << server.lastError().toStdString();
        auto loaded = FakeScenario::fromJSON(scenarioJSON(7));
        ASSERT_TRUE(loaded) << loaded.error().toStdString();
        scenario = *loaded;
        scenario.install(server);
    }

    std::expected<PaneCaptureBundle, PaneCaptureError> capture(const QString& paneID)
    {
        HerdrClient client(HerdrEndpoint::unixSocket(server.socketPath()), 5.0);
        PaneCapturer capturer(client);
        return runTask(capturer.capture(paneID, u"2026-11-22T03:00:00Z"_s));
    }

    FakeHerdrServer server;
    FakeScenario scenario;
};

TEST_F(PaneCaptureTest, ReadsBothScreensBetweenTwoSnapshots)
{
    const auto bundle = capture(u"w1:p2"_s);
    ASSERT_TRUE(bundle) << bundle.error().errorDescription().toStdString();

    std::vector<QString> methods;
    for (const auto& request : server.requests())
        methods.push_back(request.method);
    EXPECT_EQ(methods, (std::vector<QString>{u"session.snapshot"_s, u"pane.read"_s, u"pane.read"_s,
                                             u"session.snapshot"_s}));
    EXPECT_EQ(bundle->detectionText, u"detected ✓\n"_s);
    EXPECT_EQ(bundle->visibleANSIText, colouredScreen);
    const PaneCaptureMetadata& m = bundle->metadata;
    // "✓" is three bytes: the counts are of UTF-8 bytes, not characters.
    EXPECT_EQ(m.detectionByteCount, 13);
    EXPECT_EQ(m.detectionSHA256,
              u"7b552baba6e112499304d9837c719ab2302333206b8ddc7a45b1b86879322fd9"_s);
    EXPECT_EQ(m.visibleANSIByteCount, colouredScreen.toUtf8().size());
}

TEST_F(PaneCaptureTest, KeepsWhatMovedWhileThePaneWasRead)
{
    // The pane changes between the first snapshot and the second: both values are kept.
    server.setHandler(u"session.snapshot"_s, [this](const FakeRequest&) {
        const bool first = server.requestsFor(u"session.snapshot"_s).size() <= 1;
        const auto next =
            FakeScenario::fromJSON(first ? scenarioJSON(7) : scenarioJSON(9, u"working"_s));
        return FakeReply::result(JSONValue::object(
            {{u"type"_s, u"session_snapshot"_s}, {u"snapshot"_s, next->snapshotJSON()}}));
    });
    const auto bundle = capture(u"w1:p2"_s);
    ASSERT_TRUE(bundle) << bundle.error().errorDescription().toStdString();
    EXPECT_EQ(bundle->metadata.paneRevisionBefore, 7u);
    EXPECT_EQ(bundle->metadata.paneRevisionAfter, 9u);
    EXPECT_EQ(bundle->metadata.agentStatusBefore, AgentStatus::blocked);
    EXPECT_EQ(bundle->metadata.agentStatusAfter, AgentStatus::working);
}

TEST_F(PaneCaptureTest, EachFailedStepHasItsError)
{
    const auto missing = capture(u"w9:p9"_s);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(), PaneCaptureError::paneNotFound(u"w9:p9"_s));
    EXPECT_EQ(server.requestLines().size(), 1u) << "nothing is read from a pane that is not there";

    for (const auto source : {ReadSource::detection, ReadSource::visible}) {
        server.clearRequests();
        server.setHandler(u"pane.read"_s, [source](const FakeRequest& r) {
            if (r.params.member(u"source")->stringValue() == toString(source))
                return FakeReply::result(JSONValue::object({{u"type"_s, u"pane_read"_s}}));
            return FakeReply::result(
                JSONValue::object({{u"type"_s, u"pane_read"_s},
                                   {u"read"_s, JSONValue::object({{u"text"_s, u"x"_s}})}}));
        });
        const auto unreadable = capture(u"w1:p2"_s);
        ASSERT_FALSE(unreadable);
        EXPECT_EQ(unreadable.error(), PaneCaptureError::unreadablePane(u"w1:p2"_s, source));
        EXPECT_EQ(unreadable.error().errorDescription(),
                  u"Pane w1:p2 could not be read (%1)."_s.arg(toString(source)));
    }

    server.setHandler(u"session.snapshot"_s, [](const FakeRequest&) {
        return FakeReply::error(u"internal"_s, u"boom"_s);
    });
    const auto refused = capture(u"w1:p2"_s);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, PaneCaptureError::Kind::requestFailed);
    EXPECT_EQ(refused.error().errorDescription(), u"herdr refused the request (internal): boom"_s);
}

TEST(PaneCaptureWriterTest, WritesABundleThatLoadsBackEqual)
{
    QTemporaryDir dir;
    const PaneCaptureBundle bundle = sampleBundle();
    const auto path = PaneCaptureWriter::write(bundle, dir.filePath(u"a/b"_s), false);
    ASSERT_TRUE(path) << path.error().errorDescription().toStdString();
    EXPECT_EQ(*path, QDir(dir.filePath(u"a/b"_s)).absoluteFilePath(u"w1_p2.capture"_s));
    EXPECT_EQ(QDir(dir.filePath(u"a/b"_s))
                  .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
              QStringList{u"w1_p2.capture"_s})
        << "no temporary directory is left behind";

    const QByteArray metadata = readFile(*path + u"/metadata.json"_s);
    EXPECT_TRUE(metadata.startsWith(
        "{\n  \"agent\": \"codex\",\n  \"agent_status_after\": \"blocked\",\n"));
    EXPECT_TRUE(metadata.endsWith("\n}\n"));
    EXPECT_FALSE(metadata.contains("\\/"));
    const auto loaded = PaneCaptureBundle::load(*path);
    ASSERT_TRUE(loaded) << loaded.error().errorDescription().toStdString();
    EXPECT_EQ(*loaded, bundle);
}

TEST(PaneCaptureWriterTest, OverwritesOnlyWhenAsked)
{
    QTemporaryDir dir;
    const auto first = PaneCaptureWriter::write(sampleBundle(), dir.path(), false);
    ASSERT_TRUE(first);
    const auto changed =
        PaneCaptureBundle::make(sampleBundle().metadata, u"other\n"_s, u"other\n"_s);

    const auto refused = PaneCaptureWriter::write(changed, dir.path(), false);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), PaneCaptureError::bundleAlreadyExists(*first));
    EXPECT_EQ(PaneCaptureBundle::load(*first)->detectionText, sampleBundle().detectionText)
        << "the first bundle is left intact";

    const auto replaced = PaneCaptureWriter::write(changed, dir.path(), true);
    ASSERT_TRUE(replaced);
    EXPECT_EQ(PaneCaptureBundle::load(*replaced)->detectionText, u"other\n"_s);
    EXPECT_EQ(
        QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(),
        1);
}

TEST(PaneCaptureBundleTest, RefusesFilesThatDoNotMatchTheirMetadata)
{
    struct Case {
        const char* name;
        std::function<void(const QString& bundle)> damage;
        const char* reason;
    };
    const Case cases[] = {
        {"lost byte",
         [](const QString& b) {
             writeFile(b + u"/detection.txt"_s, readFile(b + u"/detection.txt"_s).chopped(1));
         },
         "byte count mismatch"},
        {"changed byte",
         [](const QString& b) {
             QByteArray bytes = readFile(b + u"/visible.ansi"_s);
             bytes[bytes.size() - 2] = 'X';
             writeFile(b + u"/visible.ansi"_s, bytes);
         },
         "SHA-256 mismatch"},
        {"invalid UTF-8 with matching count and hash",
         [](const QString& b) {
             const QByteArray bad("\xff\xfe broken\n");
             writeFile(b + u"/detection.txt"_s, bad);
             QByteArray metadata = readFile(b + u"/metadata.json"_s);
             PaneCaptureBundle original = sampleBundle();
             metadata.replace(original.metadata.detectionSHA256.toLatin1(),
                              QCryptographicHash::hash(bad, QCryptographicHash::Sha256).toHex());
             metadata.replace("\"detection_byte_count\": 15", "\"detection_byte_count\": 10");
             writeFile(b + u"/metadata.json"_s, metadata);
         },
         "capture is not valid UTF-8"},
        {"metadata missing a key",
         [](const QString& b) {
             writeFile(b + u"/metadata.json"_s,
                       readFile(b + u"/metadata.json"_s).replace("\"pane_id\"", "\"pane\""));
         },
         "capture metadata could not be read: pane_id: required key is missing"},
    };
    for (const auto& c : cases) {
        QTemporaryDir dir;
        const auto path = PaneCaptureWriter::write(sampleBundle(), dir.path(), false);
        ASSERT_TRUE(path);
        c.damage(*path);
        const auto loaded = PaneCaptureBundle::load(*path);
        ASSERT_FALSE(loaded) << c.name;
        EXPECT_EQ(loaded.error().errorDescription().toStdString(), c.reason) << c.name;
    }
}

TEST(PaneCaptureWriterTest, SafeFileComponentKeepsOnlyHarmlessCharacters)
{
    const std::pair<QString, QString> cases[] = {
        {u"w1:p2"_s, u"w1_p2"_s},
        {u"../etc/passwd"_s, u".._etc_passwd"_s},
        {u""_s, u"pane"_s},
        {u"a b\tc"_s, u"a_b_c"_s},
        {u"ünï-code_1.x"_s, u"ünï-code_1.x"_s},
        {u"🙂x"_s, u"_x"_s},
        {u"e\u0301"_s, u"e\u0301"_s},
    };
    for (const auto& [input, expected] : cases)
        EXPECT_EQ(PaneCaptureWriter::safeFileComponent(input), expected) << input.toStdString();
}

} // namespace
