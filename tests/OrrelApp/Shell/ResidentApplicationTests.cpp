// The resident application as a person meets it: started against a fake herdr on a real X server
// with a window manager, driven through its automation channel, looked at through screenshots.

#include "HerdrClient/Wire/JSONValue.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"
#include "tests/support/OtherXClient.h"
#include "tests/support/TestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

const QString orrelSentry = QStringLiteral(ORREL_SENTRY_PATH);
const QString scenarioPath = QStringLiteral(ORREL_SCENARIO_DIRECTORY) + u"/app.json"_s;
const QString screenshotDirectory = QStringLiteral(ORREL_SCREENSHOT_DIRECTORY);
constexpr int replyDeadline = 20000;

class ResidentApplication : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(directory.isValid());
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY"))
            << "run under tests/support/desktop-session";
        auto loaded = FakeScenario::load(scenarioPath);
        ASSERT_TRUE(loaded) << loaded.error().toStdString();
        scenario = std::make_unique<FakeScenario>(std::move(*loaded));
        // herdr's default session of this home, so that the pi extension's ask files count.
        QDir().mkpath(directory.filePath(u"config/herdr"_s));
        server =
            std::make_unique<FakeHerdrServer>(directory.filePath(u"config/herdr/herdr.sock"_s));
        writeAsk(u"ask-migrate"_s, u"w1:p1"_s, u"Run the staging migrations?"_s);
        writeAsk(u"ask-deploy"_s, u"w2:p1"_s, u"Deploy the web app to production?"_s);
        writeEscalation();
        // The pill stays revealed, so that its screenshots show it.
        QDir().mkpath(directory.filePath(u"config/orrelsentry"_s));
        QFile settings(directory.filePath(u"config/orrelsentry/orrelsentry.conf"_s));
        ASSERT_TRUE(settings.open(QIODevice::WriteOnly));
        settings.write("[General]\ncompactIndicatorMode=alwaysShow\n");
        ASSERT_TRUE(server->start());
        scenario->install(*server);
        QDir().mkpath(screenshotDirectory);
    }

    void TearDown() override
    {
        if (app.state() != QProcess::NotRunning) {
            app.terminate();
            if (!app.waitForFinished(10000))
                app.kill();
            app.waitForFinished(5000);
        }
        if (HasFailure())
            std::fprintf(stderr, "orrel-sentry said:\n%s\n", app.readAll().constData());
    }

    QProcessEnvironment environment() const
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
        environment.insert(u"XDG_CONFIG_HOME"_s, directory.filePath(u"config"_s));
        environment.insert(u"HOME"_s, directory.filePath(u"home"_s));
        // The default session's own path: pinned, and the local default session.
        environment.insert(u"HERDR_SOCKET_PATH"_s, server->socketPath());
        environment.insert(u"ORRELSENTRY_AUTOMATION_SOCKET"_s, automationPath());
        environment.insert(u"ORRELSENTRY_REDUCE_MOTION"_s, u"1"_s);
        environment.insert(u"ORREL_PI_SENTINEL_DIR"_s, directory.filePath(u"sentinel"_s));
        return environment;
    }

    // What the pi extension writes beside its pane token.
    void writeAsk(const QString& id, const QString& pane, const QString& question)
    {
        const QString asks = directory.filePath(u"home/.pi/agent/orrel/asks"_s);
        QDir().mkpath(asks);
        QFile file(asks + u"/"_s + id + u".json"_s);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(
            QJsonDocument(QJsonObject{{u"v"_s, 1},
                                      {u"id"_s, id},
                                      {u"kind"_s, u"approval"_s},
                                      {u"q"_s, question},
                                      {u"pane"_s, pane},
                                      {u"since"_s, double(QDateTime::currentMSecsSinceEpoch())}})
                .toJson());
    }

    // A pi worker's question to its orchestrator, as the sentinel journals it.
    void writeEscalation()
    {
        const QString questions = directory.filePath(u"sentinel/questions"_s);
        QDir().mkpath(questions);
        QFile journal(questions + u"/questions.jsonl"_s);
        ASSERT_TRUE(journal.open(QIODevice::WriteOnly));
        const QByteArray created = QByteArray::number(QDateTime::currentMSecsSinceEpoch());
        journal.write(R"({"questionId":"q1","owner":{"paneId":"w3:p1"},"child":{"paneId":"w3:p2"},)"
                      R"("origin":{"paneId":"w3:p2"},)"
                      R"("questions":[{"question":"Which schema should the import use?",)"
                      R"("options":["staging","production"],"createdAt":)"
                      + created
                      + R"(}]})"
                        "\n"
                        R"({"questionId":"q1","type":"escalated"})"
                        "\n");
    }

    QString automationPath() const { return directory.filePath(u"automation.sock"_s); }

    bool launch()
    {
        app.setProcessEnvironment(environment());
        app.setProcessChannelMode(QProcess::MergedChannels);
        app.start(orrelSentry, {});
        if (!app.waitForStarted(10000))
            return false;
        return processEventsUntil([&] { return QFile::exists(automationPath()); },
                                  std::chrono::milliseconds(replyDeadline));
    }

    // One request, one reply line.
    QJsonObject request(const QJsonObject& command)
    {
        QLocalSocket socket;
        socket.connectToServer(automationPath());
        if (!socket.waitForConnected(replyDeadline))
            return {{u"ok"_s, false}, {u"error"_s, u"no connection"_s}};
        socket.write(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
        QByteArray line;
        QElapsedTimer clock;
        clock.start();
        while (!line.contains('\n') && clock.elapsed() < replyDeadline) {
            if (socket.bytesAvailable() || socket.waitForReadyRead(200))
                line += socket.readAll();
            else if (socket.state() != QLocalSocket::ConnectedState)
                break;
        }
        return QJsonDocument::fromJson(line.trimmed()).object();
    }

    QJsonObject command(const QString& name, QJsonObject arguments = {})
    {
        arguments.insert(u"cmd"_s, name);
        return request(arguments);
    }

    QJsonObject state() { return command(u"state"_s).value(u"state"_s).toObject(); }

    // Waits until `holds` is true of the state, and hands that state back.
    QJsonObject waitForState(const std::function<bool(const QJsonObject&)>& holds)
    {
        QJsonObject seen;
        processEventsUntil(
            [&] {
                seen = state();
                return holds(seen);
            },
            std::chrono::milliseconds(replyDeadline));
        return seen;
    }

    // The panel as drawn now, kept for people to look at.
    QImage screenshot(const QString& name)
    {
        const QString path = screenshotDirectory + u"/"_s + name + u".png"_s;
        QFile::remove(path);
        const QJsonObject reply = command(u"screenshot"_s, {{u"path"_s, path}});
        EXPECT_TRUE(reply.value(u"ok"_s).toBool()) << name.toStdString();
        return QImage(path);
    }

    static QString presentation(const QJsonObject& state)
    {
        return state.value(u"presentation"_s).toString();
    }

    static QJsonArray section(const QJsonObject& state, const QString& key)
    {
        const QJsonArray sections =
            state.value(u"board"_s).toObject().value(u"sections"_s).toArray();
        for (const auto& value : sections) {
            if (value.toObject().value(u"key"_s).toString() == key)
                return value.toObject().value(u"rows"_s).toArray();
        }
        return {};
    }

    static QJsonObject hotKeys(const QJsonObject& state)
    {
        return state.value(u"hotkeys"_s).toObject();
    }

    // Keys pressed as a person presses them, through the X server.
    static bool press(const QString& chord)
    {
        QProcess tool;
        tool.start(u"xdotool"_s, {u"key"_s, chord});
        return tool.waitForFinished(10000) && tool.exitCode() == 0;
    }

    // Once the session has been read, the agents that need the person can be selected.
    // Both asks and the worker's escalated question wait.
    bool launchUntilEveryAskWaits()
    {
        const auto waiting = [](const QJsonObject& s) {
            return s.value(u"needsYou"_s).toArray().size() == 3;
        };
        return launch() && waiting(waitForState(waiting));
    }

    bool selectPane(const QString& pane)
    {
        return command(u"select"_s, {{u"session"_s, u"local:default"_s}, {u"pane"_s, pane}})
            .value(u"ok"_s)
            .toBool();
    }

    qsizetype sentKeys() const
    {
        return std::ranges::count_if(server->requests(), [](const FakeRequest& request) {
            return request.method == u"pane.send_keys"_s || request.method == u"pane.send_text"_s;
        });
    }

    QTemporaryDir directory;
    std::unique_ptr<FakeScenario> scenario;
    std::unique_ptr<FakeHerdrServer> server;
    QProcess app;
};

} // namespace

TEST_F(ResidentApplication, FromThePillToAnAnswerAndBack)
{
    ASSERT_TRUE(launch());

    // The pill: coral with what needs the person: two asks and a worker's escalated question.
    QJsonObject seen = waitForState(
        [](const QJsonObject& s) { return s.value(u"needsYou"_s).toArray().size() == 3; });
    EXPECT_EQ(presentation(seen), u"compact"_s);
    EXPECT_TRUE(seen.value(u"visible"_s).toBool());
    EXPECT_EQ(seen.value(u"pill"_s).toObject().value(u"status"_s).toString(), u"blocked"_s);
    const QJsonObject frame = seen.value(u"geometry"_s).toObject();
    // Centred at the top of the 1280-pixel display.
    EXPECT_EQ(frame.value(u"y"_s).toInt(), 0);
    EXPECT_EQ(frame.value(u"x"_s).toInt() * 2 + frame.value(u"width"_s).toInt(), 1280);
    EXPECT_FALSE(screenshot(u"pill-blocked"_s).isNull());

    // The overview: what needs the person, one blocked root waiting out its grace, and the rest;
    // the workers stay under their roots.
    ASSERT_TRUE(command(u"showOverview"_s).value(u"ok"_s).toBool());
    seen = waitForState([](const QJsonObject& s) { return presentation(s) == u"overview"; });
    EXPECT_EQ(section(seen, u"needsYou"_s).size(), 3);
    EXPECT_EQ(section(seen, u"grace"_s).size(), 1);
    EXPECT_GT(seen.value(u"geometry"_s).toObject().value(u"height"_s).toInt(), 100);
    EXPECT_FALSE(screenshot(u"overview"_s).isNull());

    // A worker is answered by its root, never from here.
    QJsonObject reply =
        command(u"select"_s, {{u"session"_s, u"local:default"_s}, {u"pane"_s, u"w1:p3"_s}});
    ASSERT_TRUE(reply.value(u"ok"_s).toBool()) << QJsonDocument(reply).toJson().toStdString();
    reply = command(u"approve"_s);
    EXPECT_FALSE(reply.value(u"ok"_s).toBool());
    EXPECT_TRUE(reply.value(u"error"_s).toString().contains(u"Nothing was sent."_s))
        << reply.value(u"error"_s).toString().toStdString();

    // A worker's question reaches the person on its orchestrator's card.
    reply = command(u"select"_s, {{u"session"_s, u"local:default"_s}, {u"pane"_s, u"w3:p1"_s}});
    ASSERT_TRUE(reply.value(u"ok"_s).toBool()) << QJsonDocument(reply).toJson().toStdString();
    seen = waitForState([](const QJsonObject& s) {
        return s.value(u"card"_s).toObject().value(u"escalation"_s).isObject();
    });
    EXPECT_TRUE(QJsonDocument(seen.value(u"card"_s).toObject().value(u"escalation"_s).toObject())
                    .toJson()
                    .contains("Which schema should the import use?"));
    EXPECT_FALSE(screenshot(u"card-escalation"_s).isNull());

    // The hard floor: Approve stays locked until the target is typed.
    reply = command(u"select"_s, {{u"session"_s, u"local:default"_s}, {u"pane"_s, u"w2:p1"_s}});
    ASSERT_TRUE(reply.value(u"ok"_s).toBool());
    seen = waitForState([](const QJsonObject& s) {
        return s.value(u"card"_s).toObject().value(u"hardFloor"_s).isObject();
    });
    const QJsonObject floor = seen.value(u"card"_s).toObject().value(u"hardFloor"_s).toObject();
    const QString target = floor.value(u"target"_s).toString();
    EXPECT_FALSE(target.isEmpty());
    EXPECT_FALSE(floor.value(u"armed"_s).toBool());
    EXPECT_FALSE(screenshot(u"card-hard-floor"_s).isNull());
    const qsizetype keysBefore = sentKeys();
    reply = command(u"approve"_s);
    EXPECT_FALSE(reply.value(u"ok"_s).toBool());
    EXPECT_EQ(sentKeys(), keysBefore);
    ASSERT_TRUE(command(u"armFloor"_s, {{u"text"_s, target}}).value(u"ok"_s).toBool());
    seen = waitForState([](const QJsonObject& s) {
        return s.value(u"card"_s)
            .toObject()
            .value(u"hardFloor"_s)
            .toObject()
            .value(u"armed"_s)
            .toBool();
    });
    EXPECT_FALSE(screenshot(u"card-hard-floor-armed"_s).isNull());

    // An approval card, answered: the keys reach the pane and the receipt shows.
    reply = command(u"select"_s, {{u"session"_s, u"local:default"_s}, {u"pane"_s, u"w1:p1"_s}});
    ASSERT_TRUE(reply.value(u"ok"_s).toBool());
    seen = waitForState([](const QJsonObject& s) {
        return s.value(u"card"_s).toObject().value(u"choices"_s).toArray().size() == 3;
    });
    EXPECT_EQ(presentation(seen), u"focused"_s);
    EXPECT_FALSE(screenshot(u"card-approval"_s).isNull());
    reply = command(u"approve"_s);
    ASSERT_TRUE(reply.value(u"ok"_s).toBool()) << QJsonDocument(reply).toJson().toStdString();
    EXPECT_GT(sentKeys(), keysBefore);
    seen = waitForState([](const QJsonObject& s) {
        return !s.value(u"card"_s).toObject().value(u"receipt"_s).isNull();
    });
    EXPECT_FALSE(screenshot(u"card-receipt"_s).isNull());

    // Collapsing gives the pill back; quitting ends the program cleanly.
    ASSERT_TRUE(command(u"collapse"_s).value(u"ok"_s).toBool());
    seen = waitForState([](const QJsonObject& s) { return presentation(s) == u"compact"; });
    ASSERT_TRUE(command(u"quit"_s).value(u"ok"_s).toBool());
    ASSERT_TRUE(app.waitForFinished(15000));
    EXPECT_EQ(app.exitCode(), 0);
}

TEST_F(ResidentApplication, OneInstanceAQuietPillAMovingDisplayAndACleanEnd)
{
    // Nobody waits: the pill is quiet.
    scenario->transitionTo(*FakeScenario::fromJSON(*JSONValue::parse(
        R"({"panes":[{"pane_id":"w1:p1","agent":"claude","agent_status":"idle"}]})")));
    ASSERT_TRUE(launch());
    QJsonObject seen = waitForState([](const QJsonObject& s) {
        return s.value(u"agentCount"_s).toInt() == 1
               && s.value(u"pill"_s).toObject().value(u"status"_s).toString() == u"idle";
    });
    EXPECT_TRUE(seen.value(u"needsYou"_s).toArray().isEmpty());
    EXPECT_FALSE(screenshot(u"pill-idle"_s).isNull());

    // A second start in the same login session shows the first one's overview and ends.
    QProcess second;
    second.setProcessEnvironment(environment());
    second.start(orrelSentry, {});
    ASSERT_TRUE(second.waitForFinished(15000));
    EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().toStdString();
    seen = waitForState([](const QJsonObject& s) { return presentation(s) == u"overview"; });
    EXPECT_EQ(presentation(seen), u"overview"_s);

    // A display that changes moves the panel at once, still centred at its top.
    for (const QStringList& arguments :
         {QStringList{u"--newmode"_s, u"small"_s, u"60"_s, u"1024"_s, u"1048"_s, u"1184"_s,
                      u"1344"_s, u"700"_s, u"703"_s, u"709"_s, u"720"_s},
          QStringList{u"--addmode"_s, u"screen"_s, u"small"_s},
          QStringList{u"--output"_s, u"screen"_s, u"--mode"_s, u"small"_s}}) {
        QProcess xrandr;
        xrandr.start(u"xrandr"_s, arguments);
        ASSERT_TRUE(xrandr.waitForFinished(10000));
        ASSERT_EQ(xrandr.exitCode(), 0) << xrandr.readAllStandardError().toStdString();
    }
    seen = waitForState([](const QJsonObject& s) {
        const QJsonObject frame = s.value(u"geometry"_s).toObject();
        return frame.value(u"x"_s).toInt() * 2 + frame.value(u"width"_s).toInt() == 1024;
    });
    EXPECT_EQ(seen.value(u"geometry"_s).toObject().value(u"y"_s).toInt(), 0);

    // SIGTERM takes the same way out as Quit: the sessions end and the socket goes.
    app.terminate();
    ASSERT_TRUE(app.waitForFinished(15000));
    EXPECT_EQ(app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(app.exitCode(), 0);
    EXPECT_FALSE(QFile::exists(automationPath()));
}

TEST_F(ResidentApplication, AgentHotKeysAnswerTheWaitingCardAndLetGoWhenItGoes)
{
    ASSERT_TRUE(launchUntilEveryAskWaits());
    OtherXClient other;

    // The hard floor holds for a key as for a click: nothing reaches the pane.
    ASSERT_TRUE(selectPane(u"w2:p1"_s));
    QJsonObject seen = waitForState([](const QJsonObject& s) {
        return hotKeys(s).value(u"state"_s) == u"active"_s
               && s.value(u"card"_s).toObject().value(u"hardFloor"_s).isObject();
    });
    ASSERT_EQ(hotKeys(seen).value(u"state"_s).toString(), u"active"_s)
        << QJsonDocument(hotKeys(seen)).toJson().toStdString();
    EXPECT_EQ(hotKeys(seen).value(u"registeredChords"_s).toArray().size(), 16);
    EXPECT_EQ(other.grab('y'), 10) << "the chord of approve is ours while the card waits";
    const qsizetype keysBefore = sentKeys();
    ASSERT_TRUE(press(u"ctrl+alt+y"_s));
    seen = waitForState([](const QJsonObject& s) {
        return s.value(u"card"_s).toObject().value(u"refusalNotice"_s).isString();
    });
    EXPECT_TRUE(seen.value(u"card"_s)
                    .toObject()
                    .value(u"refusalNotice"_s)
                    .toString()
                    .endsWith(u"Nothing was sent."_s));
    EXPECT_EQ(sentKeys(), keysBefore);

    // An approval that waits is approved by its chord.
    ASSERT_TRUE(selectPane(u"w1:p1"_s));
    waitForState([](const QJsonObject& s) {
        return s.value(u"card"_s).toObject().value(u"choices"_s).toArray().size() == 3;
    });
    ASSERT_TRUE(press(u"ctrl+alt+y"_s));
    seen = waitForState([](const QJsonObject& s) {
        return !s.value(u"card"_s).toObject().value(u"receipt"_s).isNull();
    });
    EXPECT_FALSE(seen.value(u"card"_s).toObject().value(u"receipt"_s).isNull());
    EXPECT_GT(sentKeys(), keysBefore);

    // The agent's pane closes: no card waits, and the keys go back to the desktop.
    scenario->removePane(u"w1:p1"_s);
    seen = waitForState(
        [](const QJsonObject& s) { return hotKeys(s).value(u"state"_s) == u"idle"_s; });
    EXPECT_EQ(hotKeys(seen).value(u"state"_s).toString(), u"idle"_s);
    EXPECT_TRUE(hotKeys(seen).value(u"registeredChords"_s).toArray().isEmpty());
    EXPECT_EQ(other.grab('y'), 0);
    EXPECT_EQ(other.grab('1'), 0);

    // Another card that waits holds them again; a worker's card waits for no one.
    ASSERT_TRUE(selectPane(u"w2:p1"_s));
    seen = waitForState(
        [](const QJsonObject& s) { return hotKeys(s).value(u"state"_s) == u"active"_s; });
    EXPECT_EQ(other.grab('y'), 10);
    ASSERT_TRUE(selectPane(u"w1:p3"_s));
    seen = waitForState(
        [](const QJsonObject& s) { return hotKeys(s).value(u"state"_s) == u"idle"_s; });
    EXPECT_EQ(other.grab('y'), 0);
}

TEST_F(ResidentApplication, AChordAnotherProgramHoldsIsAConflict)
{
    OtherXClient other;
    ASSERT_EQ(other.grab('n', OtherXClient::ctrlAlt, true), 0);
    ASSERT_TRUE(launchUntilEveryAskWaits());
    ASSERT_TRUE(selectPane(u"w1:p1"_s));
    const QJsonObject seen = waitForState(
        [](const QJsonObject& s) { return hotKeys(s).value(u"state"_s) == u"conflict"_s; });
    ASSERT_EQ(hotKeys(seen).value(u"state"_s).toString(), u"conflict"_s);
    EXPECT_EQ(hotKeys(seen).value(u"message"_s).toString(),
              u"deny: The desktop could not register this shortcut (error 10). Choose another "
              "combination."_s);
    EXPECT_TRUE(hotKeys(seen).value(u"registeredChords"_s).toArray().isEmpty());
    EXPECT_TRUE(seen.value(u"overview"_s).toObject().value(u"hotkeyNotice"_s).isString());
    // None of the other chords stayed behind.
    OtherXClient third;
    EXPECT_EQ(third.grab('y'), 0);
    EXPECT_EQ(third.grab(0xff0d), 0);
}
