#include "HerdrClient/Sessions/SSHTunnel.h"

#include "HerdrClient/Sessions/SSHTarget.h"
#include "HerdrClient/Sessions/SSHTunnelProcess.h"
#include "HerdrClient/Sessions/SSHTunnelReasons.h"
#include "HerdrClient/Wire/HerdrClient.h"

#include <QCoroFuture>

#include <algorithm>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<bool> pingThrough(HerdrEndpoint endpoint, double requestTimeout)
{
    HerdrClient client(std::move(endpoint), requestTimeout);
    co_return co_await client.ping();
}

} // namespace

SSHTunnel::SSHTunnel(Configuration configuration, std::optional<QString> sshPath, Options options,
                     QObject* parent)
    : QObject(parent), m_configuration(std::move(configuration)), m_sshPath(std::move(sshPath)),
      m_options(std::move(options))
      // A stopped loop is not on the stack: it resumes in stop(), sees it and ends, and leaves
      // nothing behind that an event loop would have to finish.
      ,
      m_pause(CancellablePause::OnCancel::resumeNow, m_options.clock.sleep, this)
{
    m_probe =
        m_options.readinessProbe ? m_options.readinessProbe : pingProbe(m_options.readinessTimeout);
    if (!m_options.clock.now)
        m_options.clock.now = Clock::system().now;
}

SSHTunnel::~SSHTunnel()
{
    ++m_generation;
    endProcess();
    m_pause.cancel();
}

std::expected<std::uint16_t, SSHTunnelError> SSHTunnel::availableLoopbackPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return std::unexpected(SSHTunnelError::portAllocationFailed(errno));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0
        || ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        const int error = errno;
        ::close(fd);
        return std::unexpected(SSHTunnelError::portAllocationFailed(error));
    }
    ::close(fd);
    return ntohs(address.sin_port);
}

SSHTunnel::ReadinessProbe SSHTunnel::pingProbe(double readinessTimeout)
{
    const double requestTimeout = std::clamp(readinessTimeout, 0.1, 2.0);
    return [requestTimeout](HerdrEndpoint endpoint) {
        return pingThrough(std::move(endpoint), requestTimeout);
    };
}

void SSHTunnel::start(StateCallback onStateChange)
{
    m_onStateChange = std::move(onStateChange);
    if (m_supervising)
        return;
    m_supervising = true;
    m_superviseTask.emplace(supervise(m_generation));
}

void SSHTunnel::stop()
{
    ++m_generation;
    m_supervising = false;
    endProcess();
    m_pause.cancel();
    setState(State::idle());
}

std::optional<pid_t> SSHTunnel::processID() const
{
    if (!m_process)
        return std::nullopt;
    return m_process->processID();
}

void SSHTunnel::setState(State state)
{
    if (state == m_state)
        return;
    m_state = std::move(state);
    if (m_onStateChange)
        m_onStateChange(m_state);
}

void SSHTunnel::endProcess()
{
    if (!m_process)
        return;
    m_process->end();
    m_process.reset();
}

QCoro::Task<> SSHTunnel::supervise(quint64 generation)
{
    QPointer self{this};
    const auto cancelled = [&] { return !self || self->m_generation != generation; };
    int attempt = 0;
    while (!cancelled()) {
        const RunOutcome outcome = co_await runOnce(generation);
        if (cancelled())
            co_return;
        if (outcome.reachedUp)
            attempt = 0;
        const int previousAttempts = attempt++;
        // The same reason again is no news.
        setState(State::failed(outcome.reason));
        if (cancelled())
            co_return;
        const Seconds delay = m_options.backoff.delay(previousAttempts + 1);
        co_await m_pause.sleep(delay);
    }
}

QCoro::Task<SSHTunnel::RunOutcome> SSHTunnel::runOnce(quint64 generation)
{
    QPointer self{this};
    const auto cancelled = [&] { return !self || self->m_generation != generation; };
    const Configuration configuration = m_configuration;
    if (!SSHTarget::isValid(configuration.target))
        co_return RunOutcome{false, SSHTunnelReasons::invalidTarget(configuration.target)};
    if (!m_sshPath)
        co_return RunOutcome{false, SSHTunnelReasons::sshNotFound()};

    setState(State::connecting());
    if (cancelled())
        co_return RunOutcome{};
    auto launched =
        SSHTunnelProcess::launch(*m_sshPath, configuration.arguments(), maximumErrorBytes);
    if (!launched)
        co_return RunOutcome{false, SSHTunnelReasons::launchFailed(launched.error().message)};
    const std::shared_ptr<SSHTunnelProcess> process = std::move(*launched);
    m_process = process;

    const Timestamp deadline =
        m_options.clock.now()
        + std::chrono::duration_cast<Timestamp::duration>(Seconds(m_options.readinessTimeout));
    const HerdrEndpoint endpoint = configuration.endpoint();
    bool ready = false;
    while (m_options.clock.now() < deadline && process->isRunning()) {
        ready = co_await probe(endpoint);
        if (cancelled())
            co_return RunOutcome{};
        if (ready)
            break;
        co_await m_pause.sleep(probeInterval);
        if (cancelled())
            co_return RunOutcome{};
    }

    if (!ready) {
        const bool timedOut = process->isRunning();
        process->end();
        const QString text = co_await errorText(process);
        if (cancelled())
            co_return RunOutcome{};
        if (m_process == process)
            m_process.reset();
        co_return RunOutcome{
            false, timedOut ? SSHTunnelReasons::readinessFailure(text, configuration)
                            : SSHTunnelReasons::explain(text, process->exitStatus().value_or(-1),
                                                        configuration.target)};
    }

    setState(State::up());
    if (cancelled())
        co_return RunOutcome{};
    if (process->isRunning()) {
        const quint64 ticket = m_pause.nextTicket();
        connect(process.get(), &SSHTunnelProcess::exited, this,
                [this, ticket] { m_pause.ring(ticket); });
        co_await m_pause.wait(ticket);
        // A stop has ended ssh already.
        if (cancelled())
            co_return RunOutcome{};
    }
    const QString text = co_await errorText(process);
    if (cancelled())
        co_return RunOutcome{};
    if (m_process == process)
        m_process.reset();
    co_return RunOutcome{true, SSHTunnelReasons::explain(text, process->exitStatus().value_or(-1),
                                                         configuration.target)};
}

QCoro::Task<QString> SSHTunnel::errorText(std::shared_ptr<SSHTunnelProcess> process)
{
    // Named: g++ 12 destroys a temporary inside co_await twice.
    QFuture<QByteArray> finishing = process->finishStandardError(1.0);
    const QByteArray bytes = co_await finishing;
    // ssh ends its lines with CR LF when it writes them on a pipe.
    co_return QString::fromUtf8(bytes).replace(u"\r\n"_s, u"\n"_s).trimmed();
}

// A probe runs in a detached task that rings the tunnel's pause with its ticket when it ends; a
// stop resumes the loop without waiting for the answer.

QCoro::Task<bool> SSHTunnel::probe(HerdrEndpoint endpoint)
{
    QPointer self{this};
    const quint64 ticket = m_pause.nextTicket();
    m_probeAnswer = false;
    auto call = ringAfterProbe(m_probe, std::move(endpoint), self, ticket);
    co_await m_pause.wait(ticket);
    co_return !self.isNull() && m_probeAnswer;
}

QCoro::Task<> SSHTunnel::ringAfterProbe(ReadinessProbe probe, HerdrEndpoint endpoint,
                                        QPointer<SSHTunnel> tunnel, quint64 ticket)
{
    auto call = probe(std::move(endpoint));
    const bool answered = co_await std::move(call);
    if (!tunnel || !tunnel->m_pause.isCurrent(ticket))
        co_return;
    tunnel->m_probeAnswer = answered;
    tunnel->m_pause.ring(ticket);
}
