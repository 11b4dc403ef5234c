#include "HerdrClient/Commands/ChildProcess.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves it to the program

namespace {

QString errorText(int errorNumber)
{
    return QString::fromLocal8Bit(std::strerror(errorNumber));
}

void closeDescriptor(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

} // namespace

std::expected<ChildProcess, CommandFailure> ChildProcess::launch(const QString& executable,
                                                                 const QStringList& arguments)
{
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
        const int error = errno;
        closeDescriptor(out[0]);
        closeDescriptor(out[1]);
        closeDescriptor(err[0]);
        closeDescriptor(err[1]);
        return std::unexpected(CommandFailure::launchFailed(executable, errorText(error)));
    }

    const QByteArray path = QFile::encodeName(executable);
    std::vector<QByteArray> storage;
    storage.reserve(std::size_t(arguments.size()));
    for (const QString& argument : arguments)
        storage.push_back(argument.toUtf8());
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(path.constData()));
    for (QByteArray& argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    // The duplicated ends lose close-on-exec; every other descriptor of ours keeps it.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    pid_t pid = -1;
    const int spawned =
        ::posix_spawn(&pid, path.constData(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    closeDescriptor(out[1]);
    closeDescriptor(err[1]);
    if (spawned != 0) {
        closeDescriptor(out[0]);
        closeDescriptor(err[0]);
        return std::unexpected(CommandFailure::launchFailed(executable, errorText(spawned)));
    }
    return ChildProcess{pid, out[0], err[0]};
}

qint32 ChildProcess::wait()
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return -1;
}

std::optional<qint32> ChildProcess::waitUntil(std::chrono::steady_clock::time_point deadline)
{
    // A pidfd becomes readable when the child exits, which lets poll keep the deadline.
    const int pidfd = int(::syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0)
        return wait();
    bool exited = false;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        pollfd fd = {pidfd, POLLIN, 0};
        const int ready = ::poll(&fd, 1, int(std::min<qint64>(left.count(), 60'000)));
        if (ready > 0) {
            exited = true;
            break;
        }
        if (ready < 0 && errno != EINTR)
            break;
    }
    ::close(pidfd);
    if (!exited)
        return std::nullopt;
    return wait();
}

void ChildProcess::closePipes()
{
    closeDescriptor(standardOutput);
    closeDescriptor(standardError);
}
