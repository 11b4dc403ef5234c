// The fixture corpus: every fixture in tests/fixtures, read through the standard readers, must
// read as its annotations say, and every screen source must have its fixture, made from the
// annotations it holds now.
#include "HerdrClient/Capture/InteractionFixtureInspector.h"
#include "HerdrClient/Capture/PaneFixtureExtractor.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QDir corpus(QStringLiteral(ORREL_FIXTURE_DIRECTORY));

// Annotations write progress as "current/total", with " (N unanswered)" when there is a count
// and "?" for an unknown part.
std::optional<QString> progressText(const std::optional<InteractionProgress>& progress)
{
    if (!progress)
        return std::nullopt;
    const auto part = [](const std::optional<qint64>& v) { return v ? QString::number(*v) : u"?"_s; };
    QString text = part(progress->current) + u'/' + part(progress->total);
    if (progress->unanswered)
        text += u" (%1 unanswered)"_s.arg(*progress->unanswered);
    return text;
}

TEST(FixtureCorpus, EverySourceHasAFixtureOfItsCurrentAnnotations)
{
    const QStringList sources = QDir(corpus.filePath(u"sources"_s)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_GE(sources.size(), 40);
    const QStringList fixtures = corpus.entryList({u"*.fixture"_s}, QDir::Dirs);
    for (const QString& name : sources) {
        const QRegularExpression own(u"^"_s + QRegularExpression::escape(name) + u"-[0-9a-f]{12}\\.fixture$"_s);
        const QStringList matching = fixtures.filter(own);
        ASSERT_EQ(matching.size(), 1) << name.toStdString() << ": run tests/fixtures/make-fixtures.sh";
        QFile file(corpus.filePath(u"sources/%1/annotations.json"_s.arg(name)));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
        const auto json = JSONValue::parse(file.readAll());
        ASSERT_TRUE(json) << name.toStdString();
        const auto annotations = PaneFixtureAnnotations::decode(*json);
        ASSERT_TRUE(annotations) << name.toStdString();
        const auto metadata = PaneFixtureExtractor::verifyFixture(corpus.filePath(matching.first()));
        ASSERT_TRUE(metadata) << matching.first().toStdString() << ": "
                              << metadata.error().errorDescription().toStdString();
        EXPECT_EQ(metadata->annotations, *annotations)
            << name.toStdString() << ": the fixture is older than its annotations";
    }
    EXPECT_EQ(fixtures.size(), sources.size()) << "a fixture without a source is left over";
}

TEST(FixtureCorpus, EveryFixtureReadsAsAnnotated)
{
    const QStringList fixtures = corpus.entryList({u"*.fixture"_s}, QDir::Dirs);
    ASSERT_GE(fixtures.size(), 40);
    const InteractionFixtureInspector inspector(PromptClassifier(ScreenAdapterRegistry::standard()));
    for (const QString& directory : fixtures) {
        const std::string name = directory.toStdString();
        const QString path = corpus.filePath(directory);
        const auto metadata = PaneFixtureExtractor::verifyFixture(path);
        ASSERT_TRUE(metadata) << name << ": " << metadata.error().errorDescription().toStdString();
        const auto reading = inspector.inspect(path);
        ASSERT_TRUE(reading) << name;
        const PaneFixtureAnnotations& expected = metadata->annotations;

        EXPECT_EQ(toString(reading->kind), expected.interactionKind) << name;
        EXPECT_EQ(reading->title, expected.title) << name;
        EXPECT_EQ(progressText(reading->progress), expected.progress) << name;
        std::vector<QString> labels;
        std::vector<QString> descriptions;
        for (const auto& choice : reading->choices) {
            labels.push_back(choice.label);
            descriptions.push_back(choice.description.value_or(QString()));
        }
        EXPECT_EQ(labels, expected.optionLabels) << name;
        EXPECT_EQ(descriptions, expected.optionDescriptions) << name;
        EXPECT_EQ(reading->presentation.selectedChoicePreview, expected.selectedChoicePreview) << name;
        EXPECT_EQ(reading->presentation.selectedChoiceIndex, expected.observedCursorIndex) << name;
        EXPECT_EQ(reading->presentation.checkedChoiceIndexes, expected.observedCheckedIndexes) << name;
        EXPECT_EQ(toString(reading->presentation.mechanism), expected.responseMechanism) << name;
        // The reading stands on the captured pane, as a live read would.
        EXPECT_EQ(reading->paneID, metadata->sourceCapture.paneID) << name;
        EXPECT_EQ(reading->evidence.agentID, metadata->sourceCapture.agent) << name;
        EXPECT_EQ(reading->evidence.paneRevision, qint64(metadata->sourceCapture.paneRevisionAfter)) << name;
        const bool generic = reading->evidence.providerID == u"generic-screen";
        EXPECT_EQ(generic, reading->kind == InteractionKind::unknown) << name;
    }
}

} // namespace
