// Every claude and pi screen source of the fixture corpus, read by the standard readers and
// compared with its annotations.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "tests/HerdrClient/Adapters/AdapterTestSupport.h"
#include "tests/HerdrClient/Adapters/ReadingChecks.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(ScreenSources, ReadAsAnnotated)
{
    const QDir root(QStringLiteral(ORREL_SCREEN_SOURCES));
    const QStringList names = root.entryList({u"claude-*"_s, u"pi-*"_s}, QDir::Dirs);
    ASSERT_GE(names.size(), 20);
    const PromptClassifier classifier(standardScreenAdapters());
    for (const QString& name : names) {
        const std::string label = name.toStdString();
        QFile agentFile(root.filePath(name + u"/agent"_s));
        QFile annotationsFile(root.filePath(name + u"/annotations.json"_s));
        ASSERT_TRUE(agentFile.open(QIODevice::ReadOnly)) << label;
        ASSERT_TRUE(annotationsFile.open(QIODevice::ReadOnly)) << label;
        const QString agent = QString::fromUtf8(agentFile.readAll()).trimmed();
        const auto json = JSONValue::parse(annotationsFile.readAll());
        ASSERT_TRUE(json) << label;
        const auto annotations = PaneFixtureAnnotations::decode(*json);
        ASSERT_TRUE(annotations) << label;
        EXPECT_EQ(annotations->name, name);

        const auto reading = classifier.registry().parse(inputFor(agent, loadScreenSource(name)));
        expectSoundReading(reading, label);
        expectReadsAsAnnotated(reading, *annotations, label);
        EXPECT_EQ(reading.evidence.agentID, agent) << label;
        EXPECT_EQ(reading.evidence.paneRevision, 7) << label;
    }
}
