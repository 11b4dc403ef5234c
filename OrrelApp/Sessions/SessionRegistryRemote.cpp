// The remote half of the registry: listings over ssh, loopback ports, and the tunnels.
#include "OrrelApp/Sessions/SessionRegistry.h"

#include "HerdrClient/Commands/ExecutableLocator.h"

#include <QCoroFuture>
#include <QtConcurrent>

#include <set>

using namespace Qt::StringLiterals;

namespace {

SessionDirectory::Result listRemote(QString target, std::vector<RemoteHostConfiguration> hosts,
                                    SessionDirectory directory)
{
    return SessionRegistry::discoverRemote(target, hosts, directory);
}

// ssh's own words rarely say which of several hosts they are about.
QString namingTarget(const QString& target, const QString& description)
{
    return description.contains(target) ? description : target + u": "_s + description;
}

} // namespace

SessionRegistry::MakeTunnel SessionRegistry::defaultMakeTunnel()
{
    return [](const SSHTunnel::Configuration& configuration) {
        return std::make_unique<SSHTunnel>(
            configuration, ExecutableLocator::locate(u"ssh"_s, processEnvironment()));
    };
}

SSHTunnel* SessionRegistry::tunnel(const QString& sessionID) const
{
    const auto found = m_tunnels.find(sessionID);
    return found == m_tunnels.end() ? nullptr : found->second.get();
}

SessionDirectory::Result SessionRegistry::discoverRemote(
    const QString& target, const std::vector<RemoteHostConfiguration>& configurations,
    const SessionDirectory& directory)
{
    bool all = false;
    QSet<QString> names;
    for (const RemoteHostConfiguration& configuration : configurations) {
        if (configuration.target != target)
            continue;
        if (configuration.sessionName)
            names.insert(*configuration.sessionName);
        else
            all = true;
    }
    auto listed = directory.remoteSessions(target);
    if (!listed)
        return listed;
    std::erase_if(*listed, [&](const SessionDescriptor& session) {
        return !session.isRunning || (!all && !names.contains(session.name()));
    });
    return listed;
}

std::expected<ResolvedSession, SSHTunnelError> SessionRegistry::resolvedRemoteSession(
    const SessionDescriptor& session)
{
    const QString id = session.id();
    if (const auto known = m_remotePorts.find(id); known != m_remotePorts.end())
        return ResolvedSession{session, HerdrEndpoint::loopbackTCP(known->second)};

    std::set<std::uint16_t> taken;
    for (const auto& [sessionID, port] : m_remotePorts)
        taken.insert(port);
    for (int attempt = 0; attempt < portAllocationTries; ++attempt) {
        const auto port = m_options.allocatePort();
        if (!port)
            return std::unexpected(port.error());
        if (taken.contains(*port))
            continue;
        m_remotePorts[id] = *port;
        return ResolvedSession{session, HerdrEndpoint::loopbackTCP(*port)};
    }
    return std::unexpected(SSHTunnelError::portAllocationFailed(portsExhaustedErrno));
}

void SessionRegistry::takeRemoteListing(const QString& target,
                                        const SessionDirectory::Result& listing,
                                        QStringList& errors)
{
    if (!listing) {
        // What was known of the host stays, and so do its tunnels: the host may be back soon.
        errors.push_back(namingTarget(target, listing.error().errorDescription()));
        return;
    }
    std::erase_if(m_knownRemoteSessions,
                  [&](const auto& entry) { return entry.second.descriptor.kind.target == target; });
    for (const SessionDescriptor& session : *listing) {
        const auto resolved = resolvedRemoteSession(session);
        if (!resolved) {
            errors.push_back(resolved.error().errorDescription());
            continue;
        }
        m_knownRemoteSessions.emplace(session.id(), *resolved);
    }
}

QCoro::Task<> SessionRegistry::refresh(std::vector<RemoteHostConfiguration> remoteHosts,
                                       SessionDirectory directory)
{
    QPointer self{this};
    const quint64 generation = m_generation;
    co_await refreshLocalSessions(directory);
    if (!self || !isCurrent(generation))
        co_return;

    std::map<QString, std::vector<RemoteHostConfiguration>> byTarget;
    for (RemoteHostConfiguration& host : remoteHosts)
        byTarget[host.target].push_back(std::move(host));

    QStringList errors;
    for (const auto& [target, configurations] : byTarget) {
        // Named: g++ 12 destroys a temporary inside co_await twice.
        QFuture<SessionDirectory::Result> future =
            QtConcurrent::run(&listRemote, target, configurations, directory);
        const SessionDirectory::Result listing = co_await future;
        if (!self || !isCurrent(generation))
            co_return;
        takeRemoteListing(target, listing, errors);
    }

    const auto isConfigured = [&](const QString& sessionID) {
        for (const auto& [target, configurations] : byTarget) {
            if (sessionID.startsWith(u"ssh:"_s + target + u'/'))
                return true;
        }
        return false;
    };
    std::erase_if(m_knownRemoteSessions, [&](const auto& entry) {
        return !byTarget.contains(*entry.second.descriptor.kind.target);
    });
    std::erase_if(m_remotePorts, [&](const auto& entry) { return !isConfigured(entry.first); });

    std::vector<ResolvedSession> known;
    for (const auto& [id, session] : m_knownRemoteSessions)
        known.push_back(session);
    reconcileTunnels(known);

    errors.sort();
    m_remoteDiscoveryError = errors.isEmpty() ? std::nullopt : std::optional(errors.join(u'\n'));
    publishDiscoveryError();
    applyCurrentSessions();
}

void SessionRegistry::removeTunnel(const QString& sessionID)
{
    const auto found = m_tunnels.find(sessionID);
    if (found == m_tunnels.end())
        return;
    // Its last callbacks arrive after this and find another tunnel, or none, in its place.
    found->second->stop();
    m_retired.push_back(std::move(found->second));
    m_tunnels.erase(found);
    m_tunnelStates.erase(sessionID);
}

void SessionRegistry::reconcileTunnels(const std::vector<ResolvedSession>& sessions)
{
    std::map<QString, SSHTunnel::Configuration> wanted;
    for (const ResolvedSession& session : sessions) {
        const auto* port = std::get_if<HerdrEndpoint::LoopbackTCP>(&session.endpoint.value);
        if (!session.descriptor.isRemote() || !port)
            continue;
        wanted.emplace(session.descriptor.id(),
                       SSHTunnel::Configuration{*session.descriptor.kind.target,
                                                session.descriptor.serverSocketPath, port->port});
    }

    bool changed = false;
    std::vector<QString> stale;
    for (const auto& [id, tunnel] : m_tunnels) {
        const auto found = wanted.find(id);
        if (found == wanted.end() || found->second != tunnel->configuration())
            stale.push_back(id);
    }
    for (const QString& id : stale) {
        removeTunnel(id);
        changed = true;
    }

    for (const auto& [id, configuration] : wanted) {
        if (m_tunnels.contains(id))
            continue;
        std::unique_ptr<SSHTunnel> made = m_options.makeTunnel(configuration);
        SSHTunnel* tunnel = made.get();
        m_tunnels.emplace(id, std::move(made));
        m_tunnelStates[id] = SSHTunnelState::connecting();
        changed = true;
        QPointer<SessionRegistry> self{this};
        QPointer<SSHTunnel> which{tunnel};
        tunnel->start([self, which, id](const SSHTunnelState& state) {
            if (!self)
                return;
            // Queued: the registry may end or replace this tunnel, which must not happen
            // inside the tunnel's own call.
            QMetaObject::invokeMethod(
                self,
                [self, which, id, state] {
                    if (self && which)
                        self->tunnelDidChangeState(id, which, state);
                },
                Qt::QueuedConnection);
        });
    }
    if (changed)
        Q_EMIT tunnelStatesChanged();
}

void SessionRegistry::tunnelDidChangeState(const QString& sessionID, SSHTunnel* tunnel,
                                           const SSHTunnelState& state)
{
    const auto found = m_tunnels.find(sessionID);
    if (found == m_tunnels.end() || found->second.get() != tunnel)
        return;
    if (m_tunnelStates[sessionID] != state) {
        m_tunnelStates[sessionID] = state;
        Q_EMIT tunnelStatesChanged();
    }
    applyCurrentSessions();
}

QStringList SessionRegistry::pendingTunnelMessages() const
{
    QStringList messages;
    for (const auto& [id, state] : m_tunnelStates) {
        if (state.kind == SSHTunnelState::Kind::failed)
            messages.push_back(state.reason);
    }
    return messages;
}
