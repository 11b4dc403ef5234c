#pragma once

#include "HerdrClient/OpenCode/OpenCodeHTTPClient.h"
#include "HerdrClient/OpenCode/OpenCodeNativeInteractionProvider.h"
#include "HerdrClient/OpenCode/OpenCodeNativeInteractionResponder.h"
#include "HerdrClient/OpenCode/OpenCodePaneRegistry.h"
#include "HerdrClient/OpenCode/RoutedInteractionProvider.h"
#include "HerdrClient/OpenCode/RoutedInteractionResponder.h"
#include "HerdrClient/Attention/SessionAttention.h"
#include "HerdrClient/Interaction/AgentMode.h"
#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"
#include "HerdrClient/Interaction/ScreenCompletionSummaryProvider.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "HerdrClient/Interaction/ScreenRecentOutputProvider.h"
#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Responding/InteractionCoordinator.h"
#include "HerdrClient/Responding/InteractionResponder.h"
#include "HerdrClient/Responding/PaneActivityCoordinator.h"
#include "HerdrClient/Responding/SafeIdlePromptSender.h"
#include "HerdrClient/Sessions/SessionDescriptor.h"
#include "HerdrClient/State/AgentTree.h"
#include "HerdrClient/State/StateStore.h"
#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/EventEnvelope.h"
#include "HerdrClient/Wire/EventStream.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "OrrelApp/Sessions/EscalationAnswerFailure.h"
#include "OrrelApp/Sessions/SessionRuntimeHost.h"

#include <QObject>
#include <QPointer>

#include <coroutine>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>

// One connected herdr session and the program's main loop for it. Two tasks feed the store, a
// snapshot poll and the event stream, and both run the same cycle: merge, refresh attention,
// reconcile interactions, reconcile activity, capture completion summaries, tell the host.
// Failures never stop the loops; they become `connection` and `error`, which the next good poll
// clears.
//
// Main thread only. The client should carry a request timeout: a poll waits on herdr's answer.
class SessionRuntime : public QObject {
    Q_OBJECT
    Q_PROPERTY(Connection connection READ connection NOTIFY connectionChanged)
    Q_PROPERTY(QString error READ errorText NOTIFY errorChanged)

public:
    enum class Connection { connecting, connected, unavailable };
    Q_ENUM(Connection)

    struct Dependencies {
        std::unique_ptr<HerdrClient> client;
        // An empty `sleep` means timers of the runtime's own, which die with it; an injected
        // sleep that is cut short leaves its task running until the clock ends it.
        Clock clock = {Clock::system().now, {}};
        // How each event stream waits between reconnects and where its debug text goes.
        std::function<EventStreamOptions()> streamOptions = [] {
            return EventStreamOptions::fromEnvironment(processEnvironment());
        };
        // Where the local default session finds the ask files and the pi sentinel directory.
        Environment environment = processEnvironment();
    };

    SessionRuntime(SessionDescriptor descriptor, HerdrEndpoint endpoint, Dependencies dependencies,
                   QObject* parent = nullptr);
    ~SessionRuntime() override;

    // Starts the poll task for `host`; nothing when it already runs.
    void start(SessionRuntimeHost* host);
    // Starts a new event task in place of any running one.
    void startEventTask(bool includePerPaneStatus);
    // Cancels both tasks: the stream's socket closes, sleeps end at once.
    void stop();
    // Waits, blocking, until every event stream's thread let go of its socket (or the deadline).
    bool waitForEventStreamExit(std::chrono::milliseconds timeout) const;

    // One poll cycle, as the poll task runs it.
    QCoro::Task<> pollOnce();
    // One event cycle, as the event task runs it for each value of the stream.
    QCoro::Task<> handle(EventEnvelope envelope);
    // True when herdr now has a pane outside `watched`; any failure counts as no.
    QCoro::Task<bool> liveHasUnwatchedPane(std::set<QString> watched);

    const SessionDescriptor& descriptor() const { return m_descriptor; }
    QString sessionID() const { return m_descriptor.id(); }
    const HerdrEndpoint& endpoint() const { return m_endpoint; }
    HerdrClient& client() const { return *m_client; }
    StateStore& store() { return m_store; }
    const StateStore& store() const { return m_store; }
    Connection connection() const { return m_connection; }
    const std::optional<QString>& error() const { return m_error; }
    QString errorText() const { return m_error.value_or(QString()); }
    const AgentTree& agentTree() const { return m_agentTree; }
    // Who needs the person, as of the last cycle.
    const AttentionSnapshot& attention() const { return m_attention.attention(); }
    // The alerts not yet taken whose item still stands; the queue empties.
    std::vector<AttentionItem> takeNewAlerts() { return m_attention.takeNewAlerts(); }
    // The pi harness files; absent for any session other than the local default one.
    PiHarnessFiles* harnessFiles() { return m_attention.harnessFiles(); }
    std::optional<bool> eventIncludesPerPaneStatus() const { return m_eventIncludesPerPaneStatus; }
    bool isPolling() const { return m_pollRunning; }

    // Roots with an attention item, in grace or not: what keeps the poll at its fast rate.
    std::vector<QString> blockedRootPaneIDs() const;
    bool hasWorkingPanes() const;
    // The prompts of this session's waiting panes, and the person's answers to them.
    InteractionCoordinator& interactions() { return *m_interactions; }
    const InteractionCoordinator& interactions() const { return *m_interactions; }
    // Recent output of the selected working pane, and prompts for idle agents.
    PaneActivityCoordinator& activity() { return *m_activity; }
    const PaneActivityCoordinator& activity() const { return *m_activity; }
    // The permission mode each pane showed when it was last read.
    const std::map<QString, AgentMode>& agentModesByPane() const { return m_agentModesByPane; }
    const Actions& actions() const { return m_actions; }
    std::optional<QString> selectedPaneID() const { return m_interactions->selectedPaneID(); }
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
    enum class Loop { poll, events };
    enum class Origin { poll, event };
    struct PauseAwaiter;

    QCoro::Task<> runPolls(quint64 generation);
    QCoro::Task<> runEvents(quint64 generation, bool includePerPaneStatus);
    QCoro::Task<> failPoll();
    // The cycle after the merge: the reactions in their order, then the host.
    QCoro::Task<> react(StateTransitionResult transitions, std::optional<QString> selected,
                        Origin origin);
    void resubscribeIfPanesAreUnwatched();
    // Sleeps on the injected clock; a cancellation of `loop` ends it at once.
    QCoro::Task<> pause(Seconds duration, Loop loop);
    static QCoro::Task<> ringAfter(std::function<QCoro::Task<>(Seconds)> sleep, Seconds duration,
                                   QPointer<SessionRuntime> runtime, quint64 ticket);
    void ring(quint64 ticket);
    void cancelPauses(Loop loop);
    SessionRuntimeHost* host() const;
    QCoro::Task<> tellHost(StateTransitionResult transitions, std::optional<QString> selected);

    void setConnection(Connection connection);
    void setError(std::optional<QString> error);

    // The cycle's reactions.
    void refreshAttention(Timestamp now);
    QCoro::Task<> reconcileInteractions(std::vector<QString> newlyBlocked,
                                        bool countsTowardFallbackCadence);
    QCoro::Task<> reconcileActivity(std::optional<QString> selectedPaneID,
                                    bool countsTowardFallbackCadence);
    QCoro::Task<> refreshAgentMode(QString paneID);
    QCoro::Task<> captureCompletionSummaries(std::vector<QString> paneIDs);

    SessionDescriptor m_descriptor;
    HerdrEndpoint m_endpoint;
    std::unique_ptr<HerdrClient> m_client;
    Clock m_clock;
    // Declared after what they use, so that they end before it. Panes that name their opencode
    // server are read and answered through it, all others through their screens.
    Actions m_actions;
    OpenCodePaneRegistry m_openCodePanes;
    std::shared_ptr<OpenCodeHTTPClient> m_openCodeClient;
    ScreenInteractionProvider m_screenReader;
    OpenCodeNativeInteractionProvider m_nativeReader;
    RoutedInteractionProvider m_reader;
    InteractionResponder m_screenResponder;
    OpenCodeNativeInteractionResponder m_nativeResponder;
    RoutedInteractionResponder m_responder;
    std::unique_ptr<InteractionCoordinator> m_interactions;
    ScreenRecentOutputProvider m_recentOutput;
    SafeIdlePromptSender m_idlePrompts;
    std::unique_ptr<PaneActivityCoordinator> m_activity;
    ScreenCompletionSummaryProvider m_completionProvider;
    ScreenAgentModeProvider m_modeProvider;
    std::map<QString, AgentMode> m_agentModesByPane;
    std::function<EventStreamOptions()> m_streamOptions;
    StateStore m_store;
    AgentTree m_agentTree;
    SessionAttention m_attention;
    Connection m_connection = Connection::connecting;
    std::optional<QString> m_error;
    std::optional<bool> m_eventIncludesPerPaneStatus;

    SessionRuntimeHost* m_host = nullptr;
    QPointer<QObject> m_hostObject; // set when the host is a QObject, to notice its end
    bool m_hostIsObject = false;

    quint64 m_pollGeneration = 0;
    quint64 m_eventGeneration = 0;
    bool m_pollRunning = false;
    EventStream* m_stream = nullptr; // owned by the running event task
    std::set<QString> m_watchedPanes; // whose status the running pass follows
    std::vector<std::shared_ptr<const EventLoopState>> m_streamLoops; // not yet seen to end

    struct Paused {
        std::coroutine_handle<> handle;
        Loop loop;
    };
    std::map<quint64, Paused> m_paused;
    quint64 m_lastTicket = 0;
    quint64 m_ticketBeingSet = 0;
    bool m_rangWhileSetting = false;
};
