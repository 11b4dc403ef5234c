#include "HerdrClient/Commands/ProcessCommandRunner.h"

#include "HerdrClient/Commands/ChildProcess.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <poll.h>
#include <unistd.h>

namespace {

using SteadyClock = std::chrono::steady_clock;

// Reads what is there now; on end of file or a read error, closes the descriptor (keeping what
// was read).
void readAvailable(int& fd, QByteArray& into)
{
    char buffer[65536];
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count > 0) {
        into.append(buffer, count);
        return;
    }
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    ::close(fd);
    fd = -1;
}

CommandResult stopAfterDeadline(ChildProcess& child, const QString& executable, double seconds)
{
    ::kill(child.pid, SIGKILL);
    child.closePipes();
    child.wait();
    return std::unexpected(CommandFailure::timedOut(executable, seconds));
}

} // namespace

CommandResult ProcessCommandRunner::run(const QString& executable, const QStringList& arguments,
                                        std::optional<double> timeoutSeconds)
{
    auto launched = ChildProcess::launch(executable, arguments);
    if (!launched)
        return std::unexpected(launched.error());
    ChildProcess child = *launched;

    std::optional<SteadyClock::time_point> deadline;
    if (timeoutSeconds)
        deadline = SteadyClock::now()
                   + std::chrono::duration_cast<SteadyClock::duration>(
                       std::chrono::duration<double>(std::max(0.0, *timeoutSeconds)));

    CommandOutput output;
    while (child.standardOutput >= 0 || child.standardError >= 0) {
        int waitMilliseconds = -1;
        if (deadline) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(*deadline - SteadyClock::now());
            if (left.count() <= 0)
                return stopAfterDeadline(child, executable, *timeoutSeconds);
            waitMilliseconds = int(std::min<qint64>(left.count(), 60'000));
        }
        pollfd fds[2] = {{child.standardOutput, POLLIN, 0}, {child.standardError, POLLIN, 0}};
        const int ready = ::poll(fds, 2, waitMilliseconds);
        if (ready < 0 && errno != EINTR) {
            child.closePipes();
            break;
        }
        if (ready <= 0)
            continue;
        if (fds[0].revents != 0)
            readAvailable(child.standardOutput, output.standardOutput);
        if (fds[1].revents != 0)
            readAvailable(child.standardError, output.standardError);
    }
    if (!deadline) {
        output.status = child.wait();
        return output;
    }
    // Both outputs closed, yet the child may still run.
    if (auto status = child.waitUntil(*deadline)) {
        output.status = *status;
        return output;
    }
    return stopAfterDeadline(child, executable, *timeoutSeconds);
}
