#include "OrrelApp/Sessions/SessionRuntime.h"

#include "OrrelApp/Sessions/SessionCycle.h"
#include "OrrelApp/Sessions/SessionEventLoop.h"
#include "OrrelApp/Sessions/SessionPollLoop.h"
#include "OrrelApp/Sessions/SnapshotPollingPolicy.h"

using namespace Qt::StringLiterals;

SessionRuntime::SessionRuntime(SessionDescriptor descriptor, HerdrEndpoint endpoint,
                               Dependencies dependencies, QObject* parent)
    : QObject(parent), m_descriptor(std::move(descriptor)), m_endpoint(std::move(endpoint)),
      m_services(std::move(dependencies.client), std::move(dependencies.clock)),
      m_store(m_services.clock.now),
      m_attention(m_descriptor.id() == SessionDescriptor::localDefaultID, dependencies.environment),
      m_cycle(std::make_unique<SessionCycle>(*this)),
      m_polls(std::make_unique<SessionPollLoop>(*this)),
      m_events(std::make_unique<SessionEventLoop>(*this, std::move(dependencies.streamOptions)))
{
}

SessionRuntime::~SessionRuntime()
{
    stop();
    // Whoever waits for the tasks hears that there is nothing left to wait for.
    m_tasksEnded.cancel();
}

QString SessionRuntime::toString(Connection connection)
{
    switch (connection) {
    case Connection::connecting: return u"connecting"_s;
    case Connection::connected: return u"connected"_s;
    case Connection::unavailable: break;
    }
    return u"unavailable"_s;
}

void SessionRuntime::start(SessionRuntimeHost* host)
{
    m_host = host;
    m_hostObject = dynamic_cast<QObject*>(host);
    m_hostIsObject = m_hostObject != nullptr;
    m_polls->start();
}

void SessionRuntime::startEventTask(bool includePerPaneStatus)
{
    m_events->start(includePerPaneStatus);
}

void SessionRuntime::stop()
{
    m_events->stop();
    m_polls->stop();
}

QCoro::Task<> SessionRuntime::stopped()
{
    QPointer self{this};
    while (self && m_liveTasks > 0)
        co_await m_tasksEnded.wait(m_tasksEnded.nextTicket());
}

QCoro::Task<> SessionRuntime::track(QCoro::Task<> task)
{
    QPointer self{this};
    ++m_liveTasks;
    co_await std::move(task);
    if (!self || --m_liveTasks > 0)
        co_return;
    // Queued: whoever waits may end this runtime, and the task that ended is still on the stack.
    QMetaObject::invokeMethod(
        this, [this] { m_tasksEnded.wake(); }, Qt::QueuedConnection);
}

bool SessionRuntime::waitForEventStreamExit(std::chrono::milliseconds timeout) const
{
    return m_events->waitForStreamExit(timeout);
}

QCoro::Task<> SessionRuntime::pollOnce()
{
    return m_polls->pollOnce();
}

QCoro::Task<> SessionRuntime::handle(EventEnvelope envelope)
{
    return m_events->handle(std::move(envelope));
}

QCoro::Task<bool> SessionRuntime::liveHasUnwatchedPane(std::set<QString> watched)
{
    return m_events->liveHasUnwatchedPane(std::move(watched));
}

std::optional<bool> SessionRuntime::eventIncludesPerPaneStatus() const
{
    return m_events->includesPerPaneStatus();
}

bool SessionRuntime::isPolling() const
{
    return m_polls->isRunning();
}

const std::map<QString, AgentMode>& SessionRuntime::agentModesByPane() const
{
    return m_cycle->agentModes();
}

SessionRuntimeHost* SessionRuntime::host() const
{
    return m_hostIsObject && !m_hostObject ? nullptr : m_host;
}

void SessionRuntime::refreshAttention()
{
    m_agentTree = m_attention.refresh(m_store.panes(), m_services.clock.now()).tree;
}

void SessionRuntime::setConnection(Connection connection)
{
    if (m_connection == connection)
        return;
    m_connection = connection;
    Q_EMIT connectionChanged(connection);
}

void SessionRuntime::setError(std::optional<QString> error)
{
    if (m_error == error)
        return;
    m_error = std::move(error);
    Q_EMIT errorChanged(errorText());
}

QString SessionRuntime::unreachableMessage() const
{
    if (const auto target = m_descriptor.kind.sshTarget())
        return u"Couldn't reach herdr on "_s + *target + u" — is it running there?"_s;
    return u"Couldn't reach herdr — is it running?"_s;
}

std::vector<QString> SessionRuntime::blockedRootPaneIDs() const
{
    const auto roots = m_attention.attention().blockedPaneIDs();
    return {roots.begin(), roots.end()};
}

bool SessionRuntime::hasWorkingPanes() const
{
    for (const auto& [paneID, pane] : m_store.panes()) {
        if (m_store.derivedStatus(paneID) == RollupStatus::working)
            return true;
    }
    return false;
}

Seconds SessionRuntime::nextPollDelay() const
{
    SessionRuntimeHost* h = host();
    const SnapshotPollingPolicy::SessionContext context{h ? h->isVisibleSession(*this) : true,
                                                        m_descriptor.isRemote()};
    const quint64 nanoseconds = SnapshotPollingPolicy::nanoseconds(
        h ? h->isSurfaceExpanded() : false, !blockedRootPaneIDs().empty(), hasWorkingPanes(),
        m_connection == Connection::unavailable, context);
    return Seconds(double(nanoseconds) / 1e9);
}

QCoro::Task<> SessionRuntime::select(std::optional<QString> paneID)
{
    if (!paneID) {
        m_services.interactions.clearSelection();
        m_services.activity.clearSelection();
        co_return;
    }
    co_await m_services.interactions.select(*paneID);
}

// The person's commands.

QCoro::Task<ActionOutcome> SessionRuntime::jump(QString paneID, TerminalPresenting* presenter) const
{
    // The store knows the way to the pane; without it the actions look it up.
    std::optional<QString> workspaceID;
    std::optional<QString> tabID;
    if (const auto pane = m_store.panes().find(paneID); pane != m_store.panes().end()) {
        workspaceID = pane->second.workspaceID;
        tabID = pane->second.tabID;
    }
    return actions().jump(std::move(paneID), std::move(workspaceID), std::move(tabID), presenter);
}

QCoro::Task<ActionOutcome> SessionRuntime::reply(QString paneID, QString text, bool submit) const
{
    return actions().reply(std::move(paneID), std::move(text), submit);
}

QCoro::Task<ActionOutcome> SessionRuntime::sendRawKeys(QString paneID,
                                                       std::vector<QString> keys) const
{
    return actions().sendRawKeys(std::move(paneID), std::move(keys));
}

QCoro::Task<ActionOutcome> SessionRuntime::cycleAgentMode(QString paneID) const
{
    return actions().cycleAgentMode(std::move(paneID));
}

QCoro::Task<ActionOutcome> SessionRuntime::interrupt(QString paneID) const
{
    return actions().interrupt(std::move(paneID));
}

QCoro::Task<std::expected<void, EscalationAnswerFailure>> SessionRuntime::sendEscalationAnswer(
    QString questionID, QString ownerPaneID, std::optional<QString> originPaneID, QString message)
{
    const PiHarnessFiles* files = harnessFiles();
    const auto fresh = files ? files->freshEscalation(questionID) : std::nullopt;
    if (!fresh || fresh->ownerPaneID != ownerPaneID || fresh->originPaneID != originPaneID
        || !fresh->canAnswer())
        co_return std::unexpected(EscalationChanged{questionID});
    const Actions actions = m_services.actions;
    const ActionOutcome sent = co_await actions.sendMessage(ownerPaneID, message);
    if (!sent)
        co_return std::unexpected(sent.error());
    co_return std::expected<void, EscalationAnswerFailure>();
}

std::optional<NeedsHumanSignal> SessionRuntime::signal(const QString& rootPaneID) const
{
    for (const auto& item : attention().items) {
        if (const auto* ask = item.explicitAsk(); ask && item.rootPaneID == rootPaneID)
            return ask->signal;
    }
    return std::nullopt;
}

std::optional<EscalatedQuestion> SessionRuntime::escalation(const QString& questionID)
{
    const PiHarnessFiles* files = harnessFiles();
    if (!files)
        return std::nullopt;
    for (const auto& question : files->journal().escalations) {
        if (question.id == questionID)
            return question;
    }
    return std::nullopt;
}
