#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "HerdrClient/Sessions/SSHMultiplexing.h"
#include "HerdrClient/Sessions/SSHTarget.h"
#include "HerdrClient/Sessions/SessionDirectory.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

// What herdr 0.8 prints for `session list --json`.
const QByteArray realListing =
    R"({"sessions":[{"name":"default","default":true,"running":true,"socket_path":"/home/u/.config/herdr/herdr.sock","session_dir":"/home/u/.config/herdr"},)"
    R"({"name":"work","default":false,"running":false,"socket_path":"/home/u/.config/herdr/sessions/work/herdr.sock","session_dir":"/home/u/.config/herdr/sessions/work"}]})";

SessionDescriptor local(const QString& name, const QString& socket, bool isDefault, bool running)
{
    return {SessionDescriptor::Kind::local(name), socket, isDefault, running};
}

SessionDescriptor remote(const QString& target, const QString& name, const QString& socket,
                         bool isDefault, bool running)
{
    return {SessionDescriptor::Kind::remote(target, name), socket, isDefault, running};
}

TEST(SessionDirectoryTest, DecodesListingsAndTheirFailures)
{
    using Failure = SessionDirectory::Failure;
    const Environment home{{u"HOME"_s, u"/home/ana"_s}};
    struct Case {
        const char* name;
        CommandOutput output;
        std::optional<QString> target;
        Environment environment;
        SessionDirectory::Result expected;
    };
    const std::vector<Case> cases = {
        {"real output",
         {0, realListing, {}},
         std::nullopt,
         home,
         std::vector{
             local(u"default"_s, u"/home/u/.config/herdr/herdr.sock"_s, true, true),
             local(u"work"_s, u"/home/u/.config/herdr/sessions/work/herdr.sock"_s, false, false)}},
        {"sparse local entries",
         {0,
          R"({"sessions":[{"name":"work"},{"name":"default"},{"name":""},{"running":true},{"name":"x","default":true,"socket_path":""}]})",
          {}},
         std::nullopt,
         home,
         std::vector{
             local(u"work"_s, u"/home/ana/.config/herdr/sessions/work/herdr.sock"_s, false, true),
             local(u"default"_s, u"/home/ana/.config/herdr/herdr.sock"_s, true, true),
             local(u"x"_s, u"/home/ana/.config/herdr/herdr.sock"_s, true, true)}},
        {"herdr's config folder follows XDG",
         {0, R"({"sessions":[{"name":"default"},{"name":"w"}]})", {}},
         std::nullopt,
         {{u"HOME"_s, u"/home/ana"_s}, {u"XDG_CONFIG_HOME"_s, u"/cfg"_s}},
         std::vector{local(u"default"_s, u"/cfg/herdr/herdr.sock"_s, true, true),
                     local(u"w"_s, u"/cfg/herdr/sessions/w/herdr.sock"_s, false, true)}},
        {"remote entry without a socket is dropped",
         {0, R"({"sessions":[{"name":"default"},{"name":"w","socket_path":"/s"}],"extra":1})", {}},
         u"box"_s,
         home,
         std::vector{remote(u"box"_s, u"w"_s, u"/s"_s, false, true)}},
        {"empty list",
         {0, R"({"sessions":[]})", {}},
         std::nullopt,
         home,
         std::vector<SessionDescriptor>{}},
        {"herdr missing on the host",
         {127, {}, "herdr not found on remote PATH\n"},
         u"box"_s,
         home,
         std::unexpected(Failure::commandFailed(127, u"herdr not found on remote PATH"_s))},
        {"silent failure",
         {3, realListing, " \n"},
         std::nullopt,
         home,
         std::unexpected(Failure::commandFailed(3, u"exited with status 3"_s))},
        {"garbage",
         {0, "  Usage: herdr [OPTIONS]\n", {}},
         std::nullopt,
         home,
         std::unexpected(Failure::malformedOutput(u"Usage: herdr [OPTIONS]"_s))},
        {"nothing",
         {0, {}, {}},
         std::nullopt,
         home,
         std::unexpected(Failure::malformedOutput(u""_s))},
        {"no sessions key",
         {0, R"({"session":[]})", {}},
         std::nullopt,
         home,
         std::unexpected(Failure::malformedOutput(u"no \"sessions\" array in output"_s))},
        {"entry field of the wrong type",
         {0, R"({"sessions":[{"name":"a","running":"yes"}]})", {}},
         std::nullopt,
         home,
         std::unexpected(
             Failure::malformedOutput(uR"({"sessions":[{"name":"a","running":"yes"}]})"_s))},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(SessionDirectory::decode(c.output, c.target, c.environment), c.expected);
    }

    const auto longGarbage = SessionDirectory::decode({0, QByteArray(5000, 'x'), {}}, {}, home);
    ASSERT_FALSE(longGarbage.has_value());
    EXPECT_LT(longGarbage.error().errorDescription().size(), 1100);
    EXPECT_EQ(SessionDirectory::Failure::malformedOutput(u"?"_s).errorDescription(),
              u"Unexpected session list output: ?"_s);
}

TEST(SessionDescriptorTest, IdentityLabelAndAttachCommand)
{
    struct Case {
        SessionDescriptor session;
        QString id;
        QString label;
        QString attach;
    };
    const std::vector<Case> cases = {
        {SessionDescriptor::localDefault(u"/s"_s), u"local:default"_s, u"default"_s, u"herdr"_s},
        {local(u"work"_s, u"/s"_s, false, true), u"local:work"_s, u"work"_s,
         u"herdr --session work"_s},
        {remote(u"box"_s, u"default"_s, u"/s"_s, true, true), u"ssh:box/default"_s, u"box"_s,
         u"herdr --remote box"_s},
        {remote(u"ana@box"_s, u"work"_s, u"/s"_s, false, true), u"ssh:ana@box/work"_s,
         u"ana@box · work"_s, u"herdr --remote ana@box --session work"_s},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id.toStdString());
        EXPECT_EQ(c.session.id(), c.id);
        EXPECT_EQ(c.session.label(), c.label);
        EXPECT_EQ(c.session.attachCommand(), c.attach);
    }
    EXPECT_EQ(SessionDescriptor::localDefault(u"/s"_s).id(), SessionDescriptor::localDefaultID);
}

TEST(SSHTest, TargetsAndControlPaths)
{
    struct Case {
        QString target;
        bool valid;
    };
    const std::vector<Case> cases = {
        {u"box"_s, true},
        {u"ana@box.example.org"_s, true},
        {u"box:2222"_s, true},
        {u""_s, false},
        {u"-oProxyCommand=x"_s, false},
        {u"a box"_s, false},
        {u"box\n"_s, false},
        {u"box\tx"_s, false},
        {u"box\u0007"_s, false},
        {u"a\u00A0b"_s, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(SSHTarget::isValid(c.target), c.valid) << c.target.toStdString();

    EXPECT_EQ(SSHMultiplexing::controlPath(u"box"_s),
              QDir(QDir::tempPath()).filePath(u"orrelsentry-ssh-26f8567f2569"_s));
    EXPECT_EQ(SSHMultiplexing::controlPath(u"ana@höst"_s).right(12), u"360aa32faf6a"_s);
}

// Fake herdr and ssh programs, written as shell scripts into a temporary folder.
class SessionDirectoryProcessTest : public ::testing::Test {
protected:
    // A herdr that answers `session list --json` only.
    const QString listingHerdr =
        u"test \"$*\" = \"session list --json\" || exit 9\nprintf '%s\\n' '"_s
        + QString::fromUtf8(realListing) + u"'"_s;
    QTemporaryDir dir;
    std::shared_ptr<CommandRunning> runner = std::make_shared<ProcessCommandRunner>();

    QString path(const QString& name) const { return dir.filePath(name); }

    QString script(const QString& name, const QString& body) const
    {
        return writeScript(path(name), body.toUtf8());
    }

    // Records its arguments one per line, then runs the remote command with a home of ours.
    QString fakeSSH(const QString& remoteHome) const
    {
        return script(u"ssh"_s, uR"(printf '%s\n' "$@" > "%1"
for last; do :; done
HOME="%2" PATH=/usr/bin:/bin exec /bin/sh -c "$last")"_s.arg(path(u"ssh-args"_s), remoteHome));
    }
};

TEST_F(SessionDirectoryProcessTest, LocalListingThroughTheOverride)
{
    ASSERT_TRUE(dir.isValid());
    const QString herdr = script(u"herdr-fake"_s, listingHerdr);
    const Environment environment{{u"PATH"_s, u""_s}, {u"ORRELSENTRY_HERDR_BINARY"_s, herdr}};
    const auto directory = SessionDirectory::located(runner, environment);
    const auto sessions = directory.localSessions();
    ASSERT_TRUE(sessions.has_value()) << sessions.error().errorDescription().toStdString();
    ASSERT_EQ(sessions->size(), 2u);
    EXPECT_EQ(sessions->at(1).id(), u"local:work"_s);
    EXPECT_FALSE(sessions->at(1).isRunning);

    const auto missing = SessionDirectory::located(
        runner, {{u"PATH"_s, dir.path()}, {u"ORRELSENTRY_HERDR_BINARY"_s, path(u"gone"_s)}});
    EXPECT_EQ(missing.localSessions().error().errorDescription(),
              u"Couldn't find the herdr command. Check that it's installed."_s);
}

TEST_F(SessionDirectoryProcessTest, LocalListingsThatMisbehave)
{
    ASSERT_TRUE(dir.isValid());
    using Kind = SessionDirectory::Failure::Kind;
    struct Case {
        const char* name;
        QString body;
        Kind kind;
    };
    const std::vector<Case> cases = {
        {"prints garbage", u"echo 'error: unknown subcommand'"_s, Kind::malformedOutput},
        {"prints nothing", u"exit 0"_s, Kind::malformedOutput},
        {"hangs", u"exec sleep 30"_s, Kind::commandFailed},
        {"not a program", u""_s, Kind::commandFailed},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QString herdr = script(u"herdr"_s, c.body);
        if (c.body.isEmpty())
            QFile::remove(herdr);
        const SessionDirectory directory(runner, herdr, std::nullopt, {}, {0.5, 0.5});
        const auto started = std::chrono::steady_clock::now();
        const auto sessions = directory.localSessions();
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
        ASSERT_FALSE(sessions.has_value());
        EXPECT_EQ(sessions.error().kind, c.kind)
            << sessions.error().errorDescription().toStdString();
    }
}

TEST_F(SessionDirectoryProcessTest, RemoteListingRunsTheFirstHerdrOfTheHost)
{
    ASSERT_TRUE(dir.isValid());
    const QString remoteHome = path(u"home"_s);
    ASSERT_TRUE(QDir().mkpath(remoteHome + u"/.cargo/bin"_s));
    script(u"home/.cargo/bin/herdr"_s, listingHerdr);
    const SessionDirectory directory(runner, std::nullopt, fakeSSH(remoteHome));

    const auto sessions = directory.remoteSessions(u"ana@box"_s);
    ASSERT_TRUE(sessions.has_value()) << sessions.error().errorDescription().toStdString();
    ASSERT_EQ(sessions->size(), 2u);
    EXPECT_EQ(sessions->front().id(), u"ssh:ana@box/default"_s);
    EXPECT_EQ(sessions->front().serverSocketPath, u"/home/u/.config/herdr/herdr.sock"_s);
    QFile::remove(remoteHome + u"/.cargo/bin/herdr"_s);
    const auto none = directory.remoteSessions(u"ana@box"_s);
    ASSERT_FALSE(none.has_value());
    EXPECT_EQ(none.error(),
              SessionDirectory::Failure::commandFailed(127, u"herdr not found on remote PATH"_s));
}

TEST_F(SessionDirectoryProcessTest, RemoteListingNeverPromptsNorHangs)
{
    ASSERT_TRUE(dir.isValid());
    using Failure = SessionDirectory::Failure;
    // Like ssh: batch mode refuses at once where a password would be asked.
    const QString refusing = script(u"ssh-refusing"_s, uR"(for a; do
  if [ "$a" = "BatchMode=yes" ]; then echo 'ana@box: Permission denied (publickey,password).' >&2; exit 255; fi
done
printf 'Password: ' >&2; read -r answer)"_s);
    const auto denied =
        SessionDirectory(runner, std::nullopt, refusing).remoteSessions(u"ana@box"_s);
    EXPECT_EQ(denied.error(),
              Failure::commandFailed(255, u"ana@box: Permission denied (publickey,password)."_s));

    const QString hanging = script(u"ssh-hanging"_s, u"exec sleep 30"_s);
    const SessionDirectory slow(runner, std::nullopt, hanging, {}, {0.3, 0.3});
    const auto started = std::chrono::steady_clock::now();
    const auto timedOut = slow.remoteSessions(u"box"_s);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
    ASSERT_FALSE(timedOut.has_value());
    EXPECT_EQ(timedOut.error().kind, Failure::Kind::commandFailed);

    // Bad targets and a missing ssh fail before anything runs.
    const SessionDirectory logging(runner, std::nullopt, fakeSSH(path(u"home"_s)));
    EXPECT_EQ(logging.remoteSessions(u"-oProxyCommand=touch x"_s).error(),
              Failure::invalidSSHTarget(u"-oProxyCommand=touch x"_s));
    EXPECT_EQ(logging.remoteSessions(u"a box"_s).error().kind, Failure::Kind::invalidSSHTarget);
    EXPECT_FALSE(QFile::exists(path(u"ssh-args"_s)));
    EXPECT_EQ(SessionDirectory(runner, std::nullopt, std::nullopt).remoteSessions(u"box"_s).error(),
              Failure::executableNotFound(u"ssh"_s));
}

} // namespace
