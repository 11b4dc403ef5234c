// orrelctl app against a real automation channel that lives in the test.
#include "OrrelApp/Automation/AutomationChannel.h"
#include "tests/OrrelApp/Automation/FakeAutomationTarget.h"
#include "tests/tools/orrelctl/ProgramRun.h"

#include <QDir>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

using Kind = AutomationCommand::Kind;

class AppCommandTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(directory.isValid());
        path = directory.filePath(u"automation.sock"_s);
        target.stateObject = QJsonObject{{u"presentation"_s, u"overview"_s}, {u"needsYou"_s, 1}};
        const auto started = channel.start(path);
        ASSERT_TRUE(started) << started.error().toStdString();
    }

    // orrelctl app with the socket in the environment, as a script would have it.
    ProgramRun app(QStringList arguments, const std::optional<QString>& socket = std::nullopt)
    {
        arguments.prepend(u"app"_s);
        QProcessEnvironment environment;
        environment.insert(QString(automationSocketVariable), socket.value_or(path));
        return run(QStringLiteral(ORRELCTL_PATH), arguments, {}, environment, true);
    }

    QTemporaryDir directory;
    QString path;
    FakeAutomationTarget target;
    AutomationChannel channel{target};
};

TEST_F(AppCommandTest, PrintsTheStateForPeopleAndTheRawLineForScripts)
{
    const ProgramRun people = app({u"state"_s});
    ASSERT_EQ(people.status, 0) << people.err.toStdString();
    EXPECT_EQ(people.out, u"{\n    \"needsYou\": 1,\n    \"presentation\": \"overview\"\n}\n"_s);

    const ProgramRun script = app({u"state"_s, u"--json"_s});
    EXPECT_EQ(script.status, 0);
    EXPECT_EQ(script.out,
              u"{\"ok\":true,\"state\":{\"needsYou\":1,\"presentation\":\"overview\"}}\n"_s);
}

TEST_F(AppCommandTest, SendsNumbersAsNumbersAndEverythingElseAsText)
{
    EXPECT_EQ(app({u"answer"_s, u"index=2"_s}).status, 0);
    EXPECT_EQ(app({u"reply"_s, u"text=42"_s}).status, 0);
    EXPECT_EQ(app({u"select"_s, u"session=main"_s, u"pane=w1:p3"_s, u"extra=ignored"_s}).status, 0);
    // A path is the caller's, whatever folder the application runs in.
    const ProgramRun shot = run(
        QStringLiteral(ORRELCTL_PATH),
        {u"app"_s, u"screenshot"_s, u"--automation-socket"_s, path, u"path=shots/../panel.png"_s},
        {}, {}, true);
    EXPECT_EQ(shot.status, 0) << shot.err.toStdString();

    ASSERT_EQ(target.calls.size(), 4u);
    EXPECT_EQ(target.calls[0].index, 2);
    EXPECT_EQ(target.calls[1].text, u"42"_s);
    EXPECT_EQ(target.calls[2].session, u"main"_s);
    EXPECT_EQ(target.calls[2].pane, u"w1:p3"_s);
    EXPECT_EQ(target.calls[3].path, QDir::current().absoluteFilePath(u"shots/../panel.png"_s));
}

TEST_F(AppCommandTest, ARefusedAnswerExitsWithThreeAndOtherRefusalsWithOne)
{
    target.refusals[Kind::approve] = u"The prompt went away. Nothing was sent."_s;
    target.refusals[Kind::jump] = u"No terminal window shows that pane."_s;

    const ProgramRun approve = app({u"approve"_s});
    EXPECT_EQ(approve.status, 3);
    EXPECT_EQ(approve.err, u"The prompt went away. Nothing was sent.\n"_s);
    EXPECT_TRUE(approve.out.isEmpty());

    const ProgramRun jump = app({u"jump"_s, u"session=main"_s, u"pane=w1:p1"_s, u"--json"_s});
    EXPECT_EQ(jump.status, 1);
    EXPECT_EQ(jump.out, u"{\"error\":\"No terminal window shows that pane.\",\"ok\":false}\n"_s);

    target.successKeys = QJsonObject{{u"path"_s, u"/tmp/p.png"_s}};
    const ProgramRun toggle = app({u"toggle"_s});
    EXPECT_EQ(toggle.status, 0);
    EXPECT_TRUE(toggle.out.contains(u"\"path\": \"/tmp/p.png\""_s)) << toggle.out.toStdString();
}

TEST_F(AppCommandTest, MistakesAreUsageErrorsThatNeverReachTheApplication)
{
    const std::pair<QStringList, QString> cases[] = {
        {{}, u"which command?"_s},
        {{u"fly"_s}, u"Unknown command \"fly\"; the known commands are state,"_s},
        {{u"answer"_s}, u"answer needs \"index\""_s},
        {{u"answer"_s, u"index=first"_s}, u"index must be a whole number, not first"_s},
        {{u"answer"_s, u"index=-1"_s}, u"\"index\" of answer must be a whole number"_s},
        {{u"reply"_s, u"hello"_s}, u"expected key=value, not hello"_s},
        {{u"reply"_s, u"text=a"_s, u"text=b"_s}, u"text is given twice"_s},
        {{u"state"_s, u"cmd=quit"_s}, u"cmd is given twice"_s},
        {{u"state"_s, u"--timeout"_s, u"0"_s}, u"--timeout"_s},
    };
    for (const auto& [arguments, sentence] : cases) {
        const ProgramRun r = app(arguments);
        EXPECT_EQ(r.status, 2) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(r.err.contains(sentence)) << r.err.toStdString();
    }
    const ProgramRun unset = app({u"state"_s}, u""_s);
    EXPECT_EQ(unset.status, 2);
    EXPECT_TRUE(unset.err.contains(u"ORRELSENTRY_AUTOMATION_SOCKET"_s));
    EXPECT_TRUE(target.calls.empty());
}

TEST_F(AppCommandTest, AMissingOrSilentApplicationFailsWithOneClearLine)
{
    const QString missing = directory.filePath(u"gone.sock"_s);
    const ProgramRun absent = app({u"state"_s}, missing);
    EXPECT_EQ(absent.status, 1);
    EXPECT_EQ(absent.err.count(u'\n'), 1);
    EXPECT_TRUE(absent.err.contains(missing)) << absent.err.toStdString();
    EXPECT_TRUE(absent.err.contains(u"No such file or directory"_s));

    target.held = {Kind::quit};
    const ProgramRun silent = app({u"quit"_s, u"--timeout"_s, u"0.3"_s});
    EXPECT_EQ(silent.status, 1);
    EXPECT_TRUE(silent.err.startsWith(u"Orrel Sentry did not answer within 0.3 seconds"_s))
        << silent.err.toStdString();
    target.release();
}

TEST(AppCommand, IsListedInTheHelp)
{
    const ProgramRun help = run(QStringLiteral(ORRELCTL_PATH), {u"help"_s});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.contains(u"\n  app "_s));
    EXPECT_TRUE(help.out.contains(u"--automation-socket PATH"_s));
}

} // namespace
