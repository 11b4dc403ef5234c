// The channel on a real Unix socket in a temporary folder, driven as a script drives it.
#include "OrrelApp/Automation/AutomationChannel.h"
#include "tests/OrrelApp/Automation/FakeAutomationTarget.h"
#include "tests/support/TestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using Kind = AutomationCommand::Kind;

class Client {
public:
    explicit Client(const QString& path)
    {
        socket.connectToServer(path);
        EXPECT_TRUE(socket.waitForConnected(5000)) << socket.errorString().toStdString();
    }

    void send(const QByteArray& bytes)
    {
        socket.write(bytes);
        socket.flush();
    }

    // The next reply line as sent, or an empty array when none came.
    QByteArray nextLine()
    {
        if (!processEventsUntil([&] { return socket.canReadLine(); }, std::chrono::seconds(10)))
            return {};
        return socket.readLine().chopped(1);
    }

    QJsonObject nextReply() { return QJsonDocument::fromJson(nextLine()).object(); }

    QLocalSocket socket;
};

struct stat statusOf(const QString& path)
{
    struct stat status {};
    EXPECT_EQ(::lstat(QFile::encodeName(path).constData(), &status), 0) << path.toStdString();
    return status;
}

// A socket file as a crashed listener leaves it: bound, then closed.
void leaveStaleSocket(const QString& path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray encoded = QFile::encodeName(path);
    std::memcpy(address.sun_path, encoded.constData(), std::size_t(encoded.size()));
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(fd);
}

class AutomationChannelTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(directory.isValid());
        path = directory.filePath(u"automation.sock"_s);
        target.stateObject = QJsonObject{{u"presentation"_s, u"compact"_s},
                                         {u"agentCount"_s, 2},
                                         {u"selected"_s, u"main/w1:p1"_s}};
        const auto started = channel.start(path);
        ASSERT_TRUE(started) << started.error().toStdString();
    }

    QTemporaryDir directory;
    QString path;
    FakeAutomationTarget target;
    AutomationChannel channel{target};
};

TEST_F(AutomationChannelTest, RepliesAreCompactLinesWithSortedKeys)
{
    Client client(path);
    client.send("{\"cmd\":\"state\"}\n");
    EXPECT_EQ(
        client.nextLine(),
        R"({"ok":true,"state":{"agentCount":2,"presentation":"compact","selected":"main/w1:p1"}})");

    target.successKeys = QJsonObject{{u"zeta"_s, 1}, {u"path"_s, u"/tmp/a b/ü.png"_s}};
    client.send("{\"cmd\":\"screenshot\",\"path\":\"/tmp/a b/\\u00fc.png\"}\n");
    EXPECT_EQ(client.nextLine(), R"({"ok":true,"path":"/tmp/a b/ü.png","zeta":1})");
    ASSERT_EQ(target.calls.size(), 1u);
    EXPECT_EQ(target.calls[0].path, u"/tmp/a b/ü.png"_s);

    target.refusals[Kind::approve] = u"Nothing is waiting for an answer. Nothing was sent."_s;
    client.send("{\"cmd\":\"approve\"}\n");
    EXPECT_EQ(client.nextLine(),
              R"({"error":"Nothing is waiting for an answer. Nothing was sent.","ok":false})");
}

TEST_F(AutomationChannelTest, ASlowCommandKeepsTheOrderOfItsClientButHoldsUpNoOther)
{
    target.held = {Kind::answer};
    Client first(path);
    first.send("{\"cmd\":\"answer\",\"index\":1}\n{\"cmd\":\"toggle\"}\n{\"cmd\":\"state\"}\n");
    ASSERT_TRUE(processEventsUntil([&] { return target.heldCount() == 1; }));

    Client second(path);
    second.send("{\"cmd\":\"collapse\"}\n");
    EXPECT_EQ(second.nextReply().value(u"ok"_s), true);
    // The toggle waits behind the answer: it has not even reached the target.
    ASSERT_EQ(target.calls.size(), 2u);
    EXPECT_EQ(target.calls[1].kind, Kind::collapse);
    EXPECT_EQ(first.socket.bytesAvailable(), 0);

    target.refusals[Kind::answer] = u"The question changed. Nothing was sent."_s;
    target.release();
    EXPECT_EQ(first.nextReply().value(u"error"_s), u"The question changed. Nothing was sent."_s);
    EXPECT_EQ(first.nextReply(), (QJsonObject{{u"ok"_s, true}}));
    EXPECT_TRUE(first.nextReply().contains(u"state"_s));
    ASSERT_EQ(target.calls.size(), 3u);
    EXPECT_EQ(target.calls[2].kind, Kind::toggle);
}

TEST_F(AutomationChannelTest, BadLinesAreAnsweredAndTheConnectionGoesOn)
{
    Client client(path);
    // One write carrying several lines, a CRLF among them, and a request split over two writes.
    client.send(
        "not json\n\n[1,2]\r\n{\"cmd\":\"answer\",\"index\":\"2\"}\n{\"cmd\":\"fly\"}\n{\"cm");
    for (const QString& sentence :
         {u"not valid JSON"_s, u"The request is empty"_s, u"must be a JSON object"_s,
          u"\"index\" of answer must be a whole number"_s, u"Unknown command \"fly\""_s}) {
        const QJsonObject reply = client.nextReply();
        EXPECT_EQ(reply.value(u"ok"_s), false);
        EXPECT_TRUE(reply.value(u"error"_s).toString().contains(sentence))
            << reply.value(u"error"_s).toString().toStdString();
    }
    client.send("d\":\"deny\"}\n");
    EXPECT_EQ(client.nextReply().value(u"ok"_s), true);
    ASSERT_EQ(target.calls.size(), 1u);
    EXPECT_EQ(target.calls[0].kind, Kind::deny);
}

TEST_F(AutomationChannelTest, AnOverlongLineIsRefusedAfterEarlierRequestsAndEndsTheConnection)
{
    target.held = {Kind::toggle};
    Client client(path);
    client.send("{\"cmd\":\"toggle\"}\n");
    ASSERT_TRUE(processEventsUntil([&] { return target.heldCount() == 1; }));
    // No newline ever comes: the bound alone must end it.
    client.send(QByteArray(AutomationChannel::maximumLineBytes + 1, 'x'));
    ASSERT_TRUE(processEventsUntil([&] { return client.socket.bytesToWrite() == 0; }));
    target.release();

    EXPECT_EQ(client.nextReply(), (QJsonObject{{u"ok"_s, true}}));
    const QJsonObject refusal = client.nextReply();
    EXPECT_EQ(refusal.value(u"ok"_s), false);
    EXPECT_TRUE(refusal.value(u"error"_s).toString().contains(u"longer than 1048576 bytes"_s));
    EXPECT_TRUE(processEventsUntil(
        [&] { return client.socket.state() == QLocalSocket::UnconnectedState; }));

    // A line just at the bound is still read.
    Client other(path);
    QByteArray padded = "{\"cmd\":\"state\"}";
    padded.append(QByteArray(AutomationChannel::maximumLineBytes - padded.size(), ' '));
    other.send(padded + '\n');
    EXPECT_EQ(other.nextReply().value(u"ok"_s), true);
}

TEST_F(AutomationChannelTest, AClientThatLeavesMidCommandLeavesTheChannelWorking)
{
    target.held = {Kind::sendTask};
    {
        Client leaving(path);
        leaving.send("{\"cmd\":\"sendTask\",\"text\":\"fix it\"}\n{\"cmd\":\"quit\"}\n");
        ASSERT_TRUE(processEventsUntil([&] { return target.heldCount() == 1; }));
    }
    // The channel sees the hang-up before the command finishes.
    ASSERT_TRUE(processEventsUntil([&] { return channel.clientCount() == 0; }));
    target.release();

    Client staying(path);
    staying.send("{\"cmd\":\"state\"}\n");
    EXPECT_EQ(staying.nextReply().value(u"ok"_s), true);
    // What the departed client queued behind the slow command was dropped, not carried out.
    ASSERT_EQ(target.calls.size(), 1u);
    EXPECT_EQ(target.calls[0].text, u"fix it"_s);
}

TEST_F(AutomationChannelTest, StoppingMidCommandClosesClientsAndRemovesTheSocket)
{
    target.held = {Kind::jump};
    Client client(path);
    client.send("{\"cmd\":\"jump\",\"session\":\"main\",\"pane\":\"w1:p1\"}\n");
    ASSERT_TRUE(processEventsUntil([&] { return target.heldCount() == 1; }));
    channel.stop();
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(processEventsUntil(
        [&] { return client.socket.state() == QLocalSocket::UnconnectedState; }));
    target.release();
    EXPECT_EQ(client.socket.bytesAvailable(), 0);
}

TEST_F(AutomationChannelTest, TheSocketIsItsOwnersAloneAndALiveOneIsNotStolen)
{
    const struct stat status = statusOf(path);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777, 0600u);

    FakeAutomationTarget otherTarget;
    AutomationChannel other(otherTarget);
    const auto refused = other.start(path);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().contains(u"already listens"_s)) << refused.error().toStdString();
    other.stop();

    Client client(path);
    client.send("{\"cmd\":\"state\"}\n");
    EXPECT_EQ(client.nextReply().value(u"ok"_s), true);
    EXPECT_EQ(statusOf(path).st_ino, status.st_ino);
}

TEST(AutomationChannel, ReplacesAStaleSocketButNothingElse)
{
    QTemporaryDir directory;
    FakeAutomationTarget target;
    AutomationChannel channel(target);

    const QString stale = directory.filePath(u"stale.sock"_s);
    leaveStaleSocket(stale);
    // However loose the process's mask, the file is private.
    const mode_t mask = ::umask(0);
    const auto started = channel.start(stale);
    ::umask(mask);
    ASSERT_TRUE(started) << started.error().toStdString();
    EXPECT_EQ(statusOf(stale).st_mode & 07777, 0600u);
    Client client(stale);
    client.send("{\"cmd\":\"state\"}\n");
    EXPECT_EQ(client.nextReply().value(u"ok"_s), true);
    channel.stop();

    const QString regular = directory.filePath(u"notes.txt"_s);
    QFile file(regular);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("keep me");
    file.close();
    const auto refused = channel.start(regular);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().contains(u"is not a socket; it was left alone"_s));
    EXPECT_EQ(QFileInfo(regular).size(), 7);
    EXPECT_FALSE(channel.isListening());
}

TEST(AutomationChannel, MakesOnlyTheSocketsOwnFolder)
{
    QTemporaryDir directory;
    FakeAutomationTarget target;
    AutomationChannel channel(target);

    const QString deep = directory.filePath(u"a/b/automation.sock"_s);
    const auto refused = channel.start(deep);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().contains(u"does not exist"_s)) << refused.error().toStdString();
    EXPECT_FALSE(QFile::exists(directory.filePath(u"a"_s)));

    const QString shallow = directory.filePath(u"run/automation.sock"_s);
    ASSERT_TRUE(channel.start(shallow));
    EXPECT_EQ(statusOf(directory.filePath(u"run"_s)).st_mode & 07777, 0700u);

    const auto tooLong = channel.start(directory.filePath(QString(120, u'n')));
    ASSERT_FALSE(tooLong);
    EXPECT_TRUE(tooLong.error().contains(u"bytes a Unix socket allows"_s));
    EXPECT_FALSE(QFile::exists(shallow));
}

TEST(AutomationChannel, IsOffUnlessTheEnvironmentNamesASocket)
{
    FakeAutomationTarget target;
    for (const Environment& environment :
         {Environment{}, Environment{{u"ORRELSENTRY_AUTOMATION_SOCKET"_s, u""_s}}}) {
        const auto channel = AutomationChannel::fromEnvironment(environment, target);
        ASSERT_TRUE(channel);
        EXPECT_EQ(channel->get(), nullptr);
    }

    QTemporaryDir home;
    const Environment environment{{u"HOME"_s, home.path()},
                                  {u"ORRELSENTRY_AUTOMATION_SOCKET"_s, u"~/orrel.sock"_s}};
    const auto channel = AutomationChannel::fromEnvironment(environment, target);
    ASSERT_TRUE(channel && *channel);
    EXPECT_TRUE((*channel)->isListening());
    EXPECT_EQ((*channel)->socketPath(), home.filePath(u"orrel.sock"_s));

    const Environment nowhere{{u"ORRELSENTRY_AUTOMATION_SOCKET"_s, u"/nonexistent/x/y.sock"_s}};
    EXPECT_FALSE(AutomationChannel::fromEnvironment(nowhere, target));
}

} // namespace
