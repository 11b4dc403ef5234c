#include "HerdrClient/Sessions/SSHTunnelProcess.h"

#include <QtConcurrent/QtConcurrentRun>

#include <csignal>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

std::expected<std::unique_ptr<SSHTunnelProcess>, CommandFailure> SSHTunnelProcess::launch(
    const QString& executable, const QStringList& arguments, qsizetype maximumErrorBytes)
{
    auto child = ChildProcess::launch(executable, arguments);
    if (!child)
        return std::unexpected(child.error());
    return std::unique_ptr<SSHTunnelProcess>(new SSHTunnelProcess(*child, maximumErrorBytes));
}

SSHTunnelProcess::SSHTunnelProcess(ChildProcess child, qsizetype maximumErrorBytes) : m_child(child)
{
    // The drains own the read ends from here on.
    m_standardError = std::make_shared<BoundedPipeDrain>(m_child.standardError, maximumErrorBytes);
    m_standardOutput = std::make_unique<BoundedPipeDrain>(m_child.standardOutput, 0);
    m_child.standardError = m_child.standardOutput = -1;
    m_standardError->start();
    m_standardOutput->start();
    watchExit();
}

SSHTunnelProcess::~SSHTunnelProcess()
{
    end();
    m_exitNotifier.reset();
    if (m_pidfd >= 0)
        ::close(m_pidfd);
}

void SSHTunnelProcess::watchExit()
{
    m_pidfd = int(::syscall(SYS_pidfd_open, m_child.pid, 0));
    if (m_pidfd >= 0) {
        m_exitNotifier = std::make_unique<QSocketNotifier>(m_pidfd, QSocketNotifier::Read);
        connect(m_exitNotifier.get(), &QSocketNotifier::activated, this,
                &SSHTunnelProcess::noticeExit);
        return;
    }
    m_exitPoll = std::make_unique<QTimer>();
    connect(m_exitPoll.get(), &QTimer::timeout, this, &SSHTunnelProcess::noticeExit);
    m_exitPoll->start(std::chrono::milliseconds(100));
}

void SSHTunnelProcess::noticeExit()
{
    if (isRunning() || m_announced)
        return;
    m_announced = true;
    if (m_exitNotifier)
        m_exitNotifier->setEnabled(false);
    if (m_exitPoll)
        m_exitPoll->stop();
    Q_EMIT exited();
}

bool SSHTunnelProcess::isRunning()
{
    if (m_status)
        return false;
    siginfo_t info{};
    // WNOWAIT only looks; the reaping and the decoding of the status are the child's own.
    if (::waitid(P_PID, id_t(m_child.pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0)
        return false;
    if (info.si_pid == 0)
        return true;
    m_status = m_child.wait();
    return false;
}

void SSHTunnelProcess::end(std::chrono::milliseconds grace)
{
    if (!isRunning())
        return;
    ::kill(m_child.pid, SIGTERM);
    auto status = m_child.waitUntil(std::chrono::steady_clock::now() + grace);
    if (!status) {
        ::kill(m_child.pid, SIGKILL);
        status = m_child.wait();
    }
    m_status = *status;
}

QFuture<QByteArray> SSHTunnelProcess::finishStandardError(double timeoutSeconds) const
{
    return QtConcurrent::run(
        [drain = m_standardError, timeoutSeconds] { return drain->finish(timeoutSeconds); });
}
