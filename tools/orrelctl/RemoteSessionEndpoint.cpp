#include "tools/orrelctl/RemoteSessionEndpoint.h"

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "HerdrClient/Sessions/SessionDirectory.h"

#include <QCoroFuture>
#include <QCoroSignal>
#include <QtConcurrent>

using namespace Qt::StringLiterals;

namespace {

// The tunnel's first settled state, as a signal a coroutine can wait for.
class TunnelSettling : public QObject {
    Q_OBJECT
public:
    void observe(const SSHTunnelState& state)
    {
        if (state.kind == SSHTunnelState::Kind::up || state.kind == SSHTunnelState::Kind::failed)
            Q_EMIT settled();
    }

Q_SIGNALS:
    void settled();
};

SessionDirectory::Result listRemoteSessions(SessionDirectory directory, QString target)
{
    return directory.remoteSessions(target);
}

// The running session called `name`, or the host's default one.
std::optional<SessionDescriptor> pick(const std::vector<SessionDescriptor>& sessions,
                                      const std::optional<QString>& name)
{
    for (const SessionDescriptor& session : sessions) {
        if (!session.isRunning)
            continue;
        if (name ? session.kind.name == *name : session.isDefault)
            return session;
    }
    return std::nullopt;
}

RemoteSessionOpening failed(int status)
{
    return {nullptr, status};
}

// One run of ssh ends within its readiness time, and the next starts after a second.
constexpr auto settleDeadline = std::chrono::seconds(30);

} // namespace

RemoteSessionEndpoint::RemoteSessionEndpoint(SessionDescriptor descriptor,
                                             std::unique_ptr<SSHTunnel> tunnel)
    : m_descriptor(std::move(descriptor)), m_tunnel(std::move(tunnel))
{
}

void RemoteSessionEndpoint::addOptions(QCommandLineParser& parser)
{
    parser.addOption(QCommandLineOption(
        u"host"_s, u"watch a session of this SSH host, through a tunnel"_s, u"TARGET"_s));
}

QCoro::Task<RemoteSessionOpening> RemoteSessionEndpoint::openIfRequested(
    const QCommandLineParser& parser, const CommandContext& context)
{
    if (!parser.isSet(u"host"_s))
        return settled({});
    if (parser.isSet(u"socket"_s)) {
        return settled(failed(context.fail(
            u"orrelctl: --host and --socket cannot be used together"_s, ExitStatus::usage)));
    }
    std::optional<QString> name;
    if (parser.isSet(u"session"_s))
        name = parser.value(u"session"_s);
    return open(parser.value(u"host"_s), std::move(name), context);
}

QCoro::Task<RemoteSessionOpening> RemoteSessionEndpoint::settled(RemoteSessionOpening opening)
{
    co_return opening;
}

QCoro::Task<RemoteSessionOpening> RemoteSessionEndpoint::open(QString target,
                                                              std::optional<QString> name,
                                                              CommandContext context)
{
    const SessionDirectory directory =
        SessionDirectory::located(std::make_shared<ProcessCommandRunner>(), context.environment);
    // The listing waits on ssh; keep it off the event loop. (Named: g++ 12 destroys a temporary
    // inside co_await twice.)
    QFuture<SessionDirectory::Result> listing =
        QtConcurrent::run(&listRemoteSessions, directory, target);
    const SessionDirectory::Result sessions = co_await listing;
    if (!sessions) {
        const bool badTarget =
            sessions.error().kind == SessionDirectory::Failure::Kind::invalidSSHTarget;
        co_return failed(context.fail(sessions.error().errorDescription(),
                                      badTarget ? ExitStatus::usage : ExitStatus::failure));
    }
    const auto session = pick(*sessions, name);
    if (!session) {
        co_return failed(
            context.fail(name ? u"No running herdr session named %1 on %2."_s.arg(*name, target)
                              : u"No running default herdr session on %1."_s.arg(target)));
    }

    const auto port = SSHTunnel::availableLoopbackPort();
    if (!port)
        co_return failed(context.fail(port.error().errorDescription()));
    auto tunnel = std::make_unique<SSHTunnel>(
        SSHTunnelConfiguration{target, session->serverSocketPath, *port}, directory.sshPath());

    TunnelSettling settling;
    tunnel->start([&settling](const SSHTunnelState& state) { settling.observe(state); });
    if (!tunnel->state().isUp() && tunnel->state().kind != SSHTunnelState::Kind::failed) {
        const auto settled = co_await qCoro(&settling, &TunnelSettling::settled, settleDeadline);
        if (!settled) {
            tunnel->stop();
            co_return failed(
                context.fail(u"The SSH tunnel to %1 did not come up in time."_s.arg(target)));
        }
    }
    // From here on the tunnel speaks for itself: a drop and each comeback go to standard error.
    tunnel->start([context, target](const SSHTunnelState& state) {
        if (state.kind == SSHTunnelState::Kind::failed)
            *context.err << state.reason << Qt::endl;
        else if (state.isUp())
            *context.err << u"The SSH tunnel to %1 is up again."_s.arg(target) << Qt::endl;
    });
    if (!tunnel->state().isUp()) {
        const QString reason = tunnel->state().reason;
        tunnel->stop();
        co_return failed(context.fail(reason));
    }
    std::unique_ptr<RemoteSessionEndpoint> endpoint(
        new RemoteSessionEndpoint(*session, std::move(tunnel)));
    co_return RemoteSessionOpening{std::move(endpoint), std::nullopt};
}

#include "RemoteSessionEndpoint.moc"
