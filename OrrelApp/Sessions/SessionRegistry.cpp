#include "OrrelApp/Sessions/SessionRegistry.h"

#include <QCoroFuture>
#include <QCoroSignal>
#include <QtConcurrent>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

SessionRuntime::Dependencies defaultDependencies(const ResolvedSession& session)
{
    SessionRuntime::Dependencies dependencies;
    // A healthy herdr answers at once. Without a bound, a herdr that accepts and then says
    // nothing, or sends a byte now and then, holds the poll for ever and the session keeps
    // looking connected; five seconds is also what herdr gives a request line to arrive.
    constexpr double requestTimeout = 5.0;
    dependencies.client = std::make_unique<HerdrClient>(session.endpoint, requestTimeout);
    return dependencies;
}

bool sortsBefore(const SessionRuntime* a, const SessionRuntime* b)
{
    const SessionDescriptor& x = a->descriptor();
    const SessionDescriptor& y = b->descriptor();
    if (x.isRemote() != y.isRemote())
        return !x.isRemote();
    if (!x.isRemote() && x.isDefault != y.isDefault)
        return x.isDefault;
    return x.id() < y.id();
}

using LocalListing = std::expected<std::vector<ResolvedSession>, SessionDirectory::Failure>;

LocalListing listLocal(SessionDirectory directory)
{
    return SessionRegistry::discoverLocal(directory);
}

} // namespace

SessionRegistry::SessionRegistry(Options options, QObject* parent)
    : QObject(parent), m_options(std::move(options))
{
    if (!m_options.makeTunnel)
        m_options.makeTunnel = defaultMakeTunnel();
    if (!m_options.makeDependencies)
        m_options.makeDependencies = &defaultDependencies;
    if (!m_options.allocatePort)
        m_options.allocatePort = &SSHTunnel::availableLoopbackPort;
}

SessionRegistry::~SessionRegistry()
{
    stop();
}

SessionRuntime* SessionRegistry::runtime(const QString& sessionID) const
{
    const auto found = m_runtimesByID.find(sessionID);
    return found == m_runtimesByID.end() ? nullptr : found->second.get();
}

SessionRuntimeHost* SessionRegistry::host() const
{
    return m_hostIsObject && !m_hostObject ? nullptr : m_host;
}

void SessionRegistry::setIgnoredLocalSessionNames(QSet<QString> names)
{
    if (names == m_ignoredLocalSessionNames)
        return;
    m_ignoredLocalSessionNames = std::move(names);
    applyCurrentSessions();
}

void SessionRegistry::start(SessionRuntimeHost* host)
{
    m_host = host;
    m_hostObject = dynamic_cast<QObject*>(host);
    m_hostIsObject = m_hostObject != nullptr;
    m_isStarted = true;
    for (SessionRuntime* runtime : m_runtimes) {
        runtime->start(host);
        startEvents(*runtime);
    }
    refreshEventSubscriptionPolicies();
}

void SessionRegistry::stop()
{
    ++m_generation;
    m_isStarted = false;
    for (auto& [id, runtime] : m_runtimesByID)
        retire(std::move(runtime));
    m_runtimesByID.clear();
    for (auto& [id, tunnel] : m_tunnels) {
        tunnel->stop();
        m_retired.push_back(std::move(tunnel));
    }
    m_tunnels.clear();
    const bool hadTunnelStates = !m_tunnelStates.empty();
    m_tunnelStates.clear();
    publishRuntimes();
    if (hadTunnelStates)
        Q_EMIT tunnelStatesChanged();
}

void SessionRegistry::retire(std::unique_ptr<SessionRuntime> runtime)
{
    runtime->stop();
    auto task = release(runtime.get(), this);
    m_releasing.push_back(std::move(runtime));
}

QCoro::Task<> SessionRegistry::release(QPointer<SessionRuntime> runtime,
                                       QPointer<SessionRegistry> registry)
{
    if (runtime)
        co_await runtime->stopped();
    if (!runtime || !registry)
        co_return;
    runtime->waitForEventStreamExit(std::chrono::seconds(2));
    // Freed from the event loop, not from inside the call that said its tasks had ended.
    QMetaObject::invokeMethod(
        registry,
        [registry, ended = runtime.data()] {
            std::erase_if(registry->m_releasing, [&](const auto& r) { return r.get() == ended; });
            if (registry->m_releasing.empty())
                Q_EMIT registry->runtimesReleased();
        },
        Qt::QueuedConnection);
}

QCoro::Task<> SessionRegistry::released()
{
    QPointer self{this};
    while (self && !m_releasing.empty())
        co_await qCoro(this, &SessionRegistry::runtimesReleased);
}

void SessionRegistry::removeRuntime(const QString& sessionID)
{
    const auto found = m_runtimesByID.find(sessionID);
    if (found == m_runtimesByID.end())
        return;
    retire(std::move(found->second));
    m_runtimesByID.erase(found);
    // The host may ask for the list again; it must no longer hold the runtime.
    std::erase_if(m_runtimes, [&](SessionRuntime* r) { return r->sessionID() == sessionID; });
    m_runtimesEdited = true;
    if (SessionRuntimeHost* h = host())
        h->sessionRuntimeWasRemoved(sessionID);
}

void SessionRegistry::apply(const std::vector<ResolvedSession>& sessions)
{
    std::map<QString, const ResolvedSession*> wanted;
    for (const ResolvedSession& session : sessions)
        wanted.emplace(session.descriptor.id(), &session);

    std::vector<QString> unwanted;
    for (const auto& [id, runtime] : m_runtimesByID) {
        const auto found = wanted.find(id);
        if (found == wanted.end() || found->second->endpoint != runtime->endpoint())
            unwanted.push_back(id);
    }
    for (const QString& id : unwanted)
        removeRuntime(id);

    for (const auto& [id, session] : wanted) {
        if (m_runtimesByID.contains(id))
            continue;
        auto runtime = std::make_unique<SessionRuntime>(session->descriptor, session->endpoint,
                                                        m_options.makeDependencies(*session));
        SessionRuntime& made = *runtime;
        m_runtimesByID.emplace(id, std::move(runtime));
        if (m_isStarted) {
            made.start(host());
            startEvents(made);
        }
    }
    publishRuntimes();
    refreshEventSubscriptionPolicies();
}

void SessionRegistry::publishRuntimes()
{
    std::vector<SessionRuntime*> sorted;
    sorted.reserve(m_runtimesByID.size());
    for (const auto& [id, runtime] : m_runtimesByID)
        sorted.push_back(runtime.get());
    std::ranges::sort(sorted, &sortsBefore);
    if (!m_retired.empty()) {
        QMetaObject::invokeMethod(
            this, [this] { m_retired.clear(); }, Qt::QueuedConnection);
    }
    if (sorted == m_runtimes && !m_runtimesEdited)
        return;
    m_runtimesEdited = false;
    m_runtimes = std::move(sorted);
    Q_EMIT runtimesChanged();
}

bool SessionRegistry::wantsPerPaneStatus(const SessionRuntime& runtime) const
{
    const SessionRuntimeHost* h = host();
    if (!h || m_runtimesByID.size() <= 1)
        return true;
    return h->usesPerPaneStatusSubscriptions(runtime);
}

void SessionRegistry::startEvents(SessionRuntime& runtime)
{
    runtime.startEventTask(wantsPerPaneStatus(runtime));
}

void SessionRegistry::refreshEventSubscriptionPolicies()
{
    for (SessionRuntime* runtime : m_runtimes) {
        const auto running = runtime->eventIncludesPerPaneStatus();
        if (!running)
            continue;
        if (const bool wanted = wantsPerPaneStatus(*runtime); *running != wanted)
            runtime->startEventTask(wanted);
    }
}

void SessionRegistry::applyCurrentSessions()
{
    std::vector<ResolvedSession> sessions;
    for (const ResolvedSession& session : m_localSessions) {
        if (!m_ignoredLocalSessionNames.contains(session.descriptor.name()))
            sessions.push_back(session);
    }
    for (const auto& [id, session] : m_knownRemoteSessions) {
        const auto state = m_tunnelStates.find(id);
        if (state != m_tunnelStates.end() && state->second.isUp())
            sessions.push_back(session);
    }
    apply(sessions);
}

void SessionRegistry::publishDiscoveryError()
{
    QStringList parts;
    for (const auto* part : {&m_localDiscoveryError, &m_remoteDiscoveryError}) {
        if (*part)
            parts.push_back(**part);
    }
    std::optional<QString> joined;
    if (!parts.isEmpty())
        joined = parts.join(u'\n');
    if (joined == m_discoveryError)
        return;
    m_discoveryError = std::move(joined);
    Q_EMIT discoveryErrorChanged();
}

std::expected<std::vector<ResolvedSession>, SessionDirectory::Failure>
SessionRegistry::discoverLocal(const SessionDirectory& directory)
{
    const auto listed = directory.localSessions();
    if (!listed)
        return std::unexpected(listed.error());
    std::vector<ResolvedSession> sessions;
    for (const SessionDescriptor& session : *listed) {
        if (session.isRunning)
            sessions.push_back({session, HerdrEndpoint::unixSocket(session.serverSocketPath)});
    }
    return sessions;
}

QCoro::Task<> SessionRegistry::refreshLocalSessions(SessionDirectory directory)
{
    QPointer self{this};
    const quint64 generation = m_generation;
    // Named: g++ 12 destroys a temporary inside co_await twice.
    QFuture<LocalListing> future = QtConcurrent::run(&listLocal, std::move(directory));
    const LocalListing listing = co_await future;
    if (!self || !isCurrent(generation))
        co_return;
    if (listing) {
        m_localSessions = *listing;
        m_localDiscoveryError.reset();
    } else {
        m_localDiscoveryError = listing.error().errorDescription();
    }
    publishDiscoveryError();
    applyCurrentSessions();
}
