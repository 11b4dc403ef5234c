#include "HerdrClient/Capture/PaneCaptureWriter.h"
#include "HerdrClient/Capture/PaneFixtureExtractor.h"
#include "tests/HerdrClient/Capture/CaptureTestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

PaneFixtureAnnotations sampleAnnotations()
{
    PaneFixtureAnnotations a;
    a.name = u"codex approval/one"_s;
    a.interactionKind = u"approval"_s;
    a.title = u"T"_s;
    a.optionLabels = {u"Yes"_s};
    a.optionDescriptions = {u"Run once."_s};
    a.observedCursorIndex = 0;
    a.responseMechanism = u"explicitShortcut"_s;
    a.expectedResponsePlans = {{u"approve"_s, {u"y"_s}}};
    a.notes = {u"a \"quoted\" note"_s};
    return a;
}

class PaneFixtureTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        auto written = PaneCaptureWriter::write(sampleBundle(), dir.filePath(u"captures"_s), false);
        ASSERT_TRUE(written);
        capture = *written;
        out = dir.filePath(u"fixtures"_s);
    }

    std::expected<QString, PaneCaptureError> extract(
        const PaneFixtureAnnotations& annotations = sampleAnnotations(),
        const std::optional<PaneFixtureRegion>& region = std::nullopt,
        const std::optional<QByteArray>& detection = std::nullopt,
        const std::optional<QByteArray>& visible = std::nullopt)
    {
        return PaneFixtureExtractor::extract(capture, annotations, out, detection, visible, region);
    }

    QTemporaryDir dir;
    QString capture;
    QString out;
};

TEST_F(PaneFixtureTest, ExtractsAFixtureThatVerifies)
{
    const auto fixture = extract();
    ASSERT_TRUE(fixture) << fixture.error().errorDescription().toStdString();
    // The byte layout behind the hash is pinned by the corpus, whose names hold older hashes.
    const auto metadata = PaneFixtureExtractor::verifyFixture(*fixture);
    ASSERT_TRUE(metadata) << metadata.error().errorDescription().toStdString();
    EXPECT_EQ(metadata->sanitization, PaneFixtureSanitization::none);
    EXPECT_EQ(metadata->region, std::nullopt);
    EXPECT_EQ(metadata->annotations, sampleAnnotations());
    EXPECT_EQ(readFile(*fixture + u"/detection.txt"_s), "› 1. Yes (y)\n");
    EXPECT_TRUE(readFile(*fixture + u"/metadata.json"_s).endsWith("}\n"));
    EXPECT_FALSE(readFile(*fixture + u"/metadata.json"_s).contains("\"region\""));
}

TEST_F(PaneFixtureTest, RepeatsAndAddressesByContent)
{
    const auto first = extract();
    const auto again = extract();
    ASSERT_TRUE(first && again);
    EXPECT_EQ(*first, *again);

    PaneFixtureAnnotations changed = sampleAnnotations();
    changed.notes.push_back(u"one more"_s);
    const auto other = extract(changed);
    ASSERT_TRUE(other);
    EXPECT_NE(*other, *first);
    EXPECT_EQ(QDir(out).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(),
              2);

    // The region takes part in the hash even when it cuts nothing away.
    const auto withRegion = extract(sampleAnnotations(), PaneFixtureRegion{u"1. Yes"_s, {}});
    ASSERT_TRUE(withRegion);
    EXPECT_EQ(QDir(*withRegion).dirName(), u"codex_approval_one-a09d49a5c1cd.fixture"_s);

    // A fixture whose name is taken by different bytes is never replaced.
    writeFile(*first + u"/visible.ansi"_s, "tampered\n");
    const auto refused = extract();
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), PaneCaptureError::fixtureAlreadyExists(*first));
    EXPECT_EQ(readFile(*first + u"/visible.ansi"_s), "tampered\n");
}

TEST_F(PaneFixtureTest, RefusesFixturesThatNoLongerProveThemselves)
{
    struct Case {
        const char* name;
        std::function<QString(const QString& fixture)> damage; // returns the path to verify
        const char* reason;
    };
    const Case cases[] = {
        {"moved directory",
         [](const QString& f) {
             const QString moved = QFileInfo(f).absolutePath() + u"/renamed-66fdba751ee1.fixture"_s;
             QDir().rename(f, moved);
             return moved;
         },
         "fixture directory is not content-addressed"},
        {"changed note",
         [](const QString& f) {
             writeFile(f + u"/metadata.json"_s,
                       readFile(f + u"/metadata.json"_s).replace("quoted", "changed"));
             return f;
         },
         "artifact SHA-256 mismatch"},
        {"changed text",
         [](const QString& f) {
             writeFile(f + u"/detection.txt"_s, "› 1. Yes (p)\n");
             return f;
         },
         "fixture SHA-256 mismatch"},
        {"schema 2, checked before any hash",
         [](const QString& f) {
             writeFile(f + u"/detection.txt"_s, "anything\n");
             writeFile(f + u"/metadata.json"_s,
                       readFile(f + u"/metadata.json"_s)
                           .replace("\"schema_version\": 1", "\"schema_version\": 2"));
             return f;
         },
         "unsupported fixture schema"},
        {"no schema at all",
         [](const QString& f) {
             writeFile(f + u"/metadata.json"_s, "{}");
             return f;
         },
         "unsupported fixture schema"},
    };
    for (const auto& c : cases) {
        QDir(out).removeRecursively();
        const auto fixture = extract();
        ASSERT_TRUE(fixture);
        const QString damaged = c.damage(*fixture);
        const auto verified = PaneFixtureExtractor::verifyFixture(damaged);
        ASSERT_FALSE(verified) << c.name;
        EXPECT_EQ(verified.error().errorDescription().toStdString(), c.reason) << c.name;
    }
}

TEST(PaneFixtureRegionTest, CutsWholeLines)
{
    const QByteArray screen =
        "old prompt\nheader: Would you like to run it?\n  $ ls\n  Press enter to confirm\ntail\n";
    struct Case {
        PaneFixtureRegion region;
        std::optional<QByteArray> expected;
        const char* reason;
    };
    const Case cases[] = {
        {{u"Would you like"_s, {}},
         "header: Would you like to run it?\n  $ ls\n  Press enter to confirm\ntail\n",
         ""},
        {{u"Would you like"_s, u"enter to"_s},
         "header: Would you like to run it?\n  $ ls\n  Press enter to confirm\n",
         ""},
        {{u"old"_s, u"prompt"_s}, "old prompt\n", ""},
        {{u"tail"_s, u"tail"_s}, "tail\n", ""},
        // An end marker inside a start marker of two lines still keeps both lines.
        {{u"old prompt\nheader"_s, u"prompt"_s},
         "old prompt\nheader: Would you like to run it?\n",
         ""},
        {{u"Nothing"_s, {}}, std::nullopt, "start marker not found: Nothing"},
        // The end is searched only from the start marker on.
        {{u"$ ls"_s, u"old prompt"_s}, std::nullopt, "end marker not found: old prompt"},
    };
    for (const auto& c : cases) {
        const auto cut = PaneFixtureExtractor::extractRegion(screen, c.region);
        if (c.expected) {
            ASSERT_TRUE(cut) << c.region.startMarker.toStdString();
            EXPECT_EQ(*cut, *c.expected);
        } else {
            ASSERT_FALSE(cut);
            EXPECT_EQ(cut.error().errorDescription().toStdString(), c.reason);
        }
    }
    EXPECT_EQ(*PaneFixtureExtractor::extractRegion("a\nend without newline",
                                                   {u"without"_s, u"newline"_s}),
              "end without newline");
}

TEST_F(PaneFixtureTest, ReplacementsAndRegionsShapeTheFixture)
{
    const auto sanitized = extract(sampleAnnotations(), PaneFixtureRegion{u"Yes"_s, {}},
                                   QByteArray("private\n› 1. Yes (y)\n"), std::nullopt);
    ASSERT_TRUE(sanitized) << sanitized.error().errorDescription().toStdString();
    const auto metadata = PaneFixtureExtractor::verifyFixture(*sanitized);
    ASSERT_TRUE(metadata);
    EXPECT_EQ(metadata->sanitization, PaneFixtureSanitization::explicitReplacement);
    EXPECT_EQ(readFile(*sanitized + u"/detection.txt"_s), "› 1. Yes (y)\n");
    EXPECT_EQ(readFile(*sanitized + u"/visible.ansi"_s), "\x1b[1m› 1. Yes (y)\x1b[0m\n");

    const auto invalid =
        extract(sampleAnnotations(), std::nullopt, std::nullopt, QByteArray("\xc3("));
    ASSERT_FALSE(invalid);
    EXPECT_EQ(invalid.error().errorDescription(), u"fixture replacement is not valid UTF-8"_s);

    const auto missingMarker = extract(sampleAnnotations(), PaneFixtureRegion{u"absent"_s, {}});
    ASSERT_FALSE(missingMarker);
    EXPECT_EQ(missingMarker.error().errorDescription(), u"start marker not found: absent"_s);

    writeFile(capture + u"/detection.txt"_s, "› 1. Yes (n)\n");
    const auto fromBadCapture = extract();
    ASSERT_FALSE(fromBadCapture);
    EXPECT_EQ(fromBadCapture.error().errorDescription(), u"SHA-256 mismatch"_s);
}

} // namespace
