#pragma once

#include "HerdrClient/Sessions/RemoteHostConfiguration.h"
#include "HerdrClient/Sessions/ResolvedSession.h"
#include "HerdrClient/Sessions/SSHTunnel.h"
#include "HerdrClient/Sessions/SessionDirectory.h"
#include "OrrelApp/Sessions/SessionRuntime.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QStringList>

#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

// Which herdr sessions the program watches now. Local sessions come from `herdr session list`,
// remote ones from the same listing over ssh, each reached through a tunnel of its own to a
// loopback port that stays the session's for the registry's life. Every session that can be
// reached has exactly one runtime; one that cannot (not listed, ignored, tunnel down) has none.
//
// Main thread only. Listings block on outside commands and run on the thread pool.
class SessionRegistry : public QObject {
    Q_OBJECT
public:
    using MakeTunnel = std::function<std::unique_ptr<SSHTunnel>(const SSHTunnel::Configuration&)>;
    using MakeDependencies =
        std::function<SessionRuntime::Dependencies(const ResolvedSession& session)>;
    using PortAllocator = std::function<std::expected<std::uint16_t, SSHTunnelError>()>;

    // Empty members take the defaults: ssh from the executable locator, a client with no
    // request timeout, SSHTunnel::availableLoopbackPort.
    struct Options {
        MakeTunnel makeTunnel;
        MakeDependencies makeDependencies;
        PortAllocator allocatePort;
    };

    // Tries of the port allocator for one session before it gives up.
    static constexpr int portAllocationTries = 32;
    // EADDRINUSE as the other platform numbers it; the text a person sees carries it.
    static constexpr qint32 portsExhaustedErrno = 48;

    explicit SessionRegistry(Options options = {}, QObject* parent = nullptr);
    ~SessionRegistry() override;

    // Sorted: local before remote, the default one first among local ones, then by id.
    const std::vector<SessionRuntime*>& runtimes() const { return m_runtimes; }
    SessionRuntime* runtime(const QString& sessionID) const;
    const std::map<QString, SSHTunnelState>& tunnelStates() const { return m_tunnelStates; }
    SSHTunnel* tunnel(const QString& sessionID) const;
    const std::optional<QString>& discoveryError() const { return m_discoveryError; }
    const std::optional<QString>& localDiscoveryError() const { return m_localDiscoveryError; }
    const std::optional<QString>& remoteDiscoveryError() const { return m_remoteDiscoveryError; }
    const std::map<QString, std::uint16_t>& remotePorts() const { return m_remotePorts; }
    const std::map<QString, ResolvedSession>& knownRemoteSessions() const
    {
        return m_knownRemoteSessions;
    }
    const std::vector<ResolvedSession>& localSessions() const { return m_localSessions; }
    const QSet<QString>& ignoredLocalSessionNames() const { return m_ignoredLocalSessionNames; }
    // Takes effect at once: an ignored session loses its runtime, one no longer ignored gets one.
    void setIgnoredLocalSessionNames(QSet<QString> names);
    bool isStarted() const { return m_isStarted; }

    // Starts every runtime, and every one made from now on, for `host`.
    void start(SessionRuntimeHost* host);
    // Ends every runtime and tunnel. A refresh under way ends without applying anything.
    void stop();
    // Done once every runtime that ended has let go of its tasks and was freed; what a program
    // that is about to exit waits for.
    QCoro::Task<> released();

    // Makes the runtimes exactly those of `sessions`.
    void apply(const std::vector<ResolvedSession>& sessions);
    // The local listing, then apply.
    QCoro::Task<> refreshLocalSessions(SessionDirectory directory);
    // The local listing and each configured host's, one target after the other, then the
    // tunnels and apply. A host that fails keeps its sessions and tunnels.
    QCoro::Task<> refresh(std::vector<RemoteHostConfiguration> remoteHosts,
                          SessionDirectory directory);
    // The listed local sessions not ignored, and the remote ones whose tunnel is up.
    void applyCurrentSessions();
    // One tunnel for each of `sessions`, made again when its configuration changed.
    void reconcileTunnels(const std::vector<ResolvedSession>& sessions);
    void tunnelDidChangeState(const QString& sessionID, SSHTunnel* tunnel,
                              const SSHTunnelState& state);
    // Why the failed tunnels are down, by session id.
    QStringList pendingTunnelMessages() const;
    // Only the session in front of the person follows each pane's status when several are open.
    void refreshEventSubscriptionPolicies();

    // The running local sessions, at their sockets. Blocks.
    static std::expected<std::vector<ResolvedSession>, SessionDirectory::Failure> discoverLocal(
        const SessionDirectory& directory);
    // The running sessions of `target` that `configurations` ask for. Blocks.
    static SessionDirectory::Result discoverRemote(
        const QString& target, const std::vector<RemoteHostConfiguration>& configurations,
        const SessionDirectory& directory);
    // `session` at its loopback port, which it keeps from then on.
    std::expected<ResolvedSession, SSHTunnelError> resolvedRemoteSession(
        const SessionDescriptor& session);

    static MakeTunnel defaultMakeTunnel();

Q_SIGNALS:
    void runtimesChanged();
    void runtimesReleased();
    void tunnelStatesChanged();
    void discoveryErrorChanged();

private:
    SessionRuntimeHost* host() const;
    void publishDiscoveryError();
    void publishRuntimes();
    void removeRuntime(const QString& sessionID);
    void removeTunnel(const QString& sessionID);
    // Stops `runtime` and frees it once its tasks have ended.
    void retire(std::unique_ptr<SessionRuntime> runtime);
    static QCoro::Task<> release(QPointer<SessionRuntime> runtime,
                                 QPointer<SessionRegistry> registry);
    void startEvents(SessionRuntime& runtime);
    bool wantsPerPaneStatus(const SessionRuntime& runtime) const;
    // Whether a refresh begun at `generation` may still write.
    bool isCurrent(quint64 generation) const { return generation == m_generation; }
    // One target's listing into the known remote sessions; a failure's text into `errors`.
    void takeRemoteListing(const QString& target, const SessionDirectory::Result& listing,
                           QStringList& errors);

    Options m_options;
    std::map<QString, std::unique_ptr<SessionRuntime>> m_runtimesByID;
    std::vector<SessionRuntime*> m_runtimes;
    bool m_runtimesEdited = false; // changed since runtimesChanged was last sent
    // Runtimes and tunnels that ended; freed from the event loop, not from inside a call of theirs.
    std::vector<std::unique_ptr<QObject>> m_retired;
    // Ended runtimes whose tasks have not all ended yet; a registry that goes frees them at once.
    std::vector<std::unique_ptr<SessionRuntime>> m_releasing;
    std::map<QString, std::unique_ptr<SSHTunnel>> m_tunnels;
    std::map<QString, SSHTunnelState> m_tunnelStates;
    std::map<QString, std::uint16_t> m_remotePorts;
    std::map<QString, ResolvedSession> m_knownRemoteSessions;
    std::vector<ResolvedSession> m_localSessions;
    QSet<QString> m_ignoredLocalSessionNames;
    std::optional<QString> m_localDiscoveryError;
    std::optional<QString> m_remoteDiscoveryError;
    std::optional<QString> m_discoveryError;

    SessionRuntimeHost* m_host = nullptr;
    QPointer<QObject> m_hostObject;
    bool m_hostIsObject = false;
    bool m_isStarted = false;
    // Moved on by stop(): a refresh that began before it ends at its next look.
    quint64 m_generation = 0;
};
