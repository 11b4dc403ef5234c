#pragma once

#include "HerdrClient/Attention/SessionAttention.h"
#include "HerdrClient/Sessions/SessionDescriptor.h"
#include "HerdrClient/State/AgentTree.h"
#include "HerdrClient/State/StateStore.h"
#include "HerdrClient/Support/CancellablePause.h"
#include "HerdrClient/Wire/EventEnvelope.h"
#include "OrrelApp/Sessions/EscalationAnswerFailure.h"
#include "OrrelApp/Sessions/SessionRuntimeHost.h"
#include "OrrelApp/Sessions/SessionServices.h"

#include <QObject>
#include <QPointer>

#include <set>

class SessionCycle;
class SessionEventLoop;
class SessionPollLoop;

// One connected herdr session and the program's main loop for it. Two tasks feed the store, a
// snapshot poll (SessionPollLoop) and the event stream (SessionEventLoop), and both run the same
// cycle after each merge (SessionCycle). Failures never stop the loops; they become `connection`
// and `error`, which the next good poll clears.
//
// Main thread only. The client should carry a request timeout: a poll waits on herdr's answer.
class SessionRuntime : public QObject {
    Q_OBJECT
    Q_PROPERTY(Connection connection READ connection NOTIFY connectionChanged)
    Q_PROPERTY(QString error READ errorText NOTIFY errorChanged)

public:
    enum class Connection { connecting, connected, unavailable };
    Q_ENUM(Connection)

    using Dependencies = SessionDependencies;

    SessionRuntime(SessionDescriptor descriptor, HerdrEndpoint endpoint, Dependencies dependencies,
                   QObject* parent = nullptr);
    ~SessionRuntime() override;

    // Starts the poll task for `host`; nothing when it already runs.
    void start(SessionRuntimeHost* host);
    // Starts a new event task in place of any running one.
    void startEventTask(bool includePerPaneStatus);
    // Cancels both tasks: the stream's socket closes, sleeps end at once.
    void stop();
    // Done once no task is left: after stop(), as soon as the requests under way have ended.
    // One waiter at a time.
    QCoro::Task<> stopped();
    // Waits, blocking, until every event stream's thread let go of its socket (or the deadline).
    bool waitForEventStreamExit(std::chrono::milliseconds timeout) const;

    // One poll cycle, and one event cycle, as the tasks run them.
    QCoro::Task<> pollOnce();
    QCoro::Task<> handle(EventEnvelope envelope);
    // True when herdr now has a pane outside `watched`; any failure counts as no.
    QCoro::Task<bool> liveHasUnwatchedPane(std::set<QString> watched);

    const SessionDescriptor& descriptor() const { return m_descriptor; }
    QString sessionID() const { return m_descriptor.id(); }
    const HerdrEndpoint& endpoint() const { return m_endpoint; }
    HerdrClient& client() const { return *m_services.client; }
    StateStore& store() { return m_store; }
    const StateStore& store() const { return m_store; }
    Connection connection() const { return m_connection; }
    const std::optional<QString>& error() const { return m_error; }
    QString errorText() const { return m_error.value_or(QString()); }
    const AgentTree& agentTree() const { return m_agentTree; }
    // Who needs the person, as of the last cycle; alerts not yet taken whose item still stands.
    const AttentionSnapshot& attention() const { return m_attention.attention(); }
    std::vector<AttentionItem> takeNewAlerts() { return m_attention.takeNewAlerts(); }
    // The pi harness files; absent for any session other than the local default one.
    PiHarnessFiles* harnessFiles() { return m_attention.harnessFiles(); }
    std::optional<bool> eventIncludesPerPaneStatus() const;
    bool isPolling() const;
    // Roots with an attention item, in grace or not: what keeps the poll at its fast rate.
    std::vector<QString> blockedRootPaneIDs() const;
    bool hasWorkingPanes() const;
    // The prompts of waiting panes and the person's answers; recent output and idle prompts.
    InteractionCoordinator& interactions() { return m_services.interactions; }
    const InteractionCoordinator& interactions() const { return m_services.interactions; }
    PaneActivityCoordinator& activity() { return m_services.activity; }
    const PaneActivityCoordinator& activity() const { return m_services.activity; }
    // The permission mode each pane showed when it was last read.
    const std::map<QString, AgentMode>& agentModesByPane() const;
    const Actions& actions() const { return m_services.actions; }
    std::optional<QString> selectedPaneID() const { return interactions().selectedPaneID(); }
    // Selects a pane and reads its prompt; nothing selected without an id.
    QCoro::Task<> select(std::optional<QString> paneID);

    // The person's direct commands to a pane of this session.
    QCoro::Task<ActionOutcome> jump(QString paneID, TerminalPresenting* presenter) const;
    QCoro::Task<ActionOutcome> reply(QString paneID, QString text, bool submit) const;
    QCoro::Task<ActionOutcome> sendRawKeys(QString paneID, std::vector<QString> keys) const;
    QCoro::Task<ActionOutcome> cycleAgentMode(QString paneID) const;
    QCoro::Task<ActionOutcome> interrupt(QString paneID) const;
    // Types `message` into the owner's pane, only while the question on disk is still the one
    // the person answered, from the same owner and origin, and open to an answer.
    QCoro::Task<std::expected<void, EscalationAnswerFailure>> sendEscalationAnswer(
        QString questionID, QString ownerPaneID, std::optional<QString> originPaneID,
        QString message);
    // The explicit ask that stands for `rootPaneID` in the latest attention.
    std::optional<NeedsHumanSignal> signal(const QString& rootPaneID) const;
    // An open escalation of the pi journal; only the local default session has any.
    std::optional<EscalatedQuestion> escalation(const QString& questionID);

    // The delay before the next poll, from the state of this cycle and what the host shows.
    Seconds nextPollDelay() const;
    // The sentence for a session that cannot be reached.
    QString unreachableMessage() const;

    static QString toString(Connection connection);

Q_SIGNALS:
    void connectionChanged(SessionRuntime::Connection connection);
    void agentModesChanged();
    void errorChanged(const QString& error);

private:
    // The pieces of the main loop work on the runtime's state.
    friend class SessionCycle;
    friend class SessionEventLoop;
    friend class SessionPollLoop;

    // Runs one task of this runtime to its end, counted for stopped().
    QCoro::Task<> track(QCoro::Task<> task);
    SessionRuntimeHost* host() const;
    void refreshAttention();
    void setConnection(Connection connection);
    void setError(std::optional<QString> error);

    SessionDescriptor m_descriptor;
    HerdrEndpoint m_endpoint;
    SessionServices m_services;
    StateStore m_store;
    AgentTree m_agentTree;
    SessionAttention m_attention;
    Connection m_connection = Connection::connecting;
    std::optional<QString> m_error;

    SessionRuntimeHost* m_host = nullptr;
    QPointer<QObject> m_hostObject; // set when the host is a QObject, to notice its end
    bool m_hostIsObject = false;
    std::unique_ptr<SessionCycle> m_cycle;
    std::unique_ptr<SessionPollLoop> m_polls;
    std::unique_ptr<SessionEventLoop> m_events;
    int m_liveTasks = 0;
    CancellablePause m_tasksEnded{CancellablePause::OnCancel::resumeQueued};
};
