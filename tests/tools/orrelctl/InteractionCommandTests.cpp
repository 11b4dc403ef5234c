// orrelctl classify and read, run as a person runs them.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "tests/HerdrClient/Capture/CaptureTestFiles.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/tools/orrelctl/ProgramRun.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString sources = QStringLiteral(ORREL_SOURCE_DIR "/tests/fixtures/sources/");

ProgramRun orrelctl(const QStringList& arguments)
{
    return run(QStringLiteral(ORRELCTL_PATH), arguments);
}

JSONValue onlyLine(const QString& out)
{
    const QStringList lines = out.split(u'\n', Qt::SkipEmptyParts);
    EXPECT_EQ(lines.size(), 1);
    return JSONValue::parse(lines.value(0).toUtf8()).value_or(JSONValue());
}

} // namespace

TEST(ClassifyCommand, ReadsSavedTextAsTheProgramWould)
{
    QTemporaryDir directory;
    const QString visible = sources + u"claude-wizard-review/visible.ansi"_s;
    const QString detection = directory.filePath(u"detection.txt"_s);
    const QString visibleText = QString::fromUtf8(readFile(visible));
    ASSERT_FALSE(visibleText.isEmpty());
    const QString detectionText = PromptClassifier::stripAnsi(visibleText);
    writeFile(detection, detectionText.toUtf8());

    const ProgramRun json =
        orrelctl({u"classify"_s, u"--agent"_s, u"claude"_s, u"--detection"_s, detection,
                  u"--visible"_s, visible, u"--pane"_s, u"w1:p3"_s, u"--json"_s});
    ASSERT_EQ(json.status, 0) << json.err.toStdString();
    const JSONValue reading = onlyLine(json.out);
    EXPECT_EQ(reading.member(u"kind")->stringValue(), u"reviewSubmit"_s);
    const auto expected =
        PromptClassifier(standardScreenAdapters())
            .classifyInteraction(u"w1:p3"_s, u"claude"_s, detectionText, visibleText, std::nullopt,
                                 ScreenInteractionProvider::currentTabLabel(visibleText));
    EXPECT_EQ(reading.member(u"fingerprint")->stringValue(), expected.fingerprint().rawValue);

    // Without the coloured text no tab is current: a plain question, numbered for people from 1.
    const ProgramRun text =
        orrelctl({u"classify"_s, u"--agent"_s, u"claude"_s, u"--detection"_s, detection});
    ASSERT_EQ(text.status, 0);
    EXPECT_TRUE(text.out.startsWith(u"kind: question\n"_s)) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(u"❯ 1. Submit answers\n"_s)) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(u"    2. Cancel\n"_s));
    EXPECT_TRUE(text.out.contains(u"mechanism: arrowNavigate\n"_s));
}

TEST(ClassifyCommand, RefusesBadArgumentsAndFiles)
{
    QTemporaryDir directory;
    const QString broken = directory.filePath(u"broken.txt"_s);
    writeFile(broken, "Do you want to proceed?\n\xff\xfe 1. Yes\n");

    EXPECT_EQ(orrelctl({u"classify"_s, u"--detection"_s, broken}).status, 2);
    EXPECT_EQ(orrelctl({u"classify"_s, u"--agent"_s, u"claude"_s}).status, 2);
    const ProgramRun invalid =
        orrelctl({u"classify"_s, u"--agent"_s, u"claude"_s, u"--detection"_s, broken});
    EXPECT_EQ(invalid.status, 1);
    EXPECT_TRUE(invalid.err.contains(u"not valid UTF-8"_s)) << invalid.err.toStdString();
    EXPECT_EQ(orrelctl({u"classify"_s, u"--agent"_s, u"claude"_s, u"--detection"_s,
                        directory.filePath(u"missing.txt"_s)})
                  .status,
              1);
}

TEST(ReadCommand, ReadsALivePaneThroughHerdr)
{
    FakeHerdrServer server;
    ASSERT_TRUE(server.start());
    auto scenario =
        FakeScenario::load(QStringLiteral(ORREL_SOURCE_DIR "/tests/scenarios/interaction.json"));
    ASSERT_TRUE(scenario) << scenario.error().toStdString();
    scenario->install(server);

    const ProgramRun pi =
        orrelctl({u"read"_s, u"w1:p4"_s, u"--socket"_s, server.socketPath(), u"--json"_s});
    ASSERT_EQ(pi.status, 0) << pi.err.toStdString();
    const JSONValue reading = onlyLine(pi.out);
    EXPECT_EQ(reading.member(u"evidence")->member(u"providerID")->stringValue(), u"pi-screen"_s);
    EXPECT_EQ(reading.member(u"evidence")->member(u"paneRevision")->intValue(), 14);
    EXPECT_EQ(reading.member(u"presentation")->member(u"activeStepIndex")->intValue(), 0);

    const ProgramRun missing =
        orrelctl({u"read"_s, u"w1:p9"_s, u"--socket"_s, server.socketPath()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.err.contains(u"pane w1:p9 not found"_s)) << missing.err.toStdString();
    EXPECT_EQ(orrelctl({u"read"_s, u"--socket"_s, server.socketPath()}).status, 2);
}
