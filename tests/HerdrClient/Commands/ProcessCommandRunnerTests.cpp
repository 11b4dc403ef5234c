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
    return ProcessCommandRunner().run(u"/bin/sh"_s, QStringList{u"-c"_s, script, u"sh"_s} + extra,
                                      timeout);
}

TEST(ProcessCommandRunnerTest, CollectsBothOutputsAndTheStatus)
{
    struct Case {
        QString script;
        QStringList arguments;
        qint32 status;
        QByteArray out;
        QByteArray err;
    };
    const std::vector<Case> cases = {
        {u"printf out; printf ' err \\n' >&2; exit 3"_s, {}, 3, "out", " err \n"},
        {u"printf partial; kill -9 $$"_s, {}, 128 + SIGKILL, "partial", ""},
        {u"printf '%s|' \"$@\""_s,
         {u"a b"_s, u"\"q\" $HOME"_s, u"é"_s, u""_s, u"-x"_s},
         0,
         "a b|\"q\" $HOME|é||-x|",
         ""},
        // Both pipes full at once: neither may wait for the other.
        {u"head -c 1048576 /dev/zero >&2 & head -c 1048576 /dev/zero; wait"_s,
         {},
         0,
         QByteArray(1048576, '\0'),
         QByteArray(1048576, '\0')},
        {u"head -c 1048576 /dev/zero >&2"_s, {}, 0, "", QByteArray(1048576, '\0')},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.script.toStdString());
        const auto result = shell(c.script, c.arguments);
        ASSERT_TRUE(result.has_value());
        EXPECT_EQ(result->status, c.status);
        EXPECT_TRUE(result->standardOutput == c.out);
        EXPECT_TRUE(result->standardError == c.err);
    }
    EXPECT_EQ(shell(u"printf '\\n\\377bad\\n' >&2"_s)->errorMessage(), u"\uFFFDbad"_s);
}

TEST(ProcessCommandRunnerTest, ProgramsThatCannotStartFail)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ProcessCommandRunner runner;
    const auto missing = runner.run(dir.filePath(u"nothing"_s), {});
    ASSERT_FALSE(missing.has_value());
    EXPECT_EQ(missing.error().errorDescription(),
              u"Couldn't run "_s + dir.filePath(u"nothing"_s) + u": No such file or directory"_s);
    EXPECT_EQ(runner.run(dir.path(), {}).error().kind, CommandFailure::Kind::launchFailed);
}

TEST(ProcessCommandRunnerTest, ADeadlineStopsAChildThatHangs)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString pidFile = dir.filePath(u"grandchild"_s);
    for (const QString& script : {
             u"exec sleep 30"_s,
             // The child is gone but its grandchild still holds both pipes open.
             u"sleep 30 & echo $! > \"$1\""_s,
             u"exec >&- 2>&-; exec sleep 30"_s,
         }) {
        SCOPED_TRACE(script.toStdString());
        const auto started = std::chrono::steady_clock::now();
        const auto result = shell(script, {pidFile}, 0.3);
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().kind, CommandFailure::Kind::timedOut);
        QFile grandchild(pidFile);
        if (grandchild.open(QIODevice::ReadOnly)) {
            if (const pid_t pid = pid_t(grandchild.readAll().trimmed().toLongLong()); pid > 0)
                ::kill(pid, SIGKILL);
            grandchild.remove();
        }
    }
}

} // namespace
