#pragma once

#include "HerdrClient/Sessions/SSHTunnelConfiguration.h"
#include "HerdrClient/Sessions/SSHTunnelState.h"
#include "HerdrClient/Support/BackoffPolicy.h"
#include "HerdrClient/Support/CancellablePause.h"
#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/HerdrEndpoint.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>

class SSHTunnelProcess;

// How a tunnel waits and retries, and how it tells that the forward answers.
struct SSHTunnelOptions {
    // Does herdr answer at the endpoint? It must end by itself in bounded time.
    using ReadinessProbe = std::function<QCoro::Task<bool>(HerdrEndpoint)>;

    BackoffPolicy backoff{1.0, 30.0, 2.0};
    // How long one run may take to answer through the forward, in seconds.
    double readinessTimeout = 15.0;
    // Empty means `ping` through a client on the forwarded port.
    ReadinessProbe readinessProbe;
    // An empty `sleep` means timers of the tunnel's own, which end with it.
    Clock clock = {Clock::system().now, {}};
};

// A remote herdr socket forwarded to a private loopback port by a plain `ssh` child. The tunnel
// starts ssh, proves the forward answers, watches it, starts it again after a backoff when it
// ends, and words every failure from what ssh wrote on standard error. It never gives up by
// itself: only `stop` ends it.
//
// Main thread only (any thread with an event loop, as long as it is always the same one).
class SSHTunnel : public QObject {
    Q_OBJECT
public:
    using Configuration = SSHTunnelConfiguration;
    using State = SSHTunnelState;
    using TunnelError = SSHTunnelError;
    using ReadinessProbe = SSHTunnelOptions::ReadinessProbe;
    using StateCallback = std::function<void(const SSHTunnelState&)>;

    using Options = SSHTunnelOptions;

    // How much of ssh's standard error is kept for the reason of a failure.
    static constexpr qsizetype maximumErrorBytes = 65536;
    // The pause between two probes of one run.
    static constexpr Seconds probeInterval{0.15};

    SSHTunnel(Configuration configuration, std::optional<QString> sshPath, Options options = {},
              QObject* parent = nullptr);
    ~SSHTunnel() override;

    // A port on 127.0.0.1 that was free a moment ago. Another program may take it before ssh
    // does; that run then fails and the next one tries again.
    static std::expected<std::uint16_t, SSHTunnelError> availableLoopbackPort();
    // `ping` through a client whose requests wait `readinessTimeout` held to 0.1 ... 2 seconds.
    static ReadinessProbe pingProbe(double readinessTimeout);

    // Keeps `onStateChange` and starts supervising, unless that already runs.
    void start(StateCallback onStateChange = {});
    // Ends the supervision and ssh, and goes back to idle. Nothing is published after that.
    void stop();

    const State& state() const { return m_state; }
    const Configuration& configuration() const { return m_configuration; }
    const std::optional<QString>& sshPath() const { return m_sshPath; }
    HerdrEndpoint endpoint() const { return m_configuration.endpoint(); }
    bool isSupervising() const { return m_supervising; }
    // The ssh of the current run, while there is one.
    std::optional<pid_t> processID() const;

private:
    struct RunOutcome {
        bool reachedUp = false;
        QString reason;
    };

    QCoro::Task<> supervise(quint64 generation);
    QCoro::Task<RunOutcome> runOnce(quint64 generation);
    QCoro::Task<bool> probe(HerdrEndpoint endpoint);
    QCoro::Task<QString> errorText(std::shared_ptr<SSHTunnelProcess> process);
    static QCoro::Task<> ringAfterProbe(ReadinessProbe probe, HerdrEndpoint endpoint,
                                        QPointer<SSHTunnel> tunnel, quint64 ticket);

    void endProcess();
    void setState(State state);

    Configuration m_configuration;
    std::optional<QString> m_sshPath;
    Options m_options;
    ReadinessProbe m_probe;
    StateCallback m_onStateChange;
    State m_state;
    std::shared_ptr<SSHTunnelProcess> m_process;
    std::optional<QCoro::Task<>> m_superviseTask;
    bool m_supervising = false;
    // A stop moves it on; a loop of an earlier generation ends at its next look.
    quint64 m_generation = 0;

    // The one wait the loop is in: a sleep, a probe, or the exit of ssh.
    CancellablePause m_pause;
    bool m_probeAnswer = false;
};
