#include "HerdrClient/Commands/ProcessCommandRunner.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <chrono>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

CommandResult shell(const QString& script, QStringList extra = {},
                    std::optional<double> timeout = std::nullopt)
{
    ProcessCommandRunner runner;
    QStringList arguments{u"-c"_s, script, u"sh"_s};
    arguments += extra;
    return runner.run(u"/bin/sh"_s, arguments, timeout);
}

TEST(ProcessCommandRunnerTest, CollectsBothOutputsAndTheStatus)
{
    struct Case {
        const char* name;
        QString script;
        qint32 status;
        QByteArray out;
        QByteArray err;
    };
    const std::vector<Case> cases = {
        {"plain", u"printf out; printf ' err \\n' >&2; exit 3"_s, 3, "out", " err \n"},
        {"silent success", u"true"_s, 0, "", ""},
        {"ended by a signal", u"printf partial; kill -9 $$"_s, 128 + SIGKILL, "partial", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto result = shell(c.script);
        ASSERT_TRUE(result.has_value());
        EXPECT_EQ(result->status, c.status);
        EXPECT_EQ(result->standardOutput, c.out);
        EXPECT_EQ(result->standardError, c.err);
    }
}

TEST(ProcessCommandRunnerTest, ArgumentsArriveWordForWord)
{
    const auto result = shell(u"printf '%s|' \"$@\""_s,
                              {u"a b"_s, u"\"q\" $HOME"_s, u"é"_s, u""_s, u"-x"_s});
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(QString::fromUtf8(result->standardOutput), u"a b|\"q\" $HOME|é||-x|"_s);
}

TEST(ProcessCommandRunnerTest, FullPipesDoNotStall)
{
    // A child that fills standard error while nothing comes on standard output, and one that
    // fills both at once.
    const auto errOnly = shell(u"head -c 1048576 /dev/zero >&2"_s);
    ASSERT_TRUE(errOnly.has_value());
    EXPECT_EQ(errOnly->standardError.size(), 1048576);
    EXPECT_TRUE(errOnly->standardOutput.isEmpty());

    const auto both = shell(u"head -c 1048576 /dev/zero >&2 & head -c 1048576 /dev/zero; wait"_s);
    ASSERT_TRUE(both.has_value());
    EXPECT_EQ(both->standardOutput.size(), 1048576);
    EXPECT_EQ(both->standardError.size(), 1048576);
}

TEST(ProcessCommandRunnerTest, BrokenTextIsRepairedNotFailed)
{
    const auto result = shell(u"printf '\\n\\377bad\\n' >&2; exit 1"_s);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->errorMessage(), u"\uFFFDbad"_s);
}

TEST(ProcessCommandRunnerTest, ProgramsThatCannotStartFail)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ProcessCommandRunner runner;
    const auto missing = runner.run(dir.filePath(u"nothing"_s), {});
    ASSERT_FALSE(missing.has_value());
    EXPECT_EQ(missing.error().kind, CommandFailure::Kind::launchFailed);
    EXPECT_EQ(missing.error().errorDescription(),
              u"Couldn't run "_s + dir.filePath(u"nothing"_s) + u": No such file or directory"_s);

    const auto folder = runner.run(dir.path(), {});
    ASSERT_FALSE(folder.has_value());
    EXPECT_EQ(folder.error().kind, CommandFailure::Kind::launchFailed);
}

TEST(ProcessCommandRunnerTest, ADeadlineStopsAChildThatHangs)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString pidFile = dir.filePath(u"grandchild"_s);
    struct Case {
        const char* name;
        QString script;
    };
    const std::vector<Case> cases = {
        {"child waits for input that never comes", u"exec sleep 30"_s},
        // The child is gone but its grandchild still holds both pipes open.
        {"grandchild holds the pipes", u"sleep 30 & echo $! > \"$1\""_s},
        {"child closes its outputs and keeps running", u"exec >&- 2>&-; exec sleep 30"_s},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto started = std::chrono::steady_clock::now();
        const auto result = shell(c.script, {pidFile}, 0.3);
        const auto elapsed = std::chrono::steady_clock::now() - started;
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().kind, CommandFailure::Kind::timedOut);
        EXPECT_LT(elapsed, std::chrono::seconds(3));
        QFile grandchild(pidFile);
        if (grandchild.open(QIODevice::ReadOnly)) {
            const pid_t pid = pid_t(grandchild.readAll().trimmed().toLongLong());
            if (pid > 0)
                ::kill(pid, SIGKILL);
            grandchild.remove();
        }
    }
}

} // namespace
