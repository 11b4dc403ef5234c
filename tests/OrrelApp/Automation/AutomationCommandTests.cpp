#include "OrrelApp/Automation/AutomationCommand.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Kind = AutomationCommand::Kind;

AutomationCommand command(Kind kind)
{
    AutomationCommand result;
    result.kind = kind;
    return result;
}

} // namespace

TEST(AutomationCommand, ReadsEachCommandWithItsTypedArguments)
{
    AutomationCommand select = command(Kind::select);
    select.session = u"main"_s;
    select.pane = u"w1:p2"_s;
    AutomationCommand answer = command(Kind::answer);
    answer.index = 3;
    AutomationCommand reply = command(Kind::reply);
    reply.text = u"yes, and run the tests"_s;
    AutomationCommand typeText = command(Kind::typeText);
    AutomationCommand screenshot = command(Kind::screenshot);
    screenshot.path = u"/tmp/panel.png"_s;
    AutomationCommand notification = command(Kind::notification);
    notification.action = u"dismiss"_s;
    notification.session = u"local:default"_s;
    notification.pane = u"w1:p1"_s;

    const std::pair<const char*, AutomationCommand> cases[] = {
        {R"({"cmd":"state"})", command(Kind::state)},
        {R"({"cmd":"showOverview"})", command(Kind::showOverview)},
        {R"({"cmd":"select","pane":"w1:p2","session":"main"})", select},
        {R"({"cmd":"answer","index":3})", answer},
        {R"({"cmd":"answer","index":3.0})", answer},
        {R"({"cmd":"reply","text":"yes, and run the tests"})", reply},
        // Text may be empty; whether that means anything is the surface's call.
        {R"({"cmd":"typeText","text":""})", typeText},
        {R"({"cmd":"screenshot","path":"/tmp/panel.png"})", screenshot},
        {R"({"cmd":"notification","action":"dismiss","session":"local:default","pane":"w1:p1"})",
         notification},
        // Keys no command knows, and arguments another command takes, are ignored.
        {R"({"cmd":"quit","force":true,"text":"bye","index":"x"})", command(Kind::quit)},
    };
    for (const auto& [line, expected] : cases) {
        const auto parsed = AutomationCommand::parse(QByteArray(line));
        ASSERT_TRUE(parsed) << line << ": " << parsed.error().toStdString();
        EXPECT_EQ(*parsed, expected) << line;
    }
}

TEST(AutomationCommand, EveryKnownNameReadsBackAsItself)
{
    const QStringList names = AutomationCommand::knownNames();
    ASSERT_EQ(names.size(), 20);
    const QJsonObject arguments{{u"action"_s, u"jump"_s}, {u"session"_s, u"s"_s},
                                {u"pane"_s, u"p"_s},      {u"index"_s, 0},
                                {u"text"_s, u"t"_s},      {u"path"_s, u"/p.png"_s}};
    for (const QString& name : names) {
        QJsonObject request = arguments;
        request.insert(u"cmd"_s, name);
        const auto parsed = AutomationCommand::fromJSON(request);
        ASSERT_TRUE(parsed) << name.toStdString();
        EXPECT_EQ(parsed->name(), name);
    }
}

TEST(AutomationCommand, RefusesBadRequestsWithASentence)
{
    const std::pair<const char*, QString> cases[] = {
        {"", u"The request is empty"_s},
        {"{\"cmd\":", u"not valid JSON"_s},
        {"{\"cmd\":\"state\"} trailing", u"not valid JSON"_s},
        {"[\"state\"]", u"must be a JSON object"_s},
        {"{}", u"has no \"cmd\"; the known commands are state, toggle,"_s},
        {R"({"cmd":3})", u"\"cmd\" must be a string"_s},
        {R"({"cmd":"frobnicate"})", u"Unknown command \"frobnicate\"; the known commands are"_s},
        {R"({"cmd":"answer"})", u"answer needs \"index\", a whole number of 0 or more."_s},
        {R"({"cmd":"answer","index":"1"})", u"The \"index\" of answer must be a whole number"_s},
        {R"({"cmd":"answer","index":-1})", u"The \"index\" of answer must be a whole number"_s},
        {R"({"cmd":"answer","index":1.5})", u"The \"index\" of answer must be a whole number"_s},
        {R"({"cmd":"answer","index":1e300})", u"The \"index\" of answer must be a whole number"_s},
        {R"({"cmd":"reply","text":7})", u"The \"text\" of reply must be a string."_s},
        {R"({"cmd":"select","session":"s"})", u"select needs \"pane\", a non-empty string."_s},
        {R"({"cmd":"jump","session":"","pane":"p"})", u"\"session\" of jump must be a non-empty"_s},
        {R"({"cmd":"interrupt","session":"s","pane":["p"]})", u"\"pane\" of interrupt must be"_s},
        {R"({"cmd":"screenshot","path":"shot.png"})", u"must be an absolute path."_s},
        {R"({"cmd":"screenshot"})", u"screenshot needs \"path\", an absolute path."_s},
        {R"({"cmd":"notification","action":"snooze","session":"s","pane":"p"})",
         u"The \"action\" of notification must be one of open, jump, dismiss."_s},
    };
    for (const auto& [line, sentence] : cases) {
        const auto parsed = AutomationCommand::parse(QByteArray(line));
        ASSERT_FALSE(parsed) << line;
        EXPECT_TRUE(parsed.error().contains(sentence))
            << line << ": " << parsed.error().toStdString();
        EXPECT_TRUE(parsed.error().endsWith(u'.')) << parsed.error().toStdString();
    }
    EXPECT_TRUE(
        AutomationCommand::parse("{\"cmd\":\"x\"}").error().endsWith(u"screenshot, quit."_s));
}
