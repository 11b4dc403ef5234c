#include "HerdrClient/Commands/BoundedPipeDrain.h"
#include "HerdrClient/Commands/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

TEST(BoundedPipeDrainTest, KeepsOnlyTheLastBytes)
{
    int fds[2];
    ASSERT_EQ(::pipe2(fds, O_CLOEXEC), 0);
    BoundedPipeDrain drain(fds[0], 65536);
    drain.start();
    drain.start();
    QByteArray written;
    for (int i = 0; i < 200000; ++i)
        written.append(char(i % 251));
    for (qsizetype offset = 0; offset < written.size();) {
        const ssize_t count =
            ::write(fds[1], written.constData() + offset, std::size_t(written.size() - offset));
        ASSERT_GT(count, 0);
        offset += count;
    }
    ::close(fds[1]);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(drain.finish(20), written.right(65536));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10))
        << "the end of the pipe finishes the drain";
}

TEST(BoundedPipeDrainTest, FinishKeepsItsTimeoutWhileAGrandchildHoldsThePipe)
{
    auto child = ChildProcess::launch(
        u"/bin/sh"_s, {u"-c"_s, u"sleep 30 >/dev/null & echo $!; echo started >&2"_s});
    ASSERT_TRUE(child.has_value());
    BoundedPipeDrain drain(child->standardError, 1024);
    child->standardError = -1;
    drain.start();

    // The shell's own output ends when it exits; its grandchild keeps standard error open.
    QByteArray pidText;
    char buffer[64];
    ssize_t count;
    while ((count = ::read(child->standardOutput, buffer, sizeof buffer)) > 0)
        pidText.append(buffer, count);
    child->closePipes();
    child->wait();

    const auto started = std::chrono::steady_clock::now();
    const QByteArray captured = drain.finish(0.3);
    const auto elapsed = std::chrono::steady_clock::now() - started;
    EXPECT_EQ(captured, "started\n");
    EXPECT_GE(elapsed, std::chrono::milliseconds(300));
    // Not the grandchild's 30 seconds; the bound leaves room for a busy machine.
    EXPECT_LT(elapsed, std::chrono::seconds(5));

    const pid_t grandchild = pid_t(pidText.trimmed().toLongLong());
    ASSERT_GT(grandchild, 0);
    ::kill(grandchild, SIGKILL);
}

} // namespace
