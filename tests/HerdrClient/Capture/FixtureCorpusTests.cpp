// The fixture corpus: every fixture in tests/fixtures, read through the standard readers, must
// read as its annotations say, and every screen source must have its fixture, made from the
// screen and the annotations it holds now.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Capture/InteractionFixtureInspector.h"
#include "HerdrClient/Capture/PaneFixtureExtractor.h"
#include "tests/HerdrClient/Adapters/ReadingChecks.h"
#include "tests/HerdrClient/Capture/CaptureTestFiles.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QDir corpus(QStringLiteral(ORREL_FIXTURE_DIRECTORY));

TEST(FixtureCorpus, EverySourceHasAFixtureOfItsCurrentScreenAndAnnotations)
{
    const QStringList sources =
        QDir(corpus.filePath(u"sources"_s)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_GE(sources.size(), 40);
    const QStringList fixtures = corpus.entryList({u"*.fixture"_s}, QDir::Dirs);
    for (const QString& name : sources) {
        const QRegularExpression own(u"^"_s + QRegularExpression::escape(name)
                                     + u"-[0-9a-f]{12}\\.fixture$"_s);
        const QStringList matching = fixtures.filter(own);
        ASSERT_EQ(matching.size(), 1)
            << name.toStdString() << ": run tests/fixtures/make-fixtures.sh";
        QFile file(corpus.filePath(u"sources/%1/annotations.json"_s.arg(name)));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
        const auto json = JSONValue::parse(file.readAll());
        ASSERT_TRUE(json) << name.toStdString();
        const auto annotations = PaneFixtureAnnotations::decode(*json);
        ASSERT_TRUE(annotations) << name.toStdString();
        const auto metadata =
            PaneFixtureExtractor::verifyFixture(corpus.filePath(matching.first()));
        ASSERT_TRUE(metadata) << matching.first().toStdString() << ": "
                              << metadata.error().errorDescription().toStdString();
        EXPECT_EQ(metadata->annotations, *annotations)
            << name.toStdString() << ": the fixture is older than its annotations";
        const QString source = corpus.filePath(u"sources/"_s + name);
        for (const QString& screen : {u"/visible.ansi"_s, u"/detection.txt"_s}) {
            if (QFile::exists(source + screen)) {
                EXPECT_EQ(readFile(corpus.filePath(matching.first()) + screen),
                          readFile(source + screen))
                    << name.toStdString() << ": the fixture is older than its screen";
            }
        }
    }
    EXPECT_EQ(fixtures.size(), sources.size()) << "a fixture without a source is left over";
}

TEST(FixtureCorpus, EveryFixtureReadsAsAnnotated)
{
    const QStringList fixtures = corpus.entryList({u"*.fixture"_s}, QDir::Dirs);
    ASSERT_GE(fixtures.size(), 40);
    const InteractionFixtureInspector inspector{PromptClassifier(standardScreenAdapters())};
    for (const QString& directory : fixtures) {
        const std::string name = directory.toStdString();
        const QString path = corpus.filePath(directory);
        const auto metadata = PaneFixtureExtractor::verifyFixture(path);
        ASSERT_TRUE(metadata) << name << ": " << metadata.error().errorDescription().toStdString();
        const auto reading = inspector.inspect(path);
        ASSERT_TRUE(reading) << name;

        expectSoundReading(*reading, name);
        expectReadsAsAnnotated(*reading, metadata->annotations, name);
        // The reading stands on the captured pane, as a live read would.
        EXPECT_EQ(reading->paneID, metadata->sourceCapture.paneID) << name;
        EXPECT_EQ(reading->evidence.agentID, metadata->sourceCapture.agent) << name;
        EXPECT_EQ(reading->evidence.paneRevision, qint64(metadata->sourceCapture.paneRevisionAfter))
            << name;
        const bool generic = reading->evidence.providerID == u"generic-screen";
        EXPECT_EQ(generic, reading->kind == InteractionKind::unknown) << name;
    }
}

} // namespace
